// Point files: the checksum against zlib's and ISA-L's; the export and the
// import against the whole-file reference implementation (the library's
// conversions as they first were, kept in tests/support) and against od,
// the usual tool for the same dump; and the peak memory of each, measured
// in a child process of its own.
//
// Usage: bench_pointfile [SECONDS_PER_ROUND] [--records N] [--dir DIR]
//                        [--disk-dir DIR] [--large]
//
// The files are converted in DIR (default /dev/shm, memory): on a disk,
// writing a big text file and syncing it takes longer than converting it,
// which one figure on DISK_DIR (default /tmp) shows. --large also converts
// a point file of more than 2 GiB there and back (in DISK_DIR).

#include "harness.h"
#include "support/childprocess.h"
#include "support/files.h"
#include "support/mfa_builder.h"
#include "support/reference_pointfile.h"

#include <OrvPointFile.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QThread>
#include <QtEndian>

#include <zlib.h>
#ifdef COMMONTOOLS_BENCH_ISAL
#include <isa-l/crc.h>
#endif

#include <cstring>
#include <vector>

namespace {

constexpr int kDefaultRecords = 16 << 20; // a 64 MiB point file
constexpr int kCrcBytes = 64 << 20;
constexpr int kCachedCrcBytes = 256 << 10;
// More than 2 GiB of records, with values below 1000 so that the text
// stays near the size of the point file.
constexpr qint64 kLargeRecords = qint64(576) << 20;
constexpr quint32 kLargeValues = 1000;
const char kPlainDescriptor[] = "Unit:4 Valid:3 Endian:L"; // what od -tu4 prints
const char kPairDescriptor[] = "Unit:4 Valid:3 Endian:L Meaning:x";

QByteArray randomBytes(int size, quint32 seed = 6)
{
    QByteArray data(size, '\0');
    QRandomGenerator random(seed);
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

QStringList odArguments(const QString& path)
{
    return QStringList{QStringLiteral("-An"), QStringLiteral("-v"), QStringLiteral("-tu4"), QStringLiteral("-w4"),
                       QStringLiteral("-j%1").arg(Mfa::kMfaDataOffset), path};
}

// od prints the same numbers, one per line.
QByteArray odDump(const QString& path)
{
    TestProcess::Options od;
    od.targetProgram = false;
    od.arguments = odArguments(path);
    return TestProcess::run(QStringLiteral("od"), od, -1).out;
}

// Runs program through bench_peak_memory and returns its peak memory
// (maximum resident set) in MiB, or -1 when it failed; *seconds gets its
// run time.
double peakMemory(const QString& program, const QStringList& arguments, double* seconds = nullptr)
{
    TestProcess::Options options;
    options.targetProgram = false;
    options.arguments = QStringList{program} + arguments;
    const TestProcess::Result result =
            TestProcess::run(QStringLiteral(COMMONTOOLS_BENCH_PEAK_MEMORY), options, 3600 * 1000);
    const QList<QByteArray> fields = result.out.trimmed().split(' ');
    if (!result.succeeded() || fields.size() != 2)
        return -1;
    if (seconds)
        *seconds = fields.at(1).toDouble();
    return fields.at(0).toDouble() / 1024.0;
}

// In a child of the benchmark: one conversion, for its peak memory.
int convertOnce(const QStringList& arguments)
{
    if (arguments.size() != 3)
        return 2;
    const bool exporting = arguments.at(0) == QLatin1String("export");
    const bool library = arguments.at(1) == QLatin1String("library");
    const QString& mfa = arguments.at(2);
    const bool ok = exporting ? (library ? OrvInterface::ChangeMfaToTxt(mfa) : Reference::ChangeMfaToTxt(mfa))
                              : (library ? OrvInterface::ChangeTxtToMfa(mfa) : Reference::ChangeTxtToMfa(mfa));
    return ok ? 0 : 1;
}

QString selfPath()
{
    return QCoreApplication::applicationFilePath();
}

struct Contender
{
    const char* name;
    bool library;
};
const Contender kConversions[] = {{"library", true}, {"reference", false}};

void printPeakMemory(const char* title, const QString& mfa)
{
    std::printf("%s: peak memory (maximum resident set of a child doing one conversion)\n", title);
    for (const char* direction : {"export", "import"}) {
        for (const Contender& contender : kConversions) {
            double seconds = 0;
            const double mib = peakMemory(selfPath(),
                                          {QStringLiteral("--convert"), QLatin1String(direction),
                                           QLatin1String(contender.name), mfa},
                                          &seconds);
            std::printf("  %-6s %-34s %8.1f MiB  (%.2f s)\n", direction,
                        contender.library ? (std::strcmp(direction, "export") == 0 ? "ChangeMfaToTxt" : "ChangeTxtToMfa")
                                          : "reference",
                        mib, seconds);
        }
    }
    double seconds = 0;
    const double odMib = peakMemory(QStringLiteral("od"), odArguments(mfa), &seconds);
    std::printf("  %-6s %-34s %8.1f MiB  (%.2f s)\n", "export", "od -An -v -tu4 -w4", odMib, seconds);
}

// Export and import of records in folder, each against the reference
// (and od), after checking that they write the same bytes.
bool compareConversions(const QString& folder, const char* descriptor, int records, bool withOd, double seconds)
{
    const QString mfa = folder + QStringLiteral("/points.mfa");
    const QString txt = folder + QStringLiteral("/points.txt");
    const QByteArray file = Mfa::mfaFile(descriptor, randomBytes(records * 4));
    if (!TestFiles::writeFile(mfa, file)) {
        std::printf("bench_pointfile: cannot write %s\n", qPrintable(mfa));
        return false;
    }
    if (!Reference::ChangeMfaToTxt(mfa)) {
        std::printf("bench_pointfile: the reference export failed\n");
        return false;
    }
    const QByteArray expected = TestFiles::readFile(txt);
    QFile::remove(txt);
    if (!OrvInterface::ChangeMfaToTxt(mfa) || TestFiles::readFile(txt) != expected) {
        std::printf("bench_pointfile: the export and the reference export disagree; nothing measured\n");
        return false;
    }
    if (withOd && expected != odDump(mfa).replace(' ', QByteArray())) {
        std::printf("bench_pointfile: the export and od disagree; nothing measured\n");
        return false;
    }
    const QByteArray zeroed = Mfa::mfaFile(descriptor, QByteArray(records * 4, '\0'));
    if (!TestFiles::writeFile(mfa, zeroed) || !OrvInterface::ChangeTxtToMfa(mfa) || TestFiles::readFile(mfa) != file
        || !TestFiles::writeFile(mfa, zeroed) || !Reference::ChangeTxtToMfa(mfa) || TestFiles::readFile(mfa) != file) {
        std::printf("bench_pointfile: the import and the reference import disagree; nothing measured\n");
        return false;
    }

    const double items = records;
    const std::string size = QStringLiteral("%1M records, \"%2\", %3 MiB of text, in %4")
                                     .arg(records >> 20)
                                     .arg(QLatin1String(descriptor))
                                     .arg(expected.size() >> 20)
                                     .arg(folder)
                                     .toStdString();
    std::vector<Bench::Contender> exports{
            {"ChangeMfaToTxt", [&] { return OrvInterface::ChangeMfaToTxt(mfa) ? items : 0.0; }},
            {"reference ChangeMfaToTxt", [&] { return Reference::ChangeMfaToTxt(mfa) ? items : 0.0; }},
    };
    std::vector<Bench::Contender> imports{
            {"ChangeTxtToMfa", [&] { return OrvInterface::ChangeTxtToMfa(mfa) ? items : 0.0; }},
            {"reference ChangeTxtToMfa", [&] { return Reference::ChangeTxtToMfa(mfa) ? items : 0.0; }},
    };
    if (withOd) {
        const Bench::Contender od{"od -An -v -tu4 -w4", [&] {
                                      Bench::keep(odDump(mfa).size());
                                      return items;
                                  }};
        exports.push_back(od);
        imports.push_back({"od (the export's work)", od.run});
    }
    Bench::compare("Export: " + size, "records", exports, seconds);
    Bench::compare("Import: " + size, "records", imports, seconds);
    if (TestFiles::readFile(mfa) != file || TestFiles::readFile(txt) != expected) {
        std::printf("bench_pointfile: a conversion changed its result\n");
        return false;
    }
    return true;
}

// Records of small values, written a block at a time: the point file of
// more than 2 GiB, with its checksum.
bool writeLargeFile(const QString& path, qint64 records)
{
    QByteArray header = Mfa::mfaFile(kPlainDescriptor, QByteArray());
    const qint64 size = header.size() + records * 4;
    Mfa::putU32(header, Mfa::kCrcLengthField, quint32(size - Mfa::kCrcRegionStart));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    quint32 crc = crc32_init_value(0, reinterpret_cast<const uchar*>(header.constData()) + Mfa::kCrcRegionStart,
                                   header.size() - Mfa::kCrcRegionStart);
    bool ok = file.write(header) == header.size();
    QRandomGenerator random(2);
    std::vector<quint32> block(1 << 20);
    for (qint64 done = 0; ok && done < records; done += qint64(block.size())) {
        const qint64 count = std::min<qint64>(qint64(block.size()), records - done);
        for (qint64 i = 0; i < count; ++i)
            block[size_t(i)] = qToLittleEndian(random.bounded(kLargeValues));
        const auto* bytes = reinterpret_cast<const char*>(block.data());
        crc = crc32_init_value(crc, reinterpret_cast<const uchar*>(bytes), int(count * 4));
        ok = file.write(bytes, count * 4) == count * 4;
    }
    uchar stored[4];
    qToLittleEndian(crc, stored);
    return ok && file.seek(4) && file.write(reinterpret_cast<const char*>(stored), 4) == 4;
}

bool sameFiles(const QString& a, const QString& b)
{
    QFile first(a);
    QFile second(b);
    if (!first.open(QIODevice::ReadOnly) || !second.open(QIODevice::ReadOnly) || first.size() != second.size())
        return false;
    while (!first.atEnd()) {
        if (first.read(1 << 20) != second.read(1 << 20))
            return false;
    }
    return true;
}

// A point file of more than 2 GiB to text and back, each in a child.
bool convertLargeFile(const QString& folder)
{
    const QString original = folder + QStringLiteral("/original.mfa");
    const QString mfa = folder + QStringLiteral("/points.mfa");
    std::printf("Point file of %lld M records (%.2f GiB) to text and back, in %s\n", kLargeRecords >> 20,
                (kLargeRecords * 4 + Mfa::kMfaDataOffset) / double(1 << 30), qPrintable(folder));
    if (!writeLargeFile(original, kLargeRecords) || !QFile::copy(original, mfa)) {
        std::printf("bench_pointfile: cannot write the large point file in %s\n", qPrintable(folder));
        return false;
    }
    double seconds = 0;
    const double exportMib = peakMemory(selfPath(), {QStringLiteral("--convert"), QStringLiteral("export"),
                                                     QStringLiteral("library"), mfa},
                                        &seconds);
    const qint64 textSize = QFileInfo(folder + QStringLiteral("/points.txt")).size();
    std::printf("  ChangeMfaToTxt  %s, %.2f GiB of text in %.1f s, peak memory %.1f MiB\n",
                exportMib < 0 ? "FAILED" : "converted", textSize / double(1 << 30), seconds, exportMib);
    // The records zeroed (a sparse file): only the import can bring them back.
    if (exportMib < 0 || !QFile::remove(mfa))
        return false;
    QFile source(original);
    QFile target(mfa);
    const QByteArray header = source.open(QIODevice::ReadOnly) ? source.read(Mfa::kMfaDataOffset) : QByteArray();
    if (header.size() != Mfa::kMfaDataOffset || !target.open(QIODevice::WriteOnly)
        || target.write(header) != header.size() || !target.resize(source.size()))
        return false;
    target.close();
    const double importMib = peakMemory(selfPath(), {QStringLiteral("--convert"), QStringLiteral("import"),
                                                     QStringLiteral("library"), mfa},
                                        &seconds);
    const bool same = importMib >= 0 && sameFiles(mfa, original);
    std::printf("  ChangeTxtToMfa  %s in %.1f s, peak memory %.1f MiB; the point file is %s\n",
                importMib < 0 ? "FAILED" : "converted", seconds, importMib,
                same ? "byte for byte the original" : "NOT the original");
    return same;
}

QString option(QStringList& arguments, const QString& name, const QString& fallback)
{
    const int at = arguments.indexOf(name);
    if (at < 0 || at + 1 >= arguments.size())
        return fallback;
    const QString value = arguments.at(at + 1);
    arguments.erase(arguments.begin() + at, arguments.begin() + at + 2);
    return value;
}

QString defaultMemoryFolder()
{
    const QStorageInfo shm(QStringLiteral("/dev/shm"));
    return shm.isValid() && shm.isReady() && !shm.isReadOnly() ? QStringLiteral("/dev/shm") : QDir::tempPath();
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.value(0) == QLatin1String("--convert"))
        return convertOnce(arguments.mid(1));

    const bool large = arguments.removeAll(QStringLiteral("--large")) > 0;
    const int records = option(arguments, QStringLiteral("--records"), QString::number(kDefaultRecords)).toInt();
    const QString memoryDir = option(arguments, QStringLiteral("--dir"), defaultMemoryFolder());
    const QString diskDir = option(arguments, QStringLiteral("--disk-dir"), QStringLiteral("/tmp"));
    const double seconds = arguments.isEmpty() ? 0.5 : arguments.first().toDouble();
    if (records <= 0 || seconds <= 0) {
        std::printf("usage: bench_pointfile [SECONDS_PER_ROUND] [--records N] [--dir DIR] [--disk-dir DIR] [--large]\n");
        return 2;
    }

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

    std::printf("Conversions on %d threads at most (QThread::idealThreadCount)\n", QThread::idealThreadCount());
    QTemporaryDir inMemory(memoryDir + QStringLiteral("/bench-pointfile-XXXXXX"));
    if (!inMemory.isValid() || !compareConversions(inMemory.path(), kPlainDescriptor, records, true, seconds))
        return 1;
    printPeakMemory("In memory", inMemory.path() + QStringLiteral("/points.mfa"));
    if (!compareConversions(inMemory.path(), kPairDescriptor, records, false, seconds))
        return 1;
    printPeakMemory("x/y records", inMemory.path() + QStringLiteral("/points.mfa"));
    inMemory.remove();

    // On a disk, the new file is synced before it replaces the old one.
    QTemporaryDir onDisk(diskDir + QStringLiteral("/bench-pointfile-XXXXXX"));
    if (!onDisk.isValid() || !compareConversions(onDisk.path(), kPlainDescriptor, records, false, seconds))
        return 1;
    onDisk.remove();

    if (large) {
        QTemporaryDir largeDir(diskDir + QStringLiteral("/bench-pointfile-XXXXXX"));
        if (!largeDir.isValid() || !convertLargeFile(largeDir.path()))
            return 1;
    }
    return 0;
}
