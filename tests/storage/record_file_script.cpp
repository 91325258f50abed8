#include "tests/storage/record_file_script.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

#include "zandrel/storage/SegBuf.h"

#include "tests/support/record_bytes.h"

namespace {

using Kind = Record_step::Kind;

}  // namespace

void PrintTo(const Record_step& step, std::ostream* out) {
    static constexpr const char* kNames[] = {"add",    "delete",      "rename",    "get",   "index",
                                             "reopen", "set file id", "set state", "repair"};
    *out << kNames[static_cast<std::size_t>(step.kind)] << " [" << to_hex(step.key) << "] ["
         << to_hex(step.to) << "] " << step.data.size() << " bytes, " << step.number;
}

Record_step Script_source::next(const Record_file_model& model) {
    if (below(m_shape.steps_per_index) == 0) {
        return {.kind = below(3) == 0 ? Kind::kReopen : Kind::kWriteIndex};
    }
    if (below(100) < m_shape.owner_percent) {
        return pick_owner_step();
    }
    const unsigned int choice = below(100);
    if (model.content.empty() || choice < 55) {
        return add(model);
    }
    const std::string key = known_key(model);
    if (choice < 75) {
        return {.kind = Kind::kDelete, .key = key};
    }
    if (choice < 85) {
        return {.kind = Kind::kRename, .key = key, .to = any_key()};
    }
    return {.kind = Kind::kGet, .key = key};
}

Record_step Script_source::add(const Record_file_model& model) {
    const bool is_replaced = !model.content.empty() && below(2) == 0;
    Record_step step{.kind = Kind::kAdd, .key = is_replaced ? known_key(model) : any_key()};
    step.data = make_data(model, step.key);
    return step;
}

Record_step Script_source::pick_owner_step() {
    switch (below(m_shape.has_owner_states ? 3 : 2)) {
        case 0:
            return {.kind = Kind::kSetFileId,
                    .number = static_cast<unsigned int>(m_random()),
                    .version = static_cast<unsigned short>(m_random()),
                    .flags = static_cast<unsigned char>(m_random())};
        case 1:
            return {.kind = Kind::kRepair};
        default:
            return {.kind = Kind::kSetState, .number = below(256)};
    }
}

// Keys of any bytes and of any length, 0 included. A key depends only on its number.
std::string Script_source::any_key() {
    const unsigned int number = below(m_shape.key_count);
    std::minstd_rand bytes(number + 1);
    std::string key;
    for (unsigned int i = 0; i < number % 23; ++i) {
        key += static_cast<char>(bytes() >> 8U);
    }
    return key + (number == 0 ? "" : std::to_string(number));
}

std::string Script_source::known_key(const Record_file_model& model) {
    const auto index = below(static_cast<unsigned int>(model.content.size()));
    return std::next(model.content.begin(), index)->first;
}

std::string Script_source::make_data(const Record_file_model& model, const std::string& key) {
    const bool is_rare = below(100) == 0;
    const unsigned int largest = is_rare ? m_shape.rarely_largest_power : m_shape.largest_power;
    const unsigned int power = m_shape.least_power + below(largest - m_shape.least_power + 1);
    const std::size_t total = (std::size_t{1} << power) + below(5) - 2;
    const std::size_t size = total - std::min(total, 12 + key.size());
    std::string data(size, '\0');
    std::minstd_rand bytes(static_cast<std::uint32_t>(m_random()));
    for (char& byte : data) {
        byte = static_cast<char>(bytes() >> 8U);
    }
    const std::uint64_t end = model.item_offset(key) + 12 + key.size() + size;
    if (m_shape.differs_in_place && size > 0 && end <= model.image.size() &&
        model.image[end - 1] == data.back()) {
        ++data.back();
    }
    return data;
}

void apply(const Record_step& step, Record_file_model& model) {
    switch (step.kind) {
        case Kind::kAdd:
            return model.add(step.key, step.data);
        case Kind::kDelete:
            return model.remove(step.key);
        case Kind::kRename:
            return model.rename(step.key, step.to);
        case Kind::kGet:
            return;
        case Kind::kWriteIndex:
        case Kind::kReopen:
            return model.write_index();
        case Kind::kSetFileId:
            return model.set_file_id(step.number, step.version, step.flags);
        case Kind::kSetState:
            return model.set_state(static_cast<unsigned char>(step.number));
        case Kind::kRepair:
            return model.repair();
    }
}

std::optional<std::string> apply(const Record_step& step, AbstractHreclaim& file) {
    switch (step.kind) {
        case Kind::kAdd:
            file.AddItem(step.key, record_of(step.data));
            break;
        case Kind::kDelete:
            file.DeleteItem(step.key);
            break;
        case Kind::kRename:
            file.RenameItem(step.key, step.to);
            break;
        case Kind::kGet:
            return read_item(file, step.key);
        case Kind::kWriteIndex:
            file.WriteIndex();
            break;
        case Kind::kReopen: {
            const qtString name = file.FileName();
            file.Close();
            file.Open(name, false, false);
            break;
        }
        case Kind::kSetFileId:
            file.SetFileID(step.number, step.version, step.flags);
            break;
        case Kind::kSetState:
            file.SetState(static_cast<unsigned char>(step.number));
            break;
        case Kind::kRepair:
            file.MarkDeleted602Records();
            break;
    }
    return std::nullopt;
}

std::string read_item(AbstractHreclaim& file, const std::string& key) {
    SegBuf data;
    file.GetItem(key, data);
    return bytes_of(data);
}

std::map<std::string, std::string> read_all(AbstractHreclaim& file) {
    std::vector<qtString> keys;
    file.GetIndex(keys);
    std::map<std::string, std::string> content;
    for (const qtString& key : keys) {
        content[key.str()] = read_item(file, key.str());
    }
    return content;
}
