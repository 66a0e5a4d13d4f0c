// Preloaded into the tool by its tests: makes the calls named in
// COMMONTOOLS_TEST_MISSING_CALLS ("renameat2", "linkat") fail as a file
// system without them answers, so that the fallbacks the tool takes there
// run on any machine, and appends the name of each call it failed to the
// file COMMONTOOLS_TEST_MISSING_LOG names, for the tests to see that it did.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

namespace {

bool missing(const char* call)
{
    const char* calls = std::getenv("COMMONTOOLS_TEST_MISSING_CALLS");
    if (!calls || !std::strstr(calls, call))
        return false;
    if (const char* log = std::getenv("COMMONTOOLS_TEST_MISSING_LOG")) {
        if (std::FILE* file = std::fopen(log, "a")) {
            std::fprintf(file, "%s\n", call);
            std::fclose(file);
        }
    }
    return true;
}

template <typename Function>
Function real(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) int renameat2(int oldFolder, const char* oldName, int newFolder,
                                                     const char* newName, unsigned int flags)
{
    if (missing("renameat2")) {
        errno = EINVAL; // as NFS answers a rename that must not replace
        return -1;
    }
    using Renameat2 = int (*)(int, const char*, int, const char*, unsigned int);
    const Renameat2 call = real<Renameat2>("renameat2");
    if (!call) {
        errno = ENOSYS;
        return -1;
    }
    return call(oldFolder, oldName, newFolder, newName, flags);
}

__attribute__((visibility("default"))) int linkat(int oldFolder, const char* oldName, int newFolder,
                                                  const char* newName, int flags)
{
    if (missing("linkat")) {
        errno = EPERM; // as a file system without hard links answers
        return -1;
    }
    using Linkat = int (*)(int, const char*, int, const char*, int);
    const Linkat call = real<Linkat>("linkat");
    if (!call) {
        errno = ENOSYS;
        return -1;
    }
    return call(oldFolder, oldName, newFolder, newName, flags);
}

} // extern "C"
