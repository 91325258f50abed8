// Python_text: texts and examples from Python's values, and back.
#include "python/binding/Python_text.h"

#include <cstddef>
#include <utility>

#include "python/binding/python_errors.h"

namespace zandrel::python {

namespace py = pybind11;

namespace {

// After so many examples we look for Ctrl-C: an iterable in C runs no code of Python.
constexpr std::size_t kBetweenSignalChecks = 4096;

std::string type_name(py::handle value) {
    return Py_TYPE(value.ptr())->tp_name;
}

py::object encoded(py::handle text, const char* errors) {
    return py::reinterpret_steal<py::object>(
        PyUnicode_AsEncodedString(text.ptr(), "utf-8", errors));
}

std::string_view view_of_bytes(py::handle bytes) {
    char* data = nullptr;
    Py_ssize_t size = 0;
    if (PyBytes_AsStringAndSize(bytes.ptr(), &data, &size) != 0) {
        throw py::error_already_set();
    }
    return {data, static_cast<std::size_t>(size)};
}

// Returns the bytes of a str. `keeper` gets their owner. A str can contain surrogates: those that
// Python made from bytes that are not UTF-8 become these bytes again. Others are no characters, and
// the library takes their bytes as separators of words.
std::string_view view_of_str(py::object text, py::object& keeper) {
    Py_ssize_t size = 0;
    if (const char* data = PyUnicode_AsUTF8AndSize(text.ptr(), &size)) {
        keeper = std::move(text);
        return {data, static_cast<std::size_t>(size)};
    }
    PyErr_Clear();
    keeper = encoded(text, "surrogateescape");
    if (!keeper) {
        PyErr_Clear();
        keeper = encoded(text, "surrogatepass");
    }
    if (!keeper) {
        throw py::error_already_set();
    }
    return view_of_bytes(keeper);
}

bool is_mapping(py::handle value) {
    return PyDict_Check(value.ptr()) ||
           (PyMapping_Check(value.ptr()) && py::hasattr(value, "keys"));
}

// A date and a time as the library reads them: in UTC, with microseconds.
std::string date_text(py::handle value) {
    return py::module_::import("zandrel._fields").attr("date_text")(value).cast<std::string>();
}

bool is_date(py::handle value) {
    return py::isinstance(value, py::module_::import("datetime").attr("date"));
}

// numpy's numbers are numbers in this sense, too.
bool is_number(py::handle value, const char* kind) {
    return py::isinstance(value, py::module_::import("numbers").attr(kind));
}

// numpy's truth values are no bool, and derive from nothing that Python knows.
bool is_truth_value(py::handle value) {
    const std::string name = type_name(value);
    return PyBool_Check(value.ptr()) || name == "numpy.bool_" || name == "numpy.bool";
}

// The digits of a number that is perhaps no int or float of Python.
std::string digits_of(py::handle value) {
    if (PyLong_Check(value.ptr()) || PyFloat_Check(value.ptr())) {
        return py::str(value).cast<std::string>();
    }
    const auto number = py::reinterpret_steal<py::object>(
        is_number(value, "Integral") ? PyNumber_Index(value.ptr()) : PyNumber_Float(value.ptr()));
    if (!number) {
        throw py::error_already_set();
    }
    return py::str(number).cast<std::string>();
}

// A value of another type would need a rule of its own for its digits, so it is refused.
void set_value(Field& field, py::handle value) {
    if (PyUnicode_Check(value.ptr())) {
        field.value = utf8_of(value, "the value of a field");
    } else if (is_truth_value(value)) {
        field.value = PyObject_IsTrue(value.ptr()) == 1 ? "true" : "false";
        field.type = Field::Type::boolean;
    } else if (PyFloat_Check(value.ptr()) || PyLong_Check(value.ptr()) ||
               is_number(value, "Real")) {
        field.value = digits_of(value);
        field.type = Field::Type::number;
    } else if (is_date(value)) {
        field.value = date_text(value);
        field.type = Field::Type::date;
    } else {
        raise_type_error(
            "the value of a field must be str, bool, int, float, date, datetime or a list of one "
            "of them, not " +
            type_name(value));
    }
}

bool is_list(py::handle value) {
    return PyList_Check(value.ptr()) || PyTuple_Check(value.ptr());
}

// The library takes the elements of a list as fields of one name.
void add_field(std::vector<Field>& fields, py::handle key, py::handle value) {
    const std::string name = utf8_of(key, "the name of a field");
    const py::list values = is_list(value) ? py::list(py::reinterpret_borrow<py::object>(value))
                                           : py::list(py::make_tuple(value));
    if (values.empty()) {
        throw py::value_error("the list of the field '" + name + "' is empty");
    }
    for (py::handle element : values) {
        set_value(fields.emplace_back(Field{name, {}, Field::Type::string}), element);
    }
}

std::vector<Field> read_fields(py::handle fields) {
    std::vector<Field> result;
    if (fields.is_none()) {
        return result;
    }
    if (!is_mapping(fields)) {
        raise_type_error("fields must be a mapping of names to values, not " + type_name(fields));
    }
    for (py::handle item : py::reinterpret_borrow<py::object>(fields).attr("items")()) {
        const auto pair = item.cast<py::tuple>();
        add_field(result, pair[0], pair[1]);
    }
    return result;
}

// A misspelt key would lose its value without a word.
void check_keys(py::handle mapping) {
    for (py::handle key : py::reinterpret_borrow<py::object>(mapping).attr("keys")()) {
        const std::string name = utf8_of(key, "a key");
        if (name != "text" && name != "labels" && name != "fields") {
            throw py::value_error("unknown key '" + name +
                                  "': the keys are 'text', 'labels' and 'fields'");
        }
    }
}

py::object value_at(py::handle mapping, const char* key, bool is_needed) {
    const py::str name(key);
    if (!mapping.contains(name)) {
        if (is_needed) {
            throw py::value_error(std::string("the key '") + key + "' is missing");
        }
        return py::none();
    }
    return py::reinterpret_borrow<py::object>(mapping).attr("__getitem__")(name);
}

std::vector<std::string> read_labels(py::handle value) {
    if (PyUnicode_Check(value.ptr())) {
        return {utf8_of(value, "a label")};
    }
    if (PyBytes_Check(value.ptr()) || !py::isinstance<py::iterable>(value)) {
        raise_type_error("labels must be a str or an iterable of str, not " + type_name(value));
    }
    std::vector<std::string> labels;
    for (py::handle label : py::iter(value)) {
        labels.push_back(utf8_of(label, "a label"));
    }
    return labels;
}

std::string copied_text(py::handle value) {
    return std::string(Python_text(value).text().characters);
}

bool is_example_tuple(py::handle value) {
    return (PyTuple_Check(value.ptr()) || PyList_Check(value.ptr())) &&
           (py::len(value) == 2 || py::len(value) == 3);
}

py::object field_value(const Field& field) {
    switch (field.type) {
        case Field::Type::boolean:
            return py::bool_(field.value == "true");
        case Field::Type::number:
            return py::module_::import("zandrel._fields").attr("number_of")(str_of(field.value));
        case Field::Type::date:
            return py::module_::import("zandrel._fields").attr("date_of")(str_of(field.value));
        case Field::Type::string:
            break;
    }
    return str_of(field.value);
}

}  // namespace

py::str str_of(std::string_view utf8) {
    auto text = py::reinterpret_steal<py::object>(
        PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), "surrogateescape"));
    if (!text) {
        throw py::error_already_set();
    }
    return py::str(std::move(text));
}

std::string utf8_of(py::handle value, const char* what) {
    if (!PyUnicode_Check(value.ptr())) {
        raise_type_error(std::string(what) + " must be a str, not " + type_name(value));
    }
    const py::object bytes = encoded(value, "surrogateescape");
    if (!bytes) {
        throw py::error_already_set();
    }
    return std::string(view_of_bytes(bytes));
}

Python_text::Python_text(py::handle value) {
    if (is_mapping(value)) {
        read_mapping(value);
    } else {
        read_characters(value);
    }
}

void Python_text::read_mapping(py::handle mapping) {
    check_keys(mapping);
    read_characters(value_at(mapping, "text", true));
    m_text.fields = read_fields(value_at(mapping, "fields", false));
}

void Python_text::read_characters(py::handle value) {
    auto object = py::reinterpret_borrow<py::object>(value);
    if (PyUnicode_Check(value.ptr())) {
        m_text.characters = view_of_str(std::move(object), m_characters);
    } else if (PyBytes_Check(value.ptr())) {
        m_text.characters = view_of_bytes(value);
        m_characters = std::move(object);
    } else {
        raise_type_error("a text must be str, bytes or a mapping with the key 'text', not " +
                         type_name(value));
    }
}

Example example_of(py::handle value) {
    if (is_mapping(value)) {
        check_keys(value);
        return {read_labels(value_at(value, "labels", true)),
                copied_text(value_at(value, "text", true)),
                read_fields(value_at(value, "fields", false))};
    }
    if (!is_example_tuple(value)) {
        raise_type_error(
            "an example must be (labels, text), (labels, text, fields) or a mapping, "
            "not " +
            type_name(value));
    }
    const auto parts = py::reinterpret_borrow<py::sequence>(value);
    return {read_labels(parts[0]), copied_text(parts[1]),
            parts.size() == 3 ? read_fields(parts[2]) : std::vector<Field>()};
}

std::vector<Example> examples_of(py::handle iterable) {
    std::vector<Example> examples;
    for (py::handle value : py::iter(iterable)) {
        with_place("example", examples.size() + 1, [&] { examples.push_back(example_of(value)); });
        if (examples.size() % kBetweenSignalChecks == 0 && PyErr_CheckSignals() != 0) {
            throw py::error_already_set();
        }
    }
    return examples;
}

py::dict fields_of(const std::vector<Field>& fields) {
    py::dict result;
    for (std::size_t i = 0; i < fields.size();) {
        py::list values;
        const std::string& name = fields[i].name;
        for (; i < fields.size() && fields[i].name == name; ++i) {
            values.append(field_value(fields[i]));
        }
        result[str_of(name)] = values.size() == 1 ? py::object(values[0]) : values;
    }
    return result;
}

}  // namespace zandrel::python
