// process_assert: reports that an invariant of the engine is broken.
#ifndef ZANDREL_FOUNDATION_PROCESS_ASSERT_H_
#define ZANDREL_FOUNDATION_PROCESS_ASSERT_H_

#include "zandrel/export.h"
#include "zandrel/foundation/qtX.h"

// A broken invariant, as the default handler raises it. The message is the text of the expression.
class ZANDREL_EXPORT qtxAssert : public qtxAll {
public:
    static constexpr int kCategory = 1;
    static constexpr int kSeverity = 3;

    // REQUIRES: `file` and `function` are string literals, or live as long as the exception.
    qtxAssert(const char* expression, const char* file, int line, const char* function)
        : qtxAll(expression, kCategory, kSeverity),
          m_file(file),
          m_line(line),
          m_function(function) {}

    qtxAssert(const qtxAssert&) = default;
    qtxAssert& operator=(const qtxAssert&) = default;
    ~qtxAssert() override;

    const char* file() const noexcept { return m_file; }

    int line() const noexcept { return m_line; }

    const char* function() const noexcept { return m_function; }

private:
    const char* m_file;
    int m_line;
    const char* m_function;
};

namespace zandrel {

// Gets a broken invariant: the fixed text of its expression, and its place in the source. A handler
// must not return, since the code cannot continue. If it returns, qtxAssert is raised all the same.
using Assert_handler = void (*)(const char* expression, const char* file, int line,
                                const char* function);

}  // namespace zandrel

// Calls the handler. The default handler raises qtxAssert, so that a damaged file cannot end the
// caller's process.
[[noreturn]] ZANDREL_EXPORT void process_assert(const char* expression, const char* file, int line,
                                                const char* function);

namespace zandrel {

// Replaces the handler of the whole process and returns the old one. Null means the default
// handler.
ZANDREL_EXPORT Assert_handler set_assert_handler(Assert_handler handler) noexcept;

}  // namespace zandrel

// Calls process_assert if `condition` is false. `text` is the fixed text of the invariant. It is
// part of the interface, so it does not change when the condition is written differently.
#define ZANDREL_ASSERT(condition, text) \
    ((condition) ? static_cast<void>(0) : process_assert(text, __FILE__, __LINE__, __func__))

#endif  // ZANDREL_FOUNDATION_PROCESS_ASSERT_H_
