// The analytic format descriptor of point files.

#include "OrvPointFile.h"

namespace OrvInterface {

namespace {

struct Mapping
{
    char character;
    unsigned int value;
};

const Mapping kValid[] = {{'1', 0}, {'3', 1}, {'H', 2}, {'L', 3}};
const Mapping kEndian[] = {{'B', 0}, {'L', 1}};
const Mapping kMeaning[] = {{'x', 1}, {'y', 2}};

// The character right after the first occurrence of key; '\0' when it
// stands at the end. False when the key does not occur.
bool characterAfter(const QString& text, const char* key, QChar* character)
{
    const QLatin1String keyText(key);
    const int at = text.indexOf(keyText, 0, Qt::CaseSensitive);
    if (at < 0)
        return false;
    const int next = at + keyText.size();
    *character = next < text.size() ? text.at(next) : QChar();
    return true;
}

template <size_t N>
bool mapped(const Mapping (&table)[N], QChar character, unsigned int* value)
{
    for (const Mapping& m : table) {
        if (character == QLatin1Char(m.character)) {
            *value = m.value;
            return true;
        }
    }
    return false;
}

} // namespace

bool GetAnalyticFormat(const QString& text, unsigned int& unit, unsigned int& valid, unsigned int& endian,
                       unsigned int& meaning)
{
    if (text.isEmpty())
        return false;
    QChar c;
    if (!characterAfter(text, "Unit:", &c))
        return false;
    unit = c >= QLatin1Char('0') && c <= QLatin1Char('9') ? unsigned(c.unicode() - '0') : 0;
    if (!characterAfter(text, "Valid:", &c) || !mapped(kValid, c, &valid))
        return false;
    if (!characterAfter(text, "Endian:", &c) || !mapped(kEndian, c, &endian))
        return false;
    if (!characterAfter(text, "Meaning:", &c) || !mapped(kMeaning, c, &meaning))
        meaning = 0;
    return true;
}

} // namespace OrvInterface
