// Fuzzes the records of a corpus file. Any bytes that replace one record are either read or refused
// with a known error. A message that cannot be read ends a walk; a message that can be read is the
// same after it was written again, and can be converted to an mlMessage and back.
//
// The two lowest bits of the first byte choose the record: 0 or 1 the second of three messages, 2
// GlobalInfo, 3 ZqeInfo. The fifth bit makes a file of version 1, and the next two bits choose the
// size of the cache. The other bytes are the record, not scrambled. It replaces the record of a
// small corpus, so that the fuzzer need not learn the index of a file.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "zandrel/foundation/ml/mlMessage.h"
#include "zandrel/foundation/ml/mlx.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/messages/zeCacheCorpus.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hreclaim.h"

#include "fuzz/fuzz_target.h"
#include "fuzz/memory_file.h"

namespace {

constexpr unsigned char kPlainVersion = 0x10;

enum class Kind { kMessage, kGlobalInfo, kZqeInfo };

Kind kind_of(unsigned char choice) {
    switch (choice % 4U) {
        case 2:
            return Kind::kGlobalInfo;
        case 3:
            return Kind::kZqeInfo;
        default:
            return Kind::kMessage;
    }
}

unsigned int cache_size_of(unsigned char choice) {
    constexpr unsigned int kSizes[] = {0, 1, 2, 20};
    return kSizes[(choice >> 5U) % 4U];
}

void fill(SegBuf& record, std::string bytes) {
    HSegment(record, 'w').Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

std::string record_of(const zeMsg& msg) {
    SegBuf record;
    Hio<Generic32> io(new HSegment(record, 'w'));
    msg.Dump(io);
    io.device->Close();
    std::string bytes(record.size, '\0');
    io.device->Read(bytes.data(), record.size);
    return bytes;
}

qtPtrLight<zeMsg> labelled(const char* label) {
    qtPtrLight<zeMsg> msg(new zeMsg);
    msg->categories.push_back(Concept::insert_view(label));
    return msg;
}

// Makes the file. The cache writes the fuzzed record as a message would be written.
void make_file(const Memory_file& place, unsigned char choice, const std::string& fuzzed) {
    const Kind kind = kind_of(choice);
    const bool is_plain = (choice & kPlainVersion) != 0;
    Hreclaim<Hfile64> made;
    const auto add = [&made](const qtString& key, const std::string& bytes, unsigned long seed) {
        SegBuf record;
        fill(record, bytes);
        zandrel::detail::ScrambleRuns(record, seed);
        made.AddItem(key, record);
    };
    made.Open(place.name(), false, false);
    made.SetFileID(zeCacheCorpus::kFileId, is_plain ? 1 : 2, 0);
    for (unsigned int number = 0; number < 3; ++number) {
        const bool is_fuzzed = number == 1 && kind == Kind::kMessage;
        add(made.MakeStringKey(number), is_fuzzed ? fuzzed : record_of(*labelled("sound")),
            is_plain ? 0 : qtScrambler::kSeed);
    }
    add("ZQE_INFO", kind == Kind::kZqeInfo ? fuzzed : std::string(12, '\0'), 0);
    if (!is_plain) {
        add("GLOBAL_INFO", kind == Kind::kGlobalInfo ? fuzzed : std::string(88, '\0'), 0);
    }
    made.Close();
}

// An empty record file, which make_file fills.
std::string empty_file() {
    std::string bytes = {'\x4a', '\x5b', '\x6c', '\x81'};
    bytes.append(15, '\0');
    bytes += '\x14';
    bytes.append({'\x4a', '\x5b', '\x6c', '\x82'});
    bytes.append(252, '\0');
    return bytes;
}

template <class Statement>
bool reads(Statement&& statement) {
    try {
        statement();
    } catch (const qtxSegBuf&) {
        return false;
    }
    return true;
}

void check_infos(zeCacheCorpus& corpus, Kind kind) {
    zeCacheCorpus::GlobalInfo global;
    zeCacheCorpus::ZqeInfo zqe;
    const bool reads_global = reads([&] { corpus.get_global_info(global); });
    const bool reads_zqe = reads([&] { corpus.get_zqe_info(zqe); });
    require(reads_global || kind == Kind::kGlobalInfo, "a sound GlobalInfo is read");
    require(reads_zqe || kind == Kind::kZqeInfo, "a sound ZqeInfo is read");
    if (corpus.mode == 'r') {
        return;
    }
    corpus.set_global_info(global);
    corpus.set_zqe_info(zqe);
    zeCacheCorpus::GlobalInfo global_again;
    zeCacheCorpus::ZqeInfo zqe_again;
    corpus.get_global_info(global_again);
    corpus.get_zqe_info(zqe_again);
    require(global.pairs == global_again.pairs && global.texts == global_again.texts &&
                global.numbered_texts == global_again.numbered_texts &&
                global.numbers == global_again.numbers,
            "a GlobalInfo is read again");
    require(zqe.number == zqe_again.number && zqe.first_counts == zqe_again.first_counts &&
                zqe.second_counts == zqe_again.second_counts,
            "a ZqeInfo is read again");
}

void check_conversion(zeMsg msg) {
    mlMessage message;
    try {
        msg.make_mlMessage(message, nullptr);
        const zeMsg back(message, nullptr);
        require(msg.categories.empty() || back.categories == msg.categories, "labels come back");
    } catch (const qtXbase& raised) {
        require(raised.message() == qtString("Invalid nvp value"), raised.what());
    } catch (const mlxNvpType& raised) {
        require(raised.name().view().starts_with("_SML"), raised.what());
    }
}

// Returns the record of each message that a walk meets.
std::vector<std::string> walked(zeCacheCorpus& corpus) {
    std::vector<std::string> records;
    for (auto position = corpus.start_msgs(); !corpus.end(position); corpus.next(position)) {
        const qtPtrLight<zeMsg> msg = corpus.get_msg(position);
        records.push_back(record_of(*msg));
        check_conversion(*msg);
    }
    return records;
}

std::vector<std::string> check_reading(const Memory_file& place, unsigned char choice) {
    const std::string before = place.bytes();
    zeCacheCorpus corpus(place.name(), 'r', cache_size_of(choice));
    const std::vector<std::string> records = walked(corpus);
    require(corpus.get_num_msgs() == 3, "the number of messages");
    require(records.size() == 3 || (records.size() == 1 && kind_of(choice) == Kind::kMessage),
            "a walk ends only at a damaged message");
    require(!corpus.get_numbered_msg(2).IsNull(), "the message behind it can be read");
    check_infos(corpus, kind_of(choice));
    require(place.bytes() == before, "reading changes nothing");
    return records;
}

void check_changing(const Memory_file& place, unsigned char choice,
                    const std::vector<std::string>& records) {
    zeCacheCorpus corpus(place.name(), 'u', cache_size_of(choice));
    require(corpus.version == 2, "an open file has version 2");
    require(walked(corpus) == records, "messages are as for reading");
    check_infos(corpus, kind_of(choice));
    if (records.size() == 3) {
        qtPtrLight<zeMsg> msg = corpus.get_numbered_msg(1);
        corpus.update_msg(1, msg);
    }
    qtPtrLight<zeMsg> added = labelled("added");
    corpus.add_msg(added);
    corpus.flush();
    std::vector<std::string> expected = records;
    if (records.size() == 3) {
        expected.push_back(record_of(*added));
    }
    require(walked(corpus) == expected, "messages are as before and behind them the new one");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Memory_file place;
    static const std::string empty = empty_file();
    if (size == 0) {
        return 0;
    }
    const unsigned char choice = data[0];
    place.fill(empty);
    make_file(place, choice, std::string(data + 1, data + size));
    const std::vector<std::string> records = check_reading(place, choice);
    try {
        check_changing(place, choice, records);
    } catch (const qtxAssert& raised) {
        require(raised.message() == qtString("object"), raised.what());
        require((choice & kPlainVersion) != 0 && records.size() != 3,
                "only a damaged message ends an upgrade");
    }
    return 0;
}
