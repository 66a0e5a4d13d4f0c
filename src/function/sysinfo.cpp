// Facts about the machine: processor, memory, operating system, board,
// byte order and screen. The text queries run shell commands.

#include "shell_p.h"
#include "state_p.h"

#include <QGuiApplication>
#include <QScreen>

#include <cmath>
#include <cstdio>
#include <limits>

#include <sys/sysinfo.h>

namespace OrvInterface {

namespace {

QString runTrimmed(const char* command)
{
    return execQuietly(QLatin1String(command)).trimmed();
}

struct MemoryUnit
{
    const char* name;
    qint64 bytes;
};

// Searched in this order, case-insensitively: "kB" counts as "KB".
const MemoryUnit kMemoryUnits[] = {{"GB", 1LL << 30}, {"MB", 1LL << 20}, {"KB", 1LL << 10}, {"B", 1}};

qint64 unitBytes(const QString& unit)
{
    for (const MemoryUnit& u : kMemoryUnits) {
        if (u.bytes > 1 && unit.contains(QLatin1String(u.name), Qt::CaseInsensitive))
            return u.bytes;
    }
    return 1;
}

qint64 toInt64(double value)
{
    if (!(value > double(std::numeric_limits<qint64>::min())))
        return std::isnan(value) ? 0 : std::numeric_limits<qint64>::min();
    if (value >= double(std::numeric_limits<qint64>::max()))
        return std::numeric_limits<qint64>::max();
    return qint64(value);
}

} // namespace

QString cpu()
{
    return runTrimmed("cat /proc/cpuinfo | grep name | cut -f2 -d: | uniq -c");
}

QString numOfCpu()
{
    return QString::number(get_nprocs_conf());
}

QString totalMmeory()
{
    return runTrimmed("cat /proc/meminfo | grep MemTotal | cut -f2 -d:");
}

QString availbleMmeory()
{
    const QString available = runTrimmed("cat /proc/meminfo | grep MemAvailable | cut -f2 -d:");
    if (!available.isEmpty())
        return available;

    // Kernels without MemAvailable: free memory and four fifths of the
    // buffers and the cache.
    const QString unit = QStringLiteral(" KB");
    const qint64 freeKb = parseMmeory(runTrimmed("cat /proc/meminfo | grep MemFree | cut -f2 -d:"), unit);
    const qint64 buffers = parseMmeory(runTrimmed("cat /proc/meminfo | grep Buffers | cut -f2 -d:"), unit);
    const qint64 cached = parseMmeory(runTrimmed("cat /proc/meminfo | grep Cached | cut -f2 -d:"), unit);
    const double kilobytes = std::fma(double(buffers) + double(cached), 0.8, double(freeKb));
    return QString::number(toInt64(kilobytes)) + QLatin1String(" KB");
}

qint64 parseMmeory(const QString& value, const QString& unit)
{
    const qint64 divisor = unitBytes(unit.isEmpty() ? QStringLiteral("KB") : unit);

    for (const MemoryUnit& source : kMemoryUnits) {
        const int at = value.indexOf(QLatin1String(source.name), 0, Qt::CaseInsensitive);
        if (at < 0)
            continue;
        // The first unit found decides; a unit at the very start has no number.
        if (at < 1)
            return 0;
        const qint64 number = value.left(at).trimmed().toLongLong(nullptr, 10);
        qint64 bytes = 0;
        if (__builtin_mul_overflow(number, source.bytes, &bytes))
            bytes = number < 0 ? std::numeric_limits<qint64>::min() : std::numeric_limits<qint64>::max();
        return bytes / divisor;
    }
    return value.toLongLong(nullptr, 10) / divisor;
}

QString byteOrder()
{
    return QStringLiteral("Little Endian");
}

QString operatingSys()
{
    const QString description = runTrimmed("lsb_release -a | grep Description | cut -f2 -d:");
    if (!description.isEmpty()) {
        std::printf("-------------");
        std::fflush(stdout);
        return description;
    }
    return execQuietly(QStringLiteral("cat /etc/redhat-release"));
}

int systemName()
{
    static int s_SystemName = SystemUnknown;
    static bool bIsFirst = true;
    if (!bIsFirst)
        return s_SystemName;

    const QString uname = execQuietly(QStringLiteral("uname -a"));
    if (uname.contains(QLatin1String("raspberrypi"), Qt::CaseInsensitive))
        s_SystemName = SystemRaspberryPi;
    if (uname.contains(QLatin1String("odroid"), Qt::CaseInsensitive)) {
        s_SystemName = SystemOdroid;
    } else if (uname.contains(QLatin1String("Ubuntu"), Qt::CaseInsensitive)) {
        s_SystemName = SystemUbuntu;
    } else {
        const QString os = operatingSys();
        if (os.contains(QLatin1String("CentOS"), Qt::CaseInsensitive))
            s_SystemName = SystemCentOS;
        else if (os.contains(QLatin1String("RedHat"), Qt::CaseInsensitive))
            s_SystemName = SystemRedHat;
    }
    bIsFirst = false;
    return s_SystemName;
}

QString graphicsChips()
{
    return QString(QLatin1String(""));
}

QString resolution()
{
    // The default screen; without a GUI application there is none.
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()) || !QGuiApplication::primaryScreen())
        return QString();
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    return QStringLiteral("%1*%2").arg(screen.width()).arg(screen.height());
}

bool isPCSleep()
{
    return g_bIsPcSleep;
}

void setIsPCSleep(bool asleep)
{
    g_bIsPcSleep = asleep;
}

int systemType()
{
    static int s_SystemType = 0;
    s_SystemType = 2;
    return s_SystemType;
}

} // namespace OrvInterface
