// The point file conversions as the library first did them, whole-file:
// the reference that the streaming conversions are compared with.
//
// The ".mfa" file is read whole into one buffer; every access to it is
// bounded by its size. Each output is written to a new file beside its
// target and put in its place only once complete (ReplacingFile), so that a
// failure, or a process killed on the way, leaves the previous file as it
// was.

#include "reference_pointfile.h"

#include "replacingfile_p.h"

#include <OrvPointFile.h>

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

#include <cstdint>
#include <cstring>

namespace Reference {

using OrvInterface::GetAnalyticFormat;

namespace {

// Header fields: 32-bit little-endian at these offsets.
constexpr qint64 kMagicField = 0;
constexpr qint64 kCrcOffsetField = 8;
constexpr qint64 kCrcRegionStart = 16; // the checksum covers crcLength bytes from here
constexpr qint64 kDataOffsetField = 32;
constexpr qint64 kCrcLengthField = 36;
constexpr qint64 kDescriptorOffset = 120; // NUL-terminated Latin-1 text
constexpr quint32 kMagic = 0x5A5AAA55u;

const char kOpenFailed[] = "Failed to open the file.\n";
const char kSizeError[] = "File size error.\n";
const char kTooLarge[] = "The text file size is too large.\n";
const char kNotCorrect[] = "The text file size is not correct.\n";
const char kWriteFailed[] = "Failed to write the file.\n";
const char kOutsideFile[] = "The header places the records or the checksum outside the file.\n";

// Category "default", without file or function.
void logCritical(const char* text)
{
    QMessageLogger(nullptr, 0, nullptr).critical("%s", text);
}

// A byte of the buffer, 0 beyond its end.
quint8 byteAt(const QByteArray& buffer, qint64 offset)
{
    return offset >= 0 && offset < buffer.size() ? quint8(buffer.at(int(offset))) : 0;
}

quint32 readU32(const QByteArray& buffer, qint64 offset)
{
    return quint32(byteAt(buffer, offset)) | quint32(byteAt(buffer, offset + 1)) << 8
            | quint32(byteAt(buffer, offset + 2)) << 16 | quint32(byteAt(buffer, offset + 3)) << 24;
}

void writeU32(QByteArray& buffer, qint64 offset, quint32 value)
{
    for (int i = 0; i < 4; ++i)
        buffer[int(offset) + i] = char((value >> (8 * i)) & 0xFF);
}

struct Header
{
    quint32 magic;
    quint32 crcOffset;
    quint32 dataOffset;
    quint32 crcLength;

    explicit Header(const QByteArray& file)
        : magic(readU32(file, kMagicField))
        , crcOffset(readU32(file, kCrcOffsetField))
        , dataOffset(readU32(file, kDataOffsetField))
        , crcLength(readU32(file, kCrcLengthField))
    {
    }

    // Whether the checksum's region and its stored value lie in the file.
    bool checksumInside(qint64 size) const
    {
        return kCrcRegionStart + qint64(crcLength) <= size && qint64(crcOffset) + 4 <= size;
    }

    quint32 computedCrc(const QByteArray& file) const
    {
        return crc32(reinterpret_cast<const unsigned char*>(file.constData()) + kCrcRegionStart, int(crcLength));
    }
};

QString descriptor(const QByteArray& file)
{
    if (file.size() <= kDescriptorOffset)
        return QString();
    const char* start = file.constData() + kDescriptorOffset;
    const size_t room = size_t(file.size() - kDescriptorOffset);
    const void* nul = std::memchr(start, 0, room);
    const int length = int(nul ? static_cast<const char*>(nul) - start : ptrdiff_t(room));
    return QString(QLatin1String(start, length));
}

// /data/pts.mfa pairs with /data/pts.txt.
QString textPath(const QString& mfaPath)
{
    return mfaPath.split(QStringLiteral(".mfa"), Qt::KeepEmptyParts, Qt::CaseSensitive).first() + QStringLiteral(".txt");
}

bool readWholeFile(QFile& file, QByteArray* content)
{
    const qint64 size = file.size();
    if (size > qint64(INT32_MAX) - 1)
        return false; // more than one buffer can hold
    *content = file.readAll();
    return content->size() == size;
}

struct Layout
{
    unsigned int unit = 0;
    unsigned int valid = 0;
    unsigned int endian = 0;
    unsigned int meaning = 0;
};

constexpr int kAny = -1;
constexpr int8_t kNone = -1;

// Export: which byte of the record gives A, B, C and D (kNone: 0). A
// layout without a row repeats the previous record's bytes.
struct DecodeRow
{
    int unit, valid, endian;
    int8_t source[4];
};
const DecodeRow kDecodeRows[] = {
    {1, kAny, kAny, {0, kNone, kNone, kNone}},
    {2, kAny, 1, {0, 1, kNone, kNone}},
    {2, kAny, 0, {1, 0, kNone, kNone}},
    {4, 3, 1, {0, 1, kNone, kNone}},
    {4, 3, 0, {1, 0, kNone, kNone}},
    {4, 2, 1, {2, 3, kNone, kNone}},
    {4, 2, 0, {3, 2, kNone, kNone}},
    {4, 1, 1, {0, 1, 2, 3}},
    {4, 1, 0, {3, 2, 1, 0}},
};

// Import: which byte of the value (q0 least significant) each record byte
// takes (kNone: left as it is). Not the mirror of export for valid 2, on
// purpose: the high half goes in the other byte order.
struct EncodeRow
{
    int unit, valid, endian;
    int8_t valueByte[4];
};
const EncodeRow kEncodeRows[] = {
    {1, kAny, kAny, {0, kNone, kNone, kNone}},
    {2, kAny, 1, {0, 1, kNone, kNone}},
    {2, kAny, 0, {1, 0, kNone, kNone}},
    {4, 3, 1, {0, 1, kNone, kNone}},
    {4, 3, 0, {1, 0, kNone, kNone}},
    {4, 2, 1, {kNone, kNone, 3, 2}},
    {4, 2, 0, {kNone, kNone, 2, 3}},
    {4, 1, 1, {0, 1, 2, 3}},
    {4, 1, 0, {3, 2, 1, 0}},
};

template <typename Row, size_t N>
const Row* findRow(const Row (&rows)[N], const Layout& layout)
{
    for (const Row& row : rows) {
        if (row.unit == int(layout.unit) && (row.valid == kAny || row.valid == int(layout.valid))
            && (row.endian == kAny || row.endian == int(layout.endian)))
            return &row;
    }
    return nullptr;
}

// The text lines of the records, written in large pieces.
class LineWriter
{
public:
    explicit LineWriter(PointFile::ReplacingFile& file)
        : m_file(file)
    {
        m_buffer.reserve(kFlushSize + 64);
    }

    // Unsigned decimal, no padding. (std::to_chars would export a table of
    // the standard library's from the shared library.)
    void number(quint32 value)
    {
        char digits[10];
        char* first = digits + sizeof digits;
        do {
            *--first = char('0' + value % 10);
            value /= 10;
        } while (value != 0);
        m_buffer.append(first, int(digits + sizeof digits - first));
    }
    void text(const char* text) { m_buffer.append(text); }
    void endLine()
    {
        m_buffer.append('\n');
        if (m_buffer.size() >= kFlushSize)
            flush();
    }
    bool flush()
    {
        const bool ok = m_file.write(m_buffer);
        m_buffer.clear();
        m_ok = m_ok && ok;
        return m_ok;
    }

private:
    static constexpr int kFlushSize = 1 << 20;
    PointFile::ReplacingFile& m_file;
    QByteArray m_buffer;
    bool m_ok = true;
};

void writeRecords(LineWriter& out, const QByteArray& file, const Header& header, const Layout& layout)
{
    const DecodeRow* row = findRow(kDecodeRows, layout);
    const qint64 size = file.size();
    const qint64 end = header.crcOffset > header.dataOffset ? qint64(header.crcOffset) : size;
    quint8 abcd[4] = {0, 0, 0, 0};
    for (qint64 pos = header.dataOffset; pos < size && pos < end; pos += layout.unit) {
        if (row) {
            for (int i = 0; i < 4; ++i)
                abcd[i] = row->source[i] == kNone ? 0 : byteAt(file, pos + row->source[i]);
        }
        const quint32 low = quint32(abcd[0]) | quint32(abcd[1]) << 8;
        const quint32 high = quint32(abcd[2]) | quint32(abcd[3]) << 8;
        if (layout.meaning == 0) {
            out.number(low | high << 16);
        } else {
            out.text("x=");
            out.number(layout.meaning == 1 ? low : high);
            out.text(",y=");
            out.number(layout.meaning == 1 ? high : low);
        }
        out.endLine();
    }
}

bool commit(PointFile::ReplacingFile& file)
{
    if (!file.commit()) {
        logCritical(kWriteFailed);
        return false;
    }
    return true;
}

// ---- Import ----------------------------------------------------------------

// One line of the text file as QFile::readLine gives it in text mode (a
// final "\r\n" read as "\n"), cut at its first NUL: the bytes before the
// line end, and whether the line end is still part of it.
struct Line
{
    const char* begin;
    const char* end;
    bool newline;
};

// The line starting at begin; *next is where the following one starts.
Line nextLine(const char* begin, const char* textEnd, const char** next)
{
    const void* newline = std::memchr(begin, '\n', size_t(textEnd - begin));
    Line line{begin, newline ? static_cast<const char*>(newline) : textEnd, newline != nullptr};
    *next = newline ? line.end + 1 : textEnd;
    if (const void* nul = std::memchr(begin, '\0', size_t(line.end - begin))) {
        line.end = static_cast<const char*>(nul);
        line.newline = false;
    } else if (line.newline && line.end > begin && line.end[-1] == '\r') {
        --line.end;
    }
    return line;
}

// "123" or "123\n" read directly; false for anything else.
bool plainNumber(const char* begin, const char* end, quint32* value)
{
    if (end > begin && end[-1] == '\n')
        --end;
    if (end == begin || end - begin > 10)
        return false;
    quint64 v = 0;
    for (const char* p = begin; p < end; ++p) {
        if (*p < '0' || *p > '9')
            return false;
        v = v * 10 + quint64(*p - '0');
    }
    *value = v <= 0xFFFFFFFFu ? quint32(v) : 0; // too large reads as 0
    return true;
}

quint32 unsignedDecimal(const QString& text)
{
    bool ok = false;
    const uint value = text.toUInt(&ok, 10); // white space around is allowed
    return ok ? value : 0;
}

QString lineText(const Line& line)
{
    QString text = QString::fromUtf8(line.begin, int(line.end - line.begin));
    if (line.newline)
        text += QLatin1Char('\n');
    return text;
}

quint32 lineValue(const Line& line, unsigned int meaning)
{
    quint32 x = 0;
    quint32 y = 0;
    if (meaning == 0) {
        if (plainNumber(line.begin, line.end, &x))
            return x;
        return unsignedDecimal(lineText(line));
    }
    const QByteArray bytes = QByteArray::fromRawData(line.begin, int(line.end - line.begin));
    const int comma = bytes.indexOf(",y=");
    if (!(bytes.startsWith("x=") && comma > 0 && plainNumber(line.begin + 2, line.begin + comma, &x)
          && plainNumber(line.begin + comma + 3, line.end, &y))) {
        // Anything but "x=<digits>,y=<digits>": by the positions of the
        // first "x=", "," and "y=".
        const QString text = lineText(line);
        const int ix = text.indexOf(QLatin1String("x="));
        const int ic = text.indexOf(QLatin1Char(','));
        const int iy = text.indexOf(QLatin1String("y="));
        x = unsignedDecimal(text.mid(ix + 2, ic - ix - 2));
        y = unsignedDecimal(text.mid(iy + 2));
    }
    return meaning == 1 ? (x & 0xFFFFu) + (y << 16) : (y & 0xFFFFu) + (x << 16);
}

} // namespace

bool ChangeMfaToTxt(const QString& mfaPath)
{
    QByteArray file;
    {
        QFile source(mfaPath);
        if (!source.open(QIODevice::ReadOnly) || source.size() < 1 || !readWholeFile(source, &file))
            return false;
    }
    const qint64 size = file.size();

    // Not a point file, or a truncated one: nothing to convert.
    const Header header(file);
    if (header.magic != kMagic || header.crcOffset > size || header.dataOffset > size)
        return true;
    if (size < qint64(header.crcLength) || size <= qint64(header.crcOffset) || !header.checksumInside(size))
        return true;
    if (header.computedCrc(file) != readU32(file, header.crcOffset))
        return false;

    const QString format = descriptor(file);
    if (format.isEmpty())
        return true;
    const bool raw = format.startsWith(QLatin1String("Format:txt"), Qt::CaseInsensitive);
    Layout layout;
    if (!raw && (!GetAnalyticFormat(format, layout.unit, layout.valid, layout.endian, layout.meaning) || layout.unit == 0))
        return true; // a record width of 0 describes no records

    PointFile::ReplacingFile text(textPath(mfaPath));
    if (!text.open()) {
        logCritical(kOpenFailed);
        return false;
    }

    if (raw) {
        const qint64 count = qint64(header.crcOffset) - qint64(header.dataOffset);
        if (!text.write(file.constData() + header.dataOffset, qMax<qint64>(count, 0))) {
            logCritical(kWriteFailed);
            return false;
        }
        if (!commit(text))
            return false;
        QFile::remove(mfaPath); // only once its payload is safe
        return true;
    }

    LineWriter out(text);
    if (size > qint64(header.dataOffset))
        writeRecords(out, file, header, layout);
    if (!out.flush()) {
        logCritical(kWriteFailed);
        return false;
    }
    return commit(text);
}

bool ChangeTxtToMfa(const QString& mfaPath)
{
    const QString txtPath = textPath(mfaPath);
    if (!QFileInfo::exists(txtPath))
        return true;

    // Read whole; nextLine() splits the lines as text mode would.
    QByteArray text;
    {
        QFile txt(txtPath);
        if (!txt.open(QIODevice::ReadOnly)) {
            logCritical(kOpenFailed);
            return false;
        }
        if (txt.size() < 1) {
            logCritical(kSizeError);
            return false;
        }
        if (!readWholeFile(txt, &text)) {
            logCritical(kOpenFailed);
            return false;
        }
    }

    QByteArray file;
    {
        // Opened as for writing: a missing file is created, empty.
        QFile target(mfaPath);
        if (!target.open(QIODevice::ReadWrite)) {
            logCritical(kOpenFailed);
            return false;
        }
        if (target.size() <= 0) {
            logCritical(kSizeError);
            return false;
        }
        if (!readWholeFile(target, &file))
            return false;
    }
    const qint64 size = file.size();

    Layout layout;
    const QString format = descriptor(file);
    if (format.isEmpty() || !GetAnalyticFormat(format, layout.unit, layout.valid, layout.endian, layout.meaning))
        return true;

    const Header header(file);
    if (qint64(header.dataOffset) > size || !header.checksumInside(size)) {
        logCritical(kOutsideFile);
        return false;
    }

    const qint64 dataLength = size - header.dataOffset;
    QByteArray staging(int(dataLength), char(0xFF));
    char* records = staging.data();
    const EncodeRow* row = findRow(kEncodeRows, layout);
    qint64 written = 0;
    const char* textEnd = text.constData() + text.size();
    for (const char* next = text.constData(); next < textEnd;) {
        if (written >= dataLength) {
            logCritical(kTooLarge);
            return false;
        }
        const quint32 value = lineValue(nextLine(next, textEnd, &next), layout.meaning);
        for (int i = 0; row && i < int(layout.unit); ++i) {
            // A last record cut short by the data's end keeps its bytes inside.
            if (row->valueByte[i] != kNone && written + i < dataLength)
                records[written + i] = char((value >> (8 * row->valueByte[i])) & 0xFF);
        }
        written += layout.unit;
    }
    if (written != dataLength) {
        logCritical(kNotCorrect);
        return false;
    }

    CrossPlatMemcpy_s(file.data() + header.dataOffset, unsigned(written), staging.constData(), unsigned(written));
    writeU32(file, header.crcOffset, header.computedCrc(file));

    PointFile::ReplacingFile target(mfaPath);
    if (!target.open()) {
        logCritical(kOpenFailed);
        return false;
    }
    if (!target.write(file)) {
        logCritical(kWriteFailed);
        return false;
    }
    return commit(target);
}

} // namespace Reference
