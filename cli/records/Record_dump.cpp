// Two listings of the same Record_file: a table for people, and JSON with the same members. Both
// have a variant for packages, which have sizes instead of blocks and a seal instead of holes.
#include "cli/records/Record_dump.h"

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "cli/records/Record_text.h"
#include "cli/text/Layout.h"

namespace cli {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kNameWidth = 14;
constexpr std::size_t kNumberWidth = 14;

void print_field(std::string_view name, const std::string& value, std::ostream& out) {
    out << "  " << left_aligned(name, kNameWidth) << value << '\n';
}

std::string column(std::uint64_t number) {
    return right_aligned(std::to_string(number), kNumberWidth);
}

std::string remark(const std::string& problem) {
    return problem.empty() ? "" : "  (" + problem + ")";
}

void print_header(const Record_file& file, std::ostream& out) {
    const Record_header& header = file.header;
    out << "header\n";
    if (file.package) {
        print_field("form", file.package->is_container ? "knowledge container" : "package", out);
    }
    print_field("offsets", header.is_wide ? "64 bits" : "32 bits", out);
    print_field("file id", hex(header.file_id, 8), out);
    print_field("version", std::to_string(header.version), out);
    print_field("flags", hex(header.flags, 2) + (header.is_unicode() ? " (unicode)" : ""), out);
    print_field("state",
                hex(header.state, 2) + (header.is_stale() ? " (the index may be stale)" : "") +
                    (header.is_unfinished() ? " (not written to its end)" : ""),
                out);
    print_field("index at", std::to_string(header.index_offset), out);
    print_field("file size", std::to_string(file.size), out);
}

void print_index(const Record_file& file, std::ostream& out) {
    const Record_index& index = file.index;
    out << "index" << remark(index.problem) << '\n';
    print_field("keys", std::to_string(index.items.size()), out);
    if (!file.package) {
        print_field("holes", std::to_string(index.holes.size()), out);
    }
    if (index.problem.empty()) {
        print_field("size", std::to_string(index.space), out);
        if (!file.package) {
            print_field("block", std::to_string(block_of(index.space)), out);
        }
    }
}

// Without an index we do not know whether there is a seal.
std::string shown_form(const Record_index& index, const Package_contents& package) {
    if (package.form) {
        return std::to_string(*package.form);
    }
    return package.has_seal || !index.problem.empty() ? "unknown" : "none";
}

void print_seal(const Record_index& index, const Package_contents& package, std::ostream& out) {
    out << "seal\n";
    print_field("form", shown_form(index, package), out);
    if (package.header_checksum) {
        print_field("header", hex(*package.header_checksum, 8), out);
    }
}

std::optional<std::uint32_t> checksum_of(const Record_item& item, const Package_contents& package) {
    const auto found = package.checksums.find(item.key);
    return found == package.checksums.end() ? std::nullopt : std::optional(found->second);
}

// The checksums come from the seal.
void print_package_items(const Record_index& index, const Package_contents& package,
                         std::ostream& out) {
    out << "items" << right_aligned("offset", kNumberWidth - 3)
        << right_aligned("size", kNumberWidth) << right_aligned("data", kNumberWidth)
        << right_aligned("checksum", kNumberWidth) << "  key\n";
    for (std::size_t i = 0; i < index.items.size(); ++i) {
        const Record_item& item = index.items[i];
        const bool is_whole = item.problem.empty();
        const std::optional<std::uint32_t> checksum = checksum_of(item, package);
        const std::string& contents = package.contents[i];
        out << "  " << column(item.offset)
            << (is_whole ? column(item.total()) : right_aligned("-", kNumberWidth))
            << (is_whole ? column(item.data_length) : right_aligned("-", kNumberWidth))
            << right_aligned(checksum ? hex(*checksum, 8) : "-", kNumberWidth) << "  "
            << shown_key(item.key) << (contents.empty() ? "" : "  " + contents)
            << remark(item.problem) << '\n';
    }
}

void print_items(const Record_index& index, std::ostream& out) {
    out << "items" << right_aligned("offset", kNumberWidth - 3)
        << right_aligned("block", kNumberWidth) << right_aligned("data", kNumberWidth) << "  key\n";
    for (const Record_item& item : index.items) {
        out << "  " << column(item.offset)
            << (item.problem.empty()
                    ? column(block_of(item.total())) + column(item.data_length)
                    : right_aligned("-", kNumberWidth) + right_aligned("-", kNumberWidth))
            << "  " << shown_key(item.key) << remark(item.problem) << '\n';
    }
}

void print_holes(const Record_index& index, std::ostream& out) {
    out << "holes" << right_aligned("offset", kNumberWidth - 3)
        << right_aligned("block", kNumberWidth) << '\n';
    for (const Record_hole& hole : index.holes) {
        out << "  " << column(hole.offset) << column(std::uint64_t(1) << hole.slot)
            << remark(hole.problem) << '\n';
    }
}

void add_problem(const std::string& problem, Json& json) {
    if (!problem.empty()) {
        json["problem"] = problem;
    }
}

Json header_json(const Record_header& header) {
    return {{"offset_bits", 8 * header.offset_width()},
            {"file_id", header.file_id},
            {"version", header.version},
            {"flags", header.flags},
            {"state", header.state},
            {"index_offset", header.index_offset}};
}

Json index_json(const Record_file& file) {
    const Record_index& index = file.index;
    Json json = {{"keys", index.items.size()}};
    if (!file.package) {
        json["holes"] = index.holes.size();
    }
    if (index.problem.empty()) {
        json["size"] = index.space;
        if (!file.package) {
            json["block"] = block_of(index.space);
        }
    }
    add_problem(index.problem, json);
    return json;
}

Json item_json(const Record_item& item) {
    Json json = {{"key", shown_key(item.key)}, {"offset", item.offset}};
    if (item.problem.empty()) {
        json["block"] = block_of(item.total());
        json["data_length"] = item.data_length;
    }
    add_problem(item.problem, json);
    return json;
}

Json package_item_json(const Record_item& item, const Package_contents& package,
                       const std::string& contents) {
    Json json = {{"key", shown_key(item.key)}, {"offset", item.offset}};
    if (item.problem.empty()) {
        json["size"] = item.total();
        json["data_length"] = item.data_length;
    }
    if (const std::optional<std::uint32_t> checksum = checksum_of(item, package); checksum) {
        json["checksum"] = *checksum;
    }
    if (!contents.empty()) {
        json["contents"] = contents;
    }
    add_problem(item.problem, json);
    return json;
}

// Null without a seal.
Json seal_json(const Package_contents& package) {
    Json json;
    if (package.has_seal) {
        json["form"] = nullptr;
        if (package.form) {
            json["form"] = *package.form;
        }
        if (package.header_checksum) {
            json["header_checksum"] = *package.header_checksum;
        }
    }
    return json;
}

void add_package(const Record_file& file, Json& json) {
    const Package_contents& package = *file.package;
    json["container"] = package.is_container;
    for (std::size_t i = 0; i < file.index.items.size(); ++i) {
        json["items"].push_back(
            package_item_json(file.index.items[i], package, package.contents[i]));
    }
    json["seal"] = seal_json(package);
}

Json hole_json(const Record_hole& hole) {
    Json json = {{"offset", hole.offset}, {"block", std::uint64_t(1) << hole.slot}};
    add_problem(hole.problem, json);
    return json;
}

}  // namespace

void print_record_dump(const Record_file& file, std::ostream& out) {
    print_header(file, out);
    print_index(file, out);
    if (file.package) {
        print_package_items(file.index, *file.package, out);
        print_seal(file.index, *file.package, out);
    } else {
        print_items(file.index, out);
        print_holes(file.index, out);
    }
}

nlohmann::ordered_json record_dump_json(const Record_file& file) {
    Json json = {{"file", file.path}, {"size", file.size}};
    json["header"] = header_json(file.header);
    json["index"] = index_json(file);
    json["items"] = Json::array();
    if (file.package) {
        add_package(file, json);
        return json;
    }
    for (const Record_item& item : file.index.items) {
        json["items"].push_back(item_json(item));
    }
    json["holes"] = Json::array();
    for (const Record_hole& hole : file.index.holes) {
        json["holes"].push_back(hole_json(hole));
    }
    return json;
}

}  // namespace cli
