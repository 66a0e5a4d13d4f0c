// Whether the tests run under a sanitizer, which makes them several times
// slower: long loops do less there.
#ifndef COMMONTOOLS_TEST_SANITIZERS_H
#define COMMONTOOLS_TEST_SANITIZERS_H

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

#endif
