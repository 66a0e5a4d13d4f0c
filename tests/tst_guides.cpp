// The examples and tables of the reference's guides (docs/*.md), read from
// the pages themselves and run against the library: a page that stops
// saying what the library does fails here.

#include "support/files.h"
#include "support/guides.h"
#include "support/mfa_builder.h"
#include "support/scenario.h"

#include <OrvCalculator.h>
#include <OrvFunction.h>
#include <OrvPointFile.h>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <thread>

namespace {

QString page(const char* name)
{
    return Guides::page(QLatin1String(name));
}

// The rows of the Markdown table whose header line is header, as cells.
QList<QStringList> tableRows(const QString& text, const QString& header)
{
    QList<QStringList> rows;
    const int start = text.indexOf(header);
    if (start < 0)
        return rows;
    const QStringList lines = text.mid(start).split(QLatin1Char('\n'));
    for (int i = 2; i < lines.size() && lines.at(i).startsWith(QLatin1Char('|')); ++i) {
        QStringList cells = lines.at(i).split(QLatin1Char('|'));
        cells = cells.mid(1, cells.size() - 2);
        for (QString& cell : cells)
            cell = cell.trimmed();
        rows.append(cells);
    }
    return rows;
}

// The texts between backticks in a cell.
QStringList quoted(const QString& cell)
{
    QStringList texts;
    static const QRegularExpression code(QStringLiteral("`([^`]*)`"));
    QRegularExpressionMatchIterator it = code.globalMatch(cell);
    while (it.hasNext())
        texts.append(it.next().captured(1));
    return texts;
}

// "\uFFFD" and "\u0000" as the pages write them.
QString unescaped(QString text)
{
    static const QRegularExpression escape(QStringLiteral("\\\\u([0-9A-Fa-f]{4})"));
    QRegularExpressionMatch match;
    while ((match = escape.match(text)).hasMatch())
        text.replace(match.capturedStart(), match.capturedLength(), QChar(match.captured(1).toUShort(nullptr, 16)));
    return text;
}

// A descriptor of the tables, completed with the keys it leaves out.
QByteArray completeDescriptor(QString descriptor)
{
    if (!descriptor.contains(QLatin1String("Valid:")))
        descriptor += QStringLiteral(" Valid:3");
    if (!descriptor.contains(QLatin1String("Endian:")))
        descriptor += QStringLiteral(" Endian:L");
    return descriptor.toLatin1();
}

// "r0 + 256 * r1", "r2", "0": a half of the record as the page gives it.
int recordHalf(const QString& expression, const QByteArray& record, bool* ok)
{
    *ok = true;
    int value = 0;
    for (QString term : expression.split(QLatin1Char('+'))) {
        term = term.trimmed();
        int factor = 1;
        if (term.startsWith(QLatin1String("256 * "))) {
            factor = 256;
            term = term.mid(6);
        }
        if (term == QLatin1String("0"))
            continue;
        if (term.size() != 2 || term.at(0) != QLatin1Char('r') || term.at(1).digitValue() < 0
            || term.at(1).digitValue() >= record.size()) {
            *ok = false;
            return 0;
        }
        value += factor * quint8(record.at(term.at(1).digitValue()));
    }
    return value;
}

const QByteArray kRecordBytes("\x11\x22\x33\x44", 4);
constexpr quint32 kRecordValue = 0x44332211u;

void writeSetting(const QString& key, const QString& value)
{
    OrvInterface::setCustomConfig(key, value);
}

} // namespace

// Stores CTT_VALUE (hexadecimal UTF-8) under CTT_KEY as the page says, and
// reports what comes back.
COMMONTOOLS_SCENARIO(settingRoundTrip)
{
    const QString key = qEnvironmentVariable("CTT_KEY");
    const QByteArray utf8 = QByteArray::fromHex(qgetenv("CTT_VALUE"));
    const QString value = QString::fromUtf8(utf8.constData(), utf8.size()); // NUL included
    if (qEnvironmentVariable("CTT_HOW") == QLatin1String("utf8-as-latin1"))
        writeSetting(key, QString::fromLatin1(value.toUtf8()));
    else if (qEnvironmentVariable("CTT_HOW") == QLatin1String("utf8-setter"))
        OrvInterface::setCustomConfigUtf8(key, value);
    else if (qEnvironmentVariable("CTT_HOW") == QLatin1String("filter-list"))
        OrvInterface::setVendorFilterInclude(QString::fromLatin1(value.toUtf8()));
    else if (qEnvironmentVariableIsSet("CTT_VALUE"))
        writeSetting(key, value);
    Scenario::report(QStringLiteral("read"), key == QLatin1String("VendorInclude") ? OrvInterface::vendorFilterInclude()
                                                                                  : OrvInterface::getCustomConfig(key));
    Scenario::report(QStringLiteral("readUtf8"), OrvInterface::getCustomConfigUtf8(key));
    Scenario::report(QStringLiteral("absentIsNull"), OrvInterface::getCustomConfigUtf8(QStringLiteral("Absent")).isNull());
}

class TestGuides : public QObject
{
    Q_OBJECT

private slots:
    void calculatorExamples_data();
    void calculatorExamples();
    void failureTextIsOneForTheProcess();
    void curExeVersionIsArmhf();
    void wrongMagicConvertsWithTrue();

    void settingsTable_data();
    void settingsTable();
    void settingsOfTheCompatibilityPage();
    void settingsBeyondAscii_data();
    void settingsBeyondAscii();
    void settingStoredAsUtf8ByAnotherProgram();

    void pointFileExampleChecksum();
    void pointFileExampleExport();
    void pointFileExampleImport();
    void descriptorCodes_data();
    void descriptorCodes();
    void unitIsOneDigit();
    void recordHalves_data();
    void recordHalves();
    void recordBytesFromText_data();
    void recordBytesFromText();
    void importOfAMissingPointFile();

private:
    QTemporaryDir m_dir;
};

void TestGuides::calculatorExamples_data()
{
    QTest::addColumn<QString>("expression");
    QTest::addColumn<bool>("fails");
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("message");

    // Compute("1+2=3", ok);   // 1: read as ...
    // Compute("1e3", ok);     // fails: "message"
    static const QRegularExpression example(
            QStringLiteral("Compute\\(\"((?:[^\"\\\\]|\\\\.)*)\", ok\\);\\s*// (fails|ok false|-?[0-9.]+)(?:: \"([^\"]*)\")?"));
    QRegularExpressionMatchIterator it = example.globalMatch(page("compatibility.md"));
    int rows = 0;
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        const bool fails = !match.captured(2).front().isDigit() && match.captured(2).front() != QLatin1Char('-');
        QTest::addRow("%s", qPrintable(match.captured(1)))
                << match.captured(1) << fails << (fails ? 0.0 : match.captured(2).toDouble()) << match.captured(3);
        ++rows;
    }
    QVERIFY2(rows >= 12, "the compatibility page lost its calculator examples");
}

void TestGuides::calculatorExamples()
{
    QFETCH(QString, expression);
    QFETCH(bool, fails);
    QFETCH(double, value);
    QFETCH(QString, message);

    bool ok = !fails;
    const double result = OrvInterface::Compute(expression.toUtf8().constData(), ok);
    QCOMPARE(ok, !fails);
    if (fails) {
        if (!message.isEmpty())
            QCOMPARE(QString::fromUtf8(OrvInterface::GetCalculatorErro()), message);
    } else {
        QCOMPARE(result, value);
    }
}

void TestGuides::failureTextIsOneForTheProcess()
{
    const QString text = page("compatibility.md");
    const QRegularExpressionMatch shown = QRegularExpression(QStringLiteral("thread B's \"([^\"]*)\"")).match(text);
    QVERIFY(shown.hasMatch());

    // Thread A fails, then thread B, then thread A reads the text.
    bool okA = true;
    bool okB = true;
    std::thread([&] { OrvInterface::Compute("5/0", okA); }).join();
    std::thread([&] { OrvInterface::Compute("1e3", okB); }).join();
    QString readByA;
    std::thread([&] { readByA = QString::fromUtf8(OrvInterface::GetCalculatorErro()); }).join();
    QVERIFY(!okA);
    QVERIFY(!okB);
    QCOMPARE(readByA, shown.captured(1));
}

void TestGuides::curExeVersionIsArmhf()
{
    const QRegularExpressionMatch shown =
            QRegularExpression(QStringLiteral("curExeVersion\\(\\);\\s*// \"([^\"]*)\", on every architecture"))
                    .match(page("compatibility.md"));
    QVERIFY(shown.hasMatch());
    QCOMPARE(OrvInterface::curExeVersion(), shown.captured(1));
}

void TestGuides::wrongMagicConvertsWithTrue()
{
    QVERIFY(page("compatibility.md").contains(QStringLiteral("ChangeMfaToTxt(QStringLiteral(\"/data/photo.mfa\"));   // true; no photo.txt is written")));
    QByteArray photo("\x89PNG\r\n\x1a\n", 8);
    photo += QByteArray(400, '\x01');
    const QString mfa = m_dir.filePath(QStringLiteral("photo.mfa"));
    QVERIFY(TestFiles::writeFile(mfa, photo));
    QVERIFY(OrvInterface::ChangeMfaToTxt(mfa));
    QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("photo.txt"))));
    QCOMPARE(TestFiles::readFile(mfa), photo);
}

void TestGuides::settingsTable_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("written");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("read");

    const QList<QStringList> rows =
            tableRows(page("settings-convention.md"), QStringLiteral("| written | stored in CustomConfig.ini | read back |"));
    for (const QStringList& row : rows) {
        QVERIFY(row.size() == 3 && quoted(row.at(0)).size() == 1 && quoted(row.at(1)).size() == 1
                && !quoted(row.at(2)).isEmpty());
        const QString stored = quoted(row.at(1)).first();
        QTest::addRow("%s", qPrintable(row.at(0)))
                << stored.section(QLatin1Char('='), 0, 0) << unescaped(quoted(row.at(0)).first()) << stored
                << unescaped(quoted(row.at(2)).first());
    }
    QVERIFY2(rows.size() >= 5, "the settings page lost its table");
}

void TestGuides::settingsTable()
{
    QFETCH(QString, key);
    QFETCH(QString, written);
    QFETCH(QString, stored);
    QFETCH(QString, read);

    Scenario::Run run;
    COMMONTOOLS_RUN_SCENARIO_WITH(run, "settingRoundTrip",
                                  (QMap<QString, QString>{{QStringLiteral("CTT_KEY"), key},
                                                          {QStringLiteral("CTT_VALUE"), QString::fromLatin1(written.toUtf8().toHex())}}));
    QCOMPARE(TestFiles::iniLine(run.customConfigPath(), key), stored);
    QCOMPARE(run.value(QStringLiteral("read")), read);
}

void TestGuides::settingsOfTheCompatibilityPage()
{
    // setCustomConfig(QStringLiteral("K"), QStringLiteral("V"));
    // getCustomConfig(QStringLiteral("K"));   // "R"
    static const QRegularExpression pair(QStringLiteral(
            "setCustomConfig\\(QStringLiteral\\(\"([^\"]*)\"\\), QStringLiteral\\(\"([^\"]*)\"\\)\\);\\n"
            "OrvInterface::getCustomConfig\\(QStringLiteral\\(\"\\1\"\\)\\);\\s*// \"([^\"]*)\""));
    QRegularExpressionMatchIterator it = pair.globalMatch(page("compatibility.md"));
    int examples = 0;
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        Scenario::Run run;
        COMMONTOOLS_RUN_SCENARIO_WITH(run, "settingRoundTrip",
                                      (QMap<QString, QString>{{QStringLiteral("CTT_KEY"), match.captured(1)},
                                                              {QStringLiteral("CTT_VALUE"),
                                                               QString::fromLatin1(match.captured(2).toUtf8().toHex())}}));
        QCOMPARE(run.value(QStringLiteral("read")), unescaped(match.captured(3)));
        ++examples;
    }
    QCOMPARE(examples, 2); // "Kamera Süd" and "深色 dark"
}

void TestGuides::settingsBeyondAscii_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<QString>("key");

    // The page's example of the UTF-8 setter, and its line in the file.
    const QString example = Guides::exampleBlock(page("settings-convention.md"), QStringLiteral("utf8"));
    QVERIFY(example.contains(QStringLiteral("setCustomConfigUtf8(QStringLiteral(\"Theme\"), QStringLiteral(\"深色 dark\"));\n"
                                            "getCustomConfigUtf8(QStringLiteral(\"Theme\"));   // \"深色 dark\"\n"
                                            "getCustomConfig(QStringLiteral(\"Theme\"));       // \"深色 dark\"\n"
                                            "// CustomConfig.ini: Theme=\"@ByteArray(5rex6ImyIGRhcms=)\"\n"
                                            "getCustomConfigUtf8(QStringLiteral(\"Absent\"));  // null")));
    QVERIFY(page("settings-convention.md").contains(QStringLiteral(
            "OrvInterface::setVendorFilterInclude(QString::fromLatin1(QStringLiteral(\"相机/Kamera\").toUtf8()));\n"
            "OrvInterface::vendorFilterInclude();   // \"相机/Kamera\"")));
    QTest::newRow("setCustomConfigUtf8") << QStringLiteral("utf8-setter") << QStringLiteral("Theme");
    QTest::newRow("setVendorFilterInclude") << QStringLiteral("filter-list") << QStringLiteral("VendorInclude");
}

void TestGuides::settingsBeyondAscii()
{
    QFETCH(QString, how);
    QFETCH(QString, key);

    const QString value = QStringLiteral("深色 dark Kamera Süd 相机");
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig()); // the filter setters write only an existing file
    COMMONTOOLS_RUN_SCENARIO_WITH(run, "settingRoundTrip",
                                  (QMap<QString, QString>{{QStringLiteral("CTT_KEY"), key},
                                                          {QStringLiteral("CTT_HOW"), how},
                                                          {QStringLiteral("CTT_VALUE"), QString::fromLatin1(value.toUtf8().toHex())}}));
    QCOMPARE(run.value(QStringLiteral("read")), value);
    if (how == QLatin1String("utf8-setter")) {
        QCOMPARE(run.value(QStringLiteral("readUtf8")), value);
        QCOMPARE(run.value(QStringLiteral("absentIsNull")), QStringLiteral("true"));
        // QSettings quotes a value that holds "=" (Base64's padding).
        const QString stored = QStringLiteral("@ByteArray(%1)").arg(QString::fromLatin1(value.toUtf8().toBase64()));
        QCOMPARE(TestFiles::iniLine(run.customConfigPath(), key),
                 QStringLiteral("Theme=") + (stored.contains(QLatin1Char('=')) ? QLatin1Char('"') + stored + QLatin1Char('"') : stored));
    }
}

void TestGuides::settingStoredAsUtf8ByAnotherProgram()
{
    const QRegularExpressionMatch shown =
            QRegularExpression(QStringLiteral("`(Theme=\"@ByteArray\\(5rex6ImyIGRhcms=\\)\")`\nreads as `([^`]*)`"))
                    .match(page("settings-convention.md"));
    QVERIFY(shown.hasMatch());
    Scenario::Run run;
    QVERIFY(run.writeCustomConfig({shown.captured(1)}));
    COMMONTOOLS_RUN_SCENARIO_WITH(run, "settingRoundTrip", (QMap<QString, QString>{{QStringLiteral("CTT_KEY"), QStringLiteral("Theme")}}));
    QCOMPARE(run.value(QStringLiteral("read")), shown.captured(2));
}

void TestGuides::pointFileExampleChecksum()
{
    const QByteArray file = Guides::fromHexdump(Guides::exampleBlock(page("pointfile-format.md"), QStringLiteral("points.mfa")));
    QCOMPARE(file.size(), 268);
    QCOMPARE(Mfa::getU32(file, 0), Mfa::kMfaMagic);
    const quint32 crcOffset = Mfa::getU32(file, 8);
    const quint32 crcLength = Mfa::getU32(file, 36);
    QCOMPARE(qint64(16 + crcLength), qint64(file.size()));
    QCOMPARE(Mfa::getU32(file, int(crcOffset)),
             crc32(reinterpret_cast<const unsigned char*>(file.constData()) + 16, int(crcLength)));
    QVERIFY(page("pointfile-format.md").contains(QString::asprintf("the checksum, `0x%08X`", Mfa::getU32(file, int(crcOffset)))));
}

void TestGuides::pointFileExampleExport()
{
    const QString text = page("pointfile-format.md");
    const QByteArray file = Guides::fromHexdump(Guides::exampleBlock(text, QStringLiteral("points.mfa")));
    const QString lines = Guides::exampleBlock(text, QStringLiteral("points.txt"));
    QVERIFY(!file.isEmpty());
    QVERIFY(!lines.isEmpty());

    const QString mfa = m_dir.filePath(QStringLiteral("export/points.mfa"));
    QVERIFY(TestFiles::writeFile(mfa, file));
    QVERIFY(OrvInterface::ChangeMfaToTxt(mfa));
    QCOMPARE(TestFiles::fileText(m_dir.filePath(QStringLiteral("export/points.txt"))), lines);
}

void TestGuides::pointFileExampleImport()
{
    // The example's header with its records and checksum cleared, and the
    // example's text beside it: the library writes the example's bytes.
    const QString text = page("pointfile-format.md");
    const QByteArray example = Guides::fromHexdump(Guides::exampleBlock(text, QStringLiteral("points.mfa")));
    QVERIFY(!example.isEmpty());
    QByteArray blank = example;
    const int dataOffset = int(Mfa::getU32(example, 32));
    blank.replace(dataOffset, blank.size() - dataOffset, QByteArray(blank.size() - dataOffset, '\0'));
    Mfa::putU32(blank, int(Mfa::getU32(example, 8)), 0);

    const QString mfa = m_dir.filePath(QStringLiteral("import/points.mfa"));
    QVERIFY(TestFiles::writeFile(mfa, blank));
    QVERIFY(TestFiles::writeFile(m_dir.filePath(QStringLiteral("import/points.txt")),
                                 Guides::exampleBlock(text, QStringLiteral("points.txt")).toUtf8()));
    QVERIFY(OrvInterface::ChangeTxtToMfa(mfa));
    QCOMPARE(TestFiles::readFile(mfa).toHex(' '), example.toHex(' '));
}

void TestGuides::descriptorCodes_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("character");
    QTest::addColumn<uint>("code");

    const QList<QStringList> rows = tableRows(page("pointfile-format.md"), QStringLiteral("| key | character | code | meaning |"));
    QString key;
    int count = 0;
    for (const QStringList& row : rows) {
        if (!quoted(row.at(0)).isEmpty())
            key = quoted(row.at(0)).first();
        bool isCode = false;
        const uint code = row.at(2).toUInt(&isCode);
        if (quoted(row.at(1)).size() != 1 || !isCode)
            continue; // "0 to 9", "absent or other"
        QTest::addRow("%s%s", qPrintable(key), qPrintable(quoted(row.at(1)).first()))
                << key << quoted(row.at(1)).first() << code;
        ++count;
    }
    QCOMPARE(count, 8);
}

void TestGuides::descriptorCodes()
{
    QFETCH(QString, key);
    QFETCH(QString, character);
    QFETCH(uint, code);

    QStringList keys{QStringLiteral("Unit:4"), QStringLiteral("Valid:3"), QStringLiteral("Endian:L")};
    for (QString& k : keys) {
        if (k.startsWith(key))
            k = key + character;
    }
    if (key == QLatin1String("Meaning:"))
        keys.append(key + character);
    unsigned int unit = 99, valid = 99, endian = 99, meaning = 99;
    QVERIFY(OrvInterface::GetAnalyticFormat(keys.join(QLatin1Char(' ')), unit, valid, endian, meaning));
    const unsigned int read = key == QLatin1String("Valid:") ? valid : key == QLatin1String("Endian:") ? endian : meaning;
    QCOMPARE(read, code);
}

void TestGuides::unitIsOneDigit()
{
    QVERIFY(page("pointfile-format.md").contains(QStringLiteral("(`Unit:16` is 1)")));
    unsigned int unit = 0, valid = 0, endian = 0, meaning = 0;
    QVERIFY(OrvInterface::GetAnalyticFormat(QStringLiteral("Unit:16 Valid:3 Endian:L"), unit, valid, endian, meaning));
    QCOMPARE(unit, 1u);
}

void TestGuides::recordHalves_data()
{
    QTest::addColumn<QByteArray>("descriptor");
    QTest::addColumn<QString>("low");
    QTest::addColumn<QString>("high");

    const QList<QStringList> rows = tableRows(page("pointfile-format.md"), QStringLiteral("| layout | low | high |"));
    for (const QStringList& row : rows) {
        for (const QString& descriptor : quoted(row.at(0)))
            QTest::addRow("%s", qPrintable(descriptor)) << completeDescriptor(descriptor) << row.at(1) << row.at(2);
    }
    QVERIFY2(rows.size() >= 10, "the point file page lost its table of record halves");
}

void TestGuides::recordHalves()
{
    QFETCH(QByteArray, descriptor);
    QFETCH(QString, low);
    QFETCH(QString, high);

    unsigned int unit = 0, valid = 0, endian = 0, meaning = 0;
    QVERIFY(OrvInterface::GetAnalyticFormat(QString::fromLatin1(descriptor), unit, valid, endian, meaning));
    const QByteArray record = QByteArray(kRecordBytes + QByteArray(8, '\x55')).left(int(unit));
    bool ok = false;
    const int expectedLow = recordHalf(low, record, &ok);
    QVERIFY2(ok, qPrintable(low));
    const int expectedHigh = recordHalf(high, record, &ok);
    QVERIFY2(ok, qPrintable(high));

    const QString mfa = m_dir.filePath(QStringLiteral("halves/%1.mfa").arg(QString::fromLatin1(descriptor.toHex())));
    QVERIFY(TestFiles::writeFile(mfa, Mfa::mfaFile(descriptor + " Meaning:x", record)));
    QVERIFY(OrvInterface::ChangeMfaToTxt(mfa));
    QCOMPARE(TestFiles::fileText(mfa.left(mfa.size() - 4) + QStringLiteral(".txt")),
             QStringLiteral("x=%1,y=%2\n").arg(expectedLow).arg(expectedHigh));
}

void TestGuides::recordBytesFromText_data()
{
    QTest::addColumn<QByteArray>("descriptor");
    QTest::addColumn<QStringList>("bytes");

    const QList<QStringList> rows = tableRows(page("pointfile-format.md"), QStringLiteral("| layout | r0 | r1 | r2 | r3 |"));
    for (const QStringList& row : rows) {
        QStringList descriptors = quoted(row.at(0));
        if (descriptors.isEmpty()) // "any other"
            descriptors = QStringList{QStringLiteral("Unit:3"), QStringLiteral("Unit:4 Valid:1")};
        for (const QString& descriptor : qAsConst(descriptors))
            QTest::addRow("%s", qPrintable(descriptor)) << completeDescriptor(descriptor) << QStringList(row.mid(1));
    }
    QVERIFY2(rows.size() >= 10, "the point file page lost its table of record bytes");
}

void TestGuides::recordBytesFromText()
{
    QFETCH(QByteArray, descriptor);
    QFETCH(QStringList, bytes);

    unsigned int unit = 0, valid = 0, endian = 0, meaning = 0;
    QVERIFY(OrvInterface::GetAnalyticFormat(QString::fromLatin1(descriptor), unit, valid, endian, meaning));
    QByteArray expected;
    for (int i = 0; i < int(unit); ++i) {
        const QString cell = bytes.value(i);
        if (cell == QLatin1String("FF"))
            expected += '\xFF';
        else if (cell.startsWith(QLatin1Char('v')))
            expected += kRecordBytes.at(cell.mid(1).toInt());
        else
            QFAIL(qPrintable(QStringLiteral("no byte %1 in the table for %2").arg(i).arg(QString::fromLatin1(descriptor))));
    }

    const QString mfa = m_dir.filePath(QStringLiteral("bytes/%1.mfa").arg(QString::fromLatin1(descriptor.toHex())));
    QVERIFY(TestFiles::writeFile(mfa, Mfa::mfaFile(descriptor, QByteArray(int(unit), '\0'))));
    QVERIFY(TestFiles::writeFile(mfa.left(mfa.size() - 4) + QStringLiteral(".txt"), QByteArray::number(kRecordValue) + '\n'));
    QVERIFY(OrvInterface::ChangeTxtToMfa(mfa));
    QCOMPARE(TestFiles::readFile(mfa).mid(Mfa::kMfaDataOffset).toHex(' '), expected.toHex(' '));
}

void TestGuides::importOfAMissingPointFile()
{
    QVERIFY(page("pointfile-format.md").contains(QStringLiteral("A missing point file is the exception: it is created, empty, and\nthe call returns false.")));
    const QString mfa = m_dir.filePath(QStringLiteral("missing/points.mfa"));
    QVERIFY(TestFiles::writeFile(m_dir.filePath(QStringLiteral("missing/points.txt")), "1\n"));
    QVERIFY(!OrvInterface::ChangeTxtToMfa(mfa));
    QVERIFY(QFileInfo::exists(mfa));
    QCOMPARE(QFileInfo(mfa).size(), 0);
}

COMMONTOOLS_SCENARIO_MAIN(TestGuides)
#include "tst_guides.moc"
