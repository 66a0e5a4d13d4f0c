#include "faults.h"

#include "files.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QThread>

#include <csignal>
#include <sys/resource.h>

namespace Faults {

namespace {

constexpr int kStartTimeoutMs = 300000;
constexpr int kCalibrationRuns = 3;
constexpr quint32 kMinWindowUs = 1000;

QString describe(const QByteArray& content, const KillTest& test, const QByteArray& newContent)
{
    if (content.isNull())
        return QStringLiteral("the file is gone");
    return QStringLiteral("%1 bytes, neither the old %2 nor the new %3")
            .arg(content.size())
            .arg(test.oldContent.size())
            .arg(newContent.size());
}

bool matchesAny(const QString& name, const QStringList& patterns)
{
    for (const QString& pattern : patterns) {
        if (QRegularExpression(QRegularExpression::wildcardToRegularExpression(pattern)).match(name).hasMatch())
            return true;
    }
    return false;
}

// Puts the old content back and runs the writer to its end: what it wrote,
// and how long it took; a null array after a failure, which is reported.
QByteArray writeToTheEnd(const KillTest& test, KillReport& report, int* elapsedMs)
{
    if (!TestFiles::writeFile(test.target, test.oldContent)) {
        report.failures << QStringLiteral("cannot put back %1").arg(test.target);
        return QByteArray();
    }
    TestProcess::Child child;
    if (!child.start(test.program, test.options) || !child.waitForOutput(test.marker, kStartTimeoutMs)) {
        report.failures << QStringLiteral("the writer did not start: ") + QString::fromUtf8(child.result().out);
        return QByteArray();
    }
    QElapsedTimer timer;
    timer.start();
    child.waitForFinished(kStartTimeoutMs);
    *elapsedMs = int(timer.elapsed());
    if (!child.result().succeeded()) {
        report.failures << QStringLiteral("the writer failed: ") + QString::fromUtf8(child.result().out);
        return QByteArray();
    }
    const QByteArray written = TestFiles::readFile(test.target);
    if (written == test.oldContent) {
        report.failures << QStringLiteral("the write changed nothing");
        return QByteArray();
    }
    return written;
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

    // The write to its end, a few times: what it writes, and how long it
    // takes at the quickest (on a busy machine it varies; kills within the
    // quickest time land while it writes).
    QByteArray newContent;
    for (int run = 0; run < kCalibrationRuns; ++run) {
        int elapsedMs = 0;
        const QByteArray written = writeToTheEnd(test, report, &elapsedMs);
        if (written.isNull())
            return report;
        if (run > 0 && written != newContent) {
            report.failures << QStringLiteral("the same write gave different files");
            return report;
        }
        newContent = written;
        report.writeMs = run == 0 ? elapsedMs : qMin(report.writeMs, elapsedMs);
    }

    // Kills land within this window after the marker. A kill that comes
    // after the child's own exit (the machine got quicker than while it was
    // measured: the caches warm, other tests ended) narrows it, so that most
    // kills still land while the child writes.
    const quint32 calibratedUs = quint32(report.writeMs) * 1000u;
    quint32 windowUs = calibratedUs;
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

        QElapsedTimer sinceMarker;
        sinceMarker.start();
        const quint32 delayUs = random.bounded(windowUs + 1u);
        QThread::usleep(delayUs);
        const quint32 waitedUs = quint32(sinceMarker.nsecsElapsed() / 1000);
        child.kill(SIGKILL);
        child.waitForFinished(kStartTimeoutMs);
        ++report.kills;
        if (child.result().termSignal == SIGKILL)
            ++report.killedDuringWrite;
        else
            windowUs = qMax(qMax(kMinWindowUs, calibratedUs / 4), qMin(windowUs, waitedUs) * 3 / 4);

        const QByteArray content = TestFiles::readFile(test.target);
        if (content == test.oldContent)
            ++report.oldContent;
        else if (content == newContent)
            ++report.newContent;
        else
            report.failures << QStringLiteral("kill %1 after %2 us: %3").arg(i).arg(delayUs).arg(describe(content, test, newContent));

        bool leftSomething = false;
        for (const QString& name : newEntries(folder, before)) {
            if (matchesAny(name, test.kept))
                continue;
            if (matchesAny(name, test.tolerated))
                leftSomething = true;
            else
                report.failures << QStringLiteral("kill %1 after %2 us left %3").arg(i).arg(delayUs).arg(name);
        }
        if (leftSomething)
            ++report.toleratedLeftovers;
        if (test.afterEachKill) {
            const QString failure = test.afterEachKill(i);
            if (!failure.isEmpty())
                report.failures << failure;
        }
    }

    // A whole write after all that leaves the new content and nothing else.
    int elapsedMs = 0;
    if (writeToTheEnd(test, report, &elapsedMs) != newContent)
        report.failures << QStringLiteral("the last write did not give the new content");
    for (const QString& name : newEntries(folder, before)) {
        if (!matchesAny(name, test.kept))
            report.failures << QStringLiteral("the last write left %1").arg(name);
    }
    return report;
}

} // namespace Faults
