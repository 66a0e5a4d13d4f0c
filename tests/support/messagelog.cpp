#include "messagelog.h"

namespace {

MessageLog* s_current = nullptr;

} // namespace

MessageLog::MessageLog(QtMsgType type)
    : m_type(type)
    , m_previous(qInstallMessageHandler(handler))
    , m_outer(s_current)
{
    s_current = this;
}

MessageLog::~MessageLog()
{
    s_current = m_outer;
    qInstallMessageHandler(m_previous);
}

void MessageLog::handler(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    MessageLog* log = s_current;
    if (!log || type != log->m_type || QLatin1String(context.category) != QLatin1String("default"))
        return;
    log->m_messages.append(context.file || context.function ? QStringLiteral("(with context) ") + text : text);
}
