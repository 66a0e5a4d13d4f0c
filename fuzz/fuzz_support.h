// Shared by the fuzz targets.
#ifndef COMMONTOOLS_FUZZ_SUPPORT_H
#define COMMONTOOLS_FUZZ_SUPPORT_H

#include <QByteArray>
#include <QFile>
#include <QString>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace Fuzz {

// Stops the run with a message: libFuzzer keeps the input as a finding.
[[noreturn]] inline void fail(const char* what)
{
    std::fprintf(stderr, "invariant broken: %s\n", what);
    std::abort();
}

inline void require(bool condition, const char* what)
{
    if (!condition)
        fail(what);
}

namespace detail {

constexpr char kScratchPrefix[] = "/tmp/commontools-fuzz-";

// The path lives in a plain array: it has no destructor, so it is still
// there when the exit handler runs, whatever order the statics die in.
inline char* scratchPath()
{
    static char path[128] = {};
    return path;
}

inline void removeScratch()
{
    const char* path = scratchPath();
    // Only a folder this process made, never anything else.
    if (std::strncmp(path, kScratchPrefix, sizeof kScratchPrefix - 1) != 0 || std::strlen(path) <= sizeof kScratchPrefix)
        return;
    std::error_code error;
    std::filesystem::remove_all(path, error);
}

} // namespace detail

// A folder of this process under /tmp for the targets that work on files;
// removed when the process exits.
inline QString scratchFolder()
{
    static const QString folder = [] {
        char* path = detail::scratchPath();
        std::snprintf(path, 128, "%s%ld", detail::kScratchPrefix, long(getpid()));
        std::error_code error;
        std::filesystem::create_directories(path, error);
        std::atexit(detail::removeScratch);
        return QString::fromLocal8Bit(path);
    }();
    return folder;
}

inline bool writeFile(const QString& path, const QByteArray& data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(data) == data.size();
}

inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline quint32 u32At(const QByteArray& data, qint64 offset)
{
    quint32 value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | (offset + i < data.size() ? quint8(data.at(int(offset + i))) : 0u);
    return value;
}

} // namespace Fuzz

#endif
