// Application identity, its read-only INI files and its directories.

#include "settings_p.h"
#include "state_p.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSettings>

namespace {

const char kAppNameKey[] = "APPName";
// The built-in name, kept in the same Base64 form as CommonTools.ini.
const char kDefaultAppNameBase64[] = "T3J2aWs=";

QString commonToolsIniPath()
{
    return QCoreApplication::applicationDirPath() + QLatin1String("/readonlyCfg/CommonTools.ini");
}

QString appDirectory(const char* pattern, bool create)
{
    const QString path = QString::fromLatin1(pattern).arg(OrvInterface::appName());
    if (create) {
        QDir dir(path);
        if (!dir.exists())
            dir.mkpath(path); // the path is returned whether or not this works
    }
    return path;
}

} // namespace

QString GetAppIniFile()
{
    using OrvInterface::s_strAppIniFile;
    if (s_strAppIniFile.isEmpty())
        s_strAppIniFile = QCoreApplication::applicationDirPath() + QLatin1String("/readonlyCfg/app.ini");
    return s_strAppIniFile;
}

namespace OrvInterface {

void setAppIniFile(const QString& path)
{
    s_strAppIniFile = path;
}

QString curExeVersion()
{
    return QStringLiteral("armhf");
}

void setLanguage(const QString& language)
{
    s_strLanguage = language;
}

bool testFlag(unsigned int flag, unsigned int flags)
{
    if ((flag & flags) != flag)
        return false;
    return flag != 0 || flags == 0;
}

bool testFlag(int flag, int flags)
{
    return testFlag(static_cast<unsigned int>(flag), static_cast<unsigned int>(flags));
}

void setFileDialogDefaultPath(const QString& path)
{
    s_strDefaultPath = path;
}

QString appName()
{
    static QString s_AppName;
    if (!s_AppName.isEmpty())
        return s_AppName;

    // app.ini holds the name as plain text; CommonTools.ini is consulted
    // only when app.ini does not exist at all, and holds it in Base64.
    const QString appIni = GetAppIniFile();
    if (QFileInfo::exists(appIni)) {
        QSettings settings(appIni, QSettings::IniFormat);
        s_AppName = settings.value(QLatin1String(kAppNameKey), QVariant()).toString();
        return s_AppName;
    }

    const QString commonIni = commonToolsIniPath();
    if (!QFileInfo::exists(commonIni))
        return decodeBase64Text(QByteArray(kDefaultAppNameBase64)); // not cached

    QSettings settings(commonIni, QSettings::IniFormat);
    s_AppName = readEncodedValue(settings, QLatin1String(kAppNameKey));
    return s_AppName;
}

QString userDataPath()
{
    return appDirectory("/opt/%1/bin/Temp", true);
}

QString systemTemp()
{
    return appDirectory("/opt/%1/bin/Cfg", false);
}

QString programDataPath()
{
    return appDirectory("/opt/%1/bin/Cfg", true);
}

QString readonlyCfgPath()
{
    return QCoreApplication::applicationDirPath();
}

QString commonFilesPath()
{
    return QString(QLatin1String(""));
}

QString localPath()
{
    return commonFilesPath();
}

QString systemDir(int which)
{
    Q_UNUSED(which)
    return QString(QLatin1String(""));
}

} // namespace OrvInterface
