// Turns the library's errors into exceptions of Python.
#ifndef ZANDREL_PYTHON_BINDING_PYTHON_ERRORS_H_
#define ZANDREL_PYTHON_BINDING_PYTHON_ERRORS_H_

#include <cstddef>
#include <exception>
#include <pybind11/pybind11.h>
#include <string>

namespace zandrel::python {

// From now on, each Error that leaves a function of the module becomes an exception of the class
// that the Python module zandrel._errors has for its code.
void translate_errors();

// RAISES: TypeError.
[[noreturn]] void raise_type_error(const std::string& message);

// Calls `read` for the value with this number of many. TypeError and ValueError then begin with the
// place, for example "text 17: ".
template <typename Read>
void with_place(const char* kind, std::size_t number, const Read& read) {
    const auto placed = [&](const std::exception& error) {
        return std::string(kind) + " " + std::to_string(number) + ": " + error.what();
    };
    try {
        read();
    } catch (const pybind11::type_error& error) {
        throw pybind11::type_error(placed(error));
    } catch (const pybind11::value_error& error) {
        throw pybind11::value_error(placed(error));
    }
}

// The codes with their names, for the tests: {"invalid_argument": 1, ...}.
pybind11::dict error_codes();

}  // namespace zandrel::python

#endif  // ZANDREL_PYTHON_BINDING_PYTHON_ERRORS_H_
