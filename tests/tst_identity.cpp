// Application identity, its read-only INI files and its directories.

#include "support/scenario.h"

#include <OrvFunction.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QTest>

using namespace OrvInterface;

namespace {

void reportDirectory(const QString& key, const QString& path)
{
    Scenario::report(key, path);
    Scenario::report(key + QStringLiteral("Exists"), QFileInfo(path).isDir());
}

} // namespace

COMMONTOOLS_SCENARIO(appNameAndDirectories)
{
    Scenario::report(QStringLiteral("appName"), appName());
    // systemTemp() names the folder without creating it; programDataPath()
    // creates it.
    reportDirectory(QStringLiteral("systemTemp"), systemTemp());
    reportDirectory(QStringLiteral("userDataPath"), userDataPath());
    reportDirectory(QStringLiteral("programDataPath"), programDataPath());
    Scenario::report(QStringLiteral("systemTempAfter"), systemTemp());
}

COMMONTOOLS_SCENARIO(defaultNameIsNotCached)
{
    Scenario::report(QStringLiteral("before"), appName());
    // A CommonTools.ini that appears later is seen at the next call.
    QSettings ini(QCoreApplication::applicationDirPath() + QStringLiteral("/readonlyCfg/CommonTools.ini"),
                  QSettings::IniFormat);
    ini.setValue(QStringLiteral("APPName"), QString::fromLatin1(QByteArray("ctt-later").toBase64()));
    ini.sync();
    Scenario::report(QStringLiteral("after"), appName());
}

COMMONTOOLS_SCENARIO(defaultNameDirectory)
{
    reportDirectory(QStringLiteral("userDataPath"), userDataPath());
}

COMMONTOOLS_SCENARIO(nameIsCached)
{
    Scenario::report(QStringLiteral("first"), appName());
    setAppIniFile(qEnvironmentVariable("CTT_OTHER_INI"));
    Scenario::report(QStringLiteral("iniFile"), GetAppIniFile());
    Scenario::report(QStringLiteral("second"), appName());
}

COMMONTOOLS_SCENARIO(iniFileChosenFirst)
{
    setAppIniFile(qEnvironmentVariable("CTT_OTHER_INI"));
    Scenario::report(QStringLiteral("appName"), appName());
}

COMMONTOOLS_SCENARIO(emptyNameIsReadAgain)
{
    const QString first = appName();
    Scenario::report(QStringLiteral("first"), first);
    Scenario::report(QStringLiteral("firstIsNull"), first.isNull());
    QSettings ini(GetAppIniFile(), QSettings::IniFormat);
    ini.setValue(QStringLiteral("APPName"), QStringLiteral("ctt-named-later"));
    ini.sync();
    Scenario::report(QStringLiteral("second"), appName());
}

COMMONTOOLS_SCENARIO(nameOnly)
{
    const QString name = appName();
    Scenario::report(QStringLiteral("appName"), name);
    Scenario::report(QStringLiteral("isNull"), name.isNull());
}

class TestIdentity : public QObject
{
    Q_OBJECT

private slots:
    void testFlags_data();
    void testFlags();
    void constants();
    void emptyDirectories_data();
    void emptyDirectories();
    void appIniFile();

    void defaultName();
    void defaultNameIsNotCached();
    void nameFromAppIni();
    void appIniWinsOverCommonToolsIni();
    void nameFromCommonToolsIni();
    void commonToolsIniHoldsBase64();
    void commonToolsIniEmptyName();
    void appIniWithoutName();
    void nameIsCached();
    void setAppIniFileBeforeFirstUse();
    void directories();
};

void TestIdentity::testFlags_data()
{
    QTest::addColumn<uint>("flag");
    QTest::addColumn<uint>("flags");
    QTest::addColumn<bool>("expected");

    QTest::newRow("0 in 0") << 0u << 0u << true;
    QTest::newRow("0 in 4") << 0u << 4u << false;
    QTest::newRow("4 in 6") << 4u << 6u << true;
    QTest::newRow("6 in 4") << 6u << 4u << false;
    QTest::newRow("6 in 6") << 6u << 6u << true;
    QTest::newRow("1 in 0") << 1u << 0u << false;
    QTest::newRow("top bit in all") << 0x80000000u << 0xFFFFFFFFu << true;
    QTest::newRow("all in top bit") << 0xFFFFFFFFu << 0x80000000u << false;
    QTest::newRow("all in all") << 0xFFFFFFFFu << 0xFFFFFFFFu << true;
}

void TestIdentity::testFlags()
{
    QFETCH(uint, flag);
    QFETCH(uint, flags);
    QFETCH(bool, expected);

    QCOMPARE(testFlag(flag, flags), expected);
    QCOMPARE(testFlag(int(flag), int(flags)), expected);
}

void TestIdentity::constants()
{
    QCOMPARE(curExeVersion(), QStringLiteral("armhf"));
    QCOMPARE(readonlyCfgPath(), QCoreApplication::applicationDirPath());
}

void TestIdentity::emptyDirectories_data()
{
    QTest::addColumn<int>("which");
    QTest::newRow("0") << 0;
    QTest::newRow("5") << 5;
    QTest::newRow("-1") << -1;
}

void TestIdentity::emptyDirectories()
{
    QFETCH(int, which);
    const QString dir = systemDir(which);
    QVERIFY(dir.isEmpty());
    QVERIFY(commonFilesPath().isEmpty());
    QVERIFY(localPath().isEmpty());
}

void TestIdentity::appIniFile()
{
    const QString defaultPath = QCoreApplication::applicationDirPath() + QStringLiteral("/readonlyCfg/app.ini");
    QCOMPARE(GetAppIniFile(), defaultPath);

    // Kept as given: no normalisation, no existence test.
    setAppIniFile(QStringLiteral("relative//odd/../app.ini"));
    QCOMPARE(GetAppIniFile(), QStringLiteral("relative//odd/../app.ini"));

    setAppIniFile(QString());
    QCOMPARE(GetAppIniFile(), defaultPath);
    setAppIniFile(QStringLiteral(""));
    QCOMPARE(GetAppIniFile(), defaultPath);
}

void TestIdentity::defaultName()
{
    // The built-in name's folder is shared with the system: remove it only
    // when this test made it.
    Scenario::RemoveIfNew orvik(QStringLiteral("/opt/Orvik"));
    Scenario::Options options;
    options.nameFrom = Scenario::NameSource::None;
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "defaultNameDirectory");
    QCOMPARE(run.value("userDataPath"), QStringLiteral("/opt/Orvik/bin/Temp"));
    QCOMPARE(run.value("userDataPathExists"), QStringLiteral("true"));
}

void TestIdentity::defaultNameIsNotCached()
{
    Scenario::Options options;
    options.nameFrom = Scenario::NameSource::None;
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "defaultNameIsNotCached");
    QCOMPARE(run.value("before"), QStringLiteral("Orvik"));
    QCOMPARE(run.value("after"), QStringLiteral("ctt-later"));
}

void TestIdentity::nameFromAppIni()
{
    Scenario::Run run;
    COMMONTOOLS_RUN_SCENARIO(run, "nameOnly");
    QCOMPARE(run.value("appName"), run.appName());
}

void TestIdentity::appIniWinsOverCommonToolsIni()
{
    Scenario::Options options;
    options.commonToolsIniEntries = {{QStringLiteral("APPName"), QStringLiteral("ctt-other")}};
    Scenario::Run run(options);
    QVERIFY(QFileInfo::exists(run.commonToolsIniPath()));
    COMMONTOOLS_RUN_SCENARIO(run, "nameOnly");
    QCOMPARE(run.value("appName"), run.appName());
}

void TestIdentity::nameFromCommonToolsIni()
{
    Scenario::Options options;
    options.nameFrom = Scenario::NameSource::CommonToolsIni;
    Scenario::Run run(options);
    QVERIFY(!QFileInfo::exists(run.appIniPath()));
    COMMONTOOLS_RUN_SCENARIO(run, "nameOnly");
    QCOMPARE(run.value("appName"), run.appName());
}

void TestIdentity::commonToolsIniHoldsBase64()
{
    Scenario::Options options;
    options.nameFrom = Scenario::NameSource::None;
    Scenario::Run run(options);
    // Plain text where Base64 is expected is decoded all the same.
    QVERIFY(TestFiles::writeFile(run.commonToolsIniPath(), "[General]\nAPPName=Bar\n"));
    COMMONTOOLS_RUN_SCENARIO(run, "nameOnly");
    QCOMPARE(run.value("appName"), QString::fromUtf8(QByteArray::fromBase64("Bar")));
    QVERIFY(run.value("appName") != QStringLiteral("Bar"));

    // Decoded bytes are read up to their first NUL.
    QVERIFY(TestFiles::writeFile(run.commonToolsIniPath(),
                                 "[General]\nAPPName=" + QByteArray("ab\0cd", 5).toBase64() + "\n"));
    COMMONTOOLS_RUN_SCENARIO(run, "nameOnly");
    QCOMPARE(run.value("appName"), QStringLiteral("ab"));
}

void TestIdentity::commonToolsIniEmptyName()
{
    Scenario::Options options;
    options.nameFrom = Scenario::NameSource::None;
    Scenario::Run run(options);
    QVERIFY(TestFiles::writeFile(run.commonToolsIniPath(), "[General]\nOther=1\n"));
    COMMONTOOLS_RUN_SCENARIO(run, "nameOnly");
    QCOMPARE(run.value("appName"), QString());
}

void TestIdentity::appIniWithoutName()
{
    // app.ini exists but has no name: the name is empty, and CommonTools.ini
    // is not consulted. The empty name is read again at the next call.
    Scenario::Options options;
    options.nameFrom = Scenario::NameSource::None;
    options.appIniEntries = {{QStringLiteral("SoftwareVersion"), QStringLiteral("2.0")}};
    options.commonToolsIniEntries = {{QStringLiteral("APPName"), QStringLiteral("ctt-not-used")}};
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "emptyNameIsReadAgain");
    QCOMPARE(run.value("first"), QString());
    QCOMPARE(run.value("second"), QStringLiteral("ctt-named-later"));
}

void TestIdentity::nameIsCached()
{
    Scenario::Options options;
    QTemporaryDir other;
    QVERIFY(other.isValid());
    const QString otherIni = other.filePath(QStringLiteral("other.ini"));
    QVERIFY(TestFiles::writeFile(otherIni, "[General]\nAPPName=ctt-other\n"));
    options.environment.insert(QStringLiteral("CTT_OTHER_INI"), otherIni);
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "nameIsCached");
    QCOMPARE(run.value("first"), run.appName());
    QCOMPARE(run.value("iniFile"), otherIni);
    QCOMPARE(run.value("second"), run.appName());
}

void TestIdentity::setAppIniFileBeforeFirstUse()
{
    Scenario::Options options;
    options.nameFrom = Scenario::NameSource::None;
    QTemporaryDir other;
    QVERIFY(other.isValid());
    const QString otherIni = other.filePath(QStringLiteral("elsewhere.ini"));
    QVERIFY(TestFiles::writeFile(otherIni, "[General]\nAPPName=ctt-elsewhere\n"));
    options.environment.insert(QStringLiteral("CTT_OTHER_INI"), otherIni);
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "iniFileChosenFirst");
    QCOMPARE(run.value("appName"), QStringLiteral("ctt-elsewhere"));
}

void TestIdentity::directories()
{
    Scenario::Run run;
    COMMONTOOLS_RUN_SCENARIO(run, "appNameAndDirectories");
    const QString opt = QStringLiteral("/opt/") + run.appName();
    QCOMPARE(run.value("appName"), run.appName());
    QCOMPARE(run.value("systemTemp"), opt + QStringLiteral("/bin/Cfg"));
    QCOMPARE(run.value("systemTempExists"), QStringLiteral("false"));
    QCOMPARE(run.value("userDataPath"), opt + QStringLiteral("/bin/Temp"));
    QCOMPARE(run.value("userDataPathExists"), QStringLiteral("true"));
    QCOMPARE(run.value("programDataPath"), opt + QStringLiteral("/bin/Cfg"));
    QCOMPARE(run.value("programDataPathExists"), QStringLiteral("true"));
    QCOMPARE(run.value("systemTempAfter"), run.value("programDataPath"));
}

COMMONTOOLS_SCENARIO_MAIN(TestIdentity)
#include "tst_identity.moc"
