// commontools: a command-line tool over the CommonTools library.

#include "command.h"

#include <OrvFunction.h>

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QRegularExpression>

#include <limits>

namespace Tool {

const QList<Command>& commands()
{
    static const QList<Command> table = {
        {"info", "Show the application's identity, version, language and directories", runInfo},
        {"demo", "Run a short tour of the library", runDemo},
        {"calc", "Evaluate expressions with the calculator", runCalc},
        {"error", "Show the message and display code of result codes", runError},
        {"hex", "Format a 64-bit value, given as two halves, as hexadecimal", runHex},
        {"ip", "Check IPv4 addresses and convert them to and from numbers", runIp},
        {"mask", "Check subnet masks", runMask},
        {"mac", "Convert MAC addresses to and from numbers", runMac},
        {"mfa2txt", "Write the text form of a point file", runMfaToTxt},
        {"txt2mfa", "Write a point file's text form back into it", runTxtToMfa},
        {"crc32", "Print the point files' checksum of a file", runCrc32},
        {"mfa-info", "Show the header, descriptor and checksum of a point file", runMfaInfo},
        {"mfa-new", "Make a new point file from a descriptor and a text file", runMfaNew},
        {"config", "Get or set the client's own settings", runConfig},
        {"filters", "Show the device enumeration filters; set them with options", runFilters},
        {"sysinfo", "Show processor, memory, operating system, board code and byte order", runSysinfo},
        {"disk", "Tell whether a volume has fewer bytes available than needed", runDisk},
        {"writable", "Tell whether a file can be created in a folder", runWritable},
        {"bench", "Measure the checksum and the point file conversions on this machine", runBench},
    };
    return table;
}

const QList<DemoSection>& demoSections()
{
    static const QList<DemoSection> table = {
        {"Application identity and directories", demoIdentity},
        {"Language, version and settings", demoSettings},
        {"Enumeration filters and features", demoFilters},
        {"Shell commands and processes", demoShell},
        {"System and storage", demoSystem},
        {"Expression calculator", demoCalculator},
        {"Result codes and hexadecimal text", demoCodes},
        {"Text in code pages", demoCodec},
        {"Addresses and numbers", demoNetwork},
        {"Point files", demoPointFiles},
        {"Logging", demoLogging},
    };
    return table;
}

QTextStream& out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream& err()
{
    static QTextStream stream(stderr);
    return stream;
}

int fail(const QString& message, int code)
{
    out().flush();
    err() << "commontools: " << message << Qt::endl;
    return code;
}

int parseCommandLine(QCommandLineParser& parser, const QStringList& arguments, const QString& description)
{
    parser.setApplicationDescription(description);
    const QCommandLineOption help = parser.addHelpOption();
    // Negative numbers are values, not options: one that follows an option
    // is that option's value; the first other one ends the options.
    static const QRegularExpression negativeNumber(QStringLiteral("\\A-[0-9].*\\z"));
    QStringList args = arguments;
    for (int i = 1; i < args.size(); ++i) {
        const QString previous = args.at(i - 1);
        if (args.at(i) == QLatin1String("--"))
            break;
        if (!negativeNumber.match(args.at(i)).hasMatch())
            continue;
        if (i > 1 && previous.startsWith(QLatin1Char('-')) && !negativeNumber.match(previous).hasMatch()
            && !previous.contains(QLatin1Char('='))) {
            args[i - 1] = previous + QLatin1Char('=') + args.at(i);
            args.removeAt(i--);
            continue;
        }
        args.insert(i, QStringLiteral("--"));
        break;
    }
    if (!parser.parse(args))
        return fail(parser.errorText(), UsageError);
    if (parser.isSet(help)) {
        // The usage line names the sub-command, not just the program.
        QString text = parser.helpText();
        text.replace(text.indexOf(QCoreApplication::arguments().constFirst()),
                     QCoreApplication::arguments().constFirst().size(), arguments.constFirst());
        out() << text;
        return Success;
    }
    return -1;
}

bool parseInteger(const QString& text, qint64 min, qint64 max, qint64* value)
{
    bool ok = false;
    qint64 parsed = 0;
    if (text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)) {
        const quint64 bits = text.mid(2).toULongLong(&ok, 16);
        ok = ok && !text.mid(2).startsWith(QLatin1Char('+')) && !text.mid(2).startsWith(QLatin1Char('-'))
                && bits <= quint64(std::numeric_limits<qint64>::max());
        parsed = qint64(bits);
    } else {
        parsed = text.toLongLong(&ok, 10);
    }
    if (!ok || parsed < min || parsed > max)
        return false;
    *value = parsed;
    return true;
}

QString hex32(quint32 value)
{
    return QStringLiteral("0x") + QString::number(value, 16).rightJustified(8, QLatin1Char('0')).toUpper();
}

QString yesNo(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

QString& messageLanguage()
{
    static QString language = QStringLiteral("ENG");
    return language;
}

void printField(const QString& label, const QString& value)
{
    out() << QStringLiteral("  %1 %2").arg(label + QLatin1Char(':'), -34).arg(value) << Qt::endl;
}

} // namespace Tool

namespace {

QString commandList()
{
    QString text = QStringLiteral("\nCommands:\n");
    for (const Tool::Command& command : Tool::commands())
        text += QStringLiteral("  %1 %2\n").arg(QLatin1String(command.name), -10).arg(QLatin1String(command.summary));
    text += QStringLiteral("\nRun 'commontools COMMAND --help' for the options of a command.\n");
    return text;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("commontools"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Command-line access to the CommonTools library."));
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption ini(QStringLiteral("ini"),
                                 QStringLiteral("Use <file> as the application INI file (app.ini)."),
                                 QStringLiteral("file"));
    const QCommandLineOption verbose({QStringLiteral("v"), QStringLiteral("verbose")},
                                     QStringLiteral("Show the library's debug messages (the shell commands it runs)."));
    const QCommandLineOption language(QStringLiteral("language"),
                                      QStringLiteral("Show the library's messages in <code>: CH (Simplified Chinese) "
                                                     "or ENG (English, the default)."),
                                      QStringLiteral("code"));
    parser.addOption(ini);
    parser.addOption(verbose);
    parser.addOption(language);
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("The command to run."),
                                 QStringLiteral("COMMAND [ARGS...]"));

    if (!parser.parse(QCoreApplication::arguments()))
        return Tool::fail(parser.errorText(), Tool::UsageError);

    const QStringList positional = parser.positionalArguments();
    if (parser.isSet(help) || positional.isEmpty()) {
        Tool::out() << parser.helpText() << commandList();
        return positional.isEmpty() && !parser.isSet(help) ? Tool::UsageError : Tool::Success;
    }

    if (!parser.isSet(verbose))
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    if (parser.isSet(ini))
        OrvInterface::setAppIniFile(parser.value(ini));
    if (parser.isSet(language)) {
        const QString code = parser.value(language);
        if (code != QLatin1String("CH") && code != QLatin1String("ENG"))
            return Tool::fail(QStringLiteral("--language takes CH or ENG, not '%1'").arg(code), Tool::UsageError);
        OrvInterface::installTranslation(code);
        Tool::messageLanguage() = code;
    }

    const QString name = positional.first();
    for (const Tool::Command& command : Tool::commands()) {
        if (name == QLatin1String(command.name)) {
            QStringList arguments = positional.mid(1);
            arguments.prepend(QStringLiteral("commontools ") + name);
            return command.run(arguments);
        }
    }
    return Tool::fail(QStringLiteral("unknown command '%1'; 'commontools --help' lists them").arg(name),
                      Tool::UsageError);
}
