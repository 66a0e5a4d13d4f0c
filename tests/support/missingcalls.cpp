// Preloaded into the tool by its tests: makes the calls named in
// COMMONTOOLS_TEST_MISSING_CALLS ("renameat2", "linkat") fail as a file
// system without them answers, so that the fallbacks the tool takes there
// run on any machine.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

namespace {

bool missing(const char* call)
{
    const char* calls = std::getenv("COMMONTOOLS_TEST_MISSING_CALLS");
    return calls && std::strstr(calls, call);
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
    return real<Renameat2>("renameat2")(oldFolder, oldName, newFolder, newName, flags);
}

__attribute__((visibility("default"))) int linkat(int oldFolder, const char* oldName, int newFolder,
                                                  const char* newName, int flags)
{
    if (missing("linkat")) {
        errno = EPERM; // as a file system without hard links answers
        return -1;
    }
    using Linkat = int (*)(int, const char*, int, const char*, int);
    return real<Linkat>("linkat")(oldFolder, oldName, newFolder, newName, flags);
}

} // extern "C"
