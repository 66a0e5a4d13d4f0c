// The settings convention, and the language and software version settings.

#include "settings_p.h"
#include "shell_p.h"
#include "state_p.h"

#include <QFileInfo>

namespace OrvInterface {

namespace {

const char kLanguageKey[] = "Language";
const char kSoftwareVersionKey[] = "SoftwareVersion";
const char kDefaultVersion[] = "1.0.0";

// The shell's LANG decides between Chinese and English when the user has
// stored no language.
QString detectSystemLanguage()
{
    const QString lang = execQuietly(QStringLiteral("echo $LANG"));
    return lang.indexOf(QLatin1String("zh_CN"), 0, Qt::CaseInsensitive) >= 0
            ? QStringLiteral("CH")
            : QStringLiteral("ENG");
}

} // namespace

QString customConfigPath()
{
    return programDataPath() + QLatin1String("/CustomConfig.ini");
}

QString decodeBase64Text(const QByteArray& base64)
{
    // QString::fromUtf8(QByteArray) keeps a null array null and stops at
    // the first NUL byte.
    return QString::fromUtf8(QByteArray::fromBase64(base64));
}

QString readEncodedValue(const QSettings& settings, const QString& key)
{
    return decodeBase64Text(settings.value(key, QVariant()).toByteArray());
}

void writeEncodedValue(QSettings& settings, const QString& key, const QString& text)
{
    settings.setValue(key, QVariant(text.toLatin1().toBase64()));
}

void writeUtf8Value(QSettings& settings, const QString& key, const QString& text)
{
    settings.setValue(key, QVariant(text.toUtf8().toBase64()));
}

QString language(bool reload)
{
    if (s_strLanguage.isEmpty())
        reload = true;
    if (!reload)
        return s_strLanguage;

    const QString path = customConfigPath();
    if (!QFileInfo::exists(path))
        return QStringLiteral("ENG");

    {
        const QSettings settings(path, QSettings::IniFormat);
        s_strLanguage = readEncodedValue(settings, QLatin1String(kLanguageKey));
    }
    if (s_strLanguage.isEmpty())
        setLanguage(detectSystemLanguage()); // detected, not stored
    return s_strLanguage;
}

void storeLanguage()
{
    changeSettings(customConfigPath(), [](QSettings& settings) {
        writeEncodedValue(settings, QLatin1String(kLanguageKey), s_strLanguage);
    });
}

QString softwareVersion()
{
    if (!s_strsoftwareVer.isEmpty())
        return s_strsoftwareVer;

    // An existing app.ini is the only source, even when it lacks the key.
    const QString appIni = GetAppIniFile();
    if (QFileInfo::exists(appIni)) {
        const QSettings settings(appIni, QSettings::IniFormat);
        s_strsoftwareVer = settings.value(QLatin1String(kSoftwareVersionKey), QVariant()).toString();
        return s_strsoftwareVer;
    }

    const QString path = customConfigPath();
    {
        const QSettings settings(path, QSettings::IniFormat);
        if (settings.contains(QLatin1String(kSoftwareVersionKey))) {
            s_strsoftwareVer = readEncodedValue(settings, QLatin1String(kSoftwareVersionKey));
            return s_strsoftwareVer;
        }
    }
    // The default is written back (creating the file), unless another
    // process stored a version meanwhile.
    s_strsoftwareVer = QLatin1String(kDefaultVersion);
    changeSettings(path, [](QSettings& settings) {
        if (settings.contains(QLatin1String(kSoftwareVersionKey)))
            s_strsoftwareVer = readEncodedValue(settings, QLatin1String(kSoftwareVersionKey));
        else
            writeEncodedValue(settings, QLatin1String(kSoftwareVersionKey), s_strsoftwareVer);
    });
    return s_strsoftwareVer;
}

} // namespace OrvInterface
