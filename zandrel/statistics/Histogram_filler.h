// Histogram_filler: enters the scores of messages in the histograms of all categories.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_HISTOGRAM_FILLER_H_
#define ZANDREL_STATISTICS_HISTOGRAM_FILLER_H_

#include <array>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/statistics/Match_scorer.h"
#include "zandrel/statistics/Match_table.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel::detail {

class Clipped_bag;

}  // namespace zandrel::detail
class zeMsg;
class zeStat_matcher;

namespace zandrel::detail {

// Fills the histograms from messages that are all scored by the same state of a model. Each message
// adds its weight to one bin of the histogram of each category. A profile takes no part if it has
// no messages, or all messages of the model. Its sum then remains in its accumulator.
//
// The histograms are complete when the filler is destroyed.
//
// REQUIRES: the model and its table do not change while the filler exists.
class Histogram_filler {
public:
    // BORROWS the matcher.
    explicit Histogram_filler(zeStat_matcher& matcher) : m_matcher(matcher) {}

    Histogram_filler(const Histogram_filler&) = delete;
    Histogram_filler& operator=(const Histogram_filler&) = delete;
    ~Histogram_filler();

    // A message without a bag, or with a weight that is not finite, is left out.
    // RAISES: the exceptions of zeStat_storage::complete. The message that raised is not entered,
    // and the filler can then only be destroyed.
    void add(const zeMsg& msg, const zeCorpus_view::Msg& entry);

private:
    // The greatest number of messages whose bins are found before the first of them is entered.
    static constexpr std::size_t kBlockSize = 16;

    // A message of the block that belongs to a category.
    struct Relevant {
        std::size_t message;  // in the block
        std::size_t place;    // of the profile, in `m_active`
    };

    // A row of the table that has a weight for most profiles, with 0 for the others.
    struct Full_row {
        bool is_known = false;             // true after the first use of the row
        std::unique_ptr<float[]> weights;  // by profile, up to a whole chunk; may be null
    };

    void prepare();
    void collect_profiles();
    void take_accumulators();
    void add_sums(const Clipped_bag& bag);
    const float* full_row(Match_table::const_iterator row);
    std::unique_ptr<float[]> make_full_row(const Match_table::Pairs& row) const;
    void add_full_row(const float* weights, double entry_weight) noexcept;
    void find_bins(const Clipped_bag& bag, int* bins);
    void find_plain_bins(double total_weight, int* bins);
    void find_exact_bins(const Match_scorer& scorer, int* bins);
    void add_relevant(const std::vector<zeNode*>& nodes);
    void enter_block() noexcept;
    void enter_totals() noexcept;
    void enter_relevant() noexcept;

    const int* bins_of(std::size_t message) const { return m_bins.data() + message * m_row_size; }

    zeStat_matcher& m_matcher;
    bool m_is_prepared = false;
    int m_bin_count = 0;             // of each histogram
    bool m_scores_are_plain = true;  // they depend on sums only, and no table corrects them
    // The profiles that take part, and their additive terms. Both are filled up to whole chunks of
    // `kValuesAtOnce`: the further places have the index of a sum that is not used.
    std::vector<std::size_t> m_active;
    std::vector<double> m_additive_terms;
    std::size_t m_active_count = 0;
    std::vector<std::pair<const zeNode*, std::size_t>> m_place_of_node;  // in order
    std::vector<std::size_t> m_idle;  // the profiles that take no part
    // One sum for each profile. The sums of active profiles are 0 between messages; the others keep
    // growing.
    std::vector<double> m_sums;
    std::vector<Full_row> m_full_rows;  // by position in the table

    // The block.
    std::size_t m_message_count = 0;
    std::array<double, kBlockSize> m_weights = {};
    std::size_t m_row_size = 0;
    std::vector<int> m_bins;  // a row for each message, by place
    std::vector<Relevant> m_relevant;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_HISTOGRAM_FILLER_H_
