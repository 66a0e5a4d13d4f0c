#include "reference_tokenizer.h"

#include <OrvCalculator.h>

#include <QRegExp>
#include <QStringList>

#include <algorithm>

namespace Reference {

namespace {

void matchPass(const QString& expr, QList<Token>& tokens, const QRegExp& pattern, int type)
{
    QRegExp reg(pattern);
    int from = 0;
    while (true) {
        const int p = reg.indexIn(expr, from);
        if (p < 0)
            return;
        const int length = reg.matchedLength();
        bool decided = false;
        for (Token& token : tokens) {
            if (token.position == p) {
                if (length > token.text.length()) {
                    token.text = reg.cap(0);
                    token.type = type;
                }
                decided = true;
                break;
            }
            if (token.position < p && !token.text.isEmpty() && p < token.position + token.text.length()) {
                decided = true;
                break;
            }
        }
        if (!decided)
            tokens.append({reg.cap(0), type, p});
        // An empty match would not move on; none of the patterns has one.
        from = p + qMax(length, 1);
    }
}

QRegExp literal(const QString& symbol)
{
    return QRegExp(QRegExp::escape(symbol), Qt::CaseSensitive, QRegExp::RegExp);
}

} // namespace

QList<Token> tokenize(const QString& expr)
{
    using namespace OrvInterface;
    QList<Token> tokens;
    matchPass(expr, tokens, QRegExp(QStringLiteral("0x[A-Fa-f0-9]+")), Number);
    matchPass(expr, tokens, QRegExp(QStringLiteral("\\d+(\\.\\d+)?(E|e)(\\+|-)\\d+")), Number);

    QList<Operator_> ops = g_mapOperators.values();
    SortOperatorDesc(ops);
    for (const Operator_& op : qAsConst(ops))
        matchPass(expr, tokens, literal(op.Symbol()), op.IsFun() ? Function : Operator);
    for (const char* group : {"(", ")", ",", ":"})
        matchPass(expr, tokens, literal(QLatin1String(group)), Group);

    matchPass(expr, tokens, QRegExp(QStringLiteral("\\d+(\\.\\d+)?")), Number);
    std::stable_sort(tokens.begin(), tokens.end(),
                     [](const Token& a, const Token& b) { return a.position < b.position; });
    return tokens;
}

QString describe(const QList<Token>& tokens)
{
    QStringList parts;
    for (const Token& token : tokens)
        parts.append(QStringLiteral("%1/%2/%3").arg(token.text).arg(token.type).arg(token.position));
    return parts.join(QLatin1Char(' '));
}

} // namespace Reference
