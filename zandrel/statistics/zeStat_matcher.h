// zeStat_matcher: the statistical classifier.
#ifndef ZANDREL_STATISTICS_ZESTAT_MATCHER_H_
#define ZANDREL_STATISTICS_ZESTAT_MATCHER_H_

#include <array>
#include <cstddef>
#include <map>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/statistics/Match_table.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel::detail {

class Clipped_bag;

}  // namespace zandrel::detail
class zeMsg;
class zeSml;

namespace zandrel::detail {
class Match_scorer;
struct Rest_score;
}  // namespace zandrel::detail

// The classifier of a node whose children are categories. It owns no statistics: it points at a
// zeStat_storage, and compiles the features that were selected there into a table from each concept
// to the profiles that have it as a feature. So scoring a message costs one look-up for each
// concept of its bag and one pass over the profiles.
//
// For a category's raw score, the weights of the features in the bag are summed and divided by the
// bag's total, and the profile's additive term is added. An arc tangent maps the result to 0..1.
// Likelihood tables then correct it: they estimate the probability that a message with this score
// belongs to the category. `adjust_match_value` in zeStat_matcher.cpp has an example.
//
// The table is stale from a change of the storage until the next `feed`. Pairs of a stale table
// whose profile was deleted are ignored.
//
// Errors: qtX<zeStat_matcher>, texts in docs/errors.md, and the exceptions of the manager's
// interruption.
// Threads: one at a time in the whole process. The steps of a score and `classify_concepts` write
// to the profiles' accumulators; classifying does so only where one is not 0. Explaining, training
// and loading copy concepts, which the whole process shares.
class ZANDREL_EXPORT zeStat_matcher : public zeClassifier {
public:
    // One entry of the table.
    using Concept_weight = zandrel::detail::Match_table::Concept_weight;

    // One line of an explanation of a score.
    struct Concept_score {
        Concept m_concept;
        double m_score = 0.0;  // the category's score if this concept were missing
    };

    // Points at the storage and compiles its table.
    // BORROWS: `node`, which may be null, and `storage`.
    zeStat_matcher(zeManager* manager, zeNode* node, zeStat_storage& storage, bool add_children);
    // A matcher without id, storage and table. `Load` has to read a record before any use.
    zeStat_matcher();
    ~zeStat_matcher() override;

    unsigned int GetType() const override { return ZE_STAT; }

    // Writes the table, its concepts in the order of their texts, and the storage as a separate
    // object.  REQUIRES: the manager has a zeIO.
    void Dump(Hio<HSegment>& io) const override;
    // Reads the rest of the record, after the node, which the caller has read. Then reads the
    // storage.
    // RAISES: the exceptions of the stream and of the storage; the assertion "m_storage" if the
    // object is not a storage; qtX<zeIO> 12 "Damaged item: " and a field (argument: the id) for a
    // pair whose profile is not in the model or whose weight is not finite.
    void Load(Hio<HSegment>& io);

    // Compiles the table from the profiles' lists of weights, which it empties. If no profile has
    // any, features are selected first. The children of `m_node` are unlinked. If `add_children` is
    // true, the nodes of the profiles become its children.
    void feed(zeStat_storage& storage, bool add_children);

    // Adds every category whose score `results` accepts. With `use_thresholds`, a category is left
    // out if its score times `node_score` is less than its node's threshold. Each sum starts with
    // the value of the profile's accumulator, which is reset if it is not 0.
    void classify(zeMsg& msg, zeResult_set& results, double node_score,
                  bool use_thresholds) override;

    // The work of `classify` in two steps, for a caller that mostly needs the best category only.

    // The sums of one message, from which scores are made.
    struct Sums {
        std::vector<double> by_profile;
        double total_weight = 0.0;  // of the bag

        double of(int iprofile) const { return by_profile[static_cast<std::size_t>(iprofile)]; }
    };

    // Sums the weights of a bag, and resets the accumulators.
    Sums sum_up(const zeSml& bag);
    // Adds every category, as `classify` does.
    // REQUIRES: sums of this matcher, and no change of the matcher or its storage since `sum_up`.
    void add_answers(const Sums& sums, zeResult_set& results, double node_score,
                     bool use_thresholds) const;
    // Adds categories as `classify` does without thresholds, but only those that may have the best
    // score. The score of a category that is left out for this reason is at least 1e-9 below the
    // best score.
    // REQUIRES: as `add_answers`, and likelihood tables with values from 0 to 1. Training makes
    // only such tables, and a model with other tables is refused when it is read.
    void add_best_answers(const Sums& sums, zeResult_set& results) const;
    // The same two steps. `uses_tables`: false: likelihood tables do not correct the scores,
    // whatever the settings.
    void add_answers(const Sums& sums, zeResult_set& results, double node_score,
                     bool use_thresholds, bool uses_tables) const;
    void add_best_answers(const Sums& sums, zeResult_set& results, bool uses_tables) const;

    // Explains one category's score, which it returns: replaces `scores` by one line for each
    // concept of the message's bag, in the bag's order. Without a bag it returns 0 and does not
    // change `scores`. The sum starts with the profile's accumulator, which is reset.
    // REQUIRES: a profile of the category, or the assertion "!m_storage->end(iprofile)" fires.
    double classify_concepts(zeMsg& msg, zeNode*& category, std::vector<Concept_score>& scores);
    // The same. `uses_tables`: false: likelihood tables do not correct the scores, whatever the
    // settings.
    double classify_concepts(zeMsg& msg, zeNode*& category, std::vector<Concept_score>& scores,
                             bool uses_tables);
    // The index of a category's profile.
    // RAISES: as `classify_concepts`.
    int profile_of(zeNode* category) const;
    // The scorer of these sums. Only the library itself has its header.
    // VALID UNTIL: the matcher or its storage changes.
    zandrel::detail::Match_scorer scorer_for(double total_weight, bool uses_tables = true) const;
    void get_all_categories(std::vector<zeNode*>& cats) override;
    void global_replace(std::map<zeNode*, zeNode*>& replacement) override;

    // Training. Each function compiles the table at its end. After an interruption the table is
    // unchanged, and the model is incomplete: see zeStat_trainer and zeStat_diet_learner.

    // Counts the messages of the view, in addition to the messages of the model.
    void train(zeCorpus_view& view);
    // Learns new messages without a growth of the model. `first` is true for the first bulk of a
    // run: it scales old counts down.
    void learn(zeCorpus_view& view, bool first);
    // Starts the model from keywords, titles and canned texts; see zeStat_trainer::bootstrap.
    void bootstrap(zeCorpus_view& view);

    // Categories. Without `refeed` the table is stale afterwards.

    // Gives the category an empty profile and makes it a child of the node.
    // RAISES: 0 "Category "%s" already exists." if the category has a profile, which is emptied all
    // the same, or if it is a child already, or if the matcher has no node. In the last two cases
    // the profile was added.
    void add_cat(zeNode*& cat);
    // Empties the category's profile. With `remove_concepts`, also subtracts its weights from the
    // table of all concepts.
    // RAISES: 1 "Category "%s" does not exist.".
    void clear_cat(zeNode*& cat, bool refeed, bool remove_concepts);
    // Deletes the category's profile and unlinks it from the node.
    // RAISES: 1 "Deleted category "%s" does not exist." if it has no profile, and then nothing has
    // changed; or if it is no child or the matcher has no node, and then the profile was deleted.
    void delete_cat(zeNode*& cat, bool refeed, bool remove_concepts);

    // `m_dirty` is for the table and the list of children, that of the storage for the statistics.
    bool is_changed() const noexcept override;
    void set_written() noexcept override;

    // The operations of an edit of the tree. They use the functions above. `rebuild_table` calls
    // `feed`, which selects the features of all categories again.
    bool has_rules() const override { return false; }

    std::size_t category_count() const override;
    bool knows(zeNode* category) const override;
    void add_category(zeNode* category, const qtString& rule) override;
    // RAISES: the assertion "sw".
    void change_category_rule(zeNode* category, const qtString& rule) override;
    void remove_category(zeNode* category, bool remove_concepts) override;
    // Deletes the profile. The table of all concepts keeps the weights that the category added to
    // it.
    void drop_category(zeNode* category) override;
    void rebuild_table() override;

    // The histogram step of a likelihood pass. Adds the message's weight to the histogram of each
    // category, at the bin of the message's raw score, and also to the relevant part if the message
    // belongs to the category. A profile without messages, or with all messages of the model, takes
    // no part: its accumulator keeps its sum until its next score.
    // REQUIRES: a storage that uses likelihood in training.
    void classify(zeMsg& msg, zeCorpus_view& view, const zeCorpus_view::const_iterator& entry);

    // The steps of a score.

    // Adds the product of both weights of each concept, in the bag and of the feature, to the
    // accumulators of the profiles.
    void classify_sml(zeSml& sml);
    // Does the same for one profile.
    void classify_sml_with_profile(zeSml& sml, int& iprofile);
    // Returns the score of a category, 0..1, from its accumulator, which it resets. So call it once
    // after each `classify_sml`. A score of NaN, as from the difference of two infinite sums,
    // becomes 0.
    double adjust_match_value(zeSml& sml, int& iprofile);
    // Returns the score after correction by the profile's likelihood table. The table of a young
    // profile is blended with the average of all tables.
    double adjust_likelihood(double score, const int& iprofile);
    // Averages all profiles' likelihood tables, weighted by their ages, with a prior that counts as
    // 30 messages and says that a score is its own likelihood.
    void build_avg_likelihood();

    zeStat_storage* m_storage;  // BORROWS
    zandrel::detail::Match_table m_table;
    std::array<double, Zandrel::LIKELIHOOD_SIZE> m_avg_likelihood = {};

private:
    // Returns the sums that `classify_sml` would leave in the accumulators, and resets these.
    std::vector<double> take_sums(const zandrel::detail::Clipped_bag& bag);
    double take_accumulator(int iprofile);
    void build_rest_scores();
    void select_if_needed(zeStat_storage& storage);
    void load_table(Hio<HSegment>& io);
    void require_sound_table() const;

    std::vector<zandrel::detail::Rest_score>
        m_rest_scores;  // by profile, as of the last `feed` or load
};

#endif  // ZANDREL_STATISTICS_ZESTAT_MATCHER_H_
