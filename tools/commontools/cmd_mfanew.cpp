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
#include <QTemporaryDir>
#include <QTemporaryFile>

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

enum class NewFile { Written, Exists, Failed };

// 0, or the errno of what failed.
int syncFolder(const QString& folder)
{
    const int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    const int failure = ::fsync(fd) == 0 || errno == EINVAL ? 0 : errno; // some file systems cannot sync a folder
    ::close(fd);
    return failure;
}

// A new file at path with content, whole or not at all. The file is made
// beside it and renamed into place by a rename that refuses to replace
// whatever is at path by then (a file made since it was checked, a
// symbolic link even to nothing), which a check beforehand cannot promise.
NewFile writeNewFile(const QString& path, const QByteArray& content, QString* error)
{
    const QFileInfo target(path);
    QTemporaryFile staging(target.absolutePath() + QStringLiteral("/.") + target.fileName()
                           + QStringLiteral(".mfa-new-XXXXXX"));
    if (!staging.open() || staging.write(content) != content.size() || !staging.flush()) {
        *error = staging.errorString();
        return NewFile::Failed;
    }
    // As any new file is made, not private as a temporary one (one thread
    // runs here: umask can be read by setting it back).
    const mode_t mask = ::umask(0);
    ::umask(mask);
    if (::fchmod(staging.handle(), 0666 & ~mask) != 0 || ::fsync(staging.handle()) != 0) {
        *error = qt_error_string(errno);
        return NewFile::Failed;
    }
    const QByteArray from = QFile::encodeName(staging.fileName());
    const QByteArray to = QFile::encodeName(target.absoluteFilePath());
    int result = ::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE);
    if (result == 0)
        staging.setAutoRemove(false);
    else if (errno == EINVAL || errno == ENOSYS)
        result = ::link(from.constData(), to.constData()); // as exclusive, where that rename is missing (NFS)
    if (result != 0) {
        const int failure = errno;
        *error = qt_error_string(failure);
        return failure == EEXIST ? NewFile::Exists : NewFile::Failed;
    }
    if (const int failure = syncFolder(target.absolutePath())) {
        *error = QStringLiteral("it is in place, but its folder could not be synced: %1").arg(qt_error_string(failure));
        return NewFile::Failed;
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
    case NewFile::Written:
        break;
    }
    out() << "Wrote " << mfa << ": " << count << (count == 1 ? " record" : " records") << " of " << unit
          << (unit == 1 ? " byte" : " bytes") << Qt::endl;
    return Success;
}

} // namespace Tool
