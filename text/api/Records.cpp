// Reads records with the readers of the data forms. A closed object, from which another one was
// moved, has no Impl.
#include "zandrel/text/Records.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <utility>

#include "text/api/Container_lock.h"
#include "text/api/Records_impl.h"
#include "text/api/raised_errors.h"
#include "text/data/File_kind.h"
#include "text/data/Line_record_reader.h"
#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

Data_format format_of(const std::string& name) {
    const std::vector<std::string> names = names_of_formats();
    if (std::find(names.begin(), names.end(), name) == names.end()) {
        refuse_argument("unknown format \"" + shown_value(name) +
                        "\"; it can be tsv, csv, jsonl, fasttext or lines");
    }
    return format_of_name(name);
}

void check_columns(const std::vector<std::string>& columns) {
    if (std::find(columns.begin(), columns.end(), "") != columns.end()) {
        refuse_argument("the name of a column is empty");
    }
}

Data_form form_of(const Record_form& form) {
    Data_form own;
    if (!form.format.empty()) {
        own.format = format_of(form.format);
    }
    check_columns(form.text_columns);
    check_columns(form.label_columns);
    own.texts = form.text_columns;
    own.labels = form.label_columns;
    for (const std::string& word : form.field_columns) {
        Pair_column column = pair_column_of(word);
        for (const Pair_column& other : own.pairs) {
            if (other.name == column.name) {
                refuse_argument("the field \"" + shown_value(column.name) + "\" is given twice");
            }
        }
        own.pairs.push_back(std::move(column));
    }
    own.has_header = form.has_header;
    own.label_separator = form.label_separator;
    return own;
}

// Each line is a text, also an empty one, as for the program's filters.
class Text_lines : public Line_record_reader {
public:
    explicit Text_lines(const Data_source& source) : Line_record_reader(source) {}

protected:
    void parse(std::string_view line, Labelled_text& message) override { message.text = line; }

    bool is_blank(std::string_view) const override { return false; }
};

std::unique_ptr<Data_reader> reader_of(const Data_source& source, Data_format format,
                                       const Data_form& form) {
    if (format != Data_format::kLines) {
        return make_data_reader(source, format, form);
    }
    if (form.names_columns() || form.label_separator) {
        refuse_argument("the format lines has no columns, no header and no labels");
    }
    return std::make_unique<Text_lines>(source);
}

// A library does not take the standard input of its process, which "-" means on the command line.
std::string file_of(const std::string& path) {
    return is_standard_input(path) ? "./-" : path;
}

}  // namespace

Records::Impl::Impl(const std::string& path, const Record_form& form) : m_path(file_of(path)) {
    Data_form own = form_of(form);
    check_exists(m_path);
    if (is_corpus_file(m_path)) {
        const std::scoped_lock in_turn(engine_mutex());
        refuse_options_of_corpus(m_path, own);
        m_corpus = std::make_shared<const Stored_corpus>(m_path);
        return;
    }
    check_is_data_file(m_path);
    m_input = std::make_unique<Data_input>(m_path);
    const Data_format format = format_of_data(m_path, own);
    m_has_labels = form.has_labels && format != Data_format::kLines;
    Data_source source = {m_input->stream(), m_path};
    source.needs_labels = m_has_labels;
    m_reader = reader_of(source, format, own);
}

std::optional<Analysis_settings> Records::Impl::analysis() const {
    return m_corpus == nullptr ? std::nullopt : m_corpus->notes().analysis;
}

bool Records::Impl::next(Example& record) {
    Labelled_text text;
    if (m_corpus == nullptr) {
        if (!next_text(text)) {
            return false;
        }
        record = {std::move(text.labels), std::move(text.text), fields_of_pairs(text.pairs)};
        return true;
    }
    const std::scoped_lock in_turn(engine_mutex());
    if (m_number == m_corpus->size()) {
        return false;
    }
    text = stored_text(m_number++);
    const qtPtrLight<zeMsg> msg = m_corpus->stored(text.stored.number);
    std::optional<std::string> characters = Stored_corpus::text_of(*msg, kTextPair);
    if (!characters) {
        throw Data_error(m_path, text.line, "the message has no text, only its concepts");
    }
    record = {std::move(text.labels), std::move(*characters),
              fields_of_pairs(Stored_corpus::pairs_of(*msg))};
    return true;
}

// After a failure of the file the reader may have lost bytes, or may not know its columns, so we do
// not call it again.
bool Records::Impl::read(Data_record& record) {
    if (m_failure != nullptr) {
        return false;
    }
    try {
        if (m_reader->next(record)) {
            return true;
        }
        m_first_row.check(m_path);
        return false;
    } catch (...) {
        m_failure = std::current_exception();
        throw;
    }
}

bool Records::Impl::next_text(Labelled_text& text) {
    Data_record record;
    if (!read(record)) {
        return false;
    }
    m_first_row.add(record);
    if (record.error) {
        throw Data_error(*record.error);
    }
    text = std::move(record.message);
    return true;
}

Labelled_text Records::Impl::stored_text(std::size_t number) const {
    return stored_text_of(m_corpus, number, Columns::kText);
}

bool Records::Impl::next_of_rest(Labelled_text& text) {
    if (m_corpus == nullptr) {
        return next_text(text);
    }
    if (m_number == m_corpus->size()) {
        return false;
    }
    text = stored_text(m_number++);
    return true;
}

// A corpus file is read in one turn: each turn waits for the others of the process.
Data_texts Records::Impl::rest(const Reported_progress& progress) {
    if (!m_has_labels) {
        throw Error(Error_code::invalid_argument,
                    shown_file(m_path) + ": its records are read without labels", m_path);
    }
    if (m_failure != nullptr) {
        std::rethrow_exception(m_failure);
    }
    std::unique_lock in_turn(engine_mutex(), std::defer_lock);
    if (is_corpus()) {
        in_turn.lock();
    }
    Data_texts data = {{}, m_path};
    for (Labelled_text text; next_of_rest(text);) {
        data.texts.push_back(std::move(text));
        progress.look();
    }
    check_has_texts(m_path, data.texts.size(), false);
    return data;
}

Records::Records(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}

Records::Records(Records&&) noexcept = default;

// Destroying the file of a corpus releases concepts.
Records& Records::operator=(Records&& other) noexcept {
    Records old(std::move(m_impl));
    m_impl = std::move(other.m_impl);
    return *this;
}

Records::~Records() {
    if (m_impl != nullptr && m_impl->is_corpus()) {
        const std::scoped_lock in_turn(engine_mutex());
        m_impl.reset();
    }
}

Records Records::open(const std::string& path, const Record_form& form) {
    return with_errors(Error_code::wrong_data, [&] {
        refuse_in_progress();
        return Records(std::make_unique<Impl>(path, form));
    });
}

bool Records::next(Example& record) {
    return with_errors(Error_code::wrong_data, [&] {
        refuse_in_progress();
        if (m_impl == nullptr) {
            throw Error(Error_code::closed, "the records were moved to another object");
        }
        return m_impl->next(record);
    });
}

}  // namespace zandrel
