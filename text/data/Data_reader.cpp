// Chooses the reader, and refuses options that its format does not have.
#include "text/data/Data_reader.h"

#include "text/data/Fasttext_reader.h"
#include "text/data/Json_line_reader.h"
#include "text/data/Table_reader.h"
#include "text/data/Tsv_line_reader.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

void refuse_option(bool is_given, const char* option, const std::string& file, Data_format format) {
    if (is_given) {
        throw Usage_error(shown_file(file) + " has the format " + name_of(format) +
                          ", for which there is no " + option);
    }
}

void refuse_columns(const Data_source& source, Data_format format, const Data_form& form) {
    refuse_option(!form.texts.empty(), "--text", source.name, format);
    refuse_option(!form.labels.empty(), "--label", source.name, format);
    refuse_option(!form.pairs.empty(), "--pair", source.name, format);
    refuse_option(form.label_separator.has_value(), "--label-separator", source.name, format);
    refuse_option(source.columns == Columns::kTextTitleKeywords, "--bootstrap", source.name,
                  format);
}

}  // namespace

std::unique_ptr<Data_reader> make_data_reader(const Data_source& source, Data_format format,
                                              const Data_form& form) {
    switch (format) {
        case Data_format::kJsonLines:
            refuse_option(form.has_header, "--header", source.name, format);
            return std::make_unique<Json_line_reader>(source, form);
        case Data_format::kFasttext:
            refuse_option(form.has_header, "--header", source.name, format);
            refuse_columns(source, format, form);
            return std::make_unique<Fasttext_reader>(source);
        case Data_format::kCsv:
            return std::make_unique<Table_reader>(source, format, form);
        default:
            if (form.names_columns()) {
                return std::make_unique<Table_reader>(source, format, form);
            }
            return std::make_unique<Tsv_line_reader>(source, form);
    }
}

}  // namespace zandrel
