// File dialogs that remember the last folder, and storage checks.

#include "support/scenario.h"

#include <OrvFunction.h>

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLineEdit>
#include <QPointer>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <unistd.h>

using namespace OrvInterface;

namespace {

// Answers the next file dialog that opens: notes the folder it opened in
// and the file name it proposed, then types the answer and accepts, or
// cancels when the answer is null.
class DialogAnswer : public QObject
{
public:
    explicit DialogAnswer(const QString& answer)
        : m_answer(answer)
    {
        m_timer.setInterval(10);
        connect(&m_timer, &QTimer::timeout, this, &DialogAnswer::poll);
        m_timer.start();
    }

    QString openedIn() const { return m_openedIn; }
    QString proposedName() const { return m_proposedName; }
    bool answered() const { return !m_answered.isNull() || m_done; }

private:
    void poll()
    {
        QFileDialog* dialog = nullptr;
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* d = qobject_cast<QFileDialog*>(widget); d && d->isVisible())
                dialog = d;
        }
        if (!dialog || dialog == m_answered)
            return;
        m_answered = dialog;
        m_timer.stop();
        m_openedIn = dialog->directory().absolutePath();
        auto* edit = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        m_proposedName = edit ? edit->text() : QString();
        if (m_answer.isNull()) {
            dialog->reject();
        } else {
            if (edit)
                edit->setText(m_answer);
            static_cast<QDialog*>(dialog)->accept(); // QFileDialog::accept checks the name
        }
        m_done = true;
    }

    QString m_answer;
    QTimer m_timer;
    QPointer<QFileDialog> m_answered;
    QString m_openedIn;
    QString m_proposedName;
    bool m_done = false;
};

QString env(const char* name)
{
    return qEnvironmentVariable(name);
}

void reportDialog(const QString& step, const DialogAnswer& answer, const QString& result, const bool* ok = nullptr)
{
    Scenario::report(step + QStringLiteral(".openedIn"), answer.openedIn());
    Scenario::report(step + QStringLiteral(".proposed"), answer.proposedName());
    Scenario::report(step + QStringLiteral(".result"), result);
    if (ok)
        Scenario::report(step + QStringLiteral(".ok"), *ok);
}

} // namespace

COMMONTOOLS_SCENARIO(dialogs)
{
    const QString base = env("CTT_BASE");
    bool ok = false;
    Scenario::report(QStringLiteral("userDataPath"), userDataPath());
    {
        DialogAnswer answer(base + QStringLiteral("/a/b.txt"));
        reportDialog(QStringLiteral("open1"), answer, getOpenFileName());
    }
    {
        DialogAnswer answer{QString()};
        reportDialog(QStringLiteral("open2"), answer, getOpenFileName(nullptr, QStringLiteral("Open")));
    }
    {
        DialogAnswer answer(base + QStringLiteral("/x"));
        reportDialog(QStringLiteral("dir1"), answer, getExistingDirectory(nullptr, QString(), QString(), &ok), &ok);
    }
    {
        DialogAnswer answer(QStringLiteral("/ctt-file.txt"));
        ok = true;
        reportDialog(QStringLiteral("saveRoot"), answer, getSaveFileName(nullptr, QString(), QString(), QString(),
                                                                         QString(), &ok), &ok);
    }
    {
        DialogAnswer answer(QStringLiteral("/"));
        reportDialog(QStringLiteral("dirRoot"), answer, getExistingDirectory(nullptr, QString(), QString(), &ok), &ok);
    }
    {
        DialogAnswer answer{QString()};
        ok = false;
        reportDialog(QStringLiteral("saveNamed"), answer,
                     getSaveFileName(nullptr, QString(), base + QStringLiteral("/data"), QStringLiteral("a.cfg"),
                                     QString(), &ok), &ok);
    }
    {
        DialogAnswer answer(base + QStringLiteral("/data/new.cfg"));
        reportDialog(QStringLiteral("save"), answer,
                     getSaveFileName(nullptr, QString(), QString(), QString(), QString(), &ok), &ok);
    }
    {
        DialogAnswer answer{QString()};
        reportDialog(QStringLiteral("afterSave"), answer, getOpenFileName());
    }
    setFileDialogDefaultPath(base + QStringLiteral("/set"));
    {
        DialogAnswer answer{QString()};
        reportDialog(QStringLiteral("afterSet"), answer, getExistingDirectory());
    }
    {
        // A folder given explicitly wins over the remembered one.
        DialogAnswer answer{QString()};
        reportDialog(QStringLiteral("given"), answer, getOpenFileName(nullptr, QString(), base + QStringLiteral("/x")));
    }
    {
        // Null flags are allowed.
        DialogAnswer answer(QStringLiteral("/"));
        reportDialog(QStringLiteral("nullOk"), answer, getExistingDirectory(nullptr, QString(), QString(), nullptr));
    }
}

COMMONTOOLS_SCENARIO(slashlessPathIsTheProbe)
{
    TestFiles::writeFile(QStringLiteral("victim.txt"), "data");
    Scenario::report(QStringLiteral("result"), testDirPermission(QStringLiteral("victim.txt"), true));
    Scenario::report(QStringLiteral("exists"), QFileInfo::exists(QStringLiteral("victim.txt")));
}

// An ordinary user may not create files in a folder only root may write.
COMMONTOOLS_SCENARIO(permissionAsOrdinaryUser)
{
    Scenario::RunAsNobody nobody;
    Scenario::report(QStringLiteral("dropped"), nobody.dropped());
    Scenario::report(QStringLiteral("folder"), testDirPermission(env("CTT_PRIVATE"), false));
    Scenario::report(QStringLiteral("file"), testDirPermission(env("CTT_PRIVATE") + QStringLiteral("/x.txt"), true));
    Scenario::report(QStringLiteral("tmp"), testDirPermission(env("CTT_PUBLIC"), false));
    Scenario::report(QStringLiteral("restored"), nobody.restore());
}

class TestDialogs : public QObject
{
    Q_OBJECT

private slots:
    void dialogs();
    void isSupportDir_data();
    void isSupportDir();
    void diskFull();
    void diskFullInvalidVolume();
    void permission();
    void permissionDeniedEvenToRoot();
    void permissionRemovesAnExistingProbe();
    void permissionSlashlessPath();
    void permissionAsOrdinaryUser();
};

void TestDialogs::dialogs()
{
    QTemporaryDir base;
    QVERIFY(base.isValid());
    for (const char* folder : {"a", "x", "data", "set"})
        QVERIFY(QDir(base.path()).mkdir(QLatin1String(folder)));
    QVERIFY(TestFiles::writeFile(base.filePath(QStringLiteral("a/b.txt")), "b"));
    const QString b = QFileInfo(base.path()).canonicalFilePath();

    Scenario::Options options;
    options.environment.insert(QStringLiteral("CTT_BASE"), b);
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "dialogs");

    // The first dialog opens in the user-data folder.
    QCOMPARE(run.value("userDataPath"), run.optDir() + QStringLiteral("/bin/Temp"));
    QCOMPARE(run.value("open1.openedIn"), run.value("userDataPath"));
    QCOMPARE(run.value("open1.result"), b + QStringLiteral("/a/b.txt"));
    // Then in the folder of the file chosen; a cancel changes nothing.
    QCOMPARE(run.value("open2.openedIn"), b + QStringLiteral("/a"));
    QCOMPARE(run.value("open2.result"), QString());
    QCOMPARE(run.value("dir1.openedIn"), b + QStringLiteral("/a"));
    QCOMPARE(run.value("dir1.result"), b + QStringLiteral("/x"));
    QCOMPARE(run.value("dir1.ok"), QStringLiteral("true"));
    // A chosen folder is itself remembered.
    QCOMPARE(run.value("saveRoot.openedIn"), b + QStringLiteral("/x"));
    QCOMPARE(run.value("saveRoot.result"), QString());
    QCOMPARE(run.value("saveRoot.ok"), QStringLiteral("false"));
    QVERIFY(!QFileInfo::exists(QStringLiteral("/ctt-file.txt")));
    QCOMPARE(run.value("dirRoot.openedIn"), b + QStringLiteral("/x"));
    QCOMPARE(run.value("dirRoot.result"), QString());
    QCOMPARE(run.value("dirRoot.ok"), QStringLiteral("false"));
    // A cancelled save leaves ok true; the name is proposed in dir.
    QCOMPARE(run.value("saveNamed.openedIn"), b + QStringLiteral("/data"));
    QCOMPARE(run.value("saveNamed.proposed"), QStringLiteral("a.cfg"));
    QCOMPARE(run.value("saveNamed.result"), QString());
    QCOMPARE(run.value("saveNamed.ok"), QStringLiteral("true"));
    QCOMPARE(run.value("save.openedIn"), b + QStringLiteral("/x"));
    QCOMPARE(run.value("save.result"), b + QStringLiteral("/data/new.cfg"));
    QCOMPARE(run.value("save.ok"), QStringLiteral("true"));
    QCOMPARE(run.value("afterSave.openedIn"), b + QStringLiteral("/data"));
    QCOMPARE(run.value("afterSet.openedIn"), b + QStringLiteral("/set"));
    QCOMPARE(run.value("given.openedIn"), b + QStringLiteral("/x"));
    QCOMPARE(run.value("nullOk.result"), QString());
    QVERIFY(!QFileInfo::exists(b + QStringLiteral("/data/new.cfg"))); // a save dialog writes nothing
}

void TestDialogs::isSupportDir_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("expected");
    QTest::newRow("/") << QStringLiteral("/") << false;
    QTest::newRow("empty") << QString() << true;
    QTest::newRow("/tmp") << QStringLiteral("/tmp") << true;
    QTest::newRow("//") << QStringLiteral("//") << true;
    QTest::newRow("/.") << QStringLiteral("/.") << true;
}

void TestDialogs::isSupportDir()
{
    QFETCH(QString, path);
    QFETCH(bool, expected);
    QCOMPARE(OrvInterface::isSupportDir(path), expected);
}

void TestDialogs::diskFull()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString notYet = dir.filePath(QStringLiteral("not-yet-created.bin"));
    const qint64 available = QStorageInfo(dir.path()).bytesAvailable();
    QVERIFY(available > 0);

    bool valid = false;
    QVERIFY(!IsDiskFull(notYet, 0, &valid));
    QVERIFY(valid);
    QVERIFY(!IsDiskFull(dir.path(), 1, &valid));
    QVERIFY(valid);
    QVERIFY(IsDiskFull(notYet, available + (1LL << 40), &valid));
    QVERIFY(valid);
    QVERIFY(!IsDiskFull(notYet, -5));
    QVERIFY(!IsDiskFull(QStringLiteral("/tmp"), 0, nullptr));
}

void TestDialogs::diskFullInvalidVolume()
{
    bool valid = true;
    QVERIFY(IsDiskFull(QStringLiteral("/nonexistent-ctt/folder/file.bin"), 0, &valid));
    QVERIFY(!valid);
    QVERIFY(!IsDiskFull(QStringLiteral("/nonexistent-ctt/folder/file.bin"), -1, &valid));
}

void TestDialogs::permission()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString probe = dir.filePath(QStringLiteral("Permission.Test"));
    QVERIFY(testDirPermission(dir.path(), false));
    QVERIFY(testDirPermission(dir.path() + QLatin1Char('/'), false));
    QVERIFY(testDirPermission(dir.filePath(QStringLiteral("x.txt")), true));
    QVERIFY(!QFileInfo::exists(probe));
    QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("x.txt"))));
    QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).size(), 0);

    QVERIFY(!testDirPermission(dir.filePath(QStringLiteral("missing")), false));
    QVERIFY(!testDirPermission(dir.filePath(QStringLiteral("missing/x.txt")), true));
}

void TestDialogs::permissionDeniedEvenToRoot()
{
    // No file can be created in /proc, whoever asks.
    QVERIFY(!testDirPermission(QStringLiteral("/proc"), false));
    QVERIFY(!testDirPermission(QStringLiteral("/proc/x.txt"), true));
    QVERIFY(!QFileInfo::exists(QStringLiteral("/proc/Permission.Test")));
    // Its volume has nothing available, and is measured all the same.
    bool valid = false;
    QVERIFY(IsDiskFull(QStringLiteral("/proc"), 1, &valid));
    QVERIFY(valid);
    QVERIFY(!IsDiskFull(QStringLiteral("/proc"), 0, &valid));
}

void TestDialogs::permissionRemovesAnExistingProbe()
{
    // Documented: a file named like the probe is taken for it.
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QVERIFY(TestFiles::writeFile(dir.filePath(QStringLiteral("Permission.Test")), "someone's data"));
    QVERIFY(testDirPermission(dir.path(), false));
    QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("Permission.Test"))));
}

void TestDialogs::permissionSlashlessPath()
{
    // Documented: a file path without "/" is itself the probe.
    Scenario::Run run;
    COMMONTOOLS_RUN_SCENARIO(run, "slashlessPathIsTheProbe");
    QCOMPARE(run.value("result"), QStringLiteral("true"));
    QCOMPARE(run.value("exists"), QStringLiteral("false"));
}

void TestDialogs::permissionAsOrdinaryUser()
{
    if (geteuid() != 0)
        QSKIP("needs root, to run the check as another user");
    QTemporaryDir privateDir;
    QTemporaryDir publicDir;
    QVERIFY(privateDir.isValid() && publicDir.isValid());
    QVERIFY(QFile::setPermissions(privateDir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    // The user keeps root's group: the group may write the public folder too.
    QVERIFY(QFile::setPermissions(publicDir.path(), QFile::permissions(publicDir.path()) | QFile::ReadGroup
                                          | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther
                                          | QFile::WriteOther | QFile::ExeOther));
    Scenario::Options options;
    options.environment.insert(QStringLiteral("CTT_PRIVATE"), privateDir.path());
    options.environment.insert(QStringLiteral("CTT_PUBLIC"), publicDir.path());
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "permissionAsOrdinaryUser");
    QCOMPARE(run.value("dropped"), QStringLiteral("true"));
    QCOMPARE(run.value("folder"), QStringLiteral("false"));
    QCOMPARE(run.value("file"), QStringLiteral("false"));
    QCOMPARE(run.value("tmp"), QStringLiteral("true"));
    QCOMPARE(run.value("restored"), QStringLiteral("true"));
    QCOMPARE(QDir(publicDir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).size(), 0);
}

COMMONTOOLS_SCENARIO_MAIN_WITH_APP(QApplication, TestDialogs)
#include "tst_dialogs.moc"
