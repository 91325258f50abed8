// raised_errors: turns whatever the library raises into the public Error.
#ifndef ZANDREL_TEXT_API_RAISED_ERRORS_H_
#define ZANDREL_TEXT_API_RAISED_ERRORS_H_

#include <cstddef>
#include <string>

#include "zandrel/text/Error.h"

namespace zandrel {

// Call it in a handler. `of_data`: the code for wrong contents of a file: `damaged` for the file of
// a container, `wrong_data` for others.
// RAISES: Error.
[[noreturn]] void raise_as_error(Error_code of_data);

// So that no other exception leaves the library.
// RAISES: Error; `of_data`: as above.
template <class Work>
decltype(auto) with_errors(Error_code of_data, const Work& work) {
    try {
        return work();
    } catch (...) {
        raise_as_error(of_data);
    }
}

// RAISES: Error invalid_argument.
[[noreturn]] void refuse_argument(const std::string& message);

// RAISES: Error invalid_argument for a name that is empty or has a zero byte.
void check_path(const std::string& path);

// RAISES: Error not_found if nothing has this name; what check_path raises.
void check_exists(const std::string& path);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_API_RAISED_ERRORS_H_
