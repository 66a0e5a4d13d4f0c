#include "replacingfile_p.h"

#include "function/ownfiles_p.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace PointFile {

namespace {

// Staging files that another writer's clean-up took before their lock.
constexpr int kLockAttempts = 100;

bool sameFile(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Whether fd is the file that path names now.
bool namesIt(int fd, const QByteArray& path)
{
    struct stat opened{};
    struct stat named{};
    return ::fstat(fd, &opened) == 0 && ::lstat(path.constData(), &named) == 0 && sameFile(opened, named);
}

// A staging file whose writer is gone: nobody holds its lock. One that its
// writer has just renamed away, or that is another file by now, stays.
void removeIfAbandoned(const QByteArray& path)
{
    const int fd = ::open(path.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return;
    struct stat opened{};
    if (::flock(fd, LOCK_EX | LOCK_NB) == 0 && ::fstat(fd, &opened) == 0 && S_ISREG(opened.st_mode) && namesIt(fd, path))
        ::unlink(path.constData());
    ::close(fd);
}

} // namespace

bool ReplacingFile::isStagingName(const QString& fileName, const QString& targetName)
{
    return OwnFiles::isUniqueName(fileName, OwnFiles::prefixFor(targetName));
}

ReplacingFile::ReplacingFile(const QString& target, Staging staging)
    : m_staging(staging)
{
    const QFileInfo info = OwnFiles::finalTarget(target);
    m_target = QFile::encodeName(info.absoluteFilePath());
    m_folder = QFile::encodeName(info.absolutePath());
    m_stagingPrefix = OwnFiles::prefixFor(info.fileName());
}

ReplacingFile::~ReplacingFile()
{
    discard();
}

bool ReplacingFile::open()
{
    discard();
    m_failed = false;
    struct stat existing{};
    const bool exists = ::stat(m_target.constData(), &existing) == 0;
    if (exists && (S_ISDIR(existing.st_mode) || ::access(m_target.constData(), W_OK) != 0))
        return false;

    OwnFiles::forEachWithPrefix(m_folder, m_stagingPrefix, [this](const QByteArray& path, const QString& name) {
        if (OwnFiles::isUniqueName(name, m_stagingPrefix))
            removeIfAbandoned(path);
    });

    // Private until it has the old file's permissions.
    const int mode = exists ? 0600 : 0666;
    const bool opened = (m_staging == Staging::Unnamed && openUnnamed(mode)) || openNamed(mode);
    if (!opened)
        return false;
    if (exists && ::fchmod(m_fd, existing.st_mode & 07777) != 0) {
        discard();
        return false;
    }
    return true;
}

// Unnamed files need the kernel's O_TMPFILE, a file system that has them,
// and /proc to give them a name later. Nobody else can reach the file
// before it has a name, so its lock is had at once.
bool ReplacingFile::openUnnamed(int mode)
{
    if (::access("/proc/self/fd", X_OK) != 0)
        return false;
    m_fd = ::open(m_folder.constData(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
    if (m_fd < 0)
        return false;
    if (::flock(m_fd, LOCK_EX | LOCK_NB) == 0)
        return true;
    ::close(m_fd); // the named way is tried next
    m_fd = -1;
    return false;
}

// A named staging file is the writer's only once it holds its lock and
// the name still leads to it: between its creation and the lock, another
// writer may have taken it for abandoned and removed it.
bool ReplacingFile::openNamed(int mode)
{
    for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
        const QByteArray path = OwnFiles::takeUniqueName(m_folder, m_stagingPrefix, [this, mode](const QByteArray& path) {
            m_fd = ::open(path.constData(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC | O_NOFOLLOW, mode);
            return m_fd >= 0;
        });
        if (path.isEmpty())
            return false;
        const bool locked = ::flock(m_fd, LOCK_EX | LOCK_NB) == 0;
        if (locked && namesIt(m_fd, path)) {
            m_named = path;
            return true;
        }
        // Without locks (an NFS mount whose lock service is down) no name
        // will do: the file just made goes again, if the name still leads
        // to it, and the write fails.
        const bool noLocks = !locked && errno != EWOULDBLOCK;
        if (noLocks && namesIt(m_fd, path))
            ::unlink(path.constData());
        ::close(m_fd);
        m_fd = -1;
        if (noLocks)
            return false;
    }
    return false;
}

bool ReplacingFile::write(const char* data, qint64 size)
{
    if (m_fd < 0 || m_failed)
        return false;
    while (size > 0) {
        const ssize_t written = ::write(m_fd, data, size_t(size));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            m_failed = true;
            return false;
        }
        data += written;
        size -= written;
    }
    return true;
}

bool ReplacingFile::writeAt(qint64 offset, const char* data, qint64 size)
{
    if (m_fd < 0 || m_failed)
        return false;
    while (size > 0) {
        const ssize_t written = ::pwrite(m_fd, data, size_t(size), off_t(offset));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            m_failed = true;
            return false;
        }
        data += written;
        size -= written;
        offset += written;
    }
    return true;
}

// The unnamed file gets the target's name if there is no target yet, and
// a staging name otherwise (a link cannot replace a file).
bool ReplacingFile::linkUnnamed()
{
    const QByteArray self = "/proc/self/fd/" + QByteArray::number(m_fd);
    if (::linkat(AT_FDCWD, self.constData(), AT_FDCWD, m_target.constData(), AT_SYMLINK_FOLLOW) == 0)
        return true;
    if (errno != EEXIST)
        return false;
    m_named = OwnFiles::takeUniqueName(m_folder, m_stagingPrefix, [&self](const QByteArray& path) {
        return ::linkat(AT_FDCWD, self.constData(), AT_FDCWD, path.constData(), AT_SYMLINK_FOLLOW) == 0;
    });
    return !m_named.isEmpty();
}

bool ReplacingFile::commit()
{
    if (m_fd < 0)
        return false;
    // On the disk before it replaces anything, and the replacement too
    // before the caller hears that it is done.
    const bool complete = !m_failed && OwnFiles::syncFile(m_fd);
    const bool linked = complete && (!m_named.isEmpty() || linkUnnamed());
    const bool committed = linked && (m_named.isEmpty() || ::rename(m_named.constData(), m_target.constData()) == 0);
    if (committed)
        m_named.clear();
    discard();
    return committed && OwnFiles::syncFolder(m_folder);
}

void ReplacingFile::discard()
{
    if (!m_named.isEmpty()) {
        ::unlink(m_named.constData());
        m_named.clear();
    }
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

} // namespace PointFile
