/*
 * The few log4qt classes the library calls.
 *
 * With a Log4Qt package, its own headers are used. The log4qt 1.x build
 * shipped as libukui-log4qt exports every Log4Qt symbol but installs no
 * headers: for it, the classes are declared here, member for member where
 * the layout matters (ClassLogger is held by value, Level passed by value),
 * and only with the members the library and its tests call.
 *
 * Either way the configurator gains setProgramDataPath(), which the library
 * calls before configure() with the application's user-data folder. Code
 * reaches both through CommonToolsLog::Log4Qt.
 */
#ifndef COMMONTOOLS_LOG4QT_P_H
#define COMMONTOOLS_LOG4QT_P_H

#include <QString>

#if COMMONTOOLS_LOG4QT_PACKAGE

#include <log4qt/classlogger.h>
#include <log4qt/level.h>
#include <log4qt/logger.h>
#include <log4qt/propertyconfigurator.h>

namespace CommonToolsLog {
namespace Log4Qt {
using namespace ::Log4Qt;

// A stock configurator has no setProgramDataPath(): it is added by
// extension, under the same name.
class PropertyConfigurator : public ::Log4Qt::PropertyConfigurator
{
public:
    static void setProgramDataPath(const QString& path);
    static QString programDataPath();
};
} // namespace Log4Qt
} // namespace CommonToolsLog

#else

#include <QAtomicPointer>

class QObject;

namespace Log4Qt {

class Level
{
public:
    enum Value {
        NULL_INT = 0,
        ALL_INT = 32,
        TRACE_INT = 64,
        DEBUG_INT = 96,
        INFO_INT = 128,
        WARN_INT = 150,
        ERROR_INT = 182,
        FATAL_INT = 214,
        OFF_INT = 255
    };
    Level(Value value = NULL_INT) : mValue(value) {}
    Value toInt() const { return mValue; }

private:
    Value mValue;
};

class Logger
{
public:
    static Logger* rootLogger();
    void forcedLog(Level level, const QString& message) const;

private:
    Logger() = delete;
};

class ClassLogger
{
public:
    ClassLogger();
    Logger* logger(const QObject* object);

private:
    mutable QAtomicPointer<Logger> mpLogger;
};

class PropertyConfigurator
{
public:
    static bool configure(const QString& configFilename);

    // Not in the shipped library: defined by CommonTools.
    static void setProgramDataPath(const QString& path);
    static QString programDataPath();

private:
    PropertyConfigurator() = delete;
};

} // namespace Log4Qt

namespace CommonToolsLog {
namespace Log4Qt = ::Log4Qt;
}

#endif // COMMONTOOLS_LOG4QT_PACKAGE

#endif // COMMONTOOLS_LOG4QT_P_H
