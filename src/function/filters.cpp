// Device enumeration filters and the neutral-vision mark, kept in
// CustomConfig.ini. The library stores and returns them; the client applies
// them.

#include "settings_p.h"

#include <QFileInfo>

namespace OrvInterface {

namespace {

// An include or exclude list: null when the file or the key is missing.
QString listSetting(const char* key)
{
    const QString path = customConfigPath();
    if (!QFileInfo::exists(path))
        return QString();
    const QSettings settings(path, QSettings::IniFormat);
    if (!settings.contains(QLatin1String(key)))
        return QString();
    return readEncodedValue(settings, QLatin1String(key));
}

// A filter state, stored as a plain integer: 0 without the file, the
// state's own default without the key.
int stateSetting(const char* key, int defaultWhenAbsent)
{
    const QString path = customConfigPath();
    if (!QFileInfo::exists(path))
        return 0;
    const QSettings settings(path, QSettings::IniFormat);
    if (!settings.contains(QLatin1String(key)))
        return defaultWhenAbsent;
    return settings.value(QLatin1String(key), QVariant()).toInt();
}

// A free-form text: empty without the file or the key.
QString textSetting(const char* key)
{
    const QString path = customConfigPath();
    if (!QFileInfo::exists(path))
        return QString(QLatin1String(""));
    const QSettings settings(path, QSettings::IniFormat);
    return readEncodedValue(settings, QLatin1String(key));
}

// These setters never create CustomConfig.ini: without it they do nothing.
void setSetting(const char* key, const QVariant& value)
{
    changeSettings(
            customConfigPath(), [&](QSettings& settings) { settings.setValue(QLatin1String(key), value); }, true);
}

void setListSetting(const char* key, const QString& list)
{
    setSetting(key, QVariant(list.toLatin1().toBase64()));
}

} // namespace

bool isNeutralVision()
{
    return textSetting("Vision") == QLatin1String("NEU");
}

QString enumFilter()
{
    return textSetting("EnumFilter");
}

QString unEnumFilter()
{
    return textSetting("UnEnumFilter");
}

int vendorFilterState()
{
    return stateSetting("VendorFilter", 2);
}

int modelFilterState()
{
    return stateSetting("ModelFilter", 0);
}

void setVendorFilterState(const int& state)
{
    setSetting("VendorFilter", QVariant(state));
}

void setModelFilterState(const int& state)
{
    setSetting("ModelFilter", QVariant(state));
}

QString vendorFilterInclude()
{
    return listSetting("VendorInclude");
}

QString vendorFilterExclude()
{
    return listSetting("VendorExclude");
}

QString modelFilterInclude()
{
    return listSetting("ModelInclude");
}

QString modelFilterExclude()
{
    return listSetting("ModelExclude");
}

void setVendorFilterInclude(const QString& list)
{
    setListSetting("VendorInclude", list);
}

void setVendorFilterExclude(const QString& list)
{
    setListSetting("VendorExclude", list);
}

void setModelFilterInclude(const QString& list)
{
    setListSetting("ModelInclude", list);
}

void setModelFilterExclude(const QString& list)
{
    setListSetting("ModelExclude", list);
}

} // namespace OrvInterface
