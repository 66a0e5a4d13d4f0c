// Builds ".mfa" point files for the tests, the benchmarks and the fuzzers'
// seeds, with a checksum computed independently of the library.
#ifndef COMMONTOOLS_TEST_MFA_BUILDER_H
#define COMMONTOOLS_TEST_MFA_BUILDER_H

#include <QByteArray>
#include <QtGlobal>

namespace Mfa {

constexpr quint32 kMfaMagic = 0x5A5AAA55u;
constexpr int kMfaDataOffset = 256;     // where the builder puts the records
constexpr int kCrcOffsetField = 8;
constexpr int kCrcRegionStart = 16;
constexpr int kDataOffsetField = 32;
constexpr int kCrcLengthField = 36;
constexpr int kDescriptorOffset = 120;

// The file checksum, bit by bit from its definition (reflected polynomial
// 0xEDB88320, register starting at start, no final inversion).
quint32 referenceCrc(const QByteArray& data, quint32 start = 0);

// 32-bit little-endian fields; the array grows when needed.
void putU32(QByteArray& buffer, int offset, quint32 value);
quint32 getU32(const QByteArray& buffer, int offset);

// Where the checksum is stored.
enum class CrcPlace {
    SpareWord,     // offset 4 of the header, outside the region it covers:
                   // the region runs from 16 to the end of the file, and the
                   // records run to the end (the layout that round-trips)
    AfterRecords,  // four bytes after the records, which end there
};

struct Contents
{
    QByteArray descriptor;     // written at offset 120, NUL-terminated
    QByteArray records;        // written at dataOffset
    CrcPlace crcPlace = CrcPlace::SpareWord;
    quint32 dataOffset = kMfaDataOffset;
    quint32 magic = kMfaMagic;
    bool validCrc = true;      // false: the stored checksum is off by one
};

QByteArray mfaFile(const Contents& contents);
QByteArray mfaFile(const QByteArray& descriptor, const QByteArray& records);

// The checksum the header of file asks for, recomputed (no bounds checks:
// for files made by mfaFile).
quint32 expectedCrc(const QByteArray& file);

} // namespace Mfa

#endif
