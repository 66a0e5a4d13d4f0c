// Uses a little of every unit through the umbrella header: it compiles,
// links and gives the documented answers.

#include <CommonTools.h>

#include <cstdio>
#include <cstring>

namespace {

int failures = 0;

void check(bool ok, const char* what)
{
    if (!ok) {
        std::fprintf(stderr, "consumer: %s\n", what);
        ++failures;
    }
}

} // namespace

int main()
{
    bool ok = false;
    check(OrvInterface::Compute("(1>2)?5:max(6,7)", ok) == 7.0 && ok, "Compute");
    OrvInterface::Compute("5/0", ok);
    check(!ok && std::strcmp(OrvInterface::GetCalculatorErro(),
                             "compute failed.call mathfun failed. the operator '/'.args:'5,0'") == 0,
          "GetCalculatorErro");
    check(OrvInterface::GenerateErrorDesc(int(0x90006607)) == QStringLiteral("Login failed"), "GenerateErrorDesc");
    check(OrvInterface::IntCode2DisplayCode(0x7000001Fu) == QStringLiteral("(Error Code : 0x7000001f)"),
          "IntCode2DisplayCode");
    check(OrvInterface::numIP2StrIP(int(0xC0A80001u)) == QStringLiteral("192.168.0.1"), "numIP2StrIP");
    check(OrvInterface::cutString(QStringLiteral("abc"), 2, "UTF-8") == QStringLiteral("ab"), "cutString");
    const unsigned char digits[] = "123456789";
    check(crc32(digits, 9) == 0x2DFD2D88u, "crc32");
    unsigned int unit = 0, valid = 0, endian = 0, meaning = 0;
    check(OrvInterface::GetAnalyticFormat(QStringLiteral("Unit:4 Valid:3 Endian:L"), unit, valid, endian, meaning)
                  && unit == 4,
          "GetAnalyticFormat");
    check(g_instance.isNull(), "g_instance");
    check(OrvInterface::testFlag(4, 6), "testFlag");
    if (failures == 0)
        std::printf("consumer: all checks passed\n");
    return failures == 0 ? 0 : 1;
}
