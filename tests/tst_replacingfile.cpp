// The point files' writer: a new content replaces the old one whole, or not
// at all, and what a dead writer left is cleared by the next one.
#include "support/faults.h"
#include "support/files.h"

#include "pointfile/replacingfile_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <csignal>
#include <thread>
#include <vector>
#include <memory>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using PointFile::ReplacingFile;
using TestFiles::readFile;
using TestFiles::writeFile;

Q_DECLARE_METATYPE(ReplacingFile::Staging)

namespace {

mode_t currentUmask()
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return mask;
}

mode_t permissionsOf(const QString& path)
{
    struct stat info{};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 07777 : 0;
}

ino_t inodeOf(const QString& path)
{
    struct stat info{};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : 0;
}

// A file size limit for this process, put back when it goes.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(qint64 bytes)
    {
        m_handler = std::signal(SIGXFSZ, SIG_IGN);
        m_saved = ::getrlimit(RLIMIT_FSIZE, &m_limit) == 0;
        rlimit limit = m_limit;
        limit.rlim_cur = rlim_t(bytes);
        m_set = m_saved && ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    ~FileSizeLimit()
    {
        if (m_saved)
            ::setrlimit(RLIMIT_FSIZE, &m_limit);
        std::signal(SIGXFSZ, m_handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

    bool isSet() const { return m_set; }

private:
    rlimit m_limit{};
    void (*m_handler)(int) = nullptr;
    bool m_saved = false;
    bool m_set = false;
};

// An open file with flock held, as its writer holds a staging file.
class HeldFile
{
public:
    explicit HeldFile(const QString& path)
        : m_fd(::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC))
    {
        m_held = m_fd >= 0 && ::flock(m_fd, LOCK_EX | LOCK_NB) == 0;
    }
    ~HeldFile()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

    bool isHeld() const { return m_held; }

private:
    int m_fd;
    bool m_held = false;
};

} // namespace

class TestReplacingFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();

    void stagingName_data();
    void stagingName();

    void createsTheFile();
    void replacesTheFileKeepingItsPermissions();
    void discardKeepsTheOldFile();
    void writesThroughSymbolicLinks();
    void cannotWriteThere();
    void fullDiskKeepsTheOldFile();
    void abandonedStagingFilesAreRemoved();
    void twoWritersOfOneFile();
    void concurrentWritersOfOneFile();

private:
    QString path(const QString& name) const { return m_dir->filePath(name); }
    QStringList entries() const { return Faults::entries(m_dir->path()); }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestReplacingFile::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

// Every test runs with both ways of staging the new content.
void TestReplacingFile::initTestCase_data()
{
    QTest::addColumn<ReplacingFile::Staging>("staging");
    QTest::newRow("unnamed") << ReplacingFile::Staging::Unnamed;
    QTest::newRow("named") << ReplacingFile::Staging::Named;
}

void TestReplacingFile::stagingName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isStagingName");
    QTest::newRow("six letters") << QStringLiteral(".commontools-pts.txt.AbCdEf") << true;
    QTest::newRow("five letters") << QStringLiteral(".commontools-pts.txt.AbCdE") << false;
    QTest::newRow("seven letters") << QStringLiteral(".commontools-pts.txt.AbCdEfG") << false;
    QTest::newRow("a digit") << QStringLiteral(".commontools-pts.txt.AbCd3f") << false;
    QTest::newRow("a dot") << QStringLiteral(".commontools-pts.txt.AbC.Ef") << false;
    QTest::newRow("not hidden") << QStringLiteral("commontools-pts.txt.AbCdEf") << false;
    QTest::newRow("another file's") << QStringLiteral(".commontools-pts.mfa.AbCdEf") << false;
    QTest::newRow("QSaveFile's") << QStringLiteral("pts.txt.AbCdEf") << false;
    QTest::newRow("an earlier naming") << QStringLiteral(".pts.txt.commontools-AbCdEf") << false;
    QTest::newRow("the file") << QStringLiteral("pts.txt") << false;
}

void TestReplacingFile::stagingName()
{
    QFETCH(QString, name);
    QFETCH(bool, isStagingName);
    QCOMPARE(ReplacingFile::isStagingName(name, QStringLiteral("pts.txt")), isStagingName);
}

void TestReplacingFile::createsTheFile()
{
    QFETCH_GLOBAL(ReplacingFile::Staging, staging);
    ReplacingFile file(path(QStringLiteral("pts.txt")), staging);
    QVERIFY(file.open());
    QVERIFY(file.write("1\n2\n", 4));
    QVERIFY(file.write(QByteArray("3\n")));
    // Nothing under the file's name until it is whole.
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("pts.txt"))));
    const QStringList whileWriting = entries();
    if (staging == ReplacingFile::Staging::Named) {
        QCOMPARE(whileWriting.size(), 1);
        QVERIFY2(ReplacingFile::isStagingName(whileWriting.first(), QStringLiteral("pts.txt")), qPrintable(whileWriting.first()));
    } else {
        QCOMPARE(whileWriting, QStringList());
    }
    QVERIFY(file.commit());
    QCOMPARE(readFile(path(QStringLiteral("pts.txt"))), QByteArray("1\n2\n3\n"));
    QCOMPARE(permissionsOf(path(QStringLiteral("pts.txt"))), mode_t(0666 & ~currentUmask()));
    QCOMPARE(entries(), QStringList{QStringLiteral("pts.txt")});
    // Once committed, it is done with.
    QVERIFY(!file.write("4\n", 2));
    QVERIFY(!file.commit());
}

void TestReplacingFile::replacesTheFileKeepingItsPermissions()
{
    QFETCH_GLOBAL(ReplacingFile::Staging, staging);
    const QString target = path(QStringLiteral("pts.txt"));
    QVERIFY(writeFile(target, "old\n"));
    QVERIFY(QFile::setPermissions(target, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup));
    const ino_t oldInode = inodeOf(target);

    ReplacingFile file(target, staging);
    QVERIFY(file.open());
    QVERIFY(file.write(QByteArray("new\n")));
    QCOMPARE(readFile(target), QByteArray("old\n"));
    QVERIFY(file.commit());
    QCOMPARE(readFile(target), QByteArray("new\n"));
    QCOMPARE(permissionsOf(target), mode_t(0640));
    // Replaced, not written over: a reader of the old file kept it whole.
    QVERIFY(inodeOf(target) != oldInode);
    QCOMPARE(entries(), QStringList{QStringLiteral("pts.txt")});
}

void TestReplacingFile::discardKeepsTheOldFile()
{
    QFETCH_GLOBAL(ReplacingFile::Staging, staging);
    const QString target = path(QStringLiteral("pts.txt"));
    QVERIFY(writeFile(target, "old\n"));
    {
        ReplacingFile file(target, staging);
        QVERIFY(file.open());
        QVERIFY(file.write(QByteArray("new\n")));
        file.discard();
        QVERIFY(!file.commit());
    }
    {
        ReplacingFile file(target, staging);
        QVERIFY(file.open());
        QVERIFY(file.write(QByteArray("newer\n")));
    } // destroyed without commit
    QCOMPARE(readFile(target), QByteArray("old\n"));
    QCOMPARE(entries(), QStringList{QStringLiteral("pts.txt")});
}

void TestReplacingFile::writesThroughSymbolicLinks()
{
    QFETCH_GLOBAL(ReplacingFile::Staging, staging);
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("real")));
    const QString real = path(QStringLiteral("real/pts.txt"));
    QVERIFY(writeFile(real, "old\n"));
    const QString link = path(QStringLiteral("pts.txt"));
    QVERIFY(QFile::link(real, link));

    ReplacingFile file(link, staging);
    QVERIFY(file.open());
    QVERIFY(file.write(QByteArray("new\n")));
    QVERIFY(file.commit());
    QVERIFY(QFileInfo(link).isSymLink());
    QCOMPARE(readFile(real), QByteArray("new\n"));
    QCOMPARE(Faults::entries(path(QStringLiteral("real"))), QStringList{QStringLiteral("pts.txt")});
}

void TestReplacingFile::cannotWriteThere()
{
    QFETCH_GLOBAL(ReplacingFile::Staging, staging);
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("pts.txt")));
    ReplacingFile folder(path(QStringLiteral("pts.txt")), staging);
    QVERIFY(!folder.open());
    QVERIFY(!folder.write("1\n", 2));
    QVERIFY(!folder.commit());

    ReplacingFile nowhere(path(QStringLiteral("missing/pts.txt")), staging);
    QVERIFY(!nowhere.open());
    QVERIFY(!nowhere.commit());
    QCOMPARE(entries(), QStringList{QStringLiteral("pts.txt")});
}

void TestReplacingFile::fullDiskKeepsTheOldFile()
{
    QFETCH_GLOBAL(ReplacingFile::Staging, staging);
    const QString target = path(QStringLiteral("pts.txt"));
    QVERIFY(writeFile(target, "old\n"));
    ReplacingFile file(target, staging);
    QVERIFY(file.open());
    {
        const FileSizeLimit limit(1000);
        QVERIFY(limit.isSet());
        QVERIFY(!file.write(QByteArray(5000, 'x')));
    }
    // The failure stays, though what follows would fit.
    QVERIFY(!file.write(QByteArray("1\n")));
    QVERIFY(!file.commit());
    QCOMPARE(readFile(target), QByteArray("old\n"));
    QCOMPARE(entries(), QStringList{QStringLiteral("pts.txt")});
}

void TestReplacingFile::abandonedStagingFilesAreRemoved()
{
    QFETCH_GLOBAL(ReplacingFile::Staging, staging);
    const QString target = path(QStringLiteral("pts.txt"));
    QVERIFY(writeFile(target, "old\n"));
    // Left by writers that died: nobody holds them.
    QVERIFY(writeFile(path(QStringLiteral(".commontools-pts.txt.AbCdEf")), "dead\n"));
    QVERIFY(writeFile(path(QStringLiteral(".commontools-pts.txt.zzzzzz")), "dead\n"));
    // Held by a writer at work.
    QVERIFY(writeFile(path(QStringLiteral(".commontools-pts.txt.LiveOn")), "live\n"));
    const HeldFile live(path(QStringLiteral(".commontools-pts.txt.LiveOn")));
    QVERIFY(live.isHeld());
    // Named alike, but not staging files of this target.
    const QStringList others{QStringLiteral(".commontools-pts.txt.notes"), QStringLiteral(".commontools-pts.mfa.AbCdEf"),
                             QStringLiteral("pts.txt.AbCdEf"), QStringLiteral(".pts.txt.commontools-AbCdEf")};
    for (const QString& other : others)
        QVERIFY(writeFile(path(other), "other\n"));
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral(".commontools-pts.txt.Folder")));

    ReplacingFile file(target, staging);
    QVERIFY(file.open());
    QVERIFY(file.write(QByteArray("new\n")));
    QVERIFY(file.commit());
    QCOMPARE(readFile(target), QByteArray("new\n"));
    QStringList expected = others;
    expected << QStringLiteral(".commontools-pts.txt.Folder") << QStringLiteral(".commontools-pts.txt.LiveOn")
             << QStringLiteral("pts.txt");
    expected.sort();
    QCOMPARE(entries(), expected);
    QCOMPARE(readFile(path(QStringLiteral(".commontools-pts.txt.LiveOn"))), QByteArray("live\n"));
}

void TestReplacingFile::twoWritersOfOneFile()
{
    QFETCH_GLOBAL(ReplacingFile::Staging, staging);
    const QString target = path(QStringLiteral("pts.txt"));
    QVERIFY(writeFile(target, "old\n"));
    ReplacingFile first(target, staging);
    QVERIFY(first.open());
    QVERIFY(first.write(QByteArray("first\n")));
    // The second neither disturbs the first nor waits for it.
    ReplacingFile second(target, staging);
    QVERIFY(second.open());
    QVERIFY(second.write(QByteArray("second\n")));
    QVERIFY(second.commit());
    QCOMPARE(readFile(target), QByteArray("second\n"));
    QVERIFY(first.commit());
    QCOMPARE(readFile(target), QByteArray("first\n"));
    QCOMPARE(entries(), QStringList{QStringLiteral("pts.txt")});
}

// Writers at once, each of which clears what it takes for abandoned: none
// may take another's staging file, between its making and its lock, for
// one of a dead writer's.
void TestReplacingFile::concurrentWritersOfOneFile()
{
    QFETCH_GLOBAL(ReplacingFile::Staging, staging);
    const QString target = path(QStringLiteral("pts.txt"));
    QVERIFY(writeFile(target, "old\n"));
    constexpr int kWriters = 4;
    constexpr int kWrites = 1500;
    std::atomic<int> failed{0};
    std::vector<std::thread> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.emplace_back([&, writer] {
            const QByteArray content = "writer " + QByteArray::number(writer) + '\n';
            for (int i = 0; i < kWrites; ++i) {
                ReplacingFile file(target, staging);
                if (!(file.open() && file.write(content) && file.commit()))
                    ++failed;
            }
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    QCOMPARE(failed.load(), 0);
    QVERIFY(readFile(target).startsWith("writer "));
    QCOMPARE(entries(), QStringList{QStringLiteral("pts.txt")});
}

QTEST_GUILESS_MAIN(TestReplacingFile)
#include "tst_replacingfile.moc"
