// Reads the whole file into memory. The reader of data lines finds labels and line numbers, and the
// bytes of line n are copied as they are. So `split` accepts the same lines as `train`.
//
// Example, with CR LF as line ends except at the end: "a\tx<CR LF><CR LF>b\ty" has the texts of
// line 1, "a\tx<CR LF>", and of line 3, "b\ty". The order of lines does not change, so a last line
// without a line end is the last one of its new file, too.
#include "cli/split/Split.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <istream>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/data/Data_input.h"
#include "cli/data/Data_lines.h"
#include "cli/errors.h"
#include "cli/kc/Kc_file.h"
#include "cli/kc/Replacement_file.h"
#include "cli/kc/Target_file.h"
#include "cli/text/Layout.h"
#include "cli/text/Shown_text.h"

namespace cli {

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

// Returns whether both names lead to the same file, or would if it existed.
bool are_same_file(const std::string& left, const std::string& right) {
    std::error_code error;
    const std::string left_path = Target_file(left).path();
    const std::string right_path = Target_file(right).path();
    if (fs::equivalent(left_path, right_path, error)) {
        return true;
    }
    const fs::path left_name = fs::weakly_canonical(left_path, error);
    return !error && left_name == fs::weakly_canonical(right_path, error) && !error;
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
    if (begins_as_kc(target.path())) {
        throw Data_error(file, "this is a knowledge container, and split replaces only data files");
    }
}

void check_targets(const Split_options& options) {
    check_different(options);
    check_replaceable(options.rest_file, options.replaces);
    check_replaceable(options.share_file, options.replaces);
}

// RAISES: Input_error, Data_error.
std::string all_bytes(const std::string& data_file) {
    check_is_no_kc(data_file);
    Data_input input(data_file);
    std::string bytes;
    std::array<char, 65536> chunk = {};
    errno = 0;
    do {
        input.stream().read(chunk.data(), chunk.size());
        bytes.append(chunk.data(), static_cast<std::size_t>(input.stream().gcount()));
    } while (input.stream());
    if (input.stream().bad()) {
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
    std::vector<Labelled_text> texts;
};

Data read_data(const Split_options& options, Skipped_lines* skipped) {
    Data data;
    data.bytes = all_bytes(options.data_file);
    const std::string name = input_name(options.data_file);
    View_buffer buffer(data.bytes);
    std::istream stream(&buffer);
    data.texts = read_labelled_texts(stream, name, skipped, Columns::kText, options.longest_line);
    check_has_texts(name, data.texts, skipped != nullptr && skipped->count > 0);
    return data;
}

// The bytes of both files.
struct Parts {
    std::string rest;
    std::string share;
};

Parts parts_of(const Data& data, const std::vector<bool>& in_share) {
    const std::vector<std::string_view> lines = lines_of(data.bytes);
    const std::string_view mark =
        std::string_view(data.bytes)
            .substr(0, data.bytes.size() - without_byte_order_mark(data.bytes).size());
    Parts parts{std::string(mark), std::string(mark)};
    for (std::size_t i = 0; i < data.texts.size(); ++i) {
        (in_share[i] ? parts.share : parts.rest) += lines[data.texts[i].line - 1];
    }
    return parts;
}

// RAISES: Output_error that names the file.
void write(const std::string& file, const std::string& path, const std::string& bytes) {
    errno = 0;
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
        throw Output_error(file, reason_of_failure());
    }
}

void write_both(const Split_options& options, const Parts& parts) {
    Replacement_file rest(options.rest_file);
    Replacement_file share(options.share_file);
    write(options.rest_file, rest.path(), parts.rest);
    write(options.share_file, share.path(), parts.share);
    check_targets(options);  // another program may have made a file meanwhile
    rest.take_place();
    share.take_place();
}

void print_part(const std::string& file, std::size_t texts, std::ostream& out) {
    out << shown_text(file) << ": " << grouped(texts) << (texts == 1 ? " text\n" : " texts\n");
}

}  // namespace

Split_summary split(const Split_options& options) {
    Split_summary summary;
    check_targets(options);
    const Data data = read_data(options, options.skips_bad_lines ? &summary.skipped : nullptr);
    const std::vector<bool> in_share = held_out_texts(
        input_name(options.data_file), label_lists_of(data.texts), options.share, options.seed);
    write_both(options, parts_of(data, in_share));
    for (const bool is_in_share : in_share) {
        ++(is_in_share ? summary.share_texts : summary.rest_texts);
    }
    return summary;
}

void print_split(const Split_options& options, const Split_summary& summary, std::ostream& out) {
    print_part(options.rest_file, summary.rest_texts, out);
    print_part(options.share_file, summary.share_texts, out);
}

}  // namespace cli
