// Scenarios: parts of a test that run in a child process of their own.
//
// The library keeps state for the life of the process (the application
// name, the language and version caches, the system name) and finds its
// read-only INI files beside the executable. A scenario therefore runs in
// a fresh process started from a copy of the test executable placed in a
// temporary folder of its own: that folder is its application directory,
// with a readonlyCfg/ folder prepared by the parent.
//
// Every run gets a unique application name ("ctt-..."), written to the
// app.ini or the CommonTools.ini of that folder, so that its /opt/<name>
// folder is its own; the parent removes that folder afterwards.
//
// The child only reports what it sees (Scenario::report); the parent
// checks the reports with the usual QCOMPARE/QVERIFY.
#ifndef COMMONTOOLS_TEST_SCENARIO_H
#define COMMONTOOLS_TEST_SCENARIO_H

#include "childprocess.h"
#include "files.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QPair>
#include <QProcessEnvironment>
#include <QScopedPointer>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>
#include <QVariant>

namespace Scenario {

using ScenarioFunction = void (*)();

// Registers a scenario under name; used by COMMONTOOLS_SCENARIO.
bool registerScenario(const char* name, ScenarioFunction function);

// In the child: prints "@key=value" on a line of its own (percent-encoded)
// for the parent to read.
void report(const QString& key, const QVariant& value);

// Where the unique application name is written.
enum class NameSource {
    AppIni,          // readonlyCfg/app.ini, APPName in plain text
    CommonToolsIni,  // readonlyCfg/CommonTools.ini, APPName in Base64; no app.ini
    None,            // neither file: the library's default name
};

struct Options
{
    NameSource nameFrom = NameSource::AppIni;
    // Further entries of app.ini (plain) and CommonTools.ini (Base64). With
    // NameSource::CommonToolsIni no app.ini is written; with None, each
    // file is written only when it has entries (and then has no APPName).
    QList<QPair<QString, QString>> appIniEntries;
    QList<QPair<QString, QString>> commonToolsIniEntries;
    // Extra variables of the child's environment, and ones it must not have.
    QMap<QString, QString> environment;
    QStringList unsetEnvironment;
};

// A sequence of child processes that share one application directory and
// one application name.
class Run
{
public:
    explicit Run(const Options& options = Options());
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    // Runs the scenario in a new child, with extra variables in its
    // environment; true when it exited normally with 0.
    bool exec(const char* scenario, const QMap<QString, QString>& environment = {});

    // For children started by the test itself (several at once, or to be
    // killed): the program and the options that run scenario, with extra
    // variables in its environment.
    QString childProgram() const;
    TestProcess::Options childOptions(const char* scenario,
                                      const QMap<QString, QString>& environment = {}) const;

    QString appName() const { return m_appName; }
    QString appDir() const;                  // the child's application directory
    QString appIniPath() const;              // its readonlyCfg/app.ini
    QString commonToolsIniPath() const;      // its readonlyCfg/CommonTools.ini
    QString optDir() const;                  // /opt/<appName>
    QString customConfigPath() const;        // /opt/<appName>/bin/Cfg/CustomConfig.ini

    // Creates CustomConfig.ini (and its folder) with these raw lines; an
    // empty list creates an empty file.
    bool writeCustomConfig(const QStringList& lines = QStringList()) const;

    // What the last child printed, and the values it reported.
    QString output() const { return m_output; }
    QString value(const QString& key) const;
    bool hasValue(const QString& key) const;
    QStringList values(const QString& key) const;

private:
    Options m_options;
    QTemporaryDir m_dir;
    QString m_appName;
    QString m_output;
    QMap<QString, QStringList> m_values;
};

// A unique application name ("ctt-<test>-<pid>-<n>").
QString uniqueAppName();

// Removes /opt/<name> of a test's own application name (only names that
// start with "ctt-").
void removeTestOptDir(const QString& appName);

// Removes path when it did not exist at construction: for folders that a
// test may create as a side effect but must not take away from the system.
class RemoveIfNew
{
public:
    explicit RemoveIfNew(const QString& path);
    ~RemoveIfNew();

private:
    QString m_path;
    bool m_existed;
};

// In a child run as root: the process acts as the user "nobody" (keeping
// root as its saved id) until restore() or the end of the object.
class RunAsNobody
{
public:
    RunAsNobody();
    ~RunAsNobody();
    RunAsNobody(const RunAsNobody&) = delete;
    RunAsNobody& operator=(const RunAsNobody&) = delete;

    bool dropped() const { return m_dropped; }
    // Back to root; true when that worked (or nothing was dropped).
    bool restore();

private:
    bool m_dropped = false;
};

// Child side of main(): true when this process is a scenario child.
bool isChild();
// Runs the child's scenario; the process's exit code.
int runChild();

} // namespace Scenario

#define COMMONTOOLS_SCENARIO(name) \
    static void scenario_##name(); \
    static const bool scenarioRegistered_##name = Scenario::registerScenario(#name, scenario_##name); \
    static void scenario_##name()

// In a test function: runs the scenario, failing the test with the child's
// output when it does not exit with 0.
#define COMMONTOOLS_RUN_SCENARIO(run, name) \
    QVERIFY2((run).exec(name), qPrintable(QStringLiteral("scenario %1 failed:\n%2").arg(QLatin1String(name), (run).output())))

// The same, with extra variables in the child's environment.
#define COMMONTOOLS_RUN_SCENARIO_WITH(run, name, environment) \
    QVERIFY2((run).exec(name, environment), \
             qPrintable(QStringLiteral("scenario %1 failed:\n%2").arg(QLatin1String(name), (run).output())))

#define COMMONTOOLS_SCENARIO_MAIN_WITH_APP(AppClass, TestClass) \
    int main(int argc, char** argv) \
    { \
        AppClass app(argc, argv); \
        if (Scenario::isChild()) \
            return Scenario::runChild(); \
        TestClass test; \
        QTEST_SET_MAIN_SOURCE_PATH \
        return QTest::qExec(&test, argc, argv); \
    }

#define COMMONTOOLS_SCENARIO_MAIN(TestClass) COMMONTOOLS_SCENARIO_MAIN_WITH_APP(QCoreApplication, TestClass)

#endif
