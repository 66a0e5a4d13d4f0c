// The commontools command-line tool, run as a user runs it.

#include "support/childprocess.h"
#include "support/files.h"
#include "support/guides.h"
#include "support/mfa_builder.h"
#include "support/scenario.h"

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSettings>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A data tag as a folder name of letters, digits and "-".
QString folderName(const char* tag)
{
    QString name = QString::fromUtf8(tag);
    for (QChar& c : name) {
        if (!c.isLetterOrNumber() || c.unicode() > 127)
            c = QLatin1Char('-');
    }
    return name;
}

struct Result
{
    int exitCode = -1;
    QString out;
    QString err;
};

} // namespace

class TestTool : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void usage_data();
    void usage();
    void everyCommandHasHelp();
    void info();
    void demo();
    void demoInChinese();
    void demoFindsItsOwnProcess();
    void calc_data();
    void calc();
    void errorCodes_data();
    void errorCodes();
    void errorCodesInALanguage_data();
    void errorCodesInALanguage();
    void hex_data();
    void hex();
    void network_data();
    void network();
    void pointFiles();
    void pointFileConversionInterrupted();
    void pointFileInfo();
    void mfaNew_data();
    void mfaNew();
    void mfaNewMakesTheGuidesExample();
    void mfaNewRefuses_data();
    void mfaNewRefuses();
    void mfaNewReplacesNothing();
    void mfaNewFollowsTheKernelsPath();
#ifdef COMMONTOOLS_MISSING_CALLS
    void mfaNewWithoutTheUsualCalls_data();
    void mfaNewWithoutTheUsualCalls();
#endif
    void settingsCommands();
    void systemCommands();
    void bench_data();
    void bench();

private:
    // The tool of the build tree, or the installed one the runner names.
    static QString toolPath() { return TestFiles::locate("COMMONTOOLS_TEST_TOOL", COMMONTOOLS_TOOL_PATH); }

    // Runs the tool with the test's own application name.
    Result run(const QStringList& arguments, const QMap<QString, QString>& environment = {}) const
    {
        TestProcess::Options options;
        options.arguments = QStringList{QStringLiteral("--ini"), m_appIni} + arguments;
        options.setEnvironment = environment;
        // Its output in UTF-8, whatever the test's locale.
        options.setEnvironment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
        const TestProcess::Result run = TestProcess::run(toolPath(), options);
        Result result;
        result.exitCode = run.termSignal == 0 && !run.timedOut ? run.exitCode : -1;
        result.out = QString::fromUtf8(run.out);
        result.err = QString::fromUtf8(run.err);
        return result;
    }
    QString customConfig() const
    {
        return QStringLiteral("/opt/%1/bin/Cfg/CustomConfig.ini").arg(m_appName);
    }

    QTemporaryDir m_dir;
    QString m_appName;
    QString m_appIni;
};

void TestTool::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_appName = Scenario::uniqueAppName();
    m_appIni = m_dir.filePath(QStringLiteral("app.ini"));
    QSettings ini(m_appIni, QSettings::IniFormat);
    ini.setValue(QStringLiteral("APPName"), m_appName);
    ini.setValue(QStringLiteral("SoftwareVersion"), QStringLiteral("4.5.6"));
    ini.sync();
    QCOMPARE(ini.status(), QSettings::NoError);
}

void TestTool::cleanupTestCase()
{
    Scenario::removeTestOptDir(m_appName);
}

void TestTool::usage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("outContains");
    QTest::addColumn<QString>("errContains");

    QTest::newRow("nothing") << QStringList() << 2 << QStringLiteral("Commands:") << QString();
    QTest::newRow("--help") << QStringList{QStringLiteral("--help")} << 0 << QStringLiteral("mfa2txt") << QString();
    QTest::newRow("unknown command") << QStringList{QStringLiteral("frobnicate")} << 2 << QString()
                                     << QStringLiteral("unknown command 'frobnicate'");
    QTest::newRow("unknown option") << QStringList{QStringLiteral("--frobnicate")} << 2 << QString()
                                    << QStringLiteral("frobnicate");
    QTest::newRow("info with arguments") << QStringList{QStringLiteral("info"), QStringLiteral("x")} << 2 << QString()
                                         << QStringLiteral("info takes no arguments");
}

void TestTool::usage()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, outContains);
    QFETCH(QString, errContains);

    const Result result = run(arguments);
    QCOMPARE(result.exitCode, exitCode);
    QVERIFY2(result.out.contains(outContains), qPrintable(result.out));
    QVERIFY2(result.err.contains(errContains), qPrintable(result.err));
}

void TestTool::everyCommandHasHelp()
{
    for (const char* command : {"info", "demo", "calc", "error", "hex", "ip", "mask", "mac", "mfa2txt", "txt2mfa",
                                "crc32", "mfa-info", "mfa-new", "config", "filters", "sysinfo", "disk", "writable"}) {
        const Result result = run({QLatin1String(command), QStringLiteral("--help")});
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(result.out.contains(QStringLiteral("commontools ") + QLatin1String(command)), qPrintable(result.out));
    }
}

void TestTool::info()
{
    const Result result = run({QStringLiteral("info")});
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.out.contains(QRegularExpression(QStringLiteral("Application name: +%1\n").arg(m_appName))), qPrintable(result.out));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Software version: +4.5.6\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Architecture: +armhf\n"))));
    QVERIFY(result.out.contains(QStringLiteral("/opt/%1/bin/Temp").arg(m_appName)));
    QVERIFY(QFileInfo(QStringLiteral("/opt/%1/bin/Temp").arg(m_appName)).isDir());
}

void TestTool::demo()
{
    const Result result = run({QStringLiteral("demo")});
    QCOMPARE(result.exitCode, 0);
    for (const char* section : {"Application identity and directories", "Language, version and settings",
                                "Enumeration filters and features", "Shell commands and processes", "System and storage",
                                "Expression calculator", "Result codes and hexadecimal text", "Text in code pages",
                                "Addresses and numbers", "Point files", "Logging"})
        QVERIFY2(result.out.contains(QStringLiteral("== %1 ==").arg(QLatin1String(section))), section);
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Compute\\(\\(1>2\\)\\?5:max\\(6,7\\)\\): +7\n"))));
    QVERIFY(result.out.contains(QStringLiteral("(Error Code : 0x90006607) Login failed")));
    // The messages follow installTranslation, and the tool's language after.
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("after installTranslation\\(CH\\): +登录失败\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("after installTranslation\\(ENG\\): +Login failed\n"))));
    QVERIFY(result.out.contains(QStringLiteral("x=31,y=62")) || result.out.contains(QStringLiteral("x=30,y=60")));
    QVERIFY2(result.out.contains(QStringLiteral("a warning from the client")), qPrintable(result.out));
}

void TestTool::demoInChinese()
{
    const Result result = run({QStringLiteral("--language"), QStringLiteral("CH"), QStringLiteral("demo")});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.contains(QStringLiteral("(错误码 : 0x90006607) 登录失败")));
    QVERIFY(result.out.contains(QStringLiteral("(错误码 : 0x70000016) 设备不可达。请使用 IP 配置工具修改其 IP 地址。")));
}

void TestTool::demoFindsItsOwnProcess()
{
    // pidof knows a process by its program's name; under an emulator the
    // program is the emulator, and the tool cannot find itself by name.
    if (!TestProcess::emulatorCommand().isEmpty())
        QSKIP("under an emulator the tool's process carries the emulator's name");
    const Result result = run({QStringLiteral("demo")});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("finds this process: +true"))));
}

void TestTool::calc_data()
{
    QTest::addColumn<QStringList>("expressions");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("out");
    QTest::addColumn<QString>("err");

    QTest::newRow("two") << QStringList{QStringLiteral("1+2*3"), QStringLiteral("(1>2)?5:max(6,7)")} << 0
                         << QStringLiteral("7\n7\n") << QString();
    QTest::newRow("fractions") << QStringList{QStringLiteral("1/4"), QStringLiteral("0xff+1")} << 0
                               << QStringLiteral("0.25\n256\n") << QString();
    QTest::newRow("leading minus") << QStringList{QStringLiteral("-5")} << 0 << QStringLiteral("-5\n") << QString();
    QTest::newRow("after --") << QStringList{QStringLiteral("--"), QStringLiteral("-2*3")} << 0 << QStringLiteral("-6\n")
                              << QString();
    QTest::newRow("failure") << QStringList{QStringLiteral("5/0"), QStringLiteral("2")} << 1 << QStringLiteral("2\n")
                             << QStringLiteral("commontools: calc: '5/0': compute failed.call mathfun failed. the operator '/'.args:'5,0'\n");
    QTest::newRow("nothing") << QStringList() << 2 << QString() << QStringLiteral("commontools: calc needs at least one expression\n");
}

void TestTool::calc()
{
    QFETCH(QStringList, expressions);
    QFETCH(int, exitCode);
    QFETCH(QString, out);
    QFETCH(QString, err);

    const Result result = run(QStringList{QStringLiteral("calc")} + expressions);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.out, out);
    QCOMPARE(result.err, err);
}

void TestTool::errorCodes_data()
{
    QTest::addColumn<QStringList>("codes");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("out");

    QTest::newRow("two") << QStringList{QStringLiteral("0x90006607"), QStringLiteral("0x7000001C")} << 0
                         << QStringLiteral("(Error Code : 0x90006607) Login failed\n"
                                           "(Error Code : 0x7000001c) Operation failed.\n");
    QTest::newRow("negative") << QStringList{QStringLiteral("-1")} << 0
                              << QStringLiteral("(Error Code : 0xffffffff) Operation failed.\n");
    QTest::newRow("decimal") << QStringList{QStringLiteral("1879048210")} << 0
                             << QStringLiteral("(Error Code : 0x70000012) The pixel format is not supported.\n");
    QTest::newRow("not a code") << QStringList{QStringLiteral("zz")} << 2 << QString();
    QTest::newRow("too large") << QStringList{QStringLiteral("0x100000000")} << 2 << QString();
}

void TestTool::errorCodes()
{
    QFETCH(QStringList, codes);
    QFETCH(int, exitCode);
    QFETCH(QString, out);

    const Result result = run(QStringList{QStringLiteral("error")} + codes);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.out, out);
}

void TestTool::errorCodesInALanguage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("out");

    QTest::newRow("CH") << QStringList{QStringLiteral("--language"), QStringLiteral("CH"), QStringLiteral("error"),
                                       QStringLiteral("0x90006607"), QStringLiteral("0x7000001C")}
                        << 0 << QStringLiteral("(错误码 : 0x90006607) 登录失败\n(错误码 : 0x7000001c) 操作失败。\n");
    QTest::newRow("ENG") << QStringList{QStringLiteral("--language"), QStringLiteral("ENG"), QStringLiteral("error"),
                                        QStringLiteral("0x90006607")}
                         << 0 << QStringLiteral("(Error Code : 0x90006607) Login failed\n");
    QTest::newRow("unknown language") << QStringList{QStringLiteral("--language"), QStringLiteral("FR"),
                                                     QStringLiteral("error"), QStringLiteral("1")}
                                      << 2 << QString();
}

void TestTool::errorCodesInALanguage()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, out);
    const Result result = run(arguments);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.out, out);
    if (exitCode == 2)
        QVERIFY(result.err.contains(QStringLiteral("--language takes CH or ENG")));
}

void TestTool::hex_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("out");

    QTest::newRow("255 0 4") << QStringList{QStringLiteral("255"), QStringLiteral("0"), QStringLiteral("4")} << 0
                             << QStringLiteral("0x00FF\n");
    QTest::newRow("-1 0 0") << QStringList{QStringLiteral("-1"), QStringLiteral("0"), QStringLiteral("0")} << 0
                            << QStringLiteral("0xFFFFFFFF\n");
    QTest::newRow("0 0 0") << QStringList{QStringLiteral("0"), QStringLiteral("0"), QStringLiteral("0")} << 0
                           << QStringLiteral("0x\n");
    QTest::newRow("halves") << QStringList{QStringLiteral("0x12345678"), QStringLiteral("0xAB"), QStringLiteral("12")} << 0
                            << QStringLiteral("0x00AB12345678\n");
    QTest::newRow("two arguments") << QStringList{QStringLiteral("1"), QStringLiteral("2")} << 2 << QString();
}

void TestTool::hex()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, out);

    const Result result = run(QStringList{QStringLiteral("hex")} + arguments);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.out, out);
}

void TestTool::network_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("out");

    QTest::newRow("ip check") << QStringList{QStringLiteral("ip"), QStringLiteral("check"), QStringLiteral("1.2.3.4"),
                                             QStringLiteral("127.0.0.1")}
                              << 1 << QStringLiteral("1.2.3.4: usable\n127.0.0.1: not usable\n");
    QTest::newRow("ip toint") << QStringList{QStringLiteral("ip"), QStringLiteral("toint"), QStringLiteral("192.168.0.1")}
                              << 0 << QStringLiteral("192.168.0.1: -1062731775 (0xC0A80001)\n");
    QTest::newRow("ip tostr") << QStringList{QStringLiteral("ip"), QStringLiteral("tostr"), QStringLiteral("0xC0A80001"),
                                             QStringLiteral("-1")}
                              << 0 << QStringLiteral("192.168.0.1\n255.255.255.255\n");
    QTest::newRow("ip unknown action") << QStringList{QStringLiteral("ip"), QStringLiteral("ping"), QStringLiteral("x")}
                                       << 2 << QString();
    QTest::newRow("mask check") << QStringList{QStringLiteral("mask"), QStringLiteral("check"), QStringLiteral("255.255.255.0")}
                                << 0 << QStringLiteral("255.255.255.0: valid\n");
    QTest::newRow("mask 31 bits") << QStringList{QStringLiteral("mask"), QStringLiteral("check"), QStringLiteral("255.255.255.254")}
                                  << 1 << QStringLiteral("255.255.255.254: not valid\n");
    QTest::newRow("mac tostr halves") << QStringList{QStringLiteral("mac"), QStringLiteral("tostr"), QStringLiteral("0x11"),
                                                     QStringLiteral("0x22334455")}
                                      << 0 << QStringLiteral("00:11:22:33:44:55\n");
    QTest::newRow("mac tostr value") << QStringList{QStringLiteral("mac"), QStringLiteral("tostr"), QStringLiteral("0xAB0011223344")}
                                     << 0 << QStringLiteral("AB:00:11:22:33:44\n");
    QTest::newRow("mac toint") << QStringList{QStringLiteral("mac"), QStringLiteral("toint"), QStringLiteral("00:11:22:33:44:55")}
                               << 0 << QStringLiteral("high 0x00000011 low 0x22334455\n");
    QTest::newRow("mac toint bad") << QStringList{QStringLiteral("mac"), QStringLiteral("toint"), QStringLiteral("00-11")}
                                   << 1 << QString();
}

void TestTool::network()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, out);

    const Result result = run(arguments);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.out, out);
}

void TestTool::pointFiles()
{
    const QString mfa = m_dir.filePath(QStringLiteral("points.mfa"));
    const QString txt = m_dir.filePath(QStringLiteral("points.txt"));
    QVERIFY(TestFiles::writeFile(mfa, Mfa::mfaFile("Unit:4 Valid:3 Endian:L Meaning:x", QByteArray("\x0a\0\x14\0\x1e\0\x28\0", 8))));

    Result result = run({QStringLiteral("mfa2txt"), mfa});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, QStringLiteral("Wrote %1\n").arg(txt));
    QCOMPARE(result.err, QString()); // no progress bar without a terminal
    QCOMPARE(TestFiles::readFile(txt), QByteArray("x=10,y=20\nx=30,y=40\n"));

    QVERIFY(TestFiles::writeFile(txt, "x=1,y=2\nx=3,y=4\n"));
    result = run({QStringLiteral("txt2mfa"), mfa});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, QStringLiteral("Wrote %1\n").arg(mfa));
    const QByteArray file = TestFiles::readFile(mfa);
    QCOMPARE(file.mid(Mfa::kMfaDataOffset), QByteArray("\x01\0\x02\0\x03\0\x04\0", 8));

    // The checksum of the covered region, as the header asks for.
    const QString region = m_dir.filePath(QStringLiteral("region.bin"));
    QVERIFY(TestFiles::writeFile(region, file.mid(16)));
    result = run({QStringLiteral("crc32"), region});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, QStringLiteral("0x%1\n").arg(Mfa::expectedCrc(file), 8, 16, QLatin1Char('0')).toUpper().replace(QStringLiteral("0X"), QStringLiteral("0x")));
    QCOMPARE(Mfa::getU32(file, 4), Mfa::expectedCrc(file));

    // Continuing over the second half gives the same.
    const QString head = m_dir.filePath(QStringLiteral("head.bin"));
    const QString tail = m_dir.filePath(QStringLiteral("tail.bin"));
    QVERIFY(TestFiles::writeFile(head, file.mid(16, 100)));
    QVERIFY(TestFiles::writeFile(tail, file.mid(116)));
    const QString headCrc = run({QStringLiteral("crc32"), head}).out.trimmed();
    result = run({QStringLiteral("crc32"), QStringLiteral("--continue"), headCrc, tail});
    QCOMPARE(result.out.trimmed(), run({QStringLiteral("crc32"), region}).out.trimmed());

    // Nothing to convert: no text file beside it.
    QVERIFY(QFile::remove(txt));
    result = run({QStringLiteral("txt2mfa"), mfa});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.startsWith(QStringLiteral("Nothing to convert")));

    // A failure: the checksum does not match.
    QByteArray broken = file;
    broken[Mfa::kMfaDataOffset] = '\x09';
    QVERIFY(TestFiles::writeFile(mfa, broken));
    result = run({QStringLiteral("mfa2txt"), mfa});
    QCOMPARE(result.exitCode, 1);
    QVERIFY(result.err.contains(QStringLiteral("was not converted")));

    result = run({QStringLiteral("crc32"), m_dir.filePath(QStringLiteral("missing"))});
    QCOMPARE(result.exitCode, 1);
}

void TestTool::pointFileConversionInterrupted()
{
    // Ctrl+C during a conversion: exit status 130, the old file kept and
    // nothing new beside it. The signal must land while the conversion
    // runs: later and later until it does.
    const QString mfa = m_dir.filePath(QStringLiteral("interrupted.mfa"));
    const QString txt = m_dir.filePath(QStringLiteral("interrupted.txt"));
    QByteArray records(16 << 20, '\0');
    QRandomGenerator(130).fillRange(reinterpret_cast<quint32*>(records.data()), records.size() / 4);
    QVERIFY(TestFiles::writeFile(mfa, Mfa::mfaFile("Unit:4 Valid:3 Endian:L Meaning:x", records)));
    QVERIFY(TestFiles::writeFile(txt, "the old text\n"));
    const QStringList before = QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);

    bool interrupted = false;
    int early = 0;      // a delay known to be too early
    int late = 100000;  // and one known to be too late
    for (int attempt = 0, delayMs = 20; !interrupted && attempt < 12; ++attempt) {
        QVERIFY(TestFiles::writeFile(txt, "the old text\n"));
        TestProcess::Child child;
        TestProcess::Options options;
        options.arguments = QStringList{QStringLiteral("--ini"), m_appIni, QStringLiteral("mfa2txt"), mfa};
        QVERIFY(child.start(toolPath(), options));
        QThread::msleep(delayMs);
        child.kill(SIGINT);
        QVERIFY(child.waitForFinished(120000));
        const TestProcess::Result& result = child.result();
        if (result.termSignal == SIGINT || result.exitCode == 0) {
            // Before the tool took the signal over, or after the conversion.
            (result.exitCode == 0 ? late : early) = delayMs;
            delayMs = late == 100000 ? delayMs * 2 : (early + late) / 2;
            if (late - early < 2)
                QSKIP("no moment for the signal to land during the conversion");
            continue;
        }
        QCOMPARE(result.exitCode, 130);
        QVERIFY2(result.err.contains("interrupted"), result.err.constData());
        interrupted = true;
    }
    QVERIFY(interrupted);
    QCOMPARE(TestFiles::readFile(txt), QByteArray("the old text\n"));
    QCOMPARE(QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), before);
}

void TestTool::pointFileInfo()
{
    const QString mfa = m_dir.filePath(QStringLiteral("info.mfa"));
    QVERIFY(TestFiles::writeFile(mfa, Mfa::mfaFile("Unit:2 Valid:3 Endian:B", QByteArray(6, '\x01'))));
    Result result = run({QStringLiteral("mfa-info"), mfa});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Magic: +0x5A5AAA55\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Data offset: +256\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Descriptor: +Unit:2 Valid:3 Endian:B\n"))));
    // The codes, each with what it means.
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Unit: +2 bytes per record\n"))));
    QVERIFY(result.out.contains(QRegularExpression(
            QStringLiteral("Valid: +1 = all four bytes \\(Valid:3\\) \\(used by 4-byte records only\\)\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Endian: +0 = big-endian \\(Endian:B\\)\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Meaning: +0 = one number per record\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Records: +3 \\(lines that mfa2txt writes\\)\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Records of txt2mfa: +3 \\(lines that the text must have\\)\n"))));
    QVERIFY2(result.out.contains(QStringLiteral("(matches)")), qPrintable(result.out));

    // A layout without records, and a checksum after the records.
    Mfa::Contents contents;
    contents.descriptor = "Unit:4 Valid:1 Endian:L Meaning:y";
    contents.records = QByteArray(8, '\x02');
    contents.crcPlace = Mfa::CrcPlace::AfterRecords;
    QVERIFY(TestFiles::writeFile(mfa, Mfa::mfaFile(contents)));
    result = run({QStringLiteral("mfa-info"), mfa});
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Valid: +0 = no layout, records read as 0 \\(Valid:1\\)\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Meaning: +2 = x/y pairs, x in the high half \\(Meaning:y\\)\n"))));
    QVERIFY2(result.out.contains(QRegularExpression(QStringLiteral("Checksum place: +after the records: the text does not import back\n"))),
             qPrintable(result.out));
    QVERIFY2(result.out.contains(QStringLiteral("(matches)")), qPrintable(result.out));

    // A descriptor longer than a page, its codes at its end: read to its NUL.
    contents = Mfa::Contents();
    contents.descriptor = QByteArray(6000, '-') + " Unit:1 Valid:3 Endian:L";
    contents.records = QByteArray(5, '\x07');
    contents.dataOffset = 6148; // past the descriptor's NUL
    QVERIFY(TestFiles::writeFile(mfa, Mfa::mfaFile(contents)));
    result = run({QStringLiteral("mfa-info"), mfa});
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.out.contains(QRegularExpression(QStringLiteral("Descriptor: +-{200}\\.\\.\\. \\(6024 characters\\)\n"))),
             qPrintable(result.out));
    QVERIFY2(result.out.contains(QRegularExpression(QStringLiteral("Unit: +1 bytes per record\n"))), qPrintable(result.out));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Records: +5 \\(lines that mfa2txt writes\\)\n"))));
    QVERIFY2(result.out.contains(QStringLiteral("(matches)")), qPrintable(result.out));

    QVERIFY(TestFiles::writeFile(mfa, QByteArray(10, '\x01')));
    result = run({QStringLiteral("mfa-info"), mfa});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.contains(QStringLiteral("(not a point file)")));
    QVERIFY(result.out.contains(QStringLiteral("outside the file")));
}

void TestTool::mfaNew_data()
{
    QTest::addColumn<QString>("descriptor");
    QTest::addColumn<QStringList>("source"); // a text's lines, or --records N
    QTest::addColumn<QByteArray>("exported");
    QTest::addColumn<int>("size");

    QTest::newRow("x/y pairs") << QStringLiteral("Unit:4 Valid:3 Endian:L Meaning:x")
                               << QStringList{QStringLiteral("text"), QStringLiteral("x=10,y=20\nx=300,y=40\n")}
                               << QByteArray("x=10,y=20\nx=300,y=40\n") << 264;
    QTest::newRow("big-endian, last line open") << QStringLiteral("Unit:2 Valid:3 Endian:B")
                                                << QStringList{QStringLiteral("text"), QStringLiteral("1\n65535\n7")}
                                                << QByteArray("1\n65535\n7\n") << 262;
    QTest::newRow("first two of four") << QStringLiteral("Unit:4 Valid:L Endian:B Meaning:y")
                                       << QStringList{QStringLiteral("text"), QStringLiteral("x=0,y=258\n")}
                                       << QByteArray("x=0,y=258\n") << 260;
    QTest::newRow("five zero bytes") << QStringLiteral("Unit:1 Valid:1 Endian:L")
                                     << QStringList{QStringLiteral("--records"), QStringLiteral("5")}
                                     << QByteArray("0\n0\n0\n0\n0\n") << 261;
    QTest::newRow("no records") << QStringLiteral("Unit:4 Valid:3 Endian:L Meaning:x")
                                << QStringList{QStringLiteral("--records"), QStringLiteral("0")} << QByteArray("") << 256;
    const QString longDescriptor = QStringLiteral("Unit:2 Valid:3 Endian:L ") + QString(150, QLatin1Char('-'));
    QTest::newRow("long descriptor") << longDescriptor << QStringList{QStringLiteral("--records"), QStringLiteral("2")}
                                     << QByteArray("0\n0\n") << 304 + 4; // records at 304, after the descriptor
}

void TestTool::mfaNew()
{
    QFETCH(QString, descriptor);
    QFETCH(QStringList, source);
    QFETCH(QByteArray, exported);
    QFETCH(int, size);

    const QString folder = m_dir.filePath(QStringLiteral("new-") + folderName(QTest::currentDataTag()));
    QVERIFY(QDir().mkpath(folder));
    const QString mfa = folder + QStringLiteral("/made.mfa");
    QStringList arguments{QStringLiteral("mfa-new"), descriptor, mfa};
    if (source.first() == QLatin1String("text")) {
        const QString text = folder + QStringLiteral("/records.txt");
        QVERIFY(TestFiles::writeFile(text, source.at(1).toUtf8()));
        arguments.append(text);
    } else {
        arguments += source;
    }
    // Made as any new file is, not private: under a umask that leaves
    // the group's bits.
    const mode_t mask = ::umask(0002);
    Result result = run(arguments);
    ::umask(mask);
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.out.startsWith(QStringLiteral("Wrote %1: ").arg(mfa)), qPrintable(result.out));
    const QByteArray file = TestFiles::readFile(mfa);
    QCOMPARE(file.size(), size);
    struct stat status;
    QCOMPARE(::stat(QFile::encodeName(mfa).constData(), &status), 0);
    QCOMPARE(status.st_mode & 0777, 0664u);
    QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot).size(),
             source.first() == QLatin1String("text") ? 2 : 1);
    QCOMPARE(Mfa::getU32(file, 0), Mfa::kMfaMagic);
    QCOMPARE(Mfa::getU32(file, 12), Mfa::expectedCrc(file));
    QCOMPARE(file.mid(120, descriptor.size() + 1), descriptor.toLatin1() + '\0');

    result = run({QStringLiteral("mfa-info"), mfa});
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.out.contains(QStringLiteral("(matches)")), qPrintable(result.out));
    QVERIFY(!result.out.contains(QStringLiteral("not a point file")));
    QVERIFY(!result.out.contains(QStringLiteral("beyond the file")));
    QVERIFY(!result.out.contains(QStringLiteral("not usable")));

    result = run({QStringLiteral("mfa2txt"), mfa});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, QStringLiteral("Wrote %1/made.txt\n").arg(folder));
    QCOMPARE(TestFiles::readFile(folder + QStringLiteral("/made.txt")), exported);

    // And back: the file converts both ways.
    result = run({QStringLiteral("txt2mfa"), mfa});
    if (!exported.isEmpty()) {
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(TestFiles::readFile(mfa), file);
    }
}

void TestTool::mfaNewMakesTheGuidesExample()
{
    const QString page = Guides::page(QStringLiteral("pointfile-format.md"));
    const QRegularExpressionMatch command =
            QRegularExpression(QStringLiteral("commontools mfa-new \"([^\"]*)\" points.mfa points-in.txt")).match(page);
    QVERIFY(command.hasMatch());
    const QByteArray example = Guides::fromHexdump(Guides::exampleBlock(page, QStringLiteral("points.mfa")));
    QVERIFY(!example.isEmpty());

    const QString folder = m_dir.filePath(QStringLiteral("guide"));
    QVERIFY(TestFiles::writeFile(folder + QStringLiteral("/points-in.txt"),
                                 Guides::exampleBlock(page, QStringLiteral("points.txt")).toUtf8()));
    const Result result = run({QStringLiteral("mfa-new"), command.captured(1), folder + QStringLiteral("/points.mfa"),
                               folder + QStringLiteral("/points-in.txt")});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(TestFiles::readFile(folder + QStringLiteral("/points.mfa")).toHex(' '), example.toHex(' '));
}

void TestTool::mfaNewRefuses_data()
{
    QTest::addColumn<QStringList>("arguments"); // FILE stands for the new file, TEXT for a text of two lines
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("error");

    const QString layout = QStringLiteral("Unit:4 Valid:3 Endian:L");
    QTest::newRow("no source") << QStringList{layout, QStringLiteral("FILE")} << 2 << QStringLiteral("either a text file or --records");
    QTest::newRow("two sources") << QStringList{QStringLiteral("--records"), QStringLiteral("1"), layout, QStringLiteral("FILE"),
                                                QStringLiteral("TEXT")}
                                 << 2 << QStringLiteral("either a text file or --records");
    QTest::newRow("no Endian:") << QStringList{QStringLiteral("Unit:4 Valid:3"), QStringLiteral("FILE"), QStringLiteral("TEXT")}
                                << 2 << QStringLiteral("is not a descriptor");
    QTest::newRow("Unit:3") << QStringList{QStringLiteral("Unit:3 Valid:3 Endian:L"), QStringLiteral("FILE"), QStringLiteral("TEXT")}
                            << 2 << QStringLiteral("has no record layout");
    QTest::newRow("Unit:4 Valid:1") << QStringList{QStringLiteral("Unit:4 Valid:1 Endian:L"), QStringLiteral("FILE"),
                                                   QStringLiteral("TEXT")}
                                    << 2 << QStringLiteral("has no record layout");
    QTest::newRow("Unit:0") << QStringList{QStringLiteral("Unit:0 Valid:3 Endian:L"), QStringLiteral("FILE"), QStringLiteral("TEXT")}
                            << 2 << QStringLiteral("has no record layout");
    QTest::newRow("Format:txt") << QStringList{QStringLiteral("Format:txt Unit:1 Valid:3 Endian:L"), QStringLiteral("FILE"),
                                               QStringLiteral("TEXT")}
                                << 2 << QStringLiteral("not Format:txt files");
    QTest::newRow("not Latin-1") << QStringList{QStringLiteral("Unit:4 Valid:3 Endian:L 深"), QStringLiteral("FILE"),
                                                QStringLiteral("TEXT")}
                                 << 2 << QStringLiteral("is not a descriptor");
    QTest::newRow("negative count") << QStringList{QStringLiteral("--records"), QStringLiteral("-1"), layout, QStringLiteral("FILE")}
                                    << 2 << QStringLiteral("is not a number of records");
    QTest::newRow("too many") << QStringList{QStringLiteral("--records"), QStringLiteral("600000000"), layout, QStringLiteral("FILE")}
                              << 1 << QStringLiteral("too large");
    QTest::newRow("no .mfa") << QStringList{layout, QStringLiteral("BIN"), QStringLiteral("TEXT")}
                             << 2 << QStringLiteral("must hold \".mfa\"");
    QTest::newRow("missing text") << QStringList{layout, QStringLiteral("FILE"), QStringLiteral("MISSING")} << 1
                                  << QStringLiteral("cannot read");
    QTest::newRow("empty text") << QStringList{layout, QStringLiteral("FILE"), QStringLiteral("EMPTY")} << 1
                                << QStringLiteral("is empty");
    QTest::newRow("existing file") << QStringList{layout, QStringLiteral("EXISTING"), QStringLiteral("TEXT")} << 1
                                   << QStringLiteral("exists already");
}

void TestTool::mfaNewRefuses()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, error);

    const QString folder = m_dir.filePath(QStringLiteral("refused-") + folderName(QTest::currentDataTag()));
    QVERIFY(QDir().mkpath(folder));
    const QByteArray existing("not to be replaced");
    QVERIFY(TestFiles::writeFile(folder + QStringLiteral("/text.txt"), "1\n2\n"));
    QVERIFY(TestFiles::writeFile(folder + QStringLiteral("/empty.txt"), ""));
    QVERIFY(TestFiles::writeFile(folder + QStringLiteral("/existing.mfa"), existing));
    const QMap<QString, QString> files{{QStringLiteral("FILE"), QStringLiteral("/new.mfa")},
                                       {QStringLiteral("BIN"), QStringLiteral("/new.bin")},
                                       {QStringLiteral("TEXT"), QStringLiteral("/text.txt")},
                                       {QStringLiteral("MISSING"), QStringLiteral("/missing.txt")},
                                       {QStringLiteral("EMPTY"), QStringLiteral("/empty.txt")},
                                       {QStringLiteral("EXISTING"), QStringLiteral("/existing.mfa")}};
    for (QString& argument : arguments) {
        if (files.contains(argument))
            argument = folder + files.value(argument);
    }
    const Result result = run(QStringList{QStringLiteral("mfa-new")} + arguments);
    QCOMPARE(result.exitCode, exitCode);
    QVERIFY2(result.err.contains(error), qPrintable(result.err));
    QVERIFY(!QFileInfo::exists(folder + QStringLiteral("/new.mfa")));
    QCOMPARE(TestFiles::readFile(folder + QStringLiteral("/existing.mfa")), existing);
    QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden).size(), 3);
}

// Whatever is at the new file's name by the time it is written (here a
// symbolic link to nothing, which the check before does not see) stays.
void TestTool::mfaNewReplacesNothing()
{
    const QString folder = m_dir.filePath(QStringLiteral("replaces-nothing"));
    QVERIFY(QDir().mkpath(folder));
    const QString mfa = folder + QStringLiteral("/new.mfa");
    const QString linkTarget = folder + QStringLiteral("/elsewhere.mfa");
    QVERIFY(QFile::link(linkTarget, mfa));

    const Result result = run({QStringLiteral("mfa-new"), QStringLiteral("Unit:4 Valid:3 Endian:L"), mfa,
                               QStringLiteral("--records"), QStringLiteral("3")});
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.err.contains(QStringLiteral("%1 exists already").arg(mfa)), qPrintable(result.err));
    QCOMPARE(QFileInfo(mfa).symLinkTarget(), linkTarget);
    QVERIFY(!QFileInfo::exists(linkTarget));
    // Nothing left beside it.
    QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("new.mfa")});
}

// A name through a symbolic link and ".." is where the kernel finds it,
// for the check and the write alike.
void TestTool::mfaNewFollowsTheKernelsPath()
{
    const QString folder = m_dir.filePath(QStringLiteral("kernels-path"));
    QVERIFY(QDir().mkpath(folder + QStringLiteral("/other/deeper")));
    QVERIFY(QFile::link(folder + QStringLiteral("/other/deeper"), folder + QStringLiteral("/link")));
    const QString mfa = folder + QStringLiteral("/link/../new.mfa"); // other/new.mfa

    Result result = run({QStringLiteral("mfa-new"), QStringLiteral("Unit:1 Valid:3 Endian:L"), mfa,
                         QStringLiteral("--records"), QStringLiteral("2")});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(TestFiles::readFile(folder + QStringLiteral("/other/new.mfa")).size(), 258);
    QVERIFY(!QFileInfo::exists(folder + QStringLiteral("/new.mfa")));

    result = run({QStringLiteral("mfa-new"), QStringLiteral("Unit:1 Valid:3 Endian:L"), mfa, QStringLiteral("--records"),
                  QStringLiteral("5")});
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.err.contains(QStringLiteral("exists already")), qPrintable(result.err));
    QCOMPARE(TestFiles::readFile(folder + QStringLiteral("/other/new.mfa")).size(), 258);
    QCOMPARE(QDir(folder + QStringLiteral("/other")).entryList(QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral("new.mfa")});
}

#ifdef COMMONTOOLS_MISSING_CALLS
void TestTool::mfaNewWithoutTheUsualCalls_data()
{
    QTest::addColumn<QString>("missing");

    QTest::newRow("no rename that refuses to replace (NFS)") << QStringLiteral("renameat2");
    QTest::newRow("nor hard links") << QStringLiteral("renameat2 linkat");
}

// Where a file system lacks the rename that replaces nothing, a link puts
// the new file in place whole, and still replaces nothing; without links
// either, nothing is written.
void TestTool::mfaNewWithoutTheUsualCalls()
{
    QFETCH(QString, missing);
    const bool canLink = !missing.contains(QLatin1String("linkat"));

    const QString folder = m_dir.filePath(QStringLiteral("without-") + folderName(QTest::currentDataTag()));
    QVERIFY(QDir().mkpath(folder));
    const QString log = m_dir.filePath(QStringLiteral("missing-calls-") + folderName(QTest::currentDataTag()));
    QMap<QString, QString> environment{{QStringLiteral("LD_PRELOAD"), QStringLiteral(COMMONTOOLS_MISSING_CALLS)},
                                       {QStringLiteral("COMMONTOOLS_TEST_MISSING_CALLS"), missing},
                                       {QStringLiteral("COMMONTOOLS_TEST_MISSING_LOG"), log}};
    // Under AddressSanitizer its runtime is not loaded first then.
    QString asanOptions = qEnvironmentVariable("ASAN_OPTIONS");
    if (!asanOptions.isEmpty())
        asanOptions += QLatin1Char(':');
    environment.insert(QStringLiteral("ASAN_OPTIONS"), asanOptions + QStringLiteral("verify_asan_link_order=0"));

    // A symbolic link to nothing at the name: the check before writing
    // does not see it, so that the refusal is the fallback's own.
    const QString mfa = folder + QStringLiteral("/new.mfa");
    const QString linked = folder + QStringLiteral("/linked.mfa");
    QVERIFY(QFile::link(folder + QStringLiteral("/nowhere.mfa"), linked));
    for (const QString& target : {mfa, linked}) {
        const Result result = run({QStringLiteral("mfa-new"), QStringLiteral("Unit:2 Valid:3 Endian:L"), target,
                                   QStringLiteral("--records"), QStringLiteral("3")},
                                  environment);
        if (target == mfa && canLink) {
            QCOMPARE(result.exitCode, 0);
        } else {
            QCOMPARE(result.exitCode, 1);
            const QString expected = canLink ? QStringLiteral("%1 exists already").arg(target)
                                             : QStringLiteral("can neither rename a file without replacing another "
                                                              "nor link it");
            QVERIFY2(result.err.contains(expected), qPrintable(result.err));
        }
    }
    // The calls were made to fail: each fallback was taken.
    const QStringList failed = QString::fromLatin1(TestFiles::readFile(log)).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(failed.count(QStringLiteral("renameat2")), 2);
    QCOMPARE(failed.count(QStringLiteral("linkat")), canLink ? 0 : 2);

    QVERIFY(QFileInfo(linked).isSymLink());
    QVERIFY(!QFileInfo::exists(folder + QStringLiteral("/nowhere.mfa")));
    QStringList expectedFiles{QStringLiteral("linked.mfa")};
    if (canLink) {
        const QByteArray file = TestFiles::readFile(mfa);
        QCOMPARE(file.size(), 262);
        QCOMPARE(Mfa::getU32(file, 12), Mfa::expectedCrc(file));
        expectedFiles.append(QStringLiteral("new.mfa"));
    }
    QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
             expectedFiles);
}
#endif

void TestTool::settingsCommands()
{
    QVERIFY(!QFileInfo::exists(customConfig()));
    // The filters are stored only in an existing file.
    Result result = run({QStringLiteral("filters"), QStringLiteral("--vendor-state"), QStringLiteral("1")});
    QCOMPARE(result.exitCode, 1);
    QVERIFY(result.err.contains(QStringLiteral("does not exist")));
    result = run({QStringLiteral("filters")});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Vendors included: +\\(not set\\)\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Basic features: +\"Quellon/quellon/Sarvendi/sarvendi/GEV/U3V\"\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Tools supported: +20\n"))));

    result = run({QStringLiteral("config"), QStringLiteral("set"), QStringLiteral("Theme"), QStringLiteral("dark")});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(TestFiles::iniLine(customConfig(), QStringLiteral("Theme")), QStringLiteral("Theme=\"@ByteArray(ZGFyaw==)\""));
    result = run({QStringLiteral("config"), QStringLiteral("get"), QStringLiteral("Theme")});
    QCOMPARE(result.out, QStringLiteral("dark\n"));
    result = run({QStringLiteral("config"), QStringLiteral("get"), QStringLiteral("Missing")});
    QCOMPARE(result.out, QStringLiteral("\n"));
    // Any text is kept.
    result = run({QStringLiteral("config"), QStringLiteral("set"), QStringLiteral("Theme"), QStringLiteral("深色 dark")});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(TestFiles::iniLine(customConfig(), QStringLiteral("Theme")), QStringLiteral("Theme=\"@ByteArray(5rex6ImyIGRhcms=)\""));
    result = run({QStringLiteral("config"), QStringLiteral("get"), QStringLiteral("Theme")});
    QCOMPARE(result.out, QStringLiteral("深色 dark\n"));
    result = run({QStringLiteral("config"), QStringLiteral("set"), QStringLiteral("Theme")});
    QCOMPARE(result.exitCode, 2);

    result = run({QStringLiteral("filters"), QStringLiteral("--vendor-state"), QStringLiteral("-3"),
                  QStringLiteral("--vendor-include"), QStringLiteral("A/B"), QStringLiteral("--model-exclude"), QString()});
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.out.contains(QRegularExpression(QStringLiteral("Vendor filter state: +-3\n"))), qPrintable(result.out));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Vendors included: +\"A/B\"\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Models excluded: +\"\"\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Model filter state: +0\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Basic features: +\"\"\n"))));
    QCOMPARE(TestFiles::iniLine(customConfig(), QStringLiteral("VendorInclude")), QStringLiteral("VendorInclude=@ByteArray(QS9C)"));
    QCOMPARE(TestFiles::iniLine(customConfig(), QStringLiteral("VendorFilter")), QStringLiteral("VendorFilter=-3"));

    result = run({QStringLiteral("filters"), QStringLiteral("--model-state"), QStringLiteral("many")});
    QCOMPARE(result.exitCode, 2);
}

void TestTool::systemCommands()
{
    Result result = run({QStringLiteral("sysinfo")});
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.out.contains(QRegularExpression(QStringLiteral("Processors: +%1\n").arg(sysconf(_SC_NPROCESSORS_CONF)))),
             qPrintable(result.out));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Byte order: +Little Endian\n"))));
    QVERIFY(result.out.contains(QRegularExpression(QStringLiteral("Memory: +[0-9]+ kB\n"))));

    result = run({QStringLiteral("disk"), m_dir.path(), QStringLiteral("0")});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, QStringLiteral("%1: not full for 0 bytes\n").arg(m_dir.path()));
    result = run({QStringLiteral("disk"), m_dir.path(), QStringLiteral("0x7fffffffffffffff")});
    QCOMPARE(result.exitCode, 1);
    QVERIFY(result.out.contains(QStringLiteral(": full for 9223372036854775807 bytes")));
    result = run({QStringLiteral("disk"), QStringLiteral("/nonexistent-ctt/x")});
    QCOMPARE(result.exitCode, 1);
    QVERIFY(result.out.contains(QStringLiteral("no volume to measure")));

    result = run({QStringLiteral("writable"), m_dir.path()});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, QStringLiteral("%1: writable\n").arg(m_dir.path()));
    QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("Permission.Test"))));
    result = run({QStringLiteral("writable"), m_dir.filePath(QStringLiteral("missing"))});
    QCOMPARE(result.exitCode, 1);
}

void TestTool::bench_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("err");
    QTest::newRow("measured briefly") << QStringList{QStringLiteral("--seconds"), QStringLiteral("0.02")} << 0 << QString();
    QTest::newRow("no seconds") << QStringList{QStringLiteral("--seconds"), QStringLiteral("0")} << 2
                                << QStringLiteral("commontools: --seconds takes a number of seconds up to 600\n");
    QTest::newRow("not a number") << QStringList{QStringLiteral("--seconds"), QStringLiteral("x")} << 2
                                  << QStringLiteral("commontools: --seconds takes a number of seconds up to 600\n");
    QTest::newRow("an argument") << QStringList{QStringLiteral("crc")} << 2
                                 << QStringLiteral("commontools: bench takes no arguments\n");
}

void TestTool::bench()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, err);
    const Result result = run(QStringList{QStringLiteral("bench")} + arguments);
    QCOMPARE(result.err, err);
    QCOMPARE(result.exitCode, exitCode);
    if (exitCode != 0)
        return;
    // Every measurement, each a positive rate, from the processor named.
    QVERIFY2(result.out.startsWith(QStringLiteral("Machine: %1, ").arg(QSysInfo::currentCpuArchitecture())),
             qPrintable(result.out));
    for (const char* what : {"checksum, 64 MiB from memory", "checksum, 256 KiB in the cache"})
        QVERIFY2(result.out.contains(QRegularExpression(QStringLiteral("  %1 +[0-9]*[1-9][0-9]*\\.[0-9] MB/s\n").arg(QLatin1String(what)))),
                 qPrintable(result.out));
    for (const char* what : {"point file to text, 1M records", "text to point file, 1M records"})
        QVERIFY2(result.out.contains(QRegularExpression(QStringLiteral("  %1 +[0-9]*[1-9][0-9]*\\.[0-9] records/s\n").arg(QLatin1String(what)))),
                 qPrintable(result.out));
}

QTEST_GUILESS_MAIN(TestTool)
#include "tst_tool.moc"
