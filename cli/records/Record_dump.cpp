// Two listings of the same Record_file: a table for people, and JSON with the same members. A
// package has sizes instead of blocks, and no holes. A container has a seal, and its records are
// described.
#include "cli/records/Record_dump.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"

#include "cli/records/Archive_check.h"
#include "cli/records/Corpus_records.h"
#include "cli/records/Record_text.h"
#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

using Json = nlohmann::ordered_json;

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
    if (is_corpus(header)) {
        print_field("form", "corpus", out);
    }
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
    if (!file.header.is_package) {
        print_field("holes", std::to_string(index.holes.size()), out);
    }
    if (index.problem.empty()) {
        print_field("size", std::to_string(index.space), out);
        if (!file.header.is_package) {
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

std::string shown_sizes(const Kc_record& record) {
    std::string text;
    for (const auto& [name, number] : record.sizes) {
        text += (text.empty() ? ": " : ", ") + name + ' ' + std::to_string(number);
    }
    return text;
}

const Kc_record* record_of(const std::string& key, const Dump_extent& extent) {
    if (extent.records == nullptr) {
        return nullptr;
    }
    const auto found = extent.records->records.find(key);
    return found == extent.records->records.end() ? nullptr : &found->second;
}

bool is_unreferenced(const std::string& key, const Dump_extent& extent) {
    return extent.records != nullptr && extent.records->knows_all_references &&
           key != zandrel::Kc_seal::kKey && record_of(key, extent) == nullptr;
}

// The words behind the key of a container's item: "  statistical model, id 1, at root: messages 2".
std::string shown_contents(const std::string& contents, const std::string& key,
                           const Dump_extent& extent) {
    if (contents.empty()) {
        return "";
    }
    const Kc_record* const record = record_of(key, extent);
    if (record == nullptr) {
        return "  " + contents + (is_unreferenced(key, extent) ? ", not referenced" : "");
    }
    return "  " + contents + (record->owner.empty() ? "" : ", at " + record->owner) +
           shown_sizes(*record) + remark(record->problem);
}

void print_archive(const Archive_facts& facts, std::ostream& out) {
    out << "archive" << remark(facts.problem) << '\n';
    for (const auto& [name, number] : facts.numbers) {
        print_field(name, std::to_string(number), out);
    }
}

// Names an item of a container, an archive or a corpus; empty for other files.
std::string contents_of(const Record_file& file, std::size_t i) {
    if (file.package) {
        return file.package->contents[i];
    }
    if (is_archive(file)) {
        return archive_contents(file.index.items[i].key);
    }
    return is_corpus(file.header) ? contents_of_corpus_item(file.index.items[i].key) : "";
}

void print_left_out(std::size_t count, const Dump_extent& extent, std::ostream& out) {
    if (count > extent.most) {
        out << "  and " << count - extent.most << " more (--items 0 shows all)\n";
    }
}

// An item of a package has a size, and an item of a record file is in a block. The checksums come
// from the seal.
void print_items(const Record_file& file, const Dump_extent& extent, std::ostream& out) {
    const std::vector<Record_item>& items = file.index.items;
    const std::string dash = right_aligned("-", kNumberWidth);
    out << "items" << right_aligned("offset", kNumberWidth - 3)
        << right_aligned(file.header.is_package ? "size" : "block", kNumberWidth)
        << right_aligned("data", kNumberWidth)
        << (file.package ? right_aligned("checksum", kNumberWidth) : "") << "  key\n";
    for (std::size_t i = 0; i < std::min(items.size(), extent.most); ++i) {
        const Record_item& item = items[i];
        const bool is_whole = item.problem.empty();
        out << "  " << column(item.offset)
            << (is_whole ? column(file.block_of_content(item.total())) : dash)
            << (is_whole ? column(item.data_length) : dash);
        if (file.package) {
            const std::optional<std::uint32_t> checksum = checksum_of(item, *file.package);
            out << right_aligned(checksum ? hex(*checksum, 8) : "-", kNumberWidth);
        }
        out << "  " << shown_key(item.key) << shown_contents(contents_of(file, i), item.key, extent)
            << remark(item.problem) << '\n';
    }
    print_left_out(items.size(), extent, out);
    if (extent.records != nullptr && !extent.records->problem.empty()) {
        out << "records" << remark(extent.records->problem) << '\n';
    }
}

void print_holes(const Record_index& index, const Dump_extent& extent, std::ostream& out) {
    out << "holes" << right_aligned("offset", kNumberWidth - 3)
        << right_aligned("block", kNumberWidth) << '\n';
    for (std::size_t i = 0; i < std::min(index.holes.size(), extent.most); ++i) {
        const Record_hole& hole = index.holes[i];
        out << "  " << column(hole.offset) << column(std::uint64_t(1) << hole.slot)
            << remark(hole.problem) << '\n';
    }
    print_left_out(index.holes.size(), extent, out);
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
    if (!file.header.is_package) {
        json["holes"] = index.holes.size();
    }
    if (index.problem.empty()) {
        json["size"] = index.space;
        if (!file.header.is_package) {
            json["block"] = block_of(index.space);
        }
    }
    add_problem(index.problem, json);
    return json;
}

void add_record(const std::string& key, const Dump_extent& extent, Json& json) {
    const Kc_record* const record = record_of(key, extent);
    if (record == nullptr) {
        if (is_unreferenced(key, extent)) {
            json["referenced"] = false;
        }
        return;
    }
    if (!record->owner.empty()) {
        json["node"] = record->owner;
    }
    for (const auto& [name, number] : record->sizes) {
        json[name] = number;
    }
    add_problem(record->problem, json);
}

Json item_json(const Record_file& file, std::size_t i, const Dump_extent& extent) {
    const Record_item& item = file.index.items[i];
    Json json = {{"key", shown_key(item.key)}, {"offset", item.offset}};
    if (item.problem.empty()) {
        json[file.header.is_package ? "size" : "block"] = file.block_of_content(item.total());
        json["data_length"] = item.data_length;
    }
    if (file.package) {
        const std::optional<std::uint32_t> checksum = checksum_of(item, *file.package);
        if (checksum) {
            json["checksum"] = *checksum;
        }
    }
    if (file.package || is_corpus(file.header)) {
        const std::string contents = contents_of(file, i);
        if (!contents.empty()) {
            json["contents"] = contents;
        }
        add_record(item.key, extent, json);
    }
    if (is_archive(file) && !archive_contents(item.key).empty()) {
        json["contents"] = archive_contents(item.key);
    }
    add_problem(item.problem, json);
    return json;
}

Json archive_json(const Archive_facts& facts) {
    Json json = Json::object();
    for (const auto& [name, number] : facts.numbers) {
        std::string member = name;
        std::replace(member.begin(), member.end(), ' ', '_');
        json[member] = number;
    }
    add_problem(facts.problem, json);
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

Json hole_json(const Record_hole& hole) {
    Json json = {{"offset", hole.offset}, {"block", std::uint64_t(1) << hole.slot}};
    add_problem(hole.problem, json);
    return json;
}

void add_left_out(const char* name, std::size_t count, const Dump_extent& extent, Json& json) {
    if (count > extent.most) {
        json[name] = count - extent.most;
    }
}

}  // namespace

void print_record_dump(const Record_file& file, std::ostream& out, const Dump_extent& extent) {
    print_header(file, out);
    print_index(file, out);
    print_items(file, extent, out);
    if (!file.header.is_package) {
        print_holes(file.index, extent, out);
    }
    if (file.package) {
        print_seal(file.index, *file.package, out);
    }
    if (extent.archive != nullptr) {
        print_archive(*extent.archive, out);
    }
}

nlohmann::ordered_json record_dump_json(const Record_file& file, const Dump_extent& extent) {
    const Record_index& index = file.index;
    Json json = {{"file", file.path}, {"size", file.size}};
    json["header"] = header_json(file.header);
    json["index"] = index_json(file);
    json["items"] = Json::array();
    if (file.package) {
        json["container"] = file.package->is_container;
    }
    if (is_corpus(file.header)) {
        json["corpus"] = true;
    }
    for (std::size_t i = 0; i < std::min(index.items.size(), extent.most); ++i) {
        json["items"].push_back(item_json(file, i, extent));
    }
    add_left_out("items_left_out", index.items.size(), extent, json);
    if (!file.header.is_package) {
        json["holes"] = Json::array();
        for (std::size_t i = 0; i < std::min(index.holes.size(), extent.most); ++i) {
            json["holes"].push_back(hole_json(index.holes[i]));
        }
        add_left_out("holes_left_out", index.holes.size(), extent, json);
    }
    if (file.package) {
        json["seal"] = seal_json(*file.package);
    }
    if (extent.records != nullptr) {
        add_problem(extent.records->problem, json);
    }
    if (extent.archive != nullptr) {
        json["archive"] = archive_json(*extent.archive);
    }
    return json;
}

}  // namespace zandrel::cli
