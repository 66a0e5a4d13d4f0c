#include "mfa_builder.h"

namespace Mfa {

quint32 referenceCrc(const QByteArray& data, quint32 start)
{
    quint32 crc = start;
    for (const char c : data) {
        crc ^= quint8(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1u) ? (crc >> 1) ^ 0xEDB88320u : crc >> 1;
    }
    return crc;
}

void putU32(QByteArray& buffer, int offset, quint32 value)
{
    if (buffer.size() < offset + 4)
        buffer.resize(offset + 4);
    for (int i = 0; i < 4; ++i)
        buffer[offset + i] = char((value >> (8 * i)) & 0xFFu);
}

quint32 getU32(const QByteArray& buffer, int offset)
{
    quint32 value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | quint8(buffer.at(offset + i));
    return value;
}

quint32 expectedCrc(const QByteArray& file)
{
    return referenceCrc(file.mid(kCrcRegionStart, int(getU32(file, kCrcLengthField))));
}

QByteArray mfaFile(const Contents& contents)
{
    const int dataOffset = int(contents.dataOffset);
    QByteArray file(dataOffset, '\0');
    // Recognisable bytes in the fields nobody interprets: they must survive.
    for (int i = 40; i < kDescriptorOffset && i < dataOffset; ++i)
        file[i] = char(i);
    putU32(file, 0, contents.magic);
    putU32(file, 12, 0xC0FFEE00u);
    putU32(file, kDataOffsetField, contents.dataOffset);
    file.replace(kDescriptorOffset, contents.descriptor.size(), contents.descriptor);
    file[kDescriptorOffset + contents.descriptor.size()] = '\0';
    file.append(contents.records);

    quint32 crcOffset = 4;
    if (contents.crcPlace == CrcPlace::AfterRecords) {
        crcOffset = quint32(file.size());
        file.append(4, '\0');
        putU32(file, kCrcLengthField, crcOffset - kCrcRegionStart);
    } else {
        putU32(file, kCrcLengthField, quint32(file.size() - kCrcRegionStart));
    }
    putU32(file, kCrcOffsetField, crcOffset);
    putU32(file, int(crcOffset), expectedCrc(file) + (contents.validCrc ? 0 : 1));
    return file;
}

QByteArray mfaFile(const QByteArray& descriptor, const QByteArray& records)
{
    Contents contents;
    contents.descriptor = descriptor;
    contents.records = records;
    return mfaFile(contents);
}

} // namespace Mfa
