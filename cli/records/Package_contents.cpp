// Recognises an item by its key: "__Manager__", "__Seal__", or four bytes with the id of an object,
// whose record begins with its type. The seal is a list of keys with their checksums.
#include "cli/records/Package_contents.h"

#include <algorithm>

#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeBase.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"

using zandrel::Kc_seal;

namespace zandrel::cli {

namespace {

const char* name_of_type(std::uint64_t type) {
    switch (type) {
        case ZE_RULE:
            return "rule classifier";
        case ZE_STAT:
            return "statistical classifier";
        case zandrel::kStorageObjectType:
            return "statistical model";
        default:
            return "unknown object";
    }
}

// Each object begins with its type. Files of version 1 are not scrambled.
std::string type_of_object(const Record_file& file, const Record_item& item,
                           Record_reader& reader) {
    if (!item.problem.empty() || item.data_length < kIdSize) {
        return "object";
    }
    reader.seek(item.offset + item.total() - item.data_length);
    std::string type = reader.bytes(kIdSize);
    if (file.header.version >= zandrel::detail::kKcVersion) {
        qtScrambler(qtScrambler::kSeed).Descramble(type.data(), type.size(), qtScrambler::kOption);
    }
    return name_of_type(big_endian(type));
}

std::string contents_of(const Record_file& file, const Record_item& item, Record_reader& reader) {
    if (item.key == zandrel::detail::kManagerKey) {
        return "tree and settings";
    }
    if (item.key == Kc_seal::kKey) {
        return "seal";
    }
    return item.key.size() == kIdSize
               ? type_of_object(file, item, reader) + ", id " + std::to_string(big_endian(item.key))
               : "unknown";
}

// If the seal is too short, keeps the part that was read.
void read_seal(const Record_item& item, Record_reader& reader, Package_contents& package) {
    const std::uint64_t end = item.offset + item.total();
    reader.seek(end - item.data_length);
    const auto word = [&reader, end] {
        if (reader.position() + kIdSize > end) {
            throw Past_end();
        }
        return reader.word();
    };
    try {
        package.form = word();
        for (std::uint32_t left = word(); left > 0; --left) {
            const std::uint32_t length = word();
            if (length > end - reader.position()) {
                throw Past_end();
            }
            const std::string key = reader.bytes(length);
            package.checksums[key] = word();
        }
        package.header_checksum = word();
    } catch (const Past_end&) {  // problem_of_seal reports it
    }
}

}  // namespace

bool is_key_of_container(std::string_view key) {
    return key == zandrel::detail::kManagerKey || key == Kc_seal::kKey;
}

bool is_container(const Record_file& file) {
    return file.header.file_id == zandrel::detail::kKcFileId ||
           std::any_of(file.index.items.begin(), file.index.items.end(),
                       [](const Record_item& item) { return is_key_of_container(item.key); });
}

Package_contents read_package_contents(const Record_file& file, Record_reader& reader) {
    Package_contents package;
    package.is_container = is_container(file);
    for (const Record_item& item : file.index.items) {
        package.contents.push_back(package.is_container ? contents_of(file, item, reader) : "");
        if (item.key == Kc_seal::kKey) {
            package.has_seal = true;
            package.seal_offset = item.offset;
            if (item.problem.empty()) {
                read_seal(item, reader, package);
            }
        }
    }
    return package;
}

std::string problem_of_seal(const Record_file& file) {
    try {
        Kc_seal::Verify(file.path);
    } catch (const qtxAll& error) {
        return error.message().str();
    }
    return {};
}

}  // namespace zandrel::cli
