// The constructor identifies the file and upgrades a file of version 1; all other operations are
// short calls of the cache. A message is stored under its number, and the two records of the
// applications have keys of their own, which are longer.
#include "zandrel/messages/zeCacheCorpus.h"

#include <algorithm>
#include <string>

#include "zandrel/foundation/Restored.h"
#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/HreclaimCache-inl.h"

template class HreclaimCache<zeMsg, zeCacheCorpus::SerializeFO>;

namespace {

// The items besides the messages: version 1 has no GlobalInfo.
constexpr unsigned int kOtherItems = 2;
constexpr unsigned int kOtherItemsOfVersion1 = 1;

// Writes a hash table in ascending order of its keys, so that equal tables give equal bytes.
void write_in_order(Hio<HSegment>& io, const hash_map<qtString, unsigned int>& counts) {
    using Count = hash_map<qtString, unsigned int>::value_type;
    std::vector<const Count*> entries;
    entries.reserve(counts.size());
    for (const Count& count : counts) {
        entries.push_back(&count);
    }
    std::sort(entries.begin(), entries.end(),
              [](const Count* left, const Count* right) { return left->first < right->first; });
    io.WriteCount(entries.size());
    for (const Count* const entry : entries) {
        io << entry->first << entry->second;
    }
}

}  // namespace

bool zeCacheCorpus::SerializeFO::IsChanged(const zeMsg& msg) const {
    return msg.changed ||
           std::any_of(msg.smls.begin(), msg.smls.end(),
                       [](const qtPtrLight<zeSml>& bag) { return !bag.IsNull() && bag->m_is_new; });
}

void zeCacheCorpus::SerializeFO::MarkStored(zeMsg& msg) const {
    for (const qtPtrLight<zeSml>& bag : msg.smls) {
        if (!bag.IsNull()) {
            bag->m_is_new = false;
        }
    }
    msg.changed = false;
}

// After a failure the index is not written: a new one would make a file look complete that is only
// partly upgraded.
zeCacheCorpus::zeCacheCorpus(const qtString& file, char open_mode, unsigned int cache_size)
    : cache(cache_size), mode(open_mode) {
    cache.seed = qtScrambler::kSeed;
    try {
        open(file);
    } catch (...) {
        cache.Abandon();
        throw;
    }
}

// The cache writes what has changed, and closes the file.
zeCacheCorpus::~zeCacheCorpus() = default;

void zeCacheCorpus::open(const qtString& file) {
    cache.file.Open(file, mode == 'w', mode == 'r');
    cache.mode = mode == 'r' ? 'r' : 'w';
    if (mode == 'w') {
        open_in_mode_w();
    } else {
        identify();
    }
}

// A file without GlobalInfo is new or of version 1, unless its header says version 2 and it is not
// marked: then only the record is missing, and its messages are scrambled already. A marked file of
// version 2 may be an upgrade that was killed.
//
// Before an upgrade we mark the file, so that it does not look like a complete file of version 2 if
// the process is killed before it is one.
void zeCacheCorpus::open_in_mode_w() {
    // The next call changes the header.
    const bool is_present_form = is_complete_of_newest_version();
    const bool is_upgraded = !cache.file.Exists(kGlobalKey) && !is_present_form;
    if (is_upgraded) {
        cache.MarkChanging();
    }
    write_identity(0);
    if (is_upgraded) {
        init_or_upgrade();
    } else if (!cache.file.Exists(kGlobalKey)) {
        add_missing_infos();
    }
}

bool zeCacheCorpus::is_complete_of_newest_version() const {
    unsigned int id = 0;
    unsigned short file_version = 0;
    unsigned char flags = 0;
    cache.file.GetFileID(id, file_version, flags);
    return id == kFileId && file_version == kFileVersion && !cache.file.IsStale();
}

void zeCacheCorpus::write_identity(unsigned char flags) {
    cache.ChangeFile(
        [flags](AbstractHreclaim& file) { file.SetFileID(kFileId, kFileVersion, flags); });
}

// A file of version 1 is not refused as stale: the upgrade reads all its messages anyway.
void zeCacheCorpus::identify() {
    unsigned int id = 0;
    unsigned short file_version = 0;
    unsigned char flags = 0;
    cache.file.GetFileID(id, file_version, flags);
    version = file_version;
    unicode = cache.file.IsUnicode();
    if (id != kFileId) {
        throw qtX<zeCacheCorpus>(kNotACorpus, "Not a Corpus file: " + cache.file.FileName(),
                                 {cache.file.FileName()});
    }
    if (version != kPlainVersion && version != kFileVersion) {
        throw qtX<zeCacheCorpus>(kWrongVersion, "Invalid version in corpus file",
                                 {qtString(std::to_string(version))});
    }
    if (version == kPlainVersion) {
        if (mode == 'u') {
            init_or_upgrade();
        } else {
            cache.seed = 0;
        }
        return;
    }
    if (cache.file.IsStale()) {
        throw qtX<zeCacheCorpus>(kStaleFile,
                                 "Corpus index is not synchronized (Run RebuildIndex Utility)");
    }
}

void zeCacheCorpus::init_or_upgrade() {
    const bool is_new = cache.file.GetIndexSize() == 0;
    add_missing_infos();
    if (!is_new) {
        scramble_msgs();
    } else if (version == kFileVersion) {
        return;
    }
    // The header gets the new version last, so that a failed upgrade does not look complete.
    write_identity(unicode ? AbstractHreclaim::kUnicodeContent : 0);
    version = kFileVersion;
}

void zeCacheCorpus::add_missing_infos() {
    if (!cache.file.Exists(kZqeKey)) {
        ZqeInfo empty;
        set_zqe_info(empty);
    }
    if (!cache.file.Exists(kGlobalKey)) {
        GlobalInfo empty;
        set_global_info(empty);
    }
}

// If the file had both records already, marking the stale copies is its first change, so we set the
// state first. Without a message no item is written, and nothing would clear the state again.
void zeCacheCorpus::scramble_msgs() {
    const unsigned int msg_count = cache.file.GetIndexSize() - kOtherItems;
    if (msg_count > 0) {
        cache.MarkChanging();
    }
    cache.ChangeFile([](AbstractHreclaim& file) { file.MarkDeleted602Records(); });
    for (unsigned int number = 0; number < msg_count; ++number) {
        scramble_msg(key_of(number));
    }
}

// Reads a plain message and writes it scrambled. The two forms have the same length, so the message
// keeps its block. Reading may drop another message from the cache, but no message has changed
// since it was written, so none is written plain.
void zeCacheCorpus::scramble_msg(const qtString& key) {
    qtPtrLight<zeMsg> msg;
    {
        const zandrel::detail::Restored<unsigned long> at_end(cache.seed, 0);
        msg = cache.Read(key);
    }
    cache.Write(key, msg, true);
}

void zeCacheCorpus::add_msg(qtPtrLight<zeMsg>& msg) {
    require_writable();
    const auto number = static_cast<unsigned int>(get_num_msgs());
    const qtString key = key_of(number);
    if (cache.file.Exists(key)) {
        throw qtX<zeCacheCorpus>(kNumberInUse, "Message number is already in use",
                                 {qtString(std::to_string(number))});
    }
    cache.Write(key, msg, true);
}

void zeCacheCorpus::reserve(unsigned int cache_size) {
    while (cache.table.size() > cache_size) {
        cache.PopLast();
    }
    cache.capacity = cache_size;
}

int zeCacheCorpus::get_num_msgs() const {
    const unsigned int item_count = cache.file.GetIndexSize();
    const unsigned int others = version == kPlainVersion ? kOtherItemsOfVersion1 : kOtherItems;
    return item_count < kOtherItems ? 0 : static_cast<int>(item_count - others);
}

zeCorpus::iMsg zeCacheCorpus::start_msgs() {
    return {zeCreate_h(position_at(0))};
}

void zeCacheCorpus::next(iMsg& position) {
    auto& place = zeGet_v<CacheIter>(position.handle);
    place = position_at(place.index + 1);
}

bool zeCacheCorpus::end(iMsg& position) {
    return zeGet_v<CacheIter>(position.handle).msg.IsNull();
}

zeCorpus::iMsg zeCacheCorpus::get_msg(int msg_number) {
    return {zeCreate_h(position_at(static_cast<unsigned int>(msg_number)))};
}

qtPtrLight<zeMsg> zeCacheCorpus::get_msg(const iMsg& position) const {
    return zeGet_v<CacheIter>(position.handle).msg;
}

qtPtrLight<zeMsg> zeCacheCorpus::get_numbered_msg(int msg_number) {
    return cache.Read(key_of(static_cast<unsigned int>(msg_number)));
}

void zeCacheCorpus::refresh_msg(unsigned int number, qtPtrLight<zeMsg>& msg) {
    require_writable();
    if (!has_msg(number)) {
        throw qtX<zeCacheCorpus>(kRefreshOfNothing, "Refreshing non-existant message",
                                 {qtString(std::to_string(number))});
    }
    if (cache.capacity == 0) {
        cache.Write(key_of(number), msg, false);
    } else {
        cache.AddToCache(key_of(number), msg, true);
    }
}

void zeCacheCorpus::update_msg(unsigned int number, qtPtrLight<zeMsg>& msg) {
    require_writable();
    if (!has_msg(number)) {
        throw qtX<zeCacheCorpus>(kUpdateOfNothing, "Updating non-existant message",
                                 {qtString(std::to_string(number))});
    }
    cache.Write(key_of(number), msg, true);
}

void zeCacheCorpus::flush() {
    cache.ClearCache();
    cache.WriteIndex();
}

void zeCacheCorpus::get_global_info(GlobalInfo& info) {
    if (version == kPlainVersion) {
        return;
    }
    read_record(kGlobalKey, [&info](Hio<HSegment>& io) {
        GlobalInfo read;
        io >> read.pairs >> read.texts >> read.numbered_texts;
        for (unsigned int& number : read.numbers) {
            io >> number;
        }
        info = std::move(read);
    });
}

void zeCacheCorpus::set_global_info(GlobalInfo& info) {
    write_record(kGlobalKey, [&info](Hio<HSegment>& io) {
        io << info.pairs << info.texts << info.numbered_texts;
        for (const unsigned int number : info.numbers) {
            io << number;
        }
    });
}

// The second table comes first in the record.
void zeCacheCorpus::get_zqe_info(ZqeInfo& info) {
    read_record(kZqeKey, [&info](Hio<HSegment>& io) {
        ZqeInfo read;
        io >> read.number >> read.second_counts >> read.first_counts;
        info = std::move(read);
    });
}

void zeCacheCorpus::set_zqe_info(ZqeInfo& info) {
    write_record(kZqeKey, [&info](Hio<HSegment>& io) {
        io << info.number;
        write_in_order(io, info.second_counts);
        write_in_order(io, info.first_counts);
    });
}

void zeCacheCorpus::require_writable() const {
    if (mode == 'r') {
        throw qtX<zeCacheCorpus>(kNotForWriting, "Corpus is not open in write mode");
    }
}

bool zeCacheCorpus::has_msg(unsigned int number) const {
    return number < static_cast<unsigned int>(get_num_msgs());
}

qtString zeCacheCorpus::key_of(unsigned int number) {
    return cache.file.MakeStringKey(number);
}

zeCacheCorpus::CacheIter zeCacheCorpus::position_at(unsigned int number) {
    return {number, &cache, cache.Read(key_of(number))};
}

// Calls `read` with the stream of a record.
template <class Read>
void zeCacheCorpus::read_record(const qtString& key, Read&& read) {
    SegBuf record;
    cache.file.GetItem(key, record);
    Hio<HSegment> io(new HSegment(record, 'r'));
    read(io);
}

// Stores the record that `write` puts into its stream. In mode 'r' we raise what the device would
// raise: it does so only once, and then ignores all writes.
template <class Write>
void zeCacheCorpus::write_record(const qtString& key, Write&& write) {
    if (mode == 'r') {
        HioErr::Raise(HioErr::kWriteFailed, "File is not open for writing", cache.file.FileName());
    }
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    write(io);
    io.device->Close();
    cache.AddItem(key, record);
}
