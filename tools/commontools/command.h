// The sub-commands of the commontools tool.
#ifndef COMMONTOOLS_TOOL_COMMAND_H
#define COMMONTOOLS_TOOL_COMMAND_H

#include <QCommandLineParser>
#include <QString>
#include <QStringList>
#include <QTextStream>

namespace Tool {

// Exit codes of the tool; Interrupted (128 + SIGINT) when Ctrl+C stopped a
// conversion.
enum ExitCode { Success = 0, Failure = 1, UsageError = 2, Interrupted = 130 };

struct Command
{
    const char* name;
    const char* summary;
    // arguments[0] is "commontools <name>", the rest what followed the name.
    int (*run)(const QStringList& arguments);
};

// Every sub-command, in the order the help lists them.
const QList<Command>& commands();

QTextStream& out();
QTextStream& err();

// Prints "commontools: message" on stderr and returns code.
int fail(const QString& message, int code = Failure);

// Parses a sub-command's arguments with --help added. Returns -1 when the
// command should go on, otherwise the exit code (help shown, or a usage
// error reported).
int parseCommandLine(QCommandLineParser& parser, const QStringList& arguments, const QString& description);

// Reads a decimal (optionally signed) or 0x-hexadecimal integer within
// [min, max].
bool parseInteger(const QString& text, qint64 min, qint64 max, qint64* value);

// "0x" and eight upper-case hexadecimal digits.
QString hex32(quint32 value);

// "true" or "false".
QString yesNo(bool value);

// The language of the library's messages chosen with --language ("ENG"
// unless "CH" was asked for).
QString& messageLanguage();

// One "label: value" line, the values aligned.
void printField(const QString& label, const QString& value);

// The demonstration's sections, one per capability of the library.
struct DemoSection
{
    const char* title;
    void (*show)();
};
const QList<DemoSection>& demoSections();

int runInfo(const QStringList& arguments);
int runDemo(const QStringList& arguments);
int runCalc(const QStringList& arguments);
int runError(const QStringList& arguments);
int runHex(const QStringList& arguments);
int runIp(const QStringList& arguments);
int runMask(const QStringList& arguments);
int runMac(const QStringList& arguments);
int runMfaToTxt(const QStringList& arguments);
int runTxtToMfa(const QStringList& arguments);
int runCrc32(const QStringList& arguments);
int runMfaInfo(const QStringList& arguments);
int runMfaNew(const QStringList& arguments);
int runConfig(const QStringList& arguments);
int runFilters(const QStringList& arguments);
int runSysinfo(const QStringList& arguments);
int runDisk(const QStringList& arguments);
int runWritable(const QStringList& arguments);
int runBench(const QStringList& arguments);

void demoIdentity();
void demoSettings();
void demoShell();
void demoCalculator();
void demoCodes();
void demoCodec();
void demoNetwork();
void demoPointFiles();
void demoFilters();
void demoSystem();
void demoLogging();

} // namespace Tool

#endif
