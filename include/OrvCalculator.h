/** @file
 * OrvCalculator: a small expression calculator over doubles.
 *
 * Compute() is the interface a client uses: it evaluates a text such as
 * "(1>2)?5:max(6,7)" and reports failure through ok and the text returned
 * by GetCalculatorErro(). Everything else in this header is the
 * calculator's machinery, exported for callers that want to look inside
 * and documented in @ref calculator_internals; a client needs none of it,
 * so prefer using-declarations (using OrvInterface::Compute;) to a using
 * directive, which would bring names such as Word, Number, Log, AND and
 * Plus into the client's scope.
 *
 * @par Threads
 * Compute() may be called from any thread: calls are serialised by the
 * calculator's mutex. The failure text is one for the whole process: a
 * failure in another thread may replace it between a Compute() and the
 * GetCalculatorErro() that follows.
 *
 * @par Rules
 * The rules are this calculator's own (see @ref compatibility): a larger
 * priority binds more tightly, comparisons and "=" bind more tightly than
 * "+", bitwise operators and "%" tightest of all; every operator is
 * left-associative; "**" is a one-operand square root and "^" exclusive
 * or; a number in scientific notation needs a sign in its exponent
 * ("1.5e+3", not "1e3"); "round" always fails. See GetPriority() for the
 * scale.
 */
#ifndef ORVCALCULATOR_H
#define ORVCALCULATOR_H

#include "commontools_export.h"

#include <QList>
#include <QMap>
#include <QStack>
#include <QString>

namespace OrvInterface {

/** @name Evaluation
 * The calculator's interface.
 * @{ */

/** The value of expression (UTF-8, NUL-terminated) with ok true; or 0.0 with
 * ok false and the reason in GetCalculatorErro(). May be called from any
 * thread: calls are serialised by the calculator's mutex. */
COMMONTOOLS_EXPORT double Compute(const char* expression, bool& ok);

/** The message of the last failure of any thread (kept after later
 * successes), at most 511 bytes and NUL-terminated; empty before any
 * failure. The text is one for the whole process: read it right after the
 * failed Compute(), and expect another thread's message when several
 * threads compute. */
COMMONTOOLS_EXPORT const char* GetCalculatorErro();

/** @} */

/** @defgroup calculator_internals Calculator internals
 * The calculator's machinery, exported for callers that want to look
 * inside; a client needs none of it (see Compute()).
 *
 *  - the tokenizer cuts a normalised text into positioned Words;
 *  - ExpressBuilder checks the words, rewrites minus signs and conditionals
 *    and orders them into reverse-Polish form;
 *  - Compute() reduces that form with the math functions of the operator
 *    table, always applying the first operator left in the list.
 *
 * None of these functions is locked: call them only where no Compute() can
 * run at the same time.
 * @{ */

/** @name Internals: words and stack objects
 * @{ */

/** What a Word is. */
enum WordType : int {
    Operator = 1, ///< an operator symbol of the table that is not a function
    Number = 2,   ///< hexadecimal, scientific or plain decimal literal
    Function = 3, ///< a function name of the table
    Group = 4,    ///< "(", ")", "," or ":"
};

/** Computes result from the operands, first operand first; false when the
 * arguments are unusable (wrong count, zero divisor). */
typedef bool (*MathFunction)(const QList<double>& args, double& result);

/** Type() codes of the stack objects. */
enum StackObjectType : int {
    OperatorObject = 0, ///< an Operator_
    OperandObject = 1,  ///< an Operand_
    GroupObject = 2,    ///< a GroupOperator_
};

/** @} */

/** One token of a normalised expression, linked to its neighbours. */
struct COMMONTOOLS_EXPORT Word
{
    QString text;                  ///< as it stands in the normalised text
    WordType type = WordType(0);   ///< 0 until set
    Word* prev = nullptr;          ///< the word before, or null
    Word* next = nullptr;          ///< the word after, or null
    int position = 0;              ///< index of the first character
    bool funBracket = false;       ///< "(" or ")" of a function's argument list
};

/** An entry of the builder's stacks and of the reverse-Polish form. */
class COMMONTOOLS_EXPORT IStackObject
{
public:
    virtual ~IStackObject();
    /** Sets the text the object stands for. */
    virtual void setSymbol(const QString& symbol) = 0;
    /** The text the object stands for: a number, an operator, a bracket. */
    virtual QString Symbol() const = 0;
    /** A StackObjectType code. */
    virtual int Type() const = 0;
};

/** A value on the stacks. */
class COMMONTOOLS_EXPORT IOperand : public IStackObject
{
public:
    /** The number. */
    virtual double Value() const = 0;
    /** Sets the number. */
    virtual void setValue(const double& value) = 0;
};

/** An operator or a function of the operator table. */
class COMMONTOOLS_EXPORT IOperator : public IStackObject
{
public:
    /** How tightly it binds: larger binds more tightly (see GetPriority()). */
    virtual int Priority() const = 0;
    /** Sets the priority. */
    virtual void setPriority(const int& priority) = 0;
    /** How many operands it takes from the stack. */
    virtual int ParamCount() const = 0;
    /** Sets the number of operands. */
    virtual void setParamCount(const int& count) = 0;
    /** True for a function, written with brackets: "max(6,7)". */
    virtual bool IsFun() const = 0;
    /** Sets whether it is a function. */
    virtual void setIsFun(const bool& isFun) = 0;
    /** What computes its result. */
    virtual MathFunction MathFun() const = 0;
    /** Sets what computes its result. */
    virtual void setMathFun(MathFunction function) = 0;
};

/** A number. */
class COMMONTOOLS_EXPORT Operand_ : public IOperand
{
public:
    void setSymbol(const QString& symbol) override;
    QString Symbol() const override;
    int Type() const override;
    double Value() const override;
    void setValue(const double& value) override;

private:
    QString symbol;
    int type = OperandObject;
    double value = 0.0;
};

/** An operator or function; a value type, copied in and out of the table. */
class COMMONTOOLS_EXPORT Operator_ : public IOperator
{
public:
    /** An operator with no symbol, priority 0, no operands and no function. */
    Operator_() = default;
    /** Copies every field. */
    Operator_(const Operator_&) = default;
    /** Copies every field. */
    Operator_& operator=(const Operator_&) = default;
    ~Operator_() override;

    void setSymbol(const QString& symbol) override;
    QString Symbol() const override;
    int Type() const override;
    int Priority() const override;
    void setPriority(const int& priority) override;
    int ParamCount() const override;
    void setParamCount(const int& count) override;
    bool IsFun() const override;
    void setIsFun(const bool& isFun) override;
    MathFunction MathFun() const override;
    void setMathFun(MathFunction function) override;

private:
    QString symbol;
    int type = OperatorObject;
    MathFunction mathFun = nullptr;
    int priority = 0;
    int paramCount = 0;
    bool isFun = false;
};

/** A parenthesis marker on the operator stack. */
class COMMONTOOLS_EXPORT GroupOperator_ : public IStackObject
{
public:
    void setSymbol(const QString& symbol) override;
    QString Symbol() const override;
    int Type() const override;

private:
    QString symbol;
    int type = GroupObject;
};

/** @name Internals: the operator table
 * @{ */

/** The operator table, keyed by symbol; empty until Enviroment() runs. */
extern COMMONTOOLS_EXPORT QMap<QString, Operator_> g_mapOperators;
/** "abs|acos|...|tanh": the function names as one alternation. */
extern COMMONTOOLS_EXPORT QString g_mathFuncPattern;

/** Fills the operator table, once per process. Not locked: Compute() calls
 * it under the calculator's mutex. */
COMMONTOOLS_EXPORT void Enviroment();
/** Priority of a symbol (larger binds more tightly): "+" "-" 0; "*" "/" 1;
 * "**" 2; functions, "?" and any other symbol 4; "&&" "||" 5; "=" "!=" "<>"
 * 6; "negate" and the comparisons 7; "^" "|" "&" "<<" ">>" "~" "%" 8. */
COMMONTOOLS_EXPORT int GetPriority(QString symbol);
/** The symbol escaped for use as a literal regular expression. */
COMMONTOOLS_EXPORT QString GetEscapeString(QString symbol);
/** True when a has a longer symbol than b: the order of SortOperatorDesc(). */
COMMONTOOLS_EXPORT bool sortOperatorDescCondition(const Operator_& a, const Operator_& b);
/** Orders operators longest symbol first, keeping the order of symbols of
 * one length. */
COMMONTOOLS_EXPORT void SortOperatorDesc(QList<Operator_>& ops);

/** @} */

/** @name Internals: math functions
 * The functions of the operator table. Each takes its operands first
 * operand first (a, b, c below), sets result and returns true; it returns
 * false, leaving result alone, when the number of operands is not its own
 * or, where it says so, when they are unusable.
 * @{ */

/** a + b. */
COMMONTOOLS_EXPORT bool Plus(const QList<double>& args, double& result);
/** a - b. */
COMMONTOOLS_EXPORT bool Minus(const QList<double>& args, double& result);
/** -a: the unary minus ("negate"). */
COMMONTOOLS_EXPORT bool Negate(const QList<double>& args, double& result);
/** a * b. */
COMMONTOOLS_EXPORT bool Mul(const QList<double>& args, double& result);
/** a / b; false for a divisor of 0. */
COMMONTOOLS_EXPORT bool Div(const QList<double>& args, double& result);
/** The integer remainder of a by b ("%"), both truncated to 32-bit
 * integers; false for a divisor that truncates to 0. */
COMMONTOOLS_EXPORT bool Mod(const QList<double>& args, double& result);
/** b when a is not 0, else c ("?" with ":"). */
COMMONTOOLS_EXPORT bool Ternary(const QList<double>& args, double& result);
/** a & b of the operands truncated to 32-bit integers. */
COMMONTOOLS_EXPORT bool BIT_AND(const QList<double>& args, double& result);
/** a | b of the operands truncated to 32-bit integers. */
COMMONTOOLS_EXPORT bool BIT_OR(const QList<double>& args, double& result);
/** a ^ b of the operands truncated to 32-bit integers: "^" is exclusive or,
 * not a power. */
COMMONTOOLS_EXPORT bool BIT_XOR(const QList<double>& args, double& result);
/** ~a of the operand truncated to a 32-bit integer. */
COMMONTOOLS_EXPORT bool BIT_NOT(const QList<double>& args, double& result);
/** a << b on 32-bit integers; only the low 8 bits of b count, and 32 or
 * more give 0. */
COMMONTOOLS_EXPORT bool BIT_LEFT(const QList<double>& args, double& result);
/** a >> b on 32-bit integers, keeping the sign; only the low 8 bits of b
 * count. */
COMMONTOOLS_EXPORT bool BIT_RIGHT(const QList<double>& args, double& result);
/** 1 when a and b are both non-zero, else 0 ("&&"). */
COMMONTOOLS_EXPORT bool AND(const QList<double>& args, double& result);
/** 1 when a or b is non-zero, else 0 ("||"). */
COMMONTOOLS_EXPORT bool OR(const QList<double>& args, double& result);
/** 1 when a > b, else 0. */
COMMONTOOLS_EXPORT bool GreaterThan(const QList<double>& args, double& result);
/** 1 when a >= b, else 0. */
COMMONTOOLS_EXPORT bool GreaterThanEqual(const QList<double>& args, double& result);
/** 1 when a < b, else 0. */
COMMONTOOLS_EXPORT bool LessrThan(const QList<double>& args, double& result);
/** 1 when a <= b, else 0. */
COMMONTOOLS_EXPORT bool LessrThanEqual(const QList<double>& args, double& result);
/** 1 when a equals b, else 0 ("="). */
COMMONTOOLS_EXPORT bool Equal(const QList<double>& args, double& result);
/** 1 when a differs from b, else 0 ("!=" and "<>"). */
COMMONTOOLS_EXPORT bool NotEqual(const QList<double>& args, double& result);
/** The absolute value of a. */
COMMONTOOLS_EXPORT bool Abs(const QList<double>& args, double& result);
/** The larger of a and b. */
COMMONTOOLS_EXPORT bool Max(const QList<double>& args, double& result);
/** The smaller of a and b; also registered as "round", where its one
 * operand makes it fail. */
COMMONTOOLS_EXPORT bool Min(const QList<double>& args, double& result);
/** The square root of a ("sqrt" and the one-operand "**"). */
COMMONTOOLS_EXPORT bool Sqrt(const QList<double>& args, double& result);
/** a to the power b ("pow"). */
COMMONTOOLS_EXPORT bool Pow(const QList<double>& args, double& result);
/** a rounded up. */
COMMONTOOLS_EXPORT bool Ceil(const QList<double>& args, double& result);
/** a rounded down. */
COMMONTOOLS_EXPORT bool Floor(const QList<double>& args, double& result);
/** a rounded half away from zero; not registered, so "round" does not reach
 * it. */
COMMONTOOLS_EXPORT bool Round(const QList<double>& args, double& result);
/** The sine of a, in radians. */
COMMONTOOLS_EXPORT bool Sin(const QList<double>& args, double& result);
/** The cosine of a, in radians. */
COMMONTOOLS_EXPORT bool Cos(const QList<double>& args, double& result);
/** The tangent of a, in radians. */
COMMONTOOLS_EXPORT bool Tan(const QList<double>& args, double& result);
/** The arc sine of a. */
COMMONTOOLS_EXPORT bool Asin(const QList<double>& args, double& result);
/** The arc cosine of a. */
COMMONTOOLS_EXPORT bool Acos(const QList<double>& args, double& result);
/** The arc tangent of a. */
COMMONTOOLS_EXPORT bool Atan(const QList<double>& args, double& result);
/** ln(a + sqrt(a * a + 1)): the inverse hyperbolic sine. */
COMMONTOOLS_EXPORT bool Asinh(const QList<double>& args, double& result);
/** ln(a + sqrt(a * a - 1)): the inverse hyperbolic cosine. */
COMMONTOOLS_EXPORT bool Acosh(const QList<double>& args, double& result);
/** 0.5 * ln((a + 1) * (1 - a)): not the inverse hyperbolic tangent, whose
 * formula divides where this one multiplies. */
COMMONTOOLS_EXPORT bool Atanh(const QList<double>& args, double& result);
/** The hyperbolic sine of a. */
COMMONTOOLS_EXPORT bool Sinh(const QList<double>& args, double& result);
/** The hyperbolic cosine of a. */
COMMONTOOLS_EXPORT bool Cosh(const QList<double>& args, double& result);
/** The hyperbolic tangent of a. */
COMMONTOOLS_EXPORT bool Tanh(const QList<double>& args, double& result);
/** e to the power a. */
COMMONTOOLS_EXPORT bool Exp(const QList<double>& args, double& result);
/** The natural logarithm of a ("log"). */
COMMONTOOLS_EXPORT bool Log(const QList<double>& args, double& result);
/** The base-10 logarithm of a. */
COMMONTOOLS_EXPORT bool Log10(const QList<double>& args, double& result);

/** @} */

/** @name Internals: tokenizer
 * @{ */

/** Appends the words of expr to words, sorted by position. Characters no
 * word covers are left as gaps; nothing is rejected here. Needs the
 * operator table (Enviroment()). */
COMMONTOOLS_EXPORT void ExpressionToWords(QString expr, QList<Word*>& words);
/** Inserts a new word before the word at index (an index below 0 counts as
 * 0), or appends it when index is at or past the end; the positions of the
 * words after it grow by the length of text. */
COMMONTOOLS_EXPORT void InsertWord(QList<Word*>& words, int& index, const QString& text, const WordType& type);
/** Removes and deletes the word at index; words after it move left. */
COMMONTOOLS_EXPORT void RemoveWord(QList<Word*>& words, int& index);
/** True when a stands before b: the order of SortWords(). */
COMMONTOOLS_EXPORT bool sortWordCondition(Word* a, Word* b);
/** Sorts by position and relinks prev/next. */
COMMONTOOLS_EXPORT void SortWords(QList<Word*>& words);

/** @} */

/** Turns an expression into its checked reverse-Polish form. */
class COMMONTOOLS_EXPORT ExpressBuilder
{
public:
    /** An empty builder. */
    ExpressBuilder() = default;
    /** Deletes what clear() deletes. */
    ~ExpressBuilder();
    ExpressBuilder(const ExpressBuilder&) = delete;
    ExpressBuilder& operator=(const ExpressBuilder&) = delete;

    /** Builds rpn from expression; false with the reason in the calculator's
     * error text. */
    bool Parse(const QString& expression);
    /** Checks every function call of words and marks its parentheses. */
    bool checkFun();
    /** Checks every "?" of words and brackets its parts. */
    bool checkTernary();
    /** Deletes the operands, markers and words; empties the containers. */
    void clear();

    QStack<IStackObject*> stack;  ///< operator stack of the precedence pass
    QList<IStackObject*> rpn;     ///< the result, in reverse-Polish order
    QList<Word*> words;           ///< the current expression's words
};

/** @} */

} // namespace OrvInterface

#endif // ORVCALCULATOR_H
