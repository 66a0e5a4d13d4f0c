/** @file
 * OrvLogImpl: logging through log4qt, configured once per process.
 *
 * The client starts logging once, from the main thread, with
 * OrvInterface::initLog4qtConfig(path to a log4j properties file); the
 * logging itself is done through log4qt (or Qt's qDebug() and the like,
 * where the properties route them). The library's own messages go through
 * Qt's message handler: qDebug() for the commands it runs, qWarning() for a
 * settings write it could not make, qCritical() for some point file
 * failures.
 */
#ifndef ORVLOGIMPL_H
#define ORVLOGIMPL_H

#include "commontools_export.h"

#include <QObject>
#include <QScopedPointer>
#include <QSharedPointer>
#include <QString>

class OrvLog4jPrivate;

/** The logger object: it configures log4qt when it is made. */
class COMMONTOOLS_EXPORT OrvLog4j : public QObject
{
    Q_OBJECT

public:
    /** Creates OrvInterface::userDataPath(), then configures log4qt from configFile
     * (log4qt's PropertyConfigurator::configure). Failures are log4qt's to
     * report. */
    explicit OrvLog4j(const QString& configFile);
    /** Leaves log4qt configured as it is. */
    ~OrvLog4j() override;

    /** Creates the logger in g_instance on the first call; later calls do
     * nothing, whatever configFile they pass. */
    static void initInstance(const QString& configFile);

    /** Kept as an entry point for the client; does nothing. */
    void addLog(int level, const QString& text);

private:
    Q_DISABLE_COPY(OrvLog4j)
    QScopedPointer<OrvLog4jPrivate> d;
};

/** The logger singleton: null until initLog4qtConfig (or initInstance). */
extern COMMONTOOLS_EXPORT QSharedPointer<OrvLog4j> g_instance;

namespace OrvInterface {

/** Creates the user-data directory, then the logger singleton configured
 * from configFile. Only the first call has an effect. */
COMMONTOOLS_EXPORT void initLog4qtConfig(const QString& configFile);

} // namespace OrvInterface

#endif // ORVLOGIMPL_H
