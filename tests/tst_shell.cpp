// The shell command runner and process control.

#include "support/messagelog.h"
#include "support/scenario.h"

#include <OrvFunction.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace OrvInterface;

namespace {

// Processes of our own, started from a copy of sleep under a unique name.
class OwnProcesses
{
public:
    explicit OwnProcesses(int count)
        : m_name(QStringLiteral("ctt-sleep-%1-%2").arg(getpid()).arg(++s_instances))
    {
        const QString sleep = QStandardPaths::findExecutable(QStringLiteral("sleep"));
        m_path = m_dir.filePath(m_name);
        if (sleep.isEmpty() || !QFile::copy(sleep, m_path))
            return;
        const QByteArray path = QFile::encodeName(m_path);
        for (int i = 0; i < count; ++i) {
            const pid_t pid = fork();
            if (pid == 0) {
                execl(path.constData(), path.constData(), "300", static_cast<char*>(nullptr));
                _exit(127);
            }
            if (pid > 0)
                m_pids.append(pid);
        }
        // pidof finds them once they run the copied program.
        for (int attempt = 0; attempt < 100 && !allRunning(); ++attempt)
            QTest::qWait(20);
    }
    ~OwnProcesses()
    {
        for (pid_t pid : qAsConst(m_pids)) {
            ::kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }

    QString name() const { return m_name; }
    QList<long long> ids() const
    {
        QList<long long> ids;
        for (pid_t pid : m_pids)
            ids.append(pid);
        return ids;
    }
    bool started(int count) const { return m_pids.size() == count && allRunning(); }

    // Waits for each process; the signal that ended it (0 when it did not
    // end within the time, and is left to the destructor).
    QList<int> endingSignals()
    {
        QList<int> signals_;
        QList<pid_t> running;
        for (pid_t pid : qAsConst(m_pids)) {
            int status = 0;
            int signal = 0;
            for (int attempt = 0; attempt < 250; ++attempt) {
                const pid_t done = waitpid(pid, &status, WNOHANG);
                if (done == pid) {
                    signal = WIFSIGNALED(status) ? WTERMSIG(status) : -1;
                    break;
                }
                QTest::qWait(20);
            }
            signals_.append(signal);
            if (signal == 0)
                running.append(pid);
        }
        m_pids = running;
        return signals_;
    }

private:
    bool allRunning() const
    {
        for (pid_t pid : m_pids) {
            const QString exe = QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid));
            if (exe != m_path)
                return false;
        }
        return true;
    }

    static int s_instances;
    QTemporaryDir m_dir;
    QString m_name;
    QString m_path;
    QList<pid_t> m_pids;
};
int OwnProcesses::s_instances = 0;

// Puts stand-in commands first on PATH while it lives.
class StandInCommands
{
public:
    StandInCommands()
        : m_path(qgetenv("PATH"))
    {
        qputenv("PATH", QFile::encodeName(m_dir.path()) + ':' + m_path);
    }
    ~StandInCommands() { qputenv("PATH", m_path); }

    bool add(const QString& name, const QByteArray& script)
    {
        const QString path = m_dir.filePath(name);
        return TestFiles::writeFile(path, "#!/bin/sh\n" + script)
                && QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    QString path() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
    QByteArray m_path;
};

} // namespace

// popen() fails when no process may be started: root is not bound by
// RLIMIT_NPROC, so the scenario drops to an ordinary user for the calls.
COMMONTOOLS_SCENARIO(popenFails)
{
    rlimit previous{};
    getrlimit(RLIMIT_NPROC, &previous);
    rlimit none = previous;
    none.rlim_cur = 0;
    const bool limitSet = setrlimit(RLIMIT_NPROC, &none) == 0;
    Scenario::RunAsNobody nobody;
    Scenario::report(QStringLiteral("limited"), limitSet && nobody.dropped());
    const QString output = execCommand(QStringLiteral("echo started"));
    Scenario::report(QStringLiteral("output"), output);
    Scenario::report(QStringLiteral("outputIsNull"), output.isNull());
    Scenario::report(QStringLiteral("processID"), processID(QStringLiteral("init")));
    killProcess(QStringLiteral("init"));
    // Back to root, so the process ends as it began.
    Scenario::report(QStringLiteral("restored"), nobody.restore() && setrlimit(RLIMIT_NPROC, &previous) == 0);
}

class TestShell : public QObject
{
    Q_OBJECT

private slots:
    void execCommandOutput_data();
    void execCommandOutput();
    void execCommandEmptyIsNotNull();
    void execCommandLogsTheCommand();
    void execCommandWhenNoProcessCanStart();

    void processIDParsesPidofOutput_data();
    void processIDParsesPidofOutput();
    void processIDOfNoProcess();
    void processIDOfOwnProcesses();
    void processIDNameIsOneWord();

    void killProcessIgnoresNonPositiveIds_data();
    void killProcessIgnoresNonPositiveIds();
    void killProcessById();
    void killProcessByName();
};

void TestShell::execCommandOutput_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("expected");

    const QString line1000(1000, QLatin1Char('x'));
    // 253 ASCII bytes, then a two-byte character across the 254-byte reads.
    const QString split = QString(253, QLatin1Char('a')) + QChar(0x00e9) + QString(300, QLatin1Char('b'));

    QTest::newRow("two lines kept") << QStringLiteral("echo a; echo b") << QStringLiteral("a\nb\n");
    QTest::newRow("no trailing newline") << QStringLiteral("printf ' x '") << QStringLiteral(" x ");
    QTest::newRow("1000-character line") << QStringLiteral("printf '%s\\n' ") + line1000 << line1000 + QLatin1Char('\n');
    QTest::newRow("character across reads") << QStringLiteral("printf '%s' ") + split << split;
    QTest::newRow("standard error not captured") << QStringLiteral("echo out; echo err >&2") << QStringLiteral("out\n");
    QTest::newRow("exit status ignored") << QStringLiteral("echo partial; exit 3") << QStringLiteral("partial\n");
    QTest::newRow("unknown command") << QStringLiteral("ctt-no-such-command-here 2>/dev/null") << QString();
    QTest::newRow("UTF-8 output") << QStringLiteral("printf '\\344\\270\\255\\n'") << QStringLiteral("\u4e2d\n");
    // The header says that such output is not returned whole: the rest of
    // the line after a NUL byte is lost.
    QTest::newRow("NUL byte") << QStringLiteral("printf 'a\\000b\\nc\\n'") << QStringLiteral("ac\n");
}

void TestShell::execCommandOutput()
{
    QFETCH(QString, command);
    QFETCH(QString, expected);
    QCOMPARE(execCommand(command), expected);
}

void TestShell::execCommandEmptyIsNotNull()
{
    const QString output = execCommand(QStringLiteral("true"));
    QVERIFY(output.isEmpty());
    QVERIFY(!output.isNull());
}

void TestShell::execCommandLogsTheCommand()
{
    MessageLog log(QtDebugMsg);
    execCommand(QStringLiteral("true"));
    QCOMPARE(log.messages(), QStringList{QStringLiteral("execCommand : true")});
}

void TestShell::execCommandWhenNoProcessCanStart()
{
    if (geteuid() != 0)
        QSKIP("needs root, to run the calls as another user with no processes allowed");
    Scenario::Run run;
    COMMONTOOLS_RUN_SCENARIO(run, "popenFails");
    QCOMPARE(run.value("limited"), QStringLiteral("true"));
    QCOMPARE(run.value("output"), QString());
    QCOMPARE(run.value("outputIsNull"), QStringLiteral("false"));
    QCOMPARE(run.value("processID"), QStringLiteral("-1"));
    QCOMPARE(run.value("restored"), QStringLiteral("true"));
}

void TestShell::processIDParsesPidofOutput_data()
{
    QTest::addColumn<QByteArray>("printed");
    QTest::addColumn<long long>("expected");
    QTest::addColumn<QList<long long>>("appended");

    QTest::newRow("three ids") << QByteArray("303 202 101") << 303LL << QList<long long>{303, 202, 101};
    QTest::newRow("blanks around") << QByteArray("  7   8 \n") << 7LL << QList<long long>{7, 8};
    QTest::newRow("not a number") << QByteArray("abc 5") << 0LL << QList<long long>{0, 5};
    QTest::newRow("only white space") << QByteArray(" \n\t ") << -1LL << QList<long long>{};
    QTest::newRow("nothing") << QByteArray("") << -1LL << QList<long long>{};
}

void TestShell::processIDParsesPidofOutput()
{
    QFETCH(QByteArray, printed);
    QFETCH(long long, expected);
    QFETCH(QList<long long>, appended);

    StandInCommands commands;
    QVERIFY(commands.add(QStringLiteral("pidof"), "printf '%s' '" + printed + "'\n"));

    QList<long long> ids{42};
    QCOMPARE(processID(QStringLiteral("anything"), &ids), expected);
    QCOMPARE(ids, QList<long long>{42} + appended);
    QCOMPARE(processID(QStringLiteral("anything"), nullptr), expected);
}

void TestShell::processIDOfNoProcess()
{
    QList<long long> ids{1, 2};
    QCOMPARE(processID(QStringLiteral("ctt-no-such-process-%1").arg(getpid()), &ids), -1LL);
    QCOMPARE(ids, (QList<long long>{1, 2}));
}

void TestShell::processIDOfOwnProcesses()
{
    OwnProcesses processes(3);
    QVERIFY(processes.started(3));

    QList<long long> ids{-7};
    const long long first = processID(processes.name(), &ids);
    QCOMPARE(ids.size(), 4);
    QCOMPARE(ids.first(), -7LL);
    QCOMPARE(first, ids.at(1));
    QList<long long> found = ids.mid(1);
    QList<long long> expected = processes.ids();
    std::sort(found.begin(), found.end());
    std::sort(expected.begin(), expected.end());
    QCOMPARE(found, expected);

    QCOMPARE(processID(processes.name()), first);
}

void TestShell::processIDNameIsOneWord()
{
    // The name reaches pidof as one word: nothing in it is run by the shell.
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString marker = dir.filePath(QStringLiteral("marker"));
    QCOMPARE(processID(QStringLiteral("ctt-none; touch ") + marker), -1LL);
    QCOMPARE(processID(QStringLiteral("ctt-none' ; touch '") + marker), -1LL);
    QCOMPARE(processID(QStringLiteral("$(touch ") + marker + QLatin1Char(')')), -1LL);
    QVERIFY(!QFileInfo::exists(marker));
}

void TestShell::killProcessIgnoresNonPositiveIds_data()
{
    QTest::addColumn<long long>("pid");
    QTest::newRow("0") << 0LL;
    QTest::newRow("-1") << -1LL;
    QTest::newRow("-5") << -5LL;
}

void TestShell::killProcessIgnoresNonPositiveIds()
{
    QFETCH(long long, pid);
    MessageLog log(QtDebugMsg);
    killProcess(pid);
    QVERIFY2(log.messages().isEmpty(), qPrintable(log.messages().join(QLatin1Char('\n'))));
}

void TestShell::killProcessById()
{
    OwnProcesses processes(2);
    QVERIFY(processes.started(2));
    MessageLog log(QtDebugMsg);
    killProcess(processes.ids().first());
    QCOMPARE(log.messages(), QStringList{QStringLiteral("execCommand : kill -s 9 %1").arg(processes.ids().first())});
    const QList<int> signals_ = processes.endingSignals();
    QCOMPARE(signals_.first(), int(SIGKILL));
    QCOMPARE(signals_.last(), 0); // the other one was left running
}

void TestShell::killProcessByName()
{
    OwnProcesses processes(3);
    QVERIFY(processes.started(3));
    MessageLog log(QtDebugMsg);
    killProcess(processes.name());
    // One pidof, then one kill per id.
    QCOMPARE(log.messages().size(), 4);
    QCOMPARE(processes.endingSignals(), (QList<int>{SIGKILL, SIGKILL, SIGKILL}));

    MessageLog none(QtDebugMsg);
    killProcess(QStringLiteral("ctt-no-such-process-%1").arg(getpid()));
    QCOMPARE(none.messages().size(), 1);
}

COMMONTOOLS_SCENARIO_MAIN(TestShell)
#include "tst_shell.moc"
