// commontools ip, mask and mac: addresses as text and numbers.

#include "command.h"

#include <OrvFunction.h>

#include <limits>

namespace Tool {

namespace {

constexpr qint64 kInt32Min = -2147483648LL;
constexpr qint64 kUInt32Max = 4294967295LL;

// Splits "ACTION ARGS..." and checks that ARGS is not empty.
bool actionAndArguments(const QCommandLineParser& parser, QString* action, QStringList* rest)
{
    QStringList texts = parser.positionalArguments();
    if (texts.size() < 2)
        return false;
    *action = texts.takeFirst();
    *rest = texts;
    return true;
}

// Prints "TEXT: <yes>" or "TEXT: <no>" for each; Failure when any is no.
int checkEach(const QStringList& texts, bool (*check)(QString), const char* yes, const char* no)
{
    int code = Success;
    for (const QString& text : texts) {
        const bool passed = check(text);
        out() << text << ": " << (passed ? yes : no) << Qt::endl;
        if (!passed)
            code = Failure;
    }
    return code;
}

} // namespace

int runIp(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("action"),
                                 QStringLiteral("check ADDRESS...: whether each is a usable host address;\n"
                                                "toint ADDRESS...: the 32-bit number of each;\n"
                                                "tostr NUMBER...: the dotted text of each."),
                                 QStringLiteral("check|toint|tostr ARGS..."));
    const int code = parseCommandLine(parser, arguments, QStringLiteral("IPv4 addresses as text and numbers."));
    if (code >= 0)
        return code;
    QString action;
    QStringList texts;
    if (!actionAndArguments(parser, &action, &texts))
        return fail(QStringLiteral("ip needs an action (check, toint, tostr) and at least one argument"), UsageError);

    if (action == QLatin1String("check"))
        return checkEach(texts, OrvInterface::CheckIpAble, "usable", "not usable");
    if (action == QLatin1String("toint")) {
        for (const QString& text : qAsConst(texts)) {
            const int ip = OrvInterface::strIP2IntIP(text);
            out() << text << ": " << ip << " (" << hex32(static_cast<unsigned int>(ip)) << ')' << Qt::endl;
        }
        return Success;
    }
    if (action == QLatin1String("tostr")) {
        QList<qint64> values;
        for (const QString& text : qAsConst(texts)) {
            qint64 value = 0;
            if (!parseInteger(text, kInt32Min, kUInt32Max, &value))
                return fail(QStringLiteral("'%1' is not a 32-bit number").arg(text), UsageError);
            values.append(value);
        }
        for (qint64 value : qAsConst(values))
            out() << OrvInterface::numIP2StrIP(int(quint32(value))) << Qt::endl;
        return Success;
    }
    return fail(QStringLiteral("unknown ip action '%1' (check, toint, tostr)").arg(action), UsageError);
}

int runMask(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("action"), QStringLiteral("check MASK...: whether each is an acceptable subnet mask."),
                                 QStringLiteral("check MASK..."));
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Subnet masks: contiguous masks of 1 to 30 bits are accepted."));
    if (code >= 0)
        return code;
    QString action;
    QStringList texts;
    if (!actionAndArguments(parser, &action, &texts))
        return fail(QStringLiteral("mask needs the action check and at least one mask"), UsageError);
    if (action != QLatin1String("check"))
        return fail(QStringLiteral("unknown mask action '%1' (check)").arg(action), UsageError);
    return checkEach(texts, OrvInterface::CheckSubnetMask, "valid", "not valid");
}

int runMac(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("action"),
                                 QStringLiteral("tostr HIGH LOW: the text of the two halves;\n"
                                                "tostr VALUE: the text of bits 47..0 of one 64-bit value;\n"
                                                "toint TEXT: the two halves of a MAC text."),
                                 QStringLiteral("tostr|toint ARGS..."));
    const int code = parseCommandLine(parser, arguments, QStringLiteral("MAC addresses as text and numbers."));
    if (code >= 0)
        return code;
    QString action;
    QStringList texts;
    if (!actionAndArguments(parser, &action, &texts))
        return fail(QStringLiteral("mac needs an action (tostr, toint) and its arguments"), UsageError);

    if (action == QLatin1String("tostr")) {
        if (texts.size() == 1) {
            qint64 value = 0;
            bool ok = parseInteger(texts.first(), 0, std::numeric_limits<qint64>::max(), &value);
            if (!ok)
                return fail(QStringLiteral("'%1' is not a MAC value").arg(texts.first()), UsageError);
            out() << OrvInterface::int64_2StringMacAddress(static_cast<unsigned long long>(value)) << Qt::endl;
            return Success;
        }
        qint64 halves[2];
        if (texts.size() != 2 || !parseInteger(texts.at(0), 0, kUInt32Max, &halves[0])
            || !parseInteger(texts.at(1), 0, kUInt32Max, &halves[1]))
            return fail(QStringLiteral("mac tostr needs HIGH LOW (32-bit numbers) or one VALUE"), UsageError);
        out() << OrvInterface::int2StringMacAddress(unsigned(halves[0]), unsigned(halves[1])) << Qt::endl;
        return Success;
    }
    if (action == QLatin1String("toint")) {
        if (texts.size() != 1)
            return fail(QStringLiteral("mac toint needs one MAC text"), UsageError);
        if (texts.first().split(QLatin1Char(':'), Qt::SkipEmptyParts).size() != 6)
            return fail(QStringLiteral("'%1' is not six ':'-separated parts").arg(texts.first()), Failure);
        unsigned int high = 0;
        unsigned int low = 0;
        OrvInterface::string2IntMacAddress(texts.first(), high, low);
        out() << "high " << hex32(high) << " low " << hex32(low) << Qt::endl;
        return Success;
    }
    return fail(QStringLiteral("unknown mac action '%1' (tostr, toint)").arg(action), UsageError);
}

void demoNetwork()
{
    using namespace OrvInterface;
    for (const char* address : {"192.168.0.1", "127.0.0.1", "10.0.0.255"})
        printField(QStringLiteral("CheckIpAble(%1)").arg(QLatin1String(address)), yesNo(CheckIpAble(QLatin1String(address))));
    for (const char* mask : {"255.255.255.252", "255.255.255.254", "255.0.255.0"})
        printField(QStringLiteral("CheckSubnetMask(%1)").arg(QLatin1String(mask)), yesNo(CheckSubnetMask(QLatin1String(mask))));
    printField(QStringLiteral("strIP2IntIP(1.2.3.256)"), hex32(static_cast<unsigned int>(strIP2IntIP(QStringLiteral("1.2.3.256")))));
    printField(QStringLiteral("int2StringMacAddress(0x11, 0x22334455)"), int2StringMacAddress(0x11, 0x22334455));
    printField(QStringLiteral("HexNumberQString2Int(1A)"), QString::number(HexNumberQString2Int(QStringLiteral("1A"))));
}

void demoCodec()
{
    using namespace OrvInterface;
    // "中文字": three characters, two bytes each in GBK, three in UTF-8.
    const QString text = QString::fromUtf8("\xe4\xb8\xad\xe6\x96\x87\xe5\xad\x97");
    out() << "Cutting to a byte limit drops whole characters only:" << Qt::endl;
    for (int limit : {7, 5, 3}) {
        printField(QStringLiteral("cutString(%1, %2, GBK)").arg(text).arg(limit), cutString(text, limit, "GBK"));
        printField(QStringLiteral("cutString(%1, %2, UTF-8)").arg(text).arg(limit), cutString(text, limit, "UTF-8"));
    }
}

} // namespace Tool
