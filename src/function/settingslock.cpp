// Writes of the user's settings file, serialised between processes (see
// changeSettings in settings_p.h for why QSettings' own lock is not enough).

#include "settings_p.h"

#include <QDebug>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QRegularExpression>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace OrvInterface {

namespace {

// How long a writer waits for the others before it writes as QSettings
// alone would.
constexpr int kLockTimeoutMs = 5000;

// flock() on a folder: held from construction to destruction, released by
// the kernel if the process dies.
class FolderLock
{
public:
    explicit FolderLock(const QString& folder)
    {
        m_fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (m_fd < 0)
            return;
        // A write takes about a millisecond: waiting writers look that often.
        const QDeadlineTimer deadline(kLockTimeoutMs);
        for (;;) {
            if (::flock(m_fd, LOCK_EX | LOCK_NB) == 0) {
                m_locked = true;
                return;
            }
            if ((errno != EWOULDBLOCK && errno != EINTR) || deadline.hasExpired())
                return;
            ::usleep(1000);
        }
    }
    ~FolderLock()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    bool isLocked() const { return m_locked; }

private:
    int m_fd = -1;
    bool m_locked = false;
};

// A writer killed inside QSettings' own locked section leaves its lock file
// (and that of its stale-lock check) behind. QLockFile judges them as
// QSettings would, and takes over only a lock whose holder is gone.
void removeStaleSettingsLocks(const QString& path)
{
    const QString lockName = path + QLatin1String(".lock");
    for (const QString& name : {lockName + QLatin1String(".rmlock"), lockName}) {
        if (!QFileInfo::exists(name))
            continue;
        QLockFile lock(name);
        if (lock.tryLock(0))
            lock.unlock(); // removes it
    }
}

// Which file is at path, and when it was last modified (in milliseconds).
struct FileVersion
{
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    qint64 modifiedMs = 0;
};

FileVersion fileVersion(const QString& path)
{
    FileVersion version;
    struct stat info{};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return version;
    version.exists = true;
    version.device = info.st_dev;
    version.inode = info.st_ino;
    version.modifiedMs = qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000;
    return version;
}

// QSettings takes a file whose size and modification time, in
// milliseconds, it has seen before for the content it saw then; a process
// that keeps the settings cached relies on that. The kernel stamps files
// from a clock that moves in ticks of several milliseconds, so two writes
// in one tick that leave the size alone would look the same. A file that
// QSettings has just replaced is therefore given a time one millisecond
// after both its own and its predecessor's: later than any version before
// it, and unlike the one this process's QSettings has cached, so that the
// check below reads it from the disk. Only the time is set.
void giveNewModificationTime(const QString& path, const FileVersion& before, const FileVersion& after)
{
    const qint64 next = qMax(before.modifiedMs, after.modifiedMs) + 1;
    const timespec times[2] = {{0, UTIME_OMIT}, {time_t(next / 1000), long(next % 1000) * 1000000}};
    ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0);
}

// Every key and value, as text.
QMap<QString, QString> contents(const QSettings& settings)
{
    QMap<QString, QString> map;
    const QStringList keys = settings.allKeys();
    for (const QString& key : keys) {
        const QVariant value = settings.value(key);
        map.insert(key, value.type() == QVariant::StringList ? value.toStringList().join(QChar(0x1F))
                                                             : value.toString());
    }
    return map;
}

// QSettings reports success even when the last part of the file could not
// be written (a full disk, a file size limit): it is written through a
// buffer whose last flush fails unseen. The file is read back to find out.
bool holds(const QString& path, const QMap<QString, QString>& expected)
{
    const QSettings written(path, QSettings::IniFormat);
    return written.status() == QSettings::NoError && contents(written) == expected;
}

// While it is written, the previous file stays linked under this name (a
// link costs no space), so that it can be put back.
QString previousName(const QString& path)
{
    const QFileInfo info(path);
    return info.absolutePath() + QLatin1String("/.") + info.fileName() + QLatin1String(".commontools-previous");
}

// QSettings writes the new file without a name and names it
// "<file>.XXXXXX" (six letters) only for the moment between writing it and
// renaming it over the old one.
bool isQSettingsStagingName(const QString& name, const QString& fileName)
{
    static const QRegularExpression letters(QStringLiteral("^[A-Za-z]{6}$"));
    return name.size() == fileName.size() + 7 && name.startsWith(fileName + QLatin1Char('.'))
            && letters.match(name.midRef(fileName.size() + 1)).hasMatch();
}

bool notBefore(const timespec& a, const timespec& b)
{
    return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec >= b.tv_nsec;
}

// A writer that died while it wrote leaves the previous file linked: the
// settings file is then the previous one or a whole new one (QSaveFile
// replaces it in one step), and the link goes. If it died in the moment
// before the rename, its new file is left under a staging name too: a
// staging name changed since the link was made, when the dead writer
// began, is its (a file of the user's named alike is older).
void removeLeftPrevious(const QString& path)
{
    const QByteArray previous = QFile::encodeName(previousName(path));
    struct stat link{};
    if (::lstat(previous.constData(), &link) != 0)
        return;
    const QFileInfo info(path);
    const QDir folder = info.absoluteDir();
    const QStringList names = folder.entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString& name : names) {
        if (!isQSettingsStagingName(name, info.fileName()))
            continue;
        const QByteArray staging = QFile::encodeName(folder.filePath(name));
        struct stat left{};
        if (::lstat(staging.constData(), &left) == 0 && S_ISREG(left.st_mode) && notBefore(left.st_ctim, link.st_ctim))
            ::unlink(staging.constData());
    }
    ::unlink(previous.constData());
}

} // namespace

void changeSettings(const QString& path, const std::function<void(QSettings&)>& change, bool onlyIfExists)
{
    const QString folder = QFileInfo(path).absolutePath();
    const FolderLock lock(folder);
    if (lock.isLocked()) {
        removeStaleSettingsLocks(path);
        removeLeftPrevious(path);
    } else {
        qWarning().noquote() << QStringLiteral("CustomConfig.ini: no lock on %1 within %2 ms; writing without it")
                                        .arg(folder)
                                        .arg(kLockTimeoutMs);
    }
    if (onlyIfExists && !QFileInfo::exists(path))
        return;

    const FileVersion before = fileVersion(path);
    const QByteArray previous = QFile::encodeName(previousName(path));
    const bool kept = lock.isLocked() && before.exists
            && ::link(QFile::encodeName(path).constData(), previous.constData()) == 0;
    QMap<QString, QString> expected;
    {
        QSettings settings(path, QSettings::IniFormat);
        change(settings);
        settings.sync();
        expected = contents(settings);
    }

    const FileVersion after = fileVersion(path);
    const bool replaced = after.exists && (!before.exists || after.inode != before.inode || after.device != before.device);
    if (replaced && lock.isLocked()) {
        giveNewModificationTime(path, before, after);
        if (!holds(path, expected)) {
            // All or nothing: the previous file, or none if there was none.
            qWarning().noquote() << QStringLiteral("CustomConfig.ini: %1 could not be written whole; "
                                                   "the previous state is kept")
                                            .arg(path);
            if (!before.exists)
                QFile::remove(path);
            else if (kept && ::rename(previous.constData(), QFile::encodeName(path).constData()) == 0)
                return;
        }
    }
    if (kept)
        ::unlink(previous.constData());
}

} // namespace OrvInterface
