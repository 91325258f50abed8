// Concept: the interned handle of a term, and the hash that tables of concepts use.
#ifndef ZANDREL_FOUNDATION_CONCEPT_H_
#define ZANDREL_FOUNDATION_CONCEPT_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

namespace zandrel::detail {
class Uncounted_concept;
}

// A handle to a term, as large as a pointer. All handles of one text point at one record in a
// dictionary, which the whole process shares. So two concepts are equal exactly when they point at
// the same record, and a test of equality never compares texts.
//
// The record counts its handles and is removed with the last of them. The count has 32 bits: a
// record that once has 4,294,967,295 handles stops counting and is never removed. The dictionary
// itself lives to the end of the process, since static objects contain handles too. The memory of a
// removed record of at most 256 bytes is kept for later records. The empty text has a record of its
// own, which means "no concept" and is never removed; a default-constructed handle points at it.
//
// Threads: one at a time in the whole process, whatever object of the library it uses. Neither the
// dictionary nor the counts are locked, and two containers with the same term share its record.
class ZANDREL_EXPORT Concept {
public:
    // The concept of the empty text.
    Concept() noexcept : m_record(empty_record()) {}

    Concept(const Concept& other) noexcept : Concept(other.m_record) {}

    // Leaves the empty text in `other`. No count changes.
    Concept(Concept&& other) noexcept : m_record(std::exchange(other.m_record, empty_record())) {}

    Concept& operator=(const Concept& other) noexcept {
        Concept(other).swap(*this);
        return *this;
    }

    Concept& operator=(Concept&& other) noexcept {
        swap(other);
        return *this;
    }

    ~Concept() {
        if (m_record->count != kForever && --m_record->count == 0) {
            remove_record(m_record);
        }
    }

    // Returns the handle of a text, which may contain any bytes.
    // RAISES: std::bad_alloc; std::length_error for a text of 4 GiB or more.
    // COST: one look-up in the dictionary, and an allocation for a text that is not in it.
    static Concept insert(const qtString& text) { return insert_view(text.view()); }

    static Concept insert_view(std::string_view text);

    // Assigns the handle of each text to the element of `concepts` with the same index. Where the
    // dictionary is larger than the caches, this takes half the time of one insert_view for each
    // text, since many look-ups wait for the memory together.
    // RAISES: as `insert`. Some handles are then assigned.
    static void insert_views(std::span<const std::string_view> texts, Concept* concepts);

    // The bytes of the text, with a zero byte at the end.
    // VALID UNTIL: the last handle of this text is destroyed.
    const char* c_str() const noexcept { return m_record->bytes(); }

    std::string_view view() const noexcept { return m_record->view(); }

    qtString text() const { return qtString(view()); }

    bool empty() const noexcept { return m_record->length == 0; }

    // The hash value of the text. Only tables in memory use it: it is not part of any format.
    std::uint32_t hash() const noexcept { return m_record->hash; }

    // The record's address: equal for equal concepts, different for different ones.
    const void* identity() const noexcept { return m_record; }

    void swap(Concept& other) noexcept { std::swap(m_record, other.m_record); }

    bool operator==(const Concept& other) const noexcept { return m_record == other.m_record; }

    bool operator!=(const Concept& other) const noexcept { return m_record != other.m_record; }

    // Text order, so that a std::map or std::set of concepts is walked the same way in every run.
    bool operator<(const Concept& other) const noexcept {
        return m_record != other.m_record && zandrel::compare_text(view(), other.view()) < 0;
    }

    // Returns how many different texts have a record now. The empty text does not count.
    static std::size_t dictionary_size() noexcept;

    // Makes room in the dictionary for `more` further texts, so that adding them need not enlarge
    // its table step by step.
    // RAISES: std::bad_alloc, and nothing has changed.
    static void reserve(std::size_t more);

private:
    friend class Concept_dictionary;
    friend class zandrel::detail::Uncounted_concept;

    static constexpr std::uint32_t kForever = 0xFFFFFFFF;

    // The head of a record. The bytes of the text and a zero byte follow it in the same block.
    struct Record {
        std::uint32_t hash;
        std::uint32_t length;  // of the text, in bytes
        std::uint32_t count;   // handles of this record; kForever: not counted, never removed

        const char* bytes() const noexcept { return reinterpret_cast<const char*>(this + 1); }

        char* bytes() noexcept { return reinterpret_cast<char*>(this + 1); }

        std::string_view view() const noexcept { return {bytes(), length}; }
    };

    explicit Concept(Record* record) noexcept : m_record(record) {
        if (m_record->count != kForever) {
            ++m_record->count;
        }
    }

    // The record is the first member: programs that were compiled with an earlier version have the
    // address of `s_empty` as that of the record.
    struct Empty_record {
        Record record;
        char end;  // the empty text's zero byte
    };

    static Record* empty_record() noexcept { return &s_empty.record; }

    // Computes the hash value of a text.
    static std::uint32_t hash_of(std::string_view text) noexcept;

    // Removes a record without handles from the dictionary and frees it.
    static void remove_record(Record* record) noexcept;

    // Initialised at compile time and never destroyed, so that static objects of any file can use
    // it. Its handles are not counted.
    static Empty_record s_empty;

    Record* m_record;  // never null
};

// Hashes a concept by the value that is stored in its record.
struct ConceptHash {
    std::size_t operator()(const Concept& hashed) const noexcept { return hashed.hash(); }
};

#endif  // ZANDREL_FOUNDATION_CONCEPT_H_
