// The job of the power-cut runs (scripts/board ARCH powercut): on an
// emulated board whose power is cut at random moments, several processes
// write the settings and one converts a point file back and forth, each
// logging what the library reported as done; after every reboot, "check"
// compares the files with those logs.
//
// Usage: commontools-powercut STATE setup|settings WRITER|points|check
//
// STATE is a folder that survives the cuts (the host's share): app.ini,
// which names the application ("ctb-powercut", whose /opt folder is the
// disk under test), the logs, and what the user's own files hold. A log
// line is written after the call it reports returned, so every line is a
// write the library acknowledged; the last one before a cut may be
// missing, so the write after the last line may or may not have happened.
//
// What "check" requires:
// - CustomConfig.ini parses; every key holds its last acknowledged value,
//   or the value being written when the power went;
// - the point file and its text are byte for byte an acknowledged version
//   or the one being written;
// - the user's files beside them are unchanged;
// - besides those, only the library's own files are there (its lock and
//   staging files), and after the next write of each file only its lock.

#include <OrvFunction.h>
#include <OrvPointFile.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSettings>
#include <QVector>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

using namespace OrvInterface;

namespace {

constexpr int kKeysPerWriter = 4;
constexpr int kRecords = 1024;
const char kApplication[] = "ctb-powercut";

// The files a user keeps beside the settings and the point file, some with
// names like the library's own.
const QList<QPair<const char*, const char*>> kUserFiles = {
        {"cfg", "CustomConfig.ini.bak"},
        {"cfg", "CustomConfig.ini~"},
        {"cfg", ".CustomConfig.ini.swp"},
        {"cfg", "notes.txt"},
        {"points", "pts.mfa.bak"},
        {"points", "pts.txt~"},
        {"points", ".pts.txt.swp"},
        {"points", "readme.txt"},
};

// The point file's text, as the user edits it: written by the job itself
// under this name, then renamed over pts.txt.
const char kEditName[] = "pts.txt.edit";

QString g_state;
int g_failures = 0;

void failure(const QString& what)
{
    ++g_failures;
    std::printf("FAIL: %s\n", qPrintable(what));
    std::fflush(stdout);
}

QString statePath(const QString& name)
{
    return g_state + QLatin1Char('/') + name;
}

QString settingsFolder()
{
    return programDataPath();
}

QString pointsFolder()
{
    return QStringLiteral("/opt/%1/points").arg(QLatin1String(kApplication));
}

QString folderOf(const char* which)
{
    return qstrcmp(which, "cfg") == 0 ? settingsFolder() : pointsFolder();
}

QString mfaPath()
{
    return pointsFolder() + QStringLiteral("/pts.mfa");
}

QString txtPath()
{
    return pointsFolder() + QStringLiteral("/pts.txt");
}

// Appends a line to a log of the share: on the host as soon as write()
// returns.
void logLine(const QString& log, const QString& line)
{
    const QByteArray bytes = (line + QLatin1Char('\n')).toUtf8();
    const int fd = ::open(QFile::encodeName(statePath(log)).constData(), O_WRONLY | O_APPEND | O_CREAT, 0644);
    if (fd < 0 || ::write(fd, bytes.constData(), size_t(bytes.size())) != bytes.size()) {
        std::perror("commontools-powercut: log");
        std::exit(3);
    }
    ::close(fd);
}

QStringList logLines(const QString& log)
{
    QFile file(statePath(log));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    // A line cut short by the power is not one.
    lines.removeLast();
    return lines;
}

QByteArray readAll(const QString& path, bool* exists = nullptr)
{
    QFile file(path);
    const bool opened = file.open(QIODevice::ReadOnly);
    if (exists)
        *exists = opened;
    return opened ? file.readAll() : QByteArray();
}

QByteArray sha256(const QByteArray& data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex();
}

// Writes a file as a careful user does: a new file, synced, renamed over
// the old one, and the folder synced.
bool writeDurably(const QString& path, const QByteArray& data)
{
    const QString staging = QFileInfo(path).absolutePath() + QLatin1Char('/') + QLatin1String(kEditName);
    const QByteArray name = QFile::encodeName(staging);
    const int fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0)
        return false;
    bool ok = ::write(fd, data.constData(), size_t(data.size())) == data.size() && ::fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    ok = ok && ::rename(name.constData(), QFile::encodeName(path).constData()) == 0;
    const int folder = ::open(QFile::encodeName(QFileInfo(path).absolutePath()).constData(), O_RDONLY | O_DIRECTORY);
    ok = ok && folder >= 0 && ::fsync(folder) == 0;
    if (folder >= 0)
        ::close(folder);
    return ok;
}

// ---- The point file's versions ----------------------------------------------

QVector<quint32> records(int generation)
{
    QVector<quint32> values(kRecords);
    for (int i = 0; i < kRecords; ++i)
        values[i] = quint32(generation) * 2654435761u ^ quint32(i) * 40503u;
    return values;
}

void putU32(QByteArray& buffer, int offset, quint32 value)
{
    for (int i = 0; i < 4; ++i)
        buffer[offset + i] = char((value >> (8 * i)) & 0xFFu);
}

// Version g of the point file: 4-byte little-endian records after a
// 256-byte header, the checksum at offset 4 over bytes 16 to the end.
QByteArray mfaVersion(int generation)
{
    QByteArray file(256, '\0');
    putU32(file, 0, 0x5A5AAA55u);
    putU32(file, 8, 4);
    putU32(file, 32, 256);
    const QByteArray descriptor("Unit:4 Valid:3 Endian:L");
    file.replace(120, descriptor.size(), descriptor);
    for (const quint32 value : records(generation)) {
        const int offset = file.size();
        file.resize(offset + 4);
        putU32(file, offset, value);
    }
    putU32(file, 36, quint32(file.size() - 16));
    putU32(file, 4, crc32(reinterpret_cast<const unsigned char*>(file.constData()) + 16, file.size() - 16));
    return file;
}

// Its text: one record per line.
QByteArray txtVersion(int generation)
{
    QByteArray text;
    for (const quint32 value : records(generation))
        text += QByteArray::number(value) + '\n';
    return text;
}

struct PointsLog
{
    QString lastEvent;   // "edit", "mfa" or "txt"; empty before the first
    int lastGeneration = 0;
    int mfa = 0;         // the last acknowledged version of each file
    int txt = 0;
    int conversions = 0; // acknowledged by the library
};

PointsLog readPointsLog()
{
    PointsLog log;
    for (const QString& line : logLines(QStringLiteral("points.log"))) {
        const QStringList words = line.split(QLatin1Char(' '));
        if (words.size() != 2)
            continue;
        log.lastEvent = words.at(0);
        log.lastGeneration = words.at(1).toInt();
        if (log.lastEvent == QLatin1String("mfa"))
            log.mfa = log.lastGeneration;
        else
            log.txt = log.lastGeneration;  // the user's edit and the export
        if (log.lastEvent != QLatin1String("edit"))
            ++log.conversions;
    }
    return log;
}

// ---- The settings' writers --------------------------------------------------

QString writerKey(int writer, qint64 counter)
{
    return QStringLiteral("writer%1/key%2").arg(writer).arg(counter % kKeysPerWriter);
}

QString writerLog(int writer)
{
    return QStringLiteral("settings-%1.log").arg(writer);
}

qint64 lastCounter(int writer)
{
    const QStringList lines = logLines(writerLog(writer));
    return lines.isEmpty() ? 0 : lines.constLast().toLongLong();
}

QList<int> writers()
{
    QList<int> found;
    const QStringList logs = QDir(g_state).entryList({QStringLiteral("settings-*.log")}, QDir::Files);
    for (const QString& name : logs)
        found << name.mid(9, name.size() - 13).toInt();
    return found;
}

// Set when the library warns that a write was not made (another writer
// held the lock for too long, say): only what it made is acknowledged.
bool g_refused = false;

void noteRefusals(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtWarningMsg && message.contains(QLatin1String(" was not changed: ")))
        g_refused = true;
    std::fprintf(stderr, "%s\n", qPrintable(message));
}

int runSettingsWriter(int writer)
{
    qInstallMessageHandler(noteRefusals);
    for (qint64 counter = lastCounter(writer) + 1;; ++counter) {
        // As a careful client does: a write the library refused is made again.
        do {
            g_refused = false;
            setCustomConfig(writerKey(writer, counter), QString::number(counter));
            if (g_refused)
                logLine(QStringLiteral("refused-%1.log").arg(writer), QString::number(counter));
        } while (g_refused);
        logLine(writerLog(writer), QString::number(counter));
    }
}

// ---- The point file's converter ---------------------------------------------

bool convert(const char* direction, int generation)
{
    const bool toText = qstrcmp(direction, "txt") == 0;
    if (!(toText ? ChangeMfaToTxt(mfaPath()) : ChangeTxtToMfa(mfaPath()))) {
        failure(QStringLiteral("%1 of version %2 failed").arg(toText ? QLatin1String("ChangeMfaToTxt")
                                                                    : QLatin1String("ChangeTxtToMfa"))
                        .arg(generation));
        return false;
    }
    logLine(QStringLiteral("points.log"), QStringLiteral("%1 %2").arg(QLatin1String(direction)).arg(generation));
    return true;
}

int runConverter()
{
    const PointsLog log = readPointsLog();
    int generation = log.lastGeneration;
    for (;;) {
        ++generation;
        if (!writeDurably(txtPath(), txtVersion(generation))) {
            failure(QStringLiteral("cannot write %1").arg(txtPath()));
            return 1;
        }
        logLine(QStringLiteral("points.log"), QStringLiteral("edit %1").arg(generation));
        if (!convert("mfa", generation) || !convert("txt", generation))
            return 1;
    }
}

// ---- Set-up -----------------------------------------------------------------

int setUp()
{
    QDir().mkpath(pointsFolder());
    // The settings file exists before the writers start, with the user's
    // own settings in it.
    const QList<QPair<QString, QString>> userSettings = {
            {QStringLiteral("Theme"), QStringLiteral("dark")},
            {QStringLiteral("Camera/Exposure"), QStringLiteral("1500")},
            {QStringLiteral("Camera/Name"), QStringLiteral("line 3 left")},
    };
    for (const auto& setting : userSettings) {
        setCustomConfig(setting.first, setting.second);
        logLine(QStringLiteral("user-settings.log"), setting.first + QLatin1Char('=') + setting.second);
    }
    for (const auto& file : kUserFiles) {
        const QString path = folderOf(file.first) + QLatin1Char('/') + QLatin1String(file.second);
        const QByteArray content = "kept by the user: " + QByteArray(file.second) + '\n';
        QFile out(path);
        if (!out.open(QIODevice::WriteOnly) || out.write(content) != content.size() || !out.flush()
            || ::fsync(out.handle()) != 0) {
            failure(QStringLiteral("cannot write %1").arg(path));
            return 1;
        }
        logLine(QStringLiteral("user-files.log"),
                QStringLiteral("%1 %2 %3").arg(QLatin1String(file.first), QLatin1String(file.second),
                                               QString::fromLatin1(sha256(content))));
    }
    // Version 0 of the point file, and its text written by the library:
    // the text must be what the checks expect of every version.
    QSaveFile mfa(mfaPath());
    if (!mfa.open(QIODevice::WriteOnly) || mfa.write(mfaVersion(0)) != mfaVersion(0).size() || !mfa.commit()) {
        failure(QStringLiteral("cannot write %1").arg(mfaPath()));
        return 1;
    }
    ::sync();
    logLine(QStringLiteral("points.log"), QStringLiteral("mfa 0"));
    if (!convert("txt", 0))
        return 1;
    if (readAll(txtPath()) != txtVersion(0)) {
        failure(QStringLiteral("the text of the point file is not the expected one"));
        return 1;
    }
    ::sync();
    std::printf("set up: %d user settings, %d user files, point file of %d records\n", int(userSettings.size()),
                int(kUserFiles.size()), kRecords);
    return g_failures == 0 ? 0 : 1;
}

// ---- The checks -------------------------------------------------------------

int checkSettings()
{
    const QString path = settingsFolder() + QStringLiteral("/CustomConfig.ini");
    bool exists = false;
    readAll(path, &exists);
    if (!exists) {
        failure(QStringLiteral("%1 is gone").arg(path));
        return 0;
    }
    QSettings settings(path, QSettings::IniFormat);
    if (settings.status() != QSettings::NoError)
        failure(QStringLiteral("%1 does not parse").arg(path));

    int acknowledged = 0;
    QMap<QString, QString> user;
    for (const QString& line : logLines(QStringLiteral("user-settings.log"))) {
        const int equals = line.indexOf(QLatin1Char('='));
        user.insert(line.left(equals), line.mid(equals + 1));
        ++acknowledged;
    }
    for (auto it = user.cbegin(); it != user.cend(); ++it) {
        if (getCustomConfig(it.key()) != it.value())
            failure(QStringLiteral("setting %1 is '%2', not its acknowledged '%3'")
                            .arg(it.key(), getCustomConfig(it.key()), it.value()));
    }

    for (const int writer : writers()) {
        const qint64 last = lastCounter(writer);
        acknowledged += int(logLines(writerLog(writer)).size());
        for (int key = 0; key < kKeysPerWriter; ++key) {
            // The last acknowledged value of the key, and the value the
            // writer was writing to it, if it was this key.
            qint64 acknowledgedValue = last - ((last - key) % kKeysPerWriter + kKeysPerWriter) % kKeysPerWriter;
            QStringList allowed;
            if (acknowledgedValue >= 1)
                allowed << QString::number(acknowledgedValue);
            else
                allowed << QString();
            if ((last + 1) % kKeysPerWriter == key)
                allowed << QString::number(last + 1);
            const QString name = writerKey(writer, key);
            const QString value = getCustomConfig(name);
            if (!allowed.contains(value))
                failure(QStringLiteral("setting %1 is '%2'; acknowledged '%3'").arg(name, value, allowed.constFirst()));
        }
    }
    return acknowledged;
}

// The version of the point file or its text that the data is, or -1.
int versionOf(const QByteArray& data, bool text, int low, int high)
{
    for (int generation = low; generation <= high; ++generation) {
        if (data == (text ? txtVersion(generation) : mfaVersion(generation)))
            return generation;
    }
    return -1;
}

// What a file that is not an allowed version is: an older version, or
// something else.
QString describeVersion(const QByteArray& data, bool exists, bool text, int newest)
{
    if (!exists)
        return QStringLiteral("missing");
    const int version = versionOf(data, text, 0, newest);
    return version >= 0 ? QStringLiteral("version %1").arg(version)
                        : QStringLiteral("%1 bytes of no version").arg(data.size());
}

int checkPoints()
{
    const PointsLog log = readPointsLog();
    // After the last line, the write in flight: the user's edit of the next
    // version, or the conversion that follows the last line.
    const bool editing = log.lastEvent == QLatin1String("txt");
    const int mfaInFlight = log.lastEvent == QLatin1String("edit") ? log.lastGeneration : log.mfa;
    const int txtInFlight = editing ? log.lastGeneration + 1 : log.txt;

    bool exists = false;
    const QByteArray mfa = readAll(mfaPath(), &exists);
    const int mfaVersionFound = exists ? versionOf(mfa, false, log.mfa, mfaInFlight) : -1;
    if (mfaVersionFound < 0)
        failure(QStringLiteral("pts.mfa is %1; acknowledged version %2, being written %3")
                        .arg(describeVersion(mfa, exists, false, mfaInFlight))
                        .arg(log.mfa)
                        .arg(mfaInFlight));
    const QByteArray txt = readAll(txtPath(), &exists);
    const int txtVersionFound = exists ? versionOf(txt, true, log.txt, txtInFlight) : -1;
    if (txtVersionFound < 0)
        failure(QStringLiteral("pts.txt is %1; acknowledged version %2, being written %3")
                        .arg(describeVersion(txt, exists, true, txtInFlight))
                        .arg(log.txt)
                        .arg(txtInFlight));
    return log.conversions;
}

int checkUserFiles()
{
    int checked = 0;
    for (const QString& line : logLines(QStringLiteral("user-files.log"))) {
        const QStringList words = line.split(QLatin1Char(' '));
        const QString path = folderOf(qPrintable(words.at(0))) + QLatin1Char('/') + words.at(1);
        if (sha256(readAll(path)) != words.at(2).toLatin1())
            failure(QStringLiteral("the user's %1 changed").arg(path));
        ++checked;
    }
    return checked;
}

// The names in a folder that are neither the user's nor allowed.
QStringList strangers(const char* which, const QStringList& known, const QRegularExpression& allowed)
{
    QStringList found;
    const QStringList names = QDir(folderOf(which)).entryList(QDir::AllEntries | QDir::Hidden | QDir::System
                                                              | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        bool users = false;
        for (const auto& file : kUserFiles)
            users |= qstrcmp(file.first, which) == 0 && name == QLatin1String(file.second);
        if (!users && !known.contains(name) && !allowed.match(name).hasMatch())
            found << name;
    }
    return found;
}

// What the library may leave in each folder: before the next write, its
// lock and staging files; after it, only the lock.
void checkLeftovers(bool afterNextWrite)
{
    const QRegularExpression settingsFiles(afterNextWrite
                                                   ? QStringLiteral("\\A\\.commontools-CustomConfig\\.ini\\.lock\\z")
                                                   : QStringLiteral("\\A\\.commontools-CustomConfig\\.ini\\."));
    const QRegularExpression pointFiles(afterNextWrite ? QStringLiteral("(?!)")
                                                       : QStringLiteral("\\A\\.commontools-pts\\.(mfa|txt)\\.[A-Za-z0-9]{6}\\z"));
    const QString when = afterNextWrite ? QStringLiteral("after the next write") : QStringLiteral("after the cut");
    const QStringList cfg = strangers("cfg", {QStringLiteral("CustomConfig.ini")}, settingsFiles);
    if (!cfg.isEmpty())
        failure(QStringLiteral("%1 in %2: %3").arg(when, settingsFolder(), cfg.join(QStringLiteral(", "))));
    const QStringList points = strangers("points", {QStringLiteral("pts.mfa"), QStringLiteral("pts.txt")}, pointFiles);
    if (!points.isEmpty())
        failure(QStringLiteral("%1 in %2: %3").arg(when, pointsFolder(), points.join(QStringLiteral(", "))));
}

int check()
{
    // The user's own staging file is the user's to remove.
    QFile::remove(pointsFolder() + QLatin1Char('/') + QLatin1String(kEditName));

    const int settings = checkSettings();
    const int points = checkPoints();
    const int userFiles = checkUserFiles();
    checkLeftovers(false);

    // The next write of each file: a setting, and the point file's
    // conversions in both directions from the text as it is.
    const int boot = logLines(QStringLiteral("checks.log")).size() + 1;
    setCustomConfig(QStringLiteral("Check/Boot"), QString::number(boot));
    logLine(QStringLiteral("user-settings.log"), QStringLiteral("Check/Boot=%1").arg(boot));
    const PointsLog log = readPointsLog();
    const int text = versionOf(readAll(txtPath()), true, log.txt, log.lastGeneration + 1);
    if (text >= 0 && convert("mfa", text) && convert("txt", text)) {
        if (readAll(mfaPath()) != mfaVersion(text))
            failure(QStringLiteral("pts.mfa is not version %1 after its conversion").arg(text));
    }
    checkLeftovers(true);

    logLine(QStringLiteral("checks.log"), QStringLiteral("%1 %2 %3").arg(boot).arg(settings).arg(points));
    int refused = 0;
    for (const QString& name : QDir(g_state).entryList({QStringLiteral("refused-*.log")}, QDir::Files))
        refused += logLines(name).size();
    std::printf("check %d: %d acknowledged settings writes, %d point file conversions, %d user files: %s"
                " (%d writes refused for the lock and made again)\n",
                boot, settings, points, userFiles, g_failures == 0 ? "all kept" : "FAILED", refused);
    return g_failures == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 3) {
        std::fprintf(stderr, "usage: commontools-powercut STATE setup|settings WRITER|points|check\n");
        return 2;
    }
    g_state = arguments.at(1);
    const QString action = arguments.at(2);
    const QString appIni = statePath(QStringLiteral("app.ini"));
    if (action == QLatin1String("setup")) {
        QFile ini(appIni);
        if (!ini.open(QIODevice::WriteOnly) || ini.write(QByteArray("[General]\nAPPName=") + kApplication + '\n') < 0)
            return 1;
    }
    setAppIniFile(appIni);
    if (appName() != QLatin1String(kApplication)) {
        std::fprintf(stderr, "commontools-powercut: %s does not name %s\n", qPrintable(appIni), kApplication);
        return 1;
    }
    if (action == QLatin1String("setup"))
        return setUp();
    if (action == QLatin1String("settings") && arguments.size() == 4)
        return runSettingsWriter(arguments.at(3).toInt());
    if (action == QLatin1String("points"))
        return runConverter();
    if (action == QLatin1String("check"))
        return check();
    std::fprintf(stderr, "usage: commontools-powercut STATE setup|settings WRITER|points|check\n");
    return 2;
}
