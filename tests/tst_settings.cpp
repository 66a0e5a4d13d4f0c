// The settings convention, the language and the software version.

#include "support/faults.h"
#include "support/scenario.h"

#include <OrvFunction.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QSettings>
#include <QTest>
#include <QThread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace OrvInterface;

namespace {

QString customConfig()
{
    return programDataPath() + QStringLiteral("/CustomConfig.ini");
}

void reportConfigExists(const QString& key)
{
    Scenario::report(key, QFileInfo::exists(customConfig()));
}

} // namespace

COMMONTOOLS_SCENARIO(languageWithoutFile)
{
    Scenario::report(QStringLiteral("first"), language(false));
    reportConfigExists(QStringLiteral("createdByRead"));
    // The cache was left empty: the file is looked at again.
    {
        QSettings settings(customConfig(), QSettings::IniFormat);
        settings.setValue(QStringLiteral("Language"), QByteArray("CH").toBase64());
    }
    Scenario::report(QStringLiteral("second"), language(false));
}

COMMONTOOLS_SCENARIO(language)
{
    Scenario::report(QStringLiteral("language"), language(false));
}

COMMONTOOLS_SCENARIO(languageCacheAndReload)
{
    Scenario::report(QStringLiteral("stored"), language(false));
    setLanguage(QStringLiteral("XYZ"));
    Scenario::report(QStringLiteral("cached"), language(false));
    Scenario::report(QStringLiteral("reloaded"), language(true));
}

COMMONTOOLS_SCENARIO(storeLanguage)
{
    setLanguage(qEnvironmentVariable("CTT_LANGUAGE"));
    storeLanguage();
    reportConfigExists(QStringLiteral("exists"));
}

COMMONTOOLS_SCENARIO(detectedLanguageIsNotStored)
{
    Scenario::report(QStringLiteral("language"), language(false));
    QSettings settings(customConfig(), QSettings::IniFormat);
    Scenario::report(QStringLiteral("stored"), settings.contains(QStringLiteral("Language")));
}

COMMONTOOLS_SCENARIO(softwareVersion)
{
    Scenario::report(QStringLiteral("version"), softwareVersion());
    reportConfigExists(QStringLiteral("configExists"));
}

COMMONTOOLS_SCENARIO(softwareVersionIsCached)
{
    Scenario::report(QStringLiteral("first"), softwareVersion());
    {
        QSettings settings(customConfig(), QSettings::IniFormat);
        settings.setValue(QStringLiteral("SoftwareVersion"), QByteArray("9.9.9").toBase64());
    }
    Scenario::report(QStringLiteral("second"), softwareVersion());
}

// Several of these run at once: CTT_KEYS keys of writer CTT_WRITER each,
// or all the same key (CTT_SHARED set), through every kind of setter.
COMMONTOOLS_SCENARIO(writeKeys)
{
    const int writer = qEnvironmentVariableIntValue("CTT_WRITER");
    const int keys = qEnvironmentVariableIntValue("CTT_KEYS");
    const bool shared = qEnvironmentVariableIsSet("CTT_SHARED");
    for (int key = 0; key < keys; ++key) {
        const QString name = shared ? QStringLiteral("Shared") : QStringLiteral("w%1k%2").arg(writer).arg(key);
        setCustomConfig(name, QStringLiteral("value %1-%2").arg(writer).arg(key));
        // The other setters take the same lock, on keys all writers share.
        if (key % 10 == 0) {
            setVendorFilterState(writer);
            setModelFilterInclude(QStringLiteral("models of %1").arg(writer));
            setLanguage(QStringLiteral("L%1").arg(writer));
            storeLanguage();
        }
    }
}

// One write of CTT_VALUE under CTT_KEY, announced just before it starts.
COMMONTOOLS_SCENARIO(rewriteSettings)
{
    Scenario::report(QStringLiteral("writing"), true);
    setCustomConfig(qEnvironmentVariable("CTT_KEY"), qEnvironmentVariable("CTT_VALUE"));
}

COMMONTOOLS_SCENARIO(timedWrite)
{
    QElapsedTimer timer;
    timer.start();
    setCustomConfig(QStringLiteral("Timed"), QStringLiteral("written"));
    Scenario::report(QStringLiteral("ms"), timer.elapsed());
    Scenario::report(QStringLiteral("value"), getCustomConfig(QStringLiteral("Timed")));
}

COMMONTOOLS_SCENARIO(fullDiskSettings)
{
    Scenario::report(QStringLiteral("limited"), Faults::limitFileSize(qEnvironmentVariableIntValue("CTT_FSIZE")));
    // Each of these files is larger than the limit allows.
    setCustomConfig(QStringLiteral("Big"), QString(4096, QLatin1Char('b')));
    setModelFilterInclude(QString(4096, QLatin1Char('m')));
    setLanguage(QString(4096, QLatin1Char('l')));
    storeLanguage();
    Scenario::report(QStringLiteral("big"), getCustomConfig(QStringLiteral("Big")));
}

COMMONTOOLS_SCENARIO(readOnlyFolderSettings)
{
    Scenario::RunAsNobody nobody;
    Scenario::report(QStringLiteral("dropped"), nobody.dropped());
    setCustomConfig(QStringLiteral("Big"), QStringLiteral("new value"));
    setVendorFilterState(7);
    storeLanguage();
    Scenario::report(QStringLiteral("restored"), nobody.restore());
}

// Without CustomConfig.ini the filter setters create nothing; then
// setCustomConfig creates the file and nothing else.
COMMONTOOLS_SCENARIO(settersLeaveNothingNew)
{
    setVendorFilterState(1);
    setModelFilterState(1);
    setVendorFilterInclude(QStringLiteral("a"));
    setVendorFilterExclude(QStringLiteral("b"));
    setModelFilterInclude(QStringLiteral("c"));
    setModelFilterExclude(QStringLiteral("d"));
    Scenario::report(QStringLiteral("afterFilters"), Faults::entries(programDataPath()).join(QLatin1Char(',')));
    setCustomConfig(QStringLiteral("Key"), QStringLiteral("value"));
    setVendorFilterState(2);
    setLanguage(QStringLiteral("ENG"));
    storeLanguage();
    Scenario::report(QStringLiteral("afterWrites"), Faults::entries(programDataPath()).join(QLatin1Char(',')));
}

namespace {

constexpr int kWriters = 8;
constexpr int kKeysPerWriter = 50;
// Under an emulator or a sanitizer everything runs several times slower:
// fewer rounds there.
int rounds()
{
    return TestProcess::runsSlowly() ? 4 : 20;
}
constexpr int kFillerKeys = 400;

// Starts kWriters writers of run at once and waits for them all.
bool runWritersAtOnce(const Scenario::Run& run, bool shared, QString* output)
{
    TestProcess::Child writers[kWriters];
    for (int i = 0; i < kWriters; ++i) {
        QMap<QString, QString> environment{{QStringLiteral("CTT_WRITER"), QString::number(i)},
                                           {QStringLiteral("CTT_KEYS"), QString::number(kKeysPerWriter)}};
        if (shared)
            environment.insert(QStringLiteral("CTT_SHARED"), QStringLiteral("1"));
        if (!writers[i].start(run.childProgram(), run.childOptions("writeKeys", environment)))
            return false;
    }
    bool ok = true;
    for (TestProcess::Child& writer : writers) {
        writer.waitForFinished(600000);
        if (!writer.result().succeeded()) {
            *output += QString::fromUtf8(writer.result().out);
            ok = false;
        }
    }
    return ok;
}

QString decodedValue(const QSettings& settings, const QString& key)
{
    return QString::fromUtf8(QByteArray::fromBase64(settings.value(key).toByteArray()));
}

// Every line of an INI file: a section, or a key and its value.
bool isWellFormedIni(const QByteArray& text)
{
    for (const QByteArray& line : text.split('\n')) {
        if (line.isEmpty() || (line.startsWith('[') && line.endsWith(']')))
            continue;
        if (line.indexOf('=') <= 0)
            return false;
    }
    return true;
}

} // namespace

class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    void languageWithoutFile();
    void languageFromFile_data();
    void languageFromFile();
    void languageDetectedFromLang_data();
    void languageDetectedFromLang();
    void languageCacheAndReload();
    void storeLanguage();
    void storeEmptyLanguage();
    void storeLanguageOutsideLatin1();

    void softwareVersionFromAppIni();
    void softwareVersionAppIniWithoutKey();
    void softwareVersionDefaultWrittenBack();
    void softwareVersionFromCustomConfig_data();
    void softwareVersionFromCustomConfig();
    void softwareVersionIsCached();

    // Several processes, and processes that die while they write.
    void concurrentWritersLoseNothing();
    void concurrentWritersOfOneKey();
    void killedWriterLeavesOldOrNew();
    void deadWritersFilesAreRemoved();
    void lockHeldElsewhereDoesNotHang();
    void fullDiskKeepsThePreviousFile();
    void readOnlyFolderKeepsThePreviousFile();
    void settersLeaveNothingNew();
};

void TestSettings::languageWithoutFile()
{
    Scenario::Run run;
    COMMONTOOLS_RUN_SCENARIO(run, "languageWithoutFile");
    QCOMPARE(run.value("first"), QStringLiteral("ENG"));
    QCOMPARE(run.value("createdByRead"), QStringLiteral("false"));
    QCOMPARE(run.value("second"), QStringLiteral("CH"));
}

void TestSettings::languageFromFile_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("expected");

    QTest::newRow("byte-array notation") << QStringLiteral("Language=@ByteArray(Q0g=)") << QStringLiteral("CH");
    QTest::newRow("quoted byte array") << QStringLiteral("Language=\"@ByteArray(RU5H)\"") << QStringLiteral("ENG");
    QTest::newRow("plain Base64") << QStringLiteral("Language=Q0g=") << QStringLiteral("CH");
    QTest::newRow("other code kept") << QStringLiteral("Language=RlJB") << QStringLiteral("FRA");
    // "CH", NUL, "XX": only the part before the NUL.
    QTest::newRow("embedded NUL") << QStringLiteral("Language=Q0gAWFg=") << QStringLiteral("CH");
    // Characters outside the alphabet are skipped.
    QTest::newRow("lenient decoding") << QStringLiteral("Language=Q0g*=") << QStringLiteral("CH");
}

void TestSettings::languageFromFile()
{
    QFETCH(QString, line);
    QFETCH(QString, expected);

    Scenario::Options options;
    options.environment.insert(QStringLiteral("LANG"), QStringLiteral("zh_CN.UTF-8"));
    Scenario::Run run(options);
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), line}));
    COMMONTOOLS_RUN_SCENARIO(run, "language");
    QCOMPARE(run.value("language"), expected);
}

void TestSettings::languageDetectedFromLang_data()
{
    QTest::addColumn<QString>("lang");
    QTest::addColumn<QString>("expected");

    QTest::newRow("zh_CN.UTF-8") << QStringLiteral("zh_CN.UTF-8") << QStringLiteral("CH");
    QTest::newRow("ZH_cn") << QStringLiteral("ZH_cn") << QStringLiteral("CH");
    QTest::newRow("inside") << QStringLiteral("x.zh_cn.y") << QStringLiteral("CH");
    QTest::newRow("en_US.UTF-8") << QStringLiteral("en_US.UTF-8") << QStringLiteral("ENG");
    QTest::newRow("zh_TW") << QStringLiteral("zh_TW.UTF-8") << QStringLiteral("ENG");
    QTest::newRow("unset") << QString() << QStringLiteral("ENG");
}

void TestSettings::languageDetectedFromLang()
{
    QFETCH(QString, lang);
    QFETCH(QString, expected);

    Scenario::Options options;
    if (lang.isNull())
        options.unsetEnvironment.append(QStringLiteral("LANG"));
    else
        options.environment.insert(QStringLiteral("LANG"), lang);
    Scenario::Run run(options);
    // The file exists but has no language; an empty value counts as none.
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("Other=1")}));
    COMMONTOOLS_RUN_SCENARIO(run, "detectedLanguageIsNotStored");
    QCOMPARE(run.value("language"), expected);
    QCOMPARE(run.value("stored"), QStringLiteral("false"));

    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("Language=@ByteArray()")}));
    COMMONTOOLS_RUN_SCENARIO(run, "language");
    QCOMPARE(run.value("language"), expected);
}

void TestSettings::languageCacheAndReload()
{
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("Language=@ByteArray(Q0g=)")}));
    COMMONTOOLS_RUN_SCENARIO(run, "languageCacheAndReload");
    QCOMPARE(run.value("stored"), QStringLiteral("CH"));
    QCOMPARE(run.value("cached"), QStringLiteral("XYZ"));
    QCOMPARE(run.value("reloaded"), QStringLiteral("CH"));
}

void TestSettings::storeLanguage()
{
    Scenario::Options options;
    options.environment.insert(QStringLiteral("CTT_LANGUAGE"), QStringLiteral("CH"));
    options.environment.insert(QStringLiteral("LANG"), QStringLiteral("en_US.UTF-8"));
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "storeLanguage");
    QCOMPARE(run.value("exists"), QStringLiteral("true"));
    // QSettings quotes a value that holds "=".
    QCOMPARE(TestFiles::iniLine(run.customConfigPath(), QStringLiteral("Language")),
             QStringLiteral("Language=\"@ByteArray(Q0g=)\""));

    // A fresh process reads it back.
    COMMONTOOLS_RUN_SCENARIO(run, "language");
    QCOMPARE(run.value("language"), QStringLiteral("CH"));
}

void TestSettings::storeEmptyLanguage()
{
    Scenario::Options options;
    options.environment.insert(QStringLiteral("CTT_LANGUAGE"), QString());
    options.environment.insert(QStringLiteral("LANG"), QStringLiteral("zh_CN.UTF-8"));
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "storeLanguage");
    QCOMPARE(TestFiles::iniLine(run.customConfigPath(), QStringLiteral("Language")),
             QStringLiteral("Language=@ByteArray()"));
    COMMONTOOLS_RUN_SCENARIO(run, "language");
    QCOMPARE(run.value("language"), QStringLiteral("CH"));
}

void TestSettings::storeLanguageOutsideLatin1()
{
    // Written as Latin-1: what Latin-1 cannot hold becomes "?".
    Scenario::Options options;
    options.environment.insert(QStringLiteral("CTT_LANGUAGE"), QStringLiteral("D\u00e9\u4e2d"));
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "storeLanguage");
    COMMONTOOLS_RUN_SCENARIO(run, "language");
    // "é" went in as one Latin-1 byte, which is not UTF-8.
    QCOMPARE(run.value("language"), QString::fromUtf8("D\xe9?"));
}

void TestSettings::softwareVersionFromAppIni()
{
    Scenario::Options options;
    options.appIniEntries = {{QStringLiteral("SoftwareVersion"), QStringLiteral("2.3.4")}};
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "softwareVersion");
    QCOMPARE(run.value("version"), QStringLiteral("2.3.4"));
    QCOMPARE(run.value("configExists"), QStringLiteral("false"));
}

void TestSettings::softwareVersionAppIniWithoutKey()
{
    Scenario::Run run;
    QVERIFY(QFileInfo::exists(run.appIniPath()));
    COMMONTOOLS_RUN_SCENARIO(run, "softwareVersion");
    QCOMPARE(run.value("version"), QString());
    QVERIFY(run.hasValue("version"));
    QCOMPARE(run.value("configExists"), QStringLiteral("false"));
}

void TestSettings::softwareVersionDefaultWrittenBack()
{
    Scenario::Options options;
    options.nameFrom = Scenario::NameSource::CommonToolsIni;
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "softwareVersion");
    QCOMPARE(run.value("version"), QStringLiteral("1.0.0"));
    QCOMPARE(run.value("configExists"), QStringLiteral("true"));
    QCOMPARE(TestFiles::iniLine(run.customConfigPath(), QStringLiteral("SoftwareVersion")),
             QStringLiteral("SoftwareVersion=\"@ByteArray(MS4wLjA=)\""));

    // The file exists without the key: the default is written back too.
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("Other=1")}));
    COMMONTOOLS_RUN_SCENARIO(run, "softwareVersion");
    QCOMPARE(run.value("version"), QStringLiteral("1.0.0"));
    QCOMPARE(TestFiles::iniLine(run.customConfigPath(), QStringLiteral("SoftwareVersion")),
             QStringLiteral("SoftwareVersion=\"@ByteArray(MS4wLjA=)\""));
    QCOMPARE(TestFiles::iniLine(run.customConfigPath(), QStringLiteral("Other")), QStringLiteral("Other=1"));
}

void TestSettings::softwareVersionFromCustomConfig_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("expected");

    QTest::newRow("byte array") << QStringLiteral("SoftwareVersion=@ByteArray(My4x)") << QStringLiteral("3.1");
    QTest::newRow("plain Base64") << QStringLiteral("SoftwareVersion=My4x") << QStringLiteral("3.1");
    QTest::newRow("empty") << QStringLiteral("SoftwareVersion=") << QString();
}

void TestSettings::softwareVersionFromCustomConfig()
{
    QFETCH(QString, line);
    QFETCH(QString, expected);

    Scenario::Options options;
    options.nameFrom = Scenario::NameSource::CommonToolsIni;
    Scenario::Run run(options);
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), line}));
    COMMONTOOLS_RUN_SCENARIO(run, "softwareVersion");
    QCOMPARE(run.value("version"), expected);
    QCOMPARE(TestFiles::iniLine(run.customConfigPath(), QStringLiteral("SoftwareVersion")), line);
}

void TestSettings::softwareVersionIsCached()
{
    Scenario::Options options;
    options.nameFrom = Scenario::NameSource::CommonToolsIni;
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "softwareVersionIsCached");
    QCOMPARE(run.value("first"), QStringLiteral("1.0.0"));
    QCOMPARE(run.value("second"), QStringLiteral("1.0.0"));

    // The next process sees the changed file.
    COMMONTOOLS_RUN_SCENARIO(run, "softwareVersion");
    QCOMPARE(run.value("version"), QStringLiteral("9.9.9"));
}

void TestSettings::concurrentWritersLoseNothing()
{
    Scenario::Run run;
    int missing = 0;
    QStringList lost;
    const int roundCount = rounds();
    for (int round = 0; round < roundCount; ++round) {
        // With more than 360 keys QSettings keeps no copy of the file between
        // two settings objects of a process: each write starts by reading
        // it, as in a process that writes once.
        QFile::remove(run.customConfigPath());
        QStringList filler{QStringLiteral("[General]")};
        for (int i = 0; i < kFillerKeys; ++i)
            filler << QStringLiteral("Filler%1=@ByteArray(eA==)").arg(i);
        QVERIFY(run.writeCustomConfig(filler));
        QString output;
        QVERIFY2(runWritersAtOnce(run, false, &output), qPrintable(output));
        const QSettings settings(run.customConfigPath(), QSettings::IniFormat);
        QCOMPARE(settings.status(), QSettings::NoError);
        for (int writer = 0; writer < kWriters; ++writer) {
            for (int key = 0; key < kKeysPerWriter; ++key) {
                const QString name = QStringLiteral("w%1k%2").arg(writer).arg(key);
                if (decodedValue(settings, name) != QStringLiteral("value %1-%2").arg(writer).arg(key)) {
                    ++missing;
                    lost << QStringLiteral("round %1: %2").arg(round).arg(name);
                }
            }
        }
        // The shared keys hold what one of the writers wrote.
        const int state = settings.value(QStringLiteral("VendorFilter")).toInt();
        QVERIFY(state >= 0 && state < kWriters);
        QVERIFY(decodedValue(settings, QStringLiteral("ModelInclude")).startsWith(QStringLiteral("models of ")));
        QVERIFY(decodedValue(settings, QStringLiteral("Language")).startsWith(QLatin1Char('L')));
        // Nothing but the file is left in the folder.
        QCOMPARE(Faults::entries(QFileInfo(run.customConfigPath()).absolutePath()),
                 QStringList{QStringLiteral("CustomConfig.ini")});
    }
    qInfo("%d processes x %d keys, %d rounds: %d of %d writes lost", kWriters, kKeysPerWriter, roundCount, missing,
          kWriters * kKeysPerWriter * roundCount);
    QVERIFY2(lost.isEmpty(), qPrintable(lost.join(QLatin1Char('\n'))));
}

void TestSettings::concurrentWritersOfOneKey()
{
    Scenario::Run run;
    QString output;
    QVERIFY2(runWritersAtOnce(run, true, &output), qPrintable(output));
    const QByteArray text = TestFiles::readFile(run.customConfigPath());
    QVERIFY2(isWellFormedIni(text), text.constData());
    const QSettings settings(run.customConfigPath(), QSettings::IniFormat);
    QCOMPARE(settings.status(), QSettings::NoError);
    QSet<QString> written;
    for (int writer = 0; writer < kWriters; ++writer) {
        for (int key = 0; key < kKeysPerWriter; ++key)
            written << QStringLiteral("value %1-%2").arg(writer).arg(key);
    }
    const QString value = decodedValue(settings, QStringLiteral("Shared"));
    QVERIFY2(written.contains(value), qPrintable(value));
    // The last write of some writer.
    QVERIFY2(value.endsWith(QStringLiteral("-%1").arg(kKeysPerWriter - 1)), qPrintable(value));
}

void TestSettings::killedWriterLeavesOldOrNew()
{
    Scenario::Run run;
    // Large enough that reading and writing it takes a while.
    const int keys = TestProcess::runsSlowly() ? 5000 : 20000;
    {
        QDir().mkpath(QFileInfo(run.customConfigPath()).absolutePath());
        QSettings settings(run.customConfigPath(), QSettings::IniFormat);
        for (int key = 0; key < keys; ++key)
            settings.setValue(QStringLiteral("Key%1").arg(key), QByteArray("value of a key ").append(QByteArray::number(key)).toBase64());
        settings.sync();
        QCOMPARE(settings.status(), QSettings::NoError);
    }

    Faults::KillTest test;
    test.program = run.childProgram();
    test.options = run.childOptions("rewriteSettings", {{QStringLiteral("CTT_KEY"), QStringLiteral("Key7")},
                                                        {QStringLiteral("CTT_VALUE"), QStringLiteral("rewritten")}});
    test.marker = "@writing=true";
    test.target = run.customConfigPath();
    test.oldContent = TestFiles::readFile(test.target);
    // QSettings' own lock file, when the kill lands while QSettings holds
    // it, its new file under a staging name, when the kill lands between
    // its naming and its renaming, and the link to the previous file that
    // a write keeps while it runs: the next write finds their writer gone
    // and removes them.
    test.tolerated = QStringList{QStringLiteral("CustomConfig.ini.lock"), QStringLiteral("CustomConfig.ini.lock.rmlock"),
                                 QStringLiteral("CustomConfig.ini.??????"),
                                 QStringLiteral(".CustomConfig.ini.commontools-previous")};
    test.seed = 1300;
    const Faults::KillReport report = Faults::killDuringWrites(test);
    qInfo("%s", qPrintable(report.summary()));
    QVERIFY2(report.failures.isEmpty(), qPrintable(report.failures.join(QLatin1Char('\n'))));
    QCOMPARE(report.kills, test.kills);
    QVERIFY(report.killedDuringWrite >= report.kills / 2);

    // The next write leaves nothing but the file.
    COMMONTOOLS_RUN_SCENARIO(run, "timedWrite");
    QCOMPARE(run.value("value"), QStringLiteral("written"));
    QCOMPARE(Faults::entries(QFileInfo(run.customConfigPath()).absolutePath()),
             QStringList{QStringLiteral("CustomConfig.ini")});
}

void TestSettings::deadWritersFilesAreRemoved()
{
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("Kept=1")}));
    const QString path = run.customConfigPath();
    const QString folder = QFileInfo(path).absolutePath();
    // A file of the user's, named as QSettings names its new files.
    QVERIFY(TestFiles::writeFile(path + QStringLiteral(".backup"), "[General]\nKept=0\n"));
    // File times move in ticks of a few milliseconds.
    QThread::msleep(50);
    // A writer began (it linked the previous file) and died just before
    // QSettings renamed its new file over the old one.
    const QString previous = folder + QStringLiteral("/.CustomConfig.ini.commontools-previous");
    QCOMPARE(::link(QFile::encodeName(path).constData(), QFile::encodeName(previous).constData()), 0);
    QThread::msleep(50);
    QVERIFY(TestFiles::writeFile(path + QStringLiteral(".XyZabc"), "[General]\nKept=1\nNew=1\n"));
    QVERIFY(TestFiles::writeFile(path + QStringLiteral(".notes"), "mine\n"));

    COMMONTOOLS_RUN_SCENARIO(run, "timedWrite");
    QCOMPARE(run.value("value"), QStringLiteral("written"));
    QCOMPARE(Faults::entries(folder),
             (QStringList{QStringLiteral("CustomConfig.ini"), QStringLiteral("CustomConfig.ini.backup"),
                          QStringLiteral("CustomConfig.ini.notes")}));
}

void TestSettings::lockHeldElsewhereDoesNotHang()
{
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]")}));
    // Another process holds the writers' lock and never lets go.
    const QByteArray folder = QFile::encodeName(QFileInfo(run.customConfigPath()).absolutePath());
    const int fd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    QVERIFY(fd >= 0);
    QVERIFY(::flock(fd, LOCK_EX) == 0);
    const bool ran = run.exec("timedWrite");
    ::close(fd);
    QVERIFY2(ran, qPrintable(run.output()));
    // The write went ahead after a bounded wait, and said so.
    const int ms = run.value("ms").toInt();
    QVERIFY2(ms >= 4000 && ms < 60000, qPrintable(run.value("ms")));
    QCOMPARE(run.value("value"), QStringLiteral("written"));
    QVERIFY2(run.output().contains(QStringLiteral("writing without it")), qPrintable(run.output()));
}

void TestSettings::fullDiskKeepsThePreviousFile()
{
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("Big=@ByteArray(b2xk)"),
                                   QStringLiteral("VendorFilter=1"), QStringLiteral("Language=@ByteArray(RU5H)")}));
    const QString folder = QFileInfo(run.customConfigPath()).absolutePath();
    const QByteArray before = TestFiles::readFile(run.customConfigPath());
    // Room for QSettings' lock file, not for a file with the new value.
    const QMap<QString, QString> environment{{QStringLiteral("CTT_FSIZE"), QString::number(before.size() + 64)}};
    COMMONTOOLS_RUN_SCENARIO_WITH(run, "fullDiskSettings", environment);
    QCOMPARE(run.value("limited"), QStringLiteral("true"));
    QCOMPARE(run.value("big"), QStringLiteral("old"));
    QVERIFY2(run.output().contains(QStringLiteral("could not be written whole")), qPrintable(run.output()));
    QCOMPARE(TestFiles::readFile(run.customConfigPath()), before);
    QCOMPARE(Faults::entries(folder), QStringList{QStringLiteral("CustomConfig.ini")});
}

void TestSettings::readOnlyFolderKeepsThePreviousFile()
{
    if (geteuid() != 0)
        QSKIP("needs root, to act as the user nobody");
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("Big=@ByteArray(b2xk)")}));
    const QString folder = QFileInfo(run.customConfigPath()).absolutePath();
    const QByteArray before = TestFiles::readFile(run.customConfigPath());
    // The file may be written by anyone, the folder by nobody but root.
    QVERIFY(QFile::setPermissions(run.customConfigPath(), QFileDevice::Permissions(0x6666)));
    QVERIFY(QFile::setPermissions(folder, QFileDevice::Permissions(0x5555)));
    const bool ran = run.exec("readOnlyFolderSettings");
    QFile::setPermissions(folder, QFileDevice::Permissions(0x7755));
    QVERIFY2(ran, qPrintable(run.output()));
    QCOMPARE(run.value("dropped"), QStringLiteral("true"));
    QCOMPARE(run.value("restored"), QStringLiteral("true"));
    QCOMPARE(TestFiles::readFile(run.customConfigPath()), before);
    QCOMPARE(Faults::entries(folder), QStringList{QStringLiteral("CustomConfig.ini")});
}

void TestSettings::settersLeaveNothingNew()
{
    Scenario::Run run;
    COMMONTOOLS_RUN_SCENARIO(run, "settersLeaveNothingNew");
    QCOMPARE(run.value("afterFilters"), QString());
    QVERIFY(run.hasValue("afterFilters"));
    QCOMPARE(run.value("afterWrites"), QStringLiteral("CustomConfig.ini"));
}

COMMONTOOLS_SCENARIO_MAIN(TestSettings)
#include "tst_settings.moc"
