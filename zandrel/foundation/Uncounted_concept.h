// Uncounted_concept: concepts that are not in the dictionary.
// Not installed: the library's own.
#ifndef ZANDREL_FOUNDATION_UNCOUNTED_CONCEPT_H_
#define ZANDREL_FOUNDATION_UNCOUNTED_CONCEPT_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>

#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/process_assert.h"

namespace zandrel::detail {

// Makes records of concepts in memory of the caller. Their handles are not counted, so any thread
// may copy and destroy them, and the record lives as long as the caller wants. All handles of such
// a record must be destroyed before its memory is freed, since the destructor reads the record.
//
// Two records can have one text, for example one of the dictionary and one made here. They are
// different concepts, so only concepts of one maker may be compared. The empty text has one record
// for all.
//
// The block of a record is: a number, which the caller chooses; the record; its text; a zero byte.
// For example, "ball" with the number 7 takes 24 bytes: 4 for the number, 12 for the head of the
// record, 5 for the text and its end, and 3 of padding.
class Uncounted_concept {
public:
    // For records that need no number.
    static constexpr std::uint32_t kNoNumber = 0xFFFFFFFF;
    // The number of the empty text, whose record has no number in front.
    static constexpr std::uint32_t kEmptyNumber = 0xFFFFFFFE;

    static std::uint32_t hash_of(std::string_view text) noexcept { return Concept::hash_of(text); }

    // The size of the block of a text in bytes, a multiple of 4.
    static std::size_t size_of(std::string_view text) noexcept {
        constexpr std::size_t kAlignment = alignof(Concept::Record);
        const std::size_t size = kNumberSize + sizeof(Concept::Record) + text.size() + 1;
        return (size + kAlignment - 1) / kAlignment * kAlignment;
    }

    // Makes a record in the block `at`, which is aligned to 4 and has the size of the text.
    // REQUIRES: a text that is shorter than 4 GiB and not empty, and its hash.
    static Concept make(std::byte* at, std::string_view text, std::uint32_t hash,
                        std::uint32_t number) noexcept {
        std::memcpy(at, &number, kNumberSize);
        auto* const record = new (at + kNumberSize)
            Concept::Record{hash, static_cast<std::uint32_t>(text.size()), Concept::kForever};
        std::memcpy(record->bytes(), text.data(), text.size());
        record->bytes()[text.size()] = '\0';
        return Concept(record);
    }

    // The concept of a block in which `make` has made a record.
    static Concept at(std::byte* block) noexcept {
        return Concept(reinterpret_cast<Concept::Record*>(block + kNumberSize));
    }

    static std::string_view text_at(const std::byte* block) noexcept {
        return reinterpret_cast<const Concept::Record*>(block + kNumberSize)->view();
    }

    // The number with which a concept was made.
    // RAISES: the assertion "is_uncounted(word)" for a concept of the dictionary, which has none.
    static std::uint32_t number(const Concept& word) {
        ZANDREL_ASSERT(word.m_record->count == Concept::kForever, "is_uncounted(word)");
        if (word.empty()) {
            return kEmptyNumber;
        }
        std::uint32_t number = 0;
        std::memcpy(&number, reinterpret_cast<const std::byte*>(word.m_record) - kNumberSize,
                    kNumberSize);
        return number;
    }

private:
    static constexpr std::size_t kNumberSize = sizeof(std::uint32_t);
};

}  // namespace zandrel::detail

#endif  // ZANDREL_FOUNDATION_UNCOUNTED_CONCEPT_H_
