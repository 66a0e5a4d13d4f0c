// Addresses and numbers from any text: no crash, and what the checks accept
// converts back as it should.

#include "fuzz_support.h"

#include <OrvFunction.h>

#include <QStringList>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 1024)
        return 0;
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), int(size));
    using namespace OrvInterface;

    if (CheckIpAble(text)) {
        // Four decimal octets: the number prints them without leading zeros.
        QStringList octets;
        for (const QString& part : text.split(QLatin1Char('.')))
            octets.append(QString::number(part.toInt()));
        Fuzz::require(numIP2StrIP(strIP2IntIP(text)) == octets.join(QLatin1Char('.')), "a usable address round-trips");
    }
    if (CheckSubnetMask(text)) {
        const quint32 mask = quint32(strIP2IntIP(text));
        const int ones = __builtin_popcount(mask);
        Fuzz::require(ones >= 1 && ones <= 30 && (mask << ones) == 0, "an accepted mask is contiguous");
    }
    unsigned int high = 1, low = 1;
    string2IntMacAddress(text, high, low);
    if (text.split(QLatin1Char(':'), Qt::SkipEmptyParts).size() != 6)
        Fuzz::require(high == 0 && low == 0, "no MAC without six parts");
    (void)string2Int(text);
    (void)HexNumberQString2Int(text);
    (void)Int2HexNumberQString(string2Int(text));
    QString cleaned = text;
    RemoveIllegalChar(cleaned);
    for (QChar c : QStringLiteral("%/:?>\\'\"*<|"))
        Fuzz::require(!cleaned.contains(c), "no illegal character is left");
    if (CheckIsNumber(text))
        Fuzz::require(text.isEmpty() || text.at(0).isDigit(), "numbers are digits");
    return 0;
}
