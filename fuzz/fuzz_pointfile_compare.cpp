// Both conversions of any pair of files against the whole-file reference
// (tests/support/reference_pointfile.cpp): the same result, the same
// messages and the same files, byte for byte.
//
// The input is the point file's length as two bytes (little-endian), the
// point file, then the text file; an empty text means no text file.

#include "fuzz_support.h"

#include "support/reference_pointfile.h"

#include <OrvPointFile.h>

#include <QDir>
#include <QStringList>

namespace {

QStringList& messages()
{
    static QStringList list;
    return list;
}

void collect(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    messages() << QString::number(int(type)) + QLatin1Char(' ') + QLatin1String(context.category) + QLatin1Char(' ') + text;
}

struct Outcome
{
    bool result = false;
    QStringList messages;
    QStringList names;
    QList<QByteArray> contents;
};

Outcome convert(const QString& folder, const QByteArray& mfa, const QByteArray& text, bool exporting, bool library)
{
    QDir(folder).removeRecursively();
    QDir().mkpath(folder);
    const QString mfaPath = folder + QStringLiteral("/input.mfa");
    Fuzz::require(Fuzz::writeFile(mfaPath, mfa), "the point file is written");
    if (!text.isEmpty())
        Fuzz::require(Fuzz::writeFile(folder + QStringLiteral("/input.txt"), text), "the text is written");

    Outcome outcome;
    messages().clear();
    const QtMessageHandler previous = qInstallMessageHandler(collect);
    if (exporting)
        outcome.result = library ? OrvInterface::ChangeMfaToTxt(mfaPath) : Reference::ChangeMfaToTxt(mfaPath);
    else
        outcome.result = library ? OrvInterface::ChangeTxtToMfa(mfaPath) : Reference::ChangeTxtToMfa(mfaPath);
    qInstallMessageHandler(previous);
    outcome.messages = messages();
    outcome.names = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& name : outcome.names)
        outcome.contents << Fuzz::readFile(folder + QLatin1Char('/') + name);
    return outcome;
}

void compare(const QByteArray& mfa, const QByteArray& text, bool exporting)
{
    const QString scratch = Fuzz::scratchFolder();
    const Outcome library = convert(scratch + QStringLiteral("/library"), mfa, text, exporting, true);
    const Outcome reference = convert(scratch + QStringLiteral("/reference"), mfa, text, exporting, false);
    Fuzz::require(library.result == reference.result, "the same result as the reference");
    Fuzz::require(library.messages == reference.messages, "the same messages as the reference");
    Fuzz::require(library.names == reference.names, "the same files as the reference");
    Fuzz::require(library.contents == reference.contents, "the same bytes as the reference");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2 || size > (1 << 20))
        return 0;
    const int mfaSize = qMin(int(data[0] | data[1] << 8), int(size) - 2);
    const QByteArray mfa(reinterpret_cast<const char*>(data) + 2, mfaSize);
    const QByteArray text(reinterpret_cast<const char*>(data) + 2 + mfaSize, int(size) - 2 - mfaSize);
    compare(mfa, text, true);
    compare(mfa, text, false);
    return 0;
}
