// zeCacheCorpus: a corpus in a file, which may be far larger than memory.
// Format: docs/formats/corpus.md
#ifndef ZANDREL_MESSAGES_ZECACHECORPUS_H_
#define ZANDREL_MESSAGES_ZECACHECORPUS_H_

#include <array>
#include <cstddef>
#include <map>
#include <utility>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/messages/zeCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/HreclaimCache.h"

// Messages in a record file, behind a cache of the messages that were used last. It is used like
// any other corpus, and training with it gives the same model, to the last bit, at any cache size.
//
//     zeCacheCorpus corpus("texts.corpus", 'w', 1000);
//     corpus.add_msg(msg);
//     corpus.flush();
//
// A message that is no longer in the cache is read again, as a new object. So a change of a message
// is kept only if the message is given to `refresh_msg` or `update_msg`, or counts as changed and
// is still in the cache of a corpus that is open for writing. zeStat_trainer::bootstrap changes the
// messages themselves, so copy the corpus to a zeMemoryCorpus for it.
//
// A walk ends at the first message that cannot be read, since the end of a walk is a failed read.
// `get_num_msgs` counts such a message all the same: a walk that found fewer messages has met
// damage.
//
// The destructor writes the changed messages and the index. It raises nothing: see HreclaimCache.
// Call `flush` to see errors.
//
// Errors: qtX<zeCacheCorpus>, texts in docs/errors.md. Errors of the record file (see
// AbstractHreclaim) and of its device pass through. After a failed write the corpus can only be
// read: each later change and `flush` raises qtX<HioErr> "Write error in file ", and the destructor
// writes nothing. The changes since the last `flush` are lost, and modes 'r' and 'u' then refuse
// the file as not synchronized.
//
// A changed message that has to leave the cache is written then, so each operation that enters a
// message into the cache can raise what this write raises: also `add_msg`, `refresh_msg`,
// `reserve`, and `start_msgs`, `next` and `get_msg`, which read. The changed message remains in the
// cache. For example, the disk is full, and the cache of two messages has a changed message 0 and
// message 1: `get_msg(2)` raises the error of writing message 0.
//
// Threads: one at a time in the whole process. The file is not locked.
class ZANDREL_EXPORT zeCacheCorpus : public zeCorpus {
public:
    static constexpr unsigned int kFileId = 0xA1B2C3D5;
    // The keys of the two items that are no messages.
    static constexpr const char* kZqeKey = "ZQE_INFO";
    static constexpr const char* kGlobalKey = "GLOBAL_INFO";
    static constexpr unsigned short kPlainVersion = 1;  // read, and upgraded in mode 'u'
    static constexpr unsigned short kFileVersion = 2;   // written

    // The numbers that a qtX<zeCacheCorpus> carries.
    static constexpr int kNotACorpus = 0;
    static constexpr int kNotForWriting = 1;
    static constexpr int kUpdateOfNothing = 2;
    static constexpr int kRefreshOfNothing = 3;
    static constexpr int kWrongVersion = 4;
    static constexpr int kStaleFile = 5;
    static constexpr int kNumberInUse = 6;

    // How the cache handles messages.
    struct SerializeFO {
        void Dump(const zeMsg& msg, Hio<Generic32>& io) const { msg.Dump(io); }

        void Load(zeMsg& msg, Hio<Generic32>& io) const { msg.Load(io); }

        // Returns true if the message itself or one of its bags was made or changed after it was
        // read or written.
        bool IsChanged(const zeMsg& msg) const;
        void MarkStored(zeMsg& msg) const;
    };

    using Cache = HreclaimCache<zeMsg, SerializeFO>;

    // The value of a position.
    struct CacheIter {
        unsigned int index = 0;  // number of the message
        Cache* cache = nullptr;  // BORROWS: the corpus's
        qtPtrLight<zeMsg> msg;   // null at the end
    };

    // Data of the applications. The library stores the two records, but never reads them.
    struct GlobalInfo {
        std::vector<std::pair<qtString, qtString>> pairs;
        std::map<qtString, qtString> texts;
        std::map<unsigned int, qtString> numbered_texts;
        std::array<unsigned int, 19> numbers{};
    };

    struct ZqeInfo {
        unsigned int number = 0;
        hash_map<qtString, unsigned int> first_counts;
        hash_map<qtString, unsigned int> second_counts;
    };

    // Opens a file. Mode 'r': to read. Mode 'u': to change an existing corpus. Mode 'w': to add to
    // a corpus, or to make a new one if the file does not exist. `cache_size`: how many messages
    // may be in memory; 0 means that each access reads the file.
    //
    // Modes 'u' and 'w' upgrade a file of version 1 in place. A process that is killed meanwhile
    // leaves a file that no version can read, so upgrade a copy and rename it.
    //
    // Mode 'w' does not check an existing file: it makes any record file a corpus of version 2 and
    // clears its Unicode flag. Open it with mode 'r' first if it may be something else. A file
    // without GlobalInfo is upgraded, unless its header has version 2 and bit 0 of its state is
    // clear: then only the missing records are added.
    // REQUIRES: one of the three modes.
    // RAISES: kNotACorpus "Not a Corpus file: "; kWrongVersion "Invalid version in corpus file";
    // kStaleFile "Corpus index is not synchronized (Run RebuildIndex Utility)" if bit 0 of the
    // state is set; the assertion "object" if a message cannot be read during an upgrade. The index
    // is not written then. With mode 'u' the header keeps version 1; with mode 'w' it has version 2
    // by then, and only bit 0 of the state shows that the upgrade is not complete.
    zeCacheCorpus(const qtString& file, char open_mode, unsigned int cache_size);
    ~zeCacheCorpus() override;

    // Writes the message to the file and enters it into the cache.
    // RAISES: kNotForWriting in mode 'r'; kNumberInUse "Message number is already in use" if the
    // numbers of a damaged file have a gap; the assertion "object" for null. All three leave the
    // corpus unchanged. If only making room in the cache raises, the message is stored.
    void add_msg(qtPtrLight<zeMsg>& msg) override;
    // Sets the size of the cache. Messages that exceed the size leave the cache; changed ones are
    // written. This is not a promise about the number of messages, as it is for zeMemoryCorpus. If
    // such a write raises, the message remains, and the old size as well.
    void reserve(unsigned int cache_size) override;
    // The number of items in the file without the items of ZqeInfo and GlobalInfo.
    int get_num_msgs() const override;
    iMsg start_msgs() override;
    void next(iMsg& position) override;
    // Returns true if there is no message at the position.
    bool end(iMsg& position) override;
    // The number is not checked: without a message of this number the position is at the end.
    iMsg get_msg(int msg_number) override;
    // Returns null for a position at the end.
    qtPtrLight<zeMsg> get_msg(const iMsg& position) const override;
    // Returns null without a message of this number.
    qtPtrLight<zeMsg> get_numbered_msg(int msg_number) override;

    // Replaces a message in the cache. If it counts as changed, it is written when it leaves the
    // cache, or by `flush`. If not, it is dropped then, and so is null, which until then hides the
    // stored message. Without a cache the message is written at once.
    // RAISES: kNotForWriting in mode 'r'; kRefreshOfNothing "Refreshing non-existant message"; the
    // assertion "object" for null without a cache.
    void refresh_msg(unsigned int number, qtPtrLight<zeMsg>& msg);
    // Replaces a message in the file at once, and in the cache.
    // RAISES: kNotForWriting in mode 'r'; kUpdateOfNothing "Updating non-existant message"; the
    // assertion "object" for null.
    void update_msg(unsigned int number, qtPtrLight<zeMsg>& msg);
    // Writes the changed messages and the index, and empties the cache. When it returns, all
    // changes so far are in the file.
    void flush();

    // In a file of version 1, which has no such record, `get_global_info` changes nothing. If a
    // record cannot be read, the argument does not change.
    // RAISES: of the record file, "Missing key in index: " if the record is missing. The setters:
    // qtX<HioErr> "File is not open for writing" in mode 'r'.
    void get_global_info(GlobalInfo& info);
    void set_global_info(GlobalInfo& info);
    void get_zqe_info(ZqeInfo& info);
    void set_zqe_info(ZqeInfo& info);

    // Adds the two records to a new file, or upgrades a file of version 1. The constructor calls
    // it.
    void init_or_upgrade();

    Cache cache;  // the fields are only read from outside
    char mode;    // as given to the constructor
    bool unicode = false;
    unsigned int version = kFileVersion;  // of the open file

private:
    void open(const qtString& file);
    void open_in_mode_w();
    void identify();
    bool is_complete_of_newest_version() const;
    void write_identity(unsigned char flags);
    void add_missing_infos();
    void scramble_msgs();
    void scramble_msg(const qtString& key);
    void require_writable() const;
    bool has_msg(unsigned int number) const;
    qtString key_of(unsigned int number);
    CacheIter position_at(unsigned int number);
    template <class Read>
    void read_record(const qtString& key, Read&& read);
    template <class Write>
    void write_record(const qtString& key, Write&& write);
};

// Instantiated only in zeCacheCorpus.cpp.
extern template class HreclaimCache<zeMsg, zeCacheCorpus::SerializeFO>;

#endif  // ZANDREL_MESSAGES_ZECACHECORPUS_H_
