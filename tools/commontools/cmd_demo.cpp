// commontools demo: a short tour of the library, one section per capability.

#include "command.h"

#include <CommonTools.h>

#include <QCoreApplication>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>

namespace Tool {

int runDemo(const QStringList& arguments)
{
    QCommandLineParser parser;
    const int code = parseCommandLine(parser, arguments, QStringLiteral("Runs a short tour of the library."));
    if (code >= 0)
        return code;
    if (!parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("demo takes no arguments"), UsageError);

    out() << "CommonTools " << COMMONTOOLS_DEMO_VERSION << " demonstration" << Qt::endl;
    for (const DemoSection& section : demoSections()) {
        out() << Qt::endl << "== " << section.title << " ==" << Qt::endl;
        section.show();
    }
    return Success;
}

void demoIdentity()
{
    using namespace OrvInterface;
    out() << "The name comes from app.ini beside the program (plain text), else from" << Qt::endl
          << "CommonTools.ini (Base64), else it is the built-in name." << Qt::endl;
    printField(QStringLiteral("appName()"), appName());
    printField(QStringLiteral("curExeVersion()"), curExeVersion());
    printField(QStringLiteral("userDataPath()"), userDataPath());
    printField(QStringLiteral("programDataPath()"), programDataPath());
    printField(QStringLiteral("systemTemp()"), systemTemp());
    printField(QStringLiteral("testFlag(4, 6)"), yesNo(testFlag(4, 6)));
    printField(QStringLiteral("testFlag(6, 4)"), yesNo(testFlag(6, 4)));
    printField(QStringLiteral("testFlag(0, 0)"), yesNo(testFlag(0, 0)));
}

void demoSettings()
{
    using namespace OrvInterface;
    out() << "User settings live in programDataPath()/CustomConfig.ini, each value the" << Qt::endl
          << "Base64 text of its Latin-1 bytes, or of its UTF-8 bytes when written by" << Qt::endl
          << "setCustomConfigUtf8 (commontools config set), which keeps any text." << Qt::endl;
    printField(QStringLiteral("softwareVersion()"), softwareVersion());
    printField(QStringLiteral("language()"), language(false));
    const QString previous = language(false);
    setLanguage(QStringLiteral("CH"));
    printField(QStringLiteral("after setLanguage(CH)"), language(false));
    setLanguage(previous);
    printField(QStringLiteral("language(true)"), language(true));
    // The library's messages follow installTranslation.
    const unsigned int code = 0x90006607u;
    for (const char* language : {"CH", "ENG"}) {
        installTranslation(QLatin1String(language));
        printField(QStringLiteral("after installTranslation(%1)").arg(QLatin1String(language)),
                   GenerateErrorDesc(int(code)));
    }
    installTranslation(messageLanguage());
}

void demoShell()
{
    using namespace OrvInterface;
    const QString output = execCommand(QStringLiteral("uname -sm"));
    printField(QStringLiteral("execCommand(uname -sm)"), output.trimmed());
    QList<long long> ids;
    const long long first = processID(QStringLiteral("commontools"), &ids);
    printField(QStringLiteral("processID(commontools)"), QString::number(first));
    printField(QStringLiteral("finds this process"), yesNo(ids.contains(QCoreApplication::applicationPid())));
    printField(QStringLiteral("processID(none)"),
               QString::number(processID(QStringLiteral("no-such-process-name"))));
}

void demoLogging()
{
    QTemporaryDir dir;
    const QString log = dir.path() + QStringLiteral("/demo.log");
    const QString properties = dir.path() + QStringLiteral("/log4qt.properties");
    QFile file(properties);
    if (!dir.isValid() || !file.open(QIODevice::WriteOnly)) {
        out() << "  (no temporary folder for the log)" << Qt::endl;
        return;
    }
    // log4qt also takes over Qt's messages, so the library's own debug
    // output (the commands it runs) reaches the log.
    file.write(QStringLiteral("log4j.rootLogger=DEBUG, file\n"
                              "log4j.handleQtMessages=true\n"
                              "log4j.appender.file=org.apache.log4j.FileAppender\n"
                              "log4j.appender.file.File=%1\n"
                              "log4j.appender.file.layout=org.apache.log4j.PatternLayout\n"
                              "log4j.appender.file.layout.ConversionPattern=%-5p %m%n\n")
                       .arg(log)
                       .toUtf8());
    file.close();

    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=true"));
    OrvInterface::initLog4qtConfig(properties);
    printField(QStringLiteral("g_instance"), g_instance ? QStringLiteral("configured") : QStringLiteral("null"));
    OrvInterface::execCommand(QStringLiteral("true"));
    qWarning("a warning from the client");

    QFile written(log);
    if (!written.open(QIODevice::ReadOnly)) {
        out() << "  (log4qt wrote no log file)" << Qt::endl;
        return;
    }
    out() << "  The log file holds:" << Qt::endl;
    for (const QByteArray& line : written.readAll().split('\n')) {
        if (!line.isEmpty())
            out() << "    " << QString::fromUtf8(line) << Qt::endl;
    }
}

} // namespace Tool
