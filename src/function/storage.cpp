// File dialogs that remember the last folder, and storage checks.

#include "state_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>

namespace OrvInterface {

namespace {

// The folder a dialog opens in: dir when given, else the remembered one
// (the user-data folder until a dialog has chosen something).
QString startFolder(const QString& dir)
{
    if (s_strDefaultPath.isEmpty())
        s_strDefaultPath = userDataPath();
    return dir.isEmpty() ? s_strDefaultPath : dir;
}

void rememberFolderOf(const QString& file)
{
    if (!file.isEmpty())
        s_strDefaultPath = QFileInfo(file).dir().absolutePath();
}

void refuse(QString* result, bool* ok)
{
    result->clear();
    if (ok)
        *ok = false;
}

} // namespace

QString getOpenFileName(QWidget* parent, const QString& caption, const QString& dir, const QString& filter,
                        QString* selectedFilter, QFileDialog::Options options)
{
    const QString start = startFolder(dir);
    const QString result = QFileDialog::getOpenFileName(parent, caption, start, filter, selectedFilter, options);
    rememberFolderOf(result);
    return result;
}

QString getSaveFileName(QWidget* parent, const QString& caption, const QString& dir, const QString& fileName,
                        const QString& filter, bool* ok, QString* selectedFilter, QFileDialog::Options options)
{
    const QString start = startFolder(dir);
    const QString initial = fileName.isEmpty() ? start : start + QLatin1Char('/') + fileName;
    if (ok)
        *ok = true;
    QString result = QFileDialog::getSaveFileName(parent, caption, initial, filter, selectedFilter, options);

    // No file in the root folder.
    const int slash = result.lastIndexOf(QLatin1Char('/'));
    if (slash >= 0 && !isSupportDir(result.left(slash + 1)))
        refuse(&result, ok);
    rememberFolderOf(result);
    return result;
}

QString getExistingDirectory(QWidget* parent, const QString& caption, const QString& dir, bool* ok,
                             QFileDialog::Options options)
{
    if (ok)
        *ok = true;
    const QString start = startFolder(dir);
    QString result = QFileDialog::getExistingDirectory(parent, caption, start, options);
    if (!isSupportDir(result))
        refuse(&result, ok);
    if (!result.isEmpty())
        s_strDefaultPath = result;
    return result;
}

bool isSupportDir(const QString& path)
{
    return path != QLatin1String("/");
}

bool IsDiskFull(const QString& path, long long minBytes, bool* valid)
{
    const QFileInfo info(path);
    QStorageInfo storage(info.isDir() ? path : info.path());
    storage.refresh();
    const qint64 available = storage.bytesAvailable();
    if (valid)
        *valid = available >= 0;
    return available < minBytes;
}

bool testDirPermission(const QString& path, bool isFile)
{
    static const QString strTestFile = QStringLiteral("/Permission.Test");

    QString probe = QDir::fromNativeSeparators(path);
    if (isFile) {
        const int slash = probe.lastIndexOf(QLatin1Char('/'));
        if (slash >= 0)
            probe = probe.left(slash) + strTestFile;
    } else {
        probe += strTestFile;
    }

    QFile file(probe);
    if (!file.open(QIODevice::ReadWrite))
        return false;
    file.close();
    file.remove();
    return true;
}

} // namespace OrvInterface
