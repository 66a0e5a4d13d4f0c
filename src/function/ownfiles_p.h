/*
 * The files the library makes beside a user's file while it replaces it,
 * and what makes such a replacement last through a power cut. Internal.
 *
 * Every such file is named ".commontools-<name of the file replaced>."
 * followed by a suffix of the writer's own: a name that only the library
 * uses, so that it never mistakes a user's file for one of its own. It
 * removes such a file only while it holds the lock that the file's writer
 * held as long as the file existed.
 */
#ifndef COMMONTOOLS_OWNFILES_P_H
#define COMMONTOOLS_OWNFILES_P_H

#include <QByteArray>
#include <QFileInfo>
#include <QString>

#include <functional>

namespace OwnFiles {

// A file descriptor, closed when the object goes (-1: none).
class Descriptor
{
public:
    explicit Descriptor(int fd = -1)
        : m_fd(fd)
    {
    }
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return m_fd; }
    bool isOpen() const { return m_fd >= 0; }
    // Closes what it held (keeping errno), and holds fd.
    void reset(int fd = -1);

private:
    int m_fd;
};

// ".commontools-<fileName>.": what the names of the library's files beside
// fileName start with.
QString prefixFor(const QString& fileName);

// The file that writing to path changes: symbolic links followed, also to a
// file that does not exist yet; path itself for a loop of links.
QFileInfo finalTarget(const QString& path);

// Makes a new name in folder: namePrefix followed by six random letters,
// tried with create (which must fail with EEXIST for a name that is taken,
// as open(O_CREAT | O_EXCL) and link() do, so that it never takes someone
// else's file) until create succeeds or fails otherwise. The path, or an
// empty one with errno set.
QByteArray takeUniqueName(const QByteArray& folder, const QString& namePrefix,
                          const std::function<bool(const QByteArray& path)>& create);

// Whether name is namePrefix followed by six letters.
bool isUniqueName(const QString& name, const QString& namePrefix);

// Calls remove for the path of every entry of folder whose name starts with
// namePrefix (neither listed in full nor sorted first).
void forEachWithPrefix(const QByteArray& folder, const QString& namePrefix,
                       const std::function<void(const QByteArray& path, const QString& name)>& remove);

// Puts what was written to the file of fd on the disk (a file system that
// cannot sync counts as done). False with errno set otherwise.
bool syncFile(int fd);

// Puts the entries of folder (a rename, a new name) on the disk; with
// ancestors, those of every folder above it too, for a folder that may
// have just been made.
bool syncFolder(const QByteArray& folder, bool ancestors = false);

// A lock file of the library's own beside a user's file, which stays:
// opened for reading and writing (created if need be) and given the owner
// and the permissions of its folder, so that whoever may make files there
// may take the lock. The descriptor, or -1 with errno set.
int openLockFile(const QByteArray& folder, const QByteArray& path);

enum class LockState { Held, Busy, Unsupported };

// Takes the writers' lock of the lock file fd, waiting for it at most
// waitMs: a lock of the open file, which the kernel drops when its holder
// dies and NFS carries too. It is released when fd is closed. Unsupported
// where the file system has no such locks.
LockState takeLock(int fd, int waitMs);

// strerror(errno) as a QString, for messages.
QString errorText(int error);

} // namespace OwnFiles

#endif
