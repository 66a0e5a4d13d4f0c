#include "ownfiles_p.h"

#include <QDeadlineTimer>
#include <QDirIterator>
#include <QFile>
#include <QRandomGenerator>
#include <QScopeGuard>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Offsets and sizes of files over 2 GiB (a point file goes up to 4 GiB).
static_assert(sizeof(off_t) == 8, "build with _FILE_OFFSET_BITS=64");

namespace OwnFiles {

namespace {

// The bytes of a lock file that hold the writers' lock and the waiters'
// mark, and how often a waiter looks.
constexpr off_t kLockByte = 0;
constexpr off_t kWaitingByte = 1;
constexpr int kRetryUs = 2000;

constexpr int kUniqueLetters = 6;
constexpr int kNameAttempts = 100;
constexpr int kSymLinkDepth = 128;

QString randomLetters()
{
    QString letters;
    for (int i = 0; i < kUniqueLetters; ++i) {
        const int letter = int(QRandomGenerator::global()->bounded(52));
        letters += QLatin1Char(letter < 26 ? char('A' + letter) : char('a' + letter - 26));
    }
    return letters;
}

bool isLetter(QChar c)
{
    return (c >= QLatin1Char('A') && c <= QLatin1Char('Z')) || (c >= QLatin1Char('a') && c <= QLatin1Char('z'));
}

bool lockByte(int fd, short type, off_t byte)
{
    struct flock range{};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = byte;
    range.l_len = 1;
    return ::fcntl(fd, F_OFD_SETLK, &range) == 0;
}

} // namespace

void Descriptor::reset(int fd)
{
    if (m_fd >= 0) {
        const int error = errno;
        ::close(m_fd);
        errno = error;
    }
    m_fd = fd;
}

QString prefixFor(const QString& fileName)
{
    return QLatin1String(".commontools-") + fileName + QLatin1Char('.');
}

QFileInfo finalTarget(const QString& path)
{
    QFileInfo info(path);
    for (int depth = kSymLinkDepth; depth > 0 && info.isSymLink(); --depth)
        info.setFile(info.symLinkTarget());
    return info.isSymLink() ? QFileInfo(path) : info;
}

QByteArray takeUniqueName(const QByteArray& folder, const QString& namePrefix,
                          const std::function<bool(const QByteArray& path)>& create)
{
    for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
        const QByteArray path = folder + '/' + QFile::encodeName(namePrefix + randomLetters());
        if (create(path))
            return path;
        if (errno != EEXIST)
            return QByteArray();
    }
    return QByteArray();
}

bool isUniqueName(const QString& name, const QString& namePrefix)
{
    if (name.size() != namePrefix.size() + kUniqueLetters || !name.startsWith(namePrefix))
        return false;
    for (int i = namePrefix.size(); i < name.size(); ++i) {
        if (!isLetter(name.at(i)))
            return false;
    }
    return true;
}

void forEachWithPrefix(const QByteArray& folder, const QString& namePrefix,
                       const std::function<void(const QByteArray& path, const QString& name)>& remove)
{
    QDirIterator it(QFile::decodeName(folder), QDir::Files | QDir::Hidden | QDir::System);
    while (it.hasNext()) {
        it.next();
        const QString name = it.fileName();
        if (name.startsWith(namePrefix))
            remove(folder + '/' + QFile::encodeName(name), name);
    }
}

bool syncFile(int fd)
{
#ifdef COMMONTOOLS_TESTING_SKIP_FSYNC
    // A build that shows the power-cut test failing: it says what it is,
    // once, so that it is never taken for a real one.
    Q_UNUSED(fd);
    static const bool warned = [] {
        qWarning("CommonTools was built with COMMONTOOLS_TESTING_SKIP_FSYNC: nothing it writes survives a power cut");
        return true;
    }();
    Q_UNUSED(warned);
    return true;
#else
    return ::fsync(fd) == 0 || errno == EINVAL;
#endif
}

bool syncFolder(const QByteArray& folder, bool ancestors)
{
    const Descriptor fd(::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd.isOpen() || !syncFile(fd.get()))
        return false;
    const int slash = folder.lastIndexOf('/');
    if (!ancestors || slash <= 0)
        return true;
    return syncFolder(folder.left(slash), true);
}

int openLockFile(const QByteArray& folder, const QByteArray& path)
{
    const int fd = ::open(path.constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666);
    struct stat dir{};
    struct stat file{};
    if (fd >= 0 && ::stat(folder.constData(), &dir) == 0 && ::fstat(fd, &file) == 0) {
        if ((file.st_uid != dir.st_uid || file.st_gid != dir.st_gid) && ::fchown(fd, dir.st_uid, dir.st_gid) != 0) {
            // only root may give a file away
        }
        if ((file.st_mode & 0777) != (dir.st_mode & 0666))
            ::fchmod(fd, dir.st_mode & 0666);
    }
    return fd;
}

// A waiter marks the lock file; one that finds others waiting waits behind
// them, as a process that writes in a loop would otherwise take the lock
// again before they look.
LockState takeLock(int fd, int waitMs)
{
    const auto unmark = qScopeGuard([fd] { lockByte(fd, F_UNLCK, kWaitingByte); });
    const QDeadlineTimer deadline(waitMs);
    bool mayTry = lockByte(fd, F_WRLCK, kWaitingByte) || (errno != EAGAIN && errno != EACCES);
    for (;; mayTry = true) {
        if (mayTry && lockByte(fd, F_WRLCK, kLockByte))
            return LockState::Held;
        if (mayTry && errno != EAGAIN && errno != EACCES && errno != EINTR)
            return LockState::Unsupported;
        if (deadline.hasExpired())
            return LockState::Busy;
        lockByte(fd, F_RDLCK, kWaitingByte);
        ::usleep(kRetryUs);
    }
}

QString errorText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace OwnFiles
