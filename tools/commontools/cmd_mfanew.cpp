// commontools mfa-new: a new point file from a descriptor, with the records
// of a text file or N records of zero.
//
// The file is laid out as the point file guide recommends: the header, the
// descriptor at 120, the records at 256 (later when the descriptor is
// longer), and the checksum of everything from offset 16 stored at 12. The
// records of a text file are written by the library (ChangeTxtToMfa), so
// that the file holds what the library itself reads back.

#include "command.h"

#include <OrvPointFile.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace Tool {

namespace {

constexpr quint32 kMagic = 0x5A5AAA55u;
constexpr int kCrcField = 12;         // where this tool stores the checksum
constexpr int kCrcRegionStart = 16;
constexpr int kDescriptorOffset = 120;
constexpr int kDataOffset = 256;
constexpr qint64 kMaxFileSize = std::numeric_limits<int>::max() - 1; // this tool makes the file in one QByteArray

void putU32(QByteArray& file, int offset, quint32 value)
{
    for (int i = 0; i < 4; ++i)
        file[offset + i] = char((value >> (8 * i)) & 0xFF);
}

// The record widths and valid-byte codes with a layout in both directions.
bool hasLayout(unsigned int unit, unsigned int valid)
{
    return unit == 1 || unit == 2 || (unit == 4 && valid != 0);
}

// The number of lines the library reads from text: every line feed ends
// one, and a last line without one counts too.
qint64 lineCount(const QByteArray& text)
{
    if (text.isEmpty())
        return 0;
    return text.count('\n') + (text.endsWith('\n') ? 0 : 1);
}

// Header, descriptor and count zero records of unit bytes, with the
// checksum of the whole.
QByteArray pointFile(const QByteArray& descriptor, unsigned int unit, qint64 count)
{
    const int descriptorEnd = kDescriptorOffset + descriptor.size() + 1;
    const int dataOffset = qMax(kDataOffset, (descriptorEnd + 15) / 16 * 16);
    QByteArray file(dataOffset + int(count * unit), '\0');
    putU32(file, 0, kMagic);
    putU32(file, 8, kCrcField);
    putU32(file, 32, quint32(dataOffset));
    putU32(file, 36, quint32(file.size() - kCrcRegionStart));
    file.replace(kDescriptorOffset, descriptor.size(), descriptor);
    putU32(file, kCrcField,
           crc32(reinterpret_cast<const unsigned char*>(file.constData()) + kCrcRegionStart,
                 file.size() - kCrcRegionStart));
    return file;
}

bool writeFile(const QString& path, const QByteArray& content, QString* error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.commit()) {
        *error = file.errorString();
        return false;
    }
    return true;
}

enum class NewFile { Written, Exists, Unsynced, Failed };

// Closes a descriptor when it goes.
class Descriptor
{
public:
    explicit Descriptor(int fd = -1)
        : fd(fd)
    {
    }
    ~Descriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int fd;
};

bool writeAll(int fd, const QByteArray& content)
{
    for (qint64 done = 0; done < content.size();) {
        const ssize_t written = ::write(fd, content.constData() + done, size_t(content.size() - done));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            if (written == 0)
                errno = EIO; // no progress: not waited for again
            return false;
        }
        done += written;
    }
    return true;
}

// Whether name in folder is the file open as fd.
bool sameFile(int folder, const QByteArray& name, int fd)
{
    struct stat own;
    struct stat found;
    return ::fstat(fd, &own) == 0 && ::fstatat(folder, name.constData(), &found, AT_SYMLINK_NOFOLLOW) == 0
            && own.st_dev == found.st_dev && own.st_ino == found.st_ino;
}

// Removes name from folder only while it is the file open as fd: a file
// made here, not one that took its name since. 0, or an errno.
int removeOwn(int folder, const QByteArray& name, int fd)
{
    if (!sameFile(folder, name, fd))
        return ENOENT;
    return ::unlinkat(folder, name.constData(), 0) == 0 ? 0 : errno;
}

// What a file system says of an operation it does not have.
bool unsupported(int error)
{
    return error == EINVAL || error == ENOSYS || error == EPERM || error == EOPNOTSUPP;
}

// Gives the complete staging file the name, replacing nothing that is
// there by then: by a rename that refuses to replace, or where a file
// system lacks it (NFS), by a link, the staging name then removed. 0, or
// an errno; *lacking tells whether the file system has neither call.
int placeWithoutReplacing(int folder, const QByteArray& staging, int stagingFd, const QByteArray& name, bool* lacking)
{
    if (::renameat2(folder, staging.constData(), folder, name.constData(), RENAME_NOREPLACE) == 0)
        return 0;
    if (!unsupported(errno))
        return errno;
    if (::linkat(folder, staging.constData(), folder, name.constData(), 0) != 0) {
        const int failure = errno;
        *lacking = unsupported(failure);
        // A link retried on NFS reports EEXIST though the first try made it.
        if (failure != EEXIST || !sameFile(folder, name, stagingFd))
            return failure;
    }
    if (const int failure = removeOwn(folder, staging, stagingFd)) {
        removeOwn(folder, name, stagingFd); // whole or not at all: not under two names
        return failure;
    }
    return 0;
}

// A new file at path with content, whole or not at all, beside which a
// staging file of its own is written first. What is at path by the time
// it is put there (a file made since it was checked, a symbolic link even
// to nothing) stays, which a check beforehand cannot promise. The folder
// is opened once, as the kernel finds it (a ".." after a symbolic link
// included), and every step happens in it.
NewFile writeNewFile(const QString& path, const QByteArray& content, QString* error)
{
    const QFileInfo info(path);
    const QByteArray name = QFile::encodeName(info.fileName());
    const Descriptor folder(::open(QFile::encodeName(info.path()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Descriptor staging;
    QByteArray stagingName;
    for (int attempt = 0; attempt < 100 && staging.fd < 0 && folder.fd >= 0; ++attempt) {
        stagingName = '.' + name + ".mfa-new-" + QByteArray::number(QRandomGenerator::global()->bounded(1 << 30), 36);
        // Made as any new file is (umask, default ACL), not private.
        staging.fd = ::openat(folder.fd, stagingName.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (staging.fd < 0 && errno != EEXIST)
            break;
    }
    if (staging.fd < 0) {
        *error = qt_error_string(errno);
        return NewFile::Failed;
    }
    int failure = writeAll(staging.fd, content) && ::fsync(staging.fd) == 0 ? 0 : errno;
    bool lacking = false;
    if (failure == 0)
        failure = placeWithoutReplacing(folder.fd, stagingName, staging.fd, name, &lacking);
    if (failure != 0) {
        removeOwn(folder.fd, stagingName, staging.fd);
        *error = lacking
                ? QStringLiteral("its file system can neither rename a file without replacing another nor link "
                                 "it (%1)")
                          .arg(qt_error_string(failure))
                : qt_error_string(failure);
        return failure == EEXIST ? NewFile::Exists : NewFile::Failed;
    }
    if (::fsync(folder.fd) != 0 && errno != EINVAL) { // some file systems cannot sync a folder
        *error = qt_error_string(errno);
        return NewFile::Unsynced;
    }
    return NewFile::Written;
}

} // namespace

int runMfaNew(const QStringList& arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption records(QStringLiteral("records"),
                                     QStringLiteral("Make <n> records of zero instead of reading a text file."),
                                     QStringLiteral("n"));
    parser.addOption(records);
    parser.addPositionalArgument(QStringLiteral("descriptor"),
                                 QStringLiteral("The layout of the records, for example \"Unit:4 Valid:3 Endian:L "
                                                "Meaning:x\": Unit: 1, 2 or 4 bytes; Valid: 3 (all four bytes), "
                                                "H (the last two) or L (the first two); Endian: L or B; Meaning: x "
                                                "(x/y pairs, x in the low half), y (x in the high half) or none "
                                                "(one number per record)."),
                                 QStringLiteral("DESCRIPTOR"));
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("The point file to make; it must not exist."),
                                 QStringLiteral("FILE.mfa"));
    parser.addPositionalArgument(QStringLiteral("text"),
                                 QStringLiteral("The records, one line each, in the text form of mfa2txt."),
                                 QStringLiteral("[TEXT]"));
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Makes a new point file with the records of TEXT, or with "
                                                     "--records N records of zero. The checksum is stored in "
                                                     "the header (offset 12) and covers everything from offset "
                                                     "16; the records start at offset 256."));
    if (code >= 0)
        return code;

    const QStringList positional = parser.positionalArguments();
    const bool fromText = positional.size() == 3;
    if ((positional.size() != 2 && !fromText) || fromText == parser.isSet(records))
        return fail(QStringLiteral("mfa-new needs a descriptor, the new .mfa file, and either a text file or "
                                   "--records N"),
                    UsageError);
    const QString descriptorText = positional.at(0);
    const QString mfa = positional.at(1);

    unsigned int unit = 0, valid = 0, endian = 0, meaning = 0;
    const QByteArray descriptor = descriptorText.toLatin1();
    if (QString::fromLatin1(descriptor) != descriptorText || descriptor.contains('\0')
        || !OrvInterface::GetAnalyticFormat(descriptorText, unit, valid, endian, meaning))
        return fail(QStringLiteral("'%1' is not a descriptor: it needs Unit:, Valid: and Endian:, see "
                                   "'commontools mfa-new --help'")
                            .arg(descriptorText),
                    UsageError);
    if (descriptorText.startsWith(QLatin1String("Format:txt"), Qt::CaseInsensitive))
        return fail(QStringLiteral("mfa-new makes files of records, not Format:txt files"), UsageError);
    if (!hasLayout(unit, valid))
        return fail(QStringLiteral("'%1' has no record layout: Unit: must be 1, 2 or 4, and Valid: 3, H or L "
                                   "with Unit:4")
                            .arg(descriptorText),
                    UsageError);
    if (!mfa.contains(QLatin1String(".mfa")))
        return fail(QStringLiteral("%1: the point file's name must hold \".mfa\"").arg(mfa), UsageError);
    if (QFileInfo::exists(mfa))
        return fail(QStringLiteral("%1 exists already").arg(mfa));

    qint64 count = 0;
    QByteArray text;
    if (fromText) {
        QFile source(positional.at(2));
        if (!source.open(QIODevice::ReadOnly))
            return fail(QStringLiteral("cannot read %1: %2").arg(source.fileName(), source.errorString()));
        text = source.readAll();
        if (text.isEmpty())
            return fail(QStringLiteral("%1 is empty: use --records 0 for a file without records").arg(source.fileName()));
        count = lineCount(text);
    } else if (!parseInteger(parser.value(records), 0, kMaxFileSize, &count)) {
        return fail(QStringLiteral("'%1' is not a number of records").arg(parser.value(records)), UsageError);
    }
    if (kDataOffset + 16 + descriptor.size() + count * unit > kMaxFileSize)
        return fail(QStringLiteral("%1 records of %2 bytes make a file too large to convert").arg(count).arg(unit));

    QByteArray file = pointFile(descriptor, unit, count);
    if (fromText) {
        // The library writes the records, from a copy of the text beside a
        // copy of the file: the text's own name does not matter.
        QTemporaryDir scratch;
        const QString staged = scratch.filePath(QStringLiteral("new.mfa"));
        QString error;
        if (!scratch.isValid() || !writeFile(staged, file, &error)
            || !writeFile(scratch.filePath(QStringLiteral("new.txt")), text, &error))
            return fail(QStringLiteral("no room for a scratch copy: %1").arg(error));
        if (!OrvInterface::ChangeTxtToMfa(staged))
            return fail(QStringLiteral("the library did not take the records of %1").arg(positional.at(2)));
        QFile result(staged);
        if (!result.open(QIODevice::ReadOnly))
            return fail(QStringLiteral("cannot read %1: %2").arg(staged, result.errorString()));
        file = result.readAll();
    }

    QString error;
    switch (writeNewFile(mfa, file, &error)) {
    case NewFile::Exists:
        return fail(QStringLiteral("%1 exists already").arg(mfa));
    case NewFile::Failed:
        return fail(QStringLiteral("cannot write %1: %2").arg(mfa, error));
    case NewFile::Unsynced:
        return fail(QStringLiteral("%1 is written, but its folder could not be synced: %2").arg(mfa, error));
    case NewFile::Written:
        break;
    }
    out() << "Wrote " << mfa << ": " << count << (count == 1 ? " record" : " records") << " of " << unit
          << (unit == 1 ? " byte" : " bytes") << Qt::endl;
    return Success;
}

} // namespace Tool
