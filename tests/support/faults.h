// Fault injection: a child process that writes a file is killed with
// SIGKILL at random moments of the write. Each time, the file must hold
// either its old or its new content, byte for byte, and nothing may be
// left beside it but what the next write removes; after a last write to
// its end, nothing at all.
#ifndef COMMONTOOLS_TEST_FAULTS_H
#define COMMONTOOLS_TEST_FAULTS_H

#include "childprocess.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

namespace Faults {

struct KillTest
{
    QString program;                // the child that writes the target...
    TestProcess::Options options;   // ...and how it is started
    QByteArray marker;              // what the child prints just before the write
    QString target;                 // the file written
    QByteArray oldContent;          // put back before every run
    // Names (wildcard patterns) that a kill may leave beside the target
    // because the next write removes them (the settings' lock file of a
    // dead writer, say).
    QStringList tolerated;
    // Names (wildcard patterns) of files the writer makes and keeps for
    // good (a lock file, say): neither a leftover nor a failure.
    QStringList kept;
    // Fewer where the tests run slowly (TestProcess::runsSlowly).
    int kills = TestProcess::runsSlowly() ? 20 : 50;
    quint32 seed = 1;
    // Called after each kill and its checks, before the next writer starts
    // (a user copying the file, say); what it returns that is not empty is
    // a failure.
    std::function<QString(int kill)> afterEachKill;
};

struct KillReport
{
    int kills = 0;
    int killedDuringWrite = 0;   // the signal ended the child, not its own exit
    int oldContent = 0;
    int newContent = 0;
    int toleratedLeftovers = 0;  // kills after which tolerated names were there
    int writeMs = 0;             // how long the quickest whole write took
    QStringList failures;        // empty when every kill was survived

    QString summary() const;
};

// Runs the child to the end a few times (its result is the new content),
// then kills it test.kills times, each time at a random moment between its
// marker and the time the quickest whole write took (less, after a kill that
// came too late), then runs it to the end once more.
KillReport killDuringWrites(const KillTest& test);

// From now on, writes of this process past bytes fail as on a full disk
// (SIGXFSZ is ignored, the write reports EFBIG); false when the limit could
// not be set.
bool limitFileSize(qint64 bytes);

// Names in folder that are not in before.
QStringList newEntries(const QString& folder, const QStringList& before);

// The names in folder.
QStringList entries(const QString& folder);

} // namespace Faults

#endif
