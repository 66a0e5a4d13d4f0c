/** @file
 * CommonTools: everything a client needs that is not camera-specific.
 * Including this header brings in every unit of the library: OrvFunction.h,
 * OrvCalculator.h, OrvPointFile.h and OrvLogImpl.h. The main page of this
 * reference says how to link the library and what it guarantees.
 */
#ifndef COMMONTOOLS_H
#define COMMONTOOLS_H

#include "OrvCalculator.h"
#include "OrvFunction.h"
#include "OrvLogImpl.h"
#include "OrvPointFile.h"

#endif // COMMONTOOLS_H
