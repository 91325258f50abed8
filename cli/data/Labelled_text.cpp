// Collects the records of a data file, and counts the bad ones if they are skipped.
#include "cli/data/Labelled_text.h"

#include <memory>
#include <utility>

#include "cli/data/Data_input.h"
#include "cli/data/Data_reader.h"
#include "cli/data/First_row_check.h"
#include "cli/errors.h"
#include "cli/text/Shown_text.h"

namespace cli {

std::string lines_of_columns(Columns columns, const Data_form& form) {
    if (form.names_columns() || form.format.value_or(Data_format::kTsv) != Data_format::kTsv) {
        return "records of the form " + name_of(form.format.value_or(Data_format::kTsv));
    }
    return columns == Columns::kTextTitleKeywords ? "lines label<TAB>text<TAB>title<TAB>keywords"
                                                  : "lines label<TAB>text";
}

std::vector<Labelled_text> read_labelled_texts(std::istream& input, const std::string& name,
                                               Skipped_lines* skipped, Columns columns,
                                               std::size_t longest_line, const Data_form& form) {
    const std::unique_ptr<Data_reader> reader = make_data_reader(
        {input, name, columns, longest_line}, form.format.value_or(Data_format::kTsv), form);
    std::vector<Labelled_text> texts;
    First_row_check first_row;
    Data_record record;
    while (reader->next(record)) {
        first_row.add(record);
        if (record.error) {
            skip_bad_line(*record.error, skipped);
        } else {
            texts.push_back(std::move(record.message));
        }
    }
    first_row.check(name);
    return texts;
}

std::vector<Labelled_text> read_labelled_file(const std::string& path, Skipped_lines* skipped,
                                              Columns columns, std::size_t longest_line,
                                              const Data_form& form) {
    Data_input input(path);
    Data_form form_of_file = form;
    form_of_file.format = format_of_data(path, form);
    const std::size_t skipped_before = skipped == nullptr ? 0 : skipped->count;
    std::vector<Labelled_text> texts = read_labelled_texts(input.stream(), input.name(), skipped,
                                                           columns, longest_line, form_of_file);
    check_has_texts(input.name(), texts.size(),
                    skipped != nullptr && skipped->count > skipped_before);
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
        bytes += text.text.size() + text.title.size() + text.keywords.size();
    }
    return bytes;
}

}  // namespace cli
