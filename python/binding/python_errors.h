// Turns the library's errors into exceptions of Python.
#ifndef ZANDREL_PYTHON_BINDING_PYTHON_ERRORS_H_
#define ZANDREL_PYTHON_BINDING_PYTHON_ERRORS_H_

#include <pybind11/pybind11.h>
#include <string>

namespace zandrel::python {

// From now on, each Error that leaves a function of the module becomes an exception of the class
// that the Python module zandrel._errors has for its code.
void translate_errors();

// RAISES: TypeError.
[[noreturn]] void raise_type_error(const std::string& message);

// The codes with their names, for the tests: {"invalid_argument": 1, ...}.
pybind11::dict error_codes();

}  // namespace zandrel::python

#endif  // ZANDREL_PYTHON_BINDING_PYTHON_ERRORS_H_
