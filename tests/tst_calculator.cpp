// The expression calculator: operator table, tokenizer, builder and
// evaluation.

#include "support/reference_tokenizer.h"
#include "support/childprocess.h"

#include <OrvCalculator.h>

#include <QRandomGenerator>
#include <QTest>

#include <cmath>
#include <cstring>

using namespace OrvInterface;

Q_DECLARE_METATYPE(MathFunction)

namespace {

int randomExpressions()
{
    return TestProcess::runsSlowly() ? 5000 : 20000;
}

QString describe(const QList<Word*>& words)
{
    QList<Reference::Token> tokens;
    for (const Word* word : words)
        tokens.append({word->text, int(word->type), word->position});
    return Reference::describe(tokens);
}

QString rpnText(const QList<IStackObject*>& rpn)
{
    QStringList symbols;
    for (const IStackObject* object : rpn)
        symbols.append(object->Symbol());
    return symbols.join(QLatin1Char(' '));
}

// Words own themselves until a builder takes them: delete them here.
void deleteWords(QList<Word*>& words)
{
    qDeleteAll(words);
    words.clear();
}

// Whether prev/next link the list in order (the last next is not checked:
// SortWords leaves it alone).
bool linkedInOrder(const QList<Word*>& words)
{
    for (int i = 0; i < words.size(); ++i) {
        if (words.at(i)->prev != (i == 0 ? nullptr : words.at(i - 1)))
            return false;
        if (i + 1 < words.size() && words.at(i)->next != words.at(i + 1))
            return false;
    }
    return true;
}

// A random expression over the tokenizer's alphabet, lower case.
QByteArray randomExpression(QRandomGenerator& random)
{
    static const char* const pieces[] = {
        "0", "1", "2", "9", "0x", "0x1f", "ff", "1.5", ".", "e", "e+", "e-", "1e+3", "+", "-", "*", "**", "/", "%",
        "<", ">", "<=", ">=", "<<", ">>", "<>", "!=", "!", "=", "&", "&&", "|", "||", "^", "~", "?", ":", "(", ")",
        ",", "max", "min", "pow", "sqrt", "sin", "asin", "asinh", "sinh", "log", "log10", "round", "negate", "abs",
        "a", "x", "$", " ", "\xd9\xa1", "\xe4\xb8\xad"};
    const int count = random.bounded(1, 14);
    QByteArray text;
    for (int i = 0; i < count; ++i)
        text += pieces[random.bounded(int(sizeof pieces / sizeof *pieces))];
    return text;
}

} // namespace

class TestCalculator : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    // Stack objects and the operator table.
    void stackObjectTypes();
    void operatorIsAValueType();
    void operatorTable_data();
    void operatorTable();
    void operatorTableIsFilledOnce();
    void functionPattern();
    void priorities_data();
    void priorities();
    void sortOperatorDesc();
    void escapeString();
    void mathFunctions_data();
    void mathFunctions();
    void mathFunctionsCheckTheirArgumentCount();

    // Tokenizer.
    void tokenize_data();
    void tokenize();
    void tokenizerMatchesItsPatterns();
    void insertWord();
    void removeWord();
    void sortWords();

    // Builder and evaluation.
    void reversePolish_data();
    void reversePolish();
    void compute_data();
    void compute();
    void computeNullExpression();
    void domainErrorsAreResults();
    void errorTextOutlivesSuccess();
    void longMessagesStayInTheBuffer();
    void builderClearReleasesEverything();
};

void TestCalculator::initTestCase()
{
    // Compute fills the table; the tests below look at it directly.
    bool ok = false;
    QCOMPARE(Compute("1", ok), 1.0);
    QVERIFY(ok);
}

void TestCalculator::stackObjectTypes()
{
    Operand_ operand;
    GroupOperator_ group;
    Operator_ op;
    QCOMPARE(operand.Type(), 1);
    QCOMPARE(group.Type(), 2);
    QCOMPARE(op.Type(), 0);
    operand.setSymbol(QStringLiteral("+"));
    op.setSymbol(QStringLiteral("12"));
    group.setSymbol(QStringLiteral(")"));
    QCOMPARE(operand.Type(), 1);
    QCOMPARE(op.Type(), 0);
    QCOMPARE(group.Type(), 2);
    QCOMPARE(operand.Symbol(), QStringLiteral("+"));
    QCOMPARE(group.Symbol(), QStringLiteral(")"));
    QCOMPARE(operand.Value(), 0.0);
    operand.setValue(2.5);
    QCOMPARE(operand.Value(), 2.5);

    Word word;
    QVERIFY(word.text.isEmpty());
    QCOMPARE(int(word.type), 0);
    QVERIFY(!word.prev && !word.next);
    QCOMPARE(word.position, 0);
    QVERIFY(!word.funBracket);
}

void TestCalculator::operatorIsAValueType()
{
    const Operator_& original = g_mapOperators[QStringLiteral("max")];
    {
        Operator_ copy = original;
        QCOMPARE(copy.Symbol(), QStringLiteral("max"));
        QCOMPARE(copy.Priority(), 4);
        QCOMPARE(copy.ParamCount(), 2);
        QVERIFY(copy.IsFun());
        QVERIFY(copy.MathFun() == &Max);
        copy.setSymbol(QStringLiteral("changed"));
        copy.setPriority(9);
        copy.setParamCount(7);
        copy.setIsFun(false);
        copy.setMathFun(&Min);
    }
    QCOMPARE(original.Symbol(), QStringLiteral("max"));
    QCOMPARE(original.Priority(), 4);
    QCOMPARE(original.ParamCount(), 2);
    QVERIFY(original.IsFun());
    QVERIFY(original.MathFun() == &Max);
}

void TestCalculator::operatorTable_data()
{
    QTest::addColumn<QString>("symbol");
    QTest::addColumn<int>("params");
    QTest::addColumn<bool>("isFunction");
    QTest::addColumn<MathFunction>("function");
    QTest::addColumn<int>("priority");

    struct Row
    {
        const char* symbol;
        int params;
        bool isFunction;
        MathFunction function;
        int priority;
    };
    const Row rows[] = {
        {"+", 2, false, Plus, 0}, {"-", 2, false, Minus, 0}, {"negate", 1, false, Negate, 7},
        {"*", 2, false, Mul, 1}, {"/", 2, false, Div, 1}, {"%", 2, false, Mod, 8},
        {">=", 2, false, GreaterThanEqual, 7}, {">", 2, false, GreaterThan, 7},
        {"<=", 2, false, LessrThanEqual, 7}, {"<", 2, false, LessrThan, 7}, {"!=", 2, false, NotEqual, 6},
        {"<>", 2, false, NotEqual, 6}, {"=", 2, false, Equal, 6}, {"&&", 2, false, AND, 5}, {"||", 2, false, OR, 5},
        {"|", 2, false, BIT_OR, 8}, {"&", 2, false, BIT_AND, 8}, {"~", 1, false, BIT_NOT, 8},
        {"^", 2, false, BIT_XOR, 8}, {"**", 1, false, Sqrt, 2}, {"<<", 2, false, BIT_LEFT, 8},
        {">>", 2, false, BIT_RIGHT, 8}, {"pow", 2, true, Pow, 4}, {"abs", 1, true, Abs, 4},
        {"ceil", 1, true, Ceil, 4}, {"floor", 1, true, Floor, 4}, {"sqrt", 1, true, Sqrt, 4},
        {"sin", 1, true, Sin, 4}, {"cos", 1, true, Cos, 4}, {"tan", 1, true, Tan, 4}, {"asin", 1, true, Asin, 4},
        {"acos", 1, true, Acos, 4}, {"atan", 1, true, Atan, 4}, {"asinh", 1, true, Asinh, 4},
        {"acosh", 1, true, Acosh, 4}, {"atanh", 1, true, Atanh, 4}, {"sinh", 1, true, Sinh, 4},
        {"cosh", 1, true, Cosh, 4}, {"tanh", 1, true, Tanh, 4}, {"exp", 1, true, Exp, 4}, {"log", 1, true, Log, 4},
        {"log10", 1, true, Log10, 4}, {"max", 2, true, Max, 4}, {"min", 2, true, Min, 4},
        {"round", 1, true, Min, 4}, {"?", 3, false, Ternary, 4},
    };
    for (const Row& row : rows) {
        QTest::newRow(row.symbol) << QString::fromLatin1(row.symbol) << row.params << row.isFunction << row.function
                                  << row.priority;
    }
}

void TestCalculator::operatorTable()
{
    QFETCH(QString, symbol);
    QFETCH(int, params);
    QFETCH(bool, isFunction);
    QFETCH(MathFunction, function);
    QFETCH(int, priority);

    QCOMPARE(g_mapOperators.size(), 46);
    QVERIFY(g_mapOperators.contains(symbol));
    const Operator_ op = g_mapOperators.value(symbol);
    QCOMPARE(op.Symbol(), symbol);
    QCOMPARE(op.ParamCount(), params);
    QCOMPARE(op.IsFun(), isFunction);
    QVERIFY(op.MathFun() == function);
    QCOMPARE(op.Priority(), priority);
    QCOMPARE(op.Type(), 0);
}

void TestCalculator::operatorTableIsFilledOnce()
{
    const Operator_* plus = &g_mapOperators[QStringLiteral("+")];
    const QString pattern = g_mathFuncPattern;
    Enviroment();
    Enviroment();
    QCOMPARE(g_mapOperators.size(), 46);
    QCOMPARE(&g_mapOperators[QStringLiteral("+")], plus);
    QCOMPARE(g_mathFuncPattern, pattern);
}

void TestCalculator::functionPattern()
{
    QCOMPARE(g_mathFuncPattern, QStringLiteral("abs|acos|acosh|asin|asinh|atan|atanh|ceil|cos|cosh|exp|floor|log|log10|"
                                               "max|min|pow|round|sin|sinh|sqrt|tan|tanh"));
}

void TestCalculator::priorities_data()
{
    QTest::addColumn<QString>("symbol");
    QTest::addColumn<int>("priority");
    for (const char* s : {"+", "-"})
        QTest::newRow(s) << QString::fromLatin1(s) << 0;
    for (const char* s : {"*", "/"})
        QTest::newRow(s) << QString::fromLatin1(s) << 1;
    QTest::newRow("**") << QStringLiteral("**") << 2;
    for (const char* s : {"&&", "||"})
        QTest::newRow(s) << QString::fromLatin1(s) << 5;
    for (const char* s : {"=", "!=", "<>"})
        QTest::newRow(s) << QString::fromLatin1(s) << 6;
    for (const char* s : {"negate", ">", ">=", "<", "<="})
        QTest::newRow(s) << QString::fromLatin1(s) << 7;
    for (const char* s : {"^", "|", "&", "<<", ">>", "~", "%"})
        QTest::newRow(s) << QString::fromLatin1(s) << 8;
    for (const char* s : {"?", "max", "sqrt", "anything", "", "NEGATE", "+ "})
        QTest::newRow(s[0] ? s : "empty") << QString::fromLatin1(s) << 4;
}

void TestCalculator::priorities()
{
    QFETCH(QString, symbol);
    QFETCH(int, priority);
    QCOMPARE(GetPriority(symbol), priority);
}

void TestCalculator::sortOperatorDesc()
{
    QList<Operator_> ops = g_mapOperators.values();
    SortOperatorDesc(ops);
    QCOMPARE(ops.size(), 46);
    for (int i = 1; i < ops.size(); ++i)
        QVERIFY(ops.at(i - 1).Symbol().size() >= ops.at(i).Symbol().size());
    QCOMPARE(ops.first().Symbol(), QStringLiteral("negate"));
    auto indexOf = [&ops](const char* symbol) {
        for (int i = 0; i < ops.size(); ++i) {
            if (ops.at(i).Symbol() == QLatin1String(symbol))
                return i;
        }
        return -1;
    };
    QVERIFY(indexOf("**") < indexOf("*"));
    QVERIFY(indexOf("<=") < indexOf("<"));
    QVERIFY(indexOf("asinh") < indexOf("asin"));
    QVERIFY(indexOf("asin") < indexOf("sin"));
    QVERIFY(indexOf("log10") < indexOf("log"));
    QVERIFY(sortOperatorDescCondition(g_mapOperators.value(QStringLiteral("**")), g_mapOperators.value(QStringLiteral("*"))));
    QVERIFY(!sortOperatorDescCondition(g_mapOperators.value(QStringLiteral("+")), g_mapOperators.value(QStringLiteral("-"))));
}

void TestCalculator::escapeString()
{
    QCOMPARE(GetEscapeString(QStringLiteral("**")), QStringLiteral("\\*\\*"));
    QCOMPARE(GetEscapeString(QStringLiteral("||")), QStringLiteral("\\|\\|"));
    QCOMPARE(GetEscapeString(QStringLiteral("?")), QStringLiteral("\\?"));
    QCOMPARE(GetEscapeString(QStringLiteral("max")), QStringLiteral("max"));
}

void TestCalculator::mathFunctions_data()
{
    QTest::addColumn<MathFunction>("function");
    QTest::addColumn<QList<double>>("args");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<double>("result");

    QTest::newRow("Plus") << MathFunction(Plus) << QList<double>{1, 2} << true << 3.0;
    QTest::newRow("Minus order") << MathFunction(Minus) << QList<double>{5, 2} << true << 3.0;
    QTest::newRow("Negate") << MathFunction(Negate) << QList<double>{4} << true << -4.0;
    QTest::newRow("Mul") << MathFunction(Mul) << QList<double>{3, 4} << true << 12.0;
    QTest::newRow("Div") << MathFunction(Div) << QList<double>{1, 4} << true << 0.25;
    QTest::newRow("Div by 0") << MathFunction(Div) << QList<double>{1, 0} << false << 0.0;
    QTest::newRow("Div by -0") << MathFunction(Div) << QList<double>{1, -0.0} << false << 0.0;
    QTest::newRow("Mod") << MathFunction(Mod) << QList<double>{7, 3} << true << 1.0;
    QTest::newRow("Mod sign of dividend") << MathFunction(Mod) << QList<double>{-7, 3} << true << -1.0;
    QTest::newRow("Mod truncates") << MathFunction(Mod) << QList<double>{7.9, 3.9} << true << 1.0;
    QTest::newRow("Mod by 0") << MathFunction(Mod) << QList<double>{7, 0} << false << 0.0;
    QTest::newRow("Mod by 0.5") << MathFunction(Mod) << QList<double>{7, 0.5} << false << 0.0;
    QTest::newRow("Mod by -0.9") << MathFunction(Mod) << QList<double>{7, -0.9} << false << 0.0;
    QTest::newRow("Mod INT_MIN by -1") << MathFunction(Mod) << QList<double>{-2147483648.0, -1} << true << 0.0;
    QTest::newRow("Ternary true") << MathFunction(Ternary) << QList<double>{2, 5, 6} << true << 5.0;
    QTest::newRow("Ternary false") << MathFunction(Ternary) << QList<double>{0, 5, 6} << true << 6.0;
    QTest::newRow("BIT_AND") << MathFunction(BIT_AND) << QList<double>{5.9, 3.9} << true << 1.0;
    QTest::newRow("BIT_OR") << MathFunction(BIT_OR) << QList<double>{4, 3} << true << 7.0;
    QTest::newRow("BIT_XOR") << MathFunction(BIT_XOR) << QList<double>{2, 3} << true << 1.0;
    QTest::newRow("BIT_AND saturates") << MathFunction(BIT_AND) << QList<double>{1e12, -1} << true << 2147483647.0;
    QTest::newRow("BIT_OR saturates low") << MathFunction(BIT_OR) << QList<double>{-1e12, 0} << true << -2147483648.0;
    QTest::newRow("BIT_OR NaN") << MathFunction(BIT_OR) << QList<double>{qQNaN(), 6} << true << 6.0;
    QTest::newRow("BIT_NOT") << MathFunction(BIT_NOT) << QList<double>{0} << true << -1.0;
    QTest::newRow("BIT_LEFT") << MathFunction(BIT_LEFT) << QList<double>{1, 4} << true << 16.0;
    QTest::newRow("BIT_LEFT 32") << MathFunction(BIT_LEFT) << QList<double>{1, 32} << true << 0.0;
    QTest::newRow("BIT_LEFT low 8 bits") << MathFunction(BIT_LEFT) << QList<double>{1, 257} << true << 2.0;
    QTest::newRow("BIT_LEFT into sign") << MathFunction(BIT_LEFT) << QList<double>{1, 31} << true << -2147483648.0;
    QTest::newRow("BIT_RIGHT") << MathFunction(BIT_RIGHT) << QList<double>{-8, 1} << true << -4.0;
    QTest::newRow("BIT_RIGHT 40 negative") << MathFunction(BIT_RIGHT) << QList<double>{-8, 40} << true << -1.0;
    QTest::newRow("BIT_RIGHT 40 positive") << MathFunction(BIT_RIGHT) << QList<double>{8, 40} << true << 0.0;
    QTest::newRow("AND") << MathFunction(AND) << QList<double>{2, 0.5} << true << 1.0;
    QTest::newRow("AND false") << MathFunction(AND) << QList<double>{2, 0} << true << 0.0;
    QTest::newRow("OR") << MathFunction(OR) << QList<double>{0, -1} << true << 1.0;
    QTest::newRow("OR false") << MathFunction(OR) << QList<double>{0, 0} << true << 0.0;
    QTest::newRow("GreaterThan") << MathFunction(GreaterThan) << QList<double>{2, 1} << true << 1.0;
    QTest::newRow("GreaterThanEqual") << MathFunction(GreaterThanEqual) << QList<double>{1, 1} << true << 1.0;
    QTest::newRow("LessrThan") << MathFunction(LessrThan) << QList<double>{1, 1} << true << 0.0;
    QTest::newRow("LessrThanEqual") << MathFunction(LessrThanEqual) << QList<double>{1, 2} << true << 1.0;
    QTest::newRow("Equal") << MathFunction(Equal) << QList<double>{0.1 + 0.2, 0.3} << true << 0.0;
    QTest::newRow("NotEqual") << MathFunction(NotEqual) << QList<double>{1, 2} << true << 1.0;
    QTest::newRow("Abs") << MathFunction(Abs) << QList<double>{-2.5} << true << 2.5;
    QTest::newRow("Max") << MathFunction(Max) << QList<double>{1.5, 2} << true << 2.0;
    QTest::newRow("Min") << MathFunction(Min) << QList<double>{1.5, 2} << true << 1.5;
    QTest::newRow("Sqrt") << MathFunction(Sqrt) << QList<double>{16} << true << 4.0;
    QTest::newRow("Pow") << MathFunction(Pow) << QList<double>{2, 10} << true << 1024.0;
    QTest::newRow("Ceil") << MathFunction(Ceil) << QList<double>{1.2} << true << 2.0;
    QTest::newRow("Floor") << MathFunction(Floor) << QList<double>{-1.2} << true << -2.0;
    QTest::newRow("Round half away") << MathFunction(Round) << QList<double>{2.5} << true << 3.0;
    QTest::newRow("Round negative") << MathFunction(Round) << QList<double>{-2.5} << true << -3.0;
    QTest::newRow("Sin") << MathFunction(Sin) << QList<double>{0} << true << 0.0;
    QTest::newRow("Cos") << MathFunction(Cos) << QList<double>{0} << true << 1.0;
    QTest::newRow("Tan") << MathFunction(Tan) << QList<double>{0} << true << 0.0;
    QTest::newRow("Asin") << MathFunction(Asin) << QList<double>{1} << true << std::asin(1.0);
    QTest::newRow("Acos") << MathFunction(Acos) << QList<double>{1} << true << 0.0;
    QTest::newRow("Atan") << MathFunction(Atan) << QList<double>{1} << true << std::atan(1.0);
    QTest::newRow("Asinh") << MathFunction(Asinh) << QList<double>{1} << true << std::log(1 + std::sqrt(2.0));
    QTest::newRow("Acosh") << MathFunction(Acosh) << QList<double>{2} << true << std::log(2 + std::sqrt(3.0));
    QTest::newRow("Atanh multiplies") << MathFunction(Atanh) << QList<double>{0.5} << true << 0.5 * std::log(0.75);
    QTest::newRow("Sinh") << MathFunction(Sinh) << QList<double>{1} << true << std::sinh(1.0);
    QTest::newRow("Cosh") << MathFunction(Cosh) << QList<double>{1} << true << std::cosh(1.0);
    QTest::newRow("Tanh") << MathFunction(Tanh) << QList<double>{1} << true << std::tanh(1.0);
    QTest::newRow("Exp") << MathFunction(Exp) << QList<double>{1} << true << std::exp(1.0);
    QTest::newRow("Log") << MathFunction(Log) << QList<double>{std::exp(2.0)} << true << 2.0;
    QTest::newRow("Log10") << MathFunction(Log10) << QList<double>{1000} << true << 3.0;
}

void TestCalculator::mathFunctions()
{
    QFETCH(MathFunction, function);
    QFETCH(QList<double>, args);
    QFETCH(bool, ok);
    QFETCH(double, result);

    double value = -99.0;
    QCOMPARE(function(args, value), ok);
    if (ok)
        QCOMPARE(value, result);
    else
        QCOMPARE(value, -99.0); // left untouched
}

void TestCalculator::mathFunctionsCheckTheirArgumentCount()
{
    // Every registered function, and Round, refuses any other count and
    // leaves the result alone.
    QList<Operator_> ops = g_mapOperators.values();
    Operator_ round;
    round.setSymbol(QStringLiteral("Round"));
    round.setMathFun(Round);
    round.setParamCount(1);
    ops.append(round);
    for (const Operator_& op : qAsConst(ops)) {
        // "round" is registered with Min, which takes two.
        const int expected = op.Symbol() == QLatin1String("round") ? 2 : op.ParamCount();
        for (int count = 0; count <= 4; ++count) {
            QList<double> args;
            for (int i = 0; i < count; ++i)
                args.append(i + 1.5);
            double result = -99.0;
            const bool ok = op.MathFun()(args, result);
            QVERIFY2(ok == (count == expected), qPrintable(QStringLiteral("%1 with %2").arg(op.Symbol()).arg(count)));
            if (!ok)
                QCOMPARE(result, -99.0);
        }
    }
}

void TestCalculator::tokenize_data()
{
    QTest::addColumn<QString>("expression");
    QTest::addColumn<QString>("words"); // text/type/position

    QTest::newRow("max(1,2)") << QStringLiteral("max(1,2)") << QStringLiteral("max/3/0 (/4/3 1/2/4 ,/4/5 2/2/6 )/4/7");
    QTest::newRow("1e5") << QStringLiteral("1e5") << QStringLiteral("1/2/0 5/2/2");
    QTest::newRow("0x") << QStringLiteral("0x") << QStringLiteral("0/2/0");
    QTest::newRow("1?2:3") << QStringLiteral("1?2:3") << QStringLiteral("1/2/0 ?/1/1 2/2/2 :/4/3 3/2/4");
    QTest::newRow("negate5") << QStringLiteral("negate5") << QStringLiteral("negate/1/0 5/2/6");
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("hex stays whole") << QStringLiteral("0x1f+2") << QStringLiteral("0x1f/2/0 +/1/4 2/2/5");
    QTest::newRow("scientific") << QStringLiteral("1.5e+3") << QStringLiteral("1.5e+3/2/0");
    QTest::newRow("asin") << QStringLiteral("asin(1)") << QStringLiteral("asin/3/0 (/4/4 1/2/5 )/4/6");
    QTest::newRow("<=") << QStringLiteral("1<=2") << QStringLiteral("1/2/0 <=/1/1 2/2/3");
    QTest::newRow("**") << QStringLiteral("**4") << QStringLiteral("**/1/0 4/2/2");
    QTest::newRow("second point") << QStringLiteral("1.2.3") << QStringLiteral("1.2/2/0 3/2/4");
    QTest::newRow("log10") << QStringLiteral("log10(1)") << QStringLiteral("log10/3/0 (/4/5 1/2/6 )/4/7");
}

void TestCalculator::tokenize()
{
    QFETCH(QString, expression);
    QFETCH(QString, words);

    QList<Word*> list;
    ExpressionToWords(expression, list);
    QCOMPARE(describe(list), words);
    QVERIFY(linkedInOrder(list));
    deleteWords(list);
}

void TestCalculator::tokenizerMatchesItsPatterns()
{
    // The hand-made matching cuts every text as the regular expressions do.
    QRandomGenerator random(20261120);
    for (int i = 0, count = randomExpressions(); i < count; ++i) {
        const QString expression = QString::fromUtf8(randomExpression(random)).remove(QLatin1Char(' '));
        QList<Word*> words;
        ExpressionToWords(expression, words);
        const QString got = describe(words);
        deleteWords(words);
        const QString expected = Reference::describe(Reference::tokenize(expression));
        if (got != expected)
            QFAIL(qPrintable(QStringLiteral("\"%1\": %2, expected %3").arg(expression, got, expected)));
    }
}

void TestCalculator::insertWord()
{
    QList<Word*> words;
    ExpressionToWords(QStringLiteral("1-2"), words);

    // Two insertions at one index: the second lands in front of the first.
    int index = 2;
    InsertWord(words, index, QStringLiteral("*"), Operator);
    InsertWord(words, index, QStringLiteral("1"), Number);
    QCOMPARE(index, 2);
    QCOMPARE(describe(words), QStringLiteral("1/2/0 -/1/1 1/2/2 */1/3 2/2/4"));
    QCOMPARE(words.at(2)->next, words.at(3));
    QCOMPARE(words.at(3)->prev, words.at(2));
    QCOMPARE(words.at(4)->prev, words.at(3));

    // At the end: positioned after all text, linked back only.
    int end = 99;
    InsertWord(words, end, QStringLiteral(")"), Group);
    QCOMPARE(end, 99);
    QCOMPARE(words.last()->position, 5);
    QCOMPARE(words.last()->prev, words.at(4));

    // A negative index becomes 0.
    int negative = -3;
    InsertWord(words, negative, QStringLiteral("("), Group);
    QCOMPARE(negative, 0);
    QCOMPARE(describe(words), QStringLiteral("(/4/0 1/2/1 -/1/2 1/2/3 */1/4 2/2/5 )/4/6"));
    QVERIFY(!words.first()->prev);
    QCOMPARE(words.first()->next, words.at(1));
    deleteWords(words);

    // Into an empty list, a negative index appends too.
    QList<Word*> empty;
    int below = -1;
    InsertWord(empty, below, QStringLiteral("7"), Number);
    QCOMPARE(below, 0);
    QCOMPARE(describe(empty), QStringLiteral("7/2/0"));
    QVERIFY(!empty.first()->prev);
    deleteWords(empty);
}

void TestCalculator::removeWord()
{
    QList<Word*> words;
    ExpressionToWords(QStringLiteral("10+20"), words);
    int outside = 3;
    RemoveWord(words, outside);
    int negative = -1;
    RemoveWord(words, negative);
    QCOMPARE(words.size(), 3);

    int middle = 1;
    RemoveWord(words, middle);
    QCOMPARE(describe(words), QStringLiteral("10/2/0 20/2/2"));
    QCOMPARE(words.at(1)->prev, words.at(0));
    QCOMPARE(words.at(0)->next, words.at(1));

    int last = 1;
    RemoveWord(words, last);
    QCOMPARE(describe(words), QStringLiteral("10/2/0"));
    QVERIFY(!words.at(0)->next); // no link to the deleted word

    int first = 0;
    RemoveWord(words, first);
    QVERIFY(words.isEmpty());
}

void TestCalculator::sortWords()
{
    QList<Word*> words;
    for (int position : {4, 0, 2}) {
        Word* word = new Word;
        word->text = QString::number(position);
        word->position = position;
        words.append(word);
    }
    SortWords(words);
    QCOMPARE(words.at(0)->position, 0);
    QCOMPARE(words.at(1)->position, 2);
    QCOMPARE(words.at(2)->position, 4);
    QVERIFY(linkedInOrder(words));
    QVERIFY(sortWordCondition(words.at(0), words.at(1)));
    QVERIFY(!sortWordCondition(words.at(1), words.at(1)));
    deleteWords(words);

    QList<Word*> none;
    SortWords(none);
    QVERIFY(none.isEmpty());
}

void TestCalculator::reversePolish_data()
{
    QTest::addColumn<QString>("expression");
    QTest::addColumn<QString>("rpn");

    QTest::newRow("1+2*3") << QStringLiteral("1+2*3") << QStringLiteral("1 2 3 * +");
    QTest::newRow("left associative") << QStringLiteral("8/2/2") << QStringLiteral("8 2 / 2 /");
    QTest::newRow("conditional") << QStringLiteral("1?2:3") << QStringLiteral("1 2 3 ?");
    QTest::newRow("unary minus") << QStringLiteral("-4") << QStringLiteral("1 negate 4 *");
    QTest::newRow("minus") << QStringLiteral("5-4") << QStringLiteral("5 1 4 * -");
    QTest::newRow("after division") << QStringLiteral("6/-3") << QStringLiteral("6 1 negate * 3 /");
    QTest::newRow("function") << QStringLiteral("max(1,2+3)") << QStringLiteral("1 2 3 + max");
    QTest::newRow("prefix operators") << QStringLiteral("~~5") << QStringLiteral("~ 5 ~");
}

void TestCalculator::reversePolish()
{
    QFETCH(QString, expression);
    QFETCH(QString, rpn);

    ExpressBuilder builder;
    QVERIFY2(builder.Parse(expression), GetCalculatorErro());
    QCOMPARE(rpnText(builder.rpn), rpn);
    QVERIFY(builder.stack.isEmpty());
}

void TestCalculator::compute_data()
{
    QTest::addColumn<QByteArray>("expression");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<double>("value");
    QTest::addColumn<QByteArray>("message");

    auto good = [](const char* expression, double value) {
        QTest::newRow(expression) << QByteArray(expression) << true << value << QByteArray();
    };
    auto bad = [](const char* expression, const char* message) {
        QTest::newRow(expression) << QByteArray(expression) << false << 0.0 << QByteArray(message);
    };

    good("1+2*3", 7);
    good("(1+2)*3", 9);
    good("2*3+4", 10);
    good("2+3*4", 14);
    good("1+2=3", 1);
    good("1 2", 12);
    good("  1 + 2 ", 3);
    QTest::newRow("tab, newline, return") << QByteArray("\t1\n+\r2") << true << 3.0 << QByteArray();
    good("SQRT(4)", 2);
    good("2*-3", -6);
    good("6/-3", -2);
    good("-5", -5);
    good("10-2-3", 5);
    good("0xff+1", 256);
    good("0XFF", 255);
    good("0xffffffff", -1);
    good("0x80000000", -2147483648.0);
    good("0x1ffffffff", -1); // saturates at 0xffffffff
    good("1.5e+3", 1500);
    good("2.5E-1", 0.25);
    good("1?2:3", 2);
    good("0?2:3", 3);
    good("(1>2)?5:max(6,7)", 7);
    good("1?2:3+4", 6);
    good("1+0?2:3", 4);
    good("1>0?2:3", 2);
    good("1?(2+3):4", 5);
    good("0?1:max(2,3)", 3);
    good("1?2:(3)", 2);
    good("1?0?5:6:7", 6);
    good("~0", -1);
    good("1 << 32", 0);
    good("(0-8) >> 40", -1);
    good("5.9 & 3.9", 1);
    good("**16", 4);
    good("pow(2,10)", 1024);
    good("2 ^ 3", 1);
    good("atanh(0.5)", 0.5 * std::log(0.75));
    good("max(1.5,2)", 2);
    good("max(max(1,2),min(3,4))", 3);
    good("negate5", -5);
    good("1+2>1", 2);
    good("1<2", 1);
    good("2<=2", 1);
    good("1!=1", 0);
    good("1<>2", 1);
    good("1&&0", 0);
    good("0||3", 1);
    good("3|4", 7);
    good("6&3", 2);
    good("10%3", 1);
    good("-7%3", -1);
    good("abs(0-3)", 3);
    good("ceil(1.2)", 2);
    good("floor(1.8)", 1);
    good("cos(0)", 1);
    good("exp(0)", 1);
    good("log10(100)", 2);
    good("1.5", 1.5);
    good("((((1))))", 1);

    bad("", "Expression is Empty.");
    bad("   ", "Expression is Empty.");
    bad("abc", "The expression is invalid.");
    bad("1$2", "The characters:$ are invalid.from 1 to 1");
    bad("1+2$", "The characters:$ are invalid.from 3 to end");
    bad("22$3", "The characters:$3 are invalid.from 2 to 2");
    bad("1e5", "The characters:e are invalid.from 1 to 1");
    bad("0x", "The characters:x are invalid.from 1 to end");
    bad("sqrt 4", "the fun:sqrt are not start with '(',position 4.");
    bad("max(1)", "the fun:max params count 1 error.real count 2. position 3.");
    bad("max(1,2", "the fun:max are not close. position 3.");
    bad("abs()", "the fun:'abs' params is empty. position 3.");
    bad("max(1,)", "compute failed. param index error. index:-1.the operator 'max'");
    bad("(1+2", "build rpn failed. have error.the symbol '(' is error.");
    bad("1+2)", "build rpn failed. have error. can't find symbol '('.");
    bad("1,2", "build rpn failed. have error. can't find symbol '('.");
    bad("~~5", "compute failed. param index error. index:-1.the operator '~'");
    bad("1?2", "the operator:'?' have no third param. position 2.");
    bad("?1:2", "the operator:'?' have no first param. position 1.");
    bad("+?1:2", "the operator:'?' have no second param. position 2.");
    bad("1)?2:3", "the operator:'?' are not closed. position 3.");
    bad("1?2:", "the operator:'?' have no third param. position 2.");
    bad("1?2:(3", "the operator:'?' have no third param. position 2.");
    bad("1+", "compute failed. param index error. index:-1.the operator '+'");
    bad("(1)(2)", "compute failed.the result is left.");
    bad("5/0", "compute failed.call mathfun failed. the operator '/'.args:'5,0'");
    bad("7 % 0.5", "compute failed.call mathfun failed. the operator '%'.args:'7,0.5'");
    bad("round(1.2)", "compute failed.call mathfun failed. the operator 'round'.args:'1.2'");
    bad("round(2.5)", "compute failed.call mathfun failed. the operator 'round'.args:'2.5'");
    bad("1/3/0", "compute failed.call mathfun failed. the operator '/'.args:'0.333333,0'");
}

void TestCalculator::compute()
{
    QFETCH(QByteArray, expression);
    QFETCH(bool, ok);
    QFETCH(double, value);
    QFETCH(QByteArray, message);

    bool computed = !ok;
    const double result = Compute(expression.constData(), computed);
    QCOMPARE(computed, ok);
    if (ok) {
        QCOMPARE(result, value);
    } else {
        QCOMPARE(result, 0.0);
        QCOMPARE(QByteArray(GetCalculatorErro()), message);
    }
}

void TestCalculator::computeNullExpression()
{
    bool ok = true;
    QCOMPARE(Compute(nullptr, ok), 0.0);
    QVERIFY(!ok);
    QCOMPARE(QByteArray(GetCalculatorErro()), QByteArray("Expression is Empty."));
}

void TestCalculator::domainErrorsAreResults()
{
    bool ok = false;
    QVERIFY(qIsNaN(Compute("sqrt(0-4)", ok)));
    QVERIFY(ok);
    const double log0 = Compute("log(0)", ok);
    QVERIFY(ok);
    QVERIFY(qIsInf(log0) && log0 < 0);
    QVERIFY(qIsNaN(Compute("acos(2)", ok)));
    QVERIFY(ok);
}

void TestCalculator::errorTextOutlivesSuccess()
{
    bool ok = true;
    Compute("5/0", ok);
    QVERIFY(!ok);
    const QByteArray message = GetCalculatorErro();
    QCOMPARE(Compute("1+1", ok), 2.0);
    QVERIFY(ok);
    QCOMPARE(QByteArray(GetCalculatorErro()), message);
}

void TestCalculator::longMessagesStayInTheBuffer()
{
    // The quoted characters would make a message far longer than the
    // 512-byte buffer: it is cut, and always terminated inside it.
    const QByteArray expression = "1" + QByteArray(2000, '$');
    bool ok = true;
    Compute(expression.constData(), ok);
    QVERIFY(!ok);
    const char* text = GetCalculatorErro();
    QCOMPARE(int(strnlen(text, 512)), 511);
    QVERIFY(QByteArray(text).startsWith("The characters:$$$"));

    const QByteArray manyArgs = "max(" + QByteArray(600, '1') + ",1)/0";
    Compute(manyArgs.constData(), ok);
    QVERIFY(!ok);
    QVERIFY(strnlen(GetCalculatorErro(), 512) < 512);
}

void TestCalculator::builderClearReleasesEverything()
{
    ExpressBuilder builder;
    QVERIFY(builder.Parse(QStringLiteral("max(1,2)?3:4")));
    QVERIFY(!builder.rpn.isEmpty());
    QVERIFY(!builder.words.isEmpty());
    builder.clear();
    QVERIFY(builder.rpn.isEmpty());
    QVERIFY(builder.words.isEmpty());
    QVERIFY(builder.stack.isEmpty());
    // The table's operators were not deleted with the rest.
    QCOMPARE(g_mapOperators.value(QStringLiteral("max")).Symbol(), QStringLiteral("max"));

    // A failed parse leaves nothing behind either.
    QVERIFY(!builder.Parse(QStringLiteral("(1+2")));
    builder.clear();
    QVERIFY(builder.stack.isEmpty() && builder.rpn.isEmpty() && builder.words.isEmpty());
}

QTEST_GUILESS_MAIN(TestCalculator)
#include "tst_calculator.moc"
