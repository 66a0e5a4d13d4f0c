/*
 * Internal to the calculator: its error text, its mutex and the number
 * literal rules shared by the tokenizer and the builder.
 */
#ifndef ORVCALCULATOR_P_H
#define ORVCALCULATOR_P_H

#include "OrvCalculator.h"

#include <QString>

#include <mutex>

namespace OrvInterface {

constexpr int kErrorBufferSize = 512;

/* The last failure's message; see GetCalculatorErro(). */
extern char g_strerroInfo[kErrorBufferSize];
/* Serialises Compute(). A standard mutex, which ThreadSanitizer sees. */
extern std::mutex g_Mutex;

/* Replaces the error text: the buffer is zero-filled, then the message is
 * written, cut where needed so that it always ends in a NUL inside the
 * buffer. */
void setCalculatorError(const char* message);
void setCalculatorErrorFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

/* An operator's symbol and the word type its tokenizer pass gives. */
struct SearchSymbol
{
    QString symbol;
    WordType type;
};

/* The operators in the order the tokenizer's passes try them: longest
 * symbol first. */
QList<SearchSymbol> operatorSearchOrder();
/* That order for the table as Enviroment() filled it. */
extern QList<SearchSymbol> g_operatorSearchOrder;

/* Length of the literal of each kind that starts at text[from], or 0 when
 * none does; the same rules as the patterns "0x[A-Fa-f0-9]+",
 * "\d+(\.\d+)?(E|e)(\+|-)\d+" and "\d+(\.\d+)?" (\d is any Unicode
 * decimal digit, as QChar::isDigit says). */
int hexLiteralLength(const QString& text, int from);
int scientificLiteralLength(const QString& text, int from);
int decimalLiteralLength(const QString& text, int from);

/* True when the whole of text is a hexadecimal literal. */
bool isHexLiteral(const QString& text);
/* The value of a hexadecimal literal: its digits read as an unsigned
 * 32-bit number (saturating at 0xFFFFFFFF), taken as a signed one. */
int hexLiteralValue(const QString& text);

} // namespace OrvInterface

#endif
