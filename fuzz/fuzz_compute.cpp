// The calculator on any text: no crash, no read or write outside a buffer,
// a bounded error text, and plain numbers read as numbers.

#include "fuzz_support.h"

#include <OrvCalculator.h>

#include <QRegularExpression>

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 4096)
        return 0;
    const QByteArray text(reinterpret_cast<const char*>(data), int(size)); // adds the NUL Compute needs
    bool ok = true;
    const double value = OrvInterface::Compute(text.constData(), ok);
    if (!ok) {
        Fuzz::require(value == 0.0, "a failure returns 0");
        Fuzz::require(strnlen(OrvInterface::GetCalculatorErro(), 512) < 512, "the error text ends in its buffer");
        Fuzz::require(OrvInterface::GetCalculatorErro()[0] != '\0', "a failure says why");
    }

    // Digits alone (up to the first NUL, where Compute stops reading) are
    // a number.
    static const QRegularExpression digits(QStringLiteral("\\A[0-9]+\\z"));
    const QString expression = QString::fromUtf8(text.constData());
    if (digits.match(expression).hasMatch()) {
        Fuzz::require(ok, "digits are an expression");
        Fuzz::require(value == expression.toDouble(), "digits read as their number");
    }
    return 0;
}
