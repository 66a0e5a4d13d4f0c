/*
 * Writes a file's new content beside it and puts it in place of the old one
 * in one step: a reader, or a process that dies during the write, sees the
 * old file or the whole new one. Internal to the library.
 *
 * The content is written to a file without a name (O_TMPFILE), which
 * vanishes with its writer. Only to replace the target is it given a name,
 * ".commontools-<target>.XXXXXX", for the moment between link and rename;
 * where the file system has no unnamed files, it has that name throughout.
 * The writer holds a lock (flock) on it, which the kernel drops when the
 * writer dies: the next writer of the same target removes any such file
 * that nobody holds. The file and then its folder are synced before
 * commit() reports success, so that the new content outlasts a power cut.
 */
#ifndef ORVPOINTFILE_REPLACINGFILE_P_H
#define ORVPOINTFILE_REPLACINGFILE_P_H

#include <QByteArray>
#include <QString>

namespace PointFile {

class ReplacingFile
{
public:
    enum class Staging {
        Unnamed, // a named file only where unnamed ones are not supported
        Named,
    };

    explicit ReplacingFile(const QString& target, Staging staging = Staging::Unnamed);
    ~ReplacingFile(); // discards what was not committed
    ReplacingFile(const ReplacingFile&) = delete;
    ReplacingFile& operator=(const ReplacingFile&) = delete;

    // False when nothing can be written there: a folder that does not
    // exist or takes no new file, a target that is a folder or cannot be
    // written.
    bool open();
    // All of it, or false (a full disk); after a failure, commit() fails.
    bool write(const char* data, qint64 size);
    bool write(const QByteArray& data) { return write(data.constData(), data.size()); }
    // Overwrites size bytes at offset of what was written (a field patched
    // once the content after it is known); fails as write() does.
    bool writeAt(qint64 offset, const char* data, qint64 size);
    // Puts the new content in place and on the disk. On false the target is
    // as it was, or (when only the last sync failed) new but perhaps not yet
    // on the disk.
    bool commit();
    // Forgets what was written; the target is as it was.
    void discard();

    // The name the new content has while it replaces the target's, or has
    // throughout where there are no unnamed files: ".commontools-<target>."
    // and six letters.
    static bool isStagingName(const QString& fileName, const QString& targetName);

private:
    bool openUnnamed(int mode);
    bool openNamed(int mode);
    bool linkUnnamed();

    QByteArray m_target; // the file replaced, symbolic links followed
    QByteArray m_folder;
    QString m_stagingPrefix;
    QByteArray m_named;  // the staging file's name, while it has one
    Staging m_staging;
    int m_fd = -1;
    bool m_failed = false;
};

} // namespace PointFile

#endif
