// commontools mfa2txt, txt2mfa, crc32 and mfa-info: point files.

#include "command.h"

#include <OrvPointFile.h>

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtEndian>

#include <algorithm>

#include <csignal>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

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

// The number of records of a point file, from its header and descriptor;
// -1 when they do not say.
qint64 recordCount(const QString& mfaPath)
{
    QFile file(mfaPath);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray head = file.read(64 << 10);
    const qint64 size = file.size();
    const quint32 crcOffset = u32At(head, 8);
    const quint32 dataOffset = u32At(head, 32);
    const int nul = head.indexOf('\0', 120);
    unsigned int unit = 0, valid = 0, endian = 0, meaning = 0;
    if (nul < 0 || dataOffset > size
        || !OrvInterface::GetAnalyticFormat(QString::fromLatin1(head.mid(120, nul - 120)), unit, valid, endian, meaning)
        || unit == 0)
        return -1;
    const qint64 end = crcOffset > dataOffset ? qMin<qint64>(crcOffset, size) : size;
    return qMax<qint64>(0, (end - dataOffset + unit - 1) / unit);
}

volatile std::sig_atomic_t s_interrupted = 0;

void interrupt(int)
{
    s_interrupted = 1;
}

// Ctrl+C, while it lives, asks the conversion to stop instead of ending the
// tool, so that the old file is kept.
class InterruptGuard
{
public:
    InterruptGuard()
    {
        s_interrupted = 0;
        struct sigaction action{};
        action.sa_handler = interrupt;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &m_previous);
    }
    ~InterruptGuard() { sigaction(SIGINT, &m_previous, nullptr); }

private:
    struct sigaction m_previous{};
};

// The conversion's progress as a bar on a terminal: percentage, records,
// MB/s and the time left. Nothing when standard error is not a terminal.
class ProgressBar
{
public:
    ProgressBar(qint64 records, qint64 bytes)
        : m_records(records)
        , m_bytes(bytes)
        , m_terminal(::isatty(STDERR_FILENO) == 1)
    {
        m_timer.start();
        // The library's messages go on a line of their own.
        s_active = this;
        s_previousHandler = qInstallMessageHandler(showMessage);
    }
    ~ProgressBar()
    {
        qInstallMessageHandler(s_previousHandler);
        s_active = nullptr;
        clear();
    }

    bool update(double fraction)
    {
        if (m_terminal && (fraction >= 1.0 || m_lastDraw < 0 || m_timer.elapsed() - m_lastDraw >= 100)) {
            m_lastDraw = m_timer.elapsed();
            draw(fraction);
        }
        return s_interrupted == 0;
    }

private:
    void clear()
    {
        if (m_drawn)
            std::fputs("\r\033[K", stderr);
        m_drawn = false;
    }

    static void showMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
    {
        if (s_active)
            s_active->clear();
        if (s_previousHandler)
            s_previousHandler(type, context, text);
    }

    static ProgressBar* s_active;
    static QtMessageHandler s_previousHandler;

    void draw(double fraction)
    {
        const double seconds = m_timer.nsecsElapsed() / 1e9;
        QString text = QStringLiteral(" %1%").arg(int(fraction * 100), 3);
        if (m_records >= 0)
            text += QStringLiteral("  %1/%2 records").arg(qint64(fraction * m_records)).arg(m_records);
        if (seconds > 0.05) {
            text += QStringLiteral("  %1 MB/s").arg(fraction * m_bytes / 1e6 / seconds, 0, 'f', 1);
            if (fraction > 0 && fraction < 1)
                text += QStringLiteral("  %1 s left").arg(seconds * (1 - fraction) / fraction, 0, 'f', 1);
        }
        struct winsize size{};
        const int columns = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
        const int width = qMax(10, columns - text.size() - 4);
        const int filled = qBound(0, int(fraction * width), width);
        const QString bar = QStringLiteral("\r[") + QString(filled, QLatin1Char('#')) + QString(width - filled, QLatin1Char('.'))
                + QLatin1Char(']') + text + QStringLiteral("\033[K");
        std::fputs(bar.toLocal8Bit().constData(), stderr);
        std::fflush(stderr);
        m_drawn = true;
    }

    qint64 m_records;
    qint64 m_bytes;
    bool m_terminal;
    bool m_drawn = false;
    qint64 m_lastDraw = -1;
    QElapsedTimer m_timer;
};

ProgressBar* ProgressBar::s_active = nullptr;
QtMessageHandler ProgressBar::s_previousHandler = nullptr;

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
    bool ok = false;
    {
        InterruptGuard guard;
        ProgressBar bar(recordCount(mfa), QFileInfo(toText ? mfa : textPathOf(mfa)).size());
        const OrvInterface::ConversionProgress progress = [&bar](double fraction) { return bar.update(fraction); };
        ok = toText ? OrvInterface::ChangeMfaToTxt(mfa, progress) : OrvInterface::ChangeTxtToMfa(mfa, progress);
    }
    if (!ok && s_interrupted)
        return fail(QStringLiteral("%1: interrupted; %2 was left as it was").arg(QLatin1String(name), written), Interrupted);
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

const char kProgressHelp[] =
        "On a terminal, a bar on standard error shows the progress (percentage, records, MB/s, time left). "
        "Ctrl+C stops the conversion and keeps the old file; the exit status is then 130.";

} // namespace

int runMfaToTxt(const QStringList& arguments)
{
    return convert(arguments, "mfa2txt",
                   QStringLiteral("Writes the text form of a point file beside it (FILE.txt). A \"Format:txt\" "
                                  "file is written out as it is and then removed.\n\n%1")
                           .arg(QLatin1String(kProgressHelp)),
                   true);
}

int runTxtToMfa(const QStringList& arguments)
{
    return convert(arguments, "txt2mfa",
                   QStringLiteral("Writes the records of FILE.txt back into FILE.mfa and renews its checksum.\n\n%1")
                           .arg(QLatin1String(kProgressHelp)),
                   false);
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

namespace {

// What the descriptor's codes mean, by the code GetAnalyticFormat gives.
const char* const kValidNames[] = {
        "0 = no layout, records read as 0 (Valid:1)",
        "1 = all four bytes (Valid:3)",
        "2 = the last two bytes (Valid:H)",
        "3 = the first two bytes (Valid:L)",
};
const char* const kEndianNames[] = {"0 = big-endian (Endian:B)", "1 = little-endian (Endian:L)"};
const char* const kMeaningNames[] = {
        "0 = one number per record",
        "1 = x/y pairs, x in the low half (Meaning:x)",
        "2 = x/y pairs, x in the high half (Meaning:y)",
};

constexpr int kHeaderBytes = 120;
constexpr qint64 kDescriptorOffset = 120;
// A longer descriptor is not read to its end (the conversions do).
constexpr qint64 kMaxReadDescriptor = 16 << 20;
// How much of a descriptor is printed.
constexpr int kShownDescriptor = 200;

// The NUL-terminated descriptor at kDescriptorOffset, read in pieces up to
// its NUL or the end of the file; *cut is set when it goes on past
// kMaxReadDescriptor.
QByteArray descriptorOf(QFile& file, bool* cut)
{
    QByteArray descriptor;
    *cut = false;
    if (!file.seek(kDescriptorOffset))
        return descriptor;
    while (descriptor.size() <= kMaxReadDescriptor) {
        const QByteArray piece = file.read(64 << 10);
        const int nul = piece.indexOf('\0');
        descriptor += nul < 0 ? piece : piece.left(nul);
        if (nul >= 0 || piece.isEmpty())
            return descriptor;
    }
    *cut = true;
    descriptor.truncate(int(kMaxReadDescriptor));
    return descriptor;
}

// The checksum of length bytes from offset of file, read in pieces; false
// when they cannot all be read.
bool checksumOf(QFile& file, qint64 offset, qint64 length, quint32* crc)
{
    *crc = 0;
    if (!file.seek(offset))
        return false;
    while (length > 0) {
        const QByteArray piece = file.read(std::min<qint64>(length, 1 << 20));
        if (piece.isEmpty())
            return false;
        *crc = crc32_init_value(*crc, reinterpret_cast<const unsigned char*>(piece.constData()), piece.size());
        length -= piece.size();
    }
    return true;
}

void printLayout(unsigned int unit, unsigned int valid, unsigned int endian, unsigned int meaning)
{
    const bool widthKnown = unit == 1 || unit == 2 || unit == 4;
    printField(QStringLiteral("Unit"), QStringLiteral("%1 bytes per record").arg(unit)
                       + (unit == 0 ? QStringLiteral(" (no records)")
                                    : widthKnown ? QString() : QStringLiteral(" (no layout: records read as 0)")));
    printField(QStringLiteral("Valid"), QLatin1String(kValidNames[valid & 3])
                       + (unit == 4 ? QString() : QStringLiteral(" (used by 4-byte records only)")));
    printField(QStringLiteral("Endian"), QLatin1String(kEndianNames[endian & 1]));
    printField(QStringLiteral("Meaning"), QLatin1String(kMeaningNames[std::min(meaning, 2u)]));
}

// How many records the file holds as the conversions see them.
void printRecords(qint64 size, quint32 dataOffset, quint32 crcOffset, unsigned int unit)
{
    if (unit == 0 || dataOffset > size)
        return;
    // The export stops at the checksum when it follows the records; the
    // import fills the records up to the end of the file.
    const qint64 exportEnd = crcOffset > dataOffset ? qint64(crcOffset) : size;
    const qint64 exported = (exportEnd - dataOffset + unit - 1) / unit;
    printField(QStringLiteral("Records"), QStringLiteral("%1 (lines that mfa2txt writes)").arg(exported));
    const qint64 data = size - dataOffset;
    printField(QStringLiteral("Records of txt2mfa"),
               data % unit == 0 ? QStringLiteral("%1 (lines that the text must have)").arg(data / unit)
                                : QStringLiteral("none: the data is not a whole number of records"));
    if (crcOffset > dataOffset)
        printField(QStringLiteral("Checksum place"), QStringLiteral("after the records: the text does not import back"));
}

} // namespace

int runMfaInfo(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("The .mfa file."), QStringLiteral("FILE.mfa"));
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Shows the header, the descriptor and its codes, the records and the "
                                                     "checksum of a point file.\n\n"
                                                     "A point file's header holds 32-bit little-endian fields: the magic "
                                                     "0x5A5AAA55 at 0, the checksum's offset at 8, the first record's "
                                                     "offset at 32, and at 36 how many bytes from offset 16 the checksum "
                                                     "covers. At 120 a NUL-terminated descriptor, such as "
                                                     "\"Unit:4 Valid:3 Endian:L Meaning:x\", gives the records' width, the "
                                                     "bytes that carry the value, their byte order and whether a record "
                                                     "is a number or an x/y pair. The text form has one line per record: "
                                                     "the number, or x=X,y=Y. The reference's point file page has it all, "
                                                     "with an example."));
    if (code >= 0)
        return code;
    if (parser.positionalArguments().size() != 1)
        return fail(QStringLiteral("mfa-info needs one .mfa file"), UsageError);

    QFile source(parser.positionalArguments().first());
    if (!source.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("cannot read %1: %2").arg(source.fileName(), source.errorString()));
    const QByteArray header = source.read(kHeaderBytes);
    const qint64 size = source.size();

    const quint32 magic = u32At(header, 0);
    const quint32 crcOffset = u32At(header, 8);
    const quint32 dataOffset = u32At(header, 32);
    const quint32 crcLength = u32At(header, 36);
    printField(QStringLiteral("File size"), QString::number(size));
    printField(QStringLiteral("Magic"), hex32(magic) + (magic == 0x5A5AAA55u ? QString() : QStringLiteral(" (not a point file)")));
    printField(QStringLiteral("Data offset"), QString::number(dataOffset) + (dataOffset > size ? QStringLiteral(" (beyond the file)") : QString()));
    printField(QStringLiteral("Checksum offset"), QString::number(crcOffset));
    printField(QStringLiteral("Checksum length"), QString::number(crcLength) + QStringLiteral(" bytes from offset 16"));

    bool cut = false;
    const QString descriptor = QString::fromLatin1(descriptorOf(source, &cut));
    QString shown = descriptor.isEmpty() ? QStringLiteral("(none)") : descriptor.left(kShownDescriptor);
    if (cut)
        shown += QStringLiteral("... (over 16 MiB: not read to its end)");
    else if (descriptor.size() > kShownDescriptor)
        shown += QStringLiteral("... (%1 characters)").arg(descriptor.size());
    printField(QStringLiteral("Descriptor"), shown);
    unsigned int unit = 0, valid = 0, endian = 0, meaning = 0;
    if (descriptor.startsWith(QLatin1String("Format:txt"), Qt::CaseInsensitive)) {
        printField(QStringLiteral("Layout"), QStringLiteral("raw text payload"));
    } else if (cut) {
        printField(QStringLiteral("Layout"), QStringLiteral("(descriptor not read to its end)"));
    } else if (OrvInterface::GetAnalyticFormat(descriptor, unit, valid, endian, meaning)) {
        printLayout(unit, valid, endian, meaning);
        printRecords(size, dataOffset, crcOffset, unit);
    } else {
        printField(QStringLiteral("Layout"), QStringLiteral("(descriptor not usable)"));
    }

    quint32 stored = 0;
    quint32 computed = 0;
    if (qint64(crcOffset) + 4 > size || 16 + qint64(crcLength) > size) {
        printField(QStringLiteral("Checksum"), QStringLiteral("outside the file"));
        return Success;
    }
    if (!source.seek(crcOffset) || source.read(reinterpret_cast<char*>(&stored), 4) != 4
        || !checksumOf(source, 16, crcLength, &computed))
        return fail(QStringLiteral("cannot read %1: %2").arg(source.fileName(), source.errorString()));
    stored = qFromLittleEndian(stored);
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
