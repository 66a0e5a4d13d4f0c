/** @file
 * OrvPointFile: point files in their binary ".mfa" form and their ".txt"
 * form, the format descriptor and the checksum that guards the files. The
 * format, the descriptor's codes and the text of each layout are described
 * in @ref pointfile_format.
 *
 * Writes: a conversion replaces its output in one step. A process killed
 * during it leaves the old file or the whole new one, and once it has
 * returned true the new file keeps its content through a power cut (the
 * file and its folder are synced). One failure comes after the
 * replacement: when the folder cannot be synced, the conversion returns
 * false ("Failed to write the file.") with the new file in place, which a
 * power cut may still undo. The new content is written without a
 * name or, on file systems without unnamed files, under the hidden name
 * ".commontools-<file>.XXXXXX" (six letters), which it also has for the
 * moment of the replacement. A process killed while the new content has
 * that name leaves it behind; the next conversion to the same file removes
 * it, and no other file.
 *
 * Failures: the conversions return false and log some of their reasons
 * through Qt's message logger at critical level, category "default" (each
 * function says which); they never throw. Several inputs that are not
 * converted return true, for compatibility (@ref compatibility).
 *
 * Threads: the functions may be called from any thread. The conversions
 * work in blocks on worker threads of their own, which end before they
 * return: the memory they use does not grow with the files, and files up to
 * the format's own limit (4 GiB) convert.
 */
#ifndef ORVPOINTFILE_H
#define ORVPOINTFILE_H

#include "commontools_export.h"

#include <QString>

#include <functional>

/** @name Checksum and bounded copy
 * The checksum that guards a point file, and the copy that places records
 * into one.
 * @{ */

/** The file checksum of length bytes at data: the reflected CRC-32 of
 * polynomial 0xEDB88320 with a register that starts at 0 and is not
 * inverted at the end (so crc32(data) == ~zlib_crc32(~0, data)); 0 for a
 * length of 0 or less. crc32("123456789") is 0x2DFD2D88. */
COMMONTOOLS_EXPORT unsigned int crc32(const unsigned char* data, int length);

/** The checksum continued from crc over length more bytes at data: the
 * checksum of a block A passed as crc with a further block B gives the
 * checksum of A followed by B; crc itself for a length of 0 or less. */
COMMONTOOLS_EXPORT unsigned int crc32_init_value(unsigned int crc, const unsigned char* data, int length);

/** Copies count bytes from src to dst. When src is null or count exceeds
 * dstSize, it zero-fills the dstSize bytes of dst instead and copies
 * nothing; a count of 0 does nothing at all. Nothing tells the caller which
 * happened. */
COMMONTOOLS_EXPORT void CrossPlatMemcpy_s(void* dst, unsigned int dstSize, const void* src, unsigned int count);

/** @} */

namespace OrvInterface {

/** @name Format descriptor
 * @{ */

/** Reads a descriptor such as "Unit:4 Valid:3 Endian:L Meaning:x" into
 * four codes (@ref pointfile_descriptor): only the one character after
 * each key counts, keys and characters are compared case-sensitively.
 *  - unit: the digit after "Unit:" (any digit; "Unit:16" gives 1, a
 *    non-digit 0), the record width in bytes; the conversions handle 1, 2
 *    and 4 (other widths read as zeros);
 *  - valid, which bytes of a 4-byte record carry the value: "1" gives 0
 *    (no layout: records read as 0), "3" gives 1 (all four), "H" gives 2
 *    (the last two), "L" gives 3 (the first two);
 *  - endian: "B" gives 0 (big-endian), "L" gives 1 (little-endian);
 *  - meaning: "x" gives 1 (an x/y pair, x in the low half), "y" gives 2
 *    (x in the high half), anything else or no "Meaning:" gives 0 (one
 *    number).
 *
 * False when the text is empty, lacks "Unit:", "Valid:" (needed for every
 * width) or "Endian:", or holds another character after "Valid:" or
 * "Endian:"; the outputs set before the failing key are set all the same,
 * and mean nothing then. */
COMMONTOOLS_EXPORT bool GetAnalyticFormat(const QString& text, unsigned int& unit, unsigned int& valid,
                                          unsigned int& endian, unsigned int& meaning);

/** @} */

/** @name Conversions
 * A point file and its text form: /data/pts.mfa pairs with /data/pts.txt
 * (the path up to its first ".mfa", then ".txt").
 * @{ */

/** Writes the text form of the ".mfa" file at mfaPath to the ".txt" file
 * beside it: one line per record (@ref pointfile_text), or the payload bytes
 * themselves for a "Format:txt" file, whose ".mfa" file is then removed.
 * The text file is replaced only once complete.
 *
 * True, and nothing written, when the file is not a point file: a wrong
 * magic, a header that places the records or the checksum outside the
 * file, an empty or unusable descriptor, "Unit:0". False when the file
 * cannot be read or is empty, when its checksum is wrong (all three without
 * a message), and when the text file cannot be opened ("Failed to open the
 * file.") or written ("Failed to write the file."). */
COMMONTOOLS_EXPORT bool ChangeMfaToTxt(const QString& mfaPath);

/** Writes the records of the ".txt" file beside mfaPath back into the
 * ".mfa" file, from its data offset to its end, and stores its new
 * checksum; the header and the descriptor are kept. The ".mfa" file is
 * replaced only once the new content is complete.
 *
 * True, and nothing changed, when there is no text file or the descriptor
 * is empty or unusable ("Format:txt" too, unless it also holds the codes:
 * then the text is imported as records). False, with the file as it was,
 * when the text file cannot be opened ("Failed to open the file.") or is
 * empty ("File size error."), when the ".mfa" file cannot be opened
 * ("Failed to open the file."), is empty ("File size error.") or cannot be
 * read whole (no message), when the text has more or fewer lines than the
 * file has records ("The text file size is too large.", "The text file size
 * is not correct."), when the header places the records or the checksum
 * outside the file ("The header places the records or the checksum outside
 * the file."), and when the new file cannot be written ("Failed to write
 * the file."). A missing ".mfa" file is the exception: opening it creates
 * it, empty, and the call returns false ("File size error."). */
COMMONTOOLS_EXPORT bool ChangeTxtToMfa(const QString& mfaPath);

/** @} */

/** @name Conversions with progress
 * @since 1.1
 * @{ */

/** The progress of a conversion: called with the fraction of the work done,
 * from 0.0 to 1.0; returns false to cancel the conversion.
 *
 * It is called on the thread that called the conversion, never on another:
 * with 0.0 once the conversion starts writing, then about once per percent
 * of the work, and with 1.0 once everything is written, just before the new
 * file replaces the old one. It is not called when there is nothing to
 * convert, nor after a failure. A cancelled conversion returns false, logs
 * "The conversion was cancelled." at critical level and leaves the old file
 * as it was, with nothing new beside it.
 *
 * It must not throw. An exception that it throws anyway is caught, and the
 * conversion is cancelled as if it had returned false. */
using ConversionProgress = std::function<bool(double fraction)>;

/** ChangeMfaToTxt(mfaPath), reporting its progress to progress, which may
 * cancel it (see ConversionProgress); an empty function is never called.
 * The text is the same whatever the number of threads. */
COMMONTOOLS_EXPORT bool ChangeMfaToTxt(const QString& mfaPath, const ConversionProgress& progress);

/** ChangeTxtToMfa(mfaPath), reporting its progress to progress, which may
 * cancel it (see ConversionProgress); an empty function is never called.
 * The new checksum is computed as the file is written. */
COMMONTOOLS_EXPORT bool ChangeTxtToMfa(const QString& mfaPath, const ConversionProgress& progress);

/** @} */

} // namespace OrvInterface

#endif // ORVPOINTFILE_H
