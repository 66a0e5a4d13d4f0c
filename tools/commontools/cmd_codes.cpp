// commontools error and hex: messages for result codes, hexadecimal text.

#include "command.h"

#include <OrvFunction.h>

namespace Tool {

int runError(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("code"), QStringLiteral("Result codes, decimal or 0x-hexadecimal."),
                                 QStringLiteral("CODE..."));
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Prints the display code and the message of each result code."));
    if (code >= 0)
        return code;
    const QStringList texts = parser.positionalArguments();
    if (texts.isEmpty())
        return fail(QStringLiteral("error needs at least one code"), UsageError);

    QList<qint64> codes;
    for (const QString& text : texts) {
        qint64 value = 0;
        if (!parseInteger(text, -2147483648LL, 4294967295LL, &value))
            return fail(QStringLiteral("'%1' is not a 32-bit code (decimal or 0x-hexadecimal)").arg(text), UsageError);
        codes.append(value);
    }
    for (qint64 value : qAsConst(codes)) {
        const unsigned int bits = static_cast<unsigned int>(value);
        out() << OrvInterface::IntCode2DisplayCode(bits) << ' ' << OrvInterface::GenerateErrorDesc(int(bits)) << Qt::endl;
    }
    return Success;
}

int runHex(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("low"), QStringLiteral("The less significant 32 bits."));
    parser.addPositionalArgument(QStringLiteral("high"), QStringLiteral("The more significant 32 bits."));
    parser.addPositionalArgument(QStringLiteral("width"), QStringLiteral("The minimum number of digits."));
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Prints HIGH:LOW as upper-case hexadecimal of at least WIDTH digits."));
    if (code >= 0)
        return code;
    const QStringList texts = parser.positionalArguments();
    if (texts.size() != 3)
        return fail(QStringLiteral("hex needs LOW HIGH WIDTH"), UsageError);

    qint64 values[3];
    const qint64 limits[3][2] = {{-2147483648LL, 4294967295LL}, {-2147483648LL, 4294967295LL}, {-2147483648LL, 2147483647LL}};
    for (int i = 0; i < 3; ++i) {
        if (!parseInteger(texts.at(i), limits[i][0], limits[i][1], &values[i]))
            return fail(QStringLiteral("'%1' is not a 32-bit number").arg(texts.at(i)), UsageError);
    }
    out() << OrvInterface::toHexadecimalString(int(quint32(values[0])), int(quint32(values[1])), int(values[2])) << Qt::endl;
    return Success;
}

void demoCodes()
{
    for (unsigned int code : {0x90006607u, 0x9000610Au, 0x70000016u, 0x7000001Cu}) {
        out() << "  " << OrvInterface::IntCode2DisplayCode(code) << ' ' << OrvInterface::GenerateErrorDesc(int(code))
              << Qt::endl;
    }
    printField(QStringLiteral("toHexadecimalString(255, 0, 4)"), OrvInterface::toHexadecimalString(255, 0, 4));
    printField(QStringLiteral("toHexadecimalString(16, 1, 0)"), OrvInterface::toHexadecimalString(16, 1, 0));
}

} // namespace Tool
