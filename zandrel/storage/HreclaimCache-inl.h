// The bodies of HreclaimCache. A source that instantiates the template includes them.
//
// An example with a capacity of 2 in mode 'w'. `lru` is shown with the key that was used last at
// the left; * marks a changed object. The file contains a, b and c.
//
//   Read("a")                       reads a from the file        lru: a
//   Read("b")                       reads b                      lru: b a
//   AddToCache("a", new a*, true)   nothing is written           lru: a* b
//   Read("c")                       drops b, reads c             lru: c a*
//   Read("x")                       writes a and drops it; there is no x: null      lru: x c
//   Read("x")                       null from the cache          lru: x c
//   ClearCache()                    nothing has changed, so nothing is written
#ifndef ZANDREL_STORAGE_HRECLAIMCACHE_INL_H_
#define ZANDREL_STORAGE_HRECLAIMCACHE_INL_H_

#include <algorithm>
#include <exception>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/HreclaimCache.h"

template <class T, class S>
HreclaimCache<T, S>::HreclaimCache(unsigned int cache_capacity)
    : capacity(cache_capacity), table(zandrel::kInitialBuckets) {}

template <class T, class S>
HreclaimCache<T, S>::~HreclaimCache() {
    try {
        ClearCache();
        WriteIndex();
        file.Close();
    } catch (const std::exception& raised) {
        zandrel::detail::TraceLostChanges(file.FileName(), raised.what());
    } catch (...) {  // A handler of assertions may raise anything.
        zandrel::detail::TraceLostChanges(file.FileName(), "unknown exception");
    }
}

template <class T, class S>
void HreclaimCache<T, S>::Write(const qtString& key, qtPtrLight<T>& object, bool keep_in_cache) {
    if (mode == 'r') {
        throw qtX<AbstractHreclaim>(kCacheNotForWriting, "File is not open for writing");
    }
    ZANDREL_ASSERT(!object.IsNull(), "object");
    Store(key, *object);
    serializer.MarkStored(*object);
    if (keep_in_cache) {
        AddToCache(key, object, true);
    }
}

template <class T, class S>
void HreclaimCache<T, S>::AddToCache(const qtString& key, qtPtrLight<T>& object, bool replace) {
    if (capacity == 0) {
        return;
    }
    const auto found = table.find(key);
    if (found != table.end()) {
        lru.splice(lru.begin(), lru, found->second.second);
        if (replace) {
            found->second.first = object;
        }
        return;
    }
    if (table.size() >= capacity) {
        PopLast();
    }
    // The key is in a list of its own until it is in the table too, since entering it may raise.
    std::list<qtString> youngest{key};
    table.try_emplace(key, object, youngest.begin());
    lru.splice(lru.begin(), youngest);
}

template <class T, class S>
qtPtrLight<T> HreclaimCache<T, S>::Read(const qtString& key) {
    const auto found = table.find(key);
    if (found != table.end()) {
        lru.splice(lru.begin(), lru, found->second.second);
        return found->second.first;
    }
    qtPtrLight<T> object = Load(key);
    AddToCache(key, object, false);
    return object;
}

template <class T, class S>
void HreclaimCache<T, S>::PopLast() {
    if (lru.empty()) {
        return;
    }
    const auto last = table.find(lru.back());
    if (mode == 'w' && NeedsWriting(last->second)) {
        Write(last->first, last->second.first, false);
    }
    table.erase(last);
    lru.pop_back();
}

template <class T, class S>
void HreclaimCache<T, S>::ClearCache() {
    RequireWhole();
    if (mode == 'w') {
        for (Slot* const changed : ChangedInKeyOrder()) {
            Write(changed->first, changed->second.first, false);
        }
    }
    table.clear();
    lru.clear();
}

template <class T, class S>
void HreclaimCache<T, S>::MarkChanging() {
    ChangeFile([](AbstractHreclaim& changed) { changed.MarkStale(); });
}

// The record file is asked first if it would refuse the item, since a refusal must neither set the
// mark nor break the cache.
template <class T, class S>
void HreclaimCache<T, S>::AddItem(const qtString& key, const SegBuf& data) {
    RequireWhole();
    file.RequireAddable(key, data.size);
    ChangeFile([&key, &data](AbstractHreclaim& changed) {
        changed.MarkStale();
        changed.AddItem(key, data);
    });
}

template <class T, class S>
void HreclaimCache<T, S>::WriteIndex() {
    ChangeFile([](AbstractHreclaim& changed) { changed.WriteIndex(); });
}

template <class T, class S>
template <class Change>
void HreclaimCache<T, S>::ChangeFile(Change&& change) {
    RequireWhole();
    try {
        change(file);
    } catch (const qtX<AbstractHreclaim>&) {
        throw;  // the file refuses the change before it begins
    } catch (...) {
        m_is_broken = true;
        throw;
    }
}

template <class T, class S>
void HreclaimCache<T, S>::Abandon() noexcept {
    table.clear();
    lru.clear();
    mode = 'r';
    m_is_broken = false;
    file.dirty = false;  // so that Close writes no index
    try {
        file.Close();
    } catch (...) {  // The caller reports an earlier error.
    }
}

template <class T, class S>
void HreclaimCache<T, S>::RequireWhole() const {
    if (m_is_broken) {
        HioErr::Raise(HioErr::kWriteFailed, "Write error in file " + file.FileName(),
                      file.FileName());
    }
}

template <class T, class S>
bool HreclaimCache<T, S>::NeedsWriting(const Entry& entry) const {
    return !entry.first.IsNull() && serializer.IsChanged(*entry.first);
}

template <class T, class S>
void HreclaimCache<T, S>::Store(const qtString& key, const T& object) {
    const zandrel::detail::Cleared_record at_end(m_record);
    Hio<Generic32> io(new HSegment(m_record, 'w'));
    serializer.Dump(object, io);
    io.device->Close();
    zandrel::detail::ScrambleRuns(m_record, seed);
    AddItem(key, m_record);
}

// Reads an object from the file. Returns null after any failure.
template <class T, class S>
qtPtrLight<T> HreclaimCache<T, S>::Load(const qtString& key) {
    try {
        const zandrel::detail::Cleared_record at_end(m_record);
        file.GetItem(key, m_record);
        zandrel::detail::ScrambleRuns(m_record, seed);
        Hio<Generic32> io(new HSegment(m_record, 'r'));
        qtPtrLight<T> object(new T);
        serializer.Load(*object, io);
        io.device->Close();
        return object;
    } catch (...) {
        return nullptr;
    }
}

template <class T, class S>
std::vector<typename HreclaimCache<T, S>::Slot*> HreclaimCache<T, S>::ChangedInKeyOrder() {
    std::vector<Slot*> changed;
    for (Slot& slot : table) {
        if (NeedsWriting(slot.second)) {
            changed.push_back(&slot);
        }
    }
    std::sort(changed.begin(), changed.end(),
              [](const Slot* left, const Slot* right) { return left->first < right->first; });
    return changed;
}

#endif  // ZANDREL_STORAGE_HRECLAIMCACHE_INL_H_
