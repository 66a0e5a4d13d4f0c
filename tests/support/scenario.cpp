#include "scenario.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QUrl>

#include <cstdio>
#include <pwd.h>
#include <unistd.h>

namespace Scenario {

namespace {

const char kScenarioVariable[] = "COMMONTOOLS_SCENARIO";

QMap<QString, ScenarioFunction>& registry()
{
    static QMap<QString, ScenarioFunction> scenarios;
    return scenarios;
}

// Only a test's own folders are ever removed.
bool isRemovableTestPath(const QString& path)
{
    const QString clean = QDir::cleanPath(path);
    return clean.startsWith(QLatin1String("/opt/ctt-")) && !clean.mid(5).contains(QLatin1Char('/'));
}

void writeIni(const QString& path, const QList<QPair<QString, QString>>& entries, bool base64)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSettings ini(path, QSettings::IniFormat);
    for (const auto& entry : entries) {
        if (base64)
            ini.setValue(entry.first, QString::fromLatin1(entry.second.toUtf8().toBase64()));
        else
            ini.setValue(entry.first, entry.second);
    }
    ini.sync();
}

} // namespace

bool registerScenario(const char* name, ScenarioFunction function)
{
    registry().insert(QLatin1String(name), function);
    return true;
}

void report(const QString& key, const QVariant& value)
{
    // The leading newline puts the report on a line of its own even after
    // output that did not end its line.
    const QByteArray line = "\n@" + key.toUtf8() + '=' + QUrl::toPercentEncoding(value.toString()) + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fflush(stdout);
}

QString uniqueAppName()
{
    static int counter = 0;
    return QStringLiteral("ctt-%1-%2-%3")
            .arg(QCoreApplication::applicationName())
            .arg(QCoreApplication::applicationPid())
            .arg(++counter);
}

void removeTestOptDir(const QString& appName)
{
    const QString path = QStringLiteral("/opt/") + appName;
    if (!appName.isEmpty() && isRemovableTestPath(path))
        QDir(path).removeRecursively();
}

RemoveIfNew::RemoveIfNew(const QString& path)
    : m_path(path)
    , m_existed(QFileInfo::exists(path))
{
}

RemoveIfNew::~RemoveIfNew()
{
    // Absolute paths below a top-level folder only: never "", "/" or the
    // working directory.
    const QString clean = QDir::cleanPath(m_path);
    if (m_existed || !QDir::isAbsolutePath(clean) || clean.count(QLatin1Char('/')) < 2)
        return;
    QFileInfo info(clean);
    if (info.isDir() && !info.isSymLink())
        QDir(clean).removeRecursively();
    else if (info.exists() || info.isSymLink())
        QFile::remove(clean);
}

Run::Run(const Options& options)
    : m_options(options)
    , m_appName(uniqueAppName())
{
    QFile::copy(QCoreApplication::applicationFilePath(),
                appDir() + QLatin1Char('/') + QFileInfo(QCoreApplication::applicationFilePath()).fileName());
    using Entries = QList<QPair<QString, QString>>;
    const Entries name{{QStringLiteral("APPName"), m_appName}};
    switch (m_options.nameFrom) {
    case NameSource::AppIni:
        writeIni(appIniPath(), name + m_options.appIniEntries, false);
        if (!m_options.commonToolsIniEntries.isEmpty())
            writeIni(commonToolsIniPath(), m_options.commonToolsIniEntries, true);
        break;
    case NameSource::CommonToolsIni:
        writeIni(commonToolsIniPath(), name + m_options.commonToolsIniEntries, true);
        break;
    case NameSource::None:
        m_appName.clear();
        if (!m_options.appIniEntries.isEmpty())
            writeIni(appIniPath(), m_options.appIniEntries, false);
        if (!m_options.commonToolsIniEntries.isEmpty())
            writeIni(commonToolsIniPath(), m_options.commonToolsIniEntries, true);
        break;
    }
}

Run::~Run()
{
    removeTestOptDir(m_appName);
}

QString Run::appDir() const
{
    return m_dir.path();
}

QString Run::appIniPath() const
{
    return appDir() + QStringLiteral("/readonlyCfg/app.ini");
}

QString Run::commonToolsIniPath() const
{
    return appDir() + QStringLiteral("/readonlyCfg/CommonTools.ini");
}

QString Run::optDir() const
{
    return QStringLiteral("/opt/") + m_appName;
}

QString Run::customConfigPath() const
{
    return optDir() + QStringLiteral("/bin/Cfg/CustomConfig.ini");
}

bool Run::writeCustomConfig(const QStringList& lines) const
{
    QByteArray text;
    for (const QString& line : lines)
        text += line.toUtf8() + '\n';
    return !m_appName.isEmpty() && TestFiles::writeFile(customConfigPath(), text);
}

bool Run::exec(const char* scenario, const QMap<QString, QString>& environment)
{
    m_output.clear();
    m_values.clear();
    if (!m_dir.isValid()) {
        m_output = QStringLiteral("no temporary folder");
        return false;
    }

    const TestProcess::Result result = TestProcess::run(childProgram(), childOptions(scenario, environment), 300000);
    m_output = QString::fromUtf8(result.out);
    if (!result.started)
        m_output = QStringLiteral("the child could not be started");
    else if (result.timedOut)
        m_output += QStringLiteral("\n(killed after 300 s)");

    for (const QString& line : m_output.split(QLatin1Char('\n'))) {
        if (!line.startsWith(QLatin1Char('@')))
            continue;
        const int equals = line.indexOf(QLatin1Char('='));
        if (equals < 0)
            continue;
        m_values[line.mid(1, equals - 1)].append(QUrl::fromPercentEncoding(line.mid(equals + 1).toUtf8()));
    }
    return result.succeeded();
}

QString Run::childProgram() const
{
    return appDir() + QLatin1Char('/') + QFileInfo(QCoreApplication::applicationFilePath()).fileName();
}

TestProcess::Options Run::childOptions(const char* scenario, const QMap<QString, QString>& environment) const
{
    TestProcess::Options options;
    options.setEnvironment = m_options.environment;
    for (auto it = environment.cbegin(); it != environment.cend(); ++it)
        options.setEnvironment.insert(it.key(), it.value());
    options.setEnvironment.insert(QLatin1String(kScenarioVariable), QLatin1String(scenario));
    options.unsetEnvironment = m_options.unsetEnvironment;
    options.workingDirectory = appDir();
    options.mergeOutput = true;
    return options;
}

QString Run::value(const QString& key) const
{
    const QStringList list = m_values.value(key);
    return list.isEmpty() ? QString() : list.last();
}

bool Run::hasValue(const QString& key) const
{
    return m_values.contains(key);
}

QStringList Run::values(const QString& key) const
{
    return m_values.value(key);
}

RunAsNobody::RunAsNobody()
{
    const passwd* nobody = getpwnam("nobody");
    m_dropped = nobody && setresuid(nobody->pw_uid, nobody->pw_uid, 0) == 0;
}

RunAsNobody::~RunAsNobody()
{
    restore();
}

bool RunAsNobody::restore()
{
    if (!m_dropped)
        return true;
    m_dropped = setresuid(0, 0, 0) != 0;
    return !m_dropped;
}

bool isChild()
{
    return qEnvironmentVariableIsSet(kScenarioVariable);
}

int runChild()
{
    const QString name = qEnvironmentVariable(kScenarioVariable);
    const ScenarioFunction function = registry().value(name);
    if (!function) {
        std::fprintf(stderr, "no scenario named %s\n", qPrintable(name));
        return 3;
    }
    function();
    std::fflush(stdout);
    return 0;
}

} // namespace Scenario
