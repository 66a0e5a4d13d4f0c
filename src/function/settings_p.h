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

#include <functional>

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

/*
 * One read-modify-write of the settings file at path: change is applied to
 * a settings object, which is written back before the call returns. With
 * onlyIfExists, nothing happens (and nothing is created) when the file does
 * not exist. Every write of the user's settings goes through here.
 *
 * Writers in several processes are serialised: QSettings alone loses
 * writes then. It reads the file, then takes its size and modification
 * time, and under its own lock re-reads only when those differ; a write
 * landing between its read and its stat is overwritten with the older
 * content. Here the settings object is made, written and destroyed under a
 * lock of the library's own, flock() on the file's folder (nothing is
 * created; the kernel releases it when its holder dies), so that it starts
 * from the file as the last writer left it. A writer that cannot have the
 * lock within a few seconds goes ahead as QSettings alone would.
 *
 * The file written is read back: QSettings reports success even when the
 * last part of the file could not be written (a full disk), and the
 * previous file, kept as a hard link while the write runs, is then put
 * back.
 */
void changeSettings(const QString& path, const std::function<void(QSettings&)>& change, bool onlyIfExists = false);

} // namespace OrvInterface

#endif
