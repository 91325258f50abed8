// Conversions of the arguments of the C interface to those of the C++ classes.
#ifndef ZANDREL_TEXT_C_ARGUMENTS_H_
#define ZANDREL_TEXT_C_ARGUMENTS_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "zandrel/text/Classifier.h"
#include "zandrel/text/Records.h"
#include "zandrel/text/Text.h"
#include "zandrel/text/c.h"

#include "text/c/calls.h"

namespace zandrel::c {

// The name of an argument or of a part of it, for messages. It is put together only for a failure:
// {"name", &field} with field = {"fields", &text, 1} and text = {"texts", nullptr, 0} is
// "texts[0].fields[1].name".
struct Argument {
    const char* name = "";
    const Argument* owner = nullptr;
    std::optional<std::size_t> index = {};

    std::string text() const;
};

// RAISES: Error with invalid_argument: `argument` and the reason.
[[noreturn]] void refuse(const Argument& argument, const char* reason);

// RAISES: Error with invalid_argument for null.
template <class Pointer>
void need(Pointer pointer, const Argument& argument) {
    if (pointer == nullptr) {
        refuse(argument, "is NULL");
    }
}

// Runs `make`, which returns a std::unique_ptr, and gives the object to the caller. After a failure
// `*result` is null.
template <class Result, class Make>
zandrel_code guarded_making(Result** result, const Argument& argument, Make&& make) noexcept {
    if (result != nullptr) {
        *result = nullptr;
    }
    return guarded([&] {
        need(result, argument);
        *result = std::forward<Make>(make)().release();
    });
}

// All functions below raise Error with invalid_argument for a null pointer that is needed, for a
// length or count that is too large, and for options of another size.

std::string_view view_of(const char* data, std::size_t length, const Argument& argument);

// BORROWS: the characters of `text`.
Text text_of(const zandrel_text& text, const Argument& argument);
Example example_of(const zandrel_example& example, const Argument& argument);

// Null becomes the defaults.
Open_options options_of(const zandrel_open_options* options);
Train_options options_of(const zandrel_train_options* options);
Learn_options options_of(const zandrel_learn_options* options);
Classify_options options_of(const zandrel_classify_options* options);
Record_form form_of(const zandrel_record_form* form);

}  // namespace zandrel::c

#endif  // ZANDREL_TEXT_C_ARGUMENTS_H_
