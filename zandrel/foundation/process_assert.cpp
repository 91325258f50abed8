// The handler of the process, which raises qtxAssert unless the caller has set another one.
#include "zandrel/foundation/process_assert.h"

namespace {

void raise_assert(const char* expression, const char* file, int line, const char* function) {
    throw qtxAssert(expression, file, line, function);
}

zandrel::Assert_handler s_handler = raise_assert;

}  // namespace

qtxAssert::~qtxAssert() = default;

void process_assert(const char* expression, const char* file, int line, const char* function) {
    s_handler(expression, file, line, function);
    throw qtxAssert(expression, file, line, function);
}

namespace zandrel {

Assert_handler set_assert_handler(Assert_handler handler) noexcept {
    const Assert_handler before = s_handler;
    s_handler = handler == nullptr ? raise_assert : handler;
    return before;
}

}  // namespace zandrel
