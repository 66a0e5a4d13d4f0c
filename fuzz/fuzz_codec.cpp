// Text and byte buffers in code pages: nothing read or written outside the
// buffers, and UTF-8 always within its limit.

#include "fuzz_support.h"

#include <OrvFunction.h>

#include <QTextCodec>

#include <vector>

namespace {

const char* const kCodecs[] = {"UTF-8", "GBK", "GB18030", "ISO-8859-1", "Shift_JIS", "no-such-codec"};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2 || size > 4096)
        return 0;
    // The first byte picks a code page, or (from 0xF0) says how many of the
    // following bytes are a name of the input's own.
    QByteArray name;
    size_t start = 2;
    if (data[0] >= 0xF0) {
        const size_t length = qMin(size_t(data[0] & 0x0F), size - 2);
        name = QByteArray(reinterpret_cast<const char*>(data) + 2, int(length));
        start += length;
    } else {
        name = kCodecs[data[0] % (sizeof kCodecs / sizeof *kCodecs)];
    }
    const char* codecName = name.constData();
    const int limit = int(data[1]) - 16; // -16 .. 239
    // An exact-size copy, so that a read past n bytes is caught.
    std::vector<char> bytes(reinterpret_cast<const char*>(data) + start, reinterpret_cast<const char*>(data) + size);
    const int n = int(bytes.size());
    if (n == 0)
        return 0; // a length of 0 means "up to a NUL", which an empty buffer lacks

    const QString text = OrvInterface::char2QString(bytes.data(), n, codecName);
    const QString cut = OrvInterface::cutString(text, limit, codecName);
    Fuzz::require(text.startsWith(cut), "a cut is a prefix");

    QTextCodec* codec = QTextCodec::codecForName(codecName);
    const int whole = int(codec ? codec->fromUnicode(text).size() : text.toUtf8().size());
    const int room = qMax(whole, limit) + 8;
    std::vector<char> buffer(size_t(room), '\x7f');
    OrvInterface::string2Char(text, buffer.data(), limit, codecName);
    if ((!codec || QByteArray(codecName) == "UTF-8") && limit >= 0) {
        for (int i = limit; i < room; ++i)
            Fuzz::require(buffer[size_t(i)] == '\x7f', "UTF-8 stays within the limit");
    }
    return 0;
}
