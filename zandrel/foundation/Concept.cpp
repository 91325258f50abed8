// The dictionary of concepts: it finds the record of a text, or makes one. The text's hash is
// computed once and kept in the record and in the dictionary's slots, so most look-ups compare at
// most one text.
#include "zandrel/foundation/Concept.h"

#include <bit>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

#include "zandrel/foundation/Batched_look_up.h"
#include "zandrel/foundation/Concept_arena.h"
#include "zandrel/foundation/prefetch.h"

using zandrel::detail::Concept_arena;

constinit Concept::Empty_record Concept::s_empty = {{0, 0, kForever}, '\0'};

namespace {

std::uint64_t load_word(const char* bytes, std::size_t count) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, count);
    return word;
}

std::uint64_t mix(std::uint64_t hash, std::uint64_t word) noexcept {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
    return hash ^ (hash >> 32U);
}

// At most eight bytes as one word, in two or three loads that may overlap: "horse" is "hors" and
// "orse". A loop, or a call that copies a length known only at run time, would cost more than the
// rest of the hash. Different texts of the same length have different words.
std::uint64_t short_word(const char* bytes, std::size_t count) noexcept {
    if (count >= 4) {
        return load_word(bytes, 4) | load_word(bytes + count - 4, 4) << 32U;
    }
    return load_word(bytes, 1) | load_word(bytes + count / 2, 1) << 8U |
           load_word(bytes + count - 1, 1) << 16U;
}

// Takes eight bytes a step; a text of at most eight bytes is one step. The last eight may overlap
// those before: "information" is hashed as "informat" and "ormation". The length is mixed in first.
// Each step is reversible, so two different texts of the same length of at most eight bytes never
// have the same 64-bit value. We return its upper half, whose bits depend on all bytes.
std::uint32_t hash_text(std::string_view text) noexcept {
    constexpr std::size_t kStep = 8;
    if (text.empty()) {
        return 0;
    }
    const char* const bytes = text.data();
    std::uint64_t hash = mix(0, text.size());
    if (text.size() <= kStep) {
        hash = mix(hash, short_word(bytes, text.size()));
    } else {
        for (std::size_t at = 0; at + kStep < text.size(); at += kStep) {
            hash = mix(hash, load_word(bytes + at, kStep));
        }
        hash = mix(hash, load_word(bytes + text.size() - kStep, kStep));
    }
    return static_cast<std::uint32_t>(mix(hash, 0) >> 32U);
}

}  // namespace

// A hash table with linear probing of all records, except the record of the empty text.
//
// A slot has a record's hash and the 32-bit name of its block in the arena. The low bits of the
// hash are the number of a slot, the record's home. A record is added in the first free slot from
// its home on. So a search starts at the home, and ends at the record or at a free slot. It reads a
// record only if the hash agrees: most searches for a known text read one cache line of slots and
// one record.
//
// For example, with 1024 slots the hash 0x00012404 has the home 4, the low 10 bits. If "goal" and
// "rose" have this home and were added in this order, "goal" is in slot 4 and "rose" in slot 5. A
// search for "rose" compares the hash of slot 4, which is different, and then finds it in slot 5. A
// search for a third text with this home ends at slot 6, which is free.
//
// A removal must leave no gap between a record and its home, so it moves later records into the
// gap. If "goal" is removed, "rose" moves to slot 4. Slots contain the hash, so growth and moving
// read no records.
class Concept_dictionary {
public:
    static Concept_dictionary& instance() {
        // Never destroyed, since static objects may have handles, and some of them are destroyed
        // after all other objects.
        static Concept_dictionary* const dictionary = new Concept_dictionary;
        return *dictionary;
    }

    // `hash`: of the text, which is not empty.
    Concept find_or_add(std::string_view text, std::uint32_t hash) {
        std::size_t at = home(hash);
        for (; m_slots[at].block != Concept_arena::kNone; at = next(at)) {
            if (m_slots[at].hash == hash) {
                Concept::Record* const found = record(m_slots[at]);
                if (text == found->view()) {
                    return Concept(found);
                }
            }
        }
        return Concept(add(text, hash, at));
    }

    // Begins to load the slot where the search for a hash begins. The caller then calls
    // `prefetch_record`, which reads this slot.
    void prefetch_slot(std::uint32_t hash) const noexcept {
        zandrel::detail::prefetch(&m_slots[home(hash)]);
    }

    // Begins to load the first record with this hash, if there is one.
    void prefetch_record(std::uint32_t hash) const noexcept {
        std::size_t at = home(hash);
        while (m_slots[at].block != Concept_arena::kNone && m_slots[at].hash != hash) {
            at = next(at);
        }
        if (m_slots[at].block != Concept_arena::kNone) {
            zandrel::detail::prefetch(record(m_slots[at]));
        }
    }

    void remove(Concept::Record* removed) noexcept {
        std::size_t at = home(removed->hash);
        while (m_slots[at].hash != removed->hash || record(m_slots[at]) != removed) {
            at = next(at);
        }
        m_arena.release(m_slots[at].block, size_of(removed->length));
        close_gap(at);
        --m_record_count;
    }

    void reserve(std::size_t more) {
        const std::size_t needed = (m_record_count + more) * kSlotsOfRecords / kRecordsOfSlots + 1;
        if (needed > m_slots.size()) {
            resize(std::bit_ceil(needed));
        }
    }

    std::size_t record_count() const noexcept { return m_record_count; }

private:
    struct Slot {
        std::uint32_t hash = 0;
        Concept_arena::Block block = Concept_arena::kNone;  // kNone: the slot is free
    };

    static constexpr std::size_t kFirstSlotCount = 1024;  // a power of two, like all later counts
    // At most 3 of 4 slots are taken. In a table that is as full as this, a search without success
    // reads 8.5 slots on average, about a cache line, and a search with success 2.5.
    static constexpr std::size_t kRecordsOfSlots = 3;
    static constexpr std::size_t kSlotsOfRecords = 4;

    static std::size_t size_of(std::size_t length) noexcept {
        return sizeof(Concept::Record) + length + 1;
    }

    Concept::Record* record(const Slot& slot) const noexcept {
        return reinterpret_cast<Concept::Record*>(m_arena.address(slot.block));
    }

    std::size_t mask() const noexcept { return m_slots.size() - 1; }

    std::size_t home(std::uint32_t hash) const noexcept { return hash & mask(); }

    std::size_t next(std::size_t at) const noexcept { return (at + 1) & mask(); }

    // `at`: the free slot where the search for the text has ended.
    Concept::Record* add(std::string_view text, std::uint32_t hash, std::size_t at) {
        if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
            throw std::length_error("Concept: text of 4 GiB or more");
        }
        if ((m_record_count + 1) * kSlotsOfRecords > m_slots.size() * kRecordsOfSlots) {
            resize(m_slots.size() * 2);
            at = free_slot(hash);
        }
        m_slots[at] = {hash, m_arena.allocate(size_of(text.size()))};
        auto* const added = new (m_arena.address(m_slots[at].block))
            Concept::Record{hash, static_cast<std::uint32_t>(text.size()), 0};
        std::memcpy(added->bytes(), text.data(), text.size());
        added->bytes()[text.size()] = '\0';
        ++m_record_count;
        return added;
    }

    std::size_t free_slot(std::uint32_t hash) const noexcept {
        std::size_t at = home(hash);
        while (m_slots[at].block != Concept_arena::kNone) {
            at = next(at);
        }
        return at;
    }

    void resize(std::size_t slot_count) {
        std::vector<Slot> old(slot_count);
        old.swap(m_slots);
        for (const Slot& slot : old) {
            if (slot.block != Concept_arena::kNone) {
                m_slots[free_slot(slot.hash)] = slot;
            }
        }
    }

    // Frees the slot `gap`. Each later slot, up to the next free one, is moved into the gap, unless
    // its home is behind the gap. The slot from which it was moved is the new gap.
    void close_gap(std::size_t gap) noexcept {
        for (std::size_t at = next(gap); m_slots[at].block != Concept_arena::kNone; at = next(at)) {
            const std::size_t way_from_home = (at - home(m_slots[at].hash)) & mask();
            const std::size_t way_from_gap = (at - gap) & mask();
            if (way_from_home >= way_from_gap) {
                m_slots[gap] = m_slots[at];
                gap = at;
            }
        }
        m_slots[gap] = {};
    }

    std::vector<Slot> m_slots = std::vector<Slot>(kFirstSlotCount);
    std::size_t m_record_count = 0;
    Concept_arena m_arena;
};

namespace {

Concept find_or_add(std::string_view text, std::uint32_t hash) {
    return text.empty() ? Concept() : Concept_dictionary::instance().find_or_add(text, hash);
}

}  // namespace

Concept Concept::insert_view(std::string_view text) {
    return find_or_add(text, hash_text(text));
}

namespace {

// The dictionary as Batched_look_up.h wants it.
struct Look_up {
    // A new record can move others to other slots, so a look-up begins anew.
    struct Start {};

    static std::uint32_t hash_of(std::string_view text) noexcept { return hash_text(text); }

    void prefetch_slot(std::uint32_t hash) const noexcept { dictionary.prefetch_slot(hash); }

    Start prefetch_record(std::uint32_t hash) const noexcept {
        dictionary.prefetch_record(hash);
        return {};
    }

    static Concept find(std::string_view text, std::uint32_t hash, Start /*unused*/) {
        return find_or_add(text, hash);
    }

    const Concept_dictionary& dictionary;
};

}  // namespace

void Concept::insert_views(std::span<const std::string_view> texts, Concept* concepts) {
    zandrel::detail::look_up_together(Look_up{Concept_dictionary::instance()}, texts, concepts);
}

std::uint32_t Concept::hash_of(std::string_view text) noexcept {
    return hash_text(text);
}

void Concept::remove_record(Record* record) noexcept {
    Concept_dictionary::instance().remove(record);
}

std::size_t Concept::dictionary_size() noexcept {
    return Concept_dictionary::instance().record_count();
}

void Concept::reserve(std::size_t more) {
    Concept_dictionary::instance().reserve(more);
}
