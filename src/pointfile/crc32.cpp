// The point files' checksum, and the bounded copy.
//
// The register starts at 0 and is not inverted, whereas zlib's and ISA-L's
// gzip CRC invert it on entry and exit: crc32_init_value(c) is ~theirs(~c).
//
// On x86-64 and arm64, ISA-L computes it: it chooses at run time the fastest
// code it has for the processor (carry-less multiplication folding with
// AVX-512, AVX2 or SSE; PMULL or the CRC32 instructions on ARM).
// On 32-bit ARM, ISA-L has only plain C. The ARMv8 cores that most such
// boards have (running a 32-bit system) execute the CRC32 instructions in
// AArch32 state, and the kernel reports them: they are used then, by a
// function compiled for them alone, so that ARMv7 boards still run the
// library. Everywhere else zlib's tables compute it.

#include "crc32_p.h"

#include "OrvPointFile.h"

#include <cstdint>
#include <cstring>

#if COMMONTOOLS_CRC32_ISAL
#include <isa-l/crc.h>
#else
#include <zlib.h>
#endif

#if defined(__arm__) && !COMMONTOOLS_CRC32_ISAL
#include <asm/hwcap.h>
#include <sys/auxv.h>
#define COMMONTOOLS_CRC32_ARMV8 1
#else
#define COMMONTOOLS_CRC32_ARMV8 0
#endif

namespace {

using ContinueFunction = unsigned int (*)(unsigned int crc, const unsigned char* data, size_t length);

#if COMMONTOOLS_CRC32_ISAL

unsigned int isalCrc(unsigned int crc, const unsigned char* data, size_t length)
{
    return ~crc32_gzip_refl(~crc, data, length);
}

#else

unsigned int zlibCrc(unsigned int crc, const unsigned char* data, size_t length)
{
    // zlib takes its length as a 32-bit uInt.
    while (length > 0) {
        const uInt chunk = length > 0x40000000u ? 0x40000000u : uInt(length);
        crc = ~static_cast<unsigned int>(::crc32(~crc & 0xFFFFFFFFu, data, chunk));
        data += chunk;
        length -= chunk;
    }
    return crc;
}

#endif

#if COMMONTOOLS_CRC32_ARMV8

// Only this function uses ARMv8 instructions; it runs only where the kernel
// reports them. The instructions implement the reflected 0xEDB88320
// polynomial without inversion, which is this checksum's register as is.
__attribute__((target("arch=armv8-a+crc+simd"))) unsigned int armv8Crc(unsigned int crc, const unsigned char* data,
                                                                         size_t length)
{
    for (; length > 0 && (reinterpret_cast<uintptr_t>(data) & 3u) != 0; --length)
        crc = __builtin_arm_crc32b(crc, *data++);
    for (; length >= 16; length -= 16, data += 16) {
        uint32_t words[4];
        std::memcpy(words, data, sizeof words);
        crc = __builtin_arm_crc32w(crc, words[0]);
        crc = __builtin_arm_crc32w(crc, words[1]);
        crc = __builtin_arm_crc32w(crc, words[2]);
        crc = __builtin_arm_crc32w(crc, words[3]);
    }
    for (; length >= 4; length -= 4, data += 4) {
        uint32_t word;
        std::memcpy(&word, data, sizeof word);
        crc = __builtin_arm_crc32w(crc, word);
    }
    for (; length > 0; --length)
        crc = __builtin_arm_crc32b(crc, *data++);
    return crc;
}

bool hasArmv8Crc()
{
    return (getauxval(AT_HWCAP2) & HWCAP2_CRC32) != 0;
}

#endif

struct Implementation
{
    ContinueFunction function;
    const char* name;
};

Implementation chooseImplementation()
{
#if COMMONTOOLS_CRC32_ISAL
    return {isalCrc, "isa-l"};
#else
#if COMMONTOOLS_CRC32_ARMV8
    if (hasArmv8Crc())
        return {armv8Crc, "armv8-crc32"};
#endif
    return {zlibCrc, "zlib"};
#endif
}

const Implementation& implementation()
{
    static const Implementation chosen = chooseImplementation();
    return chosen;
}

unsigned int continueCrc(unsigned int crc, const unsigned char* data, int length)
{
    if (length <= 0 || !data)
        return crc;
    return implementation().function(crc, data, size_t(length));
}

} // namespace

namespace PointFile {

const char* crc32ImplementationName()
{
    return implementation().name;
}

} // namespace PointFile

unsigned int crc32(const unsigned char* data, int length)
{
    return continueCrc(0, data, length);
}

unsigned int crc32_init_value(unsigned int crc, const unsigned char* data, int length)
{
    return continueCrc(crc, data, length);
}

void CrossPlatMemcpy_s(void* dst, unsigned int dstSize, const void* src, unsigned int count)
{
    if (count == 0 || !dst)
        return;
    if (!src || count > dstSize) {
        std::memset(dst, 0, dstSize);
        return;
    }
    std::memcpy(dst, src, count);
}
