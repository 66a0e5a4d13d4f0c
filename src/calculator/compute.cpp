// Evaluation: the reverse-Polish form is reduced operator by operator, and
// failures leave their message in one global text.

#include "calculator_p.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace OrvInterface {

char g_strerroInfo[kErrorBufferSize] = {};
std::mutex g_Mutex;

namespace {

const char kRpnEmpty[] = "compute failed.rpn is empty.";
const char kNoOperator[] = "compute failed. no operator.";
const char kParamIndex[] = "compute failed. param index error. index:%d.the operator '%s'";
const char kNotOperand[] = "compute failed.the object(%s) is not operand. the operator '%s'";
const char kMathFunFailed[] = "compute failed.call mathfun failed. the operator '%s'.args:'%s'";
const char kResultLeft[] = "compute failed.the result is left.";
const char kResultNotOperand[] = "compute failed.the result is not operand.";

// "2.5" or "5,0": the arguments as the failure message shows them.
QString argumentText(const QList<double>& args)
{
    QString text;
    for (double value : args) {
        if (text.isEmpty())
            text = QString::number(value, 'g', 6);
        else
            text += QStringLiteral(",%1").arg(QString::number(value, 'g', 6));
    }
    return text;
}

// Applies the first operator left in objects to the operands before it;
// they and the operator give way to one operand holding the result.
bool reduceFirstOperator(QList<IStackObject*>& objects, int index)
{
    const Operator_* op = dynamic_cast<const Operator_*>(objects.at(index));
    if (!op) {
        setCalculatorError(kNoOperator);
        return false;
    }
    // The symbol's bytes are needed only for a message.
    const auto symbol = [op] { return op->Symbol().toLocal8Bit(); };
    const int count = op->ParamCount();
    const int start = index - count;
    if (start < 0) {
        setCalculatorErrorFormat(kParamIndex, start, symbol().constData());
        return false;
    }

    QList<double> args;
    args.reserve(count);
    for (int i = start; i < index; ++i) {
        const IStackObject* object = objects.at(i);
        if (object->Type() != OperandObject) {
            setCalculatorErrorFormat(kNotOperand, object->Symbol().toLocal8Bit().constData(), symbol().constData());
            return false;
        }
        const Operand_* operand = dynamic_cast<const Operand_*>(object);
        if (!operand)
            return false;
        args.append(operand->Value());
    }

    double result = 0.0;
    const MathFunction function = op->MathFun();
    if (!function || !function(args, result)) {
        setCalculatorErrorFormat(kMathFunFailed, symbol().constData(), argumentText(args).toLocal8Bit().constData());
        return false;
    }

    Operand_* target = dynamic_cast<Operand_*>(objects.at(start));
    if (!target)
        return false;
    target->setValue(result);
    for (int i = 0; i < count && start + 1 < objects.size(); ++i)
        objects.removeAt(start + 1);
    return true;
}

double evaluate(QList<IStackObject*> objects, bool& ok)
{
    ok = false;
    if (objects.isEmpty()) {
        setCalculatorError(kRpnEmpty);
        return 0.0;
    }
    for (;;) {
        int index = 0;
        while (index < objects.size() && objects.at(index)->Type() != OperatorObject)
            ++index;
        if (index == objects.size())
            break;
        if (!reduceFirstOperator(objects, index))
            return 0.0;
    }
    if (objects.size() != 1) {
        setCalculatorError(kResultLeft);
        return 0.0;
    }
    if (objects.first()->Type() != OperandObject) {
        setCalculatorError(kResultNotOperand);
        return 0.0;
    }
    const Operand_* operand = dynamic_cast<const Operand_*>(objects.first());
    if (!operand)
        return 0.0;
    ok = true;
    return operand->Value();
}

} // namespace

void setCalculatorError(const char* message)
{
    setCalculatorErrorFormat("%s", message);
}

void setCalculatorErrorFormat(const char* format, ...)
{
    std::memset(g_strerroInfo, 0, sizeof g_strerroInfo);
    va_list args;
    va_start(args, format);
    // Cut to the buffer: vsnprintf always ends in a NUL inside it.
    std::vsnprintf(g_strerroInfo, sizeof g_strerroInfo, format, args);
    va_end(args);
}

double Compute(const char* expression, bool& ok)
{
    const std::lock_guard<std::mutex> lock(g_Mutex);
    Enviroment();

    ExpressBuilder builder;
    ok = builder.Parse(QString::fromUtf8(expression)); // what QString(const char*) does; null gives ""
    const double result = ok ? evaluate(builder.rpn, ok) : 0.0;
    builder.clear();
    return ok ? result : 0.0;
}

const char* GetCalculatorErro()
{
    return g_strerroInfo;
}

} // namespace OrvInterface
