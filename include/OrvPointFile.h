/** @file
 * OrvPointFile: point files in their binary ".mfa" form and their ".txt"
 * form, the format descriptor and the checksum that guards the files.
 *
 * A conversion replaces its output in one step: a process killed during it
 * leaves the old file or the whole new one, and once it has returned true
 * the new file keeps its content through a power cut (the file and its
 * folder are synced). The new content is written without a name or, on file
 * systems without unnamed files, under the hidden name
 * ".commontools-<file>.XXXXXX" (six letters), which it also has for the
 * moment of the replacement. A process killed while the new content has
 * that name leaves it behind; the next conversion to the same file removes
 * it, and no other file.
 */
#ifndef ORVPOINTFILE_H
#define ORVPOINTFILE_H

#include "commontools_export.h"

#include <QString>

#include <functional>

/** The file checksum: the reflected CRC-32 of polynomial 0xEDB88320 with a
 * register that starts at 0 and is not inverted at the end (so
 * crc32(data) == ~zlib_crc32(~0, data)). 0 for a length of 0 or less. */
COMMONTOOLS_EXPORT unsigned int crc32(const unsigned char* data, int length);
/** The same, continued from crc: the checksum of A passed with a further
 * block B gives the checksum of A followed by B. */
COMMONTOOLS_EXPORT unsigned int crc32_init_value(unsigned int crc, const unsigned char* data, int length);
/** Copies count bytes to dst; when src is null or count exceeds dstSize,
 * zero-fills the dstSize bytes of dst instead. A count of 0 does nothing. */
COMMONTOOLS_EXPORT void CrossPlatMemcpy_s(void* dst, unsigned int dstSize, const void* src, unsigned int count);

namespace OrvInterface {

/** Reads a descriptor such as "Unit:4 Valid:3 Endian:L Meaning:x":
 * unit is the record width in bytes; valid 0..3 says which bytes of a
 * 4-byte record carry data ("1", "3" all four, "H" the last two, "L" the
 * first two); endian 0 big, 1 little; meaning 0 one number per record, 1 an
 * x/y pair with x in the low half, 2 with x in the high half. False when
 * the text is empty, lacks Unit:, Valid: or Endian:, or holds an unknown
 * Valid: or Endian: character (outputs set so far are then meaningless). */
COMMONTOOLS_EXPORT bool GetAnalyticFormat(const QString& text, unsigned int& unit, unsigned int& valid,
                                          unsigned int& endian, unsigned int& meaning);

/** Writes the text form of an ".mfa" file to the ".txt" path beside it
 * (the path up to its first ".mfa", then ".txt"): one line per record, or
 * the payload bytes themselves for a "Format:txt" file, whose ".mfa" is
 * then removed. The text file is replaced only once complete. True also
 * when the file is not a point file or its descriptor is unusable (nothing
 * is written then); false when it cannot be read, its checksum is wrong or
 * the text cannot be written. Reasons are logged at critical level. */
COMMONTOOLS_EXPORT bool ChangeMfaToTxt(const QString& mfaPath);

/** Writes the records of the ".txt" file beside mfaPath back into it and
 * recomputes its checksum. The ".mfa" file is replaced only once the new
 * content is complete: on any failure it is left as it was. True when
 * there is no text file or the descriptor is unusable (nothing changes);
 * false when a file cannot be read or written, the text has more or fewer
 * lines than the file has records, or the header places the records or the
 * checksum outside the file. Reasons are logged at critical level. */
COMMONTOOLS_EXPORT bool ChangeTxtToMfa(const QString& mfaPath);

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
 *
 * Both forms read and write in blocks, formatted on worker threads (at most
 * QThread::idealThreadCount(), all ended before the function returns): the
 * memory they use does not grow with the files, and files up to the format's
 * own limit (4 GiB) convert. The text is the same whatever the number of
 * threads. */
COMMONTOOLS_EXPORT bool ChangeMfaToTxt(const QString& mfaPath, const ConversionProgress& progress);

/** ChangeTxtToMfa(mfaPath), reporting its progress to progress, which may
 * cancel it (see ConversionProgress); an empty function is never called.
 * Like the export, both forms work in blocks on worker threads, with
 * bounded memory; the new checksum is computed as the file is written. */
COMMONTOOLS_EXPORT bool ChangeTxtToMfa(const QString& mfaPath, const ConversionProgress& progress);

} // namespace OrvInterface

#endif // ORVPOINTFILE_H
