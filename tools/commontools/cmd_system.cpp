// commontools sysinfo, disk and writable: the machine and its storage.

#include "command.h"

#include <OrvFunction.h>

#include <QStorageInfo>

#include <limits>

namespace Tool {

namespace {

QString systemNameText(int code)
{
    switch (code) {
    case OrvInterface::SystemRaspberryPi:
        return QStringLiteral("%1 (Raspberry Pi)").arg(code);
    case OrvInterface::SystemOdroid:
        return QStringLiteral("%1 (Odroid)").arg(code);
    case OrvInterface::SystemUbuntu:
        return QStringLiteral("%1 (Ubuntu)").arg(code);
    case OrvInterface::SystemCentOS:
        return QStringLiteral("%1 (CentOS)").arg(code);
    case OrvInterface::SystemRedHat:
        return QStringLiteral("%1 (RedHat)").arg(code);
    default:
        return QStringLiteral("%1 (not recognised)").arg(code);
    }
}

void printSystem()
{
    using namespace OrvInterface;
    // operatingSys() (also run by systemName()) prints dashes of its own on
    // standard output: everything is gathered first, then printed.
    const QString os = operatingSys().trimmed();
    const int board = systemName();
    const QString processor = cpu().simplified();
    const QString total = totalMmeory();
    const QString available = availbleMmeory();
    out() << Qt::endl;
    printField(QStringLiteral("Processor"), processor);
    printField(QStringLiteral("Processors"), numOfCpu());
    printField(QStringLiteral("Memory"), total);
    printField(QStringLiteral("Available memory"), available);
    printField(QStringLiteral("Operating system"), os);
    printField(QStringLiteral("Board code"), systemNameText(board));
    printField(QStringLiteral("Byte order"), byteOrder());
}

} // namespace

int runSysinfo(const QStringList& arguments)
{
    QCommandLineParser parser;
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Shows the processor, memory, operating system, board code and byte order."));
    if (code >= 0)
        return code;
    if (!parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("sysinfo takes no arguments"), UsageError);
    printSystem();
    return Success;
}

int runDisk(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("path"), QStringLiteral("A folder, or a file that may not exist yet."));
    parser.addPositionalArgument(QStringLiteral("min_bytes"), QStringLiteral("The space needed (default 0)."), QStringLiteral("[MIN_BYTES]"));
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Tells whether the volume of PATH has fewer than MIN_BYTES available. "
                                                     "Exits with 1 when it is full or cannot be measured."));
    if (code >= 0)
        return code;
    const QStringList texts = parser.positionalArguments();
    if (texts.isEmpty() || texts.size() > 2)
        return fail(QStringLiteral("disk needs PATH [MIN_BYTES]"), UsageError);
    qint64 minBytes = 0;
    if (texts.size() == 2 && !parseInteger(texts.at(1), std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max(), &minBytes))
        return fail(QStringLiteral("'%1' is not a number of bytes").arg(texts.at(1)), UsageError);

    bool valid = false;
    const bool full = OrvInterface::IsDiskFull(texts.at(0), minBytes, &valid);
    if (!valid) {
        out() << texts.at(0) << ": no volume to measure" << Qt::endl;
        return Failure;
    }
    out() << texts.at(0) << ": " << (full ? "full" : "not full") << " for " << minBytes << " bytes" << Qt::endl;
    return full ? Failure : Success;
}

int runWritable(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("path"), QStringLiteral("A folder."));
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Tells whether a file can be created in the folder PATH (a probe "
                                                     "named Permission.Test is created and removed). Exits with 1 when not."));
    if (code >= 0)
        return code;
    if (parser.positionalArguments().size() != 1)
        return fail(QStringLiteral("writable needs one folder"), UsageError);
    const QString path = parser.positionalArguments().first();
    const bool writable = OrvInterface::testDirPermission(path, false);
    out() << path << ": " << (writable ? "writable" : "not writable") << Qt::endl;
    return writable ? Success : Failure;
}

void demoSystem()
{
    printSystem();
    bool valid = false;
    const bool full = OrvInterface::IsDiskFull(QStringLiteral("/tmp"), 1 << 20, &valid);
    printField(QStringLiteral("IsDiskFull(/tmp, 1 MiB)"), yesNo(full) + (valid ? QString() : QStringLiteral(" (not measured)")));
    printField(QStringLiteral("testDirPermission(/tmp)"), yesNo(OrvInterface::testDirPermission(QStringLiteral("/tmp"), false)));
    printField(QStringLiteral("isSupportDir(/)"), yesNo(OrvInterface::isSupportDir(QStringLiteral("/"))));
}

} // namespace Tool
