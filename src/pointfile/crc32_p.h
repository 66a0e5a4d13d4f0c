/*
 * Which code computes the checksum on this processor. Internal to the
 * library: the tests check that the expected one was chosen.
 */
#ifndef ORVPOINTFILE_CRC32_P_H
#define ORVPOINTFILE_CRC32_P_H

namespace PointFile {

/* "isa-l", "armv8-crc32" or "zlib". */
const char* crc32ImplementationName();

} // namespace PointFile

#endif
