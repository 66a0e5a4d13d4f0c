// Text between QString and byte buffers in a chosen code page, with
// truncation that never splits a character.
//
// The codec rule everywhere: the codec given, else UTF-8 (a null codec is
// what an unknown name gives).

#include "state_p.h"

#include <QTextCodec>

#include <cstring>
#include <memory>

namespace {

QByteArray encoded(const QString& s, QTextCodec* codec)
{
    return codec ? codec->fromUnicode(s) : s.toUtf8();
}

// Whether the first k units of s end between the halves of a surrogate
// pair: such a prefix would carry half a character.
bool splitsPair(const QString& s, int k)
{
    return k > 0 && k < s.size() && s.at(k - 1).isHighSurrogate() && s.at(k).isLowSurrogate();
}

// The longest prefix of s, from min(n, length) characters down to n / 3,
// whose encoding fits in n bytes; s whole when none fits (or n < 0).
template <typename Encode>
QString cutToFit(const QString& s, int n, Encode encode)
{
    if (n >= encode(s).size())
        return s;
    // No character needs more than three bytes per unit, so a prefix of
    // n / 3 units fits UTF-8; when that prefix would split a pair, the one
    // before the pair is the shortest candidate instead.
    int floor = n / 3;
    if (splitsPair(s, floor))
        --floor;
    for (int k = qMin(n, s.length()); k >= floor; --k) {
        if (splitsPair(s, k))
            continue;
        const QString prefix = s.left(k);
        if (n >= encode(prefix).size())
            return prefix;
    }
    return s;
}

QString decoded(const char* bytes, QTextCodec* codec)
{
    if (codec)
        return codec->toUnicode(bytes); // up to the first NUL
    return bytes ? QString::fromUtf8(bytes, int(std::strlen(bytes))) : QString::fromUtf8(nullptr, -1);
}

QTextCodec* codecNamed(const char* name)
{
    return name ? QTextCodec::codecForName(name) : nullptr;
}

} // namespace

QString interCutString(const QString& s, int n, QTextCodec* codec)
{
    return cutToFit(s, n, [codec](const QString& text) { return encoded(text, codec); });
}

QString interCutStringLocale(const QString& s, int n)
{
    return cutToFit(s, n, [](const QString& text) { return text.toLocal8Bit(); });
}

QString interChar2QString(const char* p, int n, QTextCodec* codec)
{
    if (n <= 0)
        return decoded(p, codec);
    if (!p)
        return QString(QLatin1String("")); // nothing to read

    // A buffer without a NUL in its n bytes is read from a terminated copy.
    if (std::memchr(p, 0, size_t(n)))
        return decoded(p, codec);
    std::unique_ptr<char[]> copy(new char[size_t(n) + 1]);
    std::memcpy(copy.get(), p, size_t(n));
    copy[size_t(n)] = '\0';
    return decoded(copy.get(), codec);
}

void interString2Char(const QString& s, char* buf, int n, QTextCodec* codec)
{
    if (!buf)
        return;
    if (n >= 0)
        std::memset(buf, 0, size_t(n));
    // Not clamped to n: with UTF-8 and n >= 0 the cut text always fits; a
    // codec with longer characters, or a negative n, writes the whole
    // encoding. No terminator is added.
    const QByteArray bytes = encoded(interCutString(s, n, codec), codec);
    std::memcpy(buf, bytes.constData(), size_t(bytes.size()));
}

namespace OrvInterface {

QString cutString(const QString& s, int n, const char* codecName)
{
    return interCutString(s, n, codecNamed(codecName));
}

QString cutStringLocale(const QString& s, int n)
{
    return interCutStringLocale(s, n);
}

QString char2QString(const char* p, int n, const char* codecName)
{
    return interChar2QString(p, n, codecNamed(codecName));
}

QString char2QStringLocale(const char* p, int n)
{
    return interChar2QString(p, n, QTextCodec::codecForLocale());
}

QString uchar2QString(const unsigned char* p, int n, const char* codecName)
{
    return interChar2QString(reinterpret_cast<const char*>(p), n, codecNamed(codecName));
}

QString uchar2QStringLocale(const unsigned char* p, int n)
{
    return interChar2QString(reinterpret_cast<const char*>(p), n, QTextCodec::codecForLocale());
}

void string2Char(const QString& s, char* buf, int n, const char* codecName)
{
    interString2Char(s, buf, n, codecNamed(codecName));
}

void string2CharLocale(const QString& s, char* buf, int n)
{
    interString2Char(s, buf, n, QTextCodec::codecForLocale());
}

void string2Uchar(const QString& s, unsigned char* buf, int n, const char* codecName)
{
    interString2Char(s, reinterpret_cast<char*>(buf), n, codecNamed(codecName));
}

void string2UcharLocale(const QString& s, unsigned char* buf, int n)
{
    interString2Char(s, reinterpret_cast<char*>(buf), n, QTextCodec::codecForLocale());
}

void SetEncodingType(_ENCODING_TYPE_ type)
{
    s_EncodingType = type;
}

QString GetEncodeQStringFromChar(const char* p, int n)
{
    return s_EncodingType == ENCODING_TYPE_UTF8 ? char2QString(p, n, "UTF-8") : char2QStringLocale(p, n);
}

QString GetEncodeQStringFromUnChar(const unsigned char* p, int n)
{
    return s_EncodingType == ENCODING_TYPE_UTF8 ? uchar2QString(p, n, "UTF-8") : uchar2QStringLocale(p, n);
}

void CovertEncodeCharFromQString(const QString& s, char* buf, int n)
{
    if (s_EncodingType == ENCODING_TYPE_UTF8)
        string2Char(s, buf, n, "UTF-8");
    else
        string2CharLocale(s, buf, n);
}

} // namespace OrvInterface
