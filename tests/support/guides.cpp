#include "guides.h"

#include "files.h"

#include <QRegularExpression>
#include <QStringList>

namespace Guides {

QString page(const QString& name)
{
    return TestFiles::fileText(TestFiles::locate("COMMONTOOLS_TEST_GUIDES", COMMONTOOLS_GUIDES_DIR) + QLatin1Char('/') + name);
}

QString exampleBlock(const QString& page, const QString& name)
{
    const int marker = page.indexOf(QStringLiteral("<!-- example: %1 -->\n").arg(name));
    if (marker < 0)
        return QString();
    const int open = page.indexOf(QLatin1String("```\n"), marker);
    const int close = page.indexOf(QLatin1String("\n```"), open + 4);
    if (open < 0 || close < 0)
        return QString();
    return page.mid(open + 4, close + 1 - (open + 4));
}

QByteArray fromHexdump(const QString& dump)
{
    static const QRegularExpression line(QStringLiteral("\\A([0-9a-f]{8})((?:  ?[0-9a-f]{2})*)(?: +\\|.*\\|)?\\z"));
    QByteArray bytes;
    QByteArray previous;
    bool repeat = false;
    for (const QString& text : dump.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (text == QLatin1String("*")) {
            repeat = true;
            continue;
        }
        const QRegularExpressionMatch match = line.match(text.trimmed());
        if (!match.hasMatch())
            return QByteArray();
        const int offset = match.captured(1).toInt(nullptr, 16);
        while (repeat && !previous.isEmpty() && bytes.size() < offset)
            bytes += previous;
        repeat = false;
        if (bytes.size() != offset)
            return QByteArray();
        previous = QByteArray::fromHex(match.captured(2).toLatin1());
        bytes += previous;
    }
    return bytes;
}

} // namespace Guides
