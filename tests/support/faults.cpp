#include "faults.h"

#include "files.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QThread>

#include <csignal>
#include <sys/resource.h>

namespace Faults {

namespace {

constexpr int kStartTimeoutMs = 300000;

QString describe(const QByteArray& content, const KillTest& test, const QByteArray& newContent)
{
    if (content.isNull())
        return QStringLiteral("the file is gone");
    return QStringLiteral("%1 bytes, neither the old %2 nor the new %3")
            .arg(content.size())
            .arg(test.oldContent.size())
            .arg(newContent.size());
}

} // namespace

QString KillReport::summary() const
{
    return QStringLiteral("%1 kills (%2 during the write, which takes %3 ms): %4 left the old content, %5 the new; "
                          "after %6, files of the writer were left for the next write to remove")
            .arg(kills)
            .arg(killedDuringWrite)
            .arg(writeMs)
            .arg(oldContent)
            .arg(newContent)
            .arg(toleratedLeftovers);
}

bool limitFileSize(qint64 bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = rlim_t(bytes);
    return setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

QStringList entries(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

QStringList newEntries(const QString& folder, const QStringList& before)
{
    QStringList added;
    for (const QString& name : entries(folder)) {
        if (!before.contains(name))
            added << name;
    }
    return added;
}

KillReport killDuringWrites(const KillTest& test)
{
    KillReport report;
    const QString folder = QFileInfo(test.target).absolutePath();
    if (!TestFiles::writeFile(test.target, test.oldContent)) {
        report.failures << QStringLiteral("cannot write %1").arg(test.target);
        return report;
    }
    const QStringList before = entries(folder);

    // One write to its end: how long it takes, and what it writes.
    QByteArray newContent;
    {
        TestProcess::Child child;
        if (!child.start(test.program, test.options) || !child.waitForOutput(test.marker, kStartTimeoutMs)) {
            report.failures << QStringLiteral("the writer did not start: ") + QString::fromUtf8(child.result().out);
            return report;
        }
        QElapsedTimer timer;
        timer.start();
        child.waitForFinished(kStartTimeoutMs);
        report.writeMs = int(timer.elapsed());
        if (!child.result().succeeded()) {
            report.failures << QStringLiteral("the writer failed: ") + QString::fromUtf8(child.result().out);
            return report;
        }
        newContent = TestFiles::readFile(test.target);
        if (newContent == test.oldContent) {
            report.failures << QStringLiteral("the write changed nothing");
            return report;
        }
    }

    QRandomGenerator random(test.seed);
    for (int i = 0; i < test.kills; ++i) {
        if (!TestFiles::writeFile(test.target, test.oldContent)) {
            report.failures << QStringLiteral("cannot put back %1").arg(test.target);
            return report;
        }
        TestProcess::Child child;
        if (!child.start(test.program, test.options) || !child.waitForOutput(test.marker, kStartTimeoutMs)) {
            report.failures << QStringLiteral("run %1: the writer did not start").arg(i);
            continue;
        }

        const quint32 delayUs = random.bounded(quint32(report.writeMs) * 1000u + 1u);
        QThread::usleep(delayUs);
        child.kill(SIGKILL);
        child.waitForFinished(kStartTimeoutMs);
        ++report.kills;
        if (child.result().termSignal == SIGKILL)
            ++report.killedDuringWrite;

        const QByteArray content = TestFiles::readFile(test.target);
        if (content == test.oldContent)
            ++report.oldContent;
        else if (content == newContent)
            ++report.newContent;
        else
            report.failures << QStringLiteral("kill %1 after %2 us: %3").arg(i).arg(delayUs).arg(describe(content, test, newContent));

        bool leftSomething = false;
        for (const QString& name : newEntries(folder, before)) {
            if (test.tolerated.contains(name))
                leftSomething = true;
            else
                report.failures << QStringLiteral("kill %1 after %2 us left %3").arg(i).arg(delayUs).arg(name);
        }
        if (leftSomething)
            ++report.toleratedLeftovers;
    }
    return report;
}

} // namespace Faults
