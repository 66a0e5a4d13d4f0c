// The point files' CRC-32, on whichever code computes it on this processor,
// checked against the checksum's table definition.

#include "pointfile/crc32_p.h"

#include <OrvPointFile.h>

#include <QByteArray>
#include <QRandomGenerator>
#include <QTest>

#include <array>
#if COMMONTOOLS_TEST_HAVE_ZLIB
#include <zlib.h>
#endif

#if defined(__arm__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

namespace {

// The definition: the reflected polynomial 0xEDB88320, one table lookup per
// byte, the register neither inverted on entry nor on exit.
const std::array<quint32, 256>& table()
{
    static const std::array<quint32, 256> entries = [] {
        std::array<quint32, 256> t{};
        for (quint32 i = 0; i < 256; ++i) {
            quint32 c = i;
            for (int bit = 0; bit < 8; ++bit)
                c = (c & 1u) ? (c >> 1) ^ 0xEDB88320u : c >> 1;
            t[i] = c;
        }
        return t;
    }();
    return entries;
}

quint32 definedCrc(const unsigned char* data, int length, quint32 crc = 0)
{
    for (int i = 0; i < length; ++i)
        crc = table()[(crc ^ data[i]) & 0xFFu] ^ (crc >> 8);
    return crc;
}

QByteArray randomBytes(int size, quint32 seed)
{
    QByteArray data(size, '\0');
    QRandomGenerator random(seed);
    for (char& c : data)
        c = char(random.bounded(256));
    return data;
}

const unsigned char* bytesOf(const QByteArray& data)
{
    return reinterpret_cast<const unsigned char*>(data.constData());
}

// What this processor should use: the tests of the 32-bit ARM build run
// once on a processor model with the CRC32 instructions and once on one
// without, and name what they expect in COMMONTOOLS_EXPECT_CRC32.
QByteArray expectedImplementation()
{
    const QByteArray named = qgetenv("COMMONTOOLS_EXPECT_CRC32");
    if (!named.isEmpty())
        return named;
#if defined(__x86_64__) || defined(__aarch64__)
    return "isa-l";
#elif defined(__arm__)
    return (getauxval(AT_HWCAP2) & HWCAP2_CRC32) ? "armv8-crc32" : "zlib";
#else
    return "zlib";
#endif
}

} // namespace

class TestChecksum : public QObject
{
    Q_OBJECT

private slots:
    void theExpectedCodeComputesIt();
    void knownValues_data();
    void knownValues();
    void emptyAndNegativeLengths();
    void everyLengthAtEveryAlignment();
    void continuesFromAnyRegister();
    void splitAnywhereGivesTheWhole();
    void largeRandomBuffers();
};

void TestChecksum::theExpectedCodeComputesIt()
{
    const QByteArray chosen = PointFile::crc32ImplementationName();
    qInfo("crc32 computed by: %s", chosen.constData());
    QCOMPARE(chosen, expectedImplementation());
}

void TestChecksum::knownValues_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<uint>("crc");
    QTest::newRow("123456789") << QByteArray("123456789") << 0x2DFD2D88u;
    QTest::newRow("four zeros") << QByteArray(4, '\0') << 0u;
    QTest::newRow("0x01") << QByteArray(1, '\x01') << 0x77073096u;
    QTest::newRow("empty") << QByteArray() << 0u;
}

void TestChecksum::knownValues()
{
    QFETCH(QByteArray, data);
    QFETCH(uint, crc);
    QCOMPARE(crc32(bytesOf(data), data.size()), crc);
    QCOMPARE(crc32_init_value(0, bytesOf(data), data.size()), crc);
}

void TestChecksum::emptyAndNegativeLengths()
{
    const auto* digits = reinterpret_cast<const unsigned char*>("123456789");
    QCOMPARE(crc32(digits, 0), 0u);
    QCOMPARE(crc32(digits, -5), 0u);
    QCOMPARE(crc32(nullptr, 0), 0u);
    QCOMPARE(crc32(nullptr, 100), 0u);
    QCOMPARE(crc32_init_value(0x12345678u, digits, 0), 0x12345678u);
    QCOMPARE(crc32_init_value(0x12345678u, digits, -1), 0x12345678u);
    QCOMPARE(crc32_init_value(0x12345678u, nullptr, 9), 0x12345678u);
}

void TestChecksum::everyLengthAtEveryAlignment()
{
    // Every length up to 1024 bytes at each of 16 alignments: the head,
    // body and tail of every block size the fast code uses.
    const QByteArray data = randomBytes(1024 + 16, 6100);
    for (int offset = 0; offset < 16; ++offset) {
        const unsigned char* p = bytesOf(data) + offset;
        for (int length = 0; length <= 1024; ++length) {
            const quint32 expected = definedCrc(p, length);
            const quint32 actual = crc32(p, length);
            if (actual != expected)
                QFAIL(qPrintable(QStringLiteral("offset %1, length %2: %3 instead of %4")
                                         .arg(offset)
                                         .arg(length)
                                         .arg(actual, 8, 16, QLatin1Char('0'))
                                         .arg(expected, 8, 16, QLatin1Char('0'))));
#if COMMONTOOLS_TEST_HAVE_ZLIB
            // zlib's checksum is the same with its register inverted.
            QCOMPARE(actual, quint32(~::crc32(0xFFFFFFFFul, p, uInt(length))));
#endif
        }
    }
}

void TestChecksum::continuesFromAnyRegister()
{
    const QByteArray data = randomBytes(1024 + 16, 6101);
    QRandomGenerator random(6102);
    for (int offset = 0; offset < 16; ++offset) {
        const unsigned char* p = bytesOf(data) + offset;
        for (int length = 0; length <= 1024; length += (length < 130 ? 1 : 7)) {
            for (const quint32 start : {0u, 0xFFFFFFFFu, random.generate()}) {
                if (crc32_init_value(start, p, length) != definedCrc(p, length, start))
                    QFAIL(qPrintable(QStringLiteral("offset %1, length %2, from %3")
                                             .arg(offset)
                                             .arg(length)
                                             .arg(start, 8, 16, QLatin1Char('0'))));
            }
        }
    }
}

void TestChecksum::splitAnywhereGivesTheWhole()
{
    const QByteArray data = randomBytes(5000, 6103);
    const unsigned int whole = crc32(bytesOf(data), data.size());
    QCOMPARE(whole, definedCrc(bytesOf(data), data.size()));
    for (int split = 0; split <= data.size(); split += 13)
        QCOMPARE(crc32_init_value(crc32(bytesOf(data), split), bytesOf(data) + split, data.size() - split), whole);
}

void TestChecksum::largeRandomBuffers()
{
    QRandomGenerator random(6104);
    for (const int size : {65536 + 3, 1 << 20, (4 << 20) + 1001}) {
        const QByteArray data = randomBytes(size, random.generate());
        const quint32 expected = definedCrc(bytesOf(data), size);
        QCOMPARE(crc32(bytesOf(data), size), expected);
        // In pieces of random sizes, continued.
        quint32 crc = 0;
        int done = 0;
        while (done < size) {
            const int piece = qMin(size - done, int(random.bounded(1, 200000)));
            crc = crc32_init_value(crc, bytesOf(data) + done, piece);
            done += piece;
        }
        QCOMPARE(crc, expected);
    }
}

QTEST_GUILESS_MAIN(TestChecksum)
#include "tst_checksum.moc"
