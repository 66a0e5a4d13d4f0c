// The configurator's program-data path: the folder of the application's
// working files, given to log4qt before it reads its properties.

#include "log4qt_p.h"

namespace {

QString& storedProgramDataPath()
{
    static QString path;
    return path;
}

} // namespace

void CommonToolsLog::Log4Qt::PropertyConfigurator::setProgramDataPath(const QString& path)
{
    storedProgramDataPath() = path;
}

QString CommonToolsLog::Log4Qt::PropertyConfigurator::programDataPath()
{
    return storedProgramDataPath();
}
