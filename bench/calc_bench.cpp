// The calculator against muParser, and its tokenizer against the regular
// expression passes it is defined by. Each run parses and evaluates anew,
// as Compute() does on every call.
//
// Usage: bench_calc [SECONDS_PER_ROUND]

#include "harness.h"
#include "support/reference_tokenizer.h"

#include <OrvCalculator.h>

#include <muParser.h>

#include <cmath>

namespace {

// Expressions that mean the same in both calculators.
const char* const kExpressions[] = {
    "1+2*3",
    "(1+2)*3-4/5",
    "max(6,7)+sqrt(16)",
    "(1>2)?5:7",
    "exp(1)*2-1",
    "sin(0.5)*cos(0.5)+abs(0-3)",
    "((((1+2)*3)+4)*5)/6",
};

bool sameResults()
{
    mu::Parser parser;
    bool same = true;
    for (const char* expression : kExpressions) {
        bool ok = false;
        const double ours = OrvInterface::Compute(expression, ok);
        parser.SetExpr(expression);
        const double theirs = parser.Eval();
        if (!ok || std::fabs(ours - theirs) > 1e-12 * std::fmax(1.0, std::fabs(ours))) {
            std::printf("  %s: Compute %g, muParser %g\n", expression, ours, theirs);
            same = false;
        }
    }
    return same;
}

} // namespace

int main(int argc, char** argv)
{
    const double seconds = Bench::secondsFromArguments(argc, argv, 0.5);
    const int count = int(sizeof kExpressions / sizeof *kExpressions);
    if (!sameResults()) {
        std::printf("bench_calc: the two calculators disagree; nothing measured\n");
        return 1;
    }

    mu::Parser parser;
    Bench::compare("Parse and evaluate an expression", "expressions",
                   {
                           {"OrvInterface::Compute",
                            [count] {
                                bool ok = false;
                                for (const char* e : kExpressions)
                                    Bench::keep(OrvInterface::Compute(e, ok));
                                return double(count);
                            }},
                           {"muParser SetExpr + Eval",
                            [&parser, count] {
                                for (const char* e : kExpressions) {
                                    parser.SetExpr(e);
                                    Bench::keep(parser.Eval());
                                }
                                return double(count);
                            }},
                   },
                   seconds);

    QStringList normalised;
    for (const char* e : kExpressions)
        normalised.append(QString::fromLatin1(e));
    Bench::compare("Tokenize an expression", "expressions",
                   {
                           {"ExpressionToWords",
                            [&normalised] {
                                for (const QString& e : qAsConst(normalised)) {
                                    QList<OrvInterface::Word*> words;
                                    OrvInterface::ExpressionToWords(e, words);
                                    Bench::keep(words.size());
                                    qDeleteAll(words);
                                }
                                return double(normalised.size());
                            }},
                           {"QRegExp passes",
                            [&normalised] {
                                for (const QString& e : qAsConst(normalised))
                                    Bench::keep(Reference::tokenize(e).size());
                                return double(normalised.size());
                            }},
                   },
                   seconds);
    return 0;
}
