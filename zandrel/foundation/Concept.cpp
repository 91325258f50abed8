#include "zandrel/foundation/Concept.h"

#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

constinit Concept::Empty_record Concept::s_empty = {{0, 0, 1, nullptr}, '\0'};

// All records but the empty text's, in buckets of chains. The number of buckets is a power of two
// and grows with the number of records.
class Concept_dictionary {
public:
    static Concept_dictionary& instance() {
        // Never destroyed: handles in static objects outlive every other order of destruction.
        static Concept_dictionary* const dictionary = new Concept_dictionary;
        return *dictionary;
    }

    Concept find_or_add(std::string_view text) {
        const std::uint32_t hash = hash_text(text);
        for (Concept::Record* record = bucket(hash); record != nullptr; record = record->next) {
            if (record->hash == hash && text == std::string_view(record->bytes(), record->length)) {
                return Concept(record);
            }
        }
        return Concept(add(text, hash));
    }

    void remove(Concept::Record* record) noexcept {
        Concept::Record** link = &bucket(record->hash);
        while (*link != record) {
            link = &(*link)->next;
        }
        *link = record->next;
        --m_record_count;
        ::operator delete(record);
    }

    std::size_t record_count() const noexcept { return m_record_count; }

private:
    static constexpr std::size_t kFirstBucketCount = 1024;

    // FNV-1a with a last mix (the finaliser of MurmurHash3): the low bits choose the bucket.
    static std::uint32_t hash_text(std::string_view text) noexcept {
        std::uint32_t hash = 2166136261U;
        for (const char byte : text) {
            hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
        }
        hash = (hash ^ (hash >> 16)) * 0x85ebca6bU;
        hash = (hash ^ (hash >> 13)) * 0xc2b2ae35U;
        return hash ^ (hash >> 16);
    }

    Concept::Record*& bucket(std::uint32_t hash) noexcept {
        return m_buckets[hash & (m_buckets.size() - 1)];
    }

    Concept::Record* add(std::string_view text, std::uint32_t hash) {
        if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
            throw std::length_error("Concept: text of 4 GiB or more");
        }
        if (m_record_count == m_buckets.size()) {
            grow();
        }
        void* const block = ::operator new(sizeof(Concept::Record) + text.size() + 1);
        auto* const record = new (block)
            Concept::Record{hash, static_cast<std::uint32_t>(text.size()), 0, bucket(hash)};
        std::memcpy(record->bytes(), text.data(), text.size());
        record->bytes()[text.size()] = '\0';
        bucket(hash) = record;
        ++m_record_count;
        return record;
    }

    void grow() {
        std::vector<Concept::Record*> old(m_buckets.size() * 2, nullptr);
        old.swap(m_buckets);
        for (Concept::Record* chain : old) {
            while (chain != nullptr) {
                Concept::Record* const record = chain;
                chain = record->next;
                record->next = bucket(record->hash);
                bucket(record->hash) = record;
            }
        }
    }

    std::vector<Concept::Record*> m_buckets = std::vector<Concept::Record*>(kFirstBucketCount);
    std::size_t m_record_count = 0;
};

Concept Concept::insert_view(std::string_view text) {
    return text.empty() ? Concept() : Concept_dictionary::instance().find_or_add(text);
}

void Concept::remove_record(Record* record) noexcept {
    Concept_dictionary::instance().remove(record);
}

std::size_t Concept::dictionary_size() noexcept {
    return Concept_dictionary::instance().record_count();
}
