// Feature settings, the read-only configuration entries and the client's
// own settings.

#include "settings_p.h"
#include "state_p.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTextCodec>

namespace OrvInterface {

namespace {

// The built-in basic feature list, "Quellon/quellon/Sarvendi/sarvendi/GEV/U3V",
// in the Base64 form the settings use.
const char kBuiltInFeatureFilter[] = "UXVlbGxvbi9xdWVsbG9uL1NhcnZlbmRpL3NhcnZlbmRpL0dFVi9VM1Y=";
const unsigned int kDefaultToolsSupportNum = 20;

} // namespace

QString softwareConfigInfor(QString key)
{
    // app.ini is plain UTF-8 text; CommonTools.ini, consulted only when
    // app.ini does not exist, holds Base64.
    const QString appIni = GetAppIniFile();
    if (QFileInfo::exists(appIni)) {
        QSettings settings(appIni, QSettings::IniFormat);
        settings.setIniCodec(QTextCodec::codecForName("utf-8"));
        return settings.value(key, QVariant()).toString();
    }
    const QString commonIni = QCoreApplication::applicationDirPath() + QLatin1String("/readonlyCfg/CommonTools.ini");
    if (!QFileInfo::exists(commonIni))
        return decodeBase64Text(QByteArray(""));
    const QSettings settings(commonIni, QSettings::IniFormat);
    return readEncodedValue(settings, key);
}

QString basicFeatureFilter()
{
    const QString path = customConfigPath();
    if (!QFileInfo::exists(path))
        return decodeBase64Text(QByteArray(kBuiltInFeatureFilter));
    const QSettings settings(path, QSettings::IniFormat);
    return readEncodedValue(settings, QStringLiteral("BasicFeatureFilter"));
}

unsigned int toolsSupportNum()
{
    const QString path = customConfigPath();
    if (!QFileInfo::exists(path))
        return kDefaultToolsSupportNum;
    const QSettings settings(path, QSettings::IniFormat);
    const unsigned int count = readEncodedValue(settings, QStringLiteral("ToolsSupportNum")).toUInt(nullptr, 10);
    return count != 0 ? count : kDefaultToolsSupportNum;
}

void setCustomConfig(const QString& key, const QString& value)
{
    // Unlike the filter setters, this one creates CustomConfig.ini.
    changeSettings(customConfigPath(), [&](QSettings& settings) { writeEncodedValue(settings, key, value); });
}

QString getCustomConfig(const QString& key)
{
    const QString path = customConfigPath();
    if (!QFileInfo::exists(path))
        return QString(QLatin1String(""));
    const QSettings settings(path, QSettings::IniFormat);
    return readEncodedValue(settings, key);
}

void setCustomConfigUtf8(const QString& key, const QString& value)
{
    changeSettings(customConfigPath(), [&](QSettings& settings) { writeUtf8Value(settings, key, value); });
}

QString getCustomConfigUtf8(const QString& key)
{
    const QString path = customConfigPath();
    if (!QFileInfo::exists(path))
        return QString();
    const QSettings settings(path, QSettings::IniFormat);
    return settings.contains(key) ? readEncodedValue(settings, key) : QString();
}

} // namespace OrvInterface
