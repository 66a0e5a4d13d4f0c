// Point files: the bounded copy, the format descriptor and the conversions
// between ".mfa" and ".txt".

#include "support/faults.h"
#include "support/files.h"
#include "support/messagelog.h"
#include "support/mfa_builder.h"
#include "support/reference_pointfile.h"
#include "support/sanitizers.h"
#include "support/scenario.h"

#include "pointfile/records_p.h"

#include <OrvPointFile.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using namespace OrvInterface;
using TestFiles::readFile;
using TestFiles::writeFile;

namespace {

// The library's critical messages while it lives.
class CriticalLog : public MessageLog
{
public:
    CriticalLog()
        : MessageLog(QtCriticalMsg)
    {
    }
};

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray array;
    for (int v : values)
        array.append(char(v));
    return array;
}

QByteArray descriptor(int unit, char valid, char endian, char meaning = 0)
{
    QByteArray text = "Unit:" + QByteArray::number(unit) + " Valid:" + valid + " Endian:" + endian;
    if (meaning)
        text += QByteArray(" Meaning:") + meaning;
    return text;
}

// Sets or clears the immutable attribute of path; false where the file
// system or the user does not allow it.
bool setImmutable(const QString& path, bool on)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK);
    if (fd < 0)
        return false;
    int flags = 0;
    bool ok = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    if (ok) {
        flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
        ok = ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
    }
    ::close(fd);
    return ok;
}

// Clears the attribute again however the test ends.
struct Immutable
{
    QString path;
    bool set;
    explicit Immutable(const QString& p) : path(p), set(setImmutable(p, true)) {}
    ~Immutable()
    {
        if (set)
            setImmutable(path, false);
    }
};

constexpr int kFullDiskRecords = 6000;

} // namespace

// Writes that go past CTT_FSIZE bytes fail as on a full disk.
bool limitFileSize()
{
    return Faults::limitFileSize(qEnvironmentVariableIntValue("CTT_FSIZE"));
}

COMMONTOOLS_SCENARIO(fullDisk)
{
    Scenario::report(QStringLiteral("limited"), limitFileSize());
    CriticalLog log;
    Scenario::report(QStringLiteral("export"), ChangeMfaToTxt(qEnvironmentVariable("CTT_MFA")));
    Scenario::report(QStringLiteral("exportLog"), log.messages().join(QLatin1Char('|')));
}

COMMONTOOLS_SCENARIO(fullDiskImport)
{
    Scenario::report(QStringLiteral("limited"), limitFileSize());
    CriticalLog log;
    Scenario::report(QStringLiteral("import"), ChangeTxtToMfa(qEnvironmentVariable("CTT_MFA")));
    Scenario::report(QStringLiteral("importLog"), log.messages().join(QLatin1Char('|')));
}

// One conversion, announced just before it starts: CTT_DIRECTION "export"
// (ChangeMfaToTxt) or "import" (ChangeTxtToMfa) of CTT_MFA.
COMMONTOOLS_SCENARIO(convertPoints)
{
    const QString mfa = qEnvironmentVariable("CTT_MFA");
    const bool exporting = qEnvironmentVariable("CTT_DIRECTION") == QLatin1String("export");
    Scenario::report(QStringLiteral("writing"), true);
    const bool done = exporting ? ChangeMfaToTxt(mfa) : ChangeTxtToMfa(mfa);
    Scenario::report(QStringLiteral("done"), done);
}

// The conversion of convertPoints in a child of this small process, and
// its peak memory. (Measured in the test's own child, the peak would also
// count the test's: an exec keeps the larger of the old and the new
// process image's.)
COMMONTOOLS_SCENARIO(convertInBoundedMemory)
{
    TestProcess::Options options;
    options.setEnvironment.insert(QStringLiteral("COMMONTOOLS_SCENARIO"), QStringLiteral("convertPoints"));
    const TestProcess::Result result = TestProcess::run(QCoreApplication::applicationFilePath(), options, 600000);
    struct rusage usage{};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    Scenario::report(QStringLiteral("done"), result.succeeded() && result.out.contains("@done=true"));
    Scenario::report(QStringLiteral("peakKiB"), qint64(usage.ru_maxrss));
}

namespace {

// Large enough that a conversion takes a while; smaller where everything
// runs several times slower.
int killTestRecords()
{
    return TestProcess::runsSlowly() ? (512 << 10) : (4 << 20);
}

QByteArray randomRecords(int count, quint32 seed)
{
    QByteArray data(count * 4, '\0');
    QRandomGenerator(seed).fillRange(reinterpret_cast<quint32*>(data.data()), count);
    return data;
}

QByteArray randomBytes(int count, QRandomGenerator& random)
{
    QByteArray data(count, '\0');
    for (char& c : data)
        c = char(random.bounded(256));
    return data;
}

// What a conversion leaves: its result, its messages, every file of its
// folder.
struct Outcome
{
    bool result = false;
    QStringList messages;
    QMap<QString, QByteArray> files;
};

enum class Direction { Export, Import };
enum class Implementation { Library, Reference };

Outcome convertIn(const QString& folder, Direction direction, Implementation implementation)
{
    const QString mfa = folder + QStringLiteral("/points.mfa");
    Outcome outcome;
    {
        CriticalLog log;
        if (direction == Direction::Export)
            outcome.result = implementation == Implementation::Library ? ChangeMfaToTxt(mfa) : Reference::ChangeMfaToTxt(mfa);
        else
            outcome.result = implementation == Implementation::Library ? ChangeTxtToMfa(mfa) : Reference::ChangeTxtToMfa(mfa);
        outcome.messages = log.messages();
    }
    const QStringList names = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& name : names)
        outcome.files.insert(name, readFile(folder + QLatin1Char('/') + name));
    return outcome;
}

// Converts the same files with the library and with the whole-file
// reference: the same result, messages and files, byte for byte.
void compareWithReference(const QByteArray& mfa, const QByteArray& text, Direction direction)
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QString folders[2];
    for (int i = 0; i < 2; ++i) {
        folders[i] = dir.filePath(i == 0 ? QStringLiteral("library") : QStringLiteral("reference"));
        QVERIFY(QDir().mkpath(folders[i]));
        if (!mfa.isNull())
            QVERIFY(writeFile(folders[i] + QStringLiteral("/points.mfa"), mfa));
        if (!text.isNull())
            QVERIFY(writeFile(folders[i] + QStringLiteral("/points.txt"), text));
    }
    const Outcome library = convertIn(folders[0], direction, Implementation::Library);
    const Outcome reference = convertIn(folders[1], direction, Implementation::Reference);
    QCOMPARE(library.result, reference.result);
    QCOMPARE(library.messages, reference.messages);
    QCOMPARE(library.files.keys(), reference.files.keys());
    for (auto it = library.files.cbegin(); it != library.files.cend(); ++it) {
        const QByteArray& expected = reference.files.value(it.key());
        // Not QCOMPARE: no dump of megabytes on a failure.
        QVERIFY2(it.value() == expected,
                 qPrintable(QStringLiteral("%1 differs: %2 bytes, the reference wrote %3")
                                    .arg(it.key())
                                    .arg(it.value().size())
                                    .arg(expected.size())));
    }
}

// The number of lines the conversions read in text.
int lineCount(const QByteArray& text)
{
    return text.count('\n') + (text.isEmpty() || text.endsWith('\n') ? 0 : 1);
}

// Where the library's text blocks end, and past which a line or a
// descriptor is read in pieces.
constexpr int kBlockBoundary = int(PointFile::kBlockSize);
const char kCancelled[] = "The conversion was cancelled.\n";

} // namespace

class TestPointFile : public QObject
{
    Q_OBJECT

private slots:
    void init();

    // The bounded copy (the checksum has its own test).
    void crossPlatMemcpy();

    // Descriptor.
    void analyticFormat_data();
    void analyticFormat();
    void analyticFormatFailureKeepsEarlierOutputs();

    // Export.
    void exportRecords_data();
    void exportRecords();
    void exportStopsAtTheChecksum();
    void exportReadsNoFurtherThanTheFile();
    void exportIgnoresWhatIsNotAPointFile_data();
    void exportIgnoresWhatIsNotAPointFile();
    void exportChecksumMismatch();
    void exportCannotReadSource();
    void exportReplacesTextFile();
    void exportRawPayload_data();
    void exportRawPayload();
    void textPathPairing_data();
    void textPathPairing();
    void exportCannotOpenOutput();
    void exportOnFullDisk();

    // Import.
    void importEncodesRecords_data();
    void importEncodesRecords();
    void importParsesLines_data();
    void importParsesLines();
    void roundTrip_data();
    void roundTrip();
    void largeRoundTrip();
    void importStoresTheChecksumWhereTold();
    void importLineCount_data();
    void importLineCount();
    void importNothingToDo_data();
    void importNothingToDo();
    void importOfTextFormatWithCodes();
    void importSizeErrors();
    void importOfRemovedRawFile();
    void importHeaderOutsideTheFile_data();
    void importHeaderOutsideTheFile();
    void importCannotWrite();
    void importOnFullDisk();

    // A conversion killed while it writes.
    void killedExportLeavesOldOrNew();
    void killedImportLeavesOldOrNew();

    // The conversions against the whole-file reference.
    void sameAsReferenceOnCorpus_data();
    void sameAsReferenceOnCorpus();
    void sameAsReferenceOnLayouts_data();
    void sameAsReferenceOnLayouts();
    void sameAsReferenceOnLines_data();
    void sameAsReferenceOnLines();
    void sameAsReferenceAfterPlainLines_data();
    void sameAsReferenceAfterPlainLines();
    void sameAsReferenceOnLongDescriptors_data();
    void sameAsReferenceOnLongDescriptors();

    // Progress and cancellation.
    void progressInOrder_data();
    void progressInOrder();
    void cancellationKeepsTheOldFile_data();
    void cancellationKeepsTheOldFile();
    void throwingCallbackCancels_data();
    void throwingCallbackCancels();

    // Memory.
    void largeRoundTripInBoundedMemory();

private:
    QTemporaryDir* m_dir = nullptr;
    QString mfaPath(const QString& name = QStringLiteral("points")) const
    {
        return m_dir->filePath(name + QStringLiteral(".mfa"));
    }
    QString txtPath(const QString& name = QStringLiteral("points")) const
    {
        return m_dir->filePath(name + QStringLiteral(".txt"));
    }
    QScopedPointer<QTemporaryDir> m_ownedDir;
};

void TestPointFile::init()
{
    m_ownedDir.reset(new QTemporaryDir);
    m_dir = m_ownedDir.data();
    QVERIFY(m_dir->isValid());
}

void TestPointFile::crossPlatMemcpy()
{
    char dst[8];
    auto reset = [&dst] { std::memset(dst, 'X', sizeof dst); };

    reset();
    CrossPlatMemcpy_s(dst, 4, "abcde", 5);
    QCOMPARE(QByteArray(dst, 8), QByteArray("\0\0\0\0XXXX", 8));

    reset();
    CrossPlatMemcpy_s(dst, 4, nullptr, 2);
    QCOMPARE(QByteArray(dst, 8), QByteArray("\0\0\0\0XXXX", 8));

    reset();
    CrossPlatMemcpy_s(dst, 4, "ab", 0);
    QCOMPARE(QByteArray(dst, 8), QByteArray("XXXXXXXX"));

    reset();
    CrossPlatMemcpy_s(dst, 4, "abcd", 4);
    QCOMPARE(QByteArray(dst, 8), QByteArray("abcdXXXX"));

    reset();
    CrossPlatMemcpy_s(dst, 8, "ab", 2);
    QCOMPARE(QByteArray(dst, 8), QByteArray("abXXXXXX"));
}

void TestPointFile::analyticFormat_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<uint>("unit");
    QTest::addColumn<uint>("valid");
    QTest::addColumn<uint>("endian");
    QTest::addColumn<uint>("meaning");

    QTest::newRow("4 3 L") << QStringLiteral("Unit:4 Valid:3 Endian:L") << true << 4u << 1u << 1u << 0u;
    QTest::newRow("with meaning x") << QStringLiteral("Unit:4 Valid:3 Endian:L Meaning:x") << true << 4u << 1u << 1u << 1u;
    QTest::newRow("meaning y, any order") << QStringLiteral("Meaning:y;Endian:B,Valid:H Unit:2") << true << 2u << 2u << 0u << 2u;
    QTest::newRow("valid 1") << QStringLiteral("Unit:4 Valid:1 Endian:B") << true << 4u << 0u << 0u << 0u;
    QTest::newRow("valid L") << QStringLiteral("Unit:4 Valid:L Endian:B") << true << 4u << 3u << 0u << 0u;
    QTest::newRow("meaning z") << QStringLiteral("Unit:4 Valid:3 Endian:L Meaning:z") << true << 4u << 1u << 1u << 0u;
    QTest::newRow("meaning X") << QStringLiteral("Unit:4 Valid:3 Endian:L Meaning:X") << true << 4u << 1u << 1u << 0u;
    QTest::newRow("unit 12") << QStringLiteral("Unit:12 Valid:3 Endian:B") << true << 1u << 1u << 0u << 0u;
    QTest::newRow("unit not a digit") << QStringLiteral("Unit:x Valid:3 Endian:B") << true << 0u << 1u << 0u << 0u;
    QTest::newRow("unit at the end") << QStringLiteral("Valid:3 Endian:B Unit:") << true << 0u << 1u << 0u << 0u;
    QTest::newRow("first occurrence") << QStringLiteral("Unit:2 Valid:3 Endian:B Unit:4") << true << 2u << 1u << 0u << 0u;
    QTest::newRow("lower-case b") << QStringLiteral("Unit:2 Valid:L Endian:b") << false << 0u << 0u << 0u << 0u;
    QTest::newRow("no unit") << QStringLiteral("Valid:3 Endian:L Meaning:y") << false << 0u << 0u << 0u << 0u;
    QTest::newRow("no valid") << QStringLiteral("Unit:4 Endian:L") << false << 0u << 0u << 0u << 0u;
    QTest::newRow("valid 2") << QStringLiteral("Unit:4 Valid:2 Endian:L") << false << 0u << 0u << 0u << 0u;
    QTest::newRow("no endian") << QStringLiteral("Unit:4 Valid:3") << false << 0u << 0u << 0u << 0u;
    QTest::newRow("endian at the end") << QStringLiteral("Unit:4 Valid:3 Endian:") << false << 0u << 0u << 0u << 0u;
    QTest::newRow("lower-case key") << QStringLiteral("unit:4 Valid:3 Endian:L") << false << 0u << 0u << 0u << 0u;
    QTest::newRow("Format:txt") << QStringLiteral("Format:txt") << false << 0u << 0u << 0u << 0u;
    QTest::newRow("empty") << QString() << false << 0u << 0u << 0u << 0u;
}

void TestPointFile::analyticFormat()
{
    QFETCH(QString, text);
    QFETCH(bool, ok);
    QFETCH(uint, unit);
    QFETCH(uint, valid);
    QFETCH(uint, endian);
    QFETCH(uint, meaning);

    unsigned int u = 99, v = 99, e = 99, m = 99;
    QCOMPARE(GetAnalyticFormat(text, u, v, e, m), ok);
    if (ok) {
        QCOMPARE(u, unit);
        QCOMPARE(v, valid);
        QCOMPARE(e, endian);
        QCOMPARE(m, meaning);
    }
}

void TestPointFile::analyticFormatFailureKeepsEarlierOutputs()
{
    unsigned int u = 99, v = 99, e = 99, m = 99;
    QVERIFY(!GetAnalyticFormat(QStringLiteral("Unit:2 Valid:L Endian:b"), u, v, e, m));
    QCOMPARE(u, 2u);
    QCOMPARE(v, 3u);
    QCOMPARE(m, 99u);
    QVERIFY(!GetAnalyticFormat(QString(), u, v, e, m));
    QCOMPARE(u, 2u);
}

void TestPointFile::exportRecords_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QByteArray>("records");
    QTest::addColumn<QByteArray>("text");

    const QByteArray four = bytes({1, 2, 3, 4, 0xFF, 0xFE, 0xFD, 0xFC});
    QTest::newRow("unit 1") << descriptor(1, '3', 'L') << bytes({0x12, 0x34, 0xFF}) << QByteArray("18\n52\n255\n");
    QTest::newRow("unit 2 little") << descriptor(2, '3', 'L') << bytes({0x34, 0x12}) << QByteArray("4660\n");
    QTest::newRow("unit 2 big") << descriptor(2, '1', 'B') << bytes({0x12, 0x34}) << QByteArray("4660\n");
    QTest::newRow("unit 4 all little") << descriptor(4, '3', 'L') << four << QByteArray("67305985\n4244504319\n");
    QTest::newRow("unit 4 all big") << descriptor(4, '3', 'B') << four << QByteArray("16909060\n4294901244\n");
    QTest::newRow("unit 4 high little") << descriptor(4, 'H', 'L') << four << QByteArray("1027\n64765\n");
    QTest::newRow("unit 4 high big") << descriptor(4, 'H', 'B') << four << QByteArray("772\n65020\n");
    QTest::newRow("unit 4 low little") << descriptor(4, 'L', 'L') << four << QByteArray("513\n65279\n");
    QTest::newRow("unit 4 low big") << descriptor(4, 'L', 'B') << four << QByteArray("258\n65534\n");
    // Valid 0 and other widths repeat the previous record: zeros at first.
    QTest::newRow("unit 4 valid 0") << descriptor(4, '1', 'L') << four << QByteArray("0\n0\n");
    QTest::newRow("unit 3") << descriptor(3, '3', 'L') << bytes({1, 2, 3, 4, 5, 6}) << QByteArray("0\n0\n");
    QTest::newRow("meaning x") << descriptor(4, '3', 'L', 'x') << bytes({0x0A, 0, 0x14, 0}) << QByteArray("x=10,y=20\n");
    QTest::newRow("meaning y") << descriptor(4, '3', 'L', 'y') << bytes({0x0A, 0, 0x14, 0}) << QByteArray("x=20,y=10\n");
    QTest::newRow("meaning x, unit 2") << descriptor(2, '3', 'L', 'x') << bytes({0x0A, 0}) << QByteArray("x=10,y=0\n");
    QTest::newRow("no records") << descriptor(4, '3', 'L') << QByteArray() << QByteArray();
}

void TestPointFile::exportRecords()
{
    QFETCH(QByteArray, format);
    QFETCH(QByteArray, records);
    QFETCH(QByteArray, text);

    const QByteArray file = Mfa::mfaFile(format, records);
    QVERIFY(writeFile(mfaPath(), file));
    CriticalLog log;
    QVERIFY(ChangeMfaToTxt(mfaPath()));
    QVERIFY(log.messages().isEmpty());
    QCOMPARE(readFile(txtPath()), text);
    QCOMPARE(readFile(mfaPath()), file); // the source stays
}

void TestPointFile::exportStopsAtTheChecksum()
{
    Mfa::Contents contents;
    contents.descriptor = descriptor(2, '3', 'L');
    contents.records = bytes({1, 0, 2, 0, 3, 0});
    contents.crcPlace = Mfa::CrcPlace::AfterRecords;
    QVERIFY(writeFile(mfaPath(), Mfa::mfaFile(contents)));
    QVERIFY(ChangeMfaToTxt(mfaPath()));
    QCOMPARE(readFile(txtPath()), QByteArray("1\n2\n3\n"));
}

void TestPointFile::exportReadsNoFurtherThanTheFile()
{
    // Six data bytes in 4-byte records: the second record is cut short by
    // the end of the file and reads zeros there.
    QVERIFY(writeFile(mfaPath(), Mfa::mfaFile(descriptor(4, '3', 'L'), bytes({1, 0, 0, 0, 2, 1}))));
    QVERIFY(ChangeMfaToTxt(mfaPath()));
    QCOMPARE(readFile(txtPath()), QByteArray("1\n258\n"));
}

void TestPointFile::exportIgnoresWhatIsNotAPointFile_data()
{
    QTest::addColumn<QByteArray>("file");

    Mfa::Contents wrongMagic;
    wrongMagic.descriptor = descriptor(1, '3', 'L');
    wrongMagic.records = "abc";
    wrongMagic.magic = 0x5A5AAA56u;
    QTest::newRow("wrong magic") << Mfa::mfaFile(wrongMagic);

    QByteArray crcBeyond = Mfa::mfaFile(descriptor(1, '3', 'L'), "abc");
    Mfa::putU32(crcBeyond, Mfa::kCrcOffsetField, quint32(crcBeyond.size() + 1));
    QTest::newRow("crcOffset beyond the file") << crcBeyond;

    QByteArray crcAtEnd = Mfa::mfaFile(descriptor(1, '3', 'L'), "abc");
    Mfa::putU32(crcAtEnd, Mfa::kCrcOffsetField, quint32(crcAtEnd.size()));
    QTest::newRow("crcOffset at the end") << crcAtEnd;

    QByteArray crcInLastBytes = Mfa::mfaFile(descriptor(1, '3', 'L'), "abc");
    Mfa::putU32(crcInLastBytes, Mfa::kCrcOffsetField, quint32(crcInLastBytes.size() - 2));
    QTest::newRow("checksum runs past the end") << crcInLastBytes;

    QByteArray dataBeyond = Mfa::mfaFile(descriptor(1, '3', 'L'), "abc");
    Mfa::putU32(dataBeyond, Mfa::kDataOffsetField, quint32(dataBeyond.size() + 1));
    QTest::newRow("dataOffset beyond the file") << dataBeyond;

    QByteArray lengthBeyond = Mfa::mfaFile(descriptor(1, '3', 'L'), "abc");
    Mfa::putU32(lengthBeyond, Mfa::kCrcLengthField, quint32(lengthBeyond.size() + 1));
    QTest::newRow("crcLength beyond the file") << lengthBeyond;

    QByteArray regionBeyond = Mfa::mfaFile(descriptor(1, '3', 'L'), "abc");
    Mfa::putU32(regionBeyond, Mfa::kCrcLengthField, quint32(regionBeyond.size() - 8));
    QTest::newRow("checksum region past the end") << regionBeyond;

    QTest::newRow("empty descriptor") << Mfa::mfaFile(QByteArray(), "abc");
    QTest::newRow("unusable descriptor") << Mfa::mfaFile("Unit:4 Valid:3", "abcd");
    QTest::newRow("record width 0") << Mfa::mfaFile(descriptor(0, '3', 'L'), "abcd");
    QTest::newRow("header only") << QByteArray(20, '\x55');
    QTest::newRow("one byte") << QByteArray(1, '\x55');
    QTest::newRow("descriptor to the end") << [] {
        QByteArray file = Mfa::mfaFile(QByteArray(), QByteArray());
        file.truncate(Mfa::kDescriptorOffset);
        file += "Unit:1 Valid:3 Endian:L";
        Mfa::putU32(file, Mfa::kCrcLengthField, 0);
        Mfa::putU32(file, Mfa::kCrcOffsetField, 4);
        Mfa::putU32(file, 4, 0);
        Mfa::putU32(file, Mfa::kDataOffsetField, quint32(file.size()));
        return file;
    }();
}

void TestPointFile::exportIgnoresWhatIsNotAPointFile()
{
    QFETCH(QByteArray, file);
    QVERIFY(writeFile(mfaPath(), file));
    CriticalLog log;
    QVERIFY(ChangeMfaToTxt(mfaPath()));
    QVERIFY(!QFileInfo::exists(txtPath()) || readFile(txtPath()).isEmpty());
    QVERIFY(log.messages().isEmpty());
    QCOMPARE(readFile(mfaPath()), file);
}

void TestPointFile::exportChecksumMismatch()
{
    Mfa::Contents contents;
    contents.descriptor = descriptor(1, '3', 'L');
    contents.records = "abc";
    contents.validCrc = false;
    QVERIFY(writeFile(mfaPath(), Mfa::mfaFile(contents)));
    {
        // As the header says: false, without a message.
        CriticalLog log;
        QVERIFY(!ChangeMfaToTxt(mfaPath()));
        QCOMPARE(log.messages(), QStringList());
    }
    QVERIFY(!QFileInfo::exists(txtPath()));

    // An earlier text file is left as it was.
    QVERIFY(writeFile(txtPath(), "kept\n"));
    QVERIFY(!ChangeMfaToTxt(mfaPath()));
    QCOMPARE(readFile(txtPath()), QByteArray("kept\n"));
}

void TestPointFile::exportCannotReadSource()
{
    // As the header says: false, without a message.
    CriticalLog log;
    QVERIFY(!ChangeMfaToTxt(mfaPath(QStringLiteral("missing"))));
    QVERIFY(writeFile(mfaPath(QStringLiteral("empty")), QByteArray()));
    QVERIFY(!ChangeMfaToTxt(mfaPath(QStringLiteral("empty"))));
    QVERIFY(!ChangeMfaToTxt(m_dir->path())); // a folder
    QVERIFY(!QFileInfo::exists(txtPath(QStringLiteral("missing"))));
    QVERIFY(!QFileInfo::exists(txtPath(QStringLiteral("empty"))));
    QCOMPARE(log.messages(), QStringList());
}

void TestPointFile::exportReplacesTextFile()
{
    QVERIFY(writeFile(txtPath(), QByteArray(5000, 'z')));
    QVERIFY(writeFile(mfaPath(), Mfa::mfaFile(descriptor(1, '3', 'L'), bytes({7}))));
    QVERIFY(ChangeMfaToTxt(mfaPath()));
    QCOMPARE(readFile(txtPath()), QByteArray("7\n"));
}

void TestPointFile::exportRawPayload_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<bool>("checksumAfter");
    QTest::addColumn<QByteArray>("text");

    const QByteArray payload("line one\nline \xe4\xb8\xad\0two\n", 19);
    QTest::newRow("Format:txt") << QByteArray("Format:txt") << true << payload;
    QTest::newRow("FORMAT:TXT") << QByteArray("FORMAT:TXT") << true << payload;
    QTest::newRow("with more text") << QByteArray("format:TXT;Unit:4") << true << payload;
    // The checksum before the records: nothing lies between them.
    QTest::newRow("checksum first") << QByteArray("Format:txt") << false << QByteArray();
}

void TestPointFile::exportRawPayload()
{
    QFETCH(QByteArray, format);
    QFETCH(bool, checksumAfter);
    QFETCH(QByteArray, text);

    Mfa::Contents contents;
    contents.descriptor = format;
    contents.records = QByteArray("line one\nline \xe4\xb8\xad\0two\n", 19);
    contents.crcPlace = checksumAfter ? Mfa::CrcPlace::AfterRecords : Mfa::CrcPlace::SpareWord;
    QVERIFY(writeFile(mfaPath(), Mfa::mfaFile(contents)));
    QVERIFY(ChangeMfaToTxt(mfaPath()));
    QCOMPARE(readFile(txtPath()), text);
    QVERIFY(!QFileInfo::exists(mfaPath())); // only raw export removes the source
}

void TestPointFile::textPathPairing_data()
{
    QTest::addColumn<QString>("mfa");
    QTest::addColumn<QString>("txt");
    QTest::newRow("pts.mfa") << QStringLiteral("pts.mfa") << QStringLiteral("pts.txt");
    QTest::newRow("no .mfa") << QStringLiteral("pts.dat") << QStringLiteral("pts.dat.txt");
    QTest::newRow("twice") << QStringLiteral("a.mfa.mfa") << QStringLiteral("a.txt");
    QTest::newRow("inside") << QStringLiteral("a.mfab") << QStringLiteral("a.txt");
    QTest::newRow("upper case") << QStringLiteral("pts.MFA") << QStringLiteral("pts.MFA.txt");
    QTest::newRow("folder name") << QStringLiteral("dir.mfa/pts.mfa") << QStringLiteral("dir.txt");
}

void TestPointFile::textPathPairing()
{
    QFETCH(QString, mfa);
    QFETCH(QString, txt);
    const QString source = m_dir->filePath(mfa);
    QVERIFY(writeFile(source, Mfa::mfaFile(descriptor(1, '3', 'L'), bytes({9}))));
    QVERIFY(ChangeMfaToTxt(source));
    QCOMPARE(readFile(m_dir->filePath(txt)), QByteArray("9\n"));

    // And back: the same pairing.
    QVERIFY(writeFile(m_dir->filePath(txt), "8\n"));
    QVERIFY(ChangeTxtToMfa(source));
    QVERIFY(ChangeMfaToTxt(source));
    QCOMPARE(readFile(m_dir->filePath(txt)), QByteArray("8\n"));
}

void TestPointFile::exportCannotOpenOutput()
{
    // The text file's folder does not exist.
    const QString source = m_dir->filePath(QStringLiteral("none.mfa/pts.mfa"));
    QVERIFY(writeFile(source, Mfa::mfaFile(descriptor(1, '3', 'L'), bytes({9}))));
    QVERIFY(QDir(m_dir->path()).rename(QStringLiteral("none.mfa"), QStringLiteral("moved.mfa")));
    const QString moved = m_dir->filePath(QStringLiteral("moved.mfa/pts.mfa"));
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("moved.txt"))); // a folder where the text file goes
    CriticalLog log;
    QVERIFY(!ChangeMfaToTxt(moved));
    QCOMPARE(log.messages(), QStringList{QStringLiteral("Failed to open the file.\n")});

    // An immutable folder takes no new file, not even from root.
    const QString locked = m_dir->filePath(QStringLiteral("locked"));
    QVERIFY(QDir().mkpath(locked));
    QVERIFY(writeFile(locked + QStringLiteral("/pts.mfa"), Mfa::mfaFile(descriptor(1, '3', 'L'), bytes({9}))));
    Immutable immutable(locked);
    if (!immutable.set)
        QSKIP("the immutable attribute cannot be set here");
    CriticalLog lockedLog;
    QVERIFY(!ChangeMfaToTxt(locked + QStringLiteral("/pts.mfa")));
    QCOMPARE(lockedLog.messages(), QStringList{QStringLiteral("Failed to open the file.\n")});
    QVERIFY(!QFileInfo::exists(locked + QStringLiteral("/pts.txt")));
}

void TestPointFile::exportOnFullDisk()
{
    QByteArray records;
    for (int i = 0; i < kFullDiskRecords; ++i)
        records += bytes({0xFF, 0xFF, 0xFF, 0xFF}); // "4294967295\n" each
    QVERIFY(writeFile(mfaPath(), Mfa::mfaFile(descriptor(4, '3', 'L'), records)));
    QVERIFY(writeFile(txtPath(), "earlier\n"));

    Scenario::Options options;
    options.environment.insert(QStringLiteral("CTT_MFA"), mfaPath());
    options.environment.insert(QStringLiteral("CTT_FSIZE"), QStringLiteral("20000"));
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "fullDisk");
    QCOMPARE(run.value("limited"), QStringLiteral("true"));
    QCOMPARE(run.value("export"), QStringLiteral("false"));
    QCOMPARE(run.value("exportLog"), QStringLiteral("Failed to write the file.\n"));
    // Nothing half-written; the earlier text file is still there.
    QCOMPARE(readFile(txtPath()), QByteArray("earlier\n"));
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files).size(), 2);
}

void TestPointFile::importEncodesRecords_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("records");

    const QByteArray value("305419896\n"); // 0x12345678
    QTest::newRow("unit 1") << descriptor(1, '3', 'L') << QByteArray("305419896\n1\n") << bytes({0x78, 0x01});
    QTest::newRow("unit 2 little") << descriptor(2, '3', 'L') << value << bytes({0x78, 0x56});
    QTest::newRow("unit 2 big") << descriptor(2, '3', 'B') << value << bytes({0x56, 0x78});
    QTest::newRow("unit 4 all little") << descriptor(4, '3', 'L') << value << bytes({0x78, 0x56, 0x34, 0x12});
    QTest::newRow("unit 4 all big") << descriptor(4, '3', 'B') << value << bytes({0x12, 0x34, 0x56, 0x78});
    QTest::newRow("unit 4 low little") << descriptor(4, 'L', 'L') << value << bytes({0x78, 0x56, 0xFF, 0xFF});
    QTest::newRow("unit 4 low big") << descriptor(4, 'L', 'B') << value << bytes({0x56, 0x78, 0xFF, 0xFF});
    // The high half, in the other byte order than export reads it.
    QTest::newRow("unit 4 high little") << descriptor(4, 'H', 'L') << value << bytes({0xFF, 0xFF, 0x12, 0x34});
    QTest::newRow("unit 4 high big") << descriptor(4, 'H', 'B') << value << bytes({0xFF, 0xFF, 0x34, 0x12});
    QTest::newRow("unit 4 valid 0") << descriptor(4, '1', 'L') << value << bytes({0xFF, 0xFF, 0xFF, 0xFF});
    QTest::newRow("unit 3") << descriptor(3, '3', 'L') << value << bytes({0xFF, 0xFF, 0xFF});
    QTest::newRow("meaning x") << descriptor(4, '3', 'L', 'x') << QByteArray("x=10,y=20\n") << bytes({10, 0, 20, 0});
    QTest::newRow("meaning y") << descriptor(4, '3', 'L', 'y') << QByteArray("x=10,y=20\n") << bytes({20, 0, 10, 0});
}

void TestPointFile::importEncodesRecords()
{
    QFETCH(QByteArray, format);
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, records);

    const QByteArray before = Mfa::mfaFile(format, QByteArray(records.size(), '\x5A'));
    QVERIFY(writeFile(mfaPath(), before));
    QVERIFY(writeFile(txtPath(), text));
    CriticalLog log;
    QVERIFY(ChangeTxtToMfa(mfaPath()));
    QVERIFY(log.messages().isEmpty());

    const QByteArray after = readFile(mfaPath());
    QCOMPARE(after.size(), before.size());
    QCOMPARE(after.mid(Mfa::kMfaDataOffset), records);
    // Everything before the records but the checksum is kept.
    QCOMPARE(after.left(4), before.left(4));
    QCOMPARE(after.mid(8, Mfa::kMfaDataOffset - 8), before.mid(8, Mfa::kMfaDataOffset - 8));
    QCOMPARE(Mfa::getU32(after, 4), Mfa::expectedCrc(after));
}

void TestPointFile::importParsesLines_data()
{
    QTest::addColumn<char>("meaning");
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<quint32>("value");

    QTest::newRow("plain") << '\0' << QByteArray("42\n") << 42u;
    QTest::newRow("no line end") << '\0' << QByteArray("42") << 42u;
    QTest::newRow("blanks") << '\0' << QByteArray("  42 \t\n") << 42u;
    QTest::newRow("CRLF") << '\0' << QByteArray("42\r\n") << 42u;
    QTest::newRow("largest") << '\0' << QByteArray("4294967295\n") << 0xFFFFFFFFu;
    QTest::newRow("too large") << '\0' << QByteArray("4294967296\n") << 0u;
    QTest::newRow("negative") << '\0' << QByteArray("-1\n") << 0u;
    QTest::newRow("word") << '\0' << QByteArray("abc\n") << 0u;
    QTest::newRow("hexadecimal") << '\0' << QByteArray("0x10\n") << 0u;
    QTest::newRow("empty line") << '\0' << QByteArray("\n") << 0u;
    QTest::newRow("cut at NUL") << '\0' << QByteArray("12\0" "34\n", 6) << 12u;
    QTest::newRow("pair") << 'x' << QByteArray("x=10,y=20\n") << 10u + (20u << 16);
    QTest::newRow("pair, y first in value") << 'y' << QByteArray("x=10,y=20\n") << 20u + (10u << 16);
    QTest::newRow("pair with blanks") << 'x' << QByteArray("x= 10 ,y= 20 \n") << 10u + (20u << 16);
    QTest::newRow("x above 16 bits") << 'x' << QByteArray("x=70000,y=1\n") << (70000u & 0xFFFFu) + (1u << 16);
    QTest::newRow("y above 16 bits") << 'x' << QByteArray("x=1,y=70000\n") << 1u + (70000u << 16);
    QTest::newRow("pair reordered") << 'x' << QByteArray("y=2,x=1\n") << 1u; // x runs from "x=" to the end, y is unreadable
    QTest::newRow("no comma") << 'x' << QByteArray("x=1 y=2\n") << 0u + (2u << 16);
    QTest::newRow("garbage") << 'x' << QByteArray("hello\n") << 0u;
    QTest::newRow("CRLF pair") << 'x' << QByteArray("x=3,y=4\r\n") << 3u + (4u << 16);
    QTest::newRow("UTF-8 around") << 'x' << QByteArray("\xe4\xb8\xadx=3,y=4\n") << 3u + (4u << 16);
}

void TestPointFile::importParsesLines()
{
    QFETCH(char, meaning);
    QFETCH(QByteArray, line);
    QFETCH(quint32, value);

    QVERIFY(writeFile(mfaPath(), Mfa::mfaFile(descriptor(4, '3', 'L', meaning), QByteArray(4, '\0'))));
    QVERIFY(writeFile(txtPath(), line));
    QVERIFY(ChangeTxtToMfa(mfaPath()));
    QCOMPARE(Mfa::getU32(readFile(mfaPath()), Mfa::kMfaDataOffset), value);
}

void TestPointFile::roundTrip_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QByteArray>("records");

    QRandomGenerator random(61);
    QByteArray data(4096, '\0');
    for (char& c : data)
        c = char(random.bounded(256));
    QByteArray lowHalves = data;
    for (int i = 2; i < lowHalves.size(); i += 4)
        lowHalves[i] = lowHalves[i + 1] = char(0xFF); // import leaves these bytes at 0xFF

    for (char endian : {'L', 'B'}) {
        for (char meaning : {char(0), 'x', 'y'}) {
            const QByteArray suffix = QByteArray(" ") + endian + (meaning ? QByteArray(" ") + meaning : QByteArray());
            QTest::newRow(("unit 1" + suffix).constData()) << descriptor(1, '3', endian, meaning) << data;
            QTest::newRow(("unit 2" + suffix).constData()) << descriptor(2, '3', endian, meaning) << data;
            QTest::newRow(("unit 4 all" + suffix).constData()) << descriptor(4, '3', endian, meaning) << data;
            QTest::newRow(("unit 4 low" + suffix).constData()) << descriptor(4, 'L', endian, meaning) << lowHalves;
        }
    }
}

void TestPointFile::roundTrip()
{
    QFETCH(QByteArray, format);
    QFETCH(QByteArray, records);

    const QByteArray file = Mfa::mfaFile(format, records);
    QVERIFY(writeFile(mfaPath(), file));
    QVERIFY(ChangeMfaToTxt(mfaPath()));
    const QByteArray text = readFile(txtPath());
    QVERIFY(!text.isEmpty());
    QVERIFY(writeFile(mfaPath(), Mfa::mfaFile(format, QByteArray(records.size(), '\0'))));
    QVERIFY(ChangeTxtToMfa(mfaPath()));
    QCOMPARE(readFile(mfaPath()), file);
}

void TestPointFile::largeRoundTrip()
{
    // 400 000 records of every kind of value.
    constexpr int kRecords = 400000;
    QByteArray records(kRecords * 4, '\0');
    QRandomGenerator random(400000);
    random.fillRange(reinterpret_cast<quint32*>(records.data()), kRecords);
    const QByteArray format = descriptor(4, '3', 'B', 'y');
    const QByteArray file = Mfa::mfaFile(format, records);
    QVERIFY(writeFile(mfaPath(), file));
    QVERIFY(ChangeMfaToTxt(mfaPath()));
    QCOMPARE(readFile(txtPath()).count('\n'), kRecords);
    QVERIFY(writeFile(mfaPath(), Mfa::mfaFile(format, QByteArray(records.size(), '\0'))));
    QVERIFY(ChangeTxtToMfa(mfaPath()));
    QVERIFY(readFile(mfaPath()) == file); // not QCOMPARE: no 1.6 MB dump on failure
}

void TestPointFile::importStoresTheChecksumWhereTold()
{
    // The checksum goes to crcOffset wherever that is, also inside the
    // records (which it then overwrites).
    QByteArray file = Mfa::mfaFile(descriptor(1, '3', 'L'), QByteArray(8, '\0'));
    Mfa::putU32(file, Mfa::kCrcOffsetField, 12);
    QVERIFY(writeFile(mfaPath(), file));
    QVERIFY(writeFile(txtPath(), "1\n2\n3\n4\n5\n6\n7\n8\n"));
    QVERIFY(ChangeTxtToMfa(mfaPath()));
    QByteArray after = readFile(mfaPath());
    QCOMPARE(after.mid(Mfa::kMfaDataOffset), bytes({1, 2, 3, 4, 5, 6, 7, 8}));
    QCOMPARE(Mfa::getU32(after, 12), Mfa::expectedCrc(after));
    QCOMPARE(Mfa::getU32(after, 4), Mfa::getU32(file, 4)); // the old place is left alone

    QByteArray inRecords = Mfa::mfaFile(descriptor(1, '3', 'L'), QByteArray(8, '\0'));
    Mfa::putU32(inRecords, Mfa::kCrcOffsetField, quint32(Mfa::kMfaDataOffset + 4));
    Mfa::putU32(inRecords, Mfa::kCrcLengthField, quint32(Mfa::kMfaDataOffset - 16));
    QVERIFY(writeFile(mfaPath(), inRecords));
    QVERIFY(ChangeTxtToMfa(mfaPath()));
    after = readFile(mfaPath());
    QCOMPARE(after.mid(Mfa::kMfaDataOffset, 4), bytes({1, 2, 3, 4}));
    QCOMPARE(Mfa::getU32(after, Mfa::kMfaDataOffset + 4), Mfa::expectedCrc(after));
}

void TestPointFile::importLineCount_data()
{
    QTest::addColumn<int>("unit");
    QTest::addColumn<int>("dataBytes");
    QTest::addColumn<int>("lines");
    QTest::addColumn<QString>("message");

    QTest::newRow("one more") << 4 << 16 << 5 << QStringLiteral("The text file size is too large.\n");
    QTest::newRow("one fewer") << 4 << 16 << 3 << QStringLiteral("The text file size is not correct.\n");
    QTest::newRow("not a multiple, fewer") << 4 << 18 << 4 << QStringLiteral("The text file size is not correct.\n");
    QTest::newRow("not a multiple, more") << 4 << 18 << 5 << QStringLiteral("The text file size is not correct.\n");
    QTest::newRow("not a multiple, many") << 4 << 18 << 6 << QStringLiteral("The text file size is too large.\n");
    QTest::newRow("no records") << 2 << 0 << 1 << QStringLiteral("The text file size is too large.\n");
    QTest::newRow("width 0") << 0 << 4 << 3 << QStringLiteral("The text file size is not correct.\n");
    QTest::newRow("width 3") << 3 << 6 << 3 << QStringLiteral("The text file size is too large.\n");
}

void TestPointFile::importLineCount()
{
    QFETCH(int, unit);
    QFETCH(int, dataBytes);
    QFETCH(int, lines);
    QFETCH(QString, message);

    const QByteArray file = Mfa::mfaFile(descriptor(unit, '3', 'L'), QByteArray(dataBytes, '\x11'));
    QVERIFY(writeFile(mfaPath(), file));
    QByteArray text;
    for (int i = 0; i < lines; ++i)
        text += "7\n";
    QVERIFY(writeFile(txtPath(), text));
    CriticalLog log;
    QVERIFY(!ChangeTxtToMfa(mfaPath()));
    QCOMPARE(log.messages(), QStringList{message});
    QCOMPARE(readFile(mfaPath()), file); // left as it was
}

void TestPointFile::importNothingToDo_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<bool>("withText");
    QTest::newRow("no text file") << descriptor(1, '3', 'L') << false;
    QTest::newRow("empty descriptor") << QByteArray() << true;
    QTest::newRow("unusable descriptor") << QByteArray("Unit:1 Valid:9 Endian:L") << true;
    QTest::newRow("raw file") << QByteArray("Format:txt") << true;
}

void TestPointFile::importNothingToDo()
{
    QFETCH(QByteArray, format);
    QFETCH(bool, withText);

    const QByteArray file = Mfa::mfaFile(format, "abcd");
    QVERIFY(writeFile(mfaPath(), file));
    if (withText)
        QVERIFY(writeFile(txtPath(), "1\n2\n3\n4\n"));
    CriticalLog log;
    QVERIFY(ChangeTxtToMfa(mfaPath()));
    QVERIFY(log.messages().isEmpty());
    QCOMPARE(readFile(mfaPath()), file);
}

void TestPointFile::importOfTextFormatWithCodes()
{
    // The codes make the descriptor usable: the text is imported as records,
    // although the export writes such a file's payload as it is.
    const QByteArray format = "Format:txt Unit:1 Valid:3 Endian:L";
    QVERIFY(writeFile(mfaPath(), Mfa::mfaFile(format, "abcd")));
    QVERIFY(writeFile(txtPath(), "1\n2\n3\n4\n"));
    CriticalLog log;
    QVERIFY(ChangeTxtToMfa(mfaPath()));
    QVERIFY(log.messages().isEmpty());
    QCOMPARE(readFile(mfaPath()), Mfa::mfaFile(format, QByteArray("\x01\x02\x03\x04", 4)));
}

void TestPointFile::importSizeErrors()
{
    // An empty text file.
    QVERIFY(writeFile(mfaPath(), Mfa::mfaFile(descriptor(1, '3', 'L'), "a")));
    QVERIFY(writeFile(txtPath(), QByteArray()));
    {
        CriticalLog log;
        QVERIFY(!ChangeTxtToMfa(mfaPath()));
        QCOMPARE(log.messages(), QStringList{QStringLiteral("File size error.\n")});
    }
    // An empty point file.
    QVERIFY(writeFile(txtPath(), "1\n"));
    QVERIFY(writeFile(mfaPath(), QByteArray()));
    {
        CriticalLog log;
        QVERIFY(!ChangeTxtToMfa(mfaPath()));
        QCOMPARE(log.messages(), QStringList{QStringLiteral("File size error.\n")});
    }
    // A text file that is a folder.
    QVERIFY(QFile::remove(txtPath()));
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("points.txt")));
    {
        CriticalLog log;
        QVERIFY(!ChangeTxtToMfa(mfaPath()));
        QCOMPARE(log.messages().size(), 1);
    }
}

void TestPointFile::importOfRemovedRawFile()
{
    Mfa::Contents contents;
    contents.descriptor = "Format:txt";
    contents.records = "payload";
    contents.crcPlace = Mfa::CrcPlace::AfterRecords;
    QVERIFY(writeFile(mfaPath(), Mfa::mfaFile(contents)));
    QVERIFY(ChangeMfaToTxt(mfaPath()));
    QVERIFY(!QFileInfo::exists(mfaPath()));

    // Opened for reading and writing, the missing file is created empty.
    CriticalLog log;
    QVERIFY(!ChangeTxtToMfa(mfaPath()));
    QCOMPARE(log.messages(), QStringList{QStringLiteral("File size error.\n")});
    QVERIFY(QFileInfo::exists(mfaPath()));
    QCOMPARE(QFileInfo(mfaPath()).size(), 0);
    QCOMPARE(readFile(txtPath()), QByteArray("payload"));
}

void TestPointFile::importHeaderOutsideTheFile_data()
{
    QTest::addColumn<int>("field");
    QTest::addColumn<qint64>("value"); // relative to the file size when negative

    QTest::newRow("dataOffset past the end") << Mfa::kDataOffsetField << qint64(1);
    QTest::newRow("dataOffset far away") << Mfa::kDataOffsetField << qint64(0xFFFFFFFFu);
    QTest::newRow("crcOffset at the end") << Mfa::kCrcOffsetField << qint64(0);
    QTest::newRow("crcOffset far away") << Mfa::kCrcOffsetField << qint64(0xFFFFFFF0u);
    QTest::newRow("crcLength past the end") << Mfa::kCrcLengthField << qint64(-15);
    QTest::newRow("crcLength far away") << Mfa::kCrcLengthField << qint64(0xFFFFFFFFu);
}

void TestPointFile::importHeaderOutsideTheFile()
{
    QFETCH(int, field);
    QFETCH(qint64, value);

    QByteArray file = Mfa::mfaFile(descriptor(1, '3', 'L'), "ab");
    const qint64 size = file.size();
    const qint64 absolute = value > 0xFFFF ? value : size + value;
    Mfa::putU32(file, field, quint32(absolute));
    QVERIFY(writeFile(mfaPath(), file));
    QVERIFY(writeFile(txtPath(), "1\n2\n"));
    CriticalLog log;
    QVERIFY(!ChangeTxtToMfa(mfaPath()));
    QCOMPARE(log.messages(),
             QStringList{QStringLiteral("The header places the records or the checksum outside the file.\n")});
    QCOMPARE(readFile(mfaPath()), file);
}

void TestPointFile::importCannotWrite()
{
    const QString locked = m_dir->filePath(QStringLiteral("locked"));
    QVERIFY(QDir().mkpath(locked));
    const QString mfa = locked + QStringLiteral("/pts.mfa");
    const QByteArray file = Mfa::mfaFile(descriptor(1, '3', 'L'), "ab");
    QVERIFY(writeFile(mfa, file));
    QVERIFY(writeFile(locked + QStringLiteral("/pts.txt"), "1\n2\n"));
    Immutable immutable(locked);
    if (!immutable.set)
        QSKIP("the immutable attribute cannot be set here");
    CriticalLog log;
    QVERIFY(!ChangeTxtToMfa(mfa));
    QCOMPARE(log.messages(), QStringList{QStringLiteral("Failed to open the file.\n")});
    QCOMPARE(readFile(mfa), file);
}

void TestPointFile::importOnFullDisk()
{
    QByteArray records(kFullDiskRecords * 4, '\0');
    const QByteArray file = Mfa::mfaFile(descriptor(4, '3', 'L'), records);
    QVERIFY(writeFile(mfaPath(), file));
    QByteArray text;
    for (int i = 0; i < kFullDiskRecords; ++i)
        text += QByteArray::number(i) + '\n';
    QVERIFY(writeFile(txtPath(), text));

    Scenario::Options options;
    options.environment.insert(QStringLiteral("CTT_MFA"), mfaPath());
    options.environment.insert(QStringLiteral("CTT_FSIZE"), QString::number(file.size() / 2));
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "fullDiskImport");
    QCOMPARE(run.value("limited"), QStringLiteral("true"));
    QCOMPARE(run.value("import"), QStringLiteral("false"));
    QCOMPARE(run.value("importLog"), QStringLiteral("Failed to write the file.\n"));
    QCOMPARE(readFile(mfaPath()), file);
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files).size(), 2);
}

void TestPointFile::killedExportLeavesOldOrNew()
{
    Scenario::Run run;
    const int records = killTestRecords();
    const QString mfa = run.appDir() + QStringLiteral("/points.mfa");
    QVERIFY(writeFile(mfa, Mfa::mfaFile("Unit:4 Valid:3 Endian:L", randomRecords(records, 61))));

    Faults::KillTest test;
    test.program = run.childProgram();
    test.options = run.childOptions("convertPoints", {{QStringLiteral("CTT_MFA"), mfa},
                                                      {QStringLiteral("CTT_DIRECTION"), QStringLiteral("export")}});
    test.marker = "@writing=true";
    test.target = run.appDir() + QStringLiteral("/points.txt");
    test.oldContent = "a text that was there before\n";
    // The new text under its staging name, when the kill lands between
    // its naming and its renaming: the next conversion removes it.
    test.tolerated = QStringList{QStringLiteral(".commontools-points.txt.*")};
    test.seed = 6101;
    const Faults::KillReport report = Faults::killDuringWrites(test);
    qInfo("ChangeMfaToTxt of %d records: %s", records, qPrintable(report.summary()));
    QVERIFY2(report.failures.isEmpty(), qPrintable(report.failures.join(QLatin1Char('\n'))));
    QCOMPARE(report.kills, test.kills);
    QVERIFY(report.killedDuringWrite >= report.kills / 2);
}

void TestPointFile::killedImportLeavesOldOrNew()
{
    Scenario::Run run;
    const int records = killTestRecords();
    const QString mfa = run.appDir() + QStringLiteral("/points.mfa");
    // The text holds other values than the file, one per record.
    QByteArray text;
    text.reserve(records * 11);
    const QByteArray values = randomRecords(records, 62);
    const auto* numbers = reinterpret_cast<const quint32*>(values.constData());
    for (int i = 0; i < records; ++i)
        text += QByteArray::number(numbers[i]) + '\n';
    QVERIFY(writeFile(run.appDir() + QStringLiteral("/points.txt"), text));

    Faults::KillTest test;
    test.program = run.childProgram();
    test.options = run.childOptions("convertPoints", {{QStringLiteral("CTT_MFA"), mfa},
                                                      {QStringLiteral("CTT_DIRECTION"), QStringLiteral("import")}});
    test.marker = "@writing=true";
    test.target = mfa;
    test.oldContent = Mfa::mfaFile("Unit:4 Valid:3 Endian:L", randomRecords(records, 61));
    test.tolerated = QStringList{QStringLiteral(".commontools-points.mfa.*")};
    test.seed = 6102;
    const Faults::KillReport report = Faults::killDuringWrites(test);
    qInfo("ChangeTxtToMfa of %d records: %s", records, qPrintable(report.summary()));
    QVERIFY2(report.failures.isEmpty(), qPrintable(report.failures.join(QLatin1Char('\n'))));
    QCOMPARE(report.kills, test.kills);
    QVERIFY(report.killedDuringWrite >= report.kills / 2);
}

void TestPointFile::sameAsReferenceOnCorpus_data()
{
    QTest::addColumn<QByteArray>("mfa");
    QTest::addColumn<QByteArray>("text");

    // The export target's seeds are point files; the import target's are
    // the point file's length in two bytes, the point file, then the text.
    const QString corpus = TestFiles::locate("COMMONTOOLS_TEST_CORPUS", COMMONTOOLS_SOURCE_DIR "/fuzz/corpus") + QLatin1Char('/');
    const QDir exports(corpus + QStringLiteral("mfa_to_txt"));
    for (const QString& name : exports.entryList(QDir::Files))
        QTest::newRow(qPrintable(QStringLiteral("mfa_to_txt/") + name)) << readFile(exports.filePath(name)) << QByteArray();
    int pairs = 0;
    for (const QString& target : {QStringLiteral("txt_to_mfa"), QStringLiteral("pointfile_compare")}) {
        const QDir imports(corpus + target);
        for (const QString& name : imports.entryList(QDir::Files)) {
            const QByteArray input = readFile(imports.filePath(name));
            const int mfaSize = qMin(int(quint8(input.at(0)) | quint8(input.at(1)) << 8), input.size() - 2);
            QTest::newRow(qPrintable(target + QLatin1Char('/') + name)) << input.mid(2, mfaSize) << input.mid(2 + mfaSize);
            ++pairs;
        }
    }
    QVERIFY(exports.entryList(QDir::Files).size() > 0 && pairs > 0);
}

void TestPointFile::sameAsReferenceOnCorpus()
{
    QFETCH(QByteArray, mfa);
    QFETCH(QByteArray, text);
    compareWithReference(mfa, text.isEmpty() ? QByteArray() : text, Direction::Export);
    compareWithReference(mfa, text.isEmpty() ? QByteArray() : text, Direction::Import);
}

void TestPointFile::sameAsReferenceOnLayouts_data()
{
    QTest::addColumn<QByteArray>("mfa");
    QTest::addColumn<QByteArray>("text");

    // Every width, valid part, byte order and meaning; the text is another
    // file's, so that the import changes the records, and every few rows
    // it has a line more or fewer, other line ends, blanks or no last line
    // end.
    QRandomGenerator random(1906);
    const QByteArray valids("13HL");
    const QByteArray endians("LB");
    const char meanings[] = {0, 'x', 'y'};
    int row = 0;
    for (int unit = 0; unit <= 9; ++unit) {
        for (char valid : valids) {
            for (char endian : endians) {
                for (char meaning : meanings) {
                    const QByteArray format = descriptor(unit, valid, endian, meaning);
                    const int records = int(random.bounded(40));
                    Mfa::Contents contents;
                    contents.descriptor = format;
                    contents.records = randomBytes(records * unit + (row % 4 == 0 ? int(random.bounded(3)) : 0), random);
                    contents.crcPlace = row % 5 == 0 ? Mfa::CrcPlace::AfterRecords : Mfa::CrcPlace::SpareWord;
                    const QByteArray mfa = Mfa::mfaFile(contents);

                    QByteArrayList lines;
                    for (int i = 0; i < records; ++i) {
                        const QByteArray number = QByteArray::number(random.generate() >> random.bounded(32));
                        lines << (meaning ? "x=" + number + ",y=" + QByteArray::number(random.bounded(70000)) : number);
                    }
                    if (row % 6 == 1)
                        lines << "7";
                    if (row % 6 == 2 && !lines.isEmpty())
                        lines.removeLast();
                    QByteArray text = lines.join('\n') + '\n';
                    if (row % 6 == 3)
                        text.replace("\n", "\r\n");
                    if (row % 6 == 4)
                        text.replace("\n", " \t\n");
                    if (row % 6 == 5 && text.size() > 1)
                        text.chop(1);
                    QTest::newRow(qPrintable(QStringLiteral("%1, variant %2").arg(QLatin1String(format)).arg(row % 6)))
                            << mfa << text;
                    ++row;
                }
            }
        }
    }

    // Several blocks, converted by several threads, lines across the
    // blocks' ends.
    for (const QByteArray& format : {QByteArray("Unit:4 Valid:3 Endian:L"), QByteArray("Unit:2 Valid:3 Endian:B Meaning:x"),
                                     QByteArray("Unit:1 Valid:3 Endian:L"), QByteArray("Unit:3 Valid:3 Endian:L")}) {
        const QByteArray records = randomRecords(150000, quint32(format.size()));
        QByteArray text;
        const int unit = format.at(5) - '0';
        for (int i = 0; i < records.size() / unit; ++i)
            text += QByteArray::number(random.bounded(70000u)) + (i % 7 == 0 ? "\r\n" : "\n");
        if (format.contains("Meaning"))
            text.replace("\n", ",y=5\n").prepend("x=");
        QTest::newRow(qPrintable(QStringLiteral("blocks, ") + QLatin1String(format)))
                << Mfa::mfaFile(format, records) << text;
    }
}

void TestPointFile::sameAsReferenceOnLayouts()
{
    QFETCH(QByteArray, mfa);
    QFETCH(QByteArray, text);
    compareWithReference(mfa, QByteArray(), Direction::Export);
    compareWithReference(mfa, text, Direction::Import);
}

void TestPointFile::sameAsReferenceOnLines_data()
{
    QTest::addColumn<char>("meaning");
    QTest::addColumn<QByteArray>("text");

    // Lines longer than a block are read in pieces: they must read as the
    // whole line does, whatever falls on the pieces' ends.
    const QByteArray blanks(kBlockBoundary + 1000, ' ');
    const QByteArray zeros(kBlockBoundary + 3, '0');
    QByteArray ideographicSpaces;
    while (ideographicSpaces.size() < kBlockBoundary + 5000)
        ideographicSpaces += "\xe3\x80\x80"; // U+3000, a blank
    QByteArray mixed;
    QRandomGenerator random(42);
    const QByteArray pieces[] = {" ", "\t", "0", "1", "+", "-", "x=", "y=", ",", "\xc2\xa0", "\xe3\x80\x80",
                                 "\xef\xbb\xbf", "\xe4\xb8\xad", "\xe4", "\x80", "a", "\r"};
    while (mixed.size() < kBlockBoundary + 100)
        mixed += pieces[random.bounded(int(std::size(pieces)))];

    struct Row
    {
        const char* name;
        QByteArray text;
    };
    const QByteArray normal = "1\n22\n333\n";
    const Row rows[] = {
        {"blanks around", blanks + "123" + blanks + "\n" + normal},
        {"leading zeros", zeros + "4294967295\n" + normal},
        {"leading zeros, too large", zeros + "4294967296\n" + normal},
        {"plus sign", blanks + "+77\n" + normal},
        {"minus sign", blanks + "-77\n" + normal},
        {"blank inside", "12" + blanks + "34\n" + normal},
        {"ideographic spaces", ideographicSpaces + "9" + ideographicSpaces + "\n" + normal},
        {"byte order mark first", "\xef\xbb\xbf" + blanks + "8\n" + normal},
        {"byte order mark later", blanks + "\xef\xbb\xbf" "8\n" + normal},
        {"cut at NUL", "12" + QByteArray(1, '\0') + blanks + "x\n" + normal},
        {"NUL after the block", blanks + "5" + QByteArray(1, '\0') + "junk\n" + normal},
        {"invalid UTF-8", QByteArray(kBlockBoundary + 7, '\x80') + "5\n" + normal},
        {"pair far apart", "x=" + blanks + "5" + blanks + ",y=" + blanks + "7\n" + normal},
        {"pair, comma first", "," + blanks + "x=5 y=6\n" + normal},
        {"pair without x", "y=6" + blanks + ",9\n" + normal},
        {"pair without anything", "7" + blanks + "\n" + normal},
        {"mixed", mixed + "\n" + normal},
        {"mixed, twice", mixed + "\n" + mixed + mixed + "\n"},
        {"long last line", normal + blanks + "6"},
        {"long last line with CR", normal + blanks + "6\r"},
        {"only a long line", blanks + "3\n"},
        {"empty lines", QByteArray(kBlockBoundary + 10, '\n')},
        {"CR lines", QByteArray("\r\n\r\r\n \r\n") + normal},
    };
    for (const Row& row : rows) {
        for (char meaning : {char(0), 'x', 'y'}) {
            QTest::newRow(qPrintable(QStringLiteral("%1, meaning %2").arg(QLatin1String(row.name)).arg(meaning ? meaning : '0')))
                    << meaning << row.text;
        }
    }
}

void TestPointFile::sameAsReferenceOnLines()
{
    QFETCH(char, meaning);
    QFETCH(QByteArray, text);
    // As many records as lines, so that the values are written.
    const QByteArray mfa = Mfa::mfaFile(descriptor(4, '3', 'L', meaning), QByteArray(lineCount(text) * 4, '\x33'));
    compareWithReference(mfa, text, Direction::Import);
    // A record width of 2 and of 3 (one that no value reaches).
    compareWithReference(Mfa::mfaFile(descriptor(2, '3', 'B', meaning), QByteArray(lineCount(text) * 2, '\x33')), text,
                         Direction::Import);
    compareWithReference(Mfa::mfaFile(descriptor(3, '3', 'B', meaning), QByteArray(lineCount(text) * 3, '\x33')), text,
                         Direction::Import);
}

void TestPointFile::sameAsReferenceAfterPlainLines_data()
{
    QTest::addColumn<QByteArray>("line");

    // What may follow a line's digits: ":" is what a line end reads as
    // after the XOR of each byte with '0', and 0xFF carries into the byte
    // after it when eight bytes are checked at once.
    const QByteArray endings[][2] = {{"line end", "\n"},  {"CR LF", "\r\n"},         {"letter", "a\n"},
                                     {"blank", " \n"},    {"NUL", QByteArray("\0" "9\n", 3)}, {"CR", "\r"},
                                     {"colon", ":\n"},    {"byte 0xFF", "\xff" "9\n"},   {"UTF-8", "\xc3\xa9\n"}};
    const QByteArray digits = "12345678901234";
    for (const auto& ending : endings) {
        for (int length = 0; length <= digits.size(); ++length)
            QTest::addRow("%s, %d digits", ending[0].constData(), length) << digits.left(length) + ending[1];
    }
}

// Plain lines of digits are read by a quicker path until the first line
// that is anything else: the line first, and after values of eight to ten
// digits, with more text after it. (That the quicker path is taken at all
// shows in the benchmark, not here.)
void TestPointFile::sameAsReferenceAfterPlainLines()
{
    QFETCH(QByteArray, line);

    const QByteArray plain = "7\n12345678\n123456789\n4294967295\n4294967296\n9999999999\n0000000000\n99999999\n"
                             "999999999\n0000000001\n";
    const QByteArray after = "4000000000\n4000000000\n4000000000";
    for (const QByteArray& text : {line + after, plain + line + after}) {
        compareWithReference(Mfa::mfaFile(descriptor(4, '3', 'L'), QByteArray(lineCount(text) * 4, '\x33')), text,
                             Direction::Import);
        compareWithReference(Mfa::mfaFile(descriptor(2, '3', 'B'), QByteArray(lineCount(text) * 2, '\x33')), text,
                             Direction::Import);
    }
}

void TestPointFile::sameAsReferenceOnLongDescriptors_data()
{
    QTest::addColumn<QByteArray>("format");

    // The descriptor is read in blocks from offset 120: keys across a
    // block's end, and keys far into it.
    const int boundary = kBlockBoundary; // from the descriptor's start
    const QByteArray keys("Unit:4 Valid:3 Endian:L Meaning:y");
    for (int cut = 1; cut < 9; ++cut)
        QTest::newRow(qPrintable(QStringLiteral("key across, %1").arg(cut))) << QByteArray(boundary - cut, 'z') + keys;
    QTest::newRow("far") << QByteArray(3 * boundary, '-') + keys;
    QTest::newRow("character after at the end") << QByteArray(boundary - 6, 'z') + "Unit:4" + QByteArray(boundary, '.') + "Valid:3 Endian:B";
    QTest::newRow("Format:txt, long") << QByteArray("Format:txt") + QByteArray(boundary + 5, 'q');
    QTest::newRow("format:TXT and keys") << QByteArray("format:TXT ") + QByteArray(boundary, ' ') + keys;
    QTest::newRow("keys twice") << keys + QByteArray(boundary, ' ') + "Unit:2 Valid:L Endian:B";
    QTest::newRow("valid missing") << QByteArray(boundary - 3, 'v') + "Unit:4 Endian:L";
}

void TestPointFile::sameAsReferenceOnLongDescriptors()
{
    QFETCH(QByteArray, format);
    Mfa::Contents contents;
    contents.descriptor = format;
    contents.dataOffset = quint32(Mfa::kDescriptorOffset + format.size() + 1);
    contents.records = randomRecords(100, 7);
    contents.crcPlace = Mfa::CrcPlace::AfterRecords;
    const QByteArray mfa = Mfa::mfaFile(contents);
    QByteArray text;
    for (int i = 0; i < 400; ++i)
        text += QByteArray::number(i * 7) + '\n';
    compareWithReference(mfa, QByteArray(), Direction::Export);
    compareWithReference(mfa, text, Direction::Import);
    compareWithReference(mfa, text.left(text.size() / 4), Direction::Import);
}

namespace {

// A point file of records and its text beside it, both large enough to be
// converted in many blocks, each a percent of the file or less.
constexpr int kProgressRecords = 3 << 20;

bool writeProgressFiles(const QString& mfa, const QString& txt)
{
    const QByteArray file = Mfa::mfaFile("Unit:4 Valid:3 Endian:L", randomRecords(kProgressRecords, 31));
    return writeFile(mfa, file) && Reference::ChangeMfaToTxt(mfa) && QFileInfo(txt).size() > PointFile::kMinBlocks * PointFile::kMinBlockSize;
}

} // namespace

void TestPointFile::progressInOrder_data()
{
    QTest::addColumn<bool>("exporting");
    QTest::newRow("export") << true;
    QTest::newRow("import") << false;
}

void TestPointFile::progressInOrder()
{
    QFETCH(bool, exporting);
    QVERIFY(writeProgressFiles(mfaPath(), txtPath()));
    const QByteArray before = readFile(exporting ? txtPath() : mfaPath());

    QVector<double> fractions;
    bool onCallersThread = true;
    const std::thread::id caller = std::this_thread::get_id();
    const ConversionProgress progress = [&](double fraction) {
        fractions.append(fraction);
        onCallersThread = onCallersThread && std::this_thread::get_id() == caller;
        return true;
    };
    CriticalLog log;
    QVERIFY(exporting ? ChangeMfaToTxt(mfaPath(), progress) : ChangeTxtToMfa(mfaPath(), progress));
    QVERIFY(log.messages().isEmpty());
    QVERIFY(onCallersThread);
    QVERIFY2(fractions.size() >= 50 && fractions.size() <= 102, qPrintable(QString::number(fractions.size())));
    QCOMPARE(fractions.first(), 0.0);
    QCOMPARE(fractions.last(), 1.0);
    QVERIFY(std::is_sorted(fractions.cbegin(), fractions.cend()));
    QVERIFY(std::adjacent_find(fractions.cbegin(), fractions.cend()) == fractions.cend()); // no repeats
    QVERIFY(readFile(exporting ? txtPath() : mfaPath()) == before); // the same content, written anew

    // Without a callback, and with an empty one: the same conversion.
    QVERIFY(exporting ? ChangeMfaToTxt(mfaPath(), ConversionProgress()) : ChangeTxtToMfa(mfaPath(), ConversionProgress()));
    QVERIFY(readFile(exporting ? txtPath() : mfaPath()) == before);
}

void TestPointFile::cancellationKeepsTheOldFile_data()
{
    QTest::addColumn<bool>("exporting");
    QTest::addColumn<double>("at");
    for (bool exporting : {true, false}) {
        const char* direction = exporting ? "export" : "import";
        QTest::newRow(qPrintable(QStringLiteral("%1 at 0 %").arg(QLatin1String(direction)))) << exporting << 0.0;
        QTest::newRow(qPrintable(QStringLiteral("%1 at 50 %").arg(QLatin1String(direction)))) << exporting << 0.5;
        QTest::newRow(qPrintable(QStringLiteral("%1 at 99 %").arg(QLatin1String(direction)))) << exporting << 0.99;
        QTest::newRow(qPrintable(QStringLiteral("%1 at the end").arg(QLatin1String(direction)))) << exporting << 1.0;
    }
}

void TestPointFile::cancellationKeepsTheOldFile()
{
    QFETCH(bool, exporting);
    QFETCH(double, at);
    QVERIFY(writeProgressFiles(mfaPath(), txtPath()));
    // The file the conversion would replace holds something else.
    const QString target = exporting ? txtPath() : mfaPath();
    const QByteArray old = exporting ? QByteArray("the old text\n")
                                     : Mfa::mfaFile("Unit:4 Valid:3 Endian:L", randomRecords(kProgressRecords, 32));
    QVERIFY(writeFile(target, old));
    const QStringList entries = Faults::entries(m_dir->path());

    double cancelledAt = -1;
    const ConversionProgress progress = [&](double fraction) {
        if (fraction < at)
            return true;
        cancelledAt = fraction;
        return false;
    };
    CriticalLog log;
    QVERIFY(!(exporting ? ChangeMfaToTxt(mfaPath(), progress) : ChangeTxtToMfa(mfaPath(), progress)));
    QCOMPARE(log.messages(), QStringList{QLatin1String(kCancelled)});
    if (at > 0 && at < 1)
        QVERIFY2(cancelledAt >= at && cancelledAt < 1.0, qPrintable(QString::number(cancelledAt))); // on the way
    else
        QCOMPARE(cancelledAt, at);
    QVERIFY(readFile(target) == old);
    QCOMPARE(Faults::entries(m_dir->path()), entries); // nothing new beside it
}

void TestPointFile::throwingCallbackCancels_data()
{
    cancellationKeepsTheOldFile_data();
}

void TestPointFile::throwingCallbackCancels()
{
    QFETCH(bool, exporting);
    QFETCH(double, at);
    QVERIFY(writeProgressFiles(mfaPath(), txtPath()));
    const QString target = exporting ? txtPath() : mfaPath();
    const QByteArray old = exporting ? QByteArray("the old text\n")
                                     : Mfa::mfaFile("Unit:4 Valid:3 Endian:L", randomRecords(kProgressRecords, 33));
    QVERIFY(writeFile(target, old));
    const QStringList entries = Faults::entries(m_dir->path());

    const ConversionProgress progress = [at](double fraction) -> bool {
        if (fraction >= at)
            throw std::runtime_error("not allowed");
        return true;
    };
    {
        CriticalLog log;
        QVERIFY(!(exporting ? ChangeMfaToTxt(mfaPath(), progress) : ChangeTxtToMfa(mfaPath(), progress)));
        QCOMPARE(log.messages(), QStringList{QLatin1String(kCancelled)});
    }
    QVERIFY(readFile(target) == old);
    QCOMPARE(Faults::entries(m_dir->path()), entries);

    // Nothing was left in a state that stops the next conversion.
    QVERIFY(exporting ? ChangeMfaToTxt(mfaPath()) : ChangeTxtToMfa(mfaPath()));
    QVERIFY(readFile(target) != old);
}

void TestPointFile::largeRoundTripInBoundedMemory()
{
    // 16 M records, a 64 MiB point file and some 170 MiB of text: neither
    // direction may hold them.
    constexpr int kRecords = 16 << 20;
    constexpr qint64 kBoundKiB = 64 << 10;
    Scenario::Run run;
    const QString mfa = run.appDir() + QStringLiteral("/points.mfa");
    const QByteArray file = Mfa::mfaFile("Unit:4 Valid:3 Endian:L", randomRecords(kRecords, 16));
    QVERIFY(writeFile(mfa, file));

    COMMONTOOLS_RUN_SCENARIO_WITH(run, "convertInBoundedMemory",
                                  (QMap<QString, QString>{{QStringLiteral("CTT_MFA"), mfa},
                                                          {QStringLiteral("CTT_DIRECTION"), QStringLiteral("export")}}));
    QCOMPARE(run.value("done"), QStringLiteral("true"));
    const qint64 exportKiB = run.value("peakKiB").toLongLong();
    QCOMPARE(lineCount(readFile(run.appDir() + QStringLiteral("/points.txt"))), kRecords);

    // The records zeroed: only the import brings them back.
    QVERIFY(writeFile(mfa, Mfa::mfaFile("Unit:4 Valid:3 Endian:L", QByteArray(kRecords * 4, '\0'))));
    COMMONTOOLS_RUN_SCENARIO_WITH(run, "convertInBoundedMemory",
                                  (QMap<QString, QString>{{QStringLiteral("CTT_MFA"), mfa},
                                                          {QStringLiteral("CTT_DIRECTION"), QStringLiteral("import")}}));
    QCOMPARE(run.value("done"), QStringLiteral("true"));
    const qint64 importKiB = run.value("peakKiB").toLongLong();
    QVERIFY(readFile(mfa) == file);

    qInfo("peak memory: export %lld KiB, import %lld KiB", exportKiB, importKiB);
    QVERIFY(exportKiB > 0 && importKiB > 0);
    if (kSanitized)
        QSKIP("sanitizers keep shadow memory and quarantine: the peak is theirs, not the conversions'");
    if (!TestProcess::emulatorCommand().isEmpty())
        QSKIP("under the emulator, the peak includes the emulator's own translation buffers");
    QVERIFY2(exportKiB < kBoundKiB, qPrintable(QString::number(exportKiB)));
    QVERIFY2(importKiB < kBoundKiB, qPrintable(QString::number(importKiB)));
}

COMMONTOOLS_SCENARIO_MAIN(TestPointFile)
#include "tst_pointfile.moc"
