// Facts about the machine.

#include "support/scenario.h"

#include <OrvFunction.h>

#include <QApplication>
#include <QFile>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace OrvInterface;

namespace {

// Stand-ins for the commands the library runs, first on the PATH of a
// scenario. "cat" serves fake system files and passes anything else on.
class StandIns
{
public:
    void add(const QString& name, const QByteArray& script)
    {
        const QString path = m_dir.filePath(name);
        TestFiles::writeFile(path, "#!/bin/sh\n" + script);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    // cat prints content for file, the real file otherwise.
    void addFile(const QString& file, const QByteArray& content)
    {
        const QString copy = m_dir.filePath(QStringLiteral("file%1").arg(m_files.size()));
        TestFiles::writeFile(copy, content);
        m_files.append({file, copy});
        QByteArray script = "case \"$1\" in\n";
        for (const auto& f : qAsConst(m_files))
            script += "  " + f.first.toUtf8() + ") exec /bin/cat '" + f.second.toUtf8() + "' ;;\n";
        script += "esac\nexec /bin/cat \"$@\"\n";
        add(QStringLiteral("cat"), script);
    }
    // Counts its calls in a file of its own.
    void addCounted(const QString& name, const QByteArray& output)
    {
        add(name, "echo x >> '" + counter(name).toUtf8() + "'\nprintf '%s' '" + output + "'\n");
    }
    int calls(const QString& name) const { return TestFiles::readFile(counter(name)).count('x'); }

    Scenario::Options options() const
    {
        Scenario::Options options;
        options.environment.insert(QStringLiteral("PATH"), m_dir.path() + QLatin1Char(':') + qEnvironmentVariable("PATH"));
        return options;
    }

private:
    QString counter(const QString& name) const { return m_dir.filePath(name + QStringLiteral(".calls")); }
    QTemporaryDir m_dir;
    QList<QPair<QString, QString>> m_files;
};

} // namespace

COMMONTOOLS_SCENARIO(memory)
{
    Scenario::report(QStringLiteral("total"), totalMmeory());
    Scenario::report(QStringLiteral("available"), availbleMmeory());
    Scenario::report(QStringLiteral("cpu"), cpu());
}

COMMONTOOLS_SCENARIO(operatingSystem)
{
    Scenario::report(QStringLiteral("os"), operatingSys());
}

COMMONTOOLS_SCENARIO(systemName)
{
    Scenario::report(QStringLiteral("first"), systemName());
    Scenario::report(QStringLiteral("second"), systemName());
}

class TestSysInfo : public QObject
{
    Q_OBJECT

private slots:
    void parseMmeory_data();
    void parseMmeory();
    void constants();
    void pcSleepFlag();
    void numOfCpu();
    void realMemory();
    void memoryFromStandIns();
    void availableWithoutMemAvailable_data();
    void availableWithoutMemAvailable();
    void operatingSystem();
    void operatingSystemFallback();
    void commandErrorsAreLoggedNotShown_data();
    void commandErrorsAreLoggedNotShown();
    void systemName_data();
    void systemName();
    void resolution();
};

void TestSysInfo::parseMmeory_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("unit");
    QTest::addColumn<qint64>("expected");

    QTest::newRow("kB in KB") << QStringLiteral("123456 kB") << QStringLiteral(" KB") << qint64(123456);
    QTest::newRow("GB in KB") << QStringLiteral("1 GB") << QStringLiteral("KB") << qint64(1048576);
    QTest::newRow("plain in KB") << QStringLiteral("1024") << QStringLiteral("KB") << qint64(1);
    QTest::newRow("unit only") << QStringLiteral("kB") << QStringLiteral("KB") << qint64(0);
    QTest::newRow("bytes, no unit") << QStringLiteral("5 B") << QString() << qint64(0);
    QTest::newRow("GB in MB") << QStringLiteral("2 GB") << QStringLiteral("MB") << qint64(2048);
    QTest::newRow("MB in GB") << QStringLiteral("3072 MB") << QStringLiteral("gb") << qint64(3);
    QTest::newRow("bytes in B") << QStringLiteral("5 B") << QStringLiteral("B") << qint64(5);
    QTest::newRow("unknown unit is bytes") << QStringLiteral("2048 kB") << QStringLiteral("pages") << qint64(2097152);
    QTest::newRow("first line only") << QStringLiteral("400 kB\nSwapCached: 50 kB") << QStringLiteral(" KB") << qint64(400);
    QTest::newRow("not a number") << QStringLiteral("many kB") << QStringLiteral("KB") << qint64(0);
    QTest::newRow("plain not a number") << QStringLiteral("many") << QStringLiteral("KB") << qint64(0);
    QTest::newRow("huge") << QStringLiteral("99999999999999999 GB") << QStringLiteral("KB")
                          << qint64(std::numeric_limits<qint64>::max() / 1024);
}

void TestSysInfo::parseMmeory()
{
    QFETCH(QString, value);
    QFETCH(QString, unit);
    QFETCH(qint64, expected);
    QCOMPARE(OrvInterface::parseMmeory(value, unit), expected);
}

void TestSysInfo::constants()
{
    QCOMPARE(byteOrder(), QStringLiteral("Little Endian"));
    QVERIFY(graphicsChips().isEmpty());
    QCOMPARE(systemType(), 2);
    QCOMPARE(systemType(), 2);
}

void TestSysInfo::pcSleepFlag()
{
    QCOMPARE(isPCSleep(), false);
    setIsPCSleep(true);
    QCOMPARE(isPCSleep(), true);
    setIsPCSleep(false);
    QCOMPARE(isPCSleep(), false);
}

void TestSysInfo::numOfCpu()
{
    QCOMPARE(OrvInterface::numOfCpu(), QString::number(sysconf(_SC_NPROCESSORS_CONF)));
}

void TestSysInfo::realMemory()
{
    // The kernel's own texts.
    const QStringList lines = TestFiles::fileText(QStringLiteral("/proc/meminfo")).split(QLatin1Char('\n'));
    QString total;
    for (const QString& line : lines) {
        if (line.startsWith(QLatin1String("MemTotal:")))
            total = line.mid(9).trimmed();
    }
    QVERIFY(!total.isEmpty());
    QCOMPARE(totalMmeory(), total);
    QVERIFY(availbleMmeory().endsWith(QLatin1String(" kB")));
    QVERIFY(OrvInterface::parseMmeory(availbleMmeory(), QStringLiteral("KB")) > 0);
}

void TestSysInfo::memoryFromStandIns()
{
    StandIns standIns;
    standIns.addFile(QStringLiteral("/proc/meminfo"), "MemTotal:        3884096 kB\nMemFree:  1000 kB\n"
                                                       "MemAvailable:    2000000 kB\nBuffers: 100 kB\n");
    standIns.addFile(QStringLiteral("/proc/cpuinfo"), "processor\t: 0\nmodel name\t: Test CPU @ 1GHz\n"
                                                       "processor\t: 1\nmodel name\t: Test CPU @ 1GHz\n");
    Scenario::Run run(standIns.options());
    COMMONTOOLS_RUN_SCENARIO(run, "memory");
    QCOMPARE(run.value("total"), QStringLiteral("3884096 kB"));
    QCOMPARE(run.value("available"), QStringLiteral("2000000 kB"));
    QCOMPARE(run.value("cpu"), QStringLiteral("2  Test CPU @ 1GHz"));
}

void TestSysInfo::availableWithoutMemAvailable_data()
{
    QTest::addColumn<QByteArray>("meminfo");
    QTest::addColumn<QString>("expected");

    QTest::newRow("1400 KB") << QByteArray("MemTotal: 9999 kB\nMemFree: 1000 kB\nBuffers: 100 kB\nCached: 400 kB\n"
                                           "SwapCached: 50 kB\n")
                             << QStringLiteral("1400 KB");
    QTest::newRow("fractions truncated") << QByteArray("MemFree: 1 kB\nBuffers: 1 kB\nCached: 1 kB\n") << QStringLiteral("2 KB");
    QTest::newRow("MB figures") << QByteArray("MemFree: 1 MB\nBuffers: 0 kB\nCached: 0 kB\n") << QStringLiteral("1024 KB");
    QTest::newRow("unreadable") << QByteArray() << QStringLiteral("0 KB");
}

void TestSysInfo::availableWithoutMemAvailable()
{
    QFETCH(QByteArray, meminfo);
    QFETCH(QString, expected);

    StandIns standIns;
    standIns.addFile(QStringLiteral("/proc/meminfo"), meminfo);
    Scenario::Run run(standIns.options());
    COMMONTOOLS_RUN_SCENARIO(run, "memory");
    QCOMPARE(run.value("available"), expected);
}

void TestSysInfo::operatingSystem()
{
    StandIns standIns;
    standIns.add(QStringLiteral("lsb_release"), "printf 'Distributor ID:\\tFake\\nDescription:\\tFake OS 1.0\\n'\n");
    Scenario::Run run(standIns.options());
    COMMONTOOLS_RUN_SCENARIO(run, "operatingSystem");
    QCOMPARE(run.value("os"), QStringLiteral("Fake OS 1.0"));
    // The dashes printed on the way, without a line end.
    QVERIFY2(run.output().contains(QStringLiteral("-------------\n@os=")), qPrintable(run.output()));
}

void TestSysInfo::operatingSystemFallback()
{
    StandIns standIns;
    standIns.add(QStringLiteral("lsb_release"), "exit 1\n");
    standIns.addFile(QStringLiteral("/etc/redhat-release"), "CentOS Linux release 7.9\n");
    Scenario::Run run(standIns.options());
    COMMONTOOLS_RUN_SCENARIO(run, "operatingSystem");
    QCOMPARE(run.value("os"), QStringLiteral("CentOS Linux release 7.9\n")); // untrimmed
    QVERIFY(!run.output().contains(QStringLiteral("-------------")));
}

void TestSysInfo::commandErrorsAreLoggedNotShown_data()
{
    QTest::addColumn<bool>("debugLog");
    QTest::newRow("debug messages off") << false;
    QTest::newRow("debug messages on") << true;
}

// The commands the library runs write their complaints to it, not to the
// client's standard error; they reach the client's debug log.
void TestSysInfo::commandErrorsAreLoggedNotShown()
{
    QFETCH(bool, debugLog);
    StandIns standIns;
    standIns.add(QStringLiteral("lsb_release"), "echo 'sh: 1: lsb_release: not found' >&2\nexit 127\n");
    standIns.add(QStringLiteral("cat"), "echo \"cat: $1: No such file or directory\" >&2\nexit 1\n");
    Scenario::Run run(standIns.options());
    const QMap<QString, QString> rules{{QStringLiteral("QT_LOGGING_RULES"),
                                        debugLog ? QStringLiteral("default.debug=true") : QStringLiteral("default.debug=false")}};
    COMMONTOOLS_RUN_SCENARIO_WITH(run, "operatingSystem", rules);
    QCOMPARE(run.value("os"), QString());
    const QString output = run.output();
    QCOMPARE(output.contains(QStringLiteral("execCommand : lsb_release -a | grep Description | cut -f2 -d: : error output: "
                                            "sh: 1: lsb_release: not found")),
             debugLog);
    QCOMPARE(output.contains(QStringLiteral("execCommand : cat /etc/redhat-release : error output: "
                                            "cat: /etc/redhat-release: No such file or directory")),
             debugLog);
    QCOMPARE(output.count(QStringLiteral("not found")), debugLog ? 1 : 0);
    QCOMPARE(output.count(QStringLiteral("No such file")), debugLog ? 1 : 0);
}

void TestSysInfo::systemName_data()
{
    QTest::addColumn<QByteArray>("uname");
    QTest::addColumn<QByteArray>("description");
    QTest::addColumn<int>("expected");

    QTest::newRow("Raspberry Pi with Ubuntu") << QByteArray("Linux raspberrypi 5.15 aarch64 Ubuntu") << QByteArray("Ubuntu 22.04") << 10;
    QTest::newRow("Raspberry Pi") << QByteArray("Linux raspberrypi 5.10 armv7l") << QByteArray("Raspbian 11") << 8;
    QTest::newRow("Raspberry Pi with CentOS") << QByteArray("Linux RaspberryPi 5.10") << QByteArray("CentOS 7") << 11;
    QTest::newRow("Odroid") << QByteArray("Linux odroid 4.9 Ubuntu") << QByteArray("CentOS") << 9;
    QTest::newRow("Ubuntu") << QByteArray("Linux host 5.15.0-generic #1 SMP ubuntu") << QByteArray("") << 10;
    QTest::newRow("CentOS") << QByteArray("Linux host 3.10 x86_64") << QByteArray("CentOS Linux 7 (Core)") << 11;
    QTest::newRow("RedHat") << QByteArray("Linux host 4.18 x86_64") << QByteArray("redhat enterprise 8") << 12;
    QTest::newRow("unknown") << QByteArray("Linux host 6.1 x86_64") << QByteArray("Debian 12") << 0;
}

void TestSysInfo::systemName()
{
    QFETCH(QByteArray, uname);
    QFETCH(QByteArray, description);
    QFETCH(int, expected);

    StandIns standIns;
    standIns.addCounted(QStringLiteral("uname"), uname + "\n");
    standIns.add(QStringLiteral("lsb_release"),
                 description.isEmpty() ? QByteArray("exit 1\n") : "printf 'Description:\\t" + description + "\\n'\n");
    standIns.addFile(QStringLiteral("/etc/redhat-release"), "");
    Scenario::Run run(standIns.options());
    COMMONTOOLS_RUN_SCENARIO(run, "systemName");
    QCOMPARE(run.value("first"), QString::number(expected));
    QCOMPARE(run.value("second"), QString::number(expected));
    QCOMPARE(standIns.calls(QStringLiteral("uname")), 1); // computed once
}

void TestSysInfo::resolution()
{
    // The offscreen platform's screen.
    QVERIFY(QGuiApplication::primaryScreen());
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    QCOMPARE(OrvInterface::resolution(), QStringLiteral("%1*%2").arg(screen.width()).arg(screen.height()));
    QVERIFY(screen.width() > 0);
}

COMMONTOOLS_SCENARIO_MAIN_WITH_APP(QApplication, TestSysInfo)
#include "tst_sysinfo.moc"
