// commontools mfa2txt, txt2mfa, crc32 and mfa-info: point files.

#include "command.h"

#include <OrvPointFile.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace Tool {

namespace {

quint32 u32At(const QByteArray& file, int offset)
{
    quint32 value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | (offset + i < file.size() ? quint8(file.at(offset + i)) : 0u);
    return value;
}

QString textPathOf(const QString& mfaPath)
{
    return mfaPath.split(QStringLiteral(".mfa")).first() + QStringLiteral(".txt");
}

// The state of a file, to tell afterwards whether a conversion wrote it.
QString fileStamp(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() ? QString::number(info.size()) + QLatin1Char('@')
                    + QString::number(info.lastModified().toMSecsSinceEpoch()) + QLatin1Char('#')
                    + QString::number(info.metadataChangeTime().toMSecsSinceEpoch())
                         : QString();
}

int convert(const QStringList& arguments, const char* name, const QString& description, bool toText)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("The .mfa file."), QStringLiteral("FILE.mfa"));
    const int code = parseCommandLine(parser, arguments, description);
    if (code >= 0)
        return code;
    if (parser.positionalArguments().size() != 1)
        return fail(QStringLiteral("%1 needs one .mfa file").arg(QLatin1String(name)), UsageError);

    const QString mfa = parser.positionalArguments().first();
    const QString written = toText ? textPathOf(mfa) : mfa;
    const QString before = fileStamp(written);
    const bool ok = toText ? OrvInterface::ChangeMfaToTxt(mfa) : OrvInterface::ChangeTxtToMfa(mfa);
    if (!ok)
        return fail(QStringLiteral("%1: %2 was not converted").arg(QLatin1String(name), mfa));
    if (fileStamp(written) == before) {
        out() << "Nothing to convert: " << (toText ? "not a point file, or its descriptor does not describe records"
                                                   : "no text file beside it, or its descriptor does not describe records")
              << Qt::endl;
    } else {
        out() << "Wrote " << written << Qt::endl;
    }
    return Success;
}

// A point file of three x/y records: the header, the descriptor at 120,
// the records at 256, and the checksum of everything from 16 stored at 12.
QByteArray samplePointFile()
{
    QByteArray file(256, '\0');
    const auto put = [&file](int offset, quint32 value) {
        for (int i = 0; i < 4; ++i)
            file[offset + i] = char((value >> (8 * i)) & 0xFF);
    };
    const QByteArray descriptor("Unit:4 Valid:3 Endian:L Meaning:x");
    file.replace(120, descriptor.size(), descriptor);
    for (quint32 x : {10u, 20u, 30u})
        file += QByteArray(reinterpret_cast<const char*>(&x), 2) + QByteArray(1, char(x * 2)) + QByteArray(1, '\0');
    put(0, 0x5A5AAA55u);
    put(8, 12);
    put(32, 256);
    put(36, quint32(file.size() - 16));
    put(12, crc32(reinterpret_cast<const unsigned char*>(file.constData()) + 16, file.size() - 16));
    return file;
}

} // namespace

int runMfaToTxt(const QStringList& arguments)
{
    return convert(arguments, "mfa2txt",
                   QStringLiteral("Writes the text form of a point file beside it (FILE.txt). A \"Format:txt\" "
                                  "file is written out as it is and then removed."),
                   true);
}

int runTxtToMfa(const QStringList& arguments)
{
    return convert(arguments, "txt2mfa",
                   QStringLiteral("Writes the records of FILE.txt back into FILE.mfa and renews its checksum."), false);
}

int runCrc32(const QStringList& arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption from(QStringLiteral("continue"),
                                  QStringLiteral("Continue from <value>, the checksum of what precedes the file."),
                                  QStringLiteral("value"));
    parser.addOption(from);
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("The file to check."), QStringLiteral("FILE"));
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Prints the point files' checksum of FILE (register from 0, "
                                                     "not inverted)."));
    if (code >= 0)
        return code;
    if (parser.positionalArguments().size() != 1)
        return fail(QStringLiteral("crc32 needs one file"), UsageError);

    qint64 start = 0;
    if (parser.isSet(from) && !parseInteger(parser.value(from), 0, 4294967295LL, &start))
        return fail(QStringLiteral("'%1' is not a 32-bit value").arg(parser.value(from)), UsageError);

    QFile file(parser.positionalArguments().first());
    if (!file.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("cannot read %1: %2").arg(file.fileName(), file.errorString()));
    quint32 crc = quint32(start);
    while (!file.atEnd()) {
        const QByteArray chunk = file.read(1 << 20);
        if (chunk.isEmpty())
            return fail(QStringLiteral("cannot read %1: %2").arg(file.fileName(), file.errorString()));
        crc = crc32_init_value(crc, reinterpret_cast<const unsigned char*>(chunk.constData()), chunk.size());
    }
    out() << hex32(crc) << Qt::endl;
    return Success;
}

int runMfaInfo(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("The .mfa file."), QStringLiteral("FILE.mfa"));
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Shows the header, the descriptor and the checksum of a point file."));
    if (code >= 0)
        return code;
    if (parser.positionalArguments().size() != 1)
        return fail(QStringLiteral("mfa-info needs one .mfa file"), UsageError);

    QFile source(parser.positionalArguments().first());
    if (!source.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("cannot read %1: %2").arg(source.fileName(), source.errorString()));
    const QByteArray file = source.readAll();
    const qint64 size = file.size();

    const quint32 magic = u32At(file, 0);
    const quint32 crcOffset = u32At(file, 8);
    const quint32 dataOffset = u32At(file, 32);
    const quint32 crcLength = u32At(file, 36);
    printField(QStringLiteral("File size"), QString::number(size));
    printField(QStringLiteral("Magic"), hex32(magic) + (magic == 0x5A5AAA55u ? QString() : QStringLiteral(" (not a point file)")));
    printField(QStringLiteral("Data offset"), QString::number(dataOffset) + (dataOffset > size ? QStringLiteral(" (beyond the file)") : QString()));
    printField(QStringLiteral("Checksum offset"), QString::number(crcOffset));
    printField(QStringLiteral("Checksum length"), QString::number(crcLength) + QStringLiteral(" bytes from offset 16"));

    const int nul = file.indexOf('\0', 120);
    const QString descriptor = size > 120 ? QString::fromLatin1(file.mid(120, nul < 0 ? -1 : nul - 120)) : QString();
    printField(QStringLiteral("Descriptor"), descriptor.isEmpty() ? QStringLiteral("(none)") : descriptor);
    unsigned int unit = 0, valid = 0, endian = 0, meaning = 0;
    if (descriptor.startsWith(QLatin1String("Format:txt"), Qt::CaseInsensitive)) {
        printField(QStringLiteral("Layout"), QStringLiteral("raw text payload"));
    } else if (OrvInterface::GetAnalyticFormat(descriptor, unit, valid, endian, meaning)) {
        printField(QStringLiteral("Layout"), QStringLiteral("unit %1, valid %2, endian %3, meaning %4")
                                                     .arg(unit).arg(valid).arg(endian).arg(meaning));
    } else {
        printField(QStringLiteral("Layout"), QStringLiteral("(descriptor not usable)"));
    }

    if (qint64(crcOffset) + 4 > size || 16 + qint64(crcLength) > size) {
        printField(QStringLiteral("Checksum"), QStringLiteral("outside the file"));
        return Success;
    }
    const quint32 stored = u32At(file, int(crcOffset));
    const quint32 computed = crc32(reinterpret_cast<const unsigned char*>(file.constData()) + 16, int(crcLength));
    printField(QStringLiteral("Stored checksum"), hex32(stored));
    printField(QStringLiteral("Computed checksum"), hex32(computed) + (stored == computed ? QStringLiteral(" (matches)") : QStringLiteral(" (DIFFERS)")));
    return Success;
}

void demoPointFiles()
{
    const QByteArray digits("123456789");
    printField(QStringLiteral("crc32(\"123456789\")"), hex32(crc32(reinterpret_cast<const unsigned char*>(digits.constData()), 9)));

    QTemporaryDir dir;
    const QString mfa = dir.path() + QStringLiteral("/sample.mfa");
    QFile file(mfa);
    if (!dir.isValid() || !file.open(QIODevice::WriteOnly) || file.write(samplePointFile()) < 0) {
        out() << "  (no temporary folder for a sample point file)" << Qt::endl;
        return;
    }
    file.close();
    out() << "  A sample point file of x/y records, \"Unit:4 Valid:3 Endian:L Meaning:x\":" << Qt::endl;
    printField(QStringLiteral("ChangeMfaToTxt"), yesNo(OrvInterface::ChangeMfaToTxt(mfa)));
    QFile text(textPathOf(mfa));
    text.open(QIODevice::ReadWrite);
    const QByteArray lines = text.readAll();
    out() << "    " << QString::fromUtf8(lines).trimmed().replace(QLatin1Char('\n'), QLatin1String("\n    ")) << Qt::endl;
    text.seek(0);
    text.write(QByteArray(lines).replace("x=30", "x=31"));
    text.close();
    printField(QStringLiteral("edited x=30 to x=31, ChangeTxtToMfa"), yesNo(OrvInterface::ChangeTxtToMfa(mfa)));
    out() << "  commontools mfa-info shows the header; mfa2txt and txt2mfa convert." << Qt::endl;
}

} // namespace Tool
