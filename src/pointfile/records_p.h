/*
 * The records of point files as text: a block of ".mfa" records formatted
 * as lines, and a block of lines parsed back into records. Internal to the
 * library; the conversions hand these blocks to worker threads, so nothing
 * here touches shared state.
 */
#ifndef ORVPOINTFILE_RECORDS_P_H
#define ORVPOINTFILE_RECORDS_P_H

#include <QString>
#include <QtGlobal>

#include <cstdint>

namespace PointFile {

// What GetAnalyticFormat reads from a descriptor.
struct Layout
{
    unsigned int unit = 0;
    unsigned int valid = 0;
    unsigned int endian = 0;
    unsigned int meaning = 0;
};

// The most bytes of text that a worker formats or parses at a time: a
// line longer than that is read in pieces, and so is a descriptor. With at
// most eight workers and two more blocks in flight it bounds what a
// conversion holds in memory (a few MiB; at most 50 MiB with eight workers
// and text of empty lines), whatever the size of the files; smaller blocks
// cost more in handing them over than they save.
constexpr qint64 kBlockSize = 1 << 20;
// A smaller file is cut into this many blocks at least (blocks of at least
// kMinBlockSize), so that its progress is reported about once per percent.
constexpr qint64 kMinBlocks = 128;
constexpr qint64 kMinBlockSize = 16 << 10;

// The longest line a record gives: "x=65535,y=65535\n".
constexpr int kMaxLineLength = 16;
// Formatting stores eight bytes at a time: the text of a block needs this
// much room past its end.
constexpr int kNumberSlack = 8;

// Export: records to lines.
class RecordFormatter
{
public:
    explicit RecordFormatter(const Layout& layout);

    // Formats the records in size bytes of data, one line each, to out
    // (room for kMaxLineLength per record, and kNumberSlack more) and
    // returns the end of the text. A last record cut short by the end of data reads zeros there.
    char* format(const uchar* data, qint64 size, char* out) const;

private:
    using Function = char* (*)(const uchar* data, qint64 count, char* out);
    Layout m_layout;
    Function m_function;
};

// Import: lines to records.
class LineParser
{
public:
    explicit LineParser(const Layout& layout);

    // Whether the records' bytes depend on the text (false: they are all
    // 0xFF, whatever the lines say).
    bool encodesValues() const { return m_function != nullptr; }
    unsigned int unit() const { return m_layout.unit; }

    // Parses the lines of text [begin, end), which ends after a line end or
    // at the end of the file, and writes unit bytes per line to out (room
    // for unit bytes per byte of text) when encodesValues(). Returns the
    // number of lines.
    qint64 parse(const char* begin, const char* end, uchar* out) const;

    // The bytes of one record holding value.
    void encode(quint32 value, uchar* out) const;

private:
    using Function = qint64 (*)(const char* begin, const char* end, unsigned int unit, uchar* out);
    Layout m_layout;
    Function m_function;
    int8_t m_valueByte[4];
};

// The value of a line too long to be held whole: fed in pieces, in order,
// it gives what LineParser gives for the line held whole.
class LongLine
{
public:
    explicit LongLine(unsigned int meaning);

    // The next bytes of the line, without its line end.
    void feed(const char* data, qint64 size);
    quint32 value();

private:
    // Reads an unsigned decimal as QString::toUInt(&ok, 10) does, one
    // UTF-16 unit at a time; 0 when toUInt would fail.
    class Number
    {
    public:
        void feed(QChar c);
        quint32 value() const;

    private:
        enum State : quint8 { Leading, Sign, Digits, Trailing, Invalid };
        State m_state = Leading;
        quint64 m_value = 0;
    };

    void decode(const char* data, qint64 size);
    void take(QChar c);

    unsigned int m_meaning;
    bool m_stopped = false;     // at a NUL: the rest is not part of the line
    bool m_started = false;     // the first bytes were decoded
    QByteArray m_pending;       // a character cut by the end of a piece
    qint64 m_index = 0;         // of the UTF-16 unit taken next
    QChar m_previous;
    // "x=<x>,y=<y>" found by the positions of the first "x=", "," and "y=",
    // as QString::indexOf and mid() cut the line; fromOne stands for mid(1).
    Number m_whole;
    Number m_fromOne;
    Number m_fromOneToComma;
    Number m_afterX;
    Number m_afterY;
    qint64 m_x = -1;
    qint64 m_comma = -1;
    qint64 m_y = -1;
    bool m_afterXEnded = false;
};

} // namespace PointFile

#endif
