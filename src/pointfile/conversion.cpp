// Point files: ".mfa" to ".txt" and back, in blocks.
//
// Neither file is held whole: the source is read a block at a time, worker
// threads format or parse the record blocks, and the caller's thread writes
// them out in order and keeps the checksum, so that the memory in use stays
// bounded whatever the file's size. Each output is written to a new file
// beside its target and put in its place only once complete
// (ReplacingFile), so that a failure, a cancellation, or a process killed
// on the way, leaves the previous file as it was.
//
// The results are those of reading both files whole: the same bytes, the
// same return values, the same messages in the same order. Where reading
// whole would have found a reason to fail before writing anything (a wrong
// checksum on export, a wrong number of lines on import), that reason is
// still the one reported, even when writing failed first. Memory that
// cannot be had is the exception: the conversion stops there, and reports
// that it could not write the file.

#include "OrvPointFile.h"

#include "blockpipeline_p.h"
#include "records_p.h"
#include "replacingfile_p.h"

#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>
#include <unistd.h>

// Offsets and sizes of files over 2 GiB (a point file goes up to 4 GiB).
static_assert(sizeof(off_t) == 8, "build with _FILE_OFFSET_BITS=64");

namespace OrvInterface {

namespace {

using PointFile::Layout;

// Header fields: 32-bit little-endian at these offsets.
constexpr qint64 kMagicField = 0;
constexpr qint64 kCrcOffsetField = 8;
constexpr qint64 kCrcRegionStart = 16; // the checksum covers crcLength bytes from here
constexpr qint64 kDataOffsetField = 32;
constexpr qint64 kCrcLengthField = 36;
constexpr qint64 kDescriptorOffset = 120; // NUL-terminated Latin-1 text
constexpr quint32 kMagic = 0x5A5AAA55u;

using PointFile::kBlockSize;
using PointFile::kMinBlocks;
using PointFile::kMinBlockSize;
constexpr int kMaxThreads = 8;
// Import: the records of a block take at most this many bytes per byte of
// text (a line of one byte, "\n", gives a record of up to four).
constexpr qint64 kMaxEncodedUnit = 4;

const char kOpenFailed[] = "Failed to open the file.\n";
const char kSizeError[] = "File size error.\n";
const char kTooLarge[] = "The text file size is too large.\n";
const char kNotCorrect[] = "The text file size is not correct.\n";
const char kWriteFailed[] = "Failed to write the file.\n";
const char kOutsideFile[] = "The header places the records or the checksum outside the file.\n";
const char kCancelled[] = "The conversion was cancelled.\n";

// Category "default", without file or function.
void logCritical(const char* text)
{
    QMessageLogger(nullptr, 0, nullptr).critical("%s", text);
}

// /data/pts.mfa pairs with /data/pts.txt.
QString textPath(const QString& mfaPath)
{
    return mfaPath.split(QStringLiteral(".mfa"), Qt::KeepEmptyParts, Qt::CaseSensitive).first() + QStringLiteral(".txt");
}

// The block size for bytes of text in all.
qint64 blockSizeFor(qint64 bytes)
{
    return std::clamp(bytes / kMinBlocks, kMinBlockSize, kBlockSize);
}

int threadsFor(qint64 blocks)
{
    if (blocks < 2)
        return 0; // the caller's thread does the one block
    return int(std::min<qint64>(std::min(QThread::idealThreadCount(), kMaxThreads), blocks));
}

int depthFor(int threads)
{
    return threads > 0 ? threads + 2 : 1;
}

// A half-open range of file offsets.
struct Span
{
    qint64 begin = 0;
    qint64 end = 0;

    qint64 size() const { return end - begin; }
    Span intersected(const Span& other) const
    {
        Span span{std::max(begin, other.begin), std::min(end, other.end)};
        return span.end > span.begin ? span : Span{span.begin, span.begin};
    }
};

// Reads a file at any offset; bytes past its end read as 0, as the header
// fields and a last record cut short by the end of the file do. Reads of
// a file with a descriptor (any but Qt's resources) may come from several
// threads at once.
class Source
{
public:
    explicit Source(QFile& file)
        : m_file(file)
        , m_fd(file.handle())
        , m_size(file.size())
    {
    }

    qint64 size() const { return m_size; }
    bool concurrent() const { return m_fd >= 0; }

    bool read(qint64 offset, char* data, qint64 count)
    {
        const qint64 inside = std::max<qint64>(0, std::min(count, m_size - offset));
        std::memset(data + inside, 0, size_t(count - inside));
        for (qint64 done = 0; done < inside;) {
            const qint64 got = m_fd >= 0 ? ::pread(m_fd, data + done, size_t(inside - done), off_t(offset + done))
                                         : readFile(offset + done, data + done, inside - done);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                return false; // an error, or a file cut short meanwhile
            done += got;
        }
        return true;
    }

    bool readU32(qint64 offset, quint32* value)
    {
        uchar bytes[4];
        if (!read(offset, reinterpret_cast<char*>(bytes), 4))
            return false;
        *value = quint32(bytes[0]) | quint32(bytes[1]) << 8 | quint32(bytes[2]) << 16 | quint32(bytes[3]) << 24;
        return true;
    }

private:
    qint64 readFile(qint64 offset, char* data, qint64 count)
    {
        return m_file.seek(offset) ? m_file.read(data, count) : -1;
    }

    QFile& m_file;
    int m_fd;
    qint64 m_size;
};

struct Header
{
    quint32 magic = 0;
    quint32 crcOffset = 0;
    quint32 dataOffset = 0;
    quint32 crcLength = 0;

    bool read(Source& file)
    {
        return file.readU32(kMagicField, &magic) && file.readU32(kCrcOffsetField, &crcOffset)
                && file.readU32(kDataOffsetField, &dataOffset) && file.readU32(kCrcLengthField, &crcLength);
    }

    // Whether the checksum's region and its stored value lie in the file.
    bool checksumInside(qint64 size) const
    {
        return kCrcRegionStart + qint64(crcLength) <= size && qint64(crcOffset) + 4 <= size;
    }

    Span crcRegion() const { return Span{kCrcRegionStart, kCrcRegionStart + qint64(crcLength)}; }
};

// The checksum of a region, continued from the blocks that overlap it, in
// the order of their offsets. 64-bit lengths: the region may exceed 2 GiB.
class Checksum
{
public:
    explicit Checksum(const Span& region)
        : m_region(region)
    {
    }

    void add(qint64 offset, const uchar* data, qint64 count)
    {
        const Span part = m_region.intersected(Span{offset, offset + count});
        m_crc = crc32_init_value(m_crc, data + (part.begin - offset), int(part.size()));
    }
    quint32 value() const { return m_crc; }

private:
    Span m_region;
    quint32 m_crc = 0;
};

// What GetAnalyticFormat needs of a descriptor that may be as long as the
// file: whether it is empty, its first ten characters, and the first
// "Unit:", "Valid:", "Endian:" and "Meaning:" with the character after each.
class Descriptor
{
public:
    bool read(Source& file);

    bool isEmpty() const { return m_empty; }
    bool isRaw() const
    {
        return QString(QLatin1String(m_head)).startsWith(QLatin1String("Format:txt"), Qt::CaseInsensitive);
    }
    bool layout(Layout* layout) const
    {
        // Each key with its character, apart: the first occurrence of each
        // is the one of the descriptor, and so is the character after it.
        QByteArray keys;
        for (const Key& key : m_keys) {
            if (key.at >= 0)
                keys += key.text + key.next + '\x01';
        }
        return !m_empty
                && GetAnalyticFormat(QString(QLatin1String(keys)), layout->unit, layout->valid, layout->endian,
                                     layout->meaning);
    }

private:
    struct Key
    {
        explicit Key(const char* keyText)
            : text(keyText)
        {
        }

        const char* text;
        qint64 at = -1;
        QByteArray next; // empty at the end of the descriptor
        bool waiting = false;
    };
    static constexpr int kLongestKey = 8; // "Meaning:"
    static constexpr int kHeadLength = 10;

    void search(const QByteArray& window, qint64 windowOffset);

    bool m_empty = true;
    QByteArray m_head;
    Key m_keys[4] = {Key("Unit:"), Key("Valid:"), Key("Endian:"), Key("Meaning:")};
};

bool Descriptor::read(Source& file)
{
    QByteArray chunk(int(kBlockSize), Qt::Uninitialized);
    QByteArray carry; // the end of what was searched, for a key across two chunks
    for (qint64 offset = kDescriptorOffset; offset < file.size();) {
        const qint64 count = std::min(kBlockSize, file.size() - offset);
        if (!file.read(offset, chunk.data(), count))
            return false;
        const void* nul = std::memchr(chunk.constData(), '\0', size_t(count));
        const int length = int(nul ? static_cast<const char*>(nul) - chunk.constData() : count);
        const QByteArray text(chunk.constData(), length);
        if (offset == kDescriptorOffset) {
            m_empty = length == 0;
            m_head = text.left(kHeadLength);
        }
        for (Key& key : m_keys) {
            if (key.waiting && length > 0) {
                key.next = text.left(1);
                key.waiting = false;
            }
        }
        search(carry + text, offset - carry.size());
        if (nul)
            break;
        carry = text.right(kLongestKey - 1);
        offset += count;
    }
    return true;
}

void Descriptor::search(const QByteArray& window, qint64 windowOffset)
{
    for (Key& key : m_keys) {
        if (key.at >= 0)
            continue;
        const int at = window.indexOf(key.text);
        if (at < 0)
            continue;
        key.at = windowOffset + at;
        const int after = at + int(std::strlen(key.text));
        key.next = window.mid(after, 1);
        key.waiting = after >= window.size();
    }
}

// Calls the client's progress callback: from 0 to 1, about once per
// percent. False once it asks to stop, or throws.
class ProgressReport
{
public:
    ProgressReport(const ConversionProgress& callback, qint64 total)
        : m_callback(callback)
        , m_total(total)
    {
    }

    bool start() { return call(0.0); }
    bool advance(qint64 done)
    {
        if (!m_callback || m_total <= 0)
            return true;
        const qint64 percent = done * 100 / m_total;
        if (percent <= m_percent || percent >= 100)
            return true; // 1.0 only once everything is written
        m_percent = percent;
        return call(double(done) / double(m_total));
    }
    bool finish() { return call(1.0); }

private:
    bool call(double fraction)
    {
        if (!m_callback)
            return true;
        try {
            return m_callback(fraction);
        } catch (...) {
            return false; // documented as not allowed: taken as a request to stop
        }
    }

    const ConversionProgress& m_callback;
    qint64 m_total;
    qint64 m_percent = 0;
};

// ---- Export ----------------------------------------------------------------

struct ExportBlock
{
    qint64 offset = 0;
    qint64 recordBytes = 0;
    std::unique_ptr<uchar[]> records;
    std::unique_ptr<char[]> text;
    qint64 textBytes = 0;
    bool read = false;
};

// One pass over the ".mfa" file: checks its checksum and, with an output,
// writes the text of its payload.
class ExportPass
{
public:
    enum class Outcome { Done, ReadFailed, Cancelled };

    ExportPass(Source& file, const Header& header)
        : m_file(file)
        , m_crcRegion(header.crcRegion())
        , m_checksum(header.crcRegion())
    {
    }

    // Without an output: only the checksum.
    Outcome run(PointFile::ReplacingFile* output, const Layout* layout, bool raw, const Span& payload,
                ProgressReport* progress);

    quint32 checksum() const { return m_checksum.value(); }
    bool writeFailed() const { return m_writeFailed; }

private:
    bool checksumOnly(const Span& span, ProgressReport* progress);
    bool checksumRange(qint64 offset, qint64 count);
    bool copyRaw(const Span& payload, ProgressReport* progress);
    bool formatRecords(const Span& payload, const Layout& layout, ProgressReport* progress);
    bool write(const char* data, qint64 count);
    bool advance(qint64 bytes, ProgressReport* progress);

    Source& m_file;
    Span m_crcRegion;
    Checksum m_checksum;
    PointFile::ReplacingFile* m_output = nullptr;
    bool m_writeFailed = false;
    bool m_readFailed = false;
    bool m_cancelled = false;
    qint64 m_done = 0;
    QByteArray m_buffer;
};

ExportPass::Outcome ExportPass::run(PointFile::ReplacingFile* output, const Layout* layout, bool raw,
                                    const Span& payload, ProgressReport* progress)
{
    m_output = output;
    // In the order of the file: the checksum's region before the payload,
    // the payload (checksummed where the region covers it), the region after.
    const Span writing = output ? payload : Span{m_crcRegion.end, m_crcRegion.end};
    const Span before{m_crcRegion.begin, std::min(m_crcRegion.end, std::max(writing.begin, m_crcRegion.begin))};
    const Span after{std::max(m_crcRegion.begin, writing.end), m_crcRegion.end};
    bool ok = checksumOnly(before, progress);
    if (ok && writing.size() > 0)
        ok = raw ? copyRaw(writing, progress) : formatRecords(writing, *layout, progress);
    ok = ok && checksumOnly(after, progress);
    if (m_cancelled)
        return Outcome::Cancelled;
    return ok && !m_readFailed ? Outcome::Done : Outcome::ReadFailed;
}

bool ExportPass::advance(qint64 bytes, ProgressReport* progress)
{
    m_done += bytes;
    if (progress && !progress->advance(m_done))
        m_cancelled = true;
    return !m_cancelled;
}

bool ExportPass::write(const char* data, qint64 count)
{
    if (!m_writeFailed && !m_output->write(data, count))
        m_writeFailed = true;
    return !m_writeFailed;
}

bool ExportPass::checksumOnly(const Span& span, ProgressReport* progress)
{
    for (qint64 offset = span.begin; offset < span.end;) {
        const qint64 count = std::min(kBlockSize, span.end - offset);
        if (!checksumRange(offset, count))
            return false;
        offset += count;
        if (!advance(count, progress))
            return false;
    }
    return true;
}

// Reads count bytes (at most a block) at offset into the checksum.
bool ExportPass::checksumRange(qint64 offset, qint64 count)
{
    m_buffer.resize(int(kBlockSize));
    if (!m_file.read(offset, m_buffer.data(), count)) {
        m_readFailed = true;
        return false;
    }
    m_checksum.add(offset, reinterpret_cast<const uchar*>(m_buffer.constData()), count);
    return true;
}

// A "Format:txt" file's payload is its text.
bool ExportPass::copyRaw(const Span& payload, ProgressReport* progress)
{
    m_buffer.resize(int(kBlockSize));
    for (qint64 offset = payload.begin; offset < payload.end;) {
        const qint64 count = std::min(kBlockSize, payload.end - offset);
        if (!m_file.read(offset, m_buffer.data(), count)) {
            m_readFailed = true;
            return false;
        }
        m_checksum.add(offset, reinterpret_cast<const uchar*>(m_buffer.constData()), count);
        write(m_buffer.constData(), count);
        offset += count;
        if (!advance(count, progress))
            return false;
    }
    return true;
}

// The workers read and format the blocks; the caller's thread checksums
// and writes them in order.
bool ExportPass::formatRecords(const Span& payload, const Layout& layout, ProgressReport* progress)
{
    const PointFile::RecordFormatter formatter(layout);
    // The lines of a block's records fill at most a block.
    const qint64 recordsPerBlock = blockSizeFor(payload.size() / layout.unit * PointFile::kMaxLineLength) / PointFile::kMaxLineLength;
    const qint64 blockBytes = recordsPerBlock * layout.unit;
    // Writing the text keeps the caller's thread about as busy as a worker:
    // one worker fewer than the processors.
    int threads = m_file.concurrent() ? threadsFor((payload.size() + blockBytes - 1) / blockBytes) : 0;
    if (threads > 1)
        --threads;
    Source& file = m_file;
    PointFile::BlockPipeline<ExportBlock> pipeline(threads, depthFor(threads), [&](ExportBlock& block) {
        if (!block.records) {
            block.records.reset(new uchar[size_t(blockBytes)]);
            block.text.reset(new char[size_t(recordsPerBlock * PointFile::kMaxLineLength + PointFile::kNumberSlack)]);
        }
        block.read = file.read(block.offset, reinterpret_cast<char*>(block.records.get()), block.recordBytes);
        if (block.read) {
            block.textBytes =
                    formatter.format(block.records.get(), block.recordBytes, block.text.get()) - block.text.get();
        }
    });

    // The oldest block, once it is done; false to stop.
    const auto takeOldest = [&]() {
        const bool formatted = pipeline.waitOldest();
        const ExportBlock& block = pipeline.oldest();
        // The checksum covers the file's bytes only, not the zeros after it.
        const qint64 inFile = std::min(block.recordBytes, m_file.size() - block.offset);
        if (!formatted) {
            // Out of memory in the worker: nothing more is written, and the
            // checksum, which decides the result first, is read here.
            m_writeFailed = true;
            checksumRange(block.offset, inFile);
        } else {
            if (!block.read)
                m_readFailed = true;
            m_checksum.add(block.offset, block.records.get(), inFile);
            write(block.text.get(), block.textBytes);
        }
        const qint64 bytes = block.recordBytes;
        pipeline.release();
        return !m_readFailed && advance(bytes, progress);
    };

    for (qint64 offset = payload.begin; offset < payload.end;) {
        if (m_writeFailed) {
            // Nothing more to write: only the checksum decides now.
            while (pipeline.pending()) {
                if (!takeOldest())
                    return false;
            }
            return checksumOnly(Span{offset, payload.end}, progress);
        }
        if (pipeline.full()) {
            if (!takeOldest())
                return false;
            continue;
        }
        ExportBlock& block = pipeline.next();
        block.offset = offset;
        block.recordBytes = std::min(blockBytes, payload.end - offset);
        pipeline.submit();
        offset += block.recordBytes;
    }
    while (pipeline.pending()) {
        if (!takeOldest())
            return false;
    }
    return true;
}

bool exportPoints(const QString& mfaPath, const ConversionProgress& callback)
{
    QFile sourceFile(mfaPath);
    if (!sourceFile.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || sourceFile.size() < 1)
        return false;
    Source file(sourceFile);
    const qint64 size = file.size();

    // Not a point file, or a truncated one: nothing to convert.
    Header header;
    if (!header.read(file))
        return false;
    if (header.magic != kMagic || header.crcOffset > size || header.dataOffset > size)
        return true;
    if (size < qint64(header.crcLength) || size <= qint64(header.crcOffset) || !header.checksumInside(size))
        return true;
    quint32 stored = 0;
    Descriptor descriptor;
    if (!file.readU32(header.crcOffset, &stored) || !descriptor.read(file))
        return false;

    ExportPass pass(file, header);
    const auto checksumMatches = [&] {
        return pass.run(nullptr, nullptr, false, Span(), nullptr) == ExportPass::Outcome::Done
                && pass.checksum() == stored;
    };

    const bool raw = descriptor.isRaw();
    Layout layout;
    // A record width of 0 describes no records.
    if (descriptor.isEmpty() || (!raw && (!descriptor.layout(&layout) || layout.unit == 0)))
        return checksumMatches();

    // Raw: the bytes up to the checksum. Records: up to the checksum when it
    // follows them, otherwise to the end; the last one may be cut short by
    // the end of the file and reads zeros there.
    const qint64 dataOffset = header.dataOffset;
    Span payload{dataOffset, dataOffset};
    if (raw) {
        payload.end = std::max<qint64>(header.crcOffset, dataOffset);
    } else {
        const qint64 end = header.crcOffset > header.dataOffset ? qint64(header.crcOffset) : size;
        const qint64 records = (std::min(size, end) - dataOffset + layout.unit - 1) / layout.unit;
        payload.end = std::min(size, dataOffset + records * layout.unit);
    }

    PointFile::ReplacingFile text(textPath(mfaPath));
    if (!text.open()) {
        if (checksumMatches())
            logCritical(kOpenFailed);
        return false;
    }

    const Span checksummed = header.crcRegion();
    const qint64 work = checksummed.size() + payload.size() - checksummed.intersected(payload).size();
    ProgressReport progress(callback, work);
    const ExportPass::Outcome outcome =
            progress.start() ? pass.run(&text, &layout, raw, payload, &progress) : ExportPass::Outcome::Cancelled;
    if (outcome == ExportPass::Outcome::Cancelled) {
        text.discard();
        logCritical(kCancelled);
        return false;
    }
    if (outcome == ExportPass::Outcome::ReadFailed || pass.checksum() != stored)
        return false;
    if (pass.writeFailed()) {
        logCritical(kWriteFailed);
        return false;
    }
    if (!progress.finish()) {
        text.discard();
        logCritical(kCancelled);
        return false;
    }
    if (!text.commit()) {
        logCritical(kWriteFailed);
        return false;
    }
    if (raw) {
        sourceFile.close();
        QFile::remove(mfaPath); // only once its payload is safe
    }
    return true;
}

// ---- Import ----------------------------------------------------------------

// The lines that start in a chunk of the text file, parsed by a worker.
struct ImportBlock
{
    qint64 begin = 0;
    qint64 end = 0;
    std::unique_ptr<char[]> text;
    std::unique_ptr<uchar[]> records;
    qint64 lines = 0;
    bool read = false;
};

// How a worker reads the lines of its chunk: each line belongs to the
// chunk it starts in, and its end is read from the chunks after.
class ChunkParser
{
public:
    ChunkParser(Source& text, const PointFile::LineParser& parser, unsigned int meaning, qint64 chunkSize)
        : m_text(text)
        , m_parser(parser)
        , m_meaning(meaning)
        , m_chunkSize(chunkSize)
    {
    }
    qint64 chunkSize() const { return m_chunkSize; }

    void parse(ImportBlock& block) const;

private:
    bool finishLine(const char* begin, const char* end, qint64 after, uchar* out) const;

    Source& m_text;
    const PointFile::LineParser& m_parser;
    unsigned int m_meaning;
    qint64 m_chunkSize;
};

// A piece of the text after a chunk, for the line that crosses its end.
constexpr qint64 kLookAhead = 4 << 10;

void ChunkParser::parse(ImportBlock& block) const
{
    if (!block.text) {
        block.text.reset(new char[size_t(m_chunkSize + 1)]);
        if (m_parser.encodesValues())
            block.records.reset(new uchar[size_t((m_chunkSize + 1) * kMaxEncodedUnit)]);
    }
    block.lines = 0;
    // With the byte before the chunk: whether a line starts right at it.
    const qint64 from = std::max<qint64>(block.begin - 1, 0);
    char* const buffer = block.text.get();
    block.read = m_text.read(from, buffer, block.end - from);
    if (!block.read)
        return;
    const char* const end = buffer + (block.end - from);
    const char* start = buffer + (block.begin - from);
    if (block.begin > 0 && buffer[0] != '\n') {
        const void* newline = std::memchr(start, '\n', size_t(end - start));
        if (!newline)
            return; // inside a line of an earlier chunk
        start = static_cast<const char*>(newline) + 1;
    }
    if (!m_parser.encodesValues()) {
        block.lines = m_parser.parse(start, end, nullptr); // a count is all it takes
        return;
    }
    const void* last = memrchr(start, '\n', size_t(end - start));
    const char* const whole = last ? static_cast<const char*>(last) + 1 : start;
    block.lines = m_parser.parse(start, whole, block.records.get());
    if (whole < end) {
        // The last line goes on past the chunk, or ends the file.
        block.read = finishLine(whole, end, block.end, block.records.get() + block.lines * m_parser.unit());
        ++block.lines;
    }
}

// The record of the line that starts with [begin, end) and goes on at
// offset after: read whole when it fits a block, otherwise in pieces.
bool ChunkParser::finishLine(const char* begin, const char* end, qint64 after, uchar* out) const
{
    QByteArray line(begin, int(end - begin));
    PointFile::LongLine longLine(m_meaning);
    bool isLong = false;
    for (;;) {
        const qint64 count = std::min(kLookAhead, m_text.size() - after);
        if (count <= 0)
            break; // the last line of the file, without a line end
        QByteArray piece(int(count), Qt::Uninitialized);
        if (!m_text.read(after, piece.data(), count))
            return false;
        after += count;
        const int newline = piece.indexOf('\n');
        if (newline >= 0)
            piece.truncate(newline + 1);
        if (isLong) {
            longLine.feed(piece.constData(), newline >= 0 ? newline : piece.size());
        } else {
            line += piece;
            if (line.size() > kBlockSize) {
                isLong = true;
                longLine.feed(line.constData(), newline >= 0 ? line.size() - 1 : line.size());
                line.clear();
            }
        }
        if (newline >= 0)
            break;
    }
    if (isLong)
        m_parser.encode(longLine.value(), out);
    else
        m_parser.parse(line.constData(), line.constData() + line.size(), out);
    return true;
}

// The outcome of the line count, as reading the whole text decides it.
enum class LineCount { Right, TooLarge, NotCorrect };

LineCount judgeLines(qint64 lines, qint64 unit, qint64 dataLength)
{
    // Line k (from 0) would start at k * unit: past the data, the text has
    // too many lines; otherwise they must fill the data exactly.
    if (lines > 0 && (lines - 1) * unit >= dataLength)
        return LineCount::TooLarge;
    return lines * unit == dataLength ? LineCount::Right : LineCount::NotCorrect;
}

// Counts the lines of the whole text; false when it cannot be read.
bool countLines(QFile& text, qint64* lines)
{
    std::unique_ptr<char[]> buffer(new char[size_t(kBlockSize)]);
    *lines = 0;
    char last = '\n';
    for (;;) {
        const qint64 got = text.read(buffer.get(), kBlockSize);
        if (got < 0)
            return false;
        if (got == 0)
            break;
        *lines += std::count(buffer.get(), buffer.get() + got, '\n');
        last = buffer[size_t(got - 1)];
    }
    if (last != '\n')
        ++*lines; // the last line has no line end
    return true;
}

class ImportPass
{
public:
    enum class Outcome { Done, TextUnreadable, PointFileUnreadable, WorkFailed, Cancelled };

    ImportPass(Source& file, Source& text, const Header& header, const Layout& layout,
               PointFile::ReplacingFile& output, ProgressReport& progress)
        : m_file(file)
        , m_text(text)
        , m_header(header)
        , m_layout(layout)
        , m_parser(layout)
        , m_output(output)
        , m_progress(progress)
        , m_checksum(header.crcRegion())
    {
    }

    Outcome run();
    qint64 lines() const { return m_lines; }
    bool writeFailed() const { return m_writeFailed; }
    quint32 checksum() const { return m_checksum.value(); }

private:
    bool copyHeader();
    bool writeRecords(const ImportBlock& block);
    void write(const uchar* data, qint64 count);
    bool advance(qint64 bytes);

    Source& m_file;
    Source& m_text;
    const Header& m_header;
    Layout m_layout;
    PointFile::LineParser m_parser;
    PointFile::ReplacingFile& m_output;
    ProgressReport& m_progress;
    Checksum m_checksum;
    qint64 m_written = 0; // bytes of the new file so far
    qint64 m_lines = 0;
    qint64 m_done = 0;
    bool m_writeFailed = false;
    bool m_workFailed = false;
    bool m_cancelled = false;
};

bool ImportPass::advance(qint64 bytes)
{
    m_done += bytes;
    if (!m_progress.advance(m_done))
        m_cancelled = true;
    return !m_cancelled;
}

void ImportPass::write(const uchar* data, qint64 count)
{
    m_checksum.add(m_written, data, count);
    m_written += count;
    if (!m_writeFailed && !m_output.write(reinterpret_cast<const char*>(data), count))
        m_writeFailed = true;
}

// Everything before the records, as it is.
bool ImportPass::copyHeader()
{
    std::unique_ptr<char[]> buffer(new char[size_t(kBlockSize)]);
    for (qint64 offset = 0; offset < m_header.dataOffset;) {
        const qint64 count = std::min<qint64>(kBlockSize, m_header.dataOffset - offset);
        if (!m_file.read(offset, buffer.get(), count))
            return false;
        write(reinterpret_cast<const uchar*>(buffer.get()), count);
        offset += count;
        if (!advance(count))
            break;
    }
    return true;
}

// False once the text has more lines than the file has records.
bool ImportPass::writeRecords(const ImportBlock& block)
{
    const qint64 unit = m_layout.unit;
    m_lines += block.lines;
    if (judgeLines(m_lines, unit, m_file.size() - m_header.dataOffset) == LineCount::TooLarge)
        return false;
    if (m_parser.encodesValues()) {
        write(block.records.get(), block.lines * unit);
    } else {
        const std::vector<uchar> fill(size_t(std::min(block.lines * unit, kBlockSize)), 0xFFu);
        for (qint64 left = block.lines * unit; left > 0; left -= kBlockSize)
            write(fill.data(), std::min(left, kBlockSize));
    }
    return advance(block.end - block.begin);
}

// The workers read and parse the chunks of the text; the caller's thread
// writes their records in order, keeping the checksum.
ImportPass::Outcome ImportPass::run()
{
    if (!copyHeader())
        return Outcome::PointFileUnreadable;
    if (m_cancelled)
        return Outcome::Cancelled;

    const qint64 size = m_text.size();
    const ChunkParser chunks(m_text, m_parser, m_layout.meaning, blockSizeFor(size));
    const int threads = m_text.concurrent() ? threadsFor((size + chunks.chunkSize() - 1) / chunks.chunkSize()) : 0;
    PointFile::BlockPipeline<ImportBlock> pipeline(threads, depthFor(threads),
                                                   [&chunks](ImportBlock& block) { chunks.parse(block); });

    bool going = true;
    bool readFailed = false;
    const auto takeOldest = [&] {
        const bool parsed = pipeline.waitOldest();
        const ImportBlock& block = pipeline.oldest();
        if (!parsed) {
            // Out of memory in the worker: its lines are unknown.
            m_workFailed = true;
            going = false;
        } else {
            readFailed = !block.read;
            going = !readFailed && writeRecords(block);
        }
        pipeline.release();
    };
    for (qint64 offset = 0; going && offset < size;) {
        if (pipeline.full()) {
            takeOldest();
            continue;
        }
        ImportBlock& block = pipeline.next();
        block.begin = offset;
        block.end = std::min(offset + chunks.chunkSize(), size);
        pipeline.submit();
        offset = block.end;
    }
    while (going && pipeline.pending())
        takeOldest();
    if (readFailed)
        return Outcome::TextUnreadable;
    if (m_workFailed)
        return Outcome::WorkFailed;
    return m_cancelled ? Outcome::Cancelled : Outcome::Done;
}

bool importPoints(const QString& mfaPath, const ConversionProgress& callback)
{
    const QString txtPath = textPath(mfaPath);
    if (!QFileInfo::exists(txtPath))
        return true;

    QFile text(txtPath);
    if (!text.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        logCritical(kOpenFailed);
        return false;
    }
    if (text.size() < 1) {
        logCritical(kSizeError);
        return false;
    }

    // Opened as for writing: a missing file is created, empty.
    QFile target(mfaPath);
    if (!target.open(QIODevice::ReadWrite | QIODevice::Unbuffered)) {
        logCritical(kOpenFailed);
        return false;
    }
    if (target.size() <= 0) {
        logCritical(kSizeError);
        return false;
    }
    Source file(target);
    const qint64 size = file.size();

    Header header;
    Descriptor descriptor;
    if (!header.read(file) || !descriptor.read(file))
        return false;
    Layout layout;
    if (descriptor.isEmpty() || !descriptor.layout(&layout))
        return true;

    if (qint64(header.dataOffset) > size || !header.checksumInside(size)) {
        logCritical(kOutsideFile);
        return false;
    }

    // Without room for records, the first line is one too many; with
    // records 0 bytes wide, no number of lines fills them.
    const qint64 dataLength = size - header.dataOffset;
    if (dataLength == 0) {
        logCritical(kTooLarge);
        return false;
    }
    if (layout.unit == 0) {
        logCritical(kNotCorrect);
        return false;
    }

    PointFile::ReplacingFile output(mfaPath);
    if (!output.open()) {
        qint64 lines = 0;
        if (!countLines(text, &lines)) {
            logCritical(kOpenFailed);
            return false;
        }
        const LineCount count = judgeLines(lines, layout.unit, dataLength);
        logCritical(count == LineCount::TooLarge ? kTooLarge : count == LineCount::NotCorrect ? kNotCorrect : kOpenFailed);
        return false;
    }

    ProgressReport progress(callback, qint64(header.dataOffset) + text.size());
    if (!progress.start()) {
        output.discard();
        logCritical(kCancelled);
        return false;
    }
    Source textSource(text);
    ImportPass pass(file, textSource, header, layout, output, progress);
    switch (pass.run()) {
    case ImportPass::Outcome::Cancelled:
        output.discard();
        logCritical(kCancelled);
        return false;
    case ImportPass::Outcome::TextUnreadable:
        logCritical(kOpenFailed);
        return false;
    case ImportPass::Outcome::PointFileUnreadable:
        return false;
    case ImportPass::Outcome::WorkFailed:
        logCritical(kWriteFailed);
        return false;
    case ImportPass::Outcome::Done:
        break;
    }
    switch (judgeLines(pass.lines(), layout.unit, dataLength)) {
    case LineCount::TooLarge:
        logCritical(kTooLarge);
        return false;
    case LineCount::NotCorrect:
        logCritical(kNotCorrect);
        return false;
    case LineCount::Right:
        break;
    }

    // The checksum of the new content goes where the header says, also
    // inside the region it covers or the records.
    const quint32 crc = pass.checksum();
    const char stored[4] = {char(crc & 0xFF), char((crc >> 8) & 0xFF), char((crc >> 16) & 0xFF), char(crc >> 24)};
    if (pass.writeFailed() || !output.writeAt(header.crcOffset, stored, sizeof stored)) {
        logCritical(kWriteFailed);
        return false;
    }
    if (!progress.finish()) {
        output.discard();
        logCritical(kCancelled);
        return false;
    }
    if (!output.commit()) {
        logCritical(kWriteFailed);
        return false;
    }
    return true;
}

// Nothing leaves the library as an exception: memory that cannot be had
// fails the conversion (its output left as it was).
template <typename Conversion>
bool withoutExceptions(Conversion conversion)
{
    try {
        return conversion();
    } catch (...) {
        return false;
    }
}

} // namespace

bool ChangeMfaToTxt(const QString& mfaPath)
{
    return withoutExceptions([&] { return exportPoints(mfaPath, ConversionProgress()); });
}

bool ChangeMfaToTxt(const QString& mfaPath, const ConversionProgress& progress)
{
    return withoutExceptions([&] { return exportPoints(mfaPath, progress); });
}

bool ChangeTxtToMfa(const QString& mfaPath)
{
    return withoutExceptions([&] { return importPoints(mfaPath, ConversionProgress()); });
}

bool ChangeTxtToMfa(const QString& mfaPath, const ConversionProgress& progress)
{
    return withoutExceptions([&] { return importPoints(mfaPath, progress); });
}

} // namespace OrvInterface
