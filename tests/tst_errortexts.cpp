// Messages for result codes, display codes and hexadecimal text.

#include "support/childprocess.h"
#include "support/files.h"

#include <OrvFunction.h>

#include <QCoreApplication>
#include <QDomDocument>
#include <QFile>
#include <QMap>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QRegularExpression>
#include <QTranslator>

#include <cstdio>

using namespace OrvInterface;

namespace {

// The reference table: code, tab, message, one per line.
QMap<unsigned int, QString> referenceTable()
{
    QMap<unsigned int, QString> table;
    QFile file(TestFiles::locate("COMMONTOOLS_TEST_DATA_DIR", COMMONTOOLS_TEST_DATA_DIR)
               + QLatin1String("/error-messages.tsv"));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return table;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).chopped(1);
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const int tab = line.indexOf(QLatin1Char('\t'));
        bool ok = false;
        const unsigned int code = line.left(tab).toUInt(&ok, 16);
        if (ok)
            table.insert(code, line.mid(tab + 1));
    }
    return table;
}

const QString kOperationFailed = QStringLiteral("Operation failed.");

// The Simplified Chinese catalogue of the messages.
QString cataloguePath()
{
    return TestFiles::locate("COMMONTOOLS_TEST_CATALOGUE", COMMONTOOLS_TEST_CATALOGUE);
}

// A Qt Linguist catalogue, read.
struct Catalogue
{
    bool valid = false;
    QMap<QString, QString> translations;  // source text -> translation
    QStringList notFinished;              // sources whose translation has a type
    QString firstComment;                 // the first message's translator comment
};

Catalogue readCatalogue(const QString& path)
{
    Catalogue catalogue;
    QFile file(path);
    QDomDocument document;
    if (!file.open(QIODevice::ReadOnly) || !document.setContent(&file))
        return catalogue;
    const QDomNodeList messages = document.elementsByTagName(QStringLiteral("message"));
    for (int i = 0; i < messages.size(); ++i) {
        const QDomElement message = messages.at(i).toElement();
        const QString source = message.firstChildElement(QStringLiteral("source")).text();
        const QDomElement translation = message.firstChildElement(QStringLiteral("translation"));
        catalogue.translations.insert(source, translation.text());
        if (translation.hasAttribute(QStringLiteral("type")))
            catalogue.notFinished << source;
        if (i == 0)
            catalogue.firstComment = message.firstChildElement(QStringLiteral("translatorcomment")).text();
    }
    catalogue.valid = true;
    return catalogue;
}

// Chinese (CJK unified ideographs) in text.
bool hasChinese(const QString& text)
{
    for (const QChar c : text) {
        if (c.unicode() >= 0x4E00 && c.unicode() <= 0x9FFF)
            return true;
    }
    return false;
}

// This executable, started with this variable set, answers without a
// QCoreApplication.
const char kWithoutApplication[] = "CTT_WITHOUT_APPLICATION";

} // namespace

class TestErrorTexts : public QObject
{
    Q_OBJECT

private slots:
    void referenceTableIsComplete();
    void everyMessage_data();
    void everyMessage();
    void deviceFamilyHasNoOtherEntries();
    void clientFamilyFallsBack();
    void edgeCases_data();
    void edgeCases();

    void displayCode_data();
    void displayCode();
    void hexadecimalString_data();
    void hexadecimalString();

#ifdef COMMONTOOLS_SOURCE_DIR
    // Checks of the source tree, built only where it is (not into the
    // installed tests, see tests/CMakeLists.txt).
    void messagesAreTranslated();
#endif

    // The library's own translation.
    void cleanup();
    void chineseForEveryCode_data();
    void chineseForEveryCode();
    void englishAgainForEveryCode();
    void fallbackAndLabelInChinese();
    void installingTwiceDoesNotStack();
    void otherLanguagesRemoveTheTranslation_data();
    void otherLanguagesRemoveTheTranslation();
    void nothingWithoutAnApplication();
#ifdef COMMONTOOLS_SOURCE_DIR
    void catalogueIsInSyncWithTheSources();
#endif
    void catalogueFollowsItsRules();
};

void TestErrorTexts::referenceTableIsComplete()
{
    const QMap<unsigned int, QString> table = referenceTable();
    int device = 0;
    int client = 0;
    for (auto it = table.cbegin(); it != table.cend(); ++it)
        (it.key() >= 0x90000000u ? device : client)++;
    QCOMPARE(device, 160);
    QCOMPARE(client, 30);
}

void TestErrorTexts::everyMessage_data()
{
    QTest::addColumn<uint>("code");
    QTest::addColumn<QString>("message");
    const QMap<unsigned int, QString> table = referenceTable();
    for (auto it = table.cbegin(); it != table.cend(); ++it)
        QTest::newRow(qPrintable(QStringLiteral("0x%1").arg(it.key(), 8, 16, QLatin1Char('0')))) << it.key() << it.value();
}

void TestErrorTexts::everyMessage()
{
    QFETCH(uint, code);
    QFETCH(QString, message);

    QCOMPARE(GenerateErrorDesc(int(code)), message);
    // The device table answers only for its own family.
    QCOMPARE(GenerateHraErrorDesc(int(code)), code >= 0x90000000u ? message : QString());
}

void TestErrorTexts::deviceFamilyHasNoOtherEntries()
{
    const QMap<unsigned int, QString> table = referenceTable();
    for (unsigned int code = 0x90005F00u; code <= 0x90006CFFu; ++code) {
        if (table.contains(code))
            continue;
        const QString text = GenerateHraErrorDesc(int(code));
        QVERIFY2(text.isEmpty(), qPrintable(QStringLiteral("0x%1: %2").arg(code, 0, 16).arg(text)));
        QVERIFY(!text.isNull());
        QCOMPARE(GenerateErrorDesc(int(code)), kOperationFailed);
    }
}

void TestErrorTexts::clientFamilyFallsBack()
{
    const QMap<unsigned int, QString> table = referenceTable();
    for (unsigned int code = 0x6FFFFFF0u; code <= 0x70000100u; ++code) {
        if (!table.contains(code))
            QCOMPARE(GenerateErrorDesc(int(code)), kOperationFailed);
    }
}

void TestErrorTexts::edgeCases_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("errorDesc");
    QTest::addColumn<QString>("hraErrorDesc");

    const QString pixel = QStringLiteral("The pixel format is not supported.");
    QTest::newRow("0x70000012") << int(0x70000012) << pixel << QString();
    QTest::newRow("0x70000014") << int(0x70000014) << pixel << QString();
    QTest::newRow("0x7000001C") << int(0x7000001C) << kOperationFailed << QString();
    QTest::newRow("0x70000000") << int(0x70000000) << kOperationFailed << QString();
    QTest::newRow("0x70000020") << int(0x70000020) << kOperationFailed << QString();
    QTest::newRow("0") << 0 << kOperationFailed << QString();
    QTest::newRow("-1") << -1 << kOperationFailed << QString();
    QTest::newRow("0x70000001") << int(0x70000001) << kOperationFailed << QString();
    QTest::newRow("0x7000001F") << int(0x7000001F) << QStringLiteral("The file path is too long.") << QString();
    QTest::newRow("0x90006607") << int(0x90006607) << QStringLiteral("Login failed") << QStringLiteral("Login failed");
    QTest::newRow("0x90006008") << int(0x90006008) << kOperationFailed << QString();
    QTest::newRow("0x90006000") << int(0x90006000) << QStringLiteral("The camera handle is null or invalid")
                                << QStringLiteral("The camera handle is null or invalid");
    QTest::newRow("0x90006100") << int(0x90006100) << QStringLiteral("The handle is null or invalid")
                                << QStringLiteral("The handle is null or invalid");
    QTest::newRow("0x900061FF") << int(0x900061FF) << QStringLiteral("Unknow error") << QStringLiteral("Unknow error");
    QTest::newRow("0x900062FF") << int(0x900062FF) << QStringLiteral("GenICam unknow error")
                                << QStringLiteral("GenICam unknow error");
    QTest::newRow("0x900064FF") << int(0x900064FF) << QStringLiteral("Usb error") << QStringLiteral("Usb error");
    QTest::newRow("0x900065FF") << int(0x900065FF) << QStringLiteral("Upgrade unknow error")
                                << QStringLiteral("Upgrade unknow error");
    QTest::newRow("0x90006AFF") << int(0x90006AFF) << QStringLiteral("Network unknown error.")
                                << QStringLiteral("Network unknown error.");
    for (unsigned int code : {0x900063FFu, 0x900066FFu, 0x900067FFu, 0x900068FFu, 0x900069FFu, 0x9000651Fu,
                              0x9000660Fu, 0x90006711u, 0x9000680Eu, 0x90006915u, 0x90006A09u, 0x90006B00u}) {
        QTest::newRow(qPrintable(QStringLiteral("0x%1").arg(code, 0, 16))) << int(code) << kOperationFailed << QString();
    }
}

void TestErrorTexts::edgeCases()
{
    QFETCH(int, code);
    QFETCH(QString, errorDesc);
    QFETCH(QString, hraErrorDesc);
    QCOMPARE(GenerateErrorDesc(code), errorDesc);
    QCOMPARE(GenerateHraErrorDesc(code), hraErrorDesc);
}

void TestErrorTexts::displayCode_data()
{
    QTest::addColumn<uint>("code");
    QTest::addColumn<QString>("expected");

    QTest::newRow("0x9000610A") << 0x9000610Au << QStringLiteral("(Error Code : 0x9000610a)");
    QTest::newRow("0x7000001F") << 0x7000001Fu << QStringLiteral("(Error Code : 0x7000001f)");
    QTest::newRow("0") << 0u << QStringLiteral("(Error Code : 0x0)");
    QTest::newRow("0x1a") << 0x1Au << QStringLiteral("(Error Code : 0x1a)");
    QTest::newRow("all bits") << 0xFFFFFFFFu << QStringLiteral("(Error Code : 0xffffffff)");
}

void TestErrorTexts::displayCode()
{
    QFETCH(uint, code);
    QFETCH(QString, expected);
    QCOMPARE(IntCode2DisplayCode(code), expected);
}

void TestErrorTexts::hexadecimalString_data()
{
    QTest::addColumn<int>("low");
    QTest::addColumn<int>("high");
    QTest::addColumn<int>("width");
    QTest::addColumn<QString>("expected");

    QTest::newRow("255 width 4") << 255 << 0 << 4 << QStringLiteral("0x00FF");
    QTest::newRow("255 width 0") << 255 << 0 << 0 << QStringLiteral("0xFF");
    QTest::newRow("255 width 2") << 255 << 0 << 2 << QStringLiteral("0xFF");
    QTest::newRow("low padded") << 16 << 1 << 0 << QStringLiteral("0x100000010");
    QTest::newRow("width 12") << 0x12345678 << 0xAB << 12 << QStringLiteral("0x00AB12345678");
    QTest::newRow("-1 low") << -1 << 0 << 0 << QStringLiteral("0xFFFFFFFF");
    QTest::newRow("-1 high") << 0 << -1 << 0 << QStringLiteral("0xFFFFFFFF00000000");
    QTest::newRow("both -1") << -1 << -1 << 0 << QStringLiteral("0xFFFFFFFFFFFFFFFF");
    QTest::newRow("0 width 0") << 0 << 0 << 0 << QStringLiteral("0x");
    QTest::newRow("0 width 1") << 0 << 0 << 1 << QStringLiteral("0x0");
    QTest::newRow("0 width 3") << 0 << 0 << 3 << QStringLiteral("0x000");
    QTest::newRow("0 width -4") << 0 << 0 << -4 << QStringLiteral("0x");
    QTest::newRow("7 width -4") << 7 << 0 << -4 << QStringLiteral("0x7");
    QTest::newRow("high with zero low") << 0 << 1 << 0 << QStringLiteral("0x100000000");
    QTest::newRow("width above digits") << 0xABC << 0 << 8 << QStringLiteral("0x00000ABC");
}

void TestErrorTexts::hexadecimalString()
{
    QFETCH(int, low);
    QFETCH(int, high);
    QFETCH(int, width);
    QFETCH(QString, expected);
    QCOMPARE(toHexadecimalString(low, high, width), expected);
}

#ifdef COMMONTOOLS_SOURCE_DIR
// The texts can be extracted by lupdate and are looked up with the QObject
// context: a translation made from the sources replaces every one of them.
void TestErrorTexts::messagesAreTranslated()
{
#if !defined(COMMONTOOLS_LUPDATE) || !defined(COMMONTOOLS_LRELEASE)
    QSKIP("lupdate and lrelease are not installed");
#else
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString ts = dir.filePath(QStringLiteral("messages.ts"));
    const QString qm = dir.filePath(QStringLiteral("messages.qm"));

    TestProcess::Options lupdate;
    lupdate.targetProgram = false;
    lupdate.mergeOutput = true;
    lupdate.arguments = QStringList{QStringLiteral(COMMONTOOLS_SOURCE_DIR "/src/function/errortexts.cpp"),
                                    QStringLiteral("-ts"), ts};
    const TestProcess::Result updated = TestProcess::run(QStringLiteral(COMMONTOOLS_LUPDATE), lupdate);
    QVERIFY2(updated.succeeded(), updated.out.constData());

    // Every source text gets a translation of its own.
    QDomDocument document;
    QFile tsFile(ts);
    QVERIFY(tsFile.open(QIODevice::ReadOnly));
    QVERIFY(document.setContent(&tsFile));
    tsFile.close();
    const QDomNodeList contexts = document.elementsByTagName(QStringLiteral("context"));
    QCOMPARE(contexts.size(), 1);
    QCOMPARE(contexts.at(0).firstChildElement(QStringLiteral("name")).text(), QStringLiteral("QObject"));
    QSet<QString> sources;
    const QDomNodeList messages = document.elementsByTagName(QStringLiteral("message"));
    for (int i = 0; i < messages.size(); ++i) {
        const QDomElement message = messages.at(i).toElement();
        const QString source = message.firstChildElement(QStringLiteral("source")).text();
        sources.insert(source);
        QDomElement translation = message.firstChildElement(QStringLiteral("translation"));
        translation.removeAttribute(QStringLiteral("type"));
        while (translation.hasChildNodes())
            translation.removeChild(translation.firstChild());
        translation.appendChild(document.createTextNode(QStringLiteral("T[") + source + QLatin1Char(']')));
    }
    QVERIFY(tsFile.open(QIODevice::WriteOnly | QIODevice::Truncate));
    tsFile.write(document.toByteArray());
    tsFile.close();

    const QMap<unsigned int, QString> table = referenceTable();
    QSet<QString> expected(table.cbegin(), table.cend());
    expected << kOperationFailed << QStringLiteral("Error Code : 0x");
    QCOMPARE(sources, expected);

    TestProcess::Options lrelease;
    lrelease.targetProgram = false;
    lrelease.mergeOutput = true;
    lrelease.arguments = QStringList{ts, QStringLiteral("-qm"), qm};
    const TestProcess::Result released = TestProcess::run(QStringLiteral(COMMONTOOLS_LRELEASE), lrelease);
    QVERIFY2(released.succeeded(), released.out.constData());

    QTranslator translator;
    QVERIFY(translator.load(qm));
    QVERIFY(QCoreApplication::installTranslator(&translator));
    for (auto it = table.cbegin(); it != table.cend(); ++it)
        QCOMPARE(GenerateErrorDesc(int(it.key())), QStringLiteral("T[") + it.value() + QLatin1Char(']'));
    QCOMPARE(GenerateErrorDesc(0), QStringLiteral("T[Operation failed.]"));
    QCOMPARE(GenerateHraErrorDesc(0), QString());
    QCOMPARE(IntCode2DisplayCode(0x1Fu), QStringLiteral("(T[Error Code : 0x]1f)"));
    QCoreApplication::removeTranslator(&translator);
    QCOMPARE(GenerateErrorDesc(0), kOperationFailed);
#endif
}
#endif

void TestErrorTexts::cleanup()
{
    installTranslation(QStringLiteral("ENG"));
}

void TestErrorTexts::chineseForEveryCode_data()
{
    everyMessage_data();
}

void TestErrorTexts::chineseForEveryCode()
{
    QFETCH(uint, code);
    QFETCH(QString, message);
    const Catalogue catalogue = readCatalogue(cataloguePath());
    QVERIFY(catalogue.valid);

    QVERIFY(installTranslation(QStringLiteral("CH")));
    const QString text = GenerateErrorDesc(int(code));
    QVERIFY2(hasChinese(text), qPrintable(text));
    QVERIFY(text != message);
    // What the catalogue says, finished.
    QCOMPARE(text, catalogue.translations.value(message));
    QVERIFY(!catalogue.notFinished.contains(message));
    QCOMPARE(GenerateHraErrorDesc(int(code)), code >= 0x90000000u ? text : QString());
}

void TestErrorTexts::englishAgainForEveryCode()
{
    QVERIFY(installTranslation(QStringLiteral("CH")));
    QVERIFY(installTranslation(QStringLiteral("ENG")));
    const QMap<unsigned int, QString> table = referenceTable();
    for (auto it = table.cbegin(); it != table.cend(); ++it)
        QCOMPARE(GenerateErrorDesc(int(it.key())), it.value());
    QCOMPARE(IntCode2DisplayCode(0x1Fu), QStringLiteral("(Error Code : 0x1f)"));
}

void TestErrorTexts::fallbackAndLabelInChinese()
{
    QVERIFY(installTranslation(QStringLiteral("CH")));
    QCOMPARE(GenerateErrorDesc(0x70000000), QStringLiteral("操作失败。"));
    QCOMPARE(GenerateErrorDesc(-1), QStringLiteral("操作失败。"));
    QCOMPARE(IntCode2DisplayCode(0x90006607u), QStringLiteral("(错误码 : 0x90006607)"));
    QCOMPARE(GenerateHraErrorDesc(0), QString());
}

void TestErrorTexts::installingTwiceDoesNotStack()
{
    QVERIFY(installTranslation(QStringLiteral("CH")));
    QVERIFY(installTranslation(QStringLiteral("CH")));
    QCOMPARE(GenerateErrorDesc(int(0x90006607u)), QStringLiteral("登录失败"));
    // One removal takes it all away: a second one would still translate.
    QVERIFY(installTranslation(QStringLiteral("ENG")));
    QCOMPARE(GenerateErrorDesc(int(0x90006607u)), QStringLiteral("Login failed"));
}

void TestErrorTexts::otherLanguagesRemoveTheTranslation_data()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("empty") << QString();
    QTest::newRow("lower case") << QStringLiteral("ch");
    QTest::newRow("other") << QStringLiteral("FR");
    QTest::newRow("zh_CN") << QStringLiteral("zh_CN");
}

void TestErrorTexts::otherLanguagesRemoveTheTranslation()
{
    QFETCH(QString, language);
    QVERIFY(installTranslation(QStringLiteral("CH")));
    QVERIFY(!installTranslation(language));
    QCOMPARE(GenerateErrorDesc(int(0x90006607u)), QStringLiteral("Login failed"));
}

void TestErrorTexts::nothingWithoutAnApplication()
{
    TestProcess::Options options;
    options.setEnvironment.insert(QLatin1String(kWithoutApplication), QStringLiteral("1"));
    const TestProcess::Result result = TestProcess::run(QCoreApplication::applicationFilePath(), options);
    QVERIFY2(result.succeeded(), result.out.constData());
    QCOMPARE(result.out, QByteArray("installTranslation(CH): false\nLogin failed\n"));
}

#ifdef COMMONTOOLS_SOURCE_DIR
void TestErrorTexts::catalogueIsInSyncWithTheSources()
{
#if !defined(COMMONTOOLS_LUPDATE)
    QSKIP("lupdate is not installed");
#else
    // lupdate, as the catalogue is kept up to date, on a copy.
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString copy = dir.filePath(QStringLiteral("copy.ts"));
    QVERIFY(QFile::copy(cataloguePath(), copy));
    TestProcess::Options lupdate;
    lupdate.targetProgram = false;
    lupdate.mergeOutput = true;
    lupdate.arguments = QStringList{QStringLiteral("-locations"), QStringLiteral("none"), QStringLiteral("-no-obsolete"),
                                    QStringLiteral(COMMONTOOLS_SOURCE_DIR "/src"), QStringLiteral("-ts"), copy};
    const TestProcess::Result updated = TestProcess::run(QStringLiteral(COMMONTOOLS_LUPDATE), lupdate);
    QVERIFY2(updated.succeeded(), updated.out.constData());

    const Catalogue original = readCatalogue(cataloguePath());
    const Catalogue refreshed = readCatalogue(copy);
    QVERIFY(original.valid && refreshed.valid);
    // Nothing added, nothing removed, nothing unfinished or obsolete.
    QCOMPARE(refreshed.translations.keys(), original.translations.keys());
    QCOMPARE(refreshed.translations, original.translations);
    QCOMPARE(original.notFinished, QStringList());
    QCOMPARE(refreshed.notFinished, QStringList());
    // The keys are the messages of both tables, the fallback and the label.
    const QMap<unsigned int, QString> table = referenceTable();
    QSet<QString> expected(table.cbegin(), table.cend());
    expected << kOperationFailed << QStringLiteral("Error Code : 0x");
    const QStringList sources = original.translations.keys();
    QCOMPARE(QSet<QString>(sources.cbegin(), sources.cend()), expected);
#endif
}
#endif

void TestErrorTexts::catalogueFollowsItsRules()
{
    const Catalogue catalogue = readCatalogue(cataloguePath());
    QVERIFY(catalogue.valid);
    QVERIFY(catalogue.firstComment.startsWith(QStringLiteral("Glossary")));
    QStringList broken;
    for (auto it = catalogue.translations.cbegin(); it != catalogue.translations.cend(); ++it) {
        const QString& source = it.key();
        const QString& translation = it.value();
        // A full stop where the English has one, and only there.
        if (source.endsWith(QLatin1Char('.')) != translation.endsWith(QChar(0x3002)))
            broken << source + QStringLiteral(": full stop");
        if (translation.endsWith(QLatin1Char('.')))
            broken << source + QStringLiteral(": Latin full stop");
        if (!hasChinese(translation))
            broken << source + QStringLiteral(": no Chinese");
        // Names stay as they are.
        for (const char* name : {"GenICam", "XML", "IP", "SDK", "FPGA", "ZIP", "FTP", "NTP", "ROI"}) {
            const QRegularExpression word(QStringLiteral("\\b%1\\b").arg(QLatin1String(name)));
            if (source.contains(word) && !translation.contains(word))
                broken << source + QStringLiteral(": ") + QLatin1String(name);
        }
    }
    QVERIFY2(broken.isEmpty(), qPrintable(broken.join(QLatin1Char('\n'))));
}

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsSet(kWithoutApplication)) {
        const bool installed = installTranslation(QStringLiteral("CH"));
        std::printf("installTranslation(CH): %s\n%s\n", installed ? "true" : "false",
                    qPrintable(GenerateErrorDesc(int(0x90006607u))));
        return 0;
    }
    QCoreApplication app(argc, argv);
    TestErrorTexts test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_errortexts.moc"
