// Child processes for the tests, started with posix_spawn.
//
// The tests never use QProcess. Under qemu-user (the tests of the ARM builds
// run there), Qt 5.15's QProcess reports a started child with process id
// -1, and QProcess::kill() then sends SIGKILL to -1: every process the user
// may signal. Here the id comes from posix_spawn, and nothing signals an id
// below 1 (signalProcess refuses it).
//
// A program built by this project is started through the emulator named by
// COMMONTOOLS_TEST_EMULATOR when that is set (the cross builds' tests set
// it); programs of the build machine (lupdate, od, sh) are started as they
// are.
#ifndef COMMONTOOLS_TEST_CHILDPROCESS_H
#define COMMONTOOLS_TEST_CHILDPROCESS_H

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <csignal>
#include <functional>
#include <sys/types.h>

namespace TestProcess {

// Sends signal to the process pid and returns true when that worked. Ids
// below 1 are refused without a signal: 0 and -n name process groups, -1
// every process the user may signal.
bool signalProcess(pid_t pid, int signal);

// The emulator command (program and its arguments) from
// COMMONTOOLS_TEST_EMULATOR; empty when the tests run natively.
QStringList emulatorCommand();

// Whether the tests run several times slower than the machine's own code
// would: under a sanitizer, under the emulator, or where
// COMMONTOOLS_TEST_SLOW is set (an emulated board, see scripts/board).
// Long loops do less there.
bool runsSlowly();

struct Options
{
    QStringList arguments;
    QString workingDirectory;                // empty: the test's own
    QMap<QString, QString> setEnvironment;   // added to the test's environment
    QStringList unsetEnvironment;            // removed from it
    bool targetProgram = true;               // built by this project: emulated when the tests are
    bool mergeOutput = false;                // standard error into standard output
};

struct Result
{
    bool started = false;
    bool timedOut = false;   // killed at the time-out
    int exitCode = -1;       // when it exited
    int termSignal = 0;      // when a signal ended it
    QByteArray out;
    QByteArray err;

    bool exitedWith(int code) const { return started && !timedOut && termSignal == 0 && exitCode == code; }
    bool succeeded() const { return exitedWith(0); }
};

// One child: started, read from while it runs, waited for, and killed and
// reaped by the destructor if it still runs then.
class Child
{
public:
    Child() = default;
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // Starts program (a path, or a name looked up in PATH); false when it
    // could not be started.
    bool start(const QString& program, const Options& options = Options());

    // The process id: > 0 from a successful start until the child is reaped.
    pid_t pid() const { return m_pid; }

    // Reads the child's output until it exits or msecs pass; true when it
    // exited (and was reaped).
    bool waitForFinished(int msecs);

    // Reads the child's output until its standard output holds text, the
    // child exits or msecs pass; true when the output holds text.
    bool waitForOutput(const QByteArray& text, int msecs);

    // Signals the running child; false when there is none (pid() < 1).
    bool kill(int signal = SIGKILL);

    // Exit status and output so far.
    const Result& result() const { return m_result; }

private:
    // Reads output and reaps the child until done() is true (true), the
    // child has been reaped (done()'s answer then) or msecs pass (false).
    bool waitUntil(int msecs, const std::function<bool()>& done);
    void readAvailable();
    void closePipes();
    bool reap(int options);

    pid_t m_pid = 0;
    int m_out = -1;
    int m_err = -1;
    Result m_result;
};

// Runs program to its end; kills it (SIGKILL) after timeoutMs.
Result run(const QString& program, const Options& options = Options(), int timeoutMs = 120000);

} // namespace TestProcess

#endif
