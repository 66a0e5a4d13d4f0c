// The point files' checksum, and the bounded copy.
//
// The register starts at 0 and is not inverted, whereas zlib's crc32
// inverts on entry and exit: so crc32_init_value(c) is ~zlib(~c). On x86-64
// with carry-less multiplication, blocks of 64 bytes and more are folded
// 128 bits at a time, which is several times faster than zlib's tables.

#include "OrvPointFile.h"

#include <zlib.h>

#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

unsigned int tableCrc(unsigned int crc, const unsigned char* data, size_t length)
{
    // zlib handles the register inverted.
    while (length > 0) {
        const uInt chunk = length > 0x40000000u ? 0x40000000u : uInt(length);
        crc = ~static_cast<unsigned int>(::crc32(~crc & 0xFFFFFFFFu, data, chunk));
        data += chunk;
        length -= chunk;
    }
    return crc;
}

#if defined(__x86_64__)

#define COMMONTOOLS_FOLDING __attribute__((target("pclmul,sse4.1")))

COMMONTOOLS_FOLDING inline __m128i load(const unsigned char* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// x carried 128 bits further by the constants k, with the next block added.
COMMONTOOLS_FOLDING inline __m128i fold(__m128i x, __m128i k, __m128i next)
{
    return _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x11), _mm_clmulepi64_si128(x, k, 0x00)), next);
}

// Folds a whole number of 16-byte blocks, at least four, into the register
// (Gopal et al., "Fast CRC Computation for Generic Polynomials Using
// PCLMULQDQ Instruction", with the bit-reflected constants of 0xEDB88320).
COMMONTOOLS_FOLDING unsigned int foldedCrc(unsigned int crc, const unsigned char* data, size_t length)
{
    alignas(16) static const unsigned long long k1k2[] = {0x0154442bd4ull, 0x01c6e41596ull};
    alignas(16) static const unsigned long long k3k4[] = {0x01751997d0ull, 0x00ccaa009eull};
    alignas(16) static const unsigned long long k5k0[] = {0x0163cd6124ull, 0x0000000000ull};
    alignas(16) static const unsigned long long poly[] = {0x01db710641ull, 0x01f7011641ull};

    __m128i x1 = _mm_xor_si128(load(data), _mm_cvtsi32_si128(int(crc)));
    __m128i x2 = load(data + 16);
    __m128i x3 = load(data + 32);
    __m128i x4 = load(data + 48);
    data += 64;
    length -= 64;

    // Four lanes of 128 bits, 64 bytes per step.
    __m128i k = _mm_load_si128(reinterpret_cast<const __m128i*>(k1k2));
    for (; length >= 64; data += 64, length -= 64) {
        x1 = fold(x1, k, load(data));
        x2 = fold(x2, k, load(data + 16));
        x3 = fold(x3, k, load(data + 32));
        x4 = fold(x4, k, load(data + 48));
    }

    // The four lanes into one, then the remaining 16-byte blocks.
    k = _mm_load_si128(reinterpret_cast<const __m128i*>(k3k4));
    x1 = fold(x1, k, x2);
    x1 = fold(x1, k, x3);
    x1 = fold(x1, k, x4);
    for (; length >= 16; data += 16, length -= 16)
        x1 = fold(x1, k, load(data));

    // 128 bits to 64.
    const __m128i low32 = _mm_setr_epi32(~0, 0, ~0, 0);
    x2 = _mm_clmulepi64_si128(x1, k, 0x10);
    x1 = _mm_xor_si128(_mm_srli_si128(x1, 8), x2);
    k = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(k5k0));
    x2 = _mm_srli_si128(x1, 4);
    x1 = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x1, low32), k, 0x00), x2);

    // Barrett reduction to 32 bits.
    k = _mm_load_si128(reinterpret_cast<const __m128i*>(poly));
    x2 = _mm_clmulepi64_si128(_mm_and_si128(x1, low32), k, 0x10);
    x2 = _mm_clmulepi64_si128(_mm_and_si128(x2, low32), k, 0x00);
    x1 = _mm_xor_si128(x1, x2);
    return static_cast<unsigned int>(_mm_extract_epi32(x1, 1));
}

bool canFold()
{
    static const bool supported = __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
    return supported;
}

#endif

unsigned int continueCrc(unsigned int crc, const unsigned char* data, int length)
{
    if (length <= 0 || !data)
        return crc;
    size_t remaining = size_t(length);
#if defined(__x86_64__)
    if (remaining >= 64 && canFold()) {
        const size_t blocks = remaining & ~size_t(15);
        crc = foldedCrc(crc, data, blocks);
        data += blocks;
        remaining -= blocks;
    }
#endif
    return tableCrc(crc, data, remaining);
}

} // namespace

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
