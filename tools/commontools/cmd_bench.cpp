// commontools bench: the checksum and the point file conversions measured
// on the machine the tool runs on (the checksum's code depends on the
// processor: ISA-L, the ARMv8 CRC32 instructions or zlib).

#include "command.h"
#include "harness.h"

#include <OrvPointFile.h>

#include <QFile>
#include <QRandomGenerator>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QThread>

namespace Tool {

namespace {

constexpr int kMemoryBytes = 64 << 20;
constexpr int kCacheBytes = 256 << 10;
constexpr int kCacheRepeats = 64;
constexpr int kRecords = 1 << 20;

QByteArray randomBytes(int size)
{
    QByteArray data(size, '\0');
    QRandomGenerator random(6);
    random.fillRange(reinterpret_cast<quint32*>(data.data()), size / 4);
    return data;
}

void putU32(QByteArray& buffer, int offset, quint32 value)
{
    for (int i = 0; i < 4; ++i)
        buffer[offset + i] = char((value >> (8 * i)) & 0xFFu);
}

// A point file of 4-byte little-endian records: the magic number, the
// checksum at offset 4 covering bytes 16 to the end, the records at 256.
QByteArray pointFile(const QByteArray& records)
{
    constexpr int kDataOffset = 256;
    QByteArray file(kDataOffset, '\0');
    putU32(file, 0, 0x5A5AAA55u);
    putU32(file, 8, 4);
    putU32(file, 32, kDataOffset);
    const QByteArray descriptor("Unit:4 Valid:3 Endian:L");
    file.replace(120, descriptor.size(), descriptor);
    file.append(records);
    putU32(file, 36, quint32(file.size() - 16));
    putU32(file, 4, crc32(reinterpret_cast<const unsigned char*>(file.constData()) + 16, file.size() - 16));
    return file;
}

void printRate(const QString& what, double rate, const char* unit)
{
    out() << QStringLiteral("  %1 %2 %3/s").arg(what, -40).arg(rate, 10, 'f', 1).arg(QLatin1String(unit))
          << Qt::endl;
}

} // namespace

int runBench(const QStringList& arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption secondsOption(QStringLiteral("seconds"),
                                           QStringLiteral("Measure each for <seconds> (default 1)."),
                                           QStringLiteral("seconds"), QStringLiteral("1"));
    parser.addOption(secondsOption);
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Measures the point files' checksum, in the cache and from memory, "
                                                     "and the conversions of a point file of 1M records to text and "
                                                     "back, in a temporary folder."));
    if (code >= 0)
        return code;
    if (!parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("bench takes no arguments"), UsageError);
    bool ok = false;
    const double seconds = parser.value(secondsOption).toDouble(&ok);
    if (!ok || seconds <= 0 || seconds > 600)
        return fail(QStringLiteral("--seconds takes a number of seconds up to 600"), UsageError);

    out() << QStringLiteral("Machine: %1, %2 processors, %3")
                     .arg(QSysInfo::currentCpuArchitecture())
                     .arg(QThread::idealThreadCount())
                     .arg(QSysInfo::kernelVersion())
          << Qt::endl;

    const QByteArray block = randomBytes(kMemoryBytes);
    const auto* bytes = reinterpret_cast<const unsigned char*>(block.constData());
    constexpr double kMega = 1e6;
    printRate(QStringLiteral("checksum, 64 MiB from memory"),
              Bench::rate([&] { Bench::keep(crc32(bytes, kMemoryBytes)); return double(kMemoryBytes); }, seconds)
                      / kMega,
              "MB");
    printRate(QStringLiteral("checksum, 256 KiB in the cache"),
              Bench::rate(
                      [&] {
                          for (int i = 0; i < kCacheRepeats; ++i)
                              Bench::keep(crc32(bytes, kCacheBytes));
                          return double(kCacheBytes) * kCacheRepeats;
                      },
                      seconds)
                      / kMega,
              "MB");

    QTemporaryDir dir;
    if (!dir.isValid())
        return fail(QStringLiteral("no temporary folder: %1").arg(dir.errorString()));
    const QString mfa = dir.filePath(QStringLiteral("points.mfa"));
    const QByteArray original = pointFile(block.left(kRecords * 4));
    QFile file(mfa);
    if (!file.open(QIODevice::WriteOnly) || file.write(original) != original.size())
        return fail(QStringLiteral("cannot write %1").arg(mfa));
    file.close();

    bool converted = true;
    printRate(QStringLiteral("point file to text, 1M records"),
              Bench::rate([&] { converted &= OrvInterface::ChangeMfaToTxt(mfa); return double(kRecords); }, seconds),
              "records");
    printRate(QStringLiteral("text to point file, 1M records"),
              Bench::rate([&] { converted &= OrvInterface::ChangeTxtToMfa(mfa); return double(kRecords); }, seconds),
              "records");
    if (!file.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("cannot read %1").arg(mfa));
    if (!converted || file.readAll() != original)
        return fail(QStringLiteral("a conversion failed or changed the point file"));
    return Success;
}

} // namespace Tool
