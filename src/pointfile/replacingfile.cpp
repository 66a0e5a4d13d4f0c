#include "replacingfile_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace PointFile {

namespace {

constexpr int kStagingLetters = 6;
constexpr int kNameAttempts = 100;
constexpr int kSymLinkDepth = 128;
const QLatin1String kStagingInfix(".commontools-");

QString stagingPrefix(const QString& targetName)
{
    return QLatin1Char('.') + targetName + kStagingInfix;
}

QByteArray newStagingPath(const QByteArray& folder, const QString& targetName)
{
    QString name = stagingPrefix(targetName);
    for (int i = 0; i < kStagingLetters; ++i) {
        const int letter = int(QRandomGenerator::global()->bounded(52));
        name += QLatin1Char(letter < 26 ? char('A' + letter) : char('a' + letter - 26));
    }
    return folder + '/' + QFile::encodeName(name);
}

// Tries new staging names until create() makes one, or fails for another
// reason than the name being taken: the name, or an empty one.
template <typename Create>
QByteArray takeStagingName(const QByteArray& folder, const QString& targetName, Create create)
{
    for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
        const QByteArray path = newStagingPath(folder, targetName);
        if (create(path))
            return path;
        if (errno != EEXIST)
            break;
    }
    return QByteArray();
}

bool sameFile(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// A staging file whose writer is gone: nobody holds its lock. One that its
// writer has just renamed away, or that is another file by now, stays.
void removeIfAbandoned(const QByteArray& path)
{
    const int fd = ::open(path.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return;
    struct stat opened{};
    struct stat named{};
    if (::flock(fd, LOCK_EX | LOCK_NB) == 0 && ::fstat(fd, &opened) == 0 && S_ISREG(opened.st_mode)
        && ::lstat(path.constData(), &named) == 0 && sameFile(opened, named))
        ::unlink(path.constData());
    ::close(fd);
}

void removeAbandoned(const QByteArray& folder, const QString& targetName)
{
    const QDir dir(QFile::decodeName(folder));
    const QStringList names = dir.entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString& name : names) {
        if (ReplacingFile::isStagingName(name, targetName))
            removeIfAbandoned(folder + '/' + QFile::encodeName(name));
    }
}

// The file a write to path ends in, as QSaveFile finds it: symbolic links
// are followed, even to a file that does not exist yet.
QFileInfo finalTarget(const QString& path)
{
    QFileInfo info(path);
    for (int depth = kSymLinkDepth; depth > 0 && info.isSymLink(); --depth)
        info.setFile(info.symLinkTarget());
    return info.isSymLink() ? QFileInfo(path) : info;
}

} // namespace

bool ReplacingFile::isStagingName(const QString& fileName, const QString& targetName)
{
    const QString prefix = stagingPrefix(targetName);
    if (fileName.size() != prefix.size() + kStagingLetters || !fileName.startsWith(prefix))
        return false;
    for (int i = prefix.size(); i < fileName.size(); ++i) {
        const QChar c = fileName.at(i);
        if (!((c >= QLatin1Char('A') && c <= QLatin1Char('Z')) || (c >= QLatin1Char('a') && c <= QLatin1Char('z'))))
            return false;
    }
    return true;
}

ReplacingFile::ReplacingFile(const QString& target, Staging staging)
    : m_staging(staging)
{
    const QFileInfo info = finalTarget(target);
    m_target = QFile::encodeName(info.absoluteFilePath());
    m_folder = QFile::encodeName(info.absolutePath());
    m_targetName = info.fileName();
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

    removeAbandoned(m_folder, m_targetName);

    // Private until it has the old file's permissions.
    const int mode = exists ? 0600 : 0666;
    const bool opened = (m_staging == Staging::Unnamed && openUnnamed(mode)) || openNamed(mode);
    if (!opened)
        return false;
    // Taken at once, and nobody else has the file yet.
    ::flock(m_fd, LOCK_EX | LOCK_NB);
    if (exists && ::fchmod(m_fd, existing.st_mode & 07777) != 0) {
        discard();
        return false;
    }
    return true;
}

// Unnamed files need the kernel's O_TMPFILE, a file system that has them,
// and /proc to give them a name later.
bool ReplacingFile::openUnnamed(int mode)
{
    if (::access("/proc/self/fd", X_OK) != 0)
        return false;
    m_fd = ::open(m_folder.constData(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
    return m_fd >= 0;
}

bool ReplacingFile::openNamed(int mode)
{
    m_named = takeStagingName(m_folder, m_targetName, [this, mode](const QByteArray& path) {
        m_fd = ::open(path.constData(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC | O_NOFOLLOW, mode);
        return m_fd >= 0;
    });
    return m_fd >= 0;
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
    m_named = takeStagingName(m_folder, m_targetName, [&self](const QByteArray& path) {
        return ::linkat(AT_FDCWD, self.constData(), AT_FDCWD, path.constData(), AT_SYMLINK_FOLLOW) == 0;
    });
    return !m_named.isEmpty();
}

bool ReplacingFile::commit()
{
    if (m_fd < 0)
        return false;
    // On the disk before it replaces anything.
    const bool complete = !m_failed && (::fsync(m_fd) == 0 || errno == EINVAL);
    const bool linked = complete && (!m_named.isEmpty() || linkUnnamed());
    const bool committed = linked && (m_named.isEmpty() || ::rename(m_named.constData(), m_target.constData()) == 0);
    if (committed)
        m_named.clear();
    discard();
    return committed;
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
