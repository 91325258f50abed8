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
// would leave a file that looks clean. If this first write fails, the file remains marked.
//
// A null object is a cached failure of `Read`. It is never written.
//
// The fields are public for owners, tools and tests. Only the owner changes `capacity`, `mode` and
// `seed`; `table`, `lru` and `file` are only read from outside.
//
// Errors: qtX<AbstractHreclaim> 4 "File is not open for writing" from `Write` in mode 'r'. Errors
// of the record file, of its device and of the records pass through. If a changed object could not
// be written, it is still changed, and is in the cache if it was there before.
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
    // the object. The file is written only if a changed object has to leave the cache. Does nothing
    // with a capacity of 0.
    void AddToCache(const qtString& key, qtPtrLight<T>& object, bool replace);
    // Returns the object of a key, from the cache or from the file. The result is null, without a
    // report, if it cannot be read for any reason: there is no such key, the record is damaged, the
    // device fails, or memory is short. The null is cached as well.
    // RAISES: what writing the object raises that has to leave the cache.
    // COST: one look-up if the object is in the cache; otherwise one item is read.
    qtPtrLight<T> Read(const qtString& key);
    // Removes the entry that was not used for the longest time. In mode 'w' a changed object is
    // written first. Does nothing if there is no entry.
    void PopLast();
    // Empties the cache. In mode 'w' it first writes the changed objects, in ascending order of
    // their keys, so that the bytes of the file do not depend on the hash table. The index is not
    // written.
    // RAISES: what the first failed write raises; then no entry has been removed.
    void ClearCache();

    // Sets bit 0 of the file's state, if it is not set. Each write of the cache calls it first. The
    // owner calls it before it changes the file in another way.
    void MarkChanging();
    // Stores a record that is no object of the cache, as it is: it is not scrambled.
    void AddItem(const qtString& key, const SegBuf& data);
    // Empties the cache and closes the file, both without writing, so that the destructor finds
    // nothing to do. Bit 0 of the state remains set in the file after a change.
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

    bool NeedsWriting(const Entry& entry) const;
    qtPtrLight<T> Load(const qtString& key);
    std::vector<Slot*> ChangedInKeyOrder();
};

namespace zandrel::detail {

// Scrambles a record, or restores it: both are the same operation. Each run of SegBuf::Locate is
// scrambled separately. With the seed 0 the record does not change.
ZANDREL_EXPORT void ScrambleRuns(SegBuf& record, unsigned long seed);
ZANDREL_EXPORT void ScrambleRuns(SegBuf& record, const qtScrambler& scrambler);

// Sets bit 0 of a file's state, if it is not set. The file sets the bit itself only after a change,
// and a process that ends in between would leave a changed file that looks clean. So an owner calls
// this before the first change.
ZANDREL_EXPORT void MarkChanging(AbstractHreclaim& file);

// Warns in the trace that changes of a file could not be written.
ZANDREL_EXPORT void TraceLostChanges(const qtString& file, const char* reason) noexcept;

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_HRECLAIMCACHE_H_
