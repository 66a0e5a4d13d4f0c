#include "state_p.h"

// Defined in one file so that they are initialised in this order when the
// library is loaded, and destroyed in the reverse order when it is unloaded.
namespace OrvInterface {

QString s_strDefaultPath;
QString s_strsoftwareVer;
QString s_strLanguage;
QString s_strAppIniFile;
int s_EncodingType = ENCODING_TYPE_LOCAL;
bool g_bIsPcSleep = false;

} // namespace OrvInterface
