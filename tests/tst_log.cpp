// The logging facade: the logger singleton and log4qt's configuration.

#include "support/scenario.h"

#include <OrvFunction.h>
#include <OrvLogImpl.h>

#include "log/log4qt_p.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

namespace Log = CommonToolsLog::Log4Qt;

namespace {

// A properties file that sends every message, bare, to logFile.
QByteArray properties(const QString& logFile)
{
    return "log4j.rootLogger=DEBUG, A\n"
           "log4j.appender.A=org.apache.log4j.FileAppender\n"
           "log4j.appender.A.File=" + logFile.toUtf8() + "\n"
           "log4j.appender.A.ImmediateFlush=true\n"
           "log4j.appender.A.layout=org.apache.log4j.PatternLayout\n"
           "log4j.appender.A.layout.ConversionPattern=%m%n\n";
}

// A scratch folder with properties files, each logging to a file of its
// own in the folder.
class LogFolder
{
public:
    bool isValid() const { return m_dir.isValid(); }
    // <name>.properties, sending everything to <name>.log.
    QString properties(const QString& name) const
    {
        const QString file = m_dir.filePath(name + QStringLiteral(".properties"));
        TestFiles::writeFile(file, ::properties(log(name)));
        return file;
    }
    QString log(const QString& name) const { return m_dir.filePath(name + QStringLiteral(".log")); }

private:
    QTemporaryDir m_dir;
};

// Options that give the child a properties file as CTT_FIRST.
Scenario::Options withConfig(const QString& config)
{
    Scenario::Options options;
    options.environment.insert(QStringLiteral("CTT_FIRST"), config);
    return options;
}

QString path(const char* variable)
{
    return qEnvironmentVariable(variable);
}

void logLine(const QString& text)
{
    Log::Logger::rootLogger()->forcedLog(Log::Level(Log::Level::INFO_INT), text);
}

} // namespace

COMMONTOOLS_SCENARIO(firstConfigurationStays)
{
    Scenario::report(QStringLiteral("nullBefore"), g_instance.isNull());
    OrvInterface::initLog4qtConfig(path("CTT_FIRST"));
    OrvLog4j* const first = g_instance.data();
    Scenario::report(QStringLiteral("nullAfter"), g_instance.isNull());
    Scenario::report(QStringLiteral("dataPath"), Log::PropertyConfigurator::programDataPath());
    Scenario::report(QStringLiteral("userDataPath"), OrvInterface::userDataPath());

    OrvInterface::initLog4qtConfig(path("CTT_SECOND"));
    OrvLog4j::initInstance(path("CTT_SECOND"));
    Scenario::report(QStringLiteral("sameInstance"), g_instance.data() == first);
    logLine(QStringLiteral("after the second call"));
}

COMMONTOOLS_SCENARIO(missingPropertiesFile)
{
    OrvInterface::initLog4qtConfig(path("CTT_FIRST"));
    Scenario::report(QStringLiteral("instance"), !g_instance.isNull());
    Scenario::report(QStringLiteral("userDataExists"), QFileInfo(OrvInterface::userDataPath()).isDir());
}

COMMONTOOLS_SCENARIO(addLogDoesNothing)
{
    OrvLog4j::initInstance(path("CTT_FIRST"));
    logLine(QStringLiteral("before"));
    for (int level : {0, -1, 1, 96, 255, INT_MIN, INT_MAX}) {
        g_instance->addLog(level, QString());
        g_instance->addLog(level, QStringLiteral("text of level %1").arg(level));
    }
    logLine(QStringLiteral("after"));
}

// A logger made directly, before any initialisation: it configures log4qt
// but does not become the singleton, and its addLog writes nothing.
COMMONTOOLS_SCENARIO(addLogWithoutSingleton)
{
    OrvLog4j direct(path("CTT_FIRST"));
    direct.addLog(0, QStringLiteral("zero"));
    direct.addLog(-1, QString());
    direct.addLog(128, QStringLiteral("info"));
    Scenario::report(QStringLiteral("singleton"), !g_instance.isNull());
    logLine(QStringLiteral("marker"));
}

COMMONTOOLS_SCENARIO(metaObject)
{
    OrvInterface::initLog4qtConfig(path("CTT_FIRST"));
    OrvLog4j* logger = g_instance.data();
    Scenario::report(QStringLiteral("className"), QLatin1String(logger->metaObject()->className()));
    Scenario::report(QStringLiteral("superClass"), QLatin1String(logger->metaObject()->superClass()->className()));
    Scenario::report(QStringLiteral("castOwn"), logger->qt_metacast("OrvLog4j") == static_cast<void*>(logger));
    Scenario::report(QStringLiteral("castBase"),
                     logger->qt_metacast("QObject") == static_cast<void*>(static_cast<QObject*>(logger)));
    Scenario::report(QStringLiteral("castNull"), logger->qt_metacast(nullptr) == nullptr);
    Scenario::report(QStringLiteral("castOther"), logger->qt_metacast("QWidget") == nullptr);
    Scenario::report(QStringLiteral("qobjectCast"), qobject_cast<OrvLog4j*>(static_cast<QObject*>(logger)) == logger);
    Scenario::report(QStringLiteral("parent"), logger->parent() == nullptr);
    Scenario::report(QStringLiteral("methods"), logger->metaObject()->methodCount()
                             - logger->metaObject()->methodOffset());
    Scenario::report(QStringLiteral("properties"), logger->metaObject()->propertyCount()
                             - logger->metaObject()->propertyOffset());
    // Weak references work: the singleton tracks its QObject.
    QWeakPointer<OrvLog4j> weak = g_instance;
    Scenario::report(QStringLiteral("weak"), weak.toStrongRef().data() == logger);
}

class TestLog : public QObject
{
    Q_OBJECT

private slots:
    void addLogBeforeInitialisation();
    void firstConfigurationStays();
    void missingPropertiesFile();
    void addLogDoesNothing();
    void metaObject();
};

void TestLog::addLogBeforeInitialisation()
{
    LogFolder folder;
    QVERIFY(folder.isValid());
    Scenario::Run run(withConfig(folder.properties(QStringLiteral("out"))));
    COMMONTOOLS_RUN_SCENARIO(run, "addLogWithoutSingleton");
    QCOMPARE(run.value("singleton"), QStringLiteral("false"));
    QCOMPARE(TestFiles::fileText(folder.log(QStringLiteral("out"))), QStringLiteral("marker\n"));
}

void TestLog::firstConfigurationStays()
{
    LogFolder folder;
    QVERIFY(folder.isValid());
    Scenario::Options options = withConfig(folder.properties(QStringLiteral("first")));
    options.environment.insert(QStringLiteral("CTT_SECOND"), folder.properties(QStringLiteral("second")));
    Scenario::Run run(options);
    COMMONTOOLS_RUN_SCENARIO(run, "firstConfigurationStays");
    QCOMPARE(run.value("nullBefore"), QStringLiteral("true"));
    QCOMPARE(run.value("nullAfter"), QStringLiteral("false"));
    QCOMPARE(run.value("dataPath"), run.optDir() + QStringLiteral("/bin/Temp"));
    QCOMPARE(run.value("userDataPath"), run.optDir() + QStringLiteral("/bin/Temp"));
    QCOMPARE(run.value("sameInstance"), QStringLiteral("true"));

    QCOMPARE(TestFiles::fileText(folder.log(QStringLiteral("first"))), QStringLiteral("after the second call\n"));
    QVERIFY(!QFileInfo::exists(folder.log(QStringLiteral("second"))));
}

void TestLog::missingPropertiesFile()
{
    Scenario::Run run(withConfig(QStringLiteral("/nonexistent/ctt.properties")));
    QVERIFY(!QFileInfo::exists(run.optDir()));
    COMMONTOOLS_RUN_SCENARIO(run, "missingPropertiesFile");
    QCOMPARE(run.value("instance"), QStringLiteral("true"));
    QCOMPARE(run.value("userDataExists"), QStringLiteral("true"));
}

void TestLog::addLogDoesNothing()
{
    LogFolder folder;
    QVERIFY(folder.isValid());
    Scenario::Run run(withConfig(folder.properties(QStringLiteral("out"))));
    COMMONTOOLS_RUN_SCENARIO(run, "addLogDoesNothing");
    QCOMPARE(TestFiles::fileText(folder.log(QStringLiteral("out"))), QStringLiteral("before\nafter\n"));
}

void TestLog::metaObject()
{
    Scenario::Run run(withConfig(QStringLiteral("/nonexistent/ctt.properties")));
    COMMONTOOLS_RUN_SCENARIO(run, "metaObject");
    QCOMPARE(run.value("className"), QStringLiteral("OrvLog4j"));
    QCOMPARE(run.value("superClass"), QStringLiteral("QObject"));
    QCOMPARE(run.value("castOwn"), QStringLiteral("true"));
    QCOMPARE(run.value("castBase"), QStringLiteral("true"));
    QCOMPARE(run.value("castNull"), QStringLiteral("true"));
    QCOMPARE(run.value("castOther"), QStringLiteral("true"));
    QCOMPARE(run.value("qobjectCast"), QStringLiteral("true"));
    QCOMPARE(run.value("parent"), QStringLiteral("true"));
    QCOMPARE(run.value("methods"), QStringLiteral("0"));
    QCOMPARE(run.value("properties"), QStringLiteral("0"));
    QCOMPARE(run.value("weak"), QStringLiteral("true"));
}

COMMONTOOLS_SCENARIO_MAIN(TestLog)
#include "tst_log.moc"
