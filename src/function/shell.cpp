// The shell command runner and the process functions built on it.

#include "OrvFunction.h"
#include "shell_p.h"

#include <QDebug>
#include <QStringList>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace OrvInterface {

namespace {

// Makes text one word for /bin/sh, whatever it contains: it is put between
// single quotes, each single quote inside becoming '\''.
QString shellQuoted(const QString& text)
{
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

// Reads the two pipes to their ends, each into its array, as their writer
// fills them (either may fill up while the other is read).
void readBoth(int out, int err, QByteArray* output, QByteArray* errors)
{
    pollfd pipes[2] = {{out, POLLIN, 0}, {err, POLLIN, 0}};
    QByteArray* targets[2] = {output, errors};
    char buffer[4096];
    while (pipes[0].fd >= 0 || pipes[1].fd >= 0) {
        if (::poll(pipes, 2, -1) < 0) {
            if (errno == EINTR)
                continue; // revents are not set: reading now could block
            return;
        }
        for (int i = 0; i < 2; ++i) {
            if (pipes[i].fd < 0 || pipes[i].revents == 0)
                continue;
            const ssize_t got = ::read(pipes[i].fd, buffer, sizeof buffer);
            if (got > 0)
                targets[i]->append(buffer, int(got));
            else if (got == 0 || errno != EINTR)
                pipes[i].fd = -1; // poll() skips it from now on
        }
    }
}

void logCommand(const QString& command)
{
    qDebug().noquote() << QStringLiteral("execCommand : ") + command;
}

} // namespace

QString execQuietly(const QString& command)
{
    logCommand(command);
    int out[2];
    int err[2];
    if (::pipe2(out, O_CLOEXEC) != 0)
        return QLatin1String("");
    if (::pipe2(err, O_CLOEXEC) != 0) {
        ::close(out[0]);
        ::close(out[1]);
        return QLatin1String("");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    const QByteArray text = command.toLocal8Bit();
    const char* const argv[] = {"sh", "-c", text.constData(), nullptr};
    pid_t pid = -1;
    const bool started = ::posix_spawn(&pid, "/bin/sh", &actions, nullptr, const_cast<char* const*>(argv), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    ::close(err[1]);
    QByteArray output("");
    QByteArray errors;
    if (started)
        readBoth(out[0], err[0], &output, &errors);
    ::close(out[0]);
    ::close(err[0]);
    while (started && pid > 0 && ::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    if (!errors.isEmpty())
        qDebug().noquote() << QStringLiteral("execCommand : %1 : error output: %2").arg(command, QString::fromLocal8Bit(errors).trimmed());
    return QString::fromUtf8(output);
}

QString execCommand(const QString& command)
{
    logCommand(command);

    char buffer[256];
    std::memset(buffer, 0, sizeof buffer);
    QByteArray output("");

    FILE* stream = popen(command.toLocal8Bit().constData(), "r");
    if (stream) {
        // fgets reads at most 254 bytes per call; longer lines arrive in
        // pieces. The bytes are joined before decoding so that a character
        // cut between two reads comes out whole.
        while (std::fgets(buffer, 255, stream))
            output.append(buffer);
        pclose(stream); // the exit status is not part of the result
    }
    // Without a stream there is nothing to close: pclose(nullptr) crashes.
    return QString::fromUtf8(output);
}

long long processID(const QString& name, QList<long long>* ids)
{
    const QString output =
            execQuietly(QStringLiteral("pidof %1").arg(shellQuoted(name))).trimmed();
    if (output.isEmpty())
        return -1;

    const QStringList parts = output.split(QLatin1Char(' '), Qt::SkipEmptyParts, Qt::CaseSensitive);
    if (parts.isEmpty())
        return -1;

    if (ids) {
        for (const QString& part : parts)
            ids->append(part.trimmed().toLongLong(nullptr, 10));
    }
    return parts.first().toLongLong(nullptr, 10);
}

void killProcess(long long pid)
{
    // 0 and negative ids would address process groups.
    if (pid < 1)
        return;
    execQuietly(QStringLiteral("kill -s 9 %1").arg(pid));
}

void killProcess(const QString& name)
{
    QList<long long> ids;
    processID(name, &ids);
    for (long long id : qAsConst(ids))
        killProcess(id);
}

} // namespace OrvInterface
