// Linked whole into a copy of the shared library by the exports test: the
// kind of symbols a static library brings (C functions, C++ functions, a
// class with a virtual table, a variable), all with default visibility.
// None of them may leave the shared library.

#define CANARY_EXPORT __attribute__((visibility("default")))

extern "C" CANARY_EXPORT int commontools_canary_c(int value)
{
    return value + 1;
}

extern "C" {
CANARY_EXPORT int commontools_canary_variable = 42;
}

namespace CommonToolsCanary {

CANARY_EXPORT int cppFunction(int value)
{
    return value * 2;
}

class CANARY_EXPORT Polymorphic
{
public:
    virtual ~Polymorphic();
    virtual int value() const { return 1; }
};

Polymorphic::~Polymorphic() = default;

} // namespace CommonToolsCanary
