// Kc_damage: errors of the library that come from what the file of a container says.
#ifndef ZANDREL_CLI_KC_KC_DAMAGE_H_
#define ZANDREL_CLI_KC_KC_DAMAGE_H_

#include <string>
#include <utility>

#include "zandrel/foundation/qtX.h"

namespace cli {

// What an error says to a user: "the container is damaged: ", a sentence, and in parentheses the
// words of the library. What is no damage, such as an edit that is refused, is in the library's
// words only.
std::string explained(const qtxAll& error);

// Both raise the error that is caught at the moment as one of the file.

// RAISES: Data_error with the explanation; an interruption as it is.
[[noreturn]] void raise_as_data_error(const std::string& path);
// For errors of reading the file.
// REQUIRES: `errno` was 0 before the file was read.
// RAISES: the same; Input_error if the file cannot be opened, or if the system could not read it.
[[noreturn]] void raise_as_read_error(const std::string& path);

// Does work with a container that was read from the file. Its parts need not fit together, and then
// the library finds out only when they are put to use.
// RAISES: as raise_as_data_error; what else the work raises.
template <class Work>
decltype(auto) work_on_container(const std::string& path, Work&& work) {
    try {
        return std::forward<Work>(work)();
    } catch (const qtxAll&) {
        raise_as_data_error(path);
    }
}

}  // namespace cli

#endif  // ZANDREL_CLI_KC_KC_DAMAGE_H_
