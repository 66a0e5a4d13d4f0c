// The point file conversions as whole-file code: every byte, return value
// and message of the library's conversions is compared with these (the
// differential tests, a fuzz target, the benchmark). They hold the whole
// ".mfa" file, the text and a copy in memory, so files of 2 GiB and more
// do not convert.
#ifndef COMMONTOOLS_TEST_REFERENCE_POINTFILE_H
#define COMMONTOOLS_TEST_REFERENCE_POINTFILE_H

#include <QString>

namespace Reference {

bool ChangeMfaToTxt(const QString& mfaPath);
bool ChangeTxtToMfa(const QString& mfaPath);

} // namespace Reference

#endif
