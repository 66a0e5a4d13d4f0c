// The records of point files as text, a block at a time.
//
// Each record layout has a function of its own, made from the layout's row
// of a table, so that the loop over a block's records does not look the
// layout up again. Numbers are formatted with a table of digit pairs and
// parsed by hand: std::to_chars would export a table of the standard
// library's from the shared library.

#include "records_p.h"

#include <QByteArray>
#include <QtEndian>

#include <array>
#include <cstring>
#include <utility>

namespace PointFile {

namespace {

constexpr int kAny = -1;
constexpr int8_t kNone = -1;

// Export: which byte of the record gives A, B, C and D (kNone: 0). A
// layout without a row reads zeros.
struct DecodeRow
{
    int unit, valid, endian;
    int8_t source[4];
};
constexpr DecodeRow kDecodeRows[] = {
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
// takes (kNone: 0xFF). Not the mirror of export for valid 2, on purpose:
// the high half goes in the other byte order.
struct EncodeRow
{
    int unit, valid, endian;
    int8_t valueByte[4];
};
constexpr EncodeRow kEncodeRows[] = {
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

// The meanings: one number, x in the low half, x in the high half.
constexpr int kMeanings = 3;

unsigned int meaningIndex(unsigned int meaning)
{
    return meaning < kMeanings ? meaning : kMeanings - 1; // anything but 0 and 1 reads as 2
}

template <typename Row, size_t N>
int findRow(const Row (&rows)[N], const Layout& layout)
{
    for (size_t i = 0; i < N; ++i) {
        const Row& row = rows[i];
        if (row.unit == int(layout.unit) && (row.valid == kAny || row.valid == int(layout.valid))
            && (row.endian == kAny || row.endian == int(layout.endian)))
            return int(i);
    }
    return -1;
}

// ---- Export ----------------------------------------------------------------

constexpr char kDigitPairs[] = "00010203040506070809"
                               "10111213141516171819"
                               "20212223242526272829"
                               "30313233343536373839"
                               "40414243444546474849"
                               "50515253545556575859"
                               "60616263646566676869"
                               "70717273747576777879"
                               "80818283848586878889"
                               "90919293949596979899";

constexpr quint64 kAsciiZeros = 0x3030303030303030ull;
constexpr quint32 kPowersOfTen[] = {1, 10, 100};

// The eight decimal digits of value (below 10^8) as byte values 0 to 9, the
// first digit in the lowest byte: the four-digit halves side by side in
// 32-bit lanes, then their pairs in 16-bit lanes, then the digits, each
// split with a multiplication instead of a division.
Q_ALWAYS_INLINE quint64 eightDigits(quint32 value)
{
    const quint64 halves = quint64(value / 10000) | quint64(value % 10000) << 32;
    const quint64 hundreds = ((halves * 10486) >> 20) & 0x0000007F0000007Full; // x / 100 below 10000
    const quint64 pairs = ((halves - 100 * hundreds) << 16) + hundreds;
    const quint64 tens = ((pairs * 103) >> 10) & 0x000F000F000F000Full; // x / 10 below 100
    return tens + ((pairs - 10 * tens) << 8);
}

// Unsigned decimal, no padding. Stores eight bytes at a time: the buffer
// has room for them past the end of the number.
Q_ALWAYS_INLINE char* appendNumber(char* out, quint32 value)
{
    if (value < 100000000u) {
        const quint64 digits = eightDigits(value);
        const int zeros = digits ? __builtin_ctzll(digits) / 8 : 7; // leading ones, not printed
        qToLittleEndian<quint64>((digits | kAsciiZeros) >> (8 * zeros), out);
        return out + 8 - zeros;
    }
    // One or two digits before the eight, without a branch on which.
    const quint32 high = value / 100000000u; // 1 to 42
    const char* const pair = kDigitPairs + 2 * high;
    const int wide = high >= 10 ? 1 : 0;
    out[0] = pair[1 - wide];
    out[1] = pair[1];
    out += 1 + wide;
    qToLittleEndian<quint64>(eightDigits(value - high * 100000000u) | kAsciiZeros, out);
    return out + 8;
}

// The four decimal digits of value (below 10^4) as byte values, the first
// digit in the lowest byte, as eightDigits() does in 32 bits.
Q_ALWAYS_INLINE quint32 fourDigits(quint32 value)
{
    const quint32 hundreds = (value * 5243) >> 19; // value / 100 below 10^4
    const quint32 pairs = ((value - 100 * hundreds) << 16) + hundreds;
    const quint32 tens = ((pairs * 103) >> 10) & 0x000F000Fu;
    return tens + ((pairs - 10 * tens) << 8);
}

// A half of a record (below 2^16), with four-byte stores.
Q_ALWAYS_INLINE char* appendHalf(char* out, quint32 value)
{
    if (value < 10000) {
        const quint32 digits = fourDigits(value);
        const int zeros = digits ? __builtin_ctz(digits) / 8 : 3;
        qToLittleEndian<quint32>((digits | 0x30303030u) >> (8 * zeros), out);
        return out + 4 - zeros;
    }
    const quint32 first = value / 10000; // 1 to 6
    *out = char('0' + first);
    qToLittleEndian<quint32>(fourDigits(value - first * 10000) | 0x30303030u, out + 1);
    return out + 5;
}

template <int Meaning>
inline char* appendLine(char* out, quint32 low, quint32 high)
{
    if (Meaning == 0) {
        out = appendNumber(out, low | high << 16);
    } else {
        std::memcpy(out, "x=", 2);
        out = appendHalf(out + 2, Meaning == 1 ? low : high);
        std::memcpy(out, ",y=", 3);
        out = appendHalf(out + 3, Meaning == 1 ? high : low);
    }
    *out++ = '\n';
    return out;
}

// Byte A, B, C or D of a record: a constant per layout.
template <int RowIndex, int Byte>
Q_ALWAYS_INLINE quint32 recordByte(const uchar* record)
{
    constexpr int source = kDecodeRows[RowIndex].source[Byte];
    if constexpr (source == kNone)
        return 0;
    else
        return record[source];
}

template <int RowIndex, int Meaning>
char* formatRecords(const uchar* data, qint64 count, char* out)
{
    constexpr int unit = kDecodeRows[RowIndex].unit;
    for (qint64 i = 0; i < count; ++i, data += unit) {
        const quint32 low = recordByte<RowIndex, 0>(data) | recordByte<RowIndex, 1>(data) << 8;
        const quint32 high = recordByte<RowIndex, 2>(data) | recordByte<RowIndex, 3>(data) << 8;
        out = appendLine<Meaning>(out, low, high);
    }
    return out;
}

// Layouts without a row: every record reads as zeros.
template <int Meaning>
char* formatZeros(const uchar*, qint64 count, char* out)
{
    char line[kMaxLineLength + kNumberSlack];
    const qint64 length = appendLine<Meaning>(line, 0, 0) - line;
    for (qint64 i = 0; i < count; ++i, out += length)
        std::memcpy(out, line, size_t(length));
    return out;
}

using FormatFunction = char* (*)(const uchar*, qint64, char*);
using FormatRow = std::array<FormatFunction, kMeanings>;

template <size_t... Rows>
constexpr std::array<FormatRow, sizeof...(Rows)> makeFormatters(std::index_sequence<Rows...>)
{
    return {{FormatRow{{formatRecords<Rows, 0>, formatRecords<Rows, 1>, formatRecords<Rows, 2>}}...}};
}
constexpr auto kFormatters = makeFormatters(std::make_index_sequence<std::size(kDecodeRows)>());
constexpr FormatRow kZeroFormatters{{formatZeros<0>, formatZeros<1>, formatZeros<2>}};

// ---- Import ----------------------------------------------------------------

// One line of the text as QFile::readLine gives it in text mode (a final
// "\r\n" read as "\n"), cut at its first NUL: the bytes before the line
// end, and whether the line end is still part of it.
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

// "123" read directly; false for anything else.
bool plainNumber(const char* begin, const char* end, quint32* value)
{
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

quint32 pairValue(quint32 x, quint32 y, unsigned int meaning)
{
    return meaning == 1 ? (x & 0xFFFFu) + (y << 16) : (y & 0xFFFFu) + (x << 16);
}

// Any line, as QString reads it.
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
    return pairValue(x, y, meaning);
}

// The value of up to eight digits as byte values 0 to 9, the first digit
// in the lowest byte, after any number of zero bytes.
Q_ALWAYS_INLINE quint32 eightDigitsValue(quint64 digits)
{
    digits = digits * 10 + (digits >> 8); // pairs
    digits = ((digits & 0x000000FF000000FFull) * (100 + (1000000ull << 32))
              + ((digits >> 16) & 0x000000FF000000FFull) * (1 + (10000ull << 32)))
            >> 32;
    return quint32(digits);
}

Q_ALWAYS_INLINE quint64 loadWord(const char* p)
{
    quint64 word;
    std::memcpy(&word, p, sizeof word);
    return qFromLittleEndian(word);
}

// The high bit of each byte of digits (byte values after '0' was taken
// away) that is not a digit; exact up to the first such byte.
Q_ALWAYS_INLINE quint64 nonDigits(quint64 digits)
{
    return (digits | (digits + 0x7676767676767676ull)) & 0x8080808080808080ull;
}

// The value of eight digits (as eightDigitsValue() takes them) and of the
// first extra (0 to 2) of more; above 32 bits, 0, as too large a value reads.
Q_ALWAYS_INLINE quint32 tenDigitsValue(quint64 digits, quint64 more, int extra)
{
    const quint64 tail = extra == 2 ? (more & 0xFF) * 10 + ((more >> 8) & 0xFF) : extra == 1 ? (more & 0xFF) : 0;
    const quint64 v = quint64(eightDigitsValue(digits)) * kPowersOfTen[extra] + tail;
    return v <= 0xFFFFFFFFu ? quint32(v) : 0;
}

// One to ten digits at p, which then stands after them.
Q_ALWAYS_INLINE bool readDigits(const char*& p, const char* end, quint32* value)
{
    if (end - p >= 16) {
        // Eight bytes at once: the first that is not a digit ends the run.
        // (A byte's carry reaches only bytes after the first non-digit.)
        const quint64 digits = loadWord(p) ^ kAsciiZeros;
        const quint64 others = nonDigits(digits);
        if (others) {
            const int count = __builtin_ctzll(others) / 8;
            if (count == 0)
                return false;
            *value = eightDigitsValue(digits << (8 * (8 - count)));
            p += count;
            return true;
        }
        // Eight digits: at most two more may follow.
        const quint64 more = loadWord(p + 8) ^ kAsciiZeros;
        const quint64 moreOthers = nonDigits(more);
        const int extra = moreOthers ? __builtin_ctzll(moreOthers) / 8 : 8;
        if (extra > 2)
            return false;
        *value = tenDigitsValue(digits, more, extra);
        p += 8 + extra;
        return true;
    }
    const char* q = p;
    const char* const limit = end - q > 10 ? q + 11 : end;
    quint64 v = 0;
    while (q < limit && unsigned(uchar(*q) - '0') < 10u) {
        v = v * 10 + unsigned(uchar(*q) - '0');
        ++q;
    }
    const ptrdiff_t count = q - p;
    if (count == 0 || count > 10)
        return false;
    *value = v <= 0xFFFFFFFFu ? quint32(v) : 0;
    p = q;
    return true;
}

// The end of a line at p ("\n", "\r\n" or the end of the file), which p
// then stands after.
Q_ALWAYS_INLINE bool readLineEnd(const char*& p, const char* end)
{
    if (p == end)
        return true;
    if (*p == '\n') {
        ++p;
        return true;
    }
    if (*p == '\r' && end - p > 1 && p[1] == '\n') {
        p += 2;
        return true;
    }
    return false;
}

// The usual lines, "123" and "x=1,y=2", read directly: p stands after the
// line then. False for anything else, which lineValue() reads.
template <int Meaning>
Q_ALWAYS_INLINE bool quickValue(const char*& p, const char* end, quint32* value)
{
    const char* q = p;
    if (Meaning == 0) {
        if (!readDigits(q, end, value) || !readLineEnd(q, end))
            return false;
    } else {
        quint32 x = 0;
        quint32 y = 0;
        if (end - q < 2 || q[0] != 'x' || q[1] != '=')
            return false;
        q += 2;
        if (!readDigits(q, end, &x) || end - q < 3 || std::memcmp(q, ",y=", 3) != 0)
            return false;
        q += 3;
        if (!readDigits(q, end, &y) || !readLineEnd(q, end))
            return false;
        *value = pairValue(x, y, Meaning);
    }
    p = q;
    return true;
}

// The bytes of a record holding value, as one little-endian word: each a
// byte of the value or 0xFF, a constant choice per layout (the usual ones
// come to one store).
template <int RowIndex, int Byte>
Q_ALWAYS_INLINE quint32 encodedByte(quint32 value)
{
    constexpr int source = kEncodeRows[RowIndex].valueByte[Byte];
    if constexpr (Byte >= kEncodeRows[RowIndex].unit)
        return 0;
    else if constexpr (source == kNone)
        return 0xFFu << (8 * Byte);
    else
        return ((value >> (8 * source)) & 0xFFu) << (8 * Byte);
}

template <int RowIndex>
Q_ALWAYS_INLINE void encodeRecord(quint32 value, uchar* out)
{
    const quint32 word = qToLittleEndian(encodedByte<RowIndex, 0>(value) | encodedByte<RowIndex, 1>(value)
                                         | encodedByte<RowIndex, 2>(value) | encodedByte<RowIndex, 3>(value));
    std::memcpy(out, &word, size_t(kEncodeRows[RowIndex].unit));
}

// The high bit of each byte of word that is a line end, exactly.
Q_ALWAYS_INLINE quint64 lineEnds(quint64 word)
{
    const quint64 x = word ^ 0x0A0A0A0A0A0A0A0Aull;
    return ~(((x & 0x7F7F7F7F7F7F7F7Full) + 0x7F7F7F7F7F7F7F7Full) | x | 0x7F7F7F7F7F7F7F7Full);
}

// The high bits of the first count bytes.
constexpr quint64 kFirstBytes[] = {0,
                                   0x80ull,
                                   0x8080ull,
                                   0x808080ull,
                                   0x80808080ull,
                                   0x8080808080ull,
                                   0x808080808080ull,
                                   0x80808080808080ull,
                                   0x8080808080808080ull};

// The value of exactly count (1 to 10) digits at p, with 16 bytes
// readable there; false when they are not all digits.
Q_ALWAYS_INLINE bool digitsValue(const char* p, qint64 count, quint32* value)
{
    if (count < 1 || count > 10)
        return false;
    const quint64 first = loadWord(p) ^ kAsciiZeros;
    if (count <= 8) {
        if (nonDigits(first) & kFirstBytes[count])
            return false;
        *value = eightDigitsValue(first << (8 * (8 - count)));
        return true;
    }
    const quint64 more = loadWord(p + 8) ^ kAsciiZeros;
    if (nonDigits(first) || (nonDigits(more) & kFirstBytes[count - 8]))
        return false;
    *value = tenDigitsValue(first, more, int(count - 8));
    return true;
}

// The usual lines, with their line end at lineEnd already found: the
// digits' count is known, so that lines are read independently of each
// other. False for anything else, which lineValue() reads.
template <int Meaning>
Q_ALWAYS_INLINE bool knownLineValue(const char* p, const char* lineEnd, const char* end, quint32* value)
{
    const char* last = lineEnd;
    if (last > p && last[-1] == '\r')
        --last;
    if (end - last < 16)
        return false;
    if (Meaning == 0)
        return digitsValue(p, last - p, value);
    quint32 x = 0;
    quint32 y = 0;
    if (last - p < 2 || p[0] != 'x' || p[1] != '=')
        return false;
    const char* q = p + 2;
    if (!readDigits(q, end, &x) || last - q < 3 || std::memcmp(q, ",y=", 3) != 0 || !digitsValue(q + 3, last - q - 3, &y))
        return false;
    *value = pairValue(x, y, Meaning);
    return true;
}

constexpr int kLineBatch = 64;

// A line of one to ten digits and "\n" at p, with 16 bytes readable there:
// p then stands after it. The digits end where the first non-digit is, so
// that the line end needs no search of its own. Eight, nine and ten digits
// are told apart by a branch each, not by where the first non-digit is:
// the next line's start is then predicted instead of waiting for this
// line's bytes, and the reading of consecutive lines overlaps.
Q_ALWAYS_INLINE bool plainLine(const char*& p, quint32* value)
{
    constexpr quint64 kLineEnd = '\n' ^ '0'; // "\n" after the XOR with kAsciiZeros
    const quint64 first = loadWord(p) ^ kAsciiZeros;
    const quint64 firstOthers = nonDigits(first);
    if (Q_LIKELY(firstOthers == 0)) {
        const quint64 more = loadWord(p + 8) ^ kAsciiZeros;
        const quint64 moreOthers = nonDigits(more);
        const quint64 high = eightDigitsValue(first);
        if ((moreOthers & 0x8080u) == 0 && ((more >> 16) & 0xFF) == kLineEnd) {
            const quint64 v = high * 100 + (more & 0xFF) * 10 + ((more >> 8) & 0xFF);
            *value = v <= 0xFFFFFFFFu ? quint32(v) : 0; // too large reads as 0
            p += 11;
            return true;
        }
        if ((moreOthers & 0x80u) == 0 && ((more >> 8) & 0xFF) == kLineEnd) {
            *value = quint32(high * 10 + (more & 0xFF));
            p += 10;
            return true;
        }
        if ((more & 0xFF) != kLineEnd)
            return false;
        *value = quint32(high);
        p += 9;
        return true;
    }
    const int count = __builtin_ctzll(firstOthers) / 8;
    if (count == 0 || p[count] != '\n')
        return false;
    *value = eightDigitsValue(first << (8 * (8 - count)));
    p += count + 1;
    return true;
}

template <int RowIndex, int Meaning>
qint64 parseLines(const char* p, const char* end, unsigned int, uchar* out)
{
    constexpr int unit = kEncodeRows[RowIndex].unit;
    qint64 lines = 0;
    if (Meaning == 0) {
        // The usual lines one after the other, while 16 bytes are left.
        quint32 value = 0;
        while (end - p >= 16 && plainLine(p, &value)) {
            encodeRecord<RowIndex>(value, out);
            out += unit;
            ++lines;
        }
    }
    const char* found[kLineBatch + 8];
    while (p < end) {
        // The ends of the next lines first, eight bytes at a time.
        int count = 0;
        for (const char* q = p; count < kLineBatch && end - q >= 8; q += 8) {
            for (quint64 mask = lineEnds(loadWord(q)); mask; mask &= mask - 1)
                found[count++] = q + __builtin_ctzll(mask) / 8;
        }
        if (count == 0) {
            // The last bytes of the text: no line end within reach.
            quint32 value = 0;
            if (!quickValue<Meaning>(p, end, &value)) {
                const char* next = end;
                value = lineValue(nextLine(p, end, &next), Meaning);
                p = next;
            }
            encodeRecord<RowIndex>(value, out);
            out += unit;
            ++lines;
            continue;
        }
        for (int i = 0; i < count; ++i, ++lines, out += unit) {
            quint32 value = 0;
            if (!knownLineValue<Meaning>(p, found[i], end, &value)) {
                const char* next = end;
                value = lineValue(nextLine(p, end, &next), Meaning);
            }
            encodeRecord<RowIndex>(value, out);
            p = found[i] + 1;
        }
    }
    return lines;
}

using ParseFunction = qint64 (*)(const char*, const char*, unsigned int, uchar*);
using ParseRow = std::array<ParseFunction, kMeanings>;

template <size_t... Rows>
constexpr std::array<ParseRow, sizeof...(Rows)> makeParsers(std::index_sequence<Rows...>)
{
    return {{ParseRow{{parseLines<Rows, 0>, parseLines<Rows, 1>, parseLines<Rows, 2>}}...}};
}
constexpr auto kParsers = makeParsers(std::make_index_sequence<std::size(kEncodeRows)>());

bool isContinuationByte(uchar byte)
{
    return (byte & 0xC0u) == 0x80u;
}

// The bytes a UTF-8 sequence that starts with lead claims.
int sequenceLength(uchar lead)
{
    return lead >= 0xF0u ? 4 : lead >= 0xE0u ? 3 : lead >= 0xC0u ? 2 : 1;
}

} // namespace

RecordFormatter::RecordFormatter(const Layout& layout)
    : m_layout(layout)
{
    const int row = findRow(kDecodeRows, layout);
    const unsigned int meaning = meaningIndex(layout.meaning);
    m_function = row >= 0 ? kFormatters[size_t(row)][meaning] : kZeroFormatters[meaning];
}

char* RecordFormatter::format(const uchar* data, qint64 size, char* out) const
{
    const qint64 unit = m_layout.unit;
    const qint64 whole = size / unit;
    out = m_function(data, whole, out);
    if (const qint64 rest = size - whole * unit) {
        uchar last[16] = {};
        std::memcpy(last, data + whole * unit, size_t(rest));
        out = m_function(last, 1, out);
    }
    return out;
}

LineParser::LineParser(const Layout& layout)
    : m_layout(layout)
{
    const int row = findRow(kEncodeRows, layout);
    m_function = row >= 0 ? kParsers[size_t(row)][meaningIndex(layout.meaning)] : nullptr;
    for (int i = 0; i < 4; ++i)
        m_valueByte[i] = row >= 0 ? kEncodeRows[row].valueByte[i] : kNone;
}

qint64 LineParser::parse(const char* begin, const char* end, uchar* out) const
{
    if (m_function)
        return m_function(begin, end, m_layout.unit, out);
    // Only the number of lines counts.
    qint64 lines = 0;
    for (const char* p = begin; p < end; ++lines) {
        const void* newline = std::memchr(p, '\n', size_t(end - p));
        p = newline ? static_cast<const char*>(newline) + 1 : end;
    }
    return lines;
}

void LineParser::encode(quint32 value, uchar* out) const
{
    for (unsigned int i = 0; i < m_layout.unit; ++i)
        out[i] = i < 4 && m_valueByte[i] != kNone ? uchar(value >> (8 * m_valueByte[i])) : 0xFFu;
}

// ---- Lines too long to hold ------------------------------------------------

// QString::toUInt(&ok, 10) accepts blanks (QChar::isSpace) around an
// optional "+" and decimal digits, and fails above 0xFFFFFFFF.
void LongLine::Number::feed(QChar c)
{
    const unsigned digit = unsigned(c.unicode()) - '0';
    const bool isDigit = digit < 10u;
    switch (m_state) {
    case Leading:
        if (c.isSpace())
            return;
        m_state = isDigit ? Digits : c == QLatin1Char('+') ? Sign : Invalid;
        m_value = isDigit ? digit : 0;
        return;
    case Sign:
        m_state = isDigit ? Digits : Invalid;
        m_value = isDigit ? digit : 0;
        return;
    case Digits:
        if (isDigit) {
            // Beyond 32 bits it no longer matters by how much.
            m_value = qMin<quint64>(m_value * 10 + digit, quint64(1) << 33);
            return;
        }
        m_state = c.isSpace() ? Trailing : Invalid;
        return;
    case Trailing:
        if (!c.isSpace())
            m_state = Invalid;
        return;
    case Invalid:
        return;
    }
}

quint32 LongLine::Number::value() const
{
    const bool complete = m_state == Digits || m_state == Trailing;
    return complete && m_value <= 0xFFFFFFFFu ? quint32(m_value) : 0;
}

LongLine::LongLine(unsigned int meaning)
    : m_meaning(meaning)
{
}

void LongLine::feed(const char* data, qint64 size)
{
    if (m_stopped)
        return;
    if (const void* nul = std::memchr(data, '\0', size_t(size))) {
        size = static_cast<const char*>(nul) - data;
        m_stopped = true;
    }
    decode(data, size);
}

// Decodes as QString::fromUtf8 decodes the whole line: each piece is cut
// before a character that may continue into the next one, and only the
// line's first piece may start with a byte order mark that is dropped.
void LongLine::decode(const char* data, qint64 size)
{
    QByteArray bytes = m_pending;
    bytes.append(data, int(size));
    int cut = bytes.size();
    if (!m_stopped) {
        for (int i = bytes.size() - 1; i >= 0 && i >= bytes.size() - 3; --i) {
            const uchar byte = uchar(bytes.at(i));
            if (isContinuationByte(byte))
                continue;
            if (i + sequenceLength(byte) > bytes.size())
                cut = i;
            break;
        }
    }
    m_pending = bytes.mid(cut);
    if (cut == 0)
        return;
    bytes.truncate(cut);
    QString text;
    if (m_started) {
        // A leading 'a' keeps a byte order mark in the middle of the line.
        text = QString::fromUtf8('a' + bytes).mid(1);
    } else {
        text = QString::fromUtf8(bytes);
        m_started = true;
    }
    for (const QChar c : qAsConst(text))
        take(c);
}

// The unit at m_index of the line's text, for every reading of it that
// lineValue() may make.
void LongLine::take(QChar c)
{
    const qint64 i = m_index++;
    if (m_meaning == 0) {
        m_whole.feed(c);
        return;
    }
    if (c == QLatin1Char(',') && m_comma < 0) {
        m_comma = i;
        m_afterXEnded = m_x >= 0;
    }
    if (i >= 1) {
        m_fromOne.feed(c);
        if (m_comma < 0)
            m_fromOneToComma.feed(c);
    }
    if (m_x >= 0 && i >= m_x + 2 && !m_afterXEnded)
        m_afterX.feed(c);
    if (m_y >= 0 && i >= m_y + 2)
        m_afterY.feed(c);
    if (c == QLatin1Char('=')) {
        if (m_x < 0 && m_previous == QLatin1Char('x'))
            m_x = i - 1;
        if (m_y < 0 && m_previous == QLatin1Char('y'))
            m_y = i - 1;
    }
    m_previous = c;
}

quint32 LongLine::value()
{
    if (!m_pending.isEmpty()) {
        m_stopped = true; // nothing follows: the rest is decoded as it is
        decode(nullptr, 0);
    }
    if (m_meaning == 0)
        return m_whole.value();
    // text.mid(ix + 2, ic - ix - 2) and text.mid(iy + 2), with mid(1) for
    // a missing "x=" or "y=".
    const quint32 x = m_x >= 0 ? m_afterX.value() : m_comma >= 1 ? m_fromOneToComma.value() : m_fromOne.value();
    const quint32 y = m_y >= 0 ? m_afterY.value() : m_fromOne.value();
    return pairValue(x, y, m_meaning);
}

} // namespace PointFile
