// The format descriptor on any text: a usable one yields values in range.

#include "fuzz_support.h"

#include <OrvPointFile.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 4096)
        return 0;
    const QString text = QString::fromLatin1(reinterpret_cast<const char*>(data), int(size));
    unsigned int unit = 99, valid = 99, endian = 99, meaning = 99;
    if (OrvInterface::GetAnalyticFormat(text, unit, valid, endian, meaning)) {
        Fuzz::require(unit <= 9, "unit is one digit");
        Fuzz::require(valid <= 3, "valid is 0 to 3");
        Fuzz::require(endian <= 1, "endian is 0 or 1");
        Fuzz::require(meaning <= 2, "meaning is 0 to 2");
        Fuzz::require(text.contains(QLatin1String("Unit:")) && text.contains(QLatin1String("Valid:"))
                              && text.contains(QLatin1String("Endian:")),
                      "the three keys are there");
    }
    return 0;
}
