// Writes of the user's settings file (see changeSettings in settings_p.h).

#include "ownfiles_p.h"
#include "settings_p.h"

#include <QDebug>
#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>

namespace OrvInterface {

namespace {

// How long a writer waits for the others on the caller's thread.
constexpr int kLockWaitMs = 1000;
// What a failed write asks the file system for, to learn why it failed.
constexpr off_t kProbeBytes = 64 * 1024;

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

qint64 modifiedMs(const struct stat& info)
{
    return qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000;
}

// The private copy that a write changes, then renames over the target. Its
// methods return an empty string, or the reason they failed.
class PrivateCopy
{
public:
    PrivateCopy(const QByteArray& folder, const QString& prefix)
        : m_folder(folder)
        , m_prefix(prefix)
    {
    }
    ~PrivateCopy()
    {
        if (!m_path.isEmpty())
            ::unlink(m_path.constData());
    }
    Q_DISABLE_COPY(PrivateCopy)

    QString path() const { return QFile::decodeName(m_path); }

    // A copy of target; an empty file when there is no target yet, or
    // nothing at all (absent()) when it must exist and does not.
    QString make(const QByteArray& target, bool mustExist)
    {
        const OwnFiles::Descriptor source(::open(target.constData(), O_RDONLY | O_CLOEXEC));
        if (!source.isOpen() && (errno != ENOENT || mustExist)) {
            m_absent = errno == ENOENT;
            return m_absent ? QString() : OwnFiles::errorText(errno);
        }
        m_targetExists = source.isOpen();
        if (m_targetExists && ::fstat(source.get(), &m_target) != 0)
            return OwnFiles::errorText(errno);
        OwnFiles::Descriptor copy;
        m_path = OwnFiles::takeUniqueName(m_folder, m_prefix, [&](const QByteArray& path) {
            copy.reset(::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                              m_targetExists ? 0600 : 0666));
            return copy.isOpen();
        });
        if (!copy.isOpen())
            return OwnFiles::errorText(errno);
        for (ssize_t sent = 1; m_targetExists && sent != 0;) {
            sent = ::sendfile(copy.get(), source.get(), nullptr, 1 << 30);
            if (sent < 0 && errno != EINTR)
                return OwnFiles::errorText(errno);
        }
        return QString();
    }

    bool absent() const { return m_absent; }
    bool targetExisted() const { return m_targetExists; }

    // QSettings takes a file of a size and a modification time (in ms) that
    // it has seen for the content it saw then. Clocks move in ticks and a
    // board's may go back after a power cut: the copy gets a time after the
    // target's and the one it had, so that every process reads it anew.
    void giveNewModificationTime()
    {
        struct stat written{};
        if (::stat(m_path.constData(), &written) != 0)
            return;
        const qint64 next = qMax(modifiedMs(written), m_targetExists ? modifiedMs(m_target) : 0) + 1;
        const timespec times[2] = {{0, UTIME_OMIT}, {time_t(next / 1000), long(next % 1000) * 1000000}};
        ::utimensat(AT_FDCWD, m_path.constData(), times, 0);
    }

    // QSettings reports a failed write as an access error, or not at all (its
    // last write through a buffer can fail unseen). Asking the file system
    // for room in the copy names the reason.
    QString writeFailure() const
    {
        const OwnFiles::Descriptor fd(::open(m_path.constData(), O_WRONLY | O_CLOEXEC));
        struct stat info{};
        // Room for a second file as large, as QSettings' own staging needs.
        const int error = !fd.isOpen() || ::fstat(fd.get(), &info) != 0
                ? errno
                : ::posix_fallocate(fd.get(), 0, 2 * info.st_size + kProbeBytes);
        return error != 0 ? OwnFiles::errorText(error) : QStringLiteral("QSettings could not write it");
    }

    // The copy with the target's owner (where allowed) and permissions, on
    // the disk, then in the target's place. (QSettings wrote it as a new
    // file of this process.)
    QString replace(const QByteArray& target)
    {
        const OwnFiles::Descriptor fd(::open(m_path.constData(), O_RDONLY | O_CLOEXEC));
        if (!fd.isOpen())
            return OwnFiles::errorText(errno);
        if (m_targetExists) {
            if (::fchown(fd.get(), m_target.st_uid, m_target.st_gid) != 0 && errno != EPERM)
                return OwnFiles::errorText(errno);
            if (::fchmod(fd.get(), m_target.st_mode & 07777) != 0)
                return OwnFiles::errorText(errno);
        }
        if (!OwnFiles::syncFile(fd.get()) || ::rename(m_path.constData(), target.constData()) != 0)
            return OwnFiles::errorText(errno);
        m_path.clear();
        return QString();
    }

private:
    QByteArray m_folder;
    QString m_prefix;
    QByteArray m_path;
    struct stat m_target{};
    bool m_targetExists = false;
    bool m_absent = false;
};

// Applies change to the copy, and reads the copy back.
QString changeCopy(PrivateCopy& copy, const std::function<void(QSettings&)>& change)
{
    QMap<QString, QString> expected;
    {
        QSettings settings(copy.path(), QSettings::IniFormat);
        change(settings);
        settings.sync();
        // A FormatError is about a line of the old file QSettings could not
        // read (and leaves out): the read-back below tells what was written.
        if (settings.status() == QSettings::AccessError)
            return copy.writeFailure();
        expected = contents(settings);
    }
    copy.giveNewModificationTime();
    const QSettings written(copy.path(), QSettings::IniFormat);
    if (written.status() == QSettings::AccessError || contents(written) != expected)
        return copy.writeFailure();
    return QString();
}

// What is done under the writers' lock: the clean-up, and the private copy
// changed and renamed over the target. An empty string, or the reason.
QString changeUnderLock(const QFileInfo& target, const std::function<void(QSettings&)>& change, bool onlyIfExists,
                        bool* created)
{
    const QByteArray folder = QFile::encodeName(target.absolutePath());
    const QString prefix = OwnFiles::prefixFor(target.fileName());
    const OwnFiles::Descriptor lock(OwnFiles::openLockFile(folder, folder + '/' + QFile::encodeName(prefix + QLatin1String("lock"))));
    if (!lock.isOpen())
        return QStringLiteral("no lock file: ") + OwnFiles::errorText(errno);
    const QString stagingPrefix = prefix + QLatin1String("staging-");
    switch (OwnFiles::takeLock(lock.get(), kLockWaitMs)) {
    case OwnFiles::LockState::Held:
        // Writers make their files under the lock: such a file is left only
        // by a writer that died.
        OwnFiles::forEachWithPrefix(folder, stagingPrefix, [](const QByteArray& leftover, const QString&) {
            ::unlink(leftover.constData());
        });
        break;
    case OwnFiles::LockState::Busy:
        return QStringLiteral("another process has held its lock for %1 ms").arg(kLockWaitMs);
    case OwnFiles::LockState::Unsupported:
        static std::atomic_bool told{false};
        if (!told.exchange(true))
            qWarning().noquote() << QStringLiteral("CustomConfig.ini: no locks on the file system of %1: "
                                                   "writes of other processes are not kept apart")
                                            .arg(QFile::decodeName(folder));
    }

    PrivateCopy copy(folder, stagingPrefix);
    QString reason = copy.make(QFile::encodeName(target.absoluteFilePath()), onlyIfExists);
    if (copy.absent())
        return QString(); // removed meanwhile: a setter that never creates the file does nothing
    if (reason.isEmpty())
        reason = changeCopy(copy, change);
    if (reason.isEmpty())
        reason = copy.replace(QFile::encodeName(target.absoluteFilePath()));
    *created = reason.isEmpty() && !copy.targetExisted();
    return reason;
}

} // namespace

bool changeSettings(const QString& path, const std::function<void(QSettings&)>& change, bool onlyIfExists)
{
    const QFileInfo target = OwnFiles::finalTarget(path);
    if (onlyIfExists && !target.exists())
        return true; // (nor is the lock file made)
    bool created = false;
    const QString reason = changeUnderLock(target, change, onlyIfExists, &created);
    if (!reason.isEmpty()) {
        qWarning().noquote() << QStringLiteral("CustomConfig.ini: %1 was not changed: %2").arg(path, reason);
        return false;
    }
    // The new name on the disk too, and the names of the folders above when
    // the file is new (they may be new too); the other writers need not
    // wait for it.
    if (!OwnFiles::syncFolder(QFile::encodeName(target.absolutePath()), created)) {
        const int error = errno; // before the warning allocates
        qWarning().noquote() << QStringLiteral("CustomConfig.ini: %1 was changed, but may not be on the disk: %2")
                                        .arg(path, OwnFiles::errorText(error));
        return false;
    }
    return true;
}

} // namespace OrvInterface
