/*
 * The library's process-wide state, shared by the files of OrvFunction.
 * Internal: none of these names is exported.
 */
#ifndef ORVFUNCTION_STATE_P_H
#define ORVFUNCTION_STATE_P_H

#include "OrvFunction.h"

#include <QString>

namespace OrvInterface {

extern QString s_strDefaultPath;   // folder the file dialogs open in
extern QString s_strsoftwareVer;   // cache of softwareVersion()
extern QString s_strLanguage;      // cache of language()
extern QString s_strAppIniFile;    // path returned by GetAppIniFile()
extern int s_EncodingType;         // an _ENCODING_TYPE_ value
extern bool g_bIsPcSleep;          // the client's "computer is asleep" flag

} // namespace OrvInterface

#endif
