// The error class of the public interface. It is a file of its own, so that its type information is
// in one place: a program and the library must agree on it.
#include "zandrel/text/Error.h"

#include <array>
#include <utility>

namespace zandrel {

Error::Error(Error_code code, const std::string& message, std::string file, std::size_t line,
             std::exception_ptr cause)
    : std::runtime_error(message),
      m_code(code),
      m_file(std::make_shared<const std::string>(std::move(file))),
      m_line(line),
      m_cause(std::move(cause)) {}

Error::Error(const Error&) noexcept = default;

Error& Error::operator=(const Error&) noexcept = default;

Error::~Error() = default;

const char* name_of(Error_code code) noexcept {
    constexpr std::array kNames = {
        "invalid_argument", "not_found",      "cannot_read",   "cannot_write", "not_a_container",
        "damaged",          "other_analysis", "unknown_label", "wrong_data",   "busy",
        "interrupted",      "unsupported",    "out_of_memory", "closed",       "failed"};
    const auto place = static_cast<std::size_t>(code) - 1;
    return place < kNames.size() ? kNames[place] : "failed";
}

}  // namespace zandrel
