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

// Sits at a node whose children are categories. It owns no statistics: it points at a
// zeStat_storage and compiles the features selected there into a table from each concept to the
// profiles in which it counts, so scoring a message costs one look-up per concept of its bag and
// one pass over the profiles, however many categories there are.
//
// A category's raw score is the sum of weight times concept weight, scaled to the bag's total,
// shifted by the profile's additive term and squashed by an arctangent to between 0 and 1. Where
// likelihood tables exist the score becomes their estimate of the chance that a message with this
// score belongs to the category.
//
// The table is stale from the moment the storage changes until `feed` has run. A pair in a stale
// table whose profile is gone counts for nothing.
//
// Errors: qtX<zeStat_matcher>, texts in docs/errors.md, and what the manager's interruption raises.
// Threads: one at a time in the whole process. The steps of a score and `classify_concepts` write
// to the profiles' accumulators; classifying does so only where one is not 0. All count concepts.
class ZANDREL_EXPORT zeStat_matcher : public zeClassifier {
public:
    // One entry of the table.
    using Concept_weight = zandrel::detail::Match_table::Concept_weight;

    // One line of the explanation of a score.
    struct Concept_score {
        Concept m_concept;
        double m_score = 0.0;  // what the category would score if this concept were missing
    };

    // Points at the storage and compiles its table.
    // BORROWS: `node`, which may be null, and `storage`.
    zeStat_matcher(zeManager* manager, zeNode* node, zeStat_storage& storage, bool add_children);
    // Without an id, a storage and a table, to be read from a record before any use.
    zeStat_matcher();
    ~zeStat_matcher() override;

    unsigned int GetType() const override { return ZE_STAT; }

    // Writes the table, its concepts in the order of their texts, and the storage as an object of
    // its own.  REQUIRES: the manager has a zeIO.
    void Dump(Hio<HSegment>& io) const override;
    // Reads what follows the node, and the storage.
    // RAISES: what the stream and the storage raise; the assertion "m_storage" for an object that
    // is none; qtX<zeIO> 12 "Damaged item: " and a field (argument: the id) for a pair whose
    // profile is not in the model or whose weight is not finite.
    void Load(Hio<HSegment>& io);

    // Compiles the table from the profiles' lists of weights, which it empties. If no profile has
    // any, features are selected first. The children of `m_node` are unlinked and, if
    // `add_children` is true, those of the profiles become its children.
    void feed(zeStat_storage& storage, bool add_children);

    // Adds every category whose score `results` accepts. With `use_thresholds`, a category is left
    // out whose score times `node_score` lies below its node's threshold. A score starts with what
    // the profile's accumulator holds, which is reset if it is not 0.
    void classify(zeMsg& msg, zeResult_set& results, double node_score,
                  bool use_thresholds) override;

    // The same in two steps, for a caller that mostly needs the best category only.

    // The sums of one message, from which scores are made.
    struct Sums {
        std::vector<double> by_profile;
        double total_weight = 0.0;  // of the bag

        double of(int iprofile) const { return by_profile[static_cast<std::size_t>(iprofile)]; }
    };

    // Adds the weights of a bag up, and resets the accumulators.
    Sums sum_up(const zeSml& bag);
    // Adds every category, as `classify` does.
    // REQUIRES: sums of this matcher, which has not changed since.
    void add_answers(const Sums& sums, zeResult_set& results, double node_score,
                     bool use_thresholds) const;
    // Adds only the categories that may be the best, as `classify` does without thresholds. The
    // score of each other category is less than the best score by 1e-9 at least.
    // REQUIRES: likewise.
    void add_best_answers(const Sums& sums, zeResult_set& results) const;

    // Explains one category's score, which it returns: replaces `scores` by one line for each
    // concept of the message's bag, in the bag's order. Without a bag it returns 0 and leaves
    // `scores` alone. It starts with the profile's accumulator and resets it.
    // REQUIRES: a profile of the category, or the assertion "!m_storage->end(iprofile)" fires.
    double classify_concepts(zeMsg& msg, zeNode*& category, std::vector<Concept_score>& scores);
    void get_all_categories(std::vector<zeNode*>& cats) override;
    void global_replace(std::map<zeNode*, zeNode*>& replacement) override;

    // Training. All of it ends with a newly compiled table. An interruption leaves the table as it
    // was and the model half-way: see zeStat_trainer and zeStat_diet_learner.

    // Counts the messages of the view; they join those that the model holds.
    void train(zeCorpus_view& view);
    // Takes in new messages at a fixed size of the model. `first` is true for the first bulk of a
    // run, which makes room for it.
    void learn(zeCorpus_view& view, bool first);
    // Starts the model from keywords, titles and canned texts; see zeStat_trainer::bootstrap.
    void bootstrap(zeCorpus_view& view);

    // Categories. A table that is not compiled anew (`refeed`) is stale.

    // Gives the category an empty profile and makes it a child of the node.
    // RAISES: 0 "Category "%s" already exists." for one that has a profile (which is emptied all
    // the same) or is a child, and for a matcher without a node, after adding the profile.
    void add_cat(zeNode*& cat);
    // Forgets what the category has learned. With `remove_concepts` its concepts are taken out of
    // the table of all concepts too.
    // RAISES: 1 "Category "%s" does not exist.".
    void clear_cat(zeNode*& cat, bool refeed, bool remove_concepts);
    // Deletes the category's profile and unlinks it from the node.
    // RAISES: 1 "Deleted category "%s" does not exist." without a profile, and then nothing has
    // changed, or without that child or a node, when the profile is gone.
    void delete_cat(zeNode*& cat, bool refeed, bool remove_concepts);

    // What an edit needs, in terms of the operations above. `rebuild_table` is `feed`, which
    // selects the features of the remaining categories anew.
    bool has_rules() const override { return false; }

    std::size_t category_count() const override;
    bool knows(zeNode* category) const override;
    void add_category(zeNode* category, const qtString& rule) override;
    // RAISES: the assertion "sw".
    void change_category_rule(zeNode* category, const qtString& rule) override;
    void remove_category(zeNode* category, bool remove_concepts) override;
    // Deletes the profile. The table of all concepts keeps what the category brought to it.
    void drop_category(zeNode* category) override;
    void rebuild_table() override;

    // Histogram step of a likelihood pass: enters the message's raw score for every category that
    // takes part in that category's histogram, and in its relevant part if the view says that the
    // message counts there. A profile that is empty or covers the whole model takes no part, and
    // its accumulator keeps what it has until its next score.
    // REQUIRES: a storage that uses likelihood in training.
    void classify(zeMsg& msg, zeCorpus_view& view, const zeCorpus_view::const_iterator& entry);

    // The steps of a score.

    // Adds each concept's weighted weight to the accumulators of its profiles.
    void classify_sml(zeSml& sml);
    // The same for one profile.
    void classify_sml_with_profile(zeSml& sml, int& iprofile);
    // The score of a category, 0..1, from its accumulator, which it resets: each score can be
    // asked for once per fill. A score that is no number, such as the difference of two infinite
    // sums, counts as 0.
    double adjust_match_value(zeSml& sml, int& iprofile);
    // The score after correction by the profile's likelihood table, blended with the average of
    // all tables as long as the profile is young.
    double adjust_likelihood(double score, const int& iprofile);
    // Averages all profiles' likelihood tables, with a prior worth 30 messages which says that a
    // score is its own likelihood.
    void build_avg_likelihood();

    zeStat_storage* m_storage;  // BORROWS
    zandrel::detail::Match_table m_table;
    std::array<double, Zandrel::LIKELIHOOD_SIZE> m_avg_likelihood = {};

private:
    // Returns the sums that `classify_sml` would leave in the accumulators, and resets these.
    std::vector<double> take_sums(const zandrel::detail::Clipped_bag& bag);
    zandrel::detail::Match_scorer scorer_for(double total_weight) const;
    void build_rest_scores();
    const float* find_weight(const Concept& wanted, int iprofile) const;
    void select_if_needed(zeStat_storage& storage);
    void load_table(Hio<HSegment>& io);
    void require_sound_table() const;

    std::vector<zandrel::detail::Rest_score>
        m_rest_scores;  // by profile, as of the last `feed` or load
};

#endif  // ZANDREL_STATISTICS_ZESTAT_MATCHER_H_
