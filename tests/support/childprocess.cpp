#include "childprocess.h"
#include "sanitizers.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QProcessEnvironment>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace TestProcess {

namespace {

const char kEmulatorVariable[] = "COMMONTOOLS_TEST_EMULATOR";

// argv or envp for posix_spawn: the strings, and pointers to them ending
// with a null one.
class CStringArray
{
public:
    explicit CStringArray(const QStringList& strings)
    {
        for (const QString& string : strings)
            m_strings.push_back(string.toLocal8Bit());
        for (QByteArray& string : m_strings)
            m_pointers.push_back(string.data());
        m_pointers.push_back(nullptr);
    }
    char* const* data() { return m_pointers.data(); }

private:
    std::vector<QByteArray> m_strings;
    std::vector<char*> m_pointers;
};

QStringList environmentFor(const Options& options)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (auto it = options.setEnvironment.cbegin(); it != options.setEnvironment.cend(); ++it)
        environment.insert(it.key(), it.value());
    for (const QString& name : options.unsetEnvironment)
        environment.remove(name);
    return environment.toStringList();
}

// Reads what fd holds now; closes it and sets it to -1 at its end.
void drain(int& fd, QByteArray& into)
{
    if (fd < 0)
        return;
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n > 0) {
            into.append(buffer, int(n));
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n == 0 || errno != EAGAIN) {
            ::close(fd);
            fd = -1;
        }
        return;
    }
}

} // namespace

bool signalProcess(pid_t pid, int signal)
{
    if (pid < 1) {
        errno = EINVAL;
        return false;
    }
    return ::kill(pid, signal) == 0;
}

QStringList emulatorCommand()
{
    return qEnvironmentVariable(kEmulatorVariable).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

bool runsSlowly()
{
    return kSanitized || !emulatorCommand().isEmpty() || qEnvironmentVariableIsSet("COMMONTOOLS_TEST_SLOW");
}

Child::~Child()
{
    if (m_pid > 0) {
        kill(SIGKILL);
        reap(0);
    }
    closePipes();
}

bool Child::start(const QString& program, const Options& options)
{
    if (m_pid > 0)
        return false;
    m_result = Result();

    QStringList argv = options.targetProgram ? emulatorCommand() : QStringList();
    argv << program << options.arguments;

    int out[2];
    int err[2] = {-1, -1};
    if (::pipe2(out, O_CLOEXEC) != 0)
        return false;
    if (!options.mergeOutput && ::pipe2(err, O_CLOEXEC) != 0) {
        ::close(out[0]);
        ::close(out[1]);
        return false;
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, options.mergeOutput ? out[1] : err[1], STDERR_FILENO);
    const QByteArray directory = QDir::toNativeSeparators(options.workingDirectory).toLocal8Bit();
    if (!directory.isEmpty())
        posix_spawn_file_actions_addchdir_np(&actions, directory.constData());

    // The child starts with default signal dispositions and none blocked,
    // whatever the test process changed.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

    CStringArray arguments(argv);
    CStringArray environment(environmentFor(options));
    pid_t pid = 0;
    const int status = ::posix_spawnp(&pid, arguments.data()[0], &actions, &attributes, arguments.data(),
                                      environment.data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);

    ::close(out[1]);
    if (err[1] >= 0)
        ::close(err[1]);
    m_out = out[0];
    m_err = err[0];
    if (status != 0 || pid < 1) {
        closePipes();
        return false;
    }
    ::fcntl(m_out, F_SETFL, O_NONBLOCK);
    if (m_err >= 0)
        ::fcntl(m_err, F_SETFL, O_NONBLOCK);
    m_pid = pid;
    m_result.started = true;
    return true;
}

bool Child::waitForFinished(int msecs)
{
    waitUntil(msecs, [] { return false; });
    return m_result.started && m_pid < 1;
}

bool Child::waitForOutput(const QByteArray& text, int msecs)
{
    return waitUntil(msecs, [&] { return m_result.out.contains(text); });
}

bool Child::waitUntil(int msecs, const std::function<bool()>& done)
{
    if (done())
        return true;
    if (m_pid < 1)
        return false;
    const QDeadlineTimer deadline(msecs);
    for (;;) {
        pollfd fds[2];
        nfds_t count = 0;
        for (int fd : {m_out, m_err}) {
            if (fd >= 0)
                fds[count++] = pollfd{fd, POLLIN, 0};
        }
        // Short waits: the child may end while something it started still
        // holds the pipes open.
        const qint64 remaining = deadline.isForever() ? 20 : deadline.remainingTime();
        const int wait = int(qBound<qint64>(0, remaining, 20));
        if (count > 0)
            ::poll(fds, count, wait);
        else
            ::usleep(useconds_t(wait) * 1000);
        readAvailable();
        if (done())
            return true;
        if (reap(WNOHANG)) {
            readAvailable();
            closePipes();
            return done();
        }
        if (deadline.hasExpired())
            return false;
    }
}

bool Child::kill(int signal)
{
    return signalProcess(m_pid, signal);
}

void Child::readAvailable()
{
    drain(m_out, m_result.out);
    drain(m_err, m_result.err);
}

void Child::closePipes()
{
    for (int* fd : {&m_out, &m_err}) {
        if (*fd >= 0)
            ::close(*fd);
        *fd = -1;
    }
}

bool Child::reap(int options)
{
    if (m_pid < 1)
        return false;
    int status = 0;
    pid_t done;
    do {
        done = ::waitpid(m_pid, &status, options);
    } while (done < 0 && errno == EINTR);
    if (done != m_pid)
        return false;
    if (WIFEXITED(status))
        m_result.exitCode = WEXITSTATUS(status);
    else if (WIFSIGNALED(status))
        m_result.termSignal = WTERMSIG(status);
    m_pid = 0;
    return true;
}

Result run(const QString& program, const Options& options, int timeoutMs)
{
    Child child;
    if (!child.start(program, options))
        return child.result();
    if (!child.waitForFinished(timeoutMs)) {
        child.kill(SIGKILL);
        child.waitForFinished(-1);
        Result result = child.result();
        result.timedOut = true;
        return result;
    }
    return child.result();
}

} // namespace TestProcess
