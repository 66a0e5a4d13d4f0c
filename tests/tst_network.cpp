// IPv4 addresses, subnet masks, MAC addresses and numbers as text.

#include <OrvFunction.h>

#include <QTest>

using namespace OrvInterface;

namespace {

QString dotted(quint32 value)
{
    return QStringLiteral("%1.%2.%3.%4").arg(value >> 24).arg((value >> 16) & 255).arg((value >> 8) & 255).arg(value & 255);
}

} // namespace

class TestNetwork : public QObject
{
    Q_OBJECT

private slots:
    void numIP2StrIP_data();
    void numIP2StrIP();
    void strIP2IntIP_data();
    void strIP2IntIP();
    void ipRoundTrip();

    void macToText_data();
    void macToText();
    void textToMac_data();
    void textToMac();

    void checkIpAble_data();
    void checkIpAble();
    void checkSubnetMask_data();
    void checkSubnetMask();
    void checkSubnetMaskAcceptsExactlyContiguousMasks();

    void string2Int_data();
    void string2Int();
    void int2HexNumberQString_data();
    void int2HexNumberQString();
    void hexNumberQString2Int_data();
    void hexNumberQString2Int();
    void checkIsNumber_data();
    void checkIsNumber();
    void removeIllegalChar_data();
    void removeIllegalChar();
};

void TestNetwork::numIP2StrIP_data()
{
    QTest::addColumn<uint>("ip");
    QTest::addColumn<QString>("expected");
    QTest::newRow("192.168.0.1") << 0xC0A80001u << QStringLiteral("192.168.0.1");
    QTest::newRow("-1") << 0xFFFFFFFFu << QStringLiteral("255.255.255.255");
    QTest::newRow("0") << 0u << QStringLiteral("0.0.0.0");
    QTest::newRow("10.0.0.255") << 0x0A0000FFu << QStringLiteral("10.0.0.255");
    QTest::newRow("top bit") << 0x80000000u << QStringLiteral("128.0.0.0");
}

void TestNetwork::numIP2StrIP()
{
    QFETCH(uint, ip);
    QFETCH(QString, expected);
    QCOMPARE(OrvInterface::numIP2StrIP(int(ip)), expected);
}

void TestNetwork::strIP2IntIP_data()
{
    QTest::addColumn<QString>("ip");
    QTest::addColumn<uint>("expected");
    QTest::newRow("192.168.0.1") << QStringLiteral("192.168.0.1") << 0xC0A80001u;
    QTest::newRow("three parts") << QStringLiteral("1.2.3") << 0xFFFFFFFFu;
    QTest::newRow("five parts") << QStringLiteral("1.2.3.4.5") << 0xFFFFFFFFu;
    QTest::newRow("empty parts dropped") << QStringLiteral("1..2.3.4") << 0x01020304u;
    QTest::newRow("carry") << QStringLiteral("1.2.3.256") << 0x01020400u;
    QTest::newRow("not a number") << QStringLiteral("1.x.3.4") << 0x01000304u;
    QTest::newRow("255s") << QStringLiteral("255.255.255.255") << 0xFFFFFFFFu;
    QTest::newRow("empty") << QString() << 0xFFFFFFFFu;
    QTest::newRow("huge part") << QStringLiteral("99999999999.0.0.1") << 0x00000001u;
}

void TestNetwork::strIP2IntIP()
{
    QFETCH(QString, ip);
    QFETCH(uint, expected);
    QCOMPARE(uint(OrvInterface::strIP2IntIP(ip)), expected);
}

void TestNetwork::ipRoundTrip()
{
    for (quint64 value = 0; value <= 0xFFFFFFFFu; value += 0x01010101u / 7 + 13) {
        const QString text = OrvInterface::numIP2StrIP(int(quint32(value)));
        QCOMPARE(text, dotted(quint32(value)));
        QCOMPARE(uint(OrvInterface::strIP2IntIP(text)), uint(value));
    }
}

void TestNetwork::macToText_data()
{
    QTest::addColumn<uint>("high");
    QTest::addColumn<uint>("low");
    QTest::addColumn<QString>("expected");
    QTest::newRow("00:11:22:33:44:55") << 0x0011u << 0x22334455u << QStringLiteral("00:11:22:33:44:55");
    QTest::newRow("top bits of high ignored") << 0xFFFF0011u << 0x22334455u << QStringLiteral("00:11:22:33:44:55");
    QTest::newRow("all set") << 0xFFFFu << 0xFFFFFFFFu << QStringLiteral("FF:FF:FF:FF:FF:FF");
    QTest::newRow("zero") << 0u << 0u << QStringLiteral("00:00:00:00:00:00");
    QTest::newRow("upper case") << 0xABCDu << 0xEF012345u << QStringLiteral("AB:CD:EF:01:23:45");
}

void TestNetwork::macToText()
{
    QFETCH(uint, high);
    QFETCH(uint, low);
    QFETCH(QString, expected);
    QCOMPARE(int2StringMacAddress(high, low), expected);
    QCOMPARE(int64_2StringMacAddress((quint64(high) << 32) | low), expected);
    QCOMPARE(int64_2StringMacAddress((quint64(0xBEEF) << 48) | (quint64(high & 0xFFFF) << 32) | low), expected);
}

void TestNetwork::textToMac_data()
{
    QTest::addColumn<QString>("mac");
    QTest::addColumn<uint>("high");
    QTest::addColumn<uint>("low");
    QTest::newRow("00:11:22:33:44:55") << QStringLiteral("00:11:22:33:44:55") << 0x0011u << 0x22334455u;
    QTest::newRow("short last part") << QStringLiteral("00:11:22:33:44:5") << 0x0011u << 0x22334405u;
    QTest::newRow("dashes") << QStringLiteral("00-11-22-33-44-55") << 0u << 0u;
    QTest::newRow("five parts") << QStringLiteral("00:11:22:33:44") << 0u << 0u;
    QTest::newRow("empty parts dropped") << QStringLiteral("00::11:22:33:44:55") << 0x0011u << 0x22334455u;
    QTest::newRow("lower case") << QStringLiteral("ab:cd:ef:01:23:45") << 0xABCDu << 0xEF012345u;
    QTest::newRow("0x prefix") << QStringLiteral("0x0a:1:2:3:4:5") << 0x0A01u << 0x02030405u;
    QTest::newRow("bad part") << QStringLiteral("zz:11:22:33:44:55") << 0x0011u << 0x22334455u;
    QTest::newRow("carry") << QStringLiteral("0:0:0:0:1:100") << 0u << 0x00000200u;
}

void TestNetwork::textToMac()
{
    QFETCH(QString, mac);
    QFETCH(uint, high);
    QFETCH(uint, low);
    unsigned int gotHigh = 0xDEAD;
    unsigned int gotLow = 0xBEEF;
    string2IntMacAddress(mac, gotHigh, gotLow);
    QCOMPARE(gotHigh, high);
    QCOMPARE(gotLow, low);
}

void TestNetwork::checkIpAble_data()
{
    QTest::addColumn<QString>("ip");
    QTest::addColumn<bool>("expected");
    for (const char* bad : {"0.1.1.1", "127.0.0.1", "224.0.0.1", "10.0.0.0", "10.0.0.255", "1.2.3", "1.2..3",
                            "1.2.3.256", " 1.2.3.4", "1.2.3.4 ", "", "1.2.3.4.5", "-1.2.3.4", "1.2.3.+4", "a.b.c.d",
                            "255.1.1.1", "1.2.3.0x4"})
        QTest::newRow(bad) << QString::fromLatin1(bad) << false;
    for (const char* good : {"1.2.3.4", "223.255.255.254", "010.1.1.1", "192.168.0.1", "126.255.255.1", "128.0.0.1"})
        QTest::newRow(good) << QString::fromLatin1(good) << true;
}

void TestNetwork::checkIpAble()
{
    QFETCH(QString, ip);
    QFETCH(bool, expected);
    QCOMPARE(CheckIpAble(ip), expected);
}

void TestNetwork::checkSubnetMask_data()
{
    QTest::addColumn<QString>("mask");
    QTest::addColumn<bool>("expected");
    for (const char* good : {"255.255.255.0", "255.255.255.252", "128.0.0.0", "255.254.0.0", "255.255.255.128",
                             "255.0.0.0", "255.255.0.0", "192.0.0.0"})
        QTest::newRow(good) << QString::fromLatin1(good) << true;
    for (const char* bad : {"255.255.255.254", "255.255.255.255", "0.0.0.0", "255.0.255.0", "255.254.252.0",
                            "255.255.255.1", "255.255.255", "255.255.255.0.", " 255.255.255.0", "255.255.255.0000",
                            "256.0.0.0", "255.255.255.a", "255.128.128.0"})
        QTest::newRow(bad) << QString::fromLatin1(bad) << false;
}

void TestNetwork::checkSubnetMask()
{
    QFETCH(QString, mask);
    QFETCH(bool, expected);
    QCOMPARE(CheckSubnetMask(mask), expected);
}

void TestNetwork::checkSubnetMaskAcceptsExactlyContiguousMasks()
{
    // Every combination of the octet values a mask may hold.
    const int values[] = {0, 128, 192, 224, 240, 248, 252, 254, 255, 1, 100};
    int accepted = 0;
    for (int a : values) {
        for (int b : values) {
            for (int c : values) {
                for (int d : values) {
                    const quint32 mask = quint32(a) << 24 | quint32(b) << 16 | quint32(c) << 8 | quint32(d);
                    const int ones = __builtin_popcount(mask);
                    const bool contiguous = ones > 0 && mask == ~quint32(0) << (32 - ones);
                    const bool expected = contiguous && ones >= 1 && ones <= 30;
                    QVERIFY2(CheckSubnetMask(dotted(mask)) == expected, qPrintable(dotted(mask)));
                    accepted += expected;
                }
            }
        }
    }
    QCOMPARE(accepted, 30);
}

void TestNetwork::string2Int_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qlonglong>("expected");
    QTest::newRow("decimal") << QStringLiteral("123") << 123LL;
    QTest::newRow("negative") << QStringLiteral("-45") << -45LL;
    QTest::newRow("0x1f") << QStringLiteral("0x1f") << 31LL;
    QTest::newRow("0X1F decimal") << QStringLiteral("0X1F") << 0LL;
    QTest::newRow("hex digits without prefix") << QStringLiteral("1f") << 0LL;
    QTest::newRow("0x inside") << QStringLiteral("10x1") << 0LL;
    QTest::newRow("not a number") << QStringLiteral("abc") << 0LL;
    QTest::newRow("64-bit") << QStringLiteral("0x7fffffffffffffff") << 0x7FFFFFFFFFFFFFFFLL;
    QTest::newRow("blanks") << QStringLiteral(" 42 ") << 42LL;
}

void TestNetwork::string2Int()
{
    QFETCH(QString, text);
    QFETCH(qlonglong, expected);
    QCOMPARE(OrvInterface::string2Int(text), expected);
}

void TestNetwork::int2HexNumberQString_data()
{
    QTest::addColumn<qlonglong>("value");
    QTest::addColumn<QString>("expected");
    QTest::newRow("0") << 0LL << QStringLiteral("0x0");
    QTest::newRow("255") << 255LL << QStringLiteral("0xff");
    QTest::newRow("-1") << -1LL << QStringLiteral("0xffffffffffffffff");
    QTest::newRow("large") << 0x123456789ALL << QStringLiteral("0x123456789a");
}

void TestNetwork::int2HexNumberQString()
{
    QFETCH(qlonglong, value);
    QFETCH(QString, expected);
    QCOMPARE(Int2HexNumberQString(value), expected);
}

void TestNetwork::hexNumberQString2Int_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qlonglong>("expected");
    QTest::newRow("10") << QStringLiteral("10") << 10LL;
    QTest::newRow("0x10") << QStringLiteral("0x10") << 16LL;
    QTest::newRow("ff") << QStringLiteral("ff") << 255LL;
    QTest::newRow("1A") << QStringLiteral("1A") << 26LL;
    QTest::newRow("zz") << QStringLiteral("zz") << 0LL;
    QTest::newRow("-7") << QStringLiteral("-7") << -7LL;
}

void TestNetwork::hexNumberQString2Int()
{
    QFETCH(QString, text);
    QFETCH(qlonglong, expected);
    QCOMPARE(HexNumberQString2Int(text), expected);
}

void TestNetwork::checkIsNumber_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("expected");
    QTest::newRow("empty") << QString() << true;
    QTest::newRow("digits") << QStringLiteral("0123456789") << true;
    QTest::newRow("-1") << QStringLiteral("-1") << false;
    QTest::newRow("+1") << QStringLiteral("+1") << false;
    QTest::newRow("blank") << QStringLiteral("1 2") << false;
    QTest::newRow("point") << QStringLiteral("1.5") << false;
    QTest::newRow("Arabic-Indic digit") << QStringLiteral("\u0661") << false;
}

void TestNetwork::checkIsNumber()
{
    QFETCH(QString, text);
    QFETCH(bool, expected);
    QCOMPARE(CheckIsNumber(text), expected);
}

void TestNetwork::removeIllegalChar_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("path characters") << QStringLiteral("a/b:c*?.txt") << QStringLiteral("abc.txt");
    QTest::newRow("all eleven") << QStringLiteral("%/:?>\\'\"*<|") << QString();
    QTest::newRow("others kept") << QStringLiteral("#&()") << QStringLiteral("#&()");
    QTest::newRow("repeated") << QStringLiteral("a||b<<c") << QStringLiteral("abc");
    QTest::newRow("non-ASCII kept") << QStringLiteral("\u4e2d/\u6587") << QStringLiteral("\u4e2d\u6587");
}

void TestNetwork::removeIllegalChar()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    RemoveIllegalChar(text);
    QCOMPARE(text, expected);
}

QTEST_GUILESS_MAIN(TestNetwork)
#include "tst_network.moc"
