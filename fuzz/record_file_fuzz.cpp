// Fuzzes record files. Any bytes are either opened or refused with an error of the record file, and
// an opened file can be read, changed and closed without any other error.
//
// The input is the file. Its fourth byte is the width, as in the magic number: 0x80 means 32 bits,
// every other value 64.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/Hreclaim.h"
#include "zandrel/storage/SegBuf.h"

#include "fuzz/fuzz_target.h"
#include "fuzz/memory_file.h"

namespace {

// If a file has more keys than this, only the first ones are used.
constexpr std::size_t kMostKeys = 64;

// Returns whether a statement raises no error. An error must be one that damage can cause.
template <class Statement>
bool succeeds(Statement&& statement) {
    try {
        statement();
    } catch (const qtX<HioErr>& raised) {
        require(raised.number() == HioErr::kBadOffset || raised.number() == HioErr::kReadFailed ||
                    raised.number() == HioErr::kWriteFailed,
                raised.what());
        return false;
    } catch (const qtX<AbstractHreclaim>& raised) {
        require(raised.number() != AbstractHreclaim::kMissingFile, raised.what());
        return false;
    }
    return true;
}

std::optional<std::string> read_item(AbstractHreclaim& file, const qtString& key) {
    SegBuf data;
    if (!succeeds([&] { file.GetItem(key, data); })) {
        return std::nullopt;
    }
    require(data.offset == 0, "a blob is ready to be read");
    std::string bytes(data.size, '\0');
    HSegment(data, 'r').Read(bytes.data(), data.size);
    return bytes;
}

using Content = std::map<qtString, std::optional<std::string>>;

Content read_all(AbstractHreclaim& file) {
    std::vector<qtString> keys;
    file.GetIndex(keys);
    require(keys.size() == file.GetIndexSize(), "the number of keys");
    require(std::is_sorted(keys.begin(), keys.end()), "the order of keys");
    keys.resize(std::min(keys.size(), kMostKeys));
    Content content;
    for (const qtString& key : keys) {
        require(file.Exists(key), "a key of the index exists");
        content[key] = read_item(file, key);
    }
    return content;
}

// Items of a damaged file may overlap each other and the header. So reading a written item may
// raise an error, but must never return another blob.
void add(AbstractHreclaim& file, const qtString& key, std::size_t byte_count) {
    std::string bytes(byte_count, 'z');
    SegBuf data;
    HSegment(data, 'w').Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
    if (succeeds([&] { file.AddItem(key, data); })) {
        require(file.Exists(key), "an added key exists");
        const std::optional<std::string> read = read_item(file, key);
        require(!read || *read == bytes, "an added blob is read again");
    }
}

void change_all(AbstractHreclaim& file, const Content& content) {
    std::size_t turn = 0;
    for (const auto& entry : content) {
        const qtString& key = entry.first;
        const std::size_t size = entry.second ? entry.second->size() : 0;
        switch (turn++ % 4) {
            case 0:
                add(file, key, size);
                break;
            case 1:
                add(file, key, 2 * size + 1);
                break;
            case 2:
                if (succeeds([&] { file.DeleteItem(key); })) {
                    require(!file.Exists(key), "a deleted key is gone");
                }
                break;
            default:
                succeeds([&] { file.RenameItem(key, key + qtString("r")); });
                break;
        }
    }
    add(file, "new", 20);
}

template <class Device>
void check(const Memory_file& place, const std::string& input) {
    place.fill(input);
    Hreclaim<Device> file;
    if (!succeeds([&] { file.Open(place.name(), false, true); })) {
        return;
    }
    const Content content = read_all(file);
    require(read_all(file) == content, "a second reading gives the same");
    file.Close();
    require(place.bytes() == input, "reading changes nothing");

    file.Open(place.name(), false, false);
    succeeds([&] { file.MarkDeleted602Records(); });
    change_all(file, content);
    if (succeeds([&] { file.Close(); })) {
        succeeds([&] {
            file.Open(place.name(), false, true);
            read_all(file);
        });
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Memory_file place;
    const std::string input(data, data + size);
    if (size > 3 && data[3] == 0x80) {
        check<Hfile32>(place, input);
    } else {
        check<Hfile64>(place, input);
    }
    return 0;
}
