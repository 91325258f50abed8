// Collects the records of a data file, and counts the bad ones if they are skipped.
#include "text/data/Labelled_text.h"

#include <memory>
#include <utility>

#include "text/data/Data_input.h"
#include "text/data/Data_reader.h"
#include "text/data/File_kind.h"
#include "text/data/First_row_check.h"
#include "text/data/Stored_corpus.h"
#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

std::string lines_of_columns(Columns columns, const Data_form& form) {
    if (form.names_columns() || form.format.value_or(Data_format::kTsv) != Data_format::kTsv) {
        return "records of the form " + name_of(form.format.value_or(Data_format::kTsv));
    }
    return columns == Columns::kTextTitleKeywords ? "lines label<TAB>text<TAB>title<TAB>keywords"
                                                  : "lines label<TAB>text";
}

namespace {

// `take`: gets each good record.
template <class Take>
void read_texts(std::istream& input, const std::string& name, Skipped_lines* skipped,
                Columns columns, std::size_t longest_line, const Data_form& form,
                const Take& take) {
    const std::unique_ptr<Data_reader> reader = make_data_reader(
        {input, name, columns, longest_line}, form.format.value_or(Data_format::kTsv), form);
    First_row_check first_row;
    Data_record record;
    while (reader->next(record)) {
        first_row.add(record);
        if (record.error) {
            skip_bad_line(*record.error, skipped);
        } else {
            take(std::move(record.message));
        }
    }
    first_row.check(name);
}

Data_form with_format_of(const std::string& path, const Data_form& form) {
    Data_form form_of_file = form;
    form_of_file.format = format_of_data(path, form);
    return form_of_file;
}

}  // namespace

std::vector<Labelled_text> read_labelled_texts(std::istream& input, const std::string& name,
                                               Skipped_lines* skipped, Columns columns,
                                               std::size_t longest_line, const Data_form& form) {
    std::vector<Labelled_text> texts;
    read_texts(input, name, skipped, columns, longest_line, form,
               [&texts](Labelled_text&& text) { texts.push_back(std::move(text)); });
    return texts;
}

void for_each_labelled_text(const std::string& path, Skipped_lines* skipped, Columns columns,
                            std::size_t longest_line, const Data_form& form,
                            const std::function<void(Labelled_text&& text)>& take) {
    check_is_data_file(path);
    Data_input input(path);
    const std::size_t skipped_before = skipped == nullptr ? 0 : skipped->count;
    std::size_t count = 0;
    read_texts(input.stream(), input.name(), skipped, columns, longest_line,
               with_format_of(path, form), [&](Labelled_text&& text) {
                   ++count;
                   take(std::move(text));
               });
    check_has_texts(input.name(), count, skipped != nullptr && skipped->count > skipped_before);
}

std::vector<Labelled_text> read_labelled_file(const std::string& path, Skipped_lines* skipped,
                                              Columns columns, std::size_t longest_line,
                                              const Data_form& form) {
    if (is_corpus_file(path)) {
        return read_stored_texts(path, skipped, columns, form);
    }
    std::vector<Labelled_text> texts;
    for_each_labelled_text(path, skipped, columns, longest_line, form,
                           [&texts](Labelled_text&& text) { texts.push_back(std::move(text)); });
    return texts;
}

void check_has_texts(const std::string& name, std::size_t count, bool has_bad_lines) {
    if (count == 0) {
        throw Data_error(name, has_bad_lines ? "no good data line" : "no data line");
    }
}

void skip_bad_line(const Data_error& error, Skipped_lines* skipped) {
    if (skipped == nullptr) {
        throw Data_error(error);
    }
    if (++skipped->count == 1) {
        skipped->first = error.what();
    }
}

void print_skipped(const Skipped_lines& skipped, std::ostream& out) {
    if (skipped.count > 0) {
        out << "zandrel: skipped " << skipped.count
            << (skipped.count == 1 ? " bad line" : " bad lines")
            << ", the first: " << shown_message(skipped.first) << '\n';
    }
}

std::size_t text_bytes(const std::vector<Labelled_text>& texts) {
    std::size_t bytes = 0;
    for (const Labelled_text& text : texts) {
        bytes += text.text.size() + text.title.size() + text.keywords.size() + text.stored.bytes;
    }
    return bytes;
}

}  // namespace zandrel
