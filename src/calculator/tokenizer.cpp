// The tokenizer: a normalised expression becomes positioned words.
//
// The words come from passes over the text in a fixed order: hexadecimal
// literals, scientific literals, every operator and function (longest
// symbol first), the grouping characters, then plain decimal literals. An
// earlier pass keeps the characters it matched, except that a longer match
// starting at the same place takes the word over. Each pass finds the same
// matches as the regular expression its kind is defined by; they are found
// by hand here because Compute() tokenizes on every call.

#include "calculator_p.h"

#include <algorithm>
#include <bitset>

namespace OrvInterface {

namespace {

bool isAsciiHexDigit(QChar c)
{
    const ushort u = c.unicode();
    return (u >= '0' && u <= '9') || (u >= 'a' && u <= 'f') || (u >= 'A' && u <= 'F');
}

// Index of the first character at or after i that fails the predicate.
template <typename Predicate>
int skipWhile(const QString& text, int i, Predicate predicate)
{
    while (i < text.size() && predicate(text.at(i)))
        ++i;
    return i;
}

bool isDigit(QChar c)
{
    return c.isDigit();
}

// End of "\d+(\.\d+)?" starting at from, or from when there is no digit.
int decimalEnd(const QString& text, int from)
{
    int i = skipWhile(text, from, isDigit);
    if (i == from)
        return from;
    if (i + 1 < text.size() && text.at(i) == QLatin1Char('.') && text.at(i + 1).isDigit())
        i = skipWhile(text, i + 1, isDigit);
    return i;
}

// A match of one pass: where it starts and how long it is.
struct Match
{
    int position = -1;
    int length = 0;
};

template <typename LengthAt>
Match findLiteral(const QString& text, int from, LengthAt lengthAt)
{
    for (int p = from; p < text.size(); ++p) {
        const int length = lengthAt(text, p);
        if (length > 0)
            return {p, length};
    }
    return {};
}

// The decision of one match against the words made so far.
void takeMatch(const QString& expr, QList<Word*>& words, const Match& match, WordType type)
{
    for (Word* word : qAsConst(words)) {
        if (word->position == match.position) {
            // A longer match at the same start takes the word over.
            if (match.length > word->text.length()) {
                word->text = expr.mid(match.position, match.length);
                word->type = type;
            }
            return;
        }
        if (word->position < match.position && !word->text.isEmpty()
            && match.position < word->position + word->text.length())
            return; // inside a word already made
    }
    Word* word = new Word;
    word->text = expr.mid(match.position, match.length);
    word->type = type;
    word->position = match.position;
    words.append(word);
}

template <typename FindNext>
void matchPass(const QString& expr, QList<Word*>& words, WordType type, FindNext findNext)
{
    for (int from = 0;;) {
        const Match match = findNext(from);
        if (match.position < 0)
            return;
        takeMatch(expr, words, match, type);
        from = match.position + match.length;
    }
}

void literalPass(const QString& expr, QList<Word*>& words, int (*lengthAt)(const QString&, int))
{
    matchPass(expr, words, Number, [&](int from) { return findLiteral(expr, from, lengthAt); });
}

void symbolPass(const QString& expr, QList<Word*>& words, const QString& symbol, WordType type)
{
    matchPass(expr, words, type, [&](int from) {
        const int p = expr.indexOf(symbol, from, Qt::CaseSensitive);
        return p < 0 ? Match{} : Match{p, int(symbol.size())};
    });
}

// The characters of the text below 128, to skip the passes of symbols
// that cannot occur.
std::bitset<128> asciiCharacters(const QString& text)
{
    std::bitset<128> present;
    for (QChar c : text) {
        if (c.unicode() < 128)
            present.set(c.unicode());
    }
    return present;
}

bool mayOccur(const QString& symbol, const std::bitset<128>& present)
{
    const ushort first = symbol.isEmpty() ? 0 : symbol.at(0).unicode();
    return first >= 128 || present.test(first);
}

} // namespace

QList<SearchSymbol> g_operatorSearchOrder;

QList<SearchSymbol> operatorSearchOrder()
{
    QList<Operator_> ops = g_mapOperators.values();
    SortOperatorDesc(ops);
    QList<SearchSymbol> order;
    order.reserve(ops.size());
    for (const Operator_& op : qAsConst(ops))
        order.append({op.Symbol(), op.IsFun() ? Function : Operator});
    return order;
}

int hexLiteralLength(const QString& text, int from)
{
    if (from + 2 >= text.size() || text.at(from) != QLatin1Char('0') || text.at(from + 1) != QLatin1Char('x'))
        return 0;
    const int end = skipWhile(text, from + 2, isAsciiHexDigit);
    return end > from + 2 ? end - from : 0;
}

int scientificLiteralLength(const QString& text, int from)
{
    const int mantissaEnd = decimalEnd(text, from);
    if (mantissaEnd == from || mantissaEnd + 2 >= text.size())
        return 0;
    const QChar e = text.at(mantissaEnd);
    const QChar sign = text.at(mantissaEnd + 1);
    if ((e != QLatin1Char('e') && e != QLatin1Char('E')) || (sign != QLatin1Char('+') && sign != QLatin1Char('-'))
        || !text.at(mantissaEnd + 2).isDigit())
        return 0;
    return skipWhile(text, mantissaEnd + 2, isDigit) - from;
}

int decimalLiteralLength(const QString& text, int from)
{
    return decimalEnd(text, from) - from;
}

bool isHexLiteral(const QString& text)
{
    return !text.isEmpty() && hexLiteralLength(text, 0) == text.size();
}

int hexLiteralValue(const QString& text)
{
    quint64 value = 0;
    for (int i = 2; i < text.size(); ++i) {
        const ushort c = text.at(i).unicode();
        const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
        value = qMin<quint64>(value * 16 + quint64(digit), 0xFFFFFFFFu);
    }
    return int(quint32(value));
}

void ExpressionToWords(QString expr, QList<Word*>& words)
{
    literalPass(expr, words, hexLiteralLength);
    literalPass(expr, words, scientificLiteralLength);

    // The order made when the table was filled, unless the table has been
    // changed since.
    const QList<SearchSymbol> order = g_operatorSearchOrder.size() == g_mapOperators.size()
            ? g_operatorSearchOrder
            : operatorSearchOrder();
    const std::bitset<128> present = asciiCharacters(expr);
    for (const SearchSymbol& op : order) {
        if (mayOccur(op.symbol, present))
            symbolPass(expr, words, op.symbol, op.type);
    }
    for (const char* group : {"(", ")", ",", ":"}) {
        const QString symbol = QLatin1String(group);
        if (mayOccur(symbol, present))
            symbolPass(expr, words, symbol, Group);
    }

    literalPass(expr, words, decimalLiteralLength);
    SortWords(words);
}

bool sortWordCondition(Word* a, Word* b)
{
    return a->position < b->position;
}

void SortWords(QList<Word*>& words)
{
    if (words.isEmpty())
        return;
    std::stable_sort(words.begin(), words.end(), sortWordCondition);
    words.first()->prev = nullptr;
    for (int i = 1; i < words.size(); ++i) {
        words.at(i)->prev = words.at(i - 1);
        words.at(i - 1)->next = words.at(i);
    }
}

void InsertWord(QList<Word*>& words, int& index, const QString& text, const WordType& type)
{
    Word* word = new Word;
    word->text = text;
    word->type = type;

    // Clamped first: an empty list has no word 0 to insert before.
    if (index < 0)
        index = 0;
    if (index >= words.size()) {
        int position = 0;
        for (const Word* w : qAsConst(words))
            position += w->text.size();
        word->position = position;
        word->prev = words.isEmpty() ? nullptr : words.last();
        words.append(word);
        return;
    }

    Word* old = words.at(index);
    word->position = old->position;
    word->prev = old->prev;
    old->prev = word;
    word->next = old;
    words.insert(index, word);
    for (int i = index + 1; i < words.size(); ++i)
        words.at(i)->position += text.size();
}

void RemoveWord(QList<Word*>& words, int& index)
{
    if (index < 0 || index >= words.size())
        return;
    Word* removed = words.takeAt(index);
    const int length = removed->text.size();
    Word* before = removed->prev;
    delete removed;

    // The removed word's predecessor must not keep pointing at it, also
    // when nothing follows.
    if (before)
        before->next = index < words.size() ? words.at(index) : nullptr;
    for (int i = index; i < words.size(); ++i) {
        Word* word = words.at(i);
        word->prev = i == index ? before : words.at(i - 1);
        word->position -= length;
    }
}

} // namespace OrvInterface
