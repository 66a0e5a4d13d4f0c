/*
 * The shell runner for the library's own queries. Internal.
 */
#ifndef ORVFUNCTION_SHELL_P_H
#define ORVFUNCTION_SHELL_P_H

#include <QString>

namespace OrvInterface {

// execCommand for the commands the library runs itself: what they write to
// their standard error is logged at debug level instead of reaching the
// client's. Their standard output is the result, as for execCommand.
QString execQuietly(const QString& command);

} // namespace OrvInterface

#endif
