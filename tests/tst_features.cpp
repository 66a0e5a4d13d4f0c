// Feature settings, read-only configuration entries and custom settings.

#include "support/scenario.h"

#include <OrvFunction.h>

#include <QFileInfo>
#include <QTest>

using namespace OrvInterface;

COMMONTOOLS_SCENARIO(features)
{
    Scenario::report(QStringLiteral("basicFeatureFilter"), basicFeatureFilter());
    Scenario::report(QStringLiteral("toolsSupportNum"), toolsSupportNum());
}

COMMONTOOLS_SCENARIO(configInfor)
{
    const QString value = softwareConfigInfor(qEnvironmentVariable("CTT_KEY"));
    Scenario::report(QStringLiteral("value"), value);
    Scenario::report(QStringLiteral("isNull"), value.isNull());
}

COMMONTOOLS_SCENARIO(setCustomConfig)
{
    const QString key = qEnvironmentVariable("CTT_KEY");
    Scenario::report(QStringLiteral("before"), getCustomConfig(key));
    setCustomConfig(key, qEnvironmentVariable("CTT_VALUE"));
    Scenario::report(QStringLiteral("after"), getCustomConfig(key));
    Scenario::report(QStringLiteral("absent"), getCustomConfig(QStringLiteral("NoSuchKey")));
}

COMMONTOOLS_SCENARIO(setCustomConfigUtf8)
{
    const QString key = qEnvironmentVariable("CTT_KEY");
    Scenario::report(QStringLiteral("beforeIsNull"), getCustomConfigUtf8(key).isNull());
    setCustomConfigUtf8(key, qEnvironmentVariable("CTT_VALUE"));
    const QString after = getCustomConfigUtf8(key);
    Scenario::report(QStringLiteral("after"), after);
    Scenario::report(QStringLiteral("afterIsNull"), after.isNull());
    Scenario::report(QStringLiteral("afterByOldReader"), getCustomConfig(key));
    Scenario::report(QStringLiteral("absentIsNull"), getCustomConfigUtf8(QStringLiteral("NoSuchKey")).isNull());
}

COMMONTOOLS_SCENARIO(getCustomConfig)
{
    const QString value = getCustomConfig(qEnvironmentVariable("CTT_KEY"));
    Scenario::report(QStringLiteral("value"), value);
    Scenario::report(QStringLiteral("configExists"),
                     QFileInfo::exists(programDataPath() + QStringLiteral("/CustomConfig.ini")));
}

class TestFeatures : public QObject
{
    Q_OBJECT

private slots:
    void builtInDefaults();
    void fileWithoutKeys();
    void toolsSupportNum_data();
    void toolsSupportNum();
    void basicFeatureFilterStored();

    void customConfig_data();
    void customConfig();
    void customConfigGroup();
    void customConfigUtf8_data();
    void customConfigUtf8();
    void getCustomConfigWithoutFile();

    void configInforFromAppIni();
    void configInforFromCommonToolsIni();
    void configInforAppIniLacksKey();
    void configInforWithoutFiles();
};

void TestFeatures::builtInDefaults()
{
    Scenario::Run run;
    COMMONTOOLS_RUN_SCENARIO(run, "features");
    QCOMPARE(run.value("basicFeatureFilter"), QStringLiteral("Quellon/quellon/Sarvendi/sarvendi/GEV/U3V"));
    QCOMPARE(run.value("toolsSupportNum"), QStringLiteral("20"));
    QVERIFY(!QFileInfo::exists(run.customConfigPath()));
}

void TestFeatures::fileWithoutKeys()
{
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("Other=1")}));
    COMMONTOOLS_RUN_SCENARIO(run, "features");
    QCOMPARE(run.value("basicFeatureFilter"), QString());
    QCOMPARE(run.value("toolsSupportNum"), QStringLiteral("20"));
    QVERIFY(TestFiles::iniLine(run.customConfigPath(), QStringLiteral("BasicFeatureFilter")).isNull());
}

void TestFeatures::toolsSupportNum_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("expected");

    auto base64 = [](const char* text) { return QStringLiteral("@ByteArray(%1)").arg(QLatin1String(QByteArray(text).toBase64())); };
    QTest::newRow("35") << base64("35") << QStringLiteral("35");
    QTest::newRow("1") << base64("1") << QStringLiteral("1");
    QTest::newRow("large") << base64("100000") << QStringLiteral("100000");
    QTest::newRow("0") << base64("0") << QStringLiteral("20");
    QTest::newRow("-3") << base64("-3") << QStringLiteral("20");
    QTest::newRow("word") << base64("many") << QStringLiteral("20");
    QTest::newRow("out of range") << base64("4294967296") << QStringLiteral("20");
    QTest::newRow("empty") << QStringLiteral("@ByteArray()") << QStringLiteral("20");
    // Plain 35 is not Base64 of anything numeric.
    QTest::newRow("plain 35") << QStringLiteral("35") << QStringLiteral("20");
}

void TestFeatures::toolsSupportNum()
{
    QFETCH(QString, value);
    QFETCH(QString, expected);

    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("ToolsSupportNum=") + value}));
    COMMONTOOLS_RUN_SCENARIO(run, "features");
    QCOMPARE(run.value("toolsSupportNum"), expected);
}

void TestFeatures::basicFeatureFilterStored()
{
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), QStringLiteral("BasicFeatureFilter=@ByteArray(R0VW)")}));
    COMMONTOOLS_RUN_SCENARIO(run, "features");
    QCOMPARE(run.value("basicFeatureFilter"), QStringLiteral("GEV"));
}

void TestFeatures::customConfig_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("readBack");

    QTest::newRow("Theme") << QStringLiteral("Theme") << QStringLiteral("dark")
                           << QStringLiteral("Theme=\"@ByteArray(ZGFyaw==)\"") << QStringLiteral("dark");
    QTest::newRow("empty value") << QStringLiteral("Empty") << QString()
                                 << QStringLiteral("Empty=@ByteArray()") << QString();
    QTest::newRow("outside Latin-1") << QStringLiteral("Name") << QStringLiteral("a\u4e2db")
                                     << QStringLiteral("Name=@ByteArray(YT9i)") << QStringLiteral("a?b");
}

void TestFeatures::customConfig()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QString, line);
    QFETCH(QString, readBack);

    Scenario::Options options;
    options.environment.insert(QStringLiteral("CTT_KEY"), key);
    options.environment.insert(QStringLiteral("CTT_VALUE"), value);
    Scenario::Run run(options);
    QVERIFY(!QFileInfo::exists(run.customConfigPath()));
    COMMONTOOLS_RUN_SCENARIO(run, "setCustomConfig");
    QCOMPARE(run.value("before"), QString());
    QCOMPARE(run.value("after"), readBack);
    QCOMPARE(run.value("absent"), QString());
    QCOMPARE(TestFiles::iniLine(run.customConfigPath(), key), line);
}

void TestFeatures::customConfigGroup()
{
    Scenario::Options options;
    options.environment.insert(QStringLiteral("CTT_KEY"), QStringLiteral("Display/Theme"));
    options.environment.insert(QStringLiteral("CTT_VALUE"), QStringLiteral("light"));
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "setCustomConfig");
    QCOMPARE(run.value("after"), QStringLiteral("light"));
    const QString text = TestFiles::fileText(run.customConfigPath());
    QVERIFY2(text.contains(QStringLiteral("[Display]\nTheme=\"@ByteArray(bGlnaHQ=)\"")), qPrintable(text));
}

void TestFeatures::customConfigUtf8_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("line");

    QTest::newRow("Chinese") << QStringLiteral("Theme") << QStringLiteral("深色 dark")
                             << QStringLiteral("Theme=\"@ByteArray(5rex6ImyIGRhcms=)\"");
    QTest::newRow("accents") << QStringLiteral("Camera") << QStringLiteral("Kamera Süd")
                             << QStringLiteral("Camera=\"@ByteArray(S2FtZXJhIFPDvGQ=)\"");
    QTest::newRow("ASCII, as setCustomConfig writes it") << QStringLiteral("Theme") << QStringLiteral("dark")
                                                         << QStringLiteral("Theme=\"@ByteArray(ZGFyaw==)\"");
    QTest::newRow("empty value") << QStringLiteral("Empty") << QString() << QStringLiteral("Empty=@ByteArray()");
    QTest::newRow("in a group") << QStringLiteral("Display/Name") << QStringLiteral("显示")
                                << QString();
}

// Any text comes back whole, by both readers; an absent key reads as null,
// an empty value as empty.
void TestFeatures::customConfigUtf8()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QString, line);

    Scenario::Options options;
    options.environment.insert(QStringLiteral("CTT_KEY"), key);
    options.environment.insert(QStringLiteral("CTT_VALUE"), value);
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "setCustomConfigUtf8");
    QCOMPARE(run.value("beforeIsNull"), QStringLiteral("true"));
    QCOMPARE(run.value("after"), value);
    QCOMPARE(run.value("afterIsNull"), QStringLiteral("false"));
    QCOMPARE(run.value("afterByOldReader"), value);
    QCOMPARE(run.value("absentIsNull"), QStringLiteral("true"));
    if (!line.isNull())
        QCOMPARE(TestFiles::iniLine(run.customConfigPath(), key), line);
}

void TestFeatures::getCustomConfigWithoutFile()
{
    Scenario::Options options;
    options.environment.insert(QStringLiteral("CTT_KEY"), QStringLiteral("Theme"));
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "getCustomConfig");
    QCOMPARE(run.value("value"), QString());
    QCOMPARE(run.value("configExists"), QStringLiteral("false"));
}

void TestFeatures::configInforFromAppIni()
{
    Scenario::Options options;
    options.appIniEntries = {{QStringLiteral("Product"), QStringLiteral("Vision \u00e9\u4e2d\u6587")}};
    options.environment.insert(QStringLiteral("CTT_KEY"), QStringLiteral("Product"));
    Scenario::Run run(options);
    // The file holds the characters as UTF-8 bytes, not escaped.
    QVERIFY(TestFiles::writeFile(run.appIniPath(), "[General]\nAPPName=" + run.appName().toUtf8()
                                         + "\nProduct=Vision \xc3\xa9\xe4\xb8\xad\xe6\x96\x87\n"));
    COMMONTOOLS_RUN_SCENARIO(run, "configInfor");
    QCOMPARE(run.value("value"), QStringLiteral("Vision \u00e9\u4e2d\u6587"));
}

void TestFeatures::configInforFromCommonToolsIni()
{
    Scenario::Options options;
    options.nameFrom = Scenario::NameSource::CommonToolsIni;
    options.commonToolsIniEntries = {{QStringLiteral("Feature"), QStringLiteral("Stitching")}};
    options.environment.insert(QStringLiteral("CTT_KEY"), QStringLiteral("Feature"));
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "configInfor");
    QCOMPARE(run.value("value"), QStringLiteral("Stitching"));

    Scenario::Options absent = options;
    absent.environment.insert(QStringLiteral("CTT_KEY"), QStringLiteral("Missing"));
    Scenario::Run other(absent);
    COMMONTOOLS_RUN_SCENARIO(other, "configInfor");
    QCOMPARE(other.value("value"), QString());
}

void TestFeatures::configInforAppIniLacksKey()
{
    // CommonTools.ini is not consulted for a key an existing app.ini lacks.
    Scenario::Options options;
    options.commonToolsIniEntries = {{QStringLiteral("Feature"), QStringLiteral("Stitching")}};
    options.environment.insert(QStringLiteral("CTT_KEY"), QStringLiteral("Feature"));
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "configInfor");
    QCOMPARE(run.value("value"), QString());
    QCOMPARE(run.value("isNull"), QStringLiteral("true"));
}

void TestFeatures::configInforWithoutFiles()
{
    Scenario::Options options;
    options.nameFrom = Scenario::NameSource::None;
    options.environment.insert(QStringLiteral("CTT_KEY"), QStringLiteral("Feature"));
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "configInfor");
    QCOMPARE(run.value("value"), QString());
    QVERIFY(run.hasValue("value"));
}

COMMONTOOLS_SCENARIO_MAIN(TestFeatures)
#include "tst_features.moc"
