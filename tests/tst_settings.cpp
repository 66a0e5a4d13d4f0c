// The settings convention, the language and the software version.

#include "support/scenario.h"

#include <OrvFunction.h>

#include <QFileInfo>
#include <QSettings>
#include <QTest>

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

COMMONTOOLS_SCENARIO_MAIN(TestSettings)
#include "tst_settings.moc"
