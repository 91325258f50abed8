// Fuzzes the records of a container's file. Any bytes that replace one record are either loaded or
// refused with a known error, and a loaded container can classify and be saved.
//
// The two lowest bits of the first byte choose the record: 0 manager, 1 matcher, 2 storage, 3
// switcher. The fifth bit of this byte makes a file of the first version. The other bytes are the
// record; for objects they begin at the id. They replace the record of a small container, so that
// the fuzzer need not learn the index of a file.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/storage/HSegment.h"

#include "fuzz/fuzz_target.h"
#include "fuzz/kc_checks.h"

namespace {

constexpr unsigned int kFileId = 0x278F9D40;
constexpr unsigned char kFirstVersion = 0x10;

using Records = std::map<std::string, std::string>;  // by key, not scrambled

// Scrambles or unscrambles a record, each segment separately.
void scramble(SegBuf& record, bool forward) {
    const qtScrambler scrambler(qtScrambler::kSeed);
    for (unsigned int position = 0; position < record.size;) {
        char* run = nullptr;
        unsigned int length = 0;
        record.Locate(position, record.size, run, length);
        if (forward) {
            scrambler.Scramble(run, length, qtScrambler::kOption);
        } else {
            scrambler.Descramble(run, length, qtScrambler::kOption);
        }
        position += length;
    }
}

unsigned int add(zeManager& manager, unsigned int parent, const char* category, unsigned int type,
                 const char* rule) {
    zeLogicalNode node;
    node.parent = parent;
    node.category = Concept::insert_view(category);
    node.type = static_cast<unsigned char>(type);
    node.rule = rule;
    return manager.m_logical_tree->AddLogicalNode(node);
}

// 1 root (statistics; objects 2 and, for the storage, 1) - 2 sport
//                                                        - 3 mix (rules; object 3) - 4 bin, 5 rest
void build(zeManager& manager) {
    Concept name = Concept::insert_view("root");
    manager.InitWorkflow(name);
    add(manager, 1, "sport", ZE_LEAF, "");
    const unsigned int mix = add(manager, 1, "mix", ZE_RULE, "");
    add(manager, mix, "bin", ZE_LEAF, "$home(?)");
    add(manager, mix, "rest", ZE_LEAF, "default");
}

Records records_of_a_container() {
    zeManager manager;
    build(manager);
    qtPtr<qtBuffer> buffer;
    manager.Write(buffer, nullptr, nullptr);
    Hpack pack;
    pack.Open(buffer, 'r');
    Records records;
    for (const auto& [key, offset] : pack.index) {
        SegBuf record;
        pack.GetItem(key, record);
        scramble(record, false);
        std::string& bytes = records[key.str()];
        bytes.resize(record.size);
        HSegment(record, 'r').Read(bytes.data(), record.size);
    }
    return records;
}

File_bytes file_of(const Records& records, unsigned short version) {
    Hpack pack;
    qtPtr<qtBuffer> buffer;
    pack.Open(buffer, 'w');
    pack.SetFileID(kFileId, version, 0);
    for (const auto& [key, bytes] : records) {
        SegBuf record;
        std::string copy = bytes;
        HSegment(record, 'w').Write(copy.data(), static_cast<unsigned int>(copy.size()));
        if (version > 1) {
            scramble(record, true);
        }
        pack.AddAtOffset(qtString(key), record, 0);
    }
    pack.Close();
    return buffer->bytes;
}

// The object type before the id in the record of an object. It has one correct value, so the fuzzer
// does not change it.
std::string type_of(unsigned int type) {
    return Hpack::MakeStringKey(type).str();
}

void replace(Records& records, unsigned char pick, const std::string& record) {
    switch (pick % 4U) {
        case 0:
            records["__Manager__"] = record;
            break;
        case 1:
            records[Hpack::MakeStringKey(2).str()] = type_of(ZE_STAT) + record;
            break;
        case 2:
            records[Hpack::MakeStringKey(1).str()] = type_of(zandrel::kStorageObjectType) + record;
            break;
        default:
            records[Hpack::MakeStringKey(3).str()] = type_of(ZE_RULE) + record;
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Records sound = records_of_a_container();
    if (size == 0) {
        return 0;
    }
    Records records = sound;
    replace(records, data[0], std::string(data + 1, data + size));
    zeManager manager;
    if (loads(manager, file_of(records, (data[0] & kFirstVersion) != 0 ? 1 : 2))) {
        use(manager);
    }
    return 0;
}
