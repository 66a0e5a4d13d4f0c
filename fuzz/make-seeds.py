#!/usr/bin/env python3
"""Writes the seed inputs of the fuzz targets to corpus/<target>/.

The seeds are small valid and nearly valid inputs, from which the fuzzers
mutate; rerun after changing them: python3 fuzz/make-seeds.py
"""

import os
import shutil
import struct
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
CORPUS = os.path.join(HERE, "corpus")
MAGIC = 0x5A5AAA55
DATA_OFFSET = 256


def point_crc(data):
    """The point files' checksum: register from 0, not inverted."""
    return zlib.crc32(data, 0xFFFFFFFF) ^ 0xFFFFFFFF


def mfa(descriptor, records, checksum_after=False, magic=MAGIC):
    """A point file as the tests build it: the checksum in the header's spare
    word at 4 (covering 16 to the end), or after the records."""
    file = bytearray(DATA_OFFSET)
    file[120:120 + len(descriptor)] = descriptor
    file += records
    struct.pack_into("<I", file, 0, magic)
    struct.pack_into("<I", file, 32, DATA_OFFSET)
    if checksum_after:
        crc_offset = len(file)
        file += b"\0\0\0\0"
        struct.pack_into("<I", file, 36, crc_offset - 16)
    else:
        crc_offset = 4
        struct.pack_into("<I", file, 36, len(file) - 16)
    struct.pack_into("<I", file, 8, crc_offset)
    length = struct.unpack_from("<I", file, 36)[0]
    struct.pack_into("<I", file, crc_offset, point_crc(bytes(file[16:16 + length])))
    return bytes(file)


def write(target, seeds):
    folder = os.path.join(CORPUS, target)
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    for index, seed in enumerate(seeds):
        with open(os.path.join(folder, "seed-%03d" % index), "wb") as out:
            out.write(seed)


def main():
    write("compute", [e.encode() for e in [
        "1+2*3", "(1+2)*3", "1+2=3", "2*-3", "6/-3", "0xff+1", "0xffffffff", "1?2:3", "0?2:3",
        "(1>2)?5:max(6,7)", "1?2:3+4", "1+0?2:3", "~0", "1 << 32", "(0-8) >> 40", "5.9 & 3.9", "**16",
        "pow(2,10)", "2 ^ 3", "atanh(0.5)", "round(2.5)", "max(1)", "abs()", "(1+2", "1+2)", "1$2",
        "1e5", "1.5e+3", "negate5", "sqrt 4", "1)?2:3", "+?1:2", "7 % 0.5", "log10(100)", "asinh(1)",
        "12345", "1<=2&&3!=4||5<>6",
    ]])
    write("analytic_format", [d.encode() for d in [
        "Unit:4 Valid:3 Endian:L", "Unit:4 Valid:3 Endian:L Meaning:x", "Unit:2 Valid:L Endian:B Meaning:y",
        "Unit:1 Valid:H Endian:B", "Unit:12 Valid:3 Endian:B", "Unit:2 Valid:L Endian:b", "Format:txt",
        "Valid:3 Endian:L Meaning:y",
    ]])
    d4x = b"Unit:4 Valid:3 Endian:L Meaning:x"
    files = [
        mfa(b"Unit:1 Valid:3 Endian:L", b"\x12\x34\xff"),
        mfa(b"Unit:2 Valid:1 Endian:B", b"\x12\x34\x56\x78"),
        mfa(d4x, b"\x0a\x00\x14\x00\x1e\x00\x28\x00"),
        mfa(b"Unit:4 Valid:H Endian:L Meaning:y", b"\x01\x02\x03\x04"),
        mfa(b"Unit:4 Valid:L Endian:B", b"\x01\x02\x03\x04\x05\x06"),
        mfa(b"Format:txt", b"some text\npayload\n", checksum_after=True),
        mfa(b"Unit:2 Valid:3 Endian:L", b"\x01\x00\x02\x00", checksum_after=True),
        mfa(b"Unit:4 Valid:3 Endian:L", b"\x00" * 8, magic=0x5A5AAA56),
    ]
    write("mfa_to_txt", files)
    pairs = [
        (mfa(b"Unit:1 Valid:3 Endian:L", b"\0\0\0"), b"1\n2\n3\n"),
        (mfa(d4x, b"\0" * 8), b"x=10,y=20\nx=30,y=40\n"),
        (mfa(b"Unit:4 Valid:H Endian:B", b"\0" * 4), b"305419896\n"),
        (mfa(b"Unit:2 Valid:3 Endian:B", b"\0" * 4), b"1\n2\n3\n"),
        (mfa(b"Unit:2 Valid:3 Endian:L", b"\0" * 4), b"7\r\n"),
    ]
    write("txt_to_mfa", [struct.pack("<H", len(f)) + f + t for f, t in pairs])
    # The same pairs, the export's point files without text, and odd lines.
    odd = [
        (mfa(b"Unit:4 Valid:3 Endian:L", b"\0" * 16), b"  42 \n+7\n\xef\xbb\xbf9\n12\x0034\n"),
        (mfa(d4x, b"\0" * 12), b"x= 1 ,y= 2\ny=3,x=4\n\xe3\x80\x805,y=6"),
        (mfa(b"Unit:4 Valid:L Endian:B Meaning:y", b"\0" * 8), b"x=70000,y=1\r\nx=1 y=2\n"),
    ]
    write("pointfile_compare", [struct.pack("<H", len(f)) + f + t for f, t in pairs + odd]
          + [struct.pack("<H", len(f)) + f for f in files])
    write("codec", [
        b"\x00\x0aabc", b"\x00\x0d" + "中文字符测试".encode(), b"\x01\x14" + "中文".encode("gbk"),
        b"\x02\x16" + "\u0080\u0080\u0080".encode("gb18030"), b"\x00\x13" + "a😀b😀".encode(),
        b"\x03\x20caf\xe9", b"\x00\x00ab\x00cd",
        b"\xf4\x12Big5" + "繁體中文".encode("big5"), b"\xf6\x0aEUC-KR" + "한국어".encode("euc-kr"),
    ])
    write("network", [t.encode() for t in [
        "192.168.0.1", "010.1.1.1", "1.2.3.256", "255.255.255.252", "255.254.0.0", "00:11:22:33:44:55",
        "0x1f", "1A", "a/b:c*?.txt", "223.255.255.254", "128.0.0.0",
    ]])


if __name__ == "__main__":
    main()
