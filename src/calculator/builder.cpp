// The expression builder: words are checked, rewritten and ordered into
// reverse-Polish form by priority.

#include "calculator_p.h"

#include <exception>

namespace OrvInterface {

namespace {

const char kEmpty[] = "Expression is Empty.";
const char kInvalid[] = "The expression is invalid.";
const char kInvalidCharacters[] = "The characters:%s are invalid.from %d to %d";
const char kInvalidTail[] = "The characters:%s are invalid.from %d to end";
const char kNotContiguous[] = "near by charters:'%s' have error. position %d.";
const char kFunNotOpened[] = "the fun:%s are not start with '(',position %d.";
const char kFunNotClosed[] = "the fun:%s are not close. position %d.";
const char kFunEmpty[] = "the fun:'%s' params is empty. position %d.";
const char kFunParamCount[] = "the fun:%s params count %d error.real count %d. position %d.";
const char kTernaryNoFirst[] = "the operator:'?' have no first param. position %d.";
const char kTernaryNoSecond[] = "the operator:'?' have no second param. position %d.";
const char kTernaryNotClosed[] = "the operator:'?' are not closed. position %d.";
const char kTernaryNoThird[] = "the operator:'?' have no third param. position %d.";
const char kNoOpenBracket[] = "build rpn failed. have error. can't find symbol '('.";
const char kOpenBracketLeft[] = "build rpn failed. have error.the symbol '%s' is error.";
const char kBuildFailed[] = "build rpn failed. ";
const char kBuildException[] = "build rpn failed. exception:%s";

const QLatin1String kOpen("(");
const QLatin1String kClose(")");

QByteArray local(const QString& text)
{
    return text.toLocal8Bit();
}

bool isText(const Word* word, QLatin1String text)
{
    return word && word->text == text;
}

// All white space removed, lower case.
QString normalised(const QString& expression)
{
    QString text;
    text.reserve(expression.size());
    for (QChar c : expression) {
        if (!c.isSpace())
            text.append(c);
    }
    return text.toLower();
}

// Every character is covered by exactly one word.
bool checkCoverage(const QString& text, const QList<Word*>& words)
{
    int expected = 0;
    for (const Word* word : words) {
        if (word->position != expected) {
            // The quoted piece is measured from just after the previous
            // word's start: for "22$3" it reads "$3".
            const int from = word->prev ? word->prev->position + 1 : 0;
            setCalculatorErrorFormat(kInvalidCharacters, local(text.mid(expected, word->position - from)).constData(),
                                     expected, word->position - 1);
            return false;
        }
        expected += word->text.size();
    }
    if (expected != text.size()) {
        setCalculatorErrorFormat(kInvalidTail, local(text.mid(expected)).constData(), expected);
        return false;
    }
    return true;
}

// "-1*" for a minus sign, so that "-x" reads "-1*x" and "a-b" reads
// "a-1*b"; after a division the sign moves in front: "a/-b" reads "a*-1/b".
void rewriteMinusSigns(QList<Word*>& words)
{
    QList<Word*> minuses;
    for (Word* word : qAsConst(words)) {
        if (word->text == QLatin1String("-") && word->type == Operator)
            minuses.append(word);
    }
    for (Word* minus : qAsConst(minuses)) {
        if (isText(minus->prev, QLatin1String("/"))) {
            int i = words.indexOf(minus->prev);
            InsertWord(words, i, QStringLiteral("1"), Number);
            InsertWord(words, i, QStringLiteral("-"), Operator);
            InsertWord(words, i, QStringLiteral("*"), Operator);
            int self = words.indexOf(minus);
            RemoveWord(words, self);
        } else {
            int i = words.indexOf(minus) + 1;
            InsertWord(words, i, QStringLiteral("*"), Operator);
            InsertWord(words, i, QStringLiteral("1"), Number);
        }
    }
}

// Walks forward from start to the word that brings counter to 0, the
// opening text counting -1 and the closing text +1; null when the words
// end first.
Word* findClosing(Word* start, QLatin1String opening, QLatin1String closing)
{
    int counter = -1;
    for (Word* word = start; word; word = word->next) {
        if (word->text == opening)
            --counter;
        else if (word->text == closing && ++counter == 0)
            return word;
    }
    return nullptr;
}

void insertAfter(QList<Word*>& words, Word* word, const QString& text)
{
    int index = words.indexOf(word) + 1;
    InsertWord(words, index, text, Group);
}

} // namespace

ExpressBuilder::~ExpressBuilder()
{
    clear();
}

void ExpressBuilder::clear()
{
    for (IStackObject* object : qAsConst(stack)) {
        if (object->Type() != OperatorObject)
            delete object;
    }
    for (IStackObject* object : qAsConst(rpn)) {
        if (object->Type() != OperatorObject)
            delete object;
    }
    for (Word* word : qAsConst(words)) {
        word->prev = nullptr;
        word->next = nullptr;
        delete word;
    }
    stack.clear();
    rpn.clear();
    words.clear();
}

bool ExpressBuilder::checkFun()
{
    for (Word* function : qAsConst(words)) {
        if (function->type != Function)
            continue;
        const auto name = [function] { return local(function->text); };
        const int position = function->position + function->text.size();

        Word* open = function->next;
        if (!isText(open, kOpen)) {
            setCalculatorErrorFormat(kFunNotOpened, name().constData(), position);
            return false;
        }
        open->funBracket = true;

        // To the ")" that closes the call, counting the top-level commas
        // and whether any argument holds more than grouping words.
        int depth = 0;
        int commas = 0;
        bool hasContent = false;
        Word* close = open->next;
        for (; close; close = close->next) {
            if (close->text == kOpen) {
                ++depth;
            } else if (close->text == kClose) {
                if (depth == 0)
                    break;
                --depth;
            } else if (close->text == QLatin1String(",") && depth == 0) {
                ++commas;
            }
            if (close->type != Group)
                hasContent = true;
        }
        if (!close) {
            setCalculatorErrorFormat(kFunNotClosed, name().constData(), position);
            return false;
        }
        close->funBracket = true;

        const int paramCount = g_mapOperators.value(function->text).ParamCount();
        if (commas + 1 != paramCount) {
            setCalculatorErrorFormat(kFunParamCount, name().constData(), commas + 1, paramCount, position);
            return false;
        }
        if (!hasContent) {
            setCalculatorErrorFormat(kFunEmpty, name().constData(), position);
            return false;
        }
    }
    return true;
}

bool ExpressBuilder::checkTernary()
{
    QList<Word*> questions;
    for (Word* word : qAsConst(words)) {
        if (word->text == QLatin1String("?"))
            questions.append(word);
    }

    for (Word* question : qAsConst(questions)) {
        const int position = question->position + 1;
        Word* first = question->prev;
        if (!first) {
            setCalculatorErrorFormat(kTernaryNoFirst, position);
            return false;
        }
        if (first->type != Number && !(first->type == Group && first->text == kClose)) {
            setCalculatorErrorFormat(kTernaryNoSecond, position);
            return false;
        }
        if (first->text == kClose) {
            // Back to the "(" that opens the condition.
            int depth = 0;
            Word* word = first;
            for (; word; word = word->prev) {
                if (word->text == kClose)
                    ++depth;
                else if (word->text == kOpen && --depth == 0)
                    break;
            }
            if (!word) {
                setCalculatorErrorFormat(kTernaryNotClosed, position);
                return false;
            }
        }

        // The ":" of this "?": nested conditionals take theirs first.
        int afterQuestion = words.indexOf(question) + 1;
        Word* colon = findClosing(question->next, QLatin1String("?"), QLatin1String(":"));
        if (!colon) {
            setCalculatorErrorFormat(kTernaryNoThird, position);
            return false;
        }

        // "c?x:y" becomes "c?(x)(y)".
        InsertWord(words, afterQuestion, kOpen, Group);
        int colonIndex = words.indexOf(colon);
        InsertWord(words, colonIndex, kClose, Group);
        colon->text = kOpen;

        // The third part ends after its first number, bracketed group or
        // function call.
        Word* third = colon->next;
        if (third && third->type == Function) {
            third = third->next;
            if (!isText(third, kOpen))
                third = nullptr;
        }
        Word* end = nullptr;
        if (isText(third, kOpen)) {
            end = findClosing(third->next, kOpen, kClose);
        } else {
            for (end = third; end && end->type != Number;)
                end = end->next;
        }
        if (!end) {
            setCalculatorErrorFormat(kTernaryNoThird, position);
            return false;
        }
        insertAfter(words, end, kClose);
    }
    return true;
}

bool ExpressBuilder::Parse(const QString& expression)
{
    clear();
    if (expression.isEmpty()) {
        setCalculatorError(kEmpty);
        return false;
    }
    const QString text = normalised(expression);
    if (text.isEmpty()) {
        setCalculatorError(kEmpty);
        return false;
    }

    ExpressionToWords(text, words);
    if (words.isEmpty()) {
        setCalculatorError(kInvalid);
        return false;
    }
    if (!checkCoverage(text, words) || !checkFun() || !checkTernary())
        return false;
    rewriteMinusSigns(words);

    try {
        int expected = 0;
        for (const Word* word : qAsConst(words)) {
            if (word->position != expected) {
                setCalculatorErrorFormat(kNotContiguous, local(word->text).constData(), expected);
                return false;
            }
            expected += word->text.size();

            switch (word->type) {
            case Number: {
                Operand_* operand = new Operand_;
                rpn.append(operand);
                operand->setSymbol(word->text);
                operand->setValue(isHexLiteral(word->text) ? double(hexLiteralValue(word->text))
                                                           : word->text.toDouble());
                break;
            }
            case Operator:
            case Function: {
                auto found = g_mapOperators.find(word->text);
                if (found == g_mapOperators.end()) { // only without the operator table
                    setCalculatorError(kBuildFailed);
                    return false;
                }
                Operator_* op = &found.value();
                // A minus that follows neither a number nor ")" is a sign.
                if (op->Symbol() == QLatin1String("-")
                    && (!word->prev || !(word->prev->type == Number || word->prev->text == kClose))) {
                    found = g_mapOperators.find(QStringLiteral("negate"));
                    if (found == g_mapOperators.end()) {
                        setCalculatorError(kBuildFailed);
                        return false;
                    }
                    op = &found.value();
                }
                // Equal priorities pop: every operator is left-associative.
                while (!stack.isEmpty() && stack.top()->Type() == OperatorObject) {
                    const Operator_* top = dynamic_cast<const Operator_*>(stack.top());
                    if (!top)
                        return false;
                    if (top->Priority() < op->Priority())
                        break;
                    rpn.append(stack.pop());
                }
                stack.push(op);
                break;
            }
            case Group:
                if (word->text == kOpen) {
                    for (int i = word->funBracket ? 2 : 1; i > 0; --i) {
                        GroupOperator_* marker = new GroupOperator_;
                        marker->setSymbol(kOpen);
                        stack.push(marker);
                    }
                } else if (word->text == kClose || word->text == QLatin1String(",")) {
                    const int unwind = word->text == kClose && word->funBracket ? 2 : 1;
                    for (int i = 0; i < unwind; ++i) {
                        // Up to the nearest "(" marker, which goes.
                        for (;;) {
                            if (stack.isEmpty()) {
                                setCalculatorError(kNoOpenBracket);
                                return false;
                            }
                            IStackObject* object = stack.pop();
                            if (object->Type() == GroupObject) {
                                delete object;
                                break;
                            }
                            rpn.append(object);
                        }
                    }
                    if (word->text == QLatin1String(",")) {
                        GroupOperator_* marker = new GroupOperator_;
                        marker->setSymbol(kOpen);
                        stack.push(marker);
                    }
                }
                // ":" only separates the parts of a conditional.
                break;
            default:
                setCalculatorError(kBuildFailed);
                return false;
            }
        }

        bool unclosed = false;
        QString unclosedSymbol;
        while (!stack.isEmpty()) {
            IStackObject* object = stack.pop();
            rpn.append(object); // owned by rpn until clear()
            if (object->Type() == GroupObject && !unclosed) {
                unclosed = true;
                unclosedSymbol = object->Symbol();
            }
        }
        if (unclosed) {
            setCalculatorErrorFormat(kOpenBracketLeft, local(unclosedSymbol).constData());
            return false;
        }
    } catch (const std::exception& e) {
        setCalculatorErrorFormat(kBuildException, e.what());
        return false;
    }
    return true;
}

} // namespace OrvInterface
