// The extension module _zandrel: the classes of the text library for the Python package zandrel.
// Its functions have the plain arguments that the package passes; the package has the documented
// interface with defaults and type hints.
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <pthread.h>
#include <pybind11/pybind11.h>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zandrel/text/Classifier.h"
#include "zandrel/text/Records.h"
#include "zandrel/version.h"

#include "python/binding/Python_text.h"
#include "python/binding/Unlocked_call.h"
#include "python/binding/many_texts.h"
#include "python/binding/python_errors.h"

namespace zandrel::python {

namespace py = pybind11;

namespace {

// The classes of results, which are defined in Python.
py::object type_of(const char* name) {
    return py::module_::import("zandrel._types").attr(name);
}

// (name, path, score, confidence)
class Label_maker {
public:
    py::object operator()(const Label& label) const {
        const py::object confidence =
            label.confidence ? py::object(py::float_(*label.confidence)) : py::object(py::none());
        return m_type(str_of(label.name), str_of(label.path), label.score, confidence);
    }

    py::list operator()(const std::vector<Label>& labels) const {
        py::list list;
        for (const Label& label : labels) {
            list.append((*this)(label));
        }
        return list;
    }

private:
    py::object m_type = type_of("Label");
};

// (label, path, score, effects)
class Reasons_maker {
public:
    py::object operator()(const Reasons& reasons) const {
        py::list effects;
        for (const Effect& effect : reasons.effects) {
            effects.append(m_effect(str_of(effect.concept_text), effect.adds, effect.is_known,
                                    effect.log_odds_adds));
        }
        return m_reasons(str_of(reasons.label), str_of(reasons.path), reasons.score, effects);
    }

private:
    py::object m_reasons = type_of("Reasons");
    py::object m_effect = type_of("Effect");
};

// (kind, stem), or None.
std::optional<Analysis> given_analysis(py::handle pair) {
    if (pair.is_none()) {
        return std::nullopt;
    }
    const auto parts = py::reinterpret_borrow<py::sequence>(pair);
    return Analysis{utf8_of(parts[0], "the kind of an analysis"),
                    utf8_of(parts[1], "a stemmer's language")};
}

std::map<std::string, std::string> settings_of(const py::dict& settings) {
    std::map<std::string, std::string> result;
    for (const auto& [key, value] : settings) {
        result[utf8_of(key, "the name of a setting")] = utf8_of(value, "the value of a setting");
    }
    return result;
}

Train_options train_options(py::handle analysis, const py::dict& settings, const py::str& tree,
                            bool compact, bool calibrate, bool prepare_to_explain) {
    Train_options options;
    options.analysis = given_analysis(analysis);
    options.settings = settings_of(settings);
    options.tree = utf8_of(tree, "a tree");
    options.compact = compact;
    options.calibrate = calibrate;
    options.prepare_to_explain = prepare_to_explain;
    return options;
}

// The labelled texts of a data file.
class File_records {
public:
    File_records(const std::string& path, const Record_form& form)
        : m_records(Unlocked_call().run([&] { return Records::open(path, form); })) {}

    // (labels, text, fields); None at the end.
    py::object next() {
        Example example;
        const bool is_read = Unlocked_call().run([&] {
            const std::lock_guard lock(m_mutex);
            return m_records->next(example);
        });
        if (!is_read) {
            return py::none();
        }
        py::list labels;
        for (const std::string& label : example.labels) {
            labels.append(str_of(label));
        }
        return m_type(labels, str_of(example.text), fields_of(example.fields));
    }

    // Calls `work` with the rest of the records. Threads take turns.
    template <typename Work>
    auto use(Work work) {
        const std::lock_guard lock(m_mutex);
        return work(*m_records);
    }

private:
    std::mutex m_mutex;
    Library_object<Records> m_records;
    py::object m_type = type_of("Example");
};

// A classifier of the library. Other threads of Python run while it works.
class Python_classifier {
public:
    explicit Python_classifier(Classifier classifier) : m_classifier(std::move(classifier)) {}

    static std::unique_ptr<Python_classifier> open(const std::string& path, py::handle analysis,
                                                   bool prepare_to_explain, py::object progress) {
        Unlocked_call call(std::move(progress));
        Open_options options;
        options.analysis = given_analysis(analysis);
        options.prepare_to_explain = prepare_to_explain;
        options.progress = call.progress();
        return std::make_unique<Python_classifier>(
            call.run([&] { return Classifier::open(path, options); }));
    }

    // `examples`: a File_records, or an iterable, which is read first: it may run any code.
    static std::unique_ptr<Python_classifier> train(py::handle examples, py::handle analysis,
                                                    const py::dict& settings, const py::str& tree,
                                                    bool compact, bool calibrate,
                                                    bool prepare_to_explain, py::object progress) {
        Unlocked_call call(std::move(progress));
        Train_options options =
            train_options(analysis, settings, tree, compact, calibrate, prepare_to_explain);
        options.progress = call.progress();
        if (py::isinstance<File_records>(examples)) {
            auto& file = examples.cast<File_records&>();
            return std::make_unique<Python_classifier>(call.run([&] {
                return file.use(
                    [&](Records& records) { return Classifier::train(records, options); });
            }));
        }
        const std::vector<Example> list = examples_of(examples);
        return std::make_unique<Python_classifier>(
            call.run([&] { return Classifier::train(list, options); }));
    }

    void learn(py::handle examples, bool add_labels, py::object progress) {
        Unlocked_call call(std::move(progress));
        Learn_options options;
        options.add_labels = add_labels;
        options.progress = call.progress();
        if (py::isinstance<File_records>(examples)) {
            auto& file = examples.cast<File_records&>();
            call.run([&] {
                file.use([&](Records& records) { m_classifier->learn(records, options); });
            });
            return;
        }
        const std::vector<Example> list = examples_of(examples);
        call.run([&] { m_classifier->learn(list, options); });
    }

    py::list classify(py::handle text, int count, double threshold, double reject) const {
        const Classify_options options{count, threshold, reject};
        const Python_text given(text);
        return Label_maker()(
            Unlocked_call().run([&] { return m_classifier->classify(given.text(), options); }));
    }

    // `first`: the number of the first text, for messages.
    py::list classify_all(py::handle texts, int count, double threshold, double reject, int jobs,
                          std::size_t first) const {
        const Classify_options options{count, threshold, reject};
        // Without texts, no other call notices wrong options.
        Unlocked_call().run([&] { m_classifier->classify(std::span<const Text>(), options); });
        return answers_of(
            Text_blocks(texts, first), jobs,
            [&](const Text& text) { return m_classifier->classify(text, options); }, Label_maker());
    }

    py::object explain(py::handle text, const py::str& node) const {
        const Python_text given(text);
        const std::string path = utf8_of(node, "a node");
        return Reasons_maker()(
            Unlocked_call().run([&] { return m_classifier->explain(given.text(), path); }));
    }

    py::list explain_all(py::handle texts, const py::str& node, int jobs) const {
        check_open();
        const std::string path = utf8_of(node, "a node");
        return answers_of(
            Text_blocks(texts, 1), jobs,
            [&](const Text& text) { return m_classifier->explain(text, path); }, Reasons_maker());
    }

    void save(const std::string& path) {
        Unlocked_call().run([&] { m_classifier->save(path); });
    }

    void close() {
        Unlocked_call().run([&] { m_classifier->close(); });
    }

    // Without texts, no other call notices that the classifier is closed.
    // RAISES: Error closed.
    void check_open() const {
        Unlocked_call().run([&] { m_classifier->labels(); });
    }

    py::list labels() const {
        py::list list;
        for (const std::string& label :
             Unlocked_call().run([&] { return m_classifier->labels(); })) {
            list.append(str_of(label));
        }
        return list;
    }

    bool is_calibrated() const {
        return Unlocked_call().run([&] { return m_classifier->is_calibrated(); });
    }

    py::tuple analysis() const {
        const Analysis analysis = Unlocked_call().run([&] { return m_classifier->analysis(); });
        return py::make_tuple(str_of(analysis.kind), str_of(analysis.stem));
    }

private:
    Library_object<Classifier> m_classifier;
};

std::vector<std::string> strings_of(const py::list& list, const char* what) {
    std::vector<std::string> result;
    for (py::handle value : list) {
        result.push_back(utf8_of(value, what));
    }
    return result;
}

std::unique_ptr<File_records> open_records(const std::string& path, const py::str& format,
                                           const py::list& text_columns,
                                           const py::list& label_columns,
                                           const py::list& field_columns, bool has_header,
                                           py::handle label_separator) {
    Record_form form;
    form.format = utf8_of(format, "a format");
    form.text_columns = strings_of(text_columns, "a column");
    form.label_columns = strings_of(label_columns, "a column");
    form.field_columns = strings_of(field_columns, "a column");
    form.has_header = has_header;
    if (!label_separator.is_none()) {
        form.label_separator = utf8_of(label_separator, "a separator");
    }
    return std::make_unique<File_records>(path, form);
}

std::string version() {
    std::string text;
    for (const int number : kZandrelVersion) {
        text += (text.empty() ? "" : ".") + std::to_string(number);
    }
    return text;
}

void define_classifier(py::module_& module) {
    py::class_<Python_classifier>(module, "Classifier")
        .def_static("open", &Python_classifier::open)
        .def_static("train", &Python_classifier::train)
        .def("learn", &Python_classifier::learn)
        .def("classify", &Python_classifier::classify)
        .def("classify_all", &Python_classifier::classify_all)
        .def("explain", &Python_classifier::explain)
        .def("explain_all", &Python_classifier::explain_all)
        .def("save", &Python_classifier::save)
        .def("close", &Python_classifier::close)
        .def("check_open", &Python_classifier::check_open)
        .def("labels", &Python_classifier::labels)
        .def("is_calibrated", &Python_classifier::is_calibrated)
        .def("analysis", &Python_classifier::analysis);
}

void define_records(py::module_& module) {
    py::class_<File_records>(module, "FileRecords").def("next", &File_records::next);
    module.def("open_records", &open_records);
}

// pybind11 remembers one interpreter for the process. In another one, a
// callback would wait for ever.
bool is_main_interpreter() {
    return PyInterpreterState_Get() == PyInterpreterState_Main();
}

constexpr const char* kNotMain = "zandrel works only in the main interpreter of a process";

// RAISES: ImportError. error_already_set would take the lock of the main interpreter.
void check_interpreter() {
    if (!is_main_interpreter()) {
        throw py::import_error(kNotMain);
    }
}

void prepare_end() {
    py::module_::import("atexit").attr("register")(py::cpp_function(&end_calls));
    pthread_atfork(nullptr, nullptr, &count_calls_after_fork);
}

void define_module(py::module_& module) {
    module.doc() = "The library behind the package zandrel; use the package.";
    translate_errors();
    define_classifier(module);
    define_records(module);
    prepare_end();
    module.def("check_interpreter", &check_interpreter);
    module.def("error_codes", &error_codes);
    module.attr("version") = version();
}

}  // namespace

}  // namespace zandrel::python

// PYBIND11_MODULE would let pybind11 remember the interpreter before our code runs.
extern "C" PYBIND11_EXPORT PyObject* PyInit__zandrel();

extern "C" PYBIND11_EXPORT PyObject* PyInit__zandrel() {
    if (!zandrel::python::is_main_interpreter()) {
        PyErr_SetString(PyExc_ImportError, zandrel::python::kNotMain);
        return nullptr;
    }
    PYBIND11_CHECK_PYTHON_VERSION
    PYBIND11_ENSURE_INTERNALS_READY
    static pybind11::module_::module_def definition;
    auto module = pybind11::module_::create_extension_module("_zandrel", nullptr, &definition);
    try {
        zandrel::python::define_module(module);
        return module.ptr();
    }
    PYBIND11_CATCH_INIT_EXCEPTIONS
}
