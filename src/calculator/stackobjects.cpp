// The words' stack objects: operands, operators and parenthesis markers.

#include "OrvCalculator.h"

namespace OrvInterface {

IStackObject::~IStackObject() = default;

void Operand_::setSymbol(const QString& text)
{
    symbol = text;
}

QString Operand_::Symbol() const
{
    return symbol;
}

int Operand_::Type() const
{
    return type;
}

double Operand_::Value() const
{
    return value;
}

void Operand_::setValue(const double& newValue)
{
    value = newValue;
}

Operator_::~Operator_()
{
    mathFun = nullptr;
}

void Operator_::setSymbol(const QString& text)
{
    symbol = text;
}

QString Operator_::Symbol() const
{
    return symbol;
}

int Operator_::Type() const
{
    return type;
}

int Operator_::Priority() const
{
    return priority;
}

void Operator_::setPriority(const int& newPriority)
{
    priority = newPriority;
}

int Operator_::ParamCount() const
{
    return paramCount;
}

void Operator_::setParamCount(const int& count)
{
    paramCount = count;
}

bool Operator_::IsFun() const
{
    return isFun;
}

void Operator_::setIsFun(const bool& function)
{
    isFun = function;
}

MathFunction Operator_::MathFun() const
{
    return mathFun;
}

void Operator_::setMathFun(MathFunction function)
{
    mathFun = function;
}

void GroupOperator_::setSymbol(const QString& text)
{
    symbol = text;
}

QString GroupOperator_::Symbol() const
{
    return symbol;
}

int GroupOperator_::Type() const
{
    return type;
}

} // namespace OrvInterface
