// Kc_damage: explains errors of the engine that a damaged container causes.
#ifndef ZANDREL_TEXT_KC_KC_DAMAGE_H_
#define ZANDREL_TEXT_KC_KC_DAMAGE_H_

#include <string>
#include <utility>

#include "zandrel/foundation/qtX.h"

namespace zandrel {

// Returns the message for a user: "the container is damaged: ", a sentence, and in parentheses the
// library's words. For an error without damage, such as a refused edit, it returns only the
// library's words.
std::string explained(const qtxAll& error);

// Returns the sentence and the engine's words without the beginning: for an error in one record,
// which the caller names.
std::string explanation_of(const qtxAll& error);

// The next two functions are called in a handler. Instead of the error that is handled, they raise
// one that names the file.

// RAISES: Data_error with the explanation. An interruption is raised unchanged.
[[noreturn]] void raise_as_data_error(const std::string& path);
// For errors of reading the file.
// REQUIRES: `errno` was 0 before the file was read.
// RAISES: what raise_as_data_error raises; Input_error if the file cannot be opened, or if the
// system could not read it.
[[noreturn]] void raise_as_read_error(const std::string& path);

// Works with a container that was read from the file. If its parts do not fit together, the engine
// may notice that only when they are used.
// RAISES: what raise_as_data_error raises, for errors of the engine; other errors of the work
// unchanged.
template <class Work>
decltype(auto) work_on_container(const std::string& path, Work&& work) {
    try {
        return std::forward<Work>(work)();
    } catch (const qtxAll&) {
        raise_as_data_error(path);
    }
}

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KC_DAMAGE_H_
