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
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
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

// One write of a long value with the file size limited to CTT_FSIZE.
COMMONTOOLS_SCENARIO(fullDiskWrite)
{
    Scenario::report(QStringLiteral("limited"), Faults::limitFileSize(qEnvironmentVariableIntValue("CTT_FSIZE")));
    setCustomConfig(QStringLiteral("Big"), QString(4096, QLatin1Char('b')));
}

COMMONTOOLS_SCENARIO(readOnlyFolderSettings)
{
    // The application name comes from app.ini, which only root may read.
    Scenario::report(QStringLiteral("folder"), programDataPath());
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

// Writers at once: as many as a queue of them can be served within the
// second a writer waits at most for the others. Natively that is all
// eight; under an emulator, where one write takes tens of milliseconds,
// fewer (see writersAtOnce).
constexpr int kMaxWriters = 8;
constexpr int kQueueBudgetMs = 300;
constexpr int kKeysPerWriter = 50;
// Under an emulator or a sanitizer everything runs several times slower:
// fewer rounds there.
int rounds()
{
    return TestProcess::runsSlowly() ? 4 : 20;
}
constexpr int kFillerKeys = 400;

// The writers' lock file, which stays beside the settings.
const QString kLockName = QStringLiteral(".commontools-CustomConfig.ini.lock");

// The names of the folder once a write has finished: the settings, the
// lock file and those given.
QStringList afterWrites(const QStringList& others = QStringList())
{
    QStringList names = others;
    names << kLockName << QStringLiteral("CustomConfig.ini");
    names.sort();
    return names;
}

// The writers' lock (byte 0 of the lock file, locked as the library locks
// it) held by this process until the object goes, as another writer would
// hold it.
class HeldLock
{
public:
    explicit HeldLock(const QString& path)
        : m_fd(::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0644))
    {
        struct flock lock{};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        lock.l_start = 0;
        lock.l_len = 1;
        m_held = m_fd >= 0 && ::fcntl(m_fd, F_OFD_SETLK, &lock) == 0;
    }
    ~HeldLock() { release(); }
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;

    bool isHeld() const { return m_held; }
    void release()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
    }

private:
    int m_fd;
    bool m_held = false;
};

// The fillers that make every write read the whole file.
QStringList fillerLines()
{
    QStringList filler{QStringLiteral("[General]")};
    for (int i = 0; i < kFillerKeys; ++i)
        filler << QStringLiteral("Filler%1=@ByteArray(eA==)").arg(i);
    return filler;
}

// From the quickest of three single writes of a file of fillers.
int writersAtOnce(Scenario::Run& run)
{
    int quickestMs = INT_MAX;
    for (int i = 0; i < 3; ++i) {
        if (!run.writeCustomConfig(fillerLines()) || !run.exec("timedWrite"))
            return kMaxWriters;
        quickestMs = qMin(quickestMs, run.value("ms").toInt());
    }
    const int writers = qBound(2, 1 + kQueueBudgetMs / qMax(quickestMs, 1), kMaxWriters);
    qInfo("one write takes %d ms: %d writers at once", quickestMs, writers);
    return writers;
}

// Starts writers of run at once and waits for them all; *output gets what
// they printed.
bool runWritersAtOnce(const Scenario::Run& run, int count, bool shared, QString* output)
{
    TestProcess::Child writers[kMaxWriters];
    for (int i = 0; i < count; ++i) {
        QMap<QString, QString> environment{{QStringLiteral("CTT_WRITER"), QString::number(i)},
                                           {QStringLiteral("CTT_KEYS"), QString::number(kKeysPerWriter)}};
        if (shared)
            environment.insert(QStringLiteral("CTT_SHARED"), QStringLiteral("1"));
        if (!writers[i].start(run.childProgram(), run.childOptions("writeKeys", environment)))
            return false;
    }
    bool ok = true;
    for (int i = 0; i < count; ++i) {
        TestProcess::Child& writer = writers[i];
        writer.waitForFinished(600000);
        *output += QString::fromUtf8(writer.result().out);
        ok = ok && writer.result().succeeded();
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
    void onlyTheLibrarysLeftoversAreRemoved_data();
    void onlyTheLibrarysLeftoversAreRemoved();
    void lockHeldElsewhereDoesNotHang();
    void lockReleasedSoonIsWaitedFor();
    void fullDiskKeepsThePreviousFile();
    void readOnlyFolderKeepsThePreviousFile();
    void symbolicLinkedSettings_data();
    void symbolicLinkedSettings();
    void settersLeaveNothingNew();
    void unreadableLinesDoNotStopWrites_data();
    void unreadableLinesDoNotStopWrites();
    void ownerAndPermissionsAreKept();
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
    const int writers = writersAtOnce(run);
    int missing = 0;
    QStringList lost;
    const int roundCount = rounds();
    for (int round = 0; round < roundCount; ++round) {
        // With more than 360 keys QSettings keeps no copy of the file between
        // two settings objects of a process: each write starts by reading
        // it, as in a process that writes once.
        QFile::remove(run.customConfigPath());
        QVERIFY(run.writeCustomConfig(fillerLines()));
        QString output;
        QVERIFY2(runWritersAtOnce(run, writers, false, &output), qPrintable(output));
        const QSettings settings(run.customConfigPath(), QSettings::IniFormat);
        QCOMPARE(settings.status(), QSettings::NoError);
        for (int writer = 0; writer < writers; ++writer) {
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
        QVERIFY(state >= 0 && state < writers);
        QVERIFY(decodedValue(settings, QStringLiteral("ModelInclude")).startsWith(QStringLiteral("models of ")));
        QVERIFY(decodedValue(settings, QStringLiteral("Language")).startsWith(QLatin1Char('L')));
        // Nothing but the file and the lock file is left in the folder.
        QCOMPARE(Faults::entries(QFileInfo(run.customConfigPath()).absolutePath()), afterWrites());
        // No writer gave up.
        QVERIFY2(!output.contains(QStringLiteral("was not changed")), qPrintable(output));
    }
    qInfo("%d processes x %d keys, %d rounds: %d of %d writes lost", writers, kKeysPerWriter, roundCount, missing,
          writers * kKeysPerWriter * roundCount);
    QVERIFY2(lost.isEmpty(), qPrintable(lost.join(QLatin1Char('\n'))));
}

void TestSettings::concurrentWritersOfOneKey()
{
    Scenario::Run run;
    const int writers = writersAtOnce(run);
    QFile::remove(run.customConfigPath());
    QString output;
    QVERIFY2(runWritersAtOnce(run, writers, true, &output), qPrintable(output));
    const QByteArray text = TestFiles::readFile(run.customConfigPath());
    QVERIFY2(isWellFormedIni(text), text.constData());
    const QSettings settings(run.customConfigPath(), QSettings::IniFormat);
    QCOMPARE(settings.status(), QSettings::NoError);
    QSet<QString> written;
    for (int writer = 0; writer < writers; ++writer) {
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
    const QString folder = QFileInfo(run.customConfigPath()).absolutePath();
    // Files of the user's, named as writers name theirs, made before the
    // interrupted writes and again after them.
    const QStringList usersFiles{QStringLiteral("CustomConfig.ini.backup"), QStringLiteral("CustomConfig.ini.abcdef"),
                                 QStringLiteral(".CustomConfig.ini.old")};
    for (const QString& name : usersFiles)
        QVERIFY(TestFiles::writeFile(folder + QLatin1Char('/') + name, "before " + name.toUtf8()));

    Faults::KillTest test;
    test.program = run.childProgram();
    test.options = run.childOptions("rewriteSettings", {{QStringLiteral("CTT_KEY"), QStringLiteral("Key7")},
                                                        {QStringLiteral("CTT_VALUE"), QStringLiteral("rewritten")}});
    test.marker = "@writing=true";
    test.target = run.customConfigPath();
    test.oldContent = TestFiles::readFile(test.target);
    // The private copy of a killed writer, with QSettings' lock and
    // staging files named after it: the next write removes them.
    test.tolerated = QStringList{QStringLiteral(".commontools-CustomConfig.ini.staging-*")};
    test.kept = QStringList{kLockName};
    test.seed = 1300;
    // After each interrupted write the user copies the settings; the next
    // write must leave those copies alone.
    QByteArray usersContent = "before";
    test.afterEachKill = [&](int kill) {
        for (const QString& name : usersFiles) {
            const QString path = folder + QLatin1Char('/') + name;
            if (TestFiles::readFile(path) != usersContent + ' ' + name.toUtf8())
                return QStringLiteral("after kill %1 the user's %2 was changed or removed").arg(kill).arg(name);
        }
        usersContent = "copy after kill " + QByteArray::number(kill);
        for (const QString& name : usersFiles)
            TestFiles::writeFile(folder + QLatin1Char('/') + name, usersContent + ' ' + name.toUtf8());
        return QString();
    };
    const Faults::KillReport report = Faults::killDuringWrites(test);
    qInfo("%s", qPrintable(report.summary()));
    QVERIFY2(report.failures.isEmpty(), qPrintable(report.failures.join(QLatin1Char('\n'))));
    QCOMPARE(report.kills, test.kills);
    QVERIFY(report.killedDuringWrite >= report.kills / 2);
    for (const QString& name : usersFiles)
        QCOMPARE(TestFiles::readFile(folder + QLatin1Char('/') + name), usersContent + ' ' + name.toUtf8());

    // A writer died again, and the user then copied the settings.
    for (const QString& name : {QStringLiteral(".commontools-CustomConfig.ini.staging-AbCdEf"),
                                QStringLiteral(".commontools-CustomConfig.ini.staging-AbCdEf.lock")})
        QVERIFY(TestFiles::writeFile(folder + QLatin1Char('/') + name, "left by a dead writer"));
    const QByteArray copied = TestFiles::readFile(test.target);
    for (const QString& name : usersFiles)
        QVERIFY(TestFiles::writeFile(folder + QLatin1Char('/') + name, copied));

    // The next write leaves the settings, the lock and the user's files.
    COMMONTOOLS_RUN_SCENARIO(run, "timedWrite");
    QCOMPARE(run.value("value"), QStringLiteral("written"));
    QCOMPARE(Faults::entries(folder), afterWrites(usersFiles));
    for (const QString& name : usersFiles)
        QCOMPARE(TestFiles::readFile(folder + QLatin1Char('/') + name), copied);
}

void TestSettings::onlyTheLibrarysLeftoversAreRemoved_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("removed");
    // What a writer that died left: its private copy, and QSettings' lock
    // and staging files named after it.
    QTest::newRow("private copy") << QStringLiteral(".commontools-CustomConfig.ini.staging-AbCdEf") << true;
    QTest::newRow("its lock") << QStringLiteral(".commontools-CustomConfig.ini.staging-AbCdEf.lock") << true;
    QTest::newRow("its staging") << QStringLiteral(".commontools-CustomConfig.ini.staging-AbCdEf.XyZabc") << true;
    // Everything else stays, however it is named.
    QTest::newRow("backup") << QStringLiteral("CustomConfig.ini.backup") << false;
    QTest::newRow("six letters") << QStringLiteral("CustomConfig.ini.abcdef") << false;
    QTest::newRow("hidden") << QStringLiteral(".CustomConfig.ini.old") << false;
    QTest::newRow("QSettings' lock") << QStringLiteral("CustomConfig.ini.lock") << false;
    QTest::newRow("earlier previous link") << QStringLiteral(".CustomConfig.ini.commontools-previous") << false;
    QTest::newRow("another file's") << QStringLiteral(".commontools-Other.ini.staging-AbCdEf") << false;
    QTest::newRow("prefix without dot") << QStringLiteral(".commontools-CustomConfig.ini-staging-AbCdEf") << false;
}

void TestSettings::onlyTheLibrarysLeftoversAreRemoved()
{
    QFETCH(QString, name);
    QFETCH(bool, removed);
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("Kept=1")}));
    const QString folder = QFileInfo(run.customConfigPath()).absolutePath();
    QVERIFY(TestFiles::writeFile(folder + QLatin1Char('/') + name, "content\n"));

    COMMONTOOLS_RUN_SCENARIO(run, "timedWrite");
    QCOMPARE(run.value("value"), QStringLiteral("written"));
    QCOMPARE(Faults::entries(folder), afterWrites(removed ? QStringList() : QStringList{name}));
    if (!removed)
        QCOMPARE(TestFiles::readFile(folder + QLatin1Char('/') + name), QByteArray("content\n"));
}

void TestSettings::lockHeldElsewhereDoesNotHang()
{
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]")}));
    const QString folder = QFileInfo(run.customConfigPath()).absolutePath();
    const QByteArray before = TestFiles::readFile(run.customConfigPath());
    // Another process holds the writers' lock and never lets go.
    HeldLock other(folder + QLatin1Char('/') + kLockName);
    QVERIFY(other.isHeld());
    const bool ran = run.exec("timedWrite");
    other.release();
    QVERIFY2(ran, qPrintable(run.output()));
    // The write gave up after about a second, said so, and changed nothing.
    const int ms = run.value("ms").toInt();
    QVERIFY2(ms >= 900 && ms < 5000, qPrintable(run.value("ms")));
    QCOMPARE(run.value("value"), QString());
    QVERIFY2(run.output().contains(QStringLiteral("another process has held its lock")), qPrintable(run.output()));
    QCOMPARE(TestFiles::readFile(run.customConfigPath()), before);
    QCOMPARE(Faults::entries(folder), afterWrites());
}

void TestSettings::lockReleasedSoonIsWaitedFor()
{
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]")}));
    const QString folder = QFileInfo(run.customConfigPath()).absolutePath();
    HeldLock other(folder + QLatin1Char('/') + kLockName);
    QVERIFY(other.isHeld());
    TestProcess::Child writer;
    QVERIFY(writer.start(run.childProgram(), run.childOptions("timedWrite")));
    QThread::msleep(300);
    other.release();
    writer.waitForFinished(60000);
    QVERIFY2(writer.result().succeeded(), writer.result().out.constData());
    const QString output = QString::fromUtf8(writer.result().out);
    QVERIFY2(output.contains(QStringLiteral("@value=written")), qPrintable(output));
    QVERIFY2(!output.contains(QStringLiteral("was not changed")), qPrintable(output));
}

void TestSettings::fullDiskKeepsThePreviousFile()
{
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("Big=@ByteArray(b2xk)"),
                                   QStringLiteral("VendorFilter=1"), QStringLiteral("Language=@ByteArray(RU5H)")}));
    const QString folder = QFileInfo(run.customConfigPath()).absolutePath();
    const QByteArray before = TestFiles::readFile(run.customConfigPath());
    // Room for a copy of the file and QSettings' lock file, not for a file
    // with the new value.
    const QMap<QString, QString> environment{{QStringLiteral("CTT_FSIZE"), QString::number(before.size() + 64)}};
    COMMONTOOLS_RUN_SCENARIO_WITH(run, "fullDiskSettings", environment);
    QCOMPARE(run.value("limited"), QStringLiteral("true"));
    QCOMPARE(run.value("big"), QStringLiteral("old"));
    // Every write said why it failed: the file would be too large.
    QCOMPARE(run.output().count(QStringLiteral("was not changed: ") + QString::fromLocal8Bit(std::strerror(EFBIG))), 3);
    QCOMPARE(TestFiles::readFile(run.customConfigPath()), before);
    QCOMPARE(Faults::entries(folder), afterWrites());
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
    QCOMPARE(run.value("folder"), folder);
    QCOMPARE(run.value("dropped"), QStringLiteral("true"));
    QCOMPARE(run.value("restored"), QStringLiteral("true"));
    QCOMPARE(TestFiles::readFile(run.customConfigPath()), before);
    QCOMPARE(Faults::entries(folder), QStringList{QStringLiteral("CustomConfig.ini")});
    // Every write said why it failed.
    QVERIFY2(run.output().count(QStringLiteral("was not changed: no lock file: ") + QString::fromLocal8Bit(std::strerror(EACCES))) == 3,
             qPrintable(run.output()));
}

void TestSettings::symbolicLinkedSettings_data()
{
    QTest::addColumn<bool>("diskFull");
    QTest::newRow("written") << false;
    QTest::newRow("disk full") << true;
}

// Boards with a read-only root keep the settings as a link into a data
// partition: writes go to the link's target, beside which the library
// keeps its own files, and the link stays.
void TestSettings::symbolicLinkedSettings()
{
    QFETCH(bool, diskFull);
    Scenario::Run run;
    QTemporaryDir data;
    QVERIFY(data.isValid());
    const QString target = data.filePath(QStringLiteral("CustomConfig.ini"));
    QVERIFY(TestFiles::writeFile(target, "[General]\nKept=@ByteArray(b2xk)\n"));
    const QByteArray before = TestFiles::readFile(target);
    const QString folder = QFileInfo(run.customConfigPath()).absolutePath();
    QVERIFY(QDir().mkpath(folder));
    QVERIFY(QFile::link(target, run.customConfigPath()));

    const QMap<QString, QString> environment{{QStringLiteral("CTT_FSIZE"), QString::number(diskFull ? before.size() + 64 : 1 << 30)}};
    COMMONTOOLS_RUN_SCENARIO_WITH(run, "fullDiskWrite", environment);
    QCOMPARE(run.value("limited"), QStringLiteral("true"));
    QCOMPARE(QFileInfo(run.customConfigPath()).symLinkTarget(), target);
    QCOMPARE(Faults::entries(folder), QStringList{QStringLiteral("CustomConfig.ini")});
    QCOMPARE(Faults::entries(data.path()), afterWrites());
    const QSettings settings(target, QSettings::IniFormat);
    QCOMPARE(decodedValue(settings, QStringLiteral("Kept")), QStringLiteral("old"));
    if (diskFull) {
        QCOMPARE(TestFiles::readFile(target), before);
        QVERIFY2(run.output().contains(QString::fromLocal8Bit(std::strerror(EFBIG))), qPrintable(run.output()));
    } else {
        QCOMPARE(decodedValue(settings, QStringLiteral("Big")), QString(4096, QLatin1Char('b')));
    }
}

void TestSettings::settersLeaveNothingNew()
{
    Scenario::Run run;
    COMMONTOOLS_RUN_SCENARIO(run, "settersLeaveNothingNew");
    QCOMPARE(run.value("afterFilters"), QString());
    QVERIFY(run.hasValue("afterFilters"));
    QCOMPARE(run.value("afterWrites"), afterWrites().join(QLatin1Char(',')));
}

void TestSettings::unreadableLinesDoNotStopWrites_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("a note") << QStringLiteral("# edited by hand");
    QTest::newRow("a word") << QStringLiteral("garbage");
    QTest::newRow("an open section") << QStringLiteral("[Display");
}

// A line QSettings cannot read leaves its settings object in a format
// error; the write goes on all the same (QSettings leaves the line out).
void TestSettings::unreadableLinesDoNotStopWrites()
{
    QFETCH(QString, line);
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("Kept=@ByteArray(b2xk)"), line}));
    COMMONTOOLS_RUN_SCENARIO(run, "timedWrite");
    QCOMPARE(run.value("value"), QStringLiteral("written"));
    QVERIFY2(!run.output().contains(QStringLiteral("was not changed")), qPrintable(run.output()));
    QCOMPARE(TestFiles::iniLine(run.customConfigPath(), QStringLiteral("Kept")), QStringLiteral("Kept=@ByteArray(b2xk)"));
}

// A write by root (sudo commontools config set) leaves the file to whoever
// owned it, with its permissions.
void TestSettings::ownerAndPermissionsAreKept()
{
    if (geteuid() != 0)
        QSKIP("needs root, to give the file to another user");
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]")}));
    const QByteArray path = QFile::encodeName(run.customConfigPath());
    constexpr uid_t kNobody = 65534;
    QCOMPARE(::chown(path.constData(), kNobody, kNobody), 0);
    QCOMPARE(::chmod(path.constData(), 0640), 0);
    COMMONTOOLS_RUN_SCENARIO(run, "timedWrite");
    QCOMPARE(run.value("value"), QStringLiteral("written"));
    struct stat info{};
    QCOMPARE(::stat(path.constData(), &info), 0);
    QCOMPARE(info.st_uid, kNobody);
    QCOMPARE(info.st_gid, gid_t(kNobody));
    QCOMPARE(info.st_mode & 07777, mode_t(0640));
}

COMMONTOOLS_SCENARIO_MAIN(TestSettings)
#include "tst_settings.moc"
