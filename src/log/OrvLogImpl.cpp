#include "OrvLogImpl.h"

#include "OrvFunction.h"
#include "log4qt_p.h"

using CommonToolsLog::Log4Qt::ClassLogger;
using CommonToolsLog::Log4Qt::PropertyConfigurator;

QSharedPointer<OrvLog4j> g_instance;

class OrvLog4jPrivate
{
public:
    ClassLogger classLogger;
};

OrvLog4j::OrvLog4j(const QString& configFile)
    : QObject(nullptr)
    , d(new OrvLog4jPrivate)
{
    // userDataPath() also creates the folder the configurator is pointed at.
    PropertyConfigurator::setProgramDataPath(OrvInterface::userDataPath());
    PropertyConfigurator::configure(configFile); // log4qt reports its own failures
}

OrvLog4j::~OrvLog4j() = default;

void OrvLog4j::initInstance(const QString& configFile)
{
    if (g_instance)
        return;
    g_instance = QSharedPointer<OrvLog4j>(new OrvLog4j(configFile));
}

void OrvLog4j::addLog(int level, const QString& text)
{
    Q_UNUSED(level)
    Q_UNUSED(text)
}

namespace OrvInterface {

void initLog4qtConfig(const QString& configFile)
{
    userDataPath(); // the folder must exist before logging starts
    OrvLog4j::initInstance(configFile);
}

} // namespace OrvInterface
