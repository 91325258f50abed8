// Reads the whole file into memory. The usual reader of data files finds the labels of each record
// and the line where it begins. So `split` accepts the same records as `train`. A record ends
// before the blank lines that precede the next record, and those lines are the only ones that are
// dropped: a record never ends with a blank line, since a CSV field of several lines ends with a
// quote.
//
// Example: a CSV file with the lines
//
//   1  label,text
//   2  sport,"a goal
//   3
//   4  at last"
//   5
//   6  food,bread
//
// The records begin at the lines 2 and 6. The first one has the lines 2 to 4. Line 1 comes before
// all records, so it is the header, which is in both files. The order of records does not change,
// so a last line without a line end is the last one of its new file, too.
#include "cli/split/Split.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/corpus/Corpus_writer.h"
#include "text/data/Data_input.h"
#include "text/data/Data_lines.h"
#include "text/data/Data_reader.h"
#include "text/data/Data_warnings.h"
#include "text/data/File_kind.h"
#include "text/data/First_row_check.h"
#include "text/data/Packing.h"
#include "text/data/Stored_corpus.h"
#include "text/errors.h"
#include "text/kc/Replacement_file.h"
#include "text/kc/Target_file.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

namespace fs = std::filesystem;

// Reads from bytes in memory, without a copy of them.
class View_buffer : public std::streambuf {
public:
    // BORROWS: the bytes. A stream only reads them.
    explicit View_buffer(std::string& bytes) {
        setg(bytes.data(), bytes.data(), bytes.data() + bytes.size());
    }
};

// Returns whether both names lead to the same file, or would if it existed. A new file has no
// identity yet, so we compare its folder and its name: `b.tsv` and `./b.tsv` are the same file.
bool are_same_file(const std::string& left, const std::string& right) {
    std::error_code error;
    const Target_file left_target(left);
    const Target_file right_target(right);
    if (fs::equivalent(left_target.path(), right_target.path(), error)) {
        return true;
    }
    return fs::path(left_target.path()).filename() == fs::path(right_target.path()).filename() &&
           fs::equivalent(left_target.folder(), right_target.folder(), error);
}

// RAISES: Usage_error.
void check_different(const Split_options& options) {
    const std::string& data = options.data_file;
    if (are_same_file(options.rest_file, options.share_file)) {
        throw Usage_error(shown_file(options.rest_file) + " and " + shown_file(options.share_file) +
                          " are the same file");
    }
    for (const std::string& file : {options.rest_file, options.share_file}) {
        if (!is_standard_input(data) && are_same_file(data, file)) {
            throw Usage_error(shown_file(file) + " is the data file, which split does not change");
        }
    }
}

// RAISES: Usage_error, Data_error; Output_error, Input_error.
void check_replaceable(const std::string& file, bool replaces) {
    const Target_file target(file);
    target.check_replaceable();
    if (!target.status()) {
        return;
    }
    if (!replaces) {
        throw Usage_error(shown_file(file) + " exists already; --replace replaces it");
    }
    const File_kind kind = kind_of_file(target.path());
    if (kind == File_kind::kContainer || kind == File_kind::kArchive) {
        throw Data_error(file, "this is " + name_of(kind) + ", and split replaces only data files");
    }
}

// The name of a new file decides how the other commands will read it.
// RAISES: Usage_error.
void check_form(const std::string& file, const Split_options& options) {
    if (packing_of_name(file) != Packing::kNone) {
        throw Usage_error(shown_file(file) + ": split writes files that are not compressed");
    }
    const Data_format of_data = format_of_data(options.data_file, options.form);
    const Data_format of_file = format_of_data(file, options.form);
    if (of_file != of_data) {
        throw Usage_error(shown_file(file) + " is named like a file of the form " +
                          name_of(of_file) + ", but the data have the form " + name_of(of_data));
    }
}

void check_targets(const Split_options& options) {
    if (!is_corpus_file(options.data_file)) {  // the name of a corpus file says nothing
        check_form(options.rest_file, options);
        check_form(options.share_file, options);
    }
    check_different(options);
    check_replaceable(options.rest_file, options.replaces);
    check_replaceable(options.share_file, options.replaces);
}

// RAISES: Input_error, Data_error.
std::string all_bytes(const std::string& data_file) {
    check_is_data_file(data_file);
    Data_input input(data_file);
    std::istream& stream = input.stream();
    std::string bytes;
    std::error_code is_no_file;  // standard input
    const std::uintmax_t size = fs::file_size(data_file, is_no_file);
    if (!is_no_file) {
        bytes.reserve(size);  // a string that grows needs its old and its new memory at once
    }
    std::array<char, 65536> chunk = {};
    errno = 0;
    do {
        stream.read(chunk.data(), chunk.size());
        bytes.append(chunk.data(), static_cast<std::size_t>(stream.gcount()));
    } while (stream);
    if (stream.bad()) {
        throw Input_error(input.name(), reason_of_failure());
    }
    return bytes;
}

// Each line with its end; a byte order mark belongs to no line.
std::vector<std::string_view> lines_of(std::string_view bytes) {
    std::vector<std::string_view> lines;
    bytes = without_byte_order_mark(bytes);
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        const std::size_t size = end == std::string_view::npos ? bytes.size() : end + 1;
        lines.push_back(bytes.substr(0, size));
        bytes.remove_prefix(size);
    }
    return lines;
}

// The data of a file, read once.
struct Data {
    std::string bytes;
    std::vector<std::size_t> record_lines;  // where records begin, good and bad ones
    std::vector<Labelled_text> texts;       // of the good records; only the first one has its text
};

void read_records(Data& data, const Split_options& options, Skipped_lines* skipped) {
    View_buffer buffer(data.bytes);
    std::istream stream(&buffer);
    const std::unique_ptr<Data_reader> reader = make_data_reader(
        {stream, input_name(options.data_file), Columns::kText, options.longest_line},
        format_of_data(options.data_file, options.form), options.form);
    First_row_check first_row;
    Data_record record;
    while (reader->next(record)) {
        first_row.add(record);
        data.record_lines.push_back(record.message.line);
        if (record.error) {
            skip_bad_line(*record.error, skipped);
            continue;
        }
        if (!data.texts.empty()) {
            std::string().swap(record.message.text);  // `clear` would keep its memory
            std::vector<Pair>().swap(record.message.pairs);
        }
        data.texts.push_back(std::move(record.message));
    }
    first_row.check(input_name(options.data_file));
}

Data read_data(const Split_options& options, Skipped_lines* skipped) {
    Data data;
    data.bytes = all_bytes(options.data_file);
    read_records(data, options, skipped);
    check_has_texts(input_name(options.data_file), data.texts.size(),
                    skipped != nullptr && skipped->count > 0);
    return data;
}

// The text of the first record is enough to find a header line, which is in only one of the files
// if
// --header is not given.
void warn_of_data(const Split_options& options, const Data& data) {
    if (!options.warn) {
        return;
    }
    for (const std::string& warning :
         training_warnings({{input_name(options.data_file), data.texts}})) {
        options.warn(warning);
    }
}

// The lines of a file, from 1.
class Lines {
public:
    // BORROWS: the bytes.
    explicit Lines(std::string_view bytes) : m_lines(lines_of(bytes)) {}

    std::size_t count() const { return m_lines.size(); }

    bool is_blank(std::size_t number) const {
        return m_lines[number - 1].find_first_not_of(" \t\r\n") == std::string_view::npos;
    }

    // From the line `begin` to the line before `end`, without blank lines at the end.
    std::string_view bytes(std::size_t begin, std::size_t end) const {
        while (end > begin + 1 && is_blank(end - 1)) {
            --end;
        }
        const std::string_view first = m_lines[begin - 1];
        const std::string_view last = m_lines[end - 2];
        return {first.data(), static_cast<std::size_t>(last.data() + last.size() - first.data())};
    }

private:
    std::vector<std::string_view> m_lines;
};

// A byte order mark, and the lines before the first record, which are a header.
std::string start_of(const std::string& bytes, const Lines& lines, std::size_t first_line) {
    std::string start = bytes.substr(0, bytes.size() - without_byte_order_mark(bytes).size());
    for (std::size_t line = 1; line < first_line; ++line) {
        if (!lines.is_blank(line)) {
            return start.append(lines.bytes(line, first_line));
        }
    }
    return start;
}

// Prints the start of the file and the records of one part.
void print_part(const Data& data, const Lines& lines, const std::vector<bool>& in_share,
                bool is_share, std::ostream& out) {
    out << start_of(data.bytes, lines, data.record_lines.front());
    std::size_t next = 0;  // the record after the text
    for (std::size_t i = 0; i < data.texts.size(); ++i) {
        const std::size_t line = data.texts[i].line;
        while (next < data.record_lines.size() && data.record_lines[next] <= line) {
            ++next;
        }
        const std::size_t end =
            next < data.record_lines.size() ? data.record_lines[next] : lines.count() + 1;
        if (in_share[i] == is_share) {
            out << lines.bytes(line, end);
        }
    }
}

void write_both(const Split_options& options, const Data& data, const std::vector<bool>& in_share) {
    const Lines lines(data.bytes);
    Replacement_file rest(options.rest_file);
    Replacement_file share(options.share_file);
    rest.fill([&](std::ostream& out) { print_part(data, lines, in_share, false, out); });
    share.fill([&](std::ostream& out) { print_part(data, lines, in_share, true, out); });
    check_targets(options);  // another program may have made a file meanwhile
    rest.take_place();
    share.take_place();
}

// Copies the messages of a corpus to two new corpora.
Split_summary split_corpus(const Split_options& options) {
    Split_summary summary;
    const std::vector<Labelled_text> texts =
        read_stored_texts(options.data_file, options.skips_bad_lines ? &summary.skipped : nullptr,
                          Columns::kText, options.form);
    if (options.warn) {
        for (const std::string& warning : training_warnings({{options.data_file, texts}})) {
            options.warn(warning);
        }
    }
    const std::vector<bool> in_share =
        held_out_texts(options.data_file, label_lists_of(texts), options.share, options.seed);
    const Stored_corpus& corpus = *texts.front().stored.corpus;
    Replacement_file rest_file(options.rest_file);
    Replacement_file share_file(options.share_file);
    Corpus_writer rest(rest_file, options.rest_file);
    Corpus_writer share(share_file, options.share_file);
    for (Corpus_writer* const writer : {&rest, &share}) {
        writer->begin();
        writer->note(corpus.notes());
    }
    for (std::size_t i = 0; i < texts.size(); ++i) {
        qtPtrLight<zeMsg> msg = corpus.stored(texts[i].stored.number);
        (in_share[i] ? share : rest).add(msg);
    }
    summary.rest_texts = rest.finish();
    summary.share_texts = share.finish();
    check_targets(options);  // another program may have made a file meanwhile
    rest_file.take_place();
    share_file.take_place();
    return summary;
}

void print_count(const std::string& file, std::size_t texts, std::ostream& out) {
    out << shown_text(file) << ": " << grouped(texts) << (texts == 1 ? " text\n" : " texts\n");
}

}  // namespace

Split_summary split(const Split_options& options) {
    Split_summary summary;
    check_targets(options);
    if (is_corpus_file(options.data_file)) {
        return split_corpus(options);
    }
    const Data data = read_data(options, options.skips_bad_lines ? &summary.skipped : nullptr);
    warn_of_data(options, data);
    const std::vector<bool> in_share = held_out_texts(
        input_name(options.data_file), label_lists_of(data.texts), options.share, options.seed);
    write_both(options, data, in_share);
    for (const bool is_in_share : in_share) {
        ++(is_in_share ? summary.share_texts : summary.rest_texts);
    }
    return summary;
}

void print_split(const Split_options& options, const Split_summary& summary, std::ostream& out) {
    print_count(options.rest_file, summary.rest_texts, out);
    print_count(options.share_file, summary.share_texts, out);
}

}  // namespace zandrel::cli
