// Device enumeration filters and the neutral-vision mark.

#include "support/scenario.h"

#include <OrvFunction.h>

#include <QFileInfo>
#include <QTest>

using namespace OrvInterface;

namespace {

void reportText(const QString& key, const QString& value)
{
    Scenario::report(key, value);
    Scenario::report(key + QStringLiteral("IsNull"), value.isNull());
}

} // namespace

COMMONTOOLS_SCENARIO(readFilters)
{
    Scenario::report(QStringLiteral("neutral"), isNeutralVision());
    reportText(QStringLiteral("enum"), enumFilter());
    reportText(QStringLiteral("unEnum"), unEnumFilter());
    Scenario::report(QStringLiteral("vendorState"), vendorFilterState());
    Scenario::report(QStringLiteral("modelState"), modelFilterState());
    reportText(QStringLiteral("vendorInclude"), vendorFilterInclude());
    reportText(QStringLiteral("vendorExclude"), vendorFilterExclude());
    reportText(QStringLiteral("modelInclude"), modelFilterInclude());
    reportText(QStringLiteral("modelExclude"), modelFilterExclude());
    Scenario::report(QStringLiteral("configExists"),
                     QFileInfo::exists(programDataPath() + QStringLiteral("/CustomConfig.ini")));
}

COMMONTOOLS_SCENARIO(setFilters)
{
    setVendorFilterInclude(QStringLiteral("A/B"));
    setVendorFilterExclude(QStringLiteral("C\u00e9\u4e2d"));
    setModelFilterInclude(QStringLiteral("M1/M2"));
    setModelFilterExclude(QString(QLatin1String("")));
    setVendorFilterState(1);
    setModelFilterState(-7);
    scenario_readFilters();
}

class TestFilters : public QObject
{
    Q_OBJECT

private slots:
    void withoutFile();
    void settersDoNotCreateTheFile();
    void withEmptyFile();
    void setters();
    void storedValues_data();
    void storedValues();
    void neutralVision_data();
    void neutralVision();
};

void TestFilters::withoutFile()
{
    Scenario::Run run;
    COMMONTOOLS_RUN_SCENARIO(run, "readFilters");
    QCOMPARE(run.value("neutral"), QStringLiteral("false"));
    QCOMPARE(run.value("enum"), QString());
    QCOMPARE(run.value("enumIsNull"), QStringLiteral("false"));
    QCOMPARE(run.value("unEnumIsNull"), QStringLiteral("false"));
    QCOMPARE(run.value("vendorState"), QStringLiteral("0"));
    QCOMPARE(run.value("modelState"), QStringLiteral("0"));
    for (const char* list : {"vendorIncludeIsNull", "vendorExcludeIsNull", "modelIncludeIsNull", "modelExcludeIsNull"})
        QCOMPARE(run.value(QLatin1String(list)), QStringLiteral("true"));
    QCOMPARE(run.value("configExists"), QStringLiteral("false"));
}

void TestFilters::settersDoNotCreateTheFile()
{
    Scenario::Run run;
    COMMONTOOLS_RUN_SCENARIO(run, "setFilters");
    QCOMPARE(run.value("configExists"), QStringLiteral("false"));
    QCOMPARE(run.value("vendorIncludeIsNull"), QStringLiteral("true"));
    QCOMPARE(run.value("vendorState"), QStringLiteral("0"));
}

void TestFilters::withEmptyFile()
{
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig());
    COMMONTOOLS_RUN_SCENARIO(run, "readFilters");
    QCOMPARE(run.value("neutral"), QStringLiteral("false"));
    QCOMPARE(run.value("enumIsNull"), QStringLiteral("false"));
    QCOMPARE(run.value("enum"), QString());
    QCOMPARE(run.value("unEnumIsNull"), QStringLiteral("false"));
    // The two states have different defaults.
    QCOMPARE(run.value("vendorState"), QStringLiteral("2"));
    QCOMPARE(run.value("modelState"), QStringLiteral("0"));
    for (const char* list : {"vendorIncludeIsNull", "vendorExcludeIsNull", "modelIncludeIsNull", "modelExcludeIsNull"})
        QCOMPARE(run.value(QLatin1String(list)), QStringLiteral("true"));
}

void TestFilters::setters()
{
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig());
    COMMONTOOLS_RUN_SCENARIO(run, "setFilters");
    QCOMPARE(run.value("vendorInclude"), QStringLiteral("A/B"));
    // Latin-1 keeps "é" as one byte (not UTF-8 when read back); "中" is lost.
    QCOMPARE(run.value("vendorExclude"), QString::fromUtf8("C\xe9?"));
    QCOMPARE(run.value("modelInclude"), QStringLiteral("M1/M2"));
    QCOMPARE(run.value("modelExclude"), QString());
    QCOMPARE(run.value("modelExcludeIsNull"), QStringLiteral("false"));
    QCOMPARE(run.value("vendorState"), QStringLiteral("1"));
    QCOMPARE(run.value("modelState"), QStringLiteral("-7"));

    const QString file = run.customConfigPath();
    QCOMPARE(TestFiles::iniLine(file, QStringLiteral("VendorInclude")), QStringLiteral("VendorInclude=@ByteArray(QS9C)"));
    QCOMPARE(TestFiles::iniLine(file, QStringLiteral("ModelExclude")), QStringLiteral("ModelExclude=@ByteArray()"));
    QCOMPARE(TestFiles::iniLine(file, QStringLiteral("VendorFilter")), QStringLiteral("VendorFilter=1"));
    QCOMPARE(TestFiles::iniLine(file, QStringLiteral("ModelFilter")), QStringLiteral("ModelFilter=-7"));
}

void TestFilters::storedValues_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");

    QTest::newRow("state not a number") << QStringLiteral("VendorFilter=abc") << QStringLiteral("vendorState") << QStringLiteral("0");
    QTest::newRow("model state") << QStringLiteral("ModelFilter=3") << QStringLiteral("modelState") << QStringLiteral("3");
    QTest::newRow("enum filter") << QStringLiteral("EnumFilter=@ByteArray(R0VW)") << QStringLiteral("enum") << QStringLiteral("GEV");
    QTest::newRow("unenum filter plain Base64") << QStringLiteral("UnEnumFilter=VTNW") << QStringLiteral("unEnum") << QStringLiteral("U3V");
    QTest::newRow("list up to NUL") << QStringLiteral("ModelInclude=QQBC") << QStringLiteral("modelInclude") << QStringLiteral("A");
}

void TestFilters::storedValues()
{
    QFETCH(QString, line);
    QFETCH(QString, key);
    QFETCH(QString, expected);

    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"), line}));
    COMMONTOOLS_RUN_SCENARIO(run, "readFilters");
    QCOMPARE(run.value(key), expected);
}

void TestFilters::neutralVision_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("expected");

    QTest::newRow("NEU") << QStringLiteral("NEU") << true;
    QTest::newRow("neu") << QStringLiteral("neu") << false;
    QTest::newRow("NEU and a blank") << QStringLiteral("NEU ") << false;
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("other") << QStringLiteral("ORV") << false;
}

void TestFilters::neutralVision()
{
    QFETCH(QString, text);
    QFETCH(bool, expected);

    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({QStringLiteral("[General]"),
                                   QStringLiteral("Vision=") + QString::fromLatin1(text.toLatin1().toBase64())}));
    COMMONTOOLS_RUN_SCENARIO(run, "readFilters");
    QCOMPARE(run.value("neutral"), expected ? QStringLiteral("true") : QStringLiteral("false"));
}

COMMONTOOLS_SCENARIO_MAIN(TestFilters)
#include "tst_filters.moc"
