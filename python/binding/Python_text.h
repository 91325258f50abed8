// Python_text: texts and examples from Python's values, and back.
#ifndef ZANDREL_PYTHON_BINDING_PYTHON_TEXT_H_
#define ZANDREL_PYTHON_BINDING_PYTHON_TEXT_H_

#include <pybind11/pybind11.h>
#include <string>
#include <string_view>
#include <vector>

#include "zandrel/text/Text.h"

namespace zandrel::python {

// A text of Python, for calls without Python's lock: a str, bytes, or a mapping with "text" and
// perhaps "fields". The characters of a str are not copied if Python has them in UTF-8.
class Python_text {
public:
    // RAISES: TypeError for another value, ValueError for an unknown key.
    explicit Python_text(pybind11::handle value);

    const Text& text() const { return m_text; }

private:
    void read_mapping(pybind11::handle mapping);
    void read_characters(pybind11::handle value);

    pybind11::object m_characters;  // keeps them alive
    Text m_text;
};

// Makes an example from a tuple (labels, text) or (labels, text, fields), or from a mapping with
// "labels" and "text" and perhaps "fields". `labels` is a str or an iterable of them.
// RAISES: TypeError and ValueError.
Example example_of(pybind11::handle value);

// All examples of an iterable.
// RAISES: TypeError and ValueError; what the iterable raises, KeyboardInterrupt.
std::vector<Example> examples_of(pybind11::handle iterable);

// A label, a path or the words of a concept. Bytes that are not UTF-8 become surrogates, which
// `utf8_of` turns back into the same bytes.
pybind11::str str_of(std::string_view utf8);

// RAISES: TypeError if `value` is no str; UnicodeEncodeError. `what` is the subject of the message.
std::string utf8_of(pybind11::handle value, const char* what);

// The fields as a dict, for Records.
pybind11::dict fields_of(const std::vector<Field>& fields);

}  // namespace zandrel::python

#endif  // ZANDREL_PYTHON_BINDING_PYTHON_TEXT_H_
