// Text between QString and byte buffers in code pages.

#include "support/scenario.h"

#include <OrvFunction.h>

#include <QTest>
#include <QTextCodec>

#include <cstring>

using namespace OrvInterface;

namespace {

const QString kSixChinese = QStringLiteral("\u4e2d\u6587\u5b57\u7b26\u6d4b\u8bd5"); // 3 UTF-8 bytes each
const QString kEmoji = QStringLiteral("\U0001F600");                                // a surrogate pair, 4 bytes

// A buffer with guard bytes after the part the function may write.
struct GuardedBuffer
{
    static constexpr int kSize = 96;
    char bytes[kSize];
    explicit GuardedBuffer(char fill = 'X') { std::memset(bytes, fill, sizeof bytes); }
    QByteArray first(int n) const { return QByteArray(bytes, n); }
    bool untouchedFrom(int n, char fill = 'X') const
    {
        for (int i = n; i < kSize; ++i) {
            if (bytes[i] != fill)
                return false;
        }
        return true;
    }
};

// Makes GBK the locale's codec while it lives.
class LocaleCodec
{
public:
    explicit LocaleCodec(const char* name)
        : m_previous(QTextCodec::codecForLocale())
    {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName(name));
    }
    ~LocaleCodec() { QTextCodec::setCodecForLocale(m_previous); }

private:
    QTextCodec* m_previous;
};

} // namespace

// The encoding switch starts at the locale's codec.
COMMONTOOLS_SCENARIO(encodingSwitch)
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("GBK"));
    const QByteArray gbk = QTextCodec::codecForName("GBK")->fromUnicode(QStringLiteral("\u4e2d"));
    const QByteArray utf8 = QStringLiteral("\u4e2d").toUtf8();
    auto reportAll = [&](const QString& when) {
        Scenario::report(when + QStringLiteral("FromGbk"), GetEncodeQStringFromChar(gbk.constData(), 0));
        Scenario::report(when + QStringLiteral("FromUtf8"),
                         GetEncodeQStringFromUnChar(reinterpret_cast<const unsigned char*>(utf8.constData()), utf8.size()));
        char buffer[8] = {};
        CovertEncodeCharFromQString(QStringLiteral("\u4e2d"), buffer, 7);
        Scenario::report(when + QStringLiteral("Written"), QString::fromLatin1(QByteArray(buffer).toHex()));
    };
    reportAll(QStringLiteral("initial"));
    SetEncodingType(ENCODING_TYPE_UTF8);
    reportAll(QStringLiteral("utf8"));
    SetEncodingType(_ENCODING_TYPE_(7));
    reportAll(QStringLiteral("seven"));
    SetEncodingType(ENCODING_TYPE_UTF8);
    SetEncodingType(ENCODING_TYPE_LOCAL);
    reportAll(QStringLiteral("local"));
}

class TestCodec : public QObject
{
    Q_OBJECT

private slots:
    void cutString_data();
    void cutString();
    void cutStringReturnsWholeWhenNothingFits();
    void surrogatePairsStayWhole_data();
    void surrogatePairsStayWhole();
    void truncationKeepsCharactersWhole_data();
    void truncationKeepsCharactersWhole();
    void cutStringLocale();

    void char2QString_data();
    void char2QString();
    void char2QStringNullPointer();
    void char2QStringLocale();

    void string2Char_data();
    void string2Char();
    void string2CharNegativeLimit();
    void string2CharUnclampedForLongCharacters();
    void string2CharLocale();
    void utf8AlwaysFits();

    void encodingSwitch();
};

void TestCodec::cutString_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("limit");
    QTest::addColumn<QByteArray>("codec");
    QTest::addColumn<QString>("expected");

    QTest::newRow("limit equals bytes") << QStringLiteral("abc") << 3 << QByteArray("UTF-8") << QStringLiteral("abc");
    QTest::newRow("limit 2") << QStringLiteral("abc") << 2 << QByteArray("UTF-8") << QStringLiteral("ab");
    QTest::newRow("limit above") << QStringLiteral("abc") << 100 << QByteArray("UTF-8") << QStringLiteral("abc");
    QTest::newRow("six Chinese to 10") << kSixChinese << 10 << QByteArray("UTF-8") << kSixChinese.left(3);
    QTest::newRow("six Chinese to 9") << kSixChinese << 9 << QByteArray("UTF-8") << kSixChinese.left(3);
    QTest::newRow("six Chinese to 8") << kSixChinese << 8 << QByteArray("UTF-8") << kSixChinese.left(2);
    QTest::newRow("six Chinese to 2") << kSixChinese << 2 << QByteArray("UTF-8") << QString();
    QTest::newRow("mixed") << QStringLiteral("a\u00e9\u4e2db") << 4 << QByteArray("UTF-8") << QStringLiteral("a\u00e9");
    QTest::newRow("limit 0") << QStringLiteral("abc") << 0 << QByteArray("UTF-8") << QString();
    QTest::newRow("empty input") << QString() << 0 << QByteArray("UTF-8") << QString();
    QTest::newRow("negative limit") << QStringLiteral("abc") << -1 << QByteArray("UTF-8") << QStringLiteral("abc");
    QTest::newRow("negative limit Chinese") << kSixChinese << -20 << QByteArray("UTF-8") << kSixChinese;
    QTest::newRow("unknown codec") << kSixChinese << 10 << QByteArray("no-such-codec") << kSixChinese.left(3);
    QTest::newRow("GBK") << kSixChinese << 5 << QByteArray("GBK") << kSixChinese.left(2);
    QTest::newRow("Latin-1") << QStringLiteral("\u00e9\u00e8\u00ea") << 2 << QByteArray("ISO-8859-1")
                             << QStringLiteral("\u00e9\u00e8");
}

void TestCodec::cutString()
{
    QFETCH(QString, text);
    QFETCH(int, limit);
    QFETCH(QByteArray, codec);
    QFETCH(QString, expected);

    QCOMPARE(OrvInterface::cutString(text, limit, codec.constData()), expected);
    QCOMPARE(interCutString(text, limit, QTextCodec::codecForName(codec)), expected);
}

void TestCodec::cutStringReturnsWholeWhenNothingFits()
{
    // In GB18030, U+0080 takes four bytes: no prefix of down to limit / 3
    // characters fits, and the text comes back whole.
    const QString text(10, QChar(0x0080));
    QCOMPARE(OrvInterface::cutString(text, 6, "GB18030"), text);
    QCOMPARE(OrvInterface::cutString(text, 8, "GB18030"), text.left(2));
}

void TestCodec::surrogatePairsStayWhole_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("limit");
    QTest::addColumn<QString>("expected");

    QTest::newRow("a and emoji, 3") << QStringLiteral("a") + kEmoji << 3 << QStringLiteral("a");
    QTest::newRow("a and emoji, 5") << QStringLiteral("a") + kEmoji << 5 << QStringLiteral("a") + kEmoji;
    QTest::newRow("two emoji, 7") << kEmoji + kEmoji << 7 << kEmoji;
    QTest::newRow("two emoji, 4") << kEmoji + kEmoji << 4 << kEmoji;
    // The shortest candidate, limit / 3 units, would split the first pair:
    // the one before it is tried instead.
    QTest::newRow("two emoji, 3") << kEmoji + kEmoji << 3 << QString();
    QTest::newRow("emoji run, 11") << kEmoji + kEmoji + kEmoji + kEmoji << 11 << kEmoji + kEmoji;
}

void TestCodec::surrogatePairsStayWhole()
{
    QFETCH(QString, text);
    QFETCH(int, limit);
    QFETCH(QString, expected);

    const QString cut = OrvInterface::cutString(text, limit, "UTF-8");
    QCOMPARE(cut, expected);
    QVERIFY(cut.toUtf8().size() <= limit);
    QVERIFY(cut.isEmpty() || !cut.at(cut.size() - 1).isHighSurrogate());
}

void TestCodec::truncationKeepsCharactersWhole_data()
{
    QTest::addColumn<QByteArray>("codec");
    QTest::addColumn<QString>("text");

    const QString chinese = QStringLiteral("a\u4e2d\u6587b\u5b57\u7b26c");
    QTest::newRow("UTF-8") << QByteArray("UTF-8") << chinese + QStringLiteral("\u00e9") + kEmoji;
    QTest::newRow("GBK") << QByteArray("GBK") << chinese;
    QTest::newRow("GB18030") << QByteArray("GB18030") << chinese + QStringLiteral("\u0080\u00e9");
    QTest::newRow("Big5") << QByteArray("Big5") << QStringLiteral("x\u7e41\u9ad4y\u4e2d\u6587z");
    QTest::newRow("Shift_JIS") << QByteArray("Shift_JIS") << QStringLiteral("k\u65e5\u672c\u8a9e\uff76\u30ab\u30bfn");
    QTest::newRow("EUC-KR") << QByteArray("EUC-KR") << QStringLiteral("h\ud55c\uad6d\uc5b4!");
}

void TestCodec::truncationKeepsCharactersWhole()
{
    QFETCH(QByteArray, codec);
    QFETCH(QString, text);

    QTextCodec* c = QTextCodec::codecForName(codec);
    QVERIFY(c);
    QCOMPARE(c->toUnicode(c->fromUnicode(text)), text); // the code page holds every character
    const int whole = c->fromUnicode(text).size();
    for (int limit = 0; limit <= whole; ++limit) {
        const QString cut = OrvInterface::cutString(text, limit, codec.constData());
        QVERIFY(text.startsWith(cut));
        const QByteArray bytes = c->fromUnicode(cut);
        QVERIFY2(bytes.size() <= limit, qPrintable(QStringLiteral("%1 bytes in %2").arg(bytes.size()).arg(limit)));
        // The longest fitting prefix: one more character would not fit.
        if (cut.size() < text.size()) {
            const int next = text.at(cut.size()).isHighSurrogate() ? 2 : 1;
            QVERIFY(c->fromUnicode(text.left(cut.size() + next)).size() > limit);
        }

        // Written to a buffer and read back: the same characters, none cut.
        GuardedBuffer buffer;
        OrvInterface::string2Char(text, buffer.bytes, limit, codec.constData());
        QVERIFY(buffer.untouchedFrom(limit));
        if (limit > 0) // a length of 0 would read up to a NUL the guard lacks
            QCOMPARE(OrvInterface::char2QString(buffer.bytes, limit, codec.constData()), cut);
    }
}

void TestCodec::cutStringLocale()
{
    LocaleCodec gbk("GBK");
    QCOMPARE(OrvInterface::cutStringLocale(kSixChinese, 5), kSixChinese.left(2));
    QCOMPARE(interCutStringLocale(kSixChinese, 12), kSixChinese);
    QCOMPARE(interCutStringLocale(kSixChinese, -1), kSixChinese);
}

void TestCodec::char2QString_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("codec");
    QTest::addColumn<QString>("expected");

    QTest::newRow("eight bytes, no NUL") << QByteArray("abcdefghXYZ") << 8 << QByteArray("UTF-8") << QStringLiteral("abcdefgh");
    QTest::newRow("NUL inside") << QByteArray("ab\0cdefgh", 9) << 8 << QByteArray("UTF-8") << QStringLiteral("ab");
    QTest::newRow("length 0") << QByteArray("abc\0def", 7) << 0 << QByteArray("UTF-8") << QStringLiteral("abc");
    QTest::newRow("length -1") << QByteArray("abc\0def", 7) << -1 << QByteArray("UTF-8") << QStringLiteral("abc");
    QTest::newRow("UTF-8") << QStringLiteral("\u4e2d\u6587").toUtf8() << 6 << QByteArray("UTF-8") << QStringLiteral("\u4e2d\u6587");
    QTest::newRow("cut character") << QStringLiteral("\u4e2d\u6587").toUtf8() << 4 << QByteArray("UTF-8")
                                   << QStringLiteral("\u4e2d\ufffd");
    QTest::newRow("unknown codec") << QStringLiteral("\u4e2d").toUtf8() << 0 << QByteArray("nope") << QStringLiteral("\u4e2d");
    QTest::newRow("GBK") << QTextCodec::codecForName("GBK")->fromUnicode(QStringLiteral("\u4e2d\u6587")) << 4
                         << QByteArray("GBK") << QStringLiteral("\u4e2d\u6587");
    QTest::newRow("empty") << QByteArray("") << 0 << QByteArray("UTF-8") << QString();
}

void TestCodec::char2QString()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, length);
    QFETCH(QByteArray, codec);
    QFETCH(QString, expected);

    QCOMPARE(OrvInterface::char2QString(bytes.constData(), length, codec.constData()), expected);
    QCOMPARE(uchar2QString(reinterpret_cast<const unsigned char*>(bytes.constData()), length, codec.constData()), expected);
    QCOMPARE(interChar2QString(bytes.constData(), length, QTextCodec::codecForName(codec)), expected);
}

void TestCodec::char2QStringNullPointer()
{
    QCOMPARE(OrvInterface::char2QString(nullptr, 0, "UTF-8"), QString());
    QCOMPARE(OrvInterface::char2QString(nullptr, -1, "nope"), QString());
    QCOMPARE(interChar2QString(nullptr, 0, nullptr), QString());
    QCOMPARE(OrvInterface::uchar2QString(nullptr, -3, nullptr), QString());
}

void TestCodec::char2QStringLocale()
{
    LocaleCodec gbk("GBK");
    const QByteArray bytes = QTextCodec::codecForName("GBK")->fromUnicode(QStringLiteral("\u4e2d\u6587"));
    QCOMPARE(OrvInterface::char2QStringLocale(bytes.constData(), bytes.size()), QStringLiteral("\u4e2d\u6587"));
    QCOMPARE(uchar2QStringLocale(reinterpret_cast<const unsigned char*>(bytes.constData()), 0),
             QStringLiteral("\u4e2d\u6587"));
}

void TestCodec::string2Char_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("limit");
    QTest::addColumn<QByteArray>("codec");
    QTest::addColumn<QByteArray>("expected"); // the first limit bytes

    QTest::newRow("fits, zero filled") << QStringLiteral("abc") << 8 << QByteArray("UTF-8") << QByteArray("abc\0\0\0\0\0", 8);
    QTest::newRow("16 bytes in 16") << QStringLiteral("0123456789abcdef") << 16 << QByteArray("UTF-8")
                                    << QByteArray("0123456789abcdef");
    QTest::newRow("cut") << QStringLiteral("0123456789abcdefXYZ") << 16 << QByteArray("UTF-8")
                         << QByteArray("0123456789abcdef");
    QTest::newRow("whole characters") << kSixChinese << 10 << QByteArray("UTF-8")
                                      << kSixChinese.left(3).toUtf8() + QByteArray(1, '\0');
    QTest::newRow("limit 0") << QStringLiteral("abc") << 0 << QByteArray("UTF-8") << QByteArray();
    QTest::newRow("GBK") << kSixChinese << 5 << QByteArray("GBK")
                         << QTextCodec::codecForName("GBK")->fromUnicode(kSixChinese.left(2)) + QByteArray(1, '\0');
    QTest::newRow("unknown codec") << QStringLiteral("\u00e9") << 3 << QByteArray("nope") << QByteArray("\xc3\xa9\0", 3);
}

void TestCodec::string2Char()
{
    QFETCH(QString, text);
    QFETCH(int, limit);
    QFETCH(QByteArray, codec);
    QFETCH(QByteArray, expected);

    GuardedBuffer buffer;
    OrvInterface::string2Char(text, buffer.bytes, limit, codec.constData());
    QCOMPARE(buffer.first(limit), expected);
    QVERIFY(buffer.untouchedFrom(limit)); // no terminator beyond the limit

    GuardedBuffer ubuffer;
    string2Uchar(text, reinterpret_cast<unsigned char*>(ubuffer.bytes), limit, codec.constData());
    QCOMPARE(ubuffer.first(limit), expected);
    QVERIFY(ubuffer.untouchedFrom(limit));
}

void TestCodec::string2CharNegativeLimit()
{
    // The whole encoding, and no zero fill.
    GuardedBuffer buffer;
    OrvInterface::string2Char(QStringLiteral("ab\u00e9"), buffer.bytes, -1, "UTF-8");
    QCOMPARE(buffer.first(4), QByteArray("ab\xc3\xa9"));
    QVERIFY(buffer.untouchedFrom(4));
}

void TestCodec::string2CharUnclampedForLongCharacters()
{
    // Four bytes a character in GB18030: nothing fits 6 bytes, so the whole
    // encoding is written, as documented (callers size such buffers).
    const QString text(5, QChar(0x0080));
    GuardedBuffer buffer;
    OrvInterface::string2Char(text, buffer.bytes, 6, "GB18030");
    QCOMPARE(buffer.first(20), QTextCodec::codecForName("GB18030")->fromUnicode(text));
    QVERIFY(buffer.untouchedFrom(20));
}

void TestCodec::string2CharLocale()
{
    LocaleCodec gbk("GBK");
    GuardedBuffer buffer;
    OrvInterface::string2CharLocale(kSixChinese, buffer.bytes, 5);
    QCOMPARE(buffer.first(5), QTextCodec::codecForName("GBK")->fromUnicode(kSixChinese.left(2)) + QByteArray(1, '\0'));
    QVERIFY(buffer.untouchedFrom(5));

    GuardedBuffer ubuffer;
    string2UcharLocale(QStringLiteral("ab"), reinterpret_cast<unsigned char*>(ubuffer.bytes), 3);
    QCOMPARE(ubuffer.first(3), QByteArray("ab\0", 3));
}

void TestCodec::utf8AlwaysFits()
{
    // Every limit from 0 up, for texts of one-, two-, three- and four-byte
    // characters: UTF-8 never writes past the limit.
    const QStringList texts = {QStringLiteral("abcdefgh"), QStringLiteral("\u00e9\u00e8\u00ea\u00eb\u00e0"), kSixChinese,
                               kEmoji + kEmoji + kEmoji, QStringLiteral("a") + kEmoji + QStringLiteral("\u4e2d\u00e9") + kEmoji};
    for (const QString& text : texts) {
        for (int limit = 0; limit <= text.toUtf8().size() + 1; ++limit) {
            GuardedBuffer buffer;
            OrvInterface::string2Char(text, buffer.bytes, limit, "UTF-8");
            QVERIFY2(buffer.untouchedFrom(limit), qPrintable(QStringLiteral("%1 in %2 bytes").arg(text).arg(limit)));
            if (limit == 0)
                continue; // a length of 0 would read up to a NUL the guard lacks
            const QString back = OrvInterface::char2QString(buffer.bytes, limit, "UTF-8");
            QVERIFY2(text.startsWith(back), qPrintable(back));
        }
    }
}

void TestCodec::encodingSwitch()
{
    Scenario::Run run;
    COMMONTOOLS_RUN_SCENARIO(run, "encodingSwitch");
    const QString chinese = QStringLiteral("\u4e2d");
    const QString utf8Hex = QString::fromLatin1(chinese.toUtf8().toHex());
    const QString gbkHex = QString::fromLatin1(QTextCodec::codecForName("GBK")->fromUnicode(chinese).toHex());
    for (const char* when : {"initial", "seven", "local"}) {
        QCOMPARE(run.value(QLatin1String(when) + QStringLiteral("FromGbk")), chinese);
        QVERIFY(run.value(QLatin1String(when) + QStringLiteral("FromUtf8")) != chinese);
        QCOMPARE(run.value(QLatin1String(when) + QStringLiteral("Written")), gbkHex);
    }
    QVERIFY(run.value("utf8FromGbk") != chinese);
    QCOMPARE(run.value("utf8FromUtf8"), chinese);
    QCOMPARE(run.value("utf8Written"), utf8Hex);
}

COMMONTOOLS_SCENARIO_MAIN(TestCodec)
#include "tst_codec.moc"
