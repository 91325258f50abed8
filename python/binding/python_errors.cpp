// Turns the library's errors into exceptions of Python.
#include "python/binding/python_errors.h"

#include <exception>
#include <string_view>

#include "zandrel/text/Error.h"

namespace zandrel::python {

namespace py = pybind11;

namespace {

// A message may quote bytes that are not UTF-8.
py::object message_of(const Error& error) {
    const std::string_view text = error.what();
    return py::reinterpret_steal<py::object>(PyUnicode_DecodeUTF8(
        text.data(), static_cast<Py_ssize_t>(text.size()), "backslashreplace"));
}

py::object file_of(const Error& error) {
    if (error.file().empty()) {
        return py::none();
    }
    return py::reinterpret_steal<py::object>(PyUnicode_DecodeFSDefaultAndSize(
        error.file().data(), static_cast<Py_ssize_t>(error.file().size())));
}

py::object line_of(const Error& error) {
    return error.line() == 0 ? py::object(py::none()) : py::object(py::int_(error.line()));
}

void set_error(const Error& error) {
    const py::object exception =
        py::module_::import("zandrel._errors")
            .attr("make_error")(static_cast<int>(error.code()), message_of(error), file_of(error),
                                line_of(error));
    PyErr_SetObject(py::type::handle_of(exception).ptr(), exception.ptr());
}

void translate(std::exception_ptr pointer) {
    try {
        if (pointer) {
            std::rethrow_exception(pointer);
        }
    } catch (const Error& error) {
        set_error(error);
    }
}

}  // namespace

void translate_errors() {
    py::register_local_exception_translator(translate);
}

void raise_type_error(const std::string& message) {
    throw py::type_error(message);
}

py::dict error_codes() {
    py::dict codes;
    for (int code = 1; code <= static_cast<int>(Error_code::failed); ++code) {
        codes[name_of(static_cast<Error_code>(code))] = code;
    }
    return codes;
}

}  // namespace zandrel::python
