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

/* The same with the UTF-8 bytes of text, which the read side decodes
 * whole. */
void writeUtf8Value(QSettings& settings, const QString& key, const QString& text);

/*
 * One change of the settings file at path, all or nothing: change is
 * applied to a settings object, and the file is replaced only once the new
 * content is whole and on the disk. Every write of the user's settings goes
 * through here. With onlyIfExists, nothing happens (and nothing is
 * created) when the file does not exist.
 *
 * The change is made on a private copy of the file (its final target,
 * symbolic links followed), ".commontools-<file>.staging-" and six letters
 * in the same folder, so that QSettings' own lock and staging files carry
 * that name too. The copy is read back (QSettings does not always notice a
 * failed write), synced, renamed over the file, and the folder is synced.
 *
 * Writers in several processes are serialised by a lock (an open file
 * description lock, which NFS honours too) on the lock file
 * ".commontools-<file>.lock" beside it, which every writer holds while a
 * private file of its exists: files with the private prefix found under
 * the lock were left by a writer that died, and are removed. A writer waits
 * for the lock at most about a second, then gives up; where the file
 * system has no locks, writers go ahead without it (and nothing left by a
 * dead one is removed).
 *
 * True when the file holds the change (or nothing was to be done); false
 * after a warning that names the reason, the file being as it was, but
 * for one case: when the folder cannot be synced after the rename, the
 * file is new and perhaps not yet on the disk.
 */
bool changeSettings(const QString& path, const std::function<void(QSettings&)>& change, bool onlyIfExists = false);

} // namespace OrvInterface

#endif
