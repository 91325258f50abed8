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
// message; it is reversible. Feature selection then compares, for each category, every concept's
// rate inside with its rate outside, keeps those that tell most, and scales their weights so that
// a typical member of the category lands at +1 and a typical outsider at -1.
//
// The likelihood pass measures what a score is worth: messages are matched by models from which
// they have been left out, and histograms of their scores become the likelihood tables. Bootstrap
// starts a model without labelled texts, from the keywords, titles and canned texts of messages.
//
// Made on the stack for one job. It borrows the storage, and the view while it trains.
//
// Errors: what the manager's interruption raises, between messages and between profiles; the model
// then holds a partial count, or no selected weights at all. A likelihood pass or a bootstrap that
// is broken off leaves the storage with the settings of the pass and may lack the messages of a
// slice: the model is damaged and has to be trained anew.
// Threads: one at a time in the whole process. Besides the concepts, the orders below read
// process-wide state.
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

    // Counts all messages of the view and, where the storage asks for likelihood tables, brings
    // these up to date. Selection follows when a matcher is fed.
    void train(zeCorpus_view& view, bool remove);
    // The same for the messages of `m_msg_indices`, or takes them out again, which leaves the
    // tables alone.
    void calculate_profiles(bool remove);
    // Counts the keywords, the titles and the canned texts of the messages, each with the weight
    // that the storage has for that slot, in full and without likelihood tables; where the storage
    // asks for these, the histograms start again from zero and the tables stay. Concepts that were
    // met are trusted: suppression leaves them alone.
    // All messages end with slot 0 active, slot 4 empty, and the weight of the first message. An
    // empty view changes nothing.
    void bootstrap(zeCorpus_view& view);

    // Counting.  REQUIRES: `m_view`, which `train` sets.

    // Counts the messages at these positions of the view, or takes them out again.
    void calculate_corpus(const std::vector<unsigned int>& indices, bool remove);
    // Counts one message, or takes it out again. A message without a bag or with an empty one
    // counts for nothing. A message is skipped as well, here and in the likelihood pass, if its
    // weight, its bag's total or any entry of the bag is not finite before clipping.
    // REQUIRES for `remove`: it was added with the same bag, weight and categories.
    void calculate_msg(int index, bool remove);

    // Likelihood.  REQUIRES: `m_view`, `m_msg_indices`, and a storage that uses likelihood in
    // training.

    // The whole pass. In the omit method with fewer than two slices the messages are counted here;
    // with more, messages with a weight that is not finite leave `m_msg_indices`.
    // COST: a feature selection for each slice, and to match, remove and add every message once.
    void calculate_likelihood();
    // Deals the training set to as many slices as there are, by category. A message is left aside
    // if one of its categories has no profile, or none with a weight above 1: the category could be
    // empty without it.
    // REQUIRES: a slice.
    void build_slices(std::vector<std::vector<unsigned int>>& slices);
    // Enters the scores of these messages in the histograms, by `m_matcher` if it stands for the
    // model as it is, otherwise by a matcher made for it.
    void match_msgs_for_likelihood(const std::vector<unsigned int>& indices);
    // Turns every profile's histogram, which stays, into its likelihood table.
    void calculate_likelihood_from_results();

    // Selection.

    // Fills every profile's list of weights.
    // COST: linear in the entries of all profiles, and a sort of the candidates from outside.
    void calculate_feature_selection();
    // Orders the concepts that profiles without them may choose.
    void calculate_high_rate_concepts();
    // Selects the features of one profile and computes its additive term.
    void calculate_profile_M_and_rate(int& iprofile);
    // Judges a concept for a profile. An iterator at the end of its table means "missing there".
    Concept_profile calculate_concept_profile(zeStat_storage* storage, int& iprofile,
                                              Concept_infos::iterator& concept_info,
                                              Ps::iterator& P, const Concept& judged);
    // Offers a concept to the best `capacity` so far, a heap with the least on top once it is
    // full; true if it was taken. A score of 0 or one that is not a number is refused.
    bool add2feature_selector(std::vector<Concept_profile>& selected, Concept_profile& offered,
                              int capacity);

    // Whether `left` goes before `right` among the candidates; all descending, ties by descending
    // text. They read `s_storage`.
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
    bool m_model_is_matched = false;          // `m_matcher` may be used as it is
    // Candidates from outside a profile: [0] regular concepts, [1] rare ones; or all in one list.
    // VALID UNTIL: the next training or learning, which compacts the tables.
    std::array<std::vector<Concept_infos::iterator>, 2> m_concept_lists;
    std::vector<Concept_infos::iterator> m_all_concepts;

    // Confidence in a concept by the number of messages that hold it, in steps of 0.01 up to 10.
    static std::array<double, 1001> F_C;
    static zeStat_storage* s_storage;  // what the orders above read; set just before each sort

private:
    using Candidates = std::vector<Concept_infos::iterator>;

    // What a concept of a message brings to the model.
    struct Share {
        const Concept* known;          // BORROWS: the bag's
        double amount;                 // the concept's share of the message's weight
        Concept_infos::Position info;  // its position in the table of all concepts
    };

    // What counting a message takes: its weight, the total of its clipped bag, and the shares of
    // the entries with a weight above 0.
    struct Counted {
        double weight = 0.0;
        double total = 0.0;
        std::vector<Share> shares;
    };

    void check_interrupt();
    qtPtrLight<zeMsg> fetch(const zeCorpus_view::Msg& entry) const;
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

// Fills the table of confidences: a tanh from about 0 to 1 with its middle at a rate of 4, rounded
// to four places. It spares a tanh for each concept.
ZANDREL_EXPORT void initialize_F_C(double* table);

namespace zandrel {

// How far a concept's weight counts, 0..1: little if few messages hold it, 1 without suppression.
// In a young model suppression fades out.
// REQUIRES: a trainer was made in this process before, which fills the table of confidences.
ZANDREL_EXPORT double suppression_factor(const zeStat_storage& storage,
                                         zeStat_storage::Concept_infos::const_iterator info);

}  // namespace zandrel

// Switches the positive method on if the options map loaded last has "PositiveMethod" as "1"; no
// map switches it off. The first trainer of a process calls it; it looks once, so a map loaded
// later changes nothing.
ZANDREL_EXPORT void init_optional_flags();

// Weigh concepts by the positive method instead of the usual one; false at start. Process-wide,
// read by every feature selection.
extern ZANDREL_EXPORT bool g_use_positive_method;

#endif  // ZANDREL_STATISTICS_ZESTAT_TRAINER_H_
