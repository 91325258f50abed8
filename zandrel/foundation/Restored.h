// Restored: gives a variable its old value back at the end of a scope, also after an exception.
// Not installed: the library's own.
#ifndef ZANDREL_FOUNDATION_RESTORED_H_
#define ZANDREL_FOUNDATION_RESTORED_H_

#include <utility>

namespace zandrel::detail {

// Example: `const Restored<int> at_end(m_depth, 3);` sets `m_depth` to 3 until the end of the
// scope.
// REQUIRES: assigning a T does not raise.
template <class T>
class Restored {
public:
    // The variable keeps its value until somebody assigns to it.   BORROWS: `variable`.
    explicit Restored(T& variable) : m_variable(variable), m_old_value(variable) {}

    // The variable has `value` from now on.   BORROWS: `variable`.
    Restored(T& variable, T value) : Restored(variable) { m_variable = std::move(value); }

    Restored(const Restored&) = delete;
    Restored& operator=(const Restored&) = delete;

    ~Restored() { m_variable = std::move(m_old_value); }

private:
    T& m_variable;
    T m_old_value;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_FOUNDATION_RESTORED_H_
