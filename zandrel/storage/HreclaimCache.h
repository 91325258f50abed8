// HreclaimCache: a bounded cache of live objects in front of a record file. The bodies are in
// HreclaimCache-inl.h.
#ifndef ZANDREL_STORAGE_HRECLAIMCACHE_H_
#define ZANDREL_STORAGE_HRECLAIMCACHE_H_

#include <list>
#include <utility>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtText.h"
#include "zandrel/storage/Hfile64.h"
#include "zandrel/storage/Hreclaim.h"
#include "zandrel/storage/SegBuf.h"

// Reads objects of type `T` from a record file on demand, and keeps the `capacity` objects that
// were used last. A changed object is written when it leaves the cache, so many changes of one
// object cost one write. HreclaimCache-inl.h has an example.
//
// `S` is an empty class that knows the records of `T`. It has these functions:
//
//     void Dump(const T& object, Hio<Generic32>& io) const;   // writes the record
//     void Load(T& object, Hio<Generic32>& io) const;         // reads it into a new object
//     bool IsChanged(const T& object) const;                  // differs from its stored form
//     void MarkStored(T& object) const;                       // IsChanged is false afterwards
//
// The owner opens `file`, and then sets `seed` and `mode`. The destructor writes the changed
// objects and the index. If a write fails there, the rest is not written, the failure is traced as
// a warning, and bit 0 of the file's state remains set, so that the next owner refuses the file.
//
// The first write after an index was written sets bit 0 of the state before it changes the file.
// The record file itself sets it after its first change, so a process that is killed in between
// would leave a file that looks clean. A write that is refused before it changes anything, such as
// that of a record that is too large, does not set the bit.
//
// A change that fails half-way breaks the cache. The device ignores all writes after a failed one,
// and the index may name a block that is free. So all later changes, and also ClearCache and
// WriteIndex, raise the device's "Write error in file ", and the destructor writes nothing: it
// traces that changes are lost. Objects can still be read. For example, `Write` of a first object
// fails because the disk is full, and the caller deletes other files and goes on. `Write` of a
// second object then raises too, though there is room again. The bit remains set in the file.
//
// A null object is a cached failure of `Read`. It is never written.
//
// The fields are public for owners, tools and tests. Only the owner changes `capacity`, `mode` and
// `seed`; `table`, `lru` and `file` are only read from outside.
//
// Errors: qtX<AbstractHreclaim> 4 "File is not open for writing" from `Write` in mode 'r';
// qtX<HioErr> kWriteFailed "Write error in file " from a broken cache. Errors of the record file,
// of its device and of the records pass through. If a changed object could not be written, it is
// still changed, and is in the cache if it was there before.
// Threads: one at a time in the whole process.
template <class T, class S>
class ZANDREL_EXPORT HreclaimCache {
public:
    // The number that a qtX<AbstractHreclaim> of `Write` in mode 'r' carries.
    static constexpr int kCacheNotForWriting = 4;

    // The object of a key, and the place of the key in `lru`.
    using Entry = std::pair<qtPtrLight<T>, std::list<qtString>::iterator>;
    using Table = hash_map<qtString, Entry, qtStringHash>;

    // An empty cache with a closed file. A capacity of 0 turns the cache off.
    explicit HreclaimCache(unsigned int cache_capacity);
    HreclaimCache(const HreclaimCache&) = delete;
    HreclaimCache& operator=(const HreclaimCache&) = delete;
    ~HreclaimCache();

    // Writes the object to the file now; it then counts as unchanged. With `keep_in_cache` the
    // object also becomes the entry of the key. Otherwise an entry of the key keeps its object.
    // RAISES: kCacheNotForWriting; the assertion "object" for null, before anything changes. If
    // making room for the entry raises, the object itself is stored.
    void Write(const qtString& key, qtPtrLight<T>& object, bool keep_in_cache);
    // Makes an entry, or makes an existing one the youngest. With `replace` an existing entry gets
    // the object, which may be null. The file is written only if a changed object has to leave the
    // cache. Does nothing with a capacity of 0.
    // RAISES: what writing that object raises; then nothing is entered.
    void AddToCache(const qtString& key, qtPtrLight<T>& object, bool replace);
    // Returns the object of a key, from the cache or from the file. The result is null, without a
    // report, if it cannot be read for any reason: there is no such key, the record is damaged, the
    // device fails, or memory is short. The null is cached as well.
    // RAISES: what writing the object raises that has to leave the cache.
    // COST: one look-up if the object is in the cache; otherwise one item is read.
    qtPtrLight<T> Read(const qtString& key);
    // Removes the entry that was not used for the longest time. In mode 'w' a changed object is
    // written first. Does nothing if there is no entry.
    // RAISES: what this write raises; then the entry remains.
    void PopLast();
    // Empties the cache. In mode 'w' it first writes the changed objects, in ascending order of
    // their keys, so that the bytes of the file do not depend on the hash table. The index is not
    // written.
    // RAISES: what the first failed write raises; then no entry has been removed. A broken cache
    // raises even if there is nothing to write.
    void ClearCache();

    // Sets bit 0 of the file's state, if it is not set. Each write of the cache sets it first. The
    // owner calls it before it changes the file in another way.
    void MarkChanging();
    // Stores a record that is no object of the cache, as it is: it is not scrambled.
    void AddItem(const qtString& key, const SegBuf& data);
    // Writes the index of the file, if it has changed.
    void WriteIndex();
    // Calls `change(file)`. All changes of the file go through this function. If the call raises,
    // the cache is broken, unless it raises qtX<AbstractHreclaim>: then nothing has changed.
    // RAISES: what `change` raises.
    template <class Change>
    void ChangeFile(Change&& change);
    // Empties the cache and closes the file, both without writing, so that the destructor finds
    // nothing to do. Bit 0 of the state remains set in the file after a change. The owner may then
    // open another file.
    void Abandon() noexcept;

    unsigned int capacity;    // the most entries
    Table table;              // the same keys as `lru`
    std::list<qtString> lru;  // the keys; the one used last is the first
    char mode = 'r';          // 'r': nothing is written; 'w': changed objects are written
    Hreclaim<Hfile64> file;
    S serializer;
    unsigned long seed = 0;  // for scrambling the records of objects; 0: they are stored plain

private:
    using Slot = typename Table::value_type;

    void RequireWhole() const;
    bool NeedsWriting(const Entry& entry) const;
    void Store(const qtString& key, const T& object);
    qtPtrLight<T> Load(const qtString& key);
    std::vector<Slot*> ChangedInKeyOrder();

    // The record that is read or written. Between two uses it is empty. A new one for each object
    // would cost 16 kB of zeros, which was half of the instructions of reading a short message.
    SegBuf m_record;
    bool m_is_broken = false;  // a change of the file has failed half-way
};

namespace zandrel::detail {

// Scrambles a record, or restores it: both are the same operation. Each run of SegBuf::Locate is
// scrambled separately. With the seed 0 the record does not change.
ZANDREL_EXPORT void ScrambleRuns(SegBuf& record, unsigned long seed);
ZANDREL_EXPORT void ScrambleRuns(SegBuf& record, const qtScrambler& scrambler);

// Empties a record at the end of the scope.
class Cleared_record {
public:
    // BORROWS: the record, which is empty and new or cleared.
    explicit Cleared_record(SegBuf& record) : m_record(record) {}

    Cleared_record(const Cleared_record&) = delete;
    Cleared_record& operator=(const Cleared_record&) = delete;

    ~Cleared_record() { m_record.Clear(); }

private:
    SegBuf& m_record;
};

// Warns in the trace that changes of a file could not be written.
ZANDREL_EXPORT void TraceLostChanges(const qtString& file, const char* reason) noexcept;

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_HRECLAIMCACHE_H_
