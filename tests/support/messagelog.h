// Collects the library's messages of one type (category "default") while
// it lives.
#ifndef COMMONTOOLS_TEST_MESSAGELOG_H
#define COMMONTOOLS_TEST_MESSAGELOG_H

#include <QStringList>
#include <QtGlobal>

class MessageLog
{
public:
    explicit MessageLog(QtMsgType type);
    ~MessageLog();
    MessageLog(const MessageLog&) = delete;
    MessageLog& operator=(const MessageLog&) = delete;

    // The texts, in order; a message that came with a file or function
    // name is marked "(with context) ".
    QStringList messages() const { return m_messages; }

private:
    static void handler(QtMsgType type, const QMessageLogContext& context, const QString& text);

    QtMsgType m_type;
    QStringList m_messages;
    QtMessageHandler m_previous;
    MessageLog* m_outer;
};

#endif
