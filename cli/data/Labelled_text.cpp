#include "cli/data/Labelled_text.h"

#include <algorithm>
#include <cerrno>
#include <fstream>

#include "cli/errors.h"

namespace cli {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Where a line stands, for messages.
struct Place {
    const std::string& file;
    std::size_t line;
};

void add_label(std::vector<std::string>& labels, std::string_view label, const Place& place) {
    if (label.empty()) {
        throw Data_error(place.file, place.line, "empty label");
    }
    if (std::find(labels.begin(), labels.end(), label) == labels.end()) {
        labels.emplace_back(label);
    }
}

std::vector<std::string> split_labels(std::string_view list, const Place& place) {
    std::vector<std::string> labels;
    for (std::size_t comma = list.find(','); comma != std::string_view::npos;
         comma = list.find(',')) {
        add_label(labels, list.substr(0, comma), place);
        list.remove_prefix(comma + 1);
    }
    add_label(labels, list, place);
    return labels;
}

// Takes the column in front of the first tab off a line.
std::string_view take_column(std::string_view& line, const Place& place, const char* complaint) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string_view::npos) {
        throw Data_error(place.file, place.line, complaint);
    }
    const std::string_view column = line.substr(0, tab);
    line.remove_prefix(tab + 1);
    return column;
}

Labelled_text parse_line(std::string_view line, const Place& place, Columns columns) {
    Labelled_text parsed;
    const std::string_view labels = take_column(line, place, "no tab between label and text");
    parsed.labels = split_labels(labels, place);
    if (columns == Columns::kText) {
        parsed.text = line;
    } else {
        parsed.text = take_column(line, place, "no tab between text and title");
        parsed.title = take_column(line, place, "no tab between title and keywords");
        parsed.keywords = line;
    }
    return parsed;
}

// Parses a line into `texts`, or notes it in `skipped` if it is bad.
void take_line(std::string_view line, const Place& place, std::vector<Labelled_text>& texts,
               Skipped_lines* skipped, Columns columns) {
    try {
        texts.push_back(parse_line(line, place, columns));
    } catch (const Data_error& error) {
        if (skipped == nullptr) {
            throw;
        }
        if (++skipped->count == 1) {
            skipped->first = error.what();
        }
    }
}

}  // namespace

std::string_view without_byte_order_mark(std::string_view line) {
    if (line.starts_with(kByteOrderMark)) {
        line.remove_prefix(kByteOrderMark.size());
    }
    return line;
}

std::string_view without_carriage_return(std::string_view line) {
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    return line;
}

std::vector<Labelled_text> read_labelled_texts(std::istream& input, const std::string& name,
                                               Skipped_lines* skipped, Columns columns) {
    std::vector<Labelled_text> texts;
    std::string buffer;
    errno = 0;
    for (std::size_t line_number = 1; std::getline(input, buffer); ++line_number) {
        std::string_view line = without_carriage_return(buffer);
        if (line_number == 1) {
            line = without_byte_order_mark(line);
        }
        if (!line.empty()) {
            take_line(line, {name, line_number}, texts, skipped, columns);
        }
    }
    if (input.bad()) {
        throw Input_error(name, reason_of_failure());
    }
    return texts;
}

std::vector<Labelled_text> read_labelled_file(const std::string& path, Skipped_lines* skipped,
                                              Columns columns) {
    errno = 0;
    std::ifstream input(path, std::ios::binary);
    if (!input) {
        throw Input_error(path, reason_of_failure());
    }
    const std::size_t skipped_before = skipped == nullptr ? 0 : skipped->count;
    std::vector<Labelled_text> texts = read_labelled_texts(input, path, skipped, columns);
    if (texts.empty()) {
        const bool has_bad_lines = skipped != nullptr && skipped->count > skipped_before;
        throw Data_error(path, has_bad_lines ? "no good data line" : "no data line");
    }
    return texts;
}

void print_skipped(const Skipped_lines& skipped, std::ostream& out) {
    if (skipped.count > 0) {
        out << "zandrel: skipped " << skipped.count
            << (skipped.count == 1 ? " bad line" : " bad lines") << ", the first: " << skipped.first
            << '\n';
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
