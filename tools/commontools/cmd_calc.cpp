// commontools calc: evaluates expressions with the library's calculator.

#include "command.h"

#include <OrvCalculator.h>

namespace Tool {

namespace {

QString formatValue(double value)
{
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

} // namespace

int runCalc(const QStringList& arguments)
{
    // Expressions may start with "-", so they are not read as options: only
    // a first --help or -h is, and a first "--" is skipped.
    QStringList expressions = arguments.mid(1);
    if (!expressions.isEmpty() && (expressions.first() == QLatin1String("--help") || expressions.first() == QLatin1String("-h"))) {
        out() << "Usage: commontools calc [--] EXPRESSION...\n"
                 "Prints the value of each expression, one per line. An expression that\n"
                 "fails prints the calculator's message on stderr; the exit code is then 1.\n"
                 "\n"
                 "The calculator's own rules: a larger priority binds more tightly, so\n"
                 "comparisons bind more tightly than + and -, bitwise operators and %\n"
                 "tightest; every operator is left-associative; ** is a one-operand square\n"
                 "root, ^ exclusive or, = equality; a?b:c is the conditional.\n"
                 "Example: commontools calc '1+2*3' '(1>2)?5:max(6,7)' '0xff+1'\n";
        return Success;
    }
    if (!expressions.isEmpty() && expressions.first() == QLatin1String("--"))
        expressions.removeFirst();
    if (expressions.isEmpty())
        return fail(QStringLiteral("calc needs at least one expression"), UsageError);

    int code = Success;
    for (const QString& expression : qAsConst(expressions)) {
        bool ok = false;
        const double value = OrvInterface::Compute(expression.toUtf8().constData(), ok);
        if (ok) {
            out() << formatValue(value) << Qt::endl;
        } else {
            fail(QStringLiteral("calc: '%1': %2").arg(expression, QString::fromLocal8Bit(OrvInterface::GetCalculatorErro())));
            code = Failure;
        }
    }
    return code;
}

void demoCalculator()
{
    const char* const expressions[] = {
        "1+2*3", "2+3*4", "1+2=3", "1+0?2:3", "(1>2)?5:max(6,7)", "0xff+1", "**16", "2^3", "6/-3", "5/0", "max(1)",
    };
    out() << "Priorities are the calculator's own: = binds more tightly than +, and" << Qt::endl
          << "** is a square root, ^ exclusive or." << Qt::endl;
    for (const char* expression : expressions) {
        bool ok = false;
        const double value = OrvInterface::Compute(expression, ok);
        printField(QStringLiteral("Compute(%1)").arg(QLatin1String(expression)),
                   ok ? formatValue(value) : QStringLiteral("fails: ") + QString::fromLocal8Bit(OrvInterface::GetCalculatorErro()));
    }
}

} // namespace Tool
