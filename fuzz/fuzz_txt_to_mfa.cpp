// Import of any pair of files: no crash, nothing touched outside the
// records and the checksum, and the file left as it was on failure.
//
// The input is the point file's length as two bytes (little-endian), the
// point file, then the text file.

#include "fuzz_support.h"

#include <OrvPointFile.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2 || size > (1 << 20))
        return 0;
    const int mfaSize = qMin(int(data[0] | data[1] << 8), int(size) - 2);
    const QByteArray file(reinterpret_cast<const char*>(data) + 2, mfaSize);
    const QByteArray text(reinterpret_cast<const char*>(data) + 2 + mfaSize, int(size) - 2 - mfaSize);

    static const QString mfa = Fuzz::scratchFolder() + QStringLiteral("/input.mfa");
    static const QString txt = Fuzz::scratchFolder() + QStringLiteral("/input.txt");
    Fuzz::require(Fuzz::writeFile(mfa, file) && Fuzz::writeFile(txt, text), "the inputs are written");

    const bool ok = OrvInterface::ChangeTxtToMfa(mfa);
    const QByteArray after = Fuzz::readFile(mfa);
    if (!ok || after == file)
        return 0;

    // Changed: the same size, the records from dataOffset on and the
    // checksum at crcOffset may differ, nothing else.
    Fuzz::require(after.size() == file.size(), "the size is kept");
    const qint64 dataOffset = Fuzz::u32At(file, 32);
    const qint64 crcOffset = Fuzz::u32At(file, 8);
    const qint64 crcLength = Fuzz::u32At(file, 36);
    for (qint64 i = 0; i < dataOffset && i < after.size(); ++i) {
        if (i >= crcOffset && i < crcOffset + 4)
            continue;
        Fuzz::require(after.at(int(i)) == file.at(int(i)), "bytes before the records are kept");
    }
    // The stored checksum covers its region, unless it lies inside it.
    const bool inside = crcOffset + 4 > 16 && crcOffset < 16 + crcLength;
    if (!inside) {
        const unsigned int crc = crc32(reinterpret_cast<const unsigned char*>(after.constData()) + 16, int(crcLength));
        Fuzz::require(Fuzz::u32At(after, crcOffset) == crc, "the checksum is renewed");
    }
    return 0;
}
