// The shell command runner and the process functions built on it.

#include "OrvFunction.h"

#include <QDebug>
#include <QStringList>

#include <cstdio>
#include <cstring>

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

} // namespace

QString execCommand(const QString& command)
{
    qDebug().noquote() << QStringLiteral("execCommand : ") + command;

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
            execCommand(QStringLiteral("pidof %1").arg(shellQuoted(name))).trimmed();
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
    execCommand(QStringLiteral("kill -s 9 %1").arg(pid));
}

void killProcess(const QString& name)
{
    QList<long long> ids;
    processID(name, &ids);
    for (long long id : qAsConst(ids))
        killProcess(id);
}

} // namespace OrvInterface
