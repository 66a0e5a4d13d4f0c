#!/bin/sh
# Builds the library against a Log4Qt CMake package instead of its own
# declarations, and runs the logging test on that build.
#
# No Log4Qt package is installed on the build machines, so one is made in a
# scratch folder from the installed log4qt 1.x library: its headers declare
# the classes the library calls, as log4qt's own headers do.
# Usage: log4qt-package-test.sh SOURCE_DIR CMAKE CXX GENERATOR LOG4QT_LIBRARY
#
# Cross-compiled (COMMONTOOLS_CROSS_CACHE set), that build uses the same
# toolchain and sysroot, and its test runs under the emulator.
set -eu

source=$1
cmake=$2
cxx=$3
generator=$4
library=$5

scratch=$(mktemp -d /tmp/commontools-log4qt.XXXXXX)
trap 'rm -rf "$scratch"' EXIT
package=$scratch/package
mkdir -p "$package/include/log4qt" "$package/lib/cmake/Log4Qt"

cat >"$package/include/log4qt/level.h" <<'HEADER'
#ifndef LOG4QT_LEVEL_H
#define LOG4QT_LEVEL_H
namespace Log4Qt {
class Level
{
public:
    enum Value { NULL_INT = 0, ALL_INT = 32, TRACE_INT = 64, DEBUG_INT = 96, INFO_INT = 128,
                 WARN_INT = 150, ERROR_INT = 182, FATAL_INT = 214, OFF_INT = 255 };
    Level(Value value = NULL_INT) : mValue(value) {}
    Value toInt() const { return mValue; }
private:
    Value mValue;
};
}
#endif
HEADER

cat >"$package/include/log4qt/logger.h" <<'HEADER'
#ifndef LOG4QT_LOGGER_H
#define LOG4QT_LOGGER_H
#include <QString>
#include "log4qt/level.h"
namespace Log4Qt {
class Logger
{
public:
    static Logger* rootLogger();
    void forcedLog(Level level, const QString& message) const;
private:
    Logger() = delete;
};
}
#endif
HEADER

cat >"$package/include/log4qt/classlogger.h" <<'HEADER'
#ifndef LOG4QT_CLASSLOGGER_H
#define LOG4QT_CLASSLOGGER_H
#include <QAtomicPointer>
class QObject;
namespace Log4Qt {
class Logger;
class ClassLogger
{
public:
    ClassLogger();
    Logger* logger(const QObject* object);
private:
    mutable QAtomicPointer<Logger> mpLogger;
};
}
#endif
HEADER

cat >"$package/include/log4qt/propertyconfigurator.h" <<'HEADER'
#ifndef LOG4QT_PROPERTYCONFIGURATOR_H
#define LOG4QT_PROPERTYCONFIGURATOR_H
#include <QString>
namespace Log4Qt {
class PropertyConfigurator
{
public:
    PropertyConfigurator() = default;
    static bool configure(const QString& configFilename);
};
}
#endif
HEADER

cat >"$package/lib/cmake/Log4Qt/Log4QtConfig.cmake" <<CONFIG
if(NOT TARGET Log4Qt::log4qt)
    add_library(Log4Qt::log4qt SHARED IMPORTED)
    set_target_properties(Log4Qt::log4qt PROPERTIES
        IMPORTED_LOCATION "$library"
        INTERFACE_INCLUDE_DIRECTORIES "$package/include")
endif()
set(Log4Qt_FOUND TRUE)
CONFIG

if [ -n "${COMMONTOOLS_CROSS_CACHE:-}" ]; then
    set -- -C "$COMMONTOOLS_CROSS_CACHE"
else
    set -- -DCMAKE_CXX_COMPILER="$cxx"
fi
"$cmake" "$@" -S "$source" -B "$scratch/build" -G "$generator" \
    -DLog4Qt_DIR="$package/lib/cmake/Log4Qt" -DCOMMONTOOLS_BUILD_TOOLS=OFF -DCOMMONTOOLS_BUILD_BENCH=OFF \
    >"$scratch/configure.log"
grep -q "using the Log4Qt package" "$scratch/configure.log" || {
    cat "$scratch/configure.log"
    echo "log4qt-package-test: the Log4Qt package was not used" >&2
    exit 1
}
"$cmake" --build "$scratch/build" --target tst_log --parallel "$(nproc)" >/dev/null
cd "$scratch/build" && ctest --output-on-failure -R '^log$'
