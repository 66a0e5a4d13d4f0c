// Point files: the checksum against zlib's and ISA-L's, the export against
// od (the usual tool for the same dump), and import against export.
//
// Usage: bench_pointfile [SECONDS_PER_ROUND]

#include "harness.h"
#include "support/childprocess.h"
#include "support/files.h"
#include "support/mfa_builder.h"

#include <OrvPointFile.h>

#include <QRandomGenerator>
#include <QTemporaryDir>

#include <zlib.h>
#ifdef COMMONTOOLS_BENCH_ISAL
#include <isa-l/crc.h>
#endif

#include <vector>

namespace {

constexpr int kRecords = 4 << 20;  // 16 MiB of 4-byte records
constexpr int kCrcBytes = 64 << 20;
constexpr int kCachedCrcBytes = 256 << 10;

QByteArray randomBytes(int size)
{
    QByteArray data(size, '\0');
    QRandomGenerator random(6);
    random.fillRange(reinterpret_cast<quint32*>(data.data()), size / 4);
    return data;
}

// The library's checksum beside zlib's and, where it is installed, ISA-L's
// (which the library calls on x86-64 and arm64), each repeats times over
// size bytes per turn.
void compareChecksums(const char* title, const unsigned char* bytes, int size, int repeats, double seconds)
{
    const double perTurn = double(size) * repeats;
    std::vector<Bench::Contender> contenders{
            {"crc32",
             [=] {
                 for (int i = 0; i < repeats; ++i)
                     Bench::keep(crc32(bytes, size));
                 return perTurn;
             }},
            {"zlib crc32",
             [=] {
                 for (int i = 0; i < repeats; ++i)
                     Bench::keep(::crc32(0xFFFFFFFFul, bytes, uInt(size)));
                 return perTurn;
             }},
    };
#ifdef COMMONTOOLS_BENCH_ISAL
    contenders.push_back({"ISA-L crc32_gzip_refl", [=] {
                              for (int i = 0; i < repeats; ++i)
                                  Bench::keep(crc32_gzip_refl(0, bytes, uint64_t(size)));
                              return perTurn;
                          }});
#endif
    Bench::compare(title, "bytes", contenders, seconds);
}

// od prints the same numbers, one per line.
QByteArray odDump(const QString& path, int offset)
{
    TestProcess::Options od;
    od.targetProgram = false;
    od.arguments = QStringList{QStringLiteral("-An"), QStringLiteral("-v"), QStringLiteral("-tu4"),
                               QStringLiteral("-w4"), QStringLiteral("-j%1").arg(offset), path};
    return TestProcess::run(QStringLiteral("od"), od, -1).out;
}

} // namespace

int main(int argc, char** argv)
{
    const double seconds = Bench::secondsFromArguments(argc, argv, 0.5);

    const QByteArray block = randomBytes(kCrcBytes);
    const auto* bytes = reinterpret_cast<const unsigned char*>(block.constData());
    if (crc32(bytes, block.size()) != quint32(~::crc32(0xFFFFFFFFul, bytes, uInt(block.size())))) {
        std::printf("bench_pointfile: the checksums disagree; nothing measured\n");
        return 1;
    }
    // From memory, and from a buffer that stays in the cache (checksummed
    // many times per turn, so that the call costs nothing).
    compareChecksums("Checksum of 64 MiB, from memory", bytes, kCrcBytes, 1, seconds);
    compareChecksums("Checksum of 256 KiB, in cache", bytes, kCachedCrcBytes, 64, seconds);

    QTemporaryDir dir;
    if (!dir.isValid())
        return 1;
    const QString mfa = dir.filePath(QStringLiteral("points.mfa"));
    const QString txt = dir.filePath(QStringLiteral("points.txt"));
    // Records up to the end of the file: the same text od prints, once its
    // blanks are gone.
    const QByteArray file = Mfa::mfaFile("Unit:4 Valid:3 Endian:L", randomBytes(kRecords * 4));
    TestFiles::writeFile(mfa, file);
    if (!OrvInterface::ChangeMfaToTxt(mfa)
        || TestFiles::readFile(txt) != odDump(mfa, Mfa::kMfaDataOffset).replace(' ', QByteArray())) {
        std::printf("bench_pointfile: the export and od disagree; nothing measured\n");
        return 1;
    }
    Bench::compare("Point file of 4M records (16 MiB) to text", "records",
                   {
                           {"ChangeMfaToTxt", [&] { OrvInterface::ChangeMfaToTxt(mfa); return double(kRecords); }},
                           {"od -An -v -tu4 -w4",
                            [&] {
                                Bench::keep(odDump(mfa, Mfa::kMfaDataOffset).size());
                                return double(kRecords);
                            }},
                   },
                   seconds);

    Bench::compare("Text back into the point file", "records",
                   {
                           {"ChangeMfaToTxt", [&] { OrvInterface::ChangeMfaToTxt(mfa); return double(kRecords); }},
                           {"ChangeTxtToMfa", [&] { OrvInterface::ChangeTxtToMfa(mfa); return double(kRecords); }},
                   },
                   seconds);
    if (TestFiles::readFile(mfa) != file) {
        std::printf("bench_pointfile: the round trip changed the file\n");
        return 1;
    }
    return 0;
}
