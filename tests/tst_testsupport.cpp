// The tests' own child processes: started with posix_spawn (through the
// emulator when the tests run under one), never QProcess, and never a
// signal to a process id below 1.

#include "support/childprocess.h"
#include "support/files.h"
#include "support/sanitizers.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

// This executable, started as a child, does what this variable says.
const char kChildRole[] = "CTT_SUPPORT_CHILD";

int runAsChild(const QByteArray& role)
{
    if (role == "pid") {
        std::printf("%lld\n", static_cast<long long>(getpid()));
        return 0;
    }
    if (role == "sleep") {
        std::printf("sleeping\n");
        std::fflush(stdout);
        ::sleep(300);
        return 0;
    }
    if (role == "emulated") {
        const QByteArray mark = qgetenv("CTT_EMULATED");
        std::printf("%s\n", mark.isEmpty() ? "no" : mark.constData());
        return 0;
    }
    return 3;
}

TestProcess::Options selfAs(const char* role)
{
    TestProcess::Options options;
    options.setEnvironment.insert(QLatin1String(kChildRole), QLatin1String(role));
    return options;
}

// Restores a variable of the test's environment at the end of a scope.
class SavedVariable
{
public:
    explicit SavedVariable(const char* name)
        : m_name(name)
        , m_wasSet(qEnvironmentVariableIsSet(name))
        , m_value(qgetenv(name))
    {
    }
    ~SavedVariable()
    {
        if (m_wasSet)
            qputenv(m_name, m_value);
        else
            qunsetenv(m_name);
    }

private:
    const char* m_name;
    bool m_wasSet;
    QByteArray m_value;
};

} // namespace

class TestTestSupport : public QObject
{
    Q_OBJECT

private slots:
    void signalRefusesIdsBelowOne_data();
    void signalRefusesIdsBelowOne();
    void childIdIsTheChildsOwn();
    void killEndsOnlyTheChild();
    void nothingToKillAfterTheEnd();
    void timeOutKillsTheChild();
    void waitForOutputWhileItRuns();
    void exitCodeAndOutputs();
    void mergedOutput();
    void workingDirectoryAndEnvironment();
    void programThatCannotStart();
    void targetProgramsRunThroughTheEmulator();
#ifdef COMMONTOOLS_SOURCE_DIR
    // A check of the source tree, built only where it is.
    void noQProcessInTheProject();
#endif
    void runsSlowlyUnderEmulation_data();
    void runsSlowlyUnderEmulation();
    void locateTakesTheEnvironmentsPath_data();
    void locateTakesTheEnvironmentsPath();
};

void TestTestSupport::signalRefusesIdsBelowOne_data()
{
    QTest::addColumn<qint64>("pid");
    QTest::newRow("0: the process group") << qint64(0);
    QTest::newRow("-1: every process") << qint64(-1);
    QTest::newRow("-2: a process group") << qint64(-2);
    QTest::newRow("INT_MIN") << qint64(INT_MIN);
}

void TestTestSupport::signalRefusesIdsBelowOne()
{
    // Signal 0 only asks whether the process could be signalled: were the
    // id passed on, kill() would succeed and the test fail, harmlessly.
    QFETCH(qint64, pid);
    errno = 0;
    QVERIFY(!TestProcess::signalProcess(pid_t(pid), 0));
    QCOMPARE(errno, EINVAL);
}

void TestTestSupport::childIdIsTheChildsOwn()
{
    TestProcess::Child child;
    QVERIFY(child.start(QCoreApplication::applicationFilePath(), selfAs("pid")));
    const pid_t pid = child.pid();
    QVERIFY(pid > 0);
    QVERIFY(child.waitForFinished(120000));
    QVERIFY(child.result().succeeded());
    QCOMPARE(child.result().out.trimmed().toLongLong(), static_cast<long long>(pid));
    QCOMPARE(child.pid(), pid_t(0)); // reaped
}

void TestTestSupport::killEndsOnlyTheChild()
{
    TestProcess::Child first;
    TestProcess::Child second;
    QVERIFY(first.start(QCoreApplication::applicationFilePath(), selfAs("sleep")));
    QVERIFY(second.start(QCoreApplication::applicationFilePath(), selfAs("sleep")));
    QVERIFY(first.pid() > 0 && second.pid() > 0 && first.pid() != second.pid());

    QVERIFY(first.kill(SIGKILL));
    QVERIFY(first.waitForFinished(120000));
    QCOMPARE(first.result().termSignal, int(SIGKILL));
    // The other child and this process live on.
    QVERIFY(!second.waitForFinished(200));
    QVERIFY(TestProcess::signalProcess(second.pid(), 0));
    QVERIFY(second.kill(SIGTERM));
    QVERIFY(second.waitForFinished(120000));
    QCOMPARE(second.result().termSignal, int(SIGTERM));
}

void TestTestSupport::nothingToKillAfterTheEnd()
{
    TestProcess::Child never;
    QCOMPARE(never.pid(), pid_t(0));
    errno = 0;
    QVERIFY(!never.kill(0));
    QCOMPARE(errno, EINVAL);

    TestProcess::Child ended;
    QVERIFY(ended.start(QCoreApplication::applicationFilePath(), selfAs("pid")));
    QVERIFY(ended.waitForFinished(120000));
    errno = 0;
    QVERIFY(!ended.kill(0));
    QCOMPARE(errno, EINVAL);
}

void TestTestSupport::timeOutKillsTheChild()
{
    QElapsedTimer timer;
    timer.start();
    const TestProcess::Result result = TestProcess::run(QCoreApplication::applicationFilePath(), selfAs("sleep"), 1500);
    QVERIFY(result.started);
    QVERIFY(result.timedOut);
    QCOMPARE(result.termSignal, int(SIGKILL));
    QVERIFY(!result.succeeded());
    QVERIFY(timer.elapsed() < 60000);
}

void TestTestSupport::waitForOutputWhileItRuns()
{
    TestProcess::Child child;
    QVERIFY(child.start(QCoreApplication::applicationFilePath(), selfAs("sleep")));
    QVERIFY(child.waitForOutput("sleeping\n", 120000));
    QVERIFY(child.pid() > 0); // still running
    QVERIFY(!child.waitForOutput("never printed", 100));
    QVERIFY(child.kill());
    QVERIFY(child.waitForFinished(120000));
    // Once it has ended, only what it printed counts.
    QVERIFY(child.waitForOutput("sleeping", 0));
    QVERIFY(!child.waitForOutput("never printed", 1000));
}

void TestTestSupport::exitCodeAndOutputs()
{
    TestProcess::Options options;
    options.targetProgram = false;
    options.arguments = QStringList{QStringLiteral("-c"), QStringLiteral("echo out; echo err >&2; exit 3")};
    const TestProcess::Result result = TestProcess::run(QStringLiteral("sh"), options);
    QVERIFY(result.exitedWith(3));
    QVERIFY(!result.succeeded());
    QCOMPARE(result.out, QByteArray("out\n"));
    QCOMPARE(result.err, QByteArray("err\n"));
}

void TestTestSupport::mergedOutput()
{
    TestProcess::Options options;
    options.targetProgram = false;
    options.mergeOutput = true;
    options.arguments = QStringList{QStringLiteral("-c"), QStringLiteral("echo out; echo err >&2")};
    const TestProcess::Result result = TestProcess::run(QStringLiteral("sh"), options);
    QVERIFY(result.succeeded());
    QCOMPARE(result.out, QByteArray("out\nerr\n"));
    QVERIFY(result.err.isEmpty());
}

void TestTestSupport::workingDirectoryAndEnvironment()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const SavedVariable saved("CTT_SUPPORT_UNSET");
    qputenv("CTT_SUPPORT_UNSET", "inherited");

    TestProcess::Options options;
    options.targetProgram = false;
    options.workingDirectory = dir.path();
    options.setEnvironment.insert(QStringLiteral("CTT_SUPPORT_SET"), QStringLiteral("a b"));
    options.unsetEnvironment << QStringLiteral("CTT_SUPPORT_UNSET");
    options.arguments = QStringList{QStringLiteral("-c"),
                                    QStringLiteral("pwd -P; echo \"$CTT_SUPPORT_SET\"; echo \"${CTT_SUPPORT_UNSET-unset}\"")};
    const TestProcess::Result result = TestProcess::run(QStringLiteral("sh"), options);
    QVERIFY(result.succeeded());
    const QString expected = QDir(dir.path()).canonicalPath() + QStringLiteral("\na b\nunset\n");
    QCOMPARE(QString::fromLocal8Bit(result.out), expected);
}

void TestTestSupport::programThatCannotStart()
{
    TestProcess::Options options;
    options.targetProgram = false;
    const TestProcess::Result result = TestProcess::run(QStringLiteral("/nonexistent/ctt-no-such-program"), options);
    // posix_spawn reports the failure itself, or the child ends with 127.
    QVERIFY(!result.succeeded());
    QVERIFY(!result.timedOut);
    if (result.started)
        QCOMPARE(result.exitCode, 127);
}

void TestTestSupport::targetProgramsRunThroughTheEmulator()
{
    // A stand-in emulator that marks the environment, then starts the real
    // one, if any: the child sees the mark only if it was started through it.
    const SavedVariable saved("COMMONTOOLS_TEST_EMULATOR");
    const QStringList real = TestProcess::emulatorCommand();
    qputenv("COMMONTOOLS_TEST_EMULATOR",
            (QStringList{QStringLiteral("/usr/bin/env"), QStringLiteral("CTT_EMULATED=yes")} + real)
                    .join(QLatin1Char(' '))
                    .toLocal8Bit());

    TestProcess::Result result = TestProcess::run(QCoreApplication::applicationFilePath(), selfAs("emulated"));
    QVERIFY(result.succeeded());
    QCOMPARE(result.out, QByteArray("yes\n"));

    // The build machine's programs are started as they are.
    TestProcess::Options host;
    host.targetProgram = false;
    host.arguments = QStringList{QStringLiteral("-c"), QStringLiteral("echo ${CTT_EMULATED-no}")};
    result = TestProcess::run(QStringLiteral("sh"), host);
    QVERIFY(result.succeeded());
    QCOMPARE(result.out, QByteArray("no\n"));
}

void TestTestSupport::runsSlowlyUnderEmulation_data()
{
    QTest::addColumn<QByteArray>("emulator");
    QTest::addColumn<bool>("slow");
    QTest::addColumn<bool>("expected");
    QTest::newRow("natively") << QByteArray() << false << false;
    QTest::newRow("under qemu-user") << QByteArray("/usr/bin/qemu-arm-static") << false << true;
    QTest::newRow("on an emulated board") << QByteArray() << true << true;
}

void TestTestSupport::runsSlowlyUnderEmulation()
{
    QFETCH(QByteArray, emulator);
    QFETCH(bool, slow);
    QFETCH(bool, expected);
    const SavedVariable savedEmulator("COMMONTOOLS_TEST_EMULATOR");
    const SavedVariable savedSlow("COMMONTOOLS_TEST_SLOW");
    qputenv("COMMONTOOLS_TEST_EMULATOR", emulator);
    if (slow)
        qputenv("COMMONTOOLS_TEST_SLOW", "1");
    else
        qunsetenv("COMMONTOOLS_TEST_SLOW");
    // A sanitizer slows everything down.
    QCOMPARE(TestProcess::runsSlowly(), expected || kSanitized);
}

void TestTestSupport::locateTakesTheEnvironmentsPath_data()
{
    QTest::addColumn<bool>("set");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("expected");
    QTest::newRow("unset: the build tree's") << false << QByteArray() << QStringLiteral("/build/tree/tool");
    QTest::newRow("empty: the build tree's") << true << QByteArray() << QStringLiteral("/build/tree/tool");
    QTest::newRow("set: the named one") << true << QByteArray("/usr/bin/commontools") << QStringLiteral("/usr/bin/commontools");
}

void TestTestSupport::locateTakesTheEnvironmentsPath()
{
    QFETCH(bool, set);
    QFETCH(QByteArray, value);
    QFETCH(QString, expected);
    const char variable[] = "CTT_LOCATED_TOOL";
    const SavedVariable saved(variable);
    if (set)
        qputenv(variable, value);
    else
        qunsetenv(variable);
    QCOMPARE(TestFiles::locate(variable, "/build/tree/tool"), expected);
}

#ifdef COMMONTOOLS_SOURCE_DIR
void TestTestSupport::noQProcessInTheProject()
{
    // Code, not comments: a declaration, a static call or the header.
    const QString name = QStringLiteral("QProcess");
    const QRegularExpression use(QStringLiteral(R"(\b%1\s+\w|\b%1::|<%1>|"%2\.h")").arg(name, name.toLower()));
    const QRegularExpression comment(QStringLiteral(R"(//.*$)"));
    QStringList offenders;
    int files = 0;
    for (const char* folder : {"src", "include", "tools", "tests", "bench", "fuzz"}) {
        QDirIterator it(QStringLiteral(COMMONTOOLS_SOURCE_DIR "/") + QLatin1String(folder),
                        {QStringLiteral("*.cpp"), QStringLiteral("*.h")}, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            QFile file(it.next());
            QVERIFY(file.open(QIODevice::ReadOnly));
            ++files;
            int number = 0;
            while (!file.atEnd()) {
                ++number;
                QString line = QString::fromUtf8(file.readLine());
                line.remove(comment);
                if (line.contains(use))
                    offenders << QStringLiteral("%1:%2: %3").arg(it.filePath()).arg(number).arg(line.trimmed());
            }
        }
    }
    QVERIFY(files > 50);
    QVERIFY2(offenders.isEmpty(), qPrintable(offenders.join(QLatin1Char('\n'))));
}
#endif

int main(int argc, char** argv)
{
    const QByteArray role = qgetenv(kChildRole);
    if (!role.isEmpty())
        return runAsChild(role);
    QCoreApplication app(argc, argv);
    TestTestSupport test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_testsupport.moc"
