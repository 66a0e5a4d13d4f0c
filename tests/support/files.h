// Small file helpers shared by the tests and the benchmarks.
#ifndef COMMONTOOLS_TEST_FILES_H
#define COMMONTOOLS_TEST_FILES_H

#include <QByteArray>
#include <QString>

namespace TestFiles {

// Writes data to path, creating the folders on the way; false on failure.
bool writeFile(const QString& path, const QByteArray& data);

// The bytes of path; a null array when it cannot be read.
QByteArray readFile(const QString& path);

// The file read as UTF-8 text.
QString fileText(const QString& path);

// The line of an INI file that starts with "key=", without its line end;
// a null string when there is none.
QString iniLine(const QString& path, const QString& key);

// What the tests find at a known place of the build tree (the tool, their
// data): buildTreePath, unless the environment variable names another
// path. commontools-selftest names the installed ones.
QString locate(const char* variable, const char* buildTreePath);

} // namespace TestFiles

#endif
