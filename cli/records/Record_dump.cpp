#include "cli/records/Record_dump.h"

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
    print_field("offsets", header.is_wide ? "64 bits" : "32 bits", out);
    print_field("file id", hex(header.file_id, 8), out);
    print_field("version", std::to_string(header.version), out);
    print_field("flags", hex(header.flags, 2) + (header.is_unicode() ? " (unicode)" : ""), out);
    print_field("state",
                hex(header.state, 2) + (header.is_stale() ? " (the index may be stale)" : ""), out);
    print_field("index at", std::to_string(header.index_offset), out);
    print_field("file size", std::to_string(file.size), out);
}

void print_index(const Record_index& index, std::ostream& out) {
    out << "index" << remark(index.problem) << '\n';
    print_field("keys", std::to_string(index.items.size()), out);
    print_field("holes", std::to_string(index.holes.size()), out);
    if (index.problem.empty()) {
        print_field("size", std::to_string(index.space), out);
        print_field("block", std::to_string(block_of(index.space)), out);
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

Json index_json(const Record_index& index) {
    Json json = {{"keys", index.items.size()}, {"holes", index.holes.size()}};
    if (index.problem.empty()) {
        json["size"] = index.space;
        json["block"] = block_of(index.space);
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

Json hole_json(const Record_hole& hole) {
    Json json = {{"offset", hole.offset}, {"block", std::uint64_t(1) << hole.slot}};
    add_problem(hole.problem, json);
    return json;
}

}  // namespace

void print_record_dump(const Record_file& file, std::ostream& out) {
    print_header(file, out);
    print_index(file.index, out);
    print_items(file.index, out);
    print_holes(file.index, out);
}

nlohmann::ordered_json record_dump_json(const Record_file& file) {
    Json json = {{"file", file.path}, {"size", file.size}};
    json["header"] = header_json(file.header);
    json["index"] = index_json(file.index);
    json["items"] = Json::array();
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
