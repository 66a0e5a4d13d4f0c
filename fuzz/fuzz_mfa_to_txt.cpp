// Export of any file: no crash, nothing read outside the file, no text file
// left by a failure, and nothing written for what is not a point file.

#include "fuzz_support.h"

#include <OrvPointFile.h>

#include <QFileInfo>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > (1 << 20))
        return 0;
    static const QString mfa = Fuzz::scratchFolder() + QStringLiteral("/input.mfa");
    static const QString txt = Fuzz::scratchFolder() + QStringLiteral("/input.txt");
    const QByteArray file(reinterpret_cast<const char*>(data), int(size));
    QFile::remove(txt);
    Fuzz::require(Fuzz::writeFile(mfa, file), "the input is written");

    const bool ok = OrvInterface::ChangeMfaToTxt(mfa);
    const bool wrote = QFileInfo::exists(txt);
    if (!ok)
        Fuzz::require(!wrote, "a failure leaves no text file");
    if (size == 0)
        Fuzz::require(!ok, "an empty file cannot be read");
    else if (size < 4 || Fuzz::u32At(file, 0) != 0x5A5AAA55u)
        Fuzz::require(ok && !wrote, "what is not a point file is left alone");
    if (QFileInfo::exists(mfa))
        Fuzz::require(Fuzz::readFile(mfa) == file, "the source is not changed");
    return 0;
}
