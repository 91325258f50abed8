// concept_map: the table of the statistics, keyed by concept.
#ifndef ZANDREL_FOUNDATION_CONCEPT_MAP_H_
#define ZANDREL_FOUNDATION_CONCEPT_MAP_H_

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/prefetch.h"

namespace zandrel::detail {

// The alignment of an entry of a concept_map, in bytes.
template <class Value>
constexpr std::size_t alignment_of_entry() {
    struct Entry {
        Concept first;
        Value second;
    };

    constexpr std::size_t kHalfLine = 32;
    return sizeof(Entry) == kHalfLine ? kHalfLine : alignof(Entry);
}

}  // namespace zandrel::detail

namespace zandrel {

// Maps concepts to values. It has the interface of std::unordered_map as far as the statistics need
// it, and these further properties:
//
// - Entries are in the order in which their concepts were first added. Iterators visit them in this
//   order.
// - An entry keeps its address and its position, a number from 0 on, while others are added and
//   erased. Only `compact` and `clear` change them. After `swap` or a move, the entries are in the
//   other table.
// - An erased entry keeps its place. If its concept is added again, the entry comes back with the
//   value of a new entry, without an allocation. Only `compact`, `position_limit` and the
//   `announce` of `for_each` see an erased entry. It still has a handle of its concept, so call
//   `compact` when erased entries will not come back.
// - A look-up reads no record of a concept, only the handle.
// - A look-up in a large table waits twice for the memory: for the slot of the index, and then for
//   the entry. A caller with many look-ups can announce each concept: `prefetch_slot` for the
//   concept 16 look-ups ahead, and `prefetch_entry` for the one 8 ahead. Many loads then run at a
//   time.
//
// How it works. The entries are in chunks of 16, 32, 64, ... entries, so growth copies nothing. A
// bit for each entry shows if it is live. An index of 32-bit slots, at most three quarters of them
// used, leads from a concept to the position of its entry. A slot of an index of 2^b slots needs
// only the low b bits for the position, since there are fewer entries than slots. The high 32 - b
// bits are a mark from the concept's hash, so that nearly every entry that a search reads is the
// right one.
//
// For example, with b = 4 the hash 0x7abcdef1 begins at slot 7, the top 4 bits of the hash. Its
// entry at position 3 is stored as 0xabcdef13: the hash shifted left by 4, plus 3. A second concept
// with the hash 0x71111111 and position 5 begins at slot 7 too, which is taken, so slot 8 has
// 0x11111115. A search for it computes the exclusive-or of its mark 0x11111110 and each slot: slot
// 7 gives 0xbadcfe03, no position below 16, and slot 8 gives 5. Only then the entry is read and
// compared.
//
// Errors: std::bad_alloc, and those named below; the table is then as it was.
// Threads: one at a time in the whole process, since the table shares its concepts with all others.
template <class Value>
class concept_map {
    template <bool is_const>
    class Iterator;

public:
    using key_type = Concept;
    using mapped_type = Value;
    using size_type = std::size_t;
    using Position = std::uint32_t;
    using iterator = Iterator<false>;
    using const_iterator = Iterator<true>;

    // An entry. Nobody may change `first`.
    //
    // An entry of 32 bytes begins at a multiple of 32, so that it is in one cache line: a table of
    // a million entries is read with a cache miss for each line.
    struct alignas(detail::alignment_of_entry<Value>()) value_type {
        Concept first;
        Value second;
    };

    concept_map() = default;

    // An empty table whose index has at least `bucket_count` slots.
    explicit concept_map(std::size_t bucket_count) { rehash(bucket_count); }

    concept_map(concept_map&& other) noexcept { swap(other); }

    concept_map& operator=(concept_map&& other) noexcept {
        concept_map(std::move(other)).swap(*this);
        return *this;
    }

    concept_map(const concept_map&) = delete;
    concept_map& operator=(const concept_map&) = delete;
    ~concept_map() = default;

    // The number of live entries.
    std::size_t size() const noexcept { return m_size; }

    bool empty() const noexcept { return m_size == 0; }

    iterator begin() noexcept { return iterator(this, first_live_from(0)); }

    const_iterator begin() const noexcept { return const_iterator(this, first_live_from(0)); }

    iterator end() noexcept { return iterator(this, kNone); }

    const_iterator end() const noexcept { return const_iterator(this, kNone); }

    iterator find(const Concept& wanted) noexcept { return iterator(this, live(place_of(wanted))); }

    const_iterator find(const Concept& wanted) const noexcept {
        return const_iterator(this, live(place_of(wanted)));
    }

    // Does the same, with a guess of the position, which may be any number. If the guess is right,
    // the index is not read.
    iterator find(const Concept& wanted, Position guess) noexcept {
        return iterator(this, live(place_of(wanted, guess)));
    }

    const_iterator find(const Concept& wanted, Position guess) const noexcept {
        return const_iterator(this, live(place_of(wanted, guess)));
    }

    std::size_t count(const Concept& wanted) const noexcept { return contains(wanted) ? 1 : 0; }

    bool contains(const Concept& wanted) const noexcept { return find(wanted) != end(); }

    // RAISES: std::out_of_range for a concept without an entry.
    Value& at(const Concept& wanted) { return find_or_raise(*this, wanted)->second; }

    const Value& at(const Concept& wanted) const { return find_or_raise(*this, wanted)->second; }

    // Returns the entry of a concept, and true if the entry is new. A new entry has the value
    // `Value()`.
    // RAISES: std::length_error for more than 1.6 thousand million entries, erased ones included.
    std::pair<iterator, bool> try_emplace(const Concept& key) { return enter(key, place_of(key)); }

    // Does the same, with a guess of the position, as for `find`.
    std::pair<iterator, bool> try_emplace(const Concept& key, Position guess) {
        return enter(key, place_of(key, guess));
    }

    Value& operator[](const Concept& key) { return try_emplace(key).first->second; }

    // Erases an entry. Its value is replaced by `Value()` at once, which frees what the value owns.
    void erase(const_iterator erased) {
        value_type& entry = entry_at(erased.m_position);
        entry.second = Value();
        live_word(erased.m_position) &= ~live_bit(erased.m_position);
        --m_size;
    }

    std::size_t erase(const Concept& key) {
        const const_iterator found = std::as_const(*this).find(key);
        if (found == end()) {
            return 0;
        }
        erase(found);
        return 1;
    }

    // Frees all memory except an index of at most 128 slots: a table that is filled again needs
    // one.
    void clear() noexcept {
        concept_map emptied;
        if (m_index.size() <= kKeptSlots) {
            emptied.m_index.swap(m_index);
            emptied.m_index_bits = m_index_bits;
            emptied.free_slots();
        }
        swap(emptied);
    }

    // Forgets erased entries: frees their handles and the memory behind the last live entry. Live
    // entries keep their order, and may get new positions and addresses.
    // COST: nothing if no entry is erased, else linear in all entries.
    void compact();

    // The number of live and erased entries. Every position is below this number.
    Position position_limit() const noexcept { return m_place_count; }

    // The position of a live entry. The end has a position that no entry can have.
    Position position(const_iterator entry) const noexcept { return entry.m_position; }

    // The live entry at a position, or the end.
    iterator at_position(Position position) noexcept { return iterator(this, live(position)); }

    const_iterator at_position(Position position) const noexcept {
        return const_iterator(this, live(position));
    }

    // Begins to load the slot where the search for a concept begins.
    void prefetch_slot(const Concept& wanted) const noexcept {
        if (!m_index.empty()) {
            detail::prefetch(&m_index[hash_of(wanted) >> (32 - m_index_bits)]);
        }
    }

    // Begins to load the entry that is named by the slot where the search for a concept begins. If
    // the slot is free, `try_emplace` is going to count a handle in the concept's record, so that
    // record is loaded. The slot should be in the cache already: see `prefetch_slot`.
    void prefetch_entry(const Concept& wanted) const noexcept {
        if (m_index.empty()) {
            return;
        }
        const std::uint32_t hash = hash_of(wanted);
        const std::uint32_t stored = m_index[hash >> (32 - m_index_bits)];
        if (stored == kFreeSlot) {
            detail::prefetch(wanted.identity());
        } else {
            prefetch(stored & ((std::uint32_t{1} << m_index_bits) - 1));
        }
    }

    // Begins to load the entry at a position, which may be any number.
    void prefetch(Position position) const noexcept {
        if (position < m_place_count) {
            detail::prefetch(&entry_at(position));
        }
    }

    // Calls `visit` with each live entry, in order. `announce` gets an entry 16 entries earlier, so
    // that it can begin to load the memory that `visit` needs. It also gets erased entries, and it
    // does not get the first 16 of each chunk. This costs less than iterators, which find the chunk
    // of each entry.
    template <class Announce, class Visit>
    void for_each(Announce announce, Visit visit) {
        visit_all(*this, announce, visit);
    }

    template <class Announce, class Visit>
    void for_each(Announce announce, Visit visit) const {
        visit_all(*this, announce, visit);
    }

    // The number of slots of the index.
    std::size_t bucket_count() const noexcept { return m_index.size(); }

    // Gives the index at least `bucket_count` slots. It never shrinks.
    // RAISES: std::length_error.
    void rehash(std::size_t bucket_count) {
        if (bucket_count > m_index.size()) {
            build_index(bits_of(bucket_count));
        }
    }

    // Makes room in the index for `entry_count` entries. Chunks are added later, when they are
    // needed, which copies nothing.
    // RAISES: std::length_error.
    void reserve(std::size_t entry_count) { rehash(entry_count + entry_count / 3 + 1); }

    void swap(concept_map& other) noexcept {
        m_chunks.swap(other.m_chunks);
        m_live.swap(other.m_live);
        m_index.swap(other.m_index);
        std::swap(m_index_bits, other.m_index_bits);
        std::swap(m_place_count, other.m_place_count);
        std::swap(m_size, other.m_size);
    }

private:
    static constexpr Position kNone = 0xffffffffU;  // the position of the end
    static constexpr std::uint32_t kFreeSlot = 0xffffffffU;
    static constexpr int kFirstChunkBits = 4;
    static constexpr Position kFirstChunkSize = 1U << kFirstChunkBits;
    static constexpr int kLeastIndexBits = 4;
    static constexpr int kMostIndexBits = 31;
    static constexpr std::size_t kKeptSlots = 128;

    template <bool is_const>
    class Iterator {
        using Table = std::conditional_t<is_const, const concept_map, concept_map>;

    public:
        using iterator_category = std::forward_iterator_tag;
        using difference_type = std::ptrdiff_t;
        using value_type = typename concept_map::value_type;
        using reference = std::conditional_t<is_const, const value_type&, value_type&>;
        using pointer = std::conditional_t<is_const, const value_type*, value_type*>;

        Iterator() = default;

        // A mutable iterator converts to a const_iterator.
        template <bool other_is_const, class = std::enable_if_t<is_const && !other_is_const>>
        // NOLINTNEXTLINE(google-explicit-constructor): as for the iterators of the standard library
        Iterator(const Iterator<other_is_const>& other) noexcept
            : m_table(other.m_table), m_position(other.m_position) {}

        reference operator*() const noexcept { return m_table->entry_at(m_position); }

        pointer operator->() const noexcept { return &m_table->entry_at(m_position); }

        Iterator& operator++() noexcept {
            m_position = m_table->first_live_from(m_position + 1);
            return *this;
        }

        Iterator operator++(int) noexcept {
            const Iterator before = *this;
            ++*this;
            return before;
        }

        // REQUIRES: both iterators are of the same table.
        friend bool operator==(const Iterator& left, const Iterator& right) noexcept {
            return left.m_position == right.m_position;
        }

    private:
        friend class concept_map;
        template <bool other_is_const>
        friend class Iterator;

        Iterator(Table* table, Position position) noexcept : m_table(table), m_position(position) {}

        Table* m_table = nullptr;
        Position m_position = kNone;
    };

    template <class Table>
    static auto find_or_raise(Table& table, const Concept& wanted) {
        const auto found = table.find(wanted);
        if (found == table.end()) {
            throw std::out_of_range("concept_map: no entry of this concept");
        }
        return found;
    }

    template <class Table, class Announce, class Visit>
    static void visit_all(Table& table, Announce& announce, Visit& visit) {
        constexpr std::size_t kAhead = 16;
        Position position = 0;
        for (auto& chunk : table.m_chunks) {
            for (std::size_t i = 0; i < chunk.size(); ++i, ++position) {
                if (i + kAhead < chunk.size()) {
                    announce(chunk[i + kAhead]);
                }
                if (table.is_live(position)) {
                    visit(chunk[i]);
                }
            }
        }
    }

    // Addresses of records are multiples of 4. A product with 2^64 divided by the golden ratio has
    // very different high bits for neighbours, and the index uses the high bits.
    static std::uint32_t hash_of(const Concept& hashed) noexcept {
        const auto address = reinterpret_cast<std::uintptr_t>(hashed.identity());
        return static_cast<std::uint32_t>((std::uint64_t{address} * 0x9e3779b97f4a7c15U) >> 32U);
    }

    static int bits_of(std::size_t bucket_count) {
        const int bits =
            std::max(static_cast<int>(std::bit_width(bucket_count - 1)), kLeastIndexBits);
        if (bits > kMostIndexBits) {
            throw std::length_error("concept_map: too many entries");
        }
        return bits;
    }

    // Chunk c has the positions p for which p + 16 is from 16 * 2^c to 32 * 2^c - 1: chunk 0 has
    // those with 16 to 31, chunk 1 those with 32 to 63.
    static std::size_t chunk_of(Position position) noexcept {
        const auto width = static_cast<int>(std::bit_width(position + kFirstChunkSize));
        return static_cast<std::size_t>(width - 1 - kFirstChunkBits);
    }

    static std::size_t offset_of(Position position, std::size_t chunk) noexcept {
        return position + kFirstChunkSize - (std::size_t{kFirstChunkSize} << chunk);
    }

    value_type& entry_at(Position position) noexcept {
        const std::size_t chunk = chunk_of(position);
        return m_chunks[chunk][offset_of(position, chunk)];
    }

    const value_type& entry_at(Position position) const noexcept {
        const std::size_t chunk = chunk_of(position);
        return m_chunks[chunk][offset_of(position, chunk)];
    }

    static std::uint64_t live_bit(Position position) noexcept {
        return std::uint64_t{1} << (position % 64U);
    }

    std::uint64_t& live_word(Position position) noexcept { return m_live[position / 64U]; }

    bool is_live(Position position) const noexcept {
        return position < m_place_count && (m_live[position / 64U] & live_bit(position)) != 0;
    }

    // The position if its entry is live, else the position of the end.
    Position live(Position position) const noexcept { return is_live(position) ? position : kNone; }

    Position first_live_from(Position position) const noexcept {
        std::size_t word = position / 64U;
        if (word >= m_live.size()) {
            return kNone;
        }
        std::uint64_t bits = m_live[word] & (~std::uint64_t{0} << (position % 64U));
        while (bits == 0) {
            if (++word == m_live.size()) {
                return kNone;
            }
            bits = m_live[word];
        }
        return static_cast<Position>(word * 64U) + static_cast<Position>(std::countr_zero(bits));
    }

    // The position of a concept's entry, live or erased, or `kNone`.
    Position place_of(const Concept& wanted) const noexcept {
        if (m_index.empty()) {
            return kNone;
        }
        const std::uint32_t hash = hash_of(wanted);
        const std::uint32_t mask = (std::uint32_t{1} << m_index_bits) - 1;
        const std::uint32_t mark = hash << m_index_bits;
        for (std::uint32_t slot = hash >> (32 - m_index_bits);; slot = (slot + 1) & mask) {
            const std::uint32_t stored = m_index[slot];
            if (stored == kFreeSlot) {
                return kNone;
            }
            // Equal marks cancel out, and the position remains.
            const Position position = stored ^ mark;
            if (position <= mask && entry_at(position).first == wanted) {
                return position;
            }
        }
    }

    Position place_of(const Concept& wanted, Position guess) const noexcept {
        return guess < m_place_count && entry_at(guess).first == wanted ? guess : place_of(wanted);
    }

    std::pair<iterator, bool> enter(const Concept& key, Position place) {
        if (place == kNone) {
            place = append(key);
        } else if (is_live(place)) {
            return {iterator(this, place), false};
        }
        live_word(place) |= live_bit(place);
        ++m_size;
        return {iterator(this, place), true};
    }

    // Adds an entry that is not live yet. If memory runs out, the table has only gained unused
    // room.
    Position append(const Concept& key) {
        const Position place = m_place_count;
        reserve(std::size_t{place} + 1);
        m_live.resize(place / 64U + 1);
        const std::size_t chunk = chunk_of(place);
        if (chunk == m_chunks.size()) {
            std::vector<value_type> added;
            added.reserve(std::size_t{kFirstChunkSize} << chunk);
            m_chunks.push_back(std::move(added));
        }
        m_chunks[chunk].push_back({key, Value()});
        enter_in_index(place);
        ++m_place_count;
        return place;
    }

    void enter_in_index(Position place) noexcept {
        const std::uint32_t hash = hash_of(entry_at(place).first);
        const std::uint32_t mask = (std::uint32_t{1} << m_index_bits) - 1;
        std::uint32_t slot = hash >> (32 - m_index_bits);
        while (m_index[slot] != kFreeSlot) {
            slot = (slot + 1) & mask;
        }
        m_index[slot] = (hash << m_index_bits) | place;
    }

    void free_slots() noexcept { std::fill(m_index.begin(), m_index.end(), kFreeSlot); }

    void build_index(int bits) {
        std::vector<std::uint32_t> built(std::size_t{1} << bits, kFreeSlot);
        m_index.swap(built);
        m_index_bits = bits;
        for (Position place = 0; place < m_place_count; ++place) {
            enter_in_index(place);
        }
    }

    void truncate(Position place_count) noexcept;

    std::vector<std::vector<value_type>> m_chunks;  // each has its full capacity from the start
    std::vector<std::uint64_t> m_live;              // a bit for each entry
    std::vector<std::uint32_t> m_index;             // 2^m_index_bits slots, or none
    int m_index_bits = 0;
    Position m_place_count = 0;  // entries, live or erased
    std::size_t m_size = 0;      // live entries
};

template <class Value>
void concept_map<Value>::compact() {
    if (m_size == m_place_count) {
        return;
    }
    Position to = 0;
    for (Position from = first_live_from(0); from != kNone; from = first_live_from(from + 1)) {
        if (from != to) {
            entry_at(to) = std::move(entry_at(from));
        }
        ++to;
    }
    truncate(to);
    free_slots();
    for (Position place = 0; place < m_place_count; ++place) {
        enter_in_index(place);
    }
}

// Keeps only the first `place_count` entries, and marks all of them as live.
template <class Value>
void concept_map<Value>::truncate(Position place_count) noexcept {
    while (!m_chunks.empty() && place_count <= m_place_count - m_chunks.back().size()) {
        m_place_count -= static_cast<Position>(m_chunks.back().size());
        m_chunks.pop_back();
    }
    while (m_place_count > place_count) {
        m_chunks.back().pop_back();
        --m_place_count;
    }
    m_live.assign((std::size_t{place_count} + 63U) / 64U, ~std::uint64_t{0});
    if (place_count % 64U != 0) {
        m_live.back() = live_bit(place_count) - 1;
    }
}

// Erases the entries that `selects` selects, and returns their number.
template <class Value, class Predicate>
std::size_t erase_if(concept_map<Value>& table, Predicate selects) {
    const std::size_t before = table.size();
    for (auto entry = table.begin(); entry != table.end(); ++entry) {
        if (selects(*entry)) {
            table.erase(entry);
        }
    }
    return before - table.size();
}

template <class Value>
void swap(concept_map<Value>& left, concept_map<Value>& right) noexcept {
    left.swap(right);
}

}  // namespace zandrel

#endif  // ZANDREL_FOUNDATION_CONCEPT_MAP_H_
