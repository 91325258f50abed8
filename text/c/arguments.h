// Conversions of the arguments of the C interface to those of the C++ classes.
#ifndef ZANDREL_TEXT_C_ARGUMENTS_H_
#define ZANDREL_TEXT_C_ARGUMENTS_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
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

// Returns false for a count that is too large for an array of Element or of Result.
template <class Result, class Element>
constexpr bool can_be_count(std::size_t count) {
    return count <=
           static_cast<std::size_t>(PTRDIFF_MAX) / std::max(sizeof(Result), sizeof(Element));
}

// Checks an array that becomes a vector of Result.
// RAISES: Error with invalid_argument for null, unless `count` is 0, and for a count that is too
// large.
template <class Result, class Element>
void need_array(const Element* first, std::size_t count, const Argument& argument) {
    if (!can_be_count<Result, Element>(count)) {
        refuse(argument, "has more elements than any array can have");
    }
    if (count > 0) {
        need(first, argument);
    }
}

// Copies the options of a caller to `known`, the zeroed options of this version, with `known_size`
// bytes. Both structs begin with their size. A caller with an earlier header gives a shorter
// struct: members that it lacks remain 0. A caller with a later header gives members that we do not
// know. If they are 0, the caller does not use them, and we can ignore them. `first_size`: the size
// of the struct in the first version that had it. RAISES: Error with invalid_argument.
void copy_options(const void* given, void* known, std::size_t known_size, std::size_t first_size,
                  const char* name);

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
