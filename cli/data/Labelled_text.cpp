// Splits a data line from left to right. `news,sport<TAB>a goal<TAB>at last` has the labels "news"
// and "sport" and the text "a goal<TAB>at last": each column but the last ends at the next tab.
#include "cli/data/Labelled_text.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "cli/data/Data_input.h"
#include "cli/data/Data_lines.h"
#include "cli/errors.h"
#include "cli/text/Shown_text.h"

namespace cli {

namespace {

// The file and number of a line, for messages.
struct Place {
    const std::string& file;
    std::size_t line;
};

// The labels of one line, each once.
class Labels_of_line {
public:
    explicit Labels_of_line(const Place& place) : m_place(place) {}

    void add(std::string_view label) {
        if (label.empty()) {
            throw Data_error(m_place.file, m_place.line, "empty label");
        }
        if (is_new(label)) {
            m_labels.emplace_back(label);
        }
    }

    std::vector<std::string> take() { return std::move(m_labels); }

private:
    // Most lines have few labels. Searching them takes less time than making a set.
    static constexpr std::size_t kFewLabels = 16;

    bool is_new(std::string_view label) {
        if (m_labels.size() < kFewLabels) {
            return std::find(m_labels.begin(), m_labels.end(), label) == m_labels.end();
        }
        if (m_known.empty()) {
            m_known.insert(m_labels.begin(), m_labels.end());
        }
        return m_known.emplace(label).second;
    }

    const Place& m_place;
    std::vector<std::string> m_labels;
    std::unordered_set<std::string> m_known;  // the same labels; empty while they are few
};

std::vector<std::string> split_labels(std::string_view list, const Place& place) {
    Labels_of_line labels(place);
    for (std::size_t comma = list.find(','); comma != std::string_view::npos;
         comma = list.find(',')) {
        labels.add(list.substr(0, comma));
        list.remove_prefix(comma + 1);
    }
    labels.add(list);
    return labels.take();
}

// Returns the column before the first tab, and removes it and the tab from the line.
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
    parsed.line = place.line;
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

// Counts a bad line in `skipped`. RAISES: the error if `skipped` is null.
void skip(const Data_error& error, Skipped_lines* skipped) {
    if (skipped == nullptr) {
        throw Data_error(error);
    }
    if (++skipped->count == 1) {
        skipped->first = error.what();
    }
}

// Parses a line into `texts`, or skips it if it is bad.
void take_line(std::string_view line, const Place& place, std::vector<Labelled_text>& texts,
               Skipped_lines* skipped, Columns columns) {
    try {
        texts.push_back(parse_line(line, place, columns));
    } catch (const Data_error& error) {
        skip(error, skipped);
    }
}

}  // namespace

std::string lines_of_columns(Columns columns) {
    return columns == Columns::kTextTitleKeywords ? "lines label<TAB>text<TAB>title<TAB>keywords"
                                                  : "lines label<TAB>text";
}

std::vector<Labelled_text> read_labelled_texts(std::istream& input, const std::string& name,
                                               Skipped_lines* skipped, Columns columns,
                                               std::size_t longest_line) {
    std::vector<Labelled_text> texts;
    for_each_line(input, name,
                  [&](std::string_view line, std::size_t line_number) {
                      take_line(line, {name, line_number}, texts, skipped, columns);
                  },
                  {longest_line, [&](std::size_t line_number) {
                       skip(too_long_line(name, line_number, longest_line), skipped);
                   }});
    return texts;
}

std::vector<Labelled_text> read_labelled_file(const std::string& path, Skipped_lines* skipped,
                                              Columns columns, std::size_t longest_line) {
    Data_input input(path);
    const std::size_t skipped_before = skipped == nullptr ? 0 : skipped->count;
    std::vector<Labelled_text> texts =
        read_labelled_texts(input.stream(), input.name(), skipped, columns, longest_line);
    check_has_texts(input.name(), texts, skipped != nullptr && skipped->count > skipped_before);
    return texts;
}

void check_has_texts(const std::string& name, const std::vector<Labelled_text>& texts,
                     bool has_bad_lines) {
    if (texts.empty()) {
        throw Data_error(name, has_bad_lines ? "no good data line" : "no data line");
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
