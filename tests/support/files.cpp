#include "files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace TestFiles {

bool writeFile(const QString& path, const QByteArray& data)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(data) == data.size();
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    QByteArray data = file.readAll();
    if (data.isNull())
        data = QByteArray(""); // an empty file is not an unreadable one
    return data;
}

QString locate(const char* variable, const char* buildTreePath)
{
    const QString named = qEnvironmentVariable(variable);
    return named.isEmpty() ? QString::fromLocal8Bit(buildTreePath) : named;
}

QString fileText(const QString& path)
{
    return QString::fromUtf8(readFile(path));
}

QString iniLine(const QString& path, const QString& key)
{
    const QStringList lines = fileText(path).split(QLatin1Char('\n'));
    const QString prefix = key + QLatin1Char('=');
    for (const QString& line : lines) {
        if (line.startsWith(prefix))
            return line.endsWith(QLatin1Char('\r')) ? line.chopped(1) : line;
    }
    return QString();
}

} // namespace TestFiles
