// commontools info: the application's identity and directories.

#include "command.h"

#include <OrvFunction.h>

#include <QFileInfo>

namespace Tool {

namespace {

QString describeFile(const QString& path)
{
    return QFileInfo::exists(path) ? path : path + QStringLiteral(" (absent)");
}

} // namespace

int runInfo(const QStringList& arguments)
{
    QCommandLineParser parser;
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Shows what the library knows about the application. Like the "
                                                     "application itself, it creates the user-data and configuration "
                                                     "folders under /opt when they are missing."));
    if (code >= 0)
        return code;
    if (!parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("info takes no arguments"), UsageError);

    using namespace OrvInterface;
    printField(QStringLiteral("Application name"), appName());
    printField(QStringLiteral("Software version"), softwareVersion());
    printField(QStringLiteral("Language"), language(false));
    printField(QStringLiteral("Architecture"), curExeVersion());
    printField(QStringLiteral("Application INI"), describeFile(GetAppIniFile()));
    printField(QStringLiteral("Read-only config"), readonlyCfgPath());
    printField(QStringLiteral("User data"), userDataPath());
    printField(QStringLiteral("Program data"), programDataPath());
    printField(QStringLiteral("System temp"), systemTemp());
    return Success;
}

} // namespace Tool
