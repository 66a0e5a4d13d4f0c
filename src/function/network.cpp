// IPv4 addresses, subnet masks, MAC addresses and numbers as text.

#include "OrvFunction.h"

#include <QRegExp>
#include <QStringList>

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace OrvInterface {

namespace {

// Bytes are combined by adding, not masking: a part above 255 carries into
// its neighbour. Unsigned arithmetic keeps that defined for any part.
quint32 combineBytes(quint32 b0, quint32 b1, quint32 b2, quint32 b3)
{
    return (b0 << 24) + (b1 << 16) + (b2 << 8) + b3;
}

QString formatMac(unsigned int high, unsigned int low)
{
    char text[32] = {};
    std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", (high >> 8) & 255, high & 255, low >> 24,
                  (low >> 16) & 255, (low >> 8) & 255, low & 255);
    return QString::fromLatin1(text);
}

bool isMaskOctet(int value)
{
    static const int kOctets[] = {0, 128, 192, 224, 240, 248, 252, 254, 255};
    return std::find(std::begin(kOctets), std::end(kOctets), value) != std::end(kOctets);
}

} // namespace

QString numIP2StrIP(int ip)
{
    const quint32 bits = static_cast<quint32>(ip);
    return QStringLiteral("%1.%2.%3.%4").arg(bits >> 24).arg((bits >> 16) & 255).arg((bits >> 8) & 255).arg(bits & 255);
}

int strIP2IntIP(const QString& ip)
{
    const QStringList parts = ip.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    if (parts.size() != 4)
        return -1;
    quint32 bytes[4];
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<quint32>(parts.at(i).toInt(nullptr, 10));
    return static_cast<int>(combineBytes(bytes[0], bytes[1], bytes[2], bytes[3]));
}

QString int2StringMacAddress(unsigned int high, unsigned int low)
{
    return formatMac(high, low);
}

QString int64_2StringMacAddress(unsigned long long mac)
{
    return formatMac(static_cast<unsigned int>(mac >> 32), static_cast<unsigned int>(mac & 0xFFFFFFFFu));
}

void string2IntMacAddress(const QString& mac, unsigned int& high, unsigned int& low)
{
    high = 0;
    low = 0;
    const QStringList parts = mac.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (parts.size() != 6)
        return;
    quint32 bytes[6];
    for (int i = 0; i < 6; ++i)
        bytes[i] = static_cast<quint32>(parts.at(i).toInt(nullptr, 16));
    high = (bytes[0] << 8) + bytes[1];
    low = combineBytes(bytes[2], bytes[3], bytes[4], bytes[5]);
}

bool CheckIpAble(QString ip)
{
    if (ip.isEmpty())
        return false;
    const QStringList parts = ip.split(QLatin1Char('.'), Qt::KeepEmptyParts);
    if (parts.size() != 4)
        return false;
    int octets[4];
    for (int i = 0; i < 4; ++i) {
        // CheckIsNumber accepts the empty string: it is refused apart.
        if (!CheckIsNumber(parts.at(i)) || parts.at(i).isEmpty())
            return false;
        octets[i] = parts.at(i).toInt(nullptr, 10);
        if (octets[i] > 255)
            return false;
    }
    // No network 0, no class D or E, no loop-back; no network or
    // broadcast host.
    if (octets[0] <= 0 || octets[0] > 223 || octets[0] == 127)
        return false;
    return octets[3] != 0 && octets[3] != 255;
}

bool CheckSubnetMask(QString mask)
{
    static const QRegExp kForm(QStringLiteral("^\\d{1,3}\\.\\d{1,3}\\.\\d{1,3}\\.\\d{1,3}$"), Qt::CaseSensitive,
                               QRegExp::RegExp);
    if (!QRegExp(kForm).exactMatch(mask))
        return false;

    const QStringList parts = mask.split(QLatin1Char('.'), Qt::KeepEmptyParts);
    int previous = 255;
    int ones = 0;
    int zeros = 0;
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        const int octet = parts.at(i).toInt(&ok, 10);
        if (!ok || !isMaskOctet(octet) || octet > previous)
            return false;
        if (i == 3 && octet == 254) // a 31-bit mask leaves no host
            return false;
        previous = octet;
        ones += octet == 255;
        zeros += octet == 0;
    }
    // At most one octet between 0 and 255 keeps the one-bits contiguous.
    const int first = parts.at(0).toInt(nullptr, 10);
    return ones + zeros >= 3 && ones != 4 && first != 0;
}

long long string2Int(const QString& s)
{
    return s.contains(QLatin1String("0x"), Qt::CaseSensitive) ? s.toLongLong(nullptr, 16) : s.toLongLong(nullptr, 10);
}

QString Int2HexNumberQString(long long value)
{
    char text[32] = {};
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
    return QString::fromLatin1(text);
}

long long HexNumberQString2Int(const QString& s)
{
    bool ok = false;
    const long long decimal = s.toLongLong(&ok, 10);
    return ok ? decimal : s.toLongLong(nullptr, 16);
}

bool CheckIsNumber(QString s)
{
    for (QChar c : qAsConst(s)) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return false;
    }
    return true;
}

void RemoveIllegalChar(QString& s)
{
    for (QChar c : QStringLiteral("%/:?>\\'\"*<|"))
        s.remove(c, Qt::CaseSensitive);
}

} // namespace OrvInterface
