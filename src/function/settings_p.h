/*
 * The settings convention: values are written as the Base64 text of their
 * Latin-1 bytes and read back by Base64 decoding, then UTF-8 decoding up to
 * the first NUL byte. Internal to the library.
 */
#ifndef ORVFUNCTION_SETTINGS_P_H
#define ORVFUNCTION_SETTINGS_P_H

#include "OrvFunction.h"

#include <QByteArray>
#include <QSettings>
#include <QString>
#include <QVariant>

namespace OrvInterface {

/* programDataPath() + "/CustomConfig.ini" (creates the folder). */
QString customConfigPath();

/* Base64-decodes bytes; a null decoding gives a null string, otherwise the
 * decoded bytes are read as UTF-8 up to their first NUL. */
QString decodeBase64Text(const QByteArray& base64);

/* Reads key of settings by the read side of the convention. */
QString readEncodedValue(const QSettings& settings, const QString& key);

/* Writes text under key of settings by the write side of the convention. */
void writeEncodedValue(QSettings& settings, const QString& key, const QString& text);

} // namespace OrvInterface

#endif
