// The library linked statically into a program, as some clients link it:
// what it builds into itself comes along.

#include <OrvFunction.h>

#include <QCoreApplication>
#include <QTest>

using namespace OrvInterface;

class TestStaticLink : public QObject
{
    Q_OBJECT

private slots:
    void chineseCatalogue_data();
    void chineseCatalogue();
};

void TestStaticLink::chineseCatalogue_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("label");
    QTest::newRow("CH") << QStringLiteral("CH") << QStringLiteral("登录失败") << QStringLiteral("(错误码 : 0x90006607)");
    QTest::newRow("ENG") << QStringLiteral("ENG") << QStringLiteral("Login failed")
                         << QStringLiteral("(Error Code : 0x90006607)");
}

void TestStaticLink::chineseCatalogue()
{
    QFETCH(QString, language);
    QFETCH(QString, message);
    QFETCH(QString, label);
    QVERIFY(installTranslation(language));
    QCOMPARE(GenerateErrorDesc(int(0x90006607u)), message);
    QCOMPARE(IntCode2DisplayCode(0x90006607u), label);
}

QTEST_GUILESS_MAIN(TestStaticLink)
#include "tst_staticlink.moc"
