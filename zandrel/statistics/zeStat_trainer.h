// zeStat_trainer: turns labelled messages into a statistical model.
#ifndef ZANDREL_STATISTICS_ZESTAT_TRAINER_H_
#define ZANDREL_STATISTICS_ZESTAT_TRAINER_H_

#include <array>
#include <cstddef>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/Remembered_places.h"
#include "zandrel/statistics/zeStat_storage.h"

class zeManager;
class zeStat_matcher;

// Trains a model in two stages. Counting adds each concept of a message's clipped bag, as a share
// of the message's weight, to the table of all concepts and to the profile of each category of the
// message. Counting is reversible. Feature selection then compares, for each category, every
// concept's rate inside with its rate outside. It keeps the concepts with the greatest scores. With
// UseNormalization it scales their weights: a typical message of the category gets the value +1,
// and a typical other message -1.
//
// The likelihood pass measures how probable a category is at each score: messages are scored by
// models without them, and histograms of their scores become the likelihood tables. Bootstrap
// starts a model without labelled texts, from the keywords, titles and canned texts of messages.
//
// Made on the stack for one job. It borrows the storage, and the view while it trains.
//
// Errors: the exceptions of the manager's interruption, between messages and between profiles. The
// model then has counted a part of the messages, or has no selected weights. If a likelihood pass
// or a bootstrap is interrupted, the storage has the settings of the pass, and may lack the
// messages of a slice: the model is damaged and has to be trained again.
// Threads: one at a time in the whole process. Besides the concepts, the process shares `s_storage`
// and g_use_positive_method.
class ZANDREL_EXPORT zeStat_trainer {
public:
    using Concept_infos = zeStat_storage::Concept_infos;
    using Ps = zeStat_storage::Ps;

    // A concept as judged for one profile.
    struct Concept_profile {
        Concept m_concept;
        double m_weight = 0.0;  // logarithm of a ratio of rates, before normalisation
        double m_p_in = 0.0;    // rate inside the category
        double m_p_out = 0.0;   // rate outside
        double m_score = 0.0;   // m_weight * (m_p_in - m_p_out): features are chosen by it

        // By score, then by text.
        bool operator>(const Concept_profile& other) const noexcept {
            return m_score > other.m_score ||
                   (m_score == other.m_score && other.m_concept < m_concept);
        }
    };

    explicit zeStat_trainer(zeStat_storage& storage);
    zeStat_trainer(const zeStat_trainer&) = delete;
    zeStat_trainer& operator=(const zeStat_trainer&) = delete;
    virtual ~zeStat_trainer();

    // Counts all messages of the view, and updates the likelihood tables if the storage uses them
    // in training. With `remove`, takes the messages out again and leaves the tables unchanged. The
    // features are selected later, by zeStat_matcher::feed.
    void train(zeCorpus_view& view, bool remove);
    // Does the same for the messages of `m_msg_indices`.
    void calculate_profiles(bool remove);
    // Counts the keywords, the titles and the canned texts of the messages, each with the weight
    // that the storage has for that slot. Weights are not clipped, and no likelihood tables are
    // made; if the storage uses them, the histograms start again from zero and the tables do not
    // change. The counted concepts get a rate of at least 10, so that suppression does not weaken
    // them. Afterwards all messages have slot 0 active, slot 4 empty, and the weight of the first
    // message. An empty view changes nothing.
    void bootstrap(zeCorpus_view& view);

    // Counting.  REQUIRES: `m_view`, which `train` sets.

    // Counts the messages at these positions of the view, or takes them out again.
    void calculate_corpus(const std::vector<unsigned int>& indices, bool remove);
    // Counts one message, or takes it out again. A message without a bag or with an empty bag is
    // skipped. A message is also skipped, here and in the likelihood pass, if its weight, its bag's
    // total or any entry of the bag is not finite before clipping.
    // REQUIRES for `remove`: it was added with the same bag, weight and categories.
    void calculate_msg(int index, bool remove);

    // Likelihood.  REQUIRES: `m_view`, `m_msg_indices`, and a storage that uses likelihood in
    // training.

    // The whole pass. In the omit method with fewer than two slices the messages are counted here;
    // with more, messages with a weight that is not finite leave `m_msg_indices`.
    // COST: for each slice a feature selection; each message is matched, removed and added once.
    void calculate_likelihood();
    // Deals the messages to the slices, evenly by category. Skips a message if one of its
    // categories has no profile, or a profile with a weight of at most 1: without the message, that
    // category could be empty.
    // REQUIRES: at least one slice.
    void build_slices(std::vector<std::vector<unsigned int>>& slices);
    // Enters the scores of these messages in the histograms. `m_matcher` computes them if its table
    // is up to date, otherwise a temporary matcher.
    void match_msgs_for_likelihood(const std::vector<unsigned int>& indices);
    // Computes every profile's likelihood table from its histogram, which does not change.
    void calculate_likelihood_from_results();

    // Selection.

    // Fills every profile's list of weights.
    // COST: linear in the entries of all profiles, and a sort of the candidates from outside.
    void calculate_feature_selection();
    // Fills `m_concept_lists` or `m_all_concepts` with the concepts that may become features of
    // profiles that lack them. The best come first, as far as any profile can need them.
    void calculate_high_rate_concepts();
    // Selects the features of one profile and computes its additive term.
    void calculate_profile_M_and_rate(int& iprofile);
    // Judges a concept for a profile. An iterator at the end of its table means "missing there".
    Concept_profile calculate_concept_profile(zeStat_storage* storage, int& iprofile,
                                              Concept_infos::iterator& concept_info,
                                              Ps::iterator& P, const Concept& judged);
    // Offers a concept to the best so far. When these are as many as `capacity`, they become a heap
    // with the least on top. Returns true if the concept was taken. A score of 0 or NaN is refused.
    bool add2feature_selector(std::vector<Concept_profile>& selected, Concept_profile& offered,
                              int capacity);

    // Return true if `left` comes before `right` among the candidates: the greater value first, and
    // of equal values the greater text. They read `s_storage`.
    static bool compare_concept_infos(const Concept_infos::iterator& left,
                                      const Concept_infos::iterator& right);
    static bool compare_regular_concept_infos(const Concept_infos::iterator& left,
                                              const Concept_infos::iterator& right);
    static bool compare_zc_concept_infos(const Concept_infos::iterator& left,
                                         const Concept_infos::iterator& right);

    zeCorpus_view* m_view = nullptr;          // BORROWS: the corpus being trained
    zeStat_storage* m_storage;                // BORROWS
    zeManager* m_manager;                     // the storage's, for interruption; may be null
    zeStat_matcher* m_matcher = nullptr;      // BORROWS: a matcher on the same storage, or null
    std::vector<unsigned int> m_msg_indices;  // positions in the view: the training set
    bool m_model_is_matched = false;          // the table of `m_matcher` is up to date
    // Candidates from outside a profile: [0] has the regular concepts, [1] the rare ones. With
    // UseNewZC or the positive method, all candidates are in `m_all_concepts` instead.
    // VALID UNTIL: the next training or learning, which compacts the tables.
    std::array<std::vector<Concept_infos::iterator>, 2> m_concept_lists;
    std::vector<Concept_infos::iterator> m_all_concepts;

    // The confidence in a concept by its number of messages, from 0 to 10 in steps of 0.01.
    static std::array<double, 1001> F_C;
    static zeStat_storage* s_storage;  // the orders above read it; set when a selection begins

private:
    using Candidates = std::vector<Concept_infos::iterator>;

    // The share of one concept of a message.
    struct Share {
        const Concept* known;          // BORROWS: the concept in the bag
        double amount;                 // the concept's share of the message's weight
        Concept_infos::Position info;  // its position in the table of all concepts
    };

    // The numbers that are counted for a message: its weight, the total of its clipped bag, and the
    // shares of the entries with a weight above 0.
    struct Counted {
        double weight = 0.0;
        double total = 0.0;
        std::vector<Share> shares;
    };

    void check_interrupt();
    qtPtrLight<zeMsg> fetch(const zeCorpus_view::Msg& entry) const;
    void count(const zeCorpus_view::Msg& entry, const qtPtrLight<zeMsg>& msg, bool remove);
    bool collect_shares(const qtPtrLight<zeMsg>& msg, int index);
    template <class Table>
    void announce(const Table& table, std::size_t ishare) const;
    void add_to_totals();
    void remove_from_totals();
    void add_concepts();
    void remove_concepts();
    void add_to_profile(zeNode* const& node);
    void remove_from_profile(zeNode* const& node);

    void match_with_messages_left_out();
    bool can_be_left_out(const std::vector<zeNode*>& cats) const;

    void select_for_all_profiles();
    void clear_candidates();
    std::size_t most_candidates_needed() const;

    Counted m_counted;                            // the message that is being counted
    zandrel::detail::Remembered_places m_places;  // of the slice that is left out
};

// Fills the table of confidences: a tanh that rises from about 0 to 1, with 0.5 at 4 messages,
// rounded to four places. With the table, no tanh is computed for each concept.
ZANDREL_EXPORT void initialize_F_C(double* table);

namespace zandrel {

// Returns the factor of a concept's weight, 0..1: small if few messages have the concept, and 1
// without suppression. In a model with fewer messages than SuppressMThreshold, suppression is
// weaker.
// REQUIRES: a trainer was made in this process before, which fills the table of confidences.
ZANDREL_EXPORT double suppression_factor(const zeStat_storage& storage,
                                         zeStat_storage::Concept_infos::const_iterator info);

}  // namespace zandrel

// Switches the positive method on if the options map that was loaded last has "PositiveMethod" as
// "1". No map switches it off. The first trainer of a process calls it. Only the first call has an
// effect, so a map that is loaded later changes nothing.
ZANDREL_EXPORT void init_optional_flags();

// If true, concepts are weighed by the positive method instead of the usual one. False at start.
// Process-wide; every feature selection reads it.
extern ZANDREL_EXPORT bool g_use_positive_method;

#endif  // ZANDREL_STATISTICS_ZESTAT_TRAINER_H_
