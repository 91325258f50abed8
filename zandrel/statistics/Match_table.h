// Match_table: finds the profiles of which a concept is a feature.
#ifndef ZANDREL_STATISTICS_MATCH_TABLE_H_
#define ZANDREL_STATISTICS_MATCH_TABLE_H_

#include <cstddef>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/concept_map.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel::detail {

// A sparse matrix of weights with a row for each concept. The pairs of a row are neighbours in
// memory. In a table that `compile` has made, they are in the order of the profiles' indices.
//
// It can be read like a map from concepts to `Pairs`. Only `compile` and `add` add rows.
//
// Errors: std::bad_alloc.
// Threads: one at a time in the whole process, since the table shares its concepts with all others.
class ZANDREL_EXPORT Match_table {
public:
    // One element of the matrix.
    struct Concept_weight {
        float m_weight;
        int m_iprofile;
    };

    // One row.  VALID UNTIL: its concept is added again, or the table is cleared or destroyed.
    class Pairs {
    public:
        const Concept_weight* begin() const noexcept { return m_first; }

        const Concept_weight* end() const noexcept { return m_first + m_count; }

        std::size_t size() const noexcept { return m_count; }

        const Concept_weight& operator[](std::size_t index) const { return m_first[index]; }

    private:
        friend class Match_table;

        Concept_weight* m_first = nullptr;
        std::size_t m_count = 0;
    };

    using Rows = concept_map<Pairs>;
    using const_iterator = typename Rows::const_iterator;

    // The value of `profile_end` if the greatest index of a profile is not known.
    static constexpr int kUnknown = std::numeric_limits<int>::max();

    Match_table() = default;
    ~Match_table() = default;

    Match_table(const Match_table&) = delete;
    Match_table& operator=(const Match_table&) = delete;

    // Replaces the table by the profiles' lists of weights, which do not change. An error leaves an
    // empty table.
    // COST: two passes over the weights, with one look-up for each concept, or for each weight if
    // the positions of infos are not known.
    void compile(const std::vector<std::unique_ptr<zeStat_storage::Profile>>& profiles);

    // Gives a concept a row of `count` pairs, which the caller fills. It replaces an older row.
    std::span<Concept_weight> add(const Concept& added, std::size_t count);

    void clear() noexcept;

    // Makes room for `count` rows.
    void reserve(std::size_t count) { m_rows.reserve(count); }

    // The index of every pair's profile is at least 0 and below this. It is `kUnknown` after `add`.
    int profile_end() const noexcept { return m_profile_end; }

    // REQUIRES: the index of every pair's profile is at least 0 and below `end`.
    void set_profile_end(int end) noexcept { m_profile_end = end; }

    std::size_t size() const noexcept { return m_rows.size(); }

    bool empty() const noexcept { return m_rows.empty(); }

    const_iterator find(const Concept& wanted) const { return m_rows.find(wanted); }

    // The row of a concept, or null.
    const Pairs* row(const Concept& wanted) const {
        const const_iterator found = find(wanted);
        return found == end() ? nullptr : &found->second;
    }

    std::size_t count(const Concept& wanted) const { return find(wanted) == end() ? 0 : 1; }

    // RAISES: std::out_of_range.
    const Pairs& at(const Concept& wanted) const { return m_rows.at(wanted); }

    const_iterator begin() const { return m_rows.begin(); }

    const_iterator end() const { return m_rows.end(); }

    // The rows as a map, for callers that need positions or sort the rows by their texts.
    const Rows& rows() const noexcept { return m_rows; }

private:
    void count_and_fill(const std::vector<std::unique_ptr<zeStat_storage::Profile>>& profiles);
    void fill(const std::vector<std::unique_ptr<zeStat_storage::Profile>>& profiles,
              const std::vector<Pairs*>& row_of);
    void make_room(std::size_t count);

    Rows m_rows{kInitialBuckets};
    std::vector<std::unique_ptr<Concept_weight[]>> m_blocks;
    std::span<Concept_weight> m_room;  // what is left of the last block
    std::size_t m_room_size = 0;       // of the last block
    int m_profile_end = 0;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_MATCH_TABLE_H_
