// zeStat_diet_learner: keeps a statistical model learning at a fixed size.
#ifndef ZANDREL_STATISTICS_ZESTAT_DIET_LEARNER_H_
#define ZANDREL_STATISTICS_ZESTAT_DIET_LEARNER_H_

#include <optional>
#include <set>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/statistics/zeStat_storage.h"

class zeManager;
class zeStat_matcher;

// Takes new labelled messages into a model. Before they are counted the old counts are scaled down,
// each category's to a limit that follows from its size: the smaller the limit, the faster new
// messages change the category. After counting, the concepts that the model no longer needs are
// deleted. A large batch is divided into sub-bulks, so that the model never grows far beyond its
// bounds between two deletions.
//
// It also takes a category's influence out of a model.
//
// Made on the stack for one job. It borrows the storage, the matcher, and the view while it learns.
//
// Errors: the assertions named below, and what the manager's interruption raises, between the steps
// of a bulk and inside them; the model then remains as it is at that moment.
// Threads: one at a time in the whole process. Besides the concepts, it reads process-wide state.
class ZANDREL_EXPORT zeStat_diet_learner {
public:
    // A candidate for deletion.
    struct Concept_info {
        Concept_info(zeStat_storage* storage, zeStat_storage::Ps::iterator candidate);

        // By weight, then by text.
        bool operator<(const Concept_info& other) const noexcept {
            return m_weight < other.m_weight ||
                   (m_weight == other.m_weight && m_P->first < other.m_P->first);
        }

        zeStat_storage::Ps::iterator m_P;
        double m_weight;  // the entry's weight when it became a candidate

        static zeStat_storage* m_storage;  // of the candidate made last
    };

    explicit zeStat_diet_learner(zeStat_storage& storage);
    zeStat_diet_learner(const zeStat_diet_learner&) = delete;
    zeStat_diet_learner& operator=(const zeStat_diet_learner&) = delete;
    virtual ~zeStat_diet_learner();

    // Learns the messages of the view, in as many sub-bulks as bound the growth of the model. The
    // first sub-bulk always runs, another one only if it has a message. `first` is true for the
    // first bulk of a run: old counts are scaled down only then. A message is skipped, as if it
    // were not in the view, if its weight, its bag's total or any entry of the bag is not finite.
    // COST: each sub-bulk that runs costs as much as training with its messages, and one feature
    // selection more.
    void learn(zeCorpus_view& view, bool first);

    // Categories. None of the three functions changes the counts of other profiles. `clear_cat` and
    // `delete_cat` return false and change nothing for a category without a profile.

    // Takes the category's influence out of the totals and empties its profile. With
    // `remove_concepts`, also subtracts its weights from the table of all concepts.
    bool clear_cat(zeNode*& cat, bool remove_concepts);
    // Does the same, and then deletes the profile, which gives another profile its index.
    bool delete_cat(zeNode*& cat, bool remove_concepts);
    // Adds an empty profile and returns true. If the category has a profile already, empties it
    // without a change of the totals, and returns false.
    bool add_cat(zeNode*& cat);

    // The steps of `learn`. Within `learn`, they know the messages that it skips because of a
    // weight that is not finite. A step that is called by itself counts such a message in the bulk.

    // Learns one bulk.
    void learn_bulk(zeCorpus_view& view, bool first);
    // Divides the messages over `count` views, each category evenly. Messages that `learn`
    // skips are at the front of the first view.  REQUIRES: count > 0.
    void build_subcorpuses(zeCorpus_view& view, int count, std::vector<zeCorpus_view>& out);
    // Counts the bulk's messages of each profile. A category without a profile is left out, and so
    // is a message that `learn` skips.
    // REQUIRES: `m_view`.
    void build_num_msgs4profile();
    // Reduces the concepts' protection from deletion by the number of the bulk's messages. In a
    // first bulk it also cuts each profile to its limit, and scales the table of all concepts and
    // the totals by the share of their weight that all profiles together keep.
    // zeStat_diet_learner_scaling.cpp has an example. RAISES: the assertions "num_profiles -
    // num_junk_profiles", "geom_average" and "arithm_average". REQUIRES: `build_num_msgs4profile`.
    void prepare4training(bool first);
    // Returns the limit that a first bulk would cut each profile's weight to, by index. A profile
    // that weighs less is not cut. The list is empty if nothing was counted yet.
    // RAISES: the assertions of `prepare4training`.
    std::vector<double> limits() const;
    // Returns how many slices of the omit method a bulk needs. A bulk that is small in comparison
    // with its categories needs few. For example, with 10 slices and 20 new messages of a category
    // that weighs 100, ceil(20 * 10 / 100) = 2.
    // REQUIRES: `build_num_msgs4profile`.
    int get_num_slices_for_bulk();
    // Deletes concepts that the last selection did not keep: first those of small weight and
    // without protection, until the profile has MinPsSize concepts, then any others, until it has
    // MaxPsSize. Last, it deletes concepts that no profile has and whose rate is less than the rate
    // of a concept seen once. With `only_touched`, profiles without a message in the bulk do not
    // change.
    void eliminate_features(bool only_touched);
    // Deletes candidates, lightest first, until the profile has `limit` concepts.
    void delete_Ps(int& iprofile, std::vector<Concept_info>& candidates, int limit);
    // Takes a profile's part out of the totals and the table of all concepts. The caller then
    // clears or deletes the profile.
    void remove_influence_of_profile(int& iprofile, bool remove_concepts);
    void clear_profile(int& iprofile);

    zeCorpus_view* m_view = nullptr;      // BORROWS: the bulk
    zeStat_storage* m_storage;            // BORROWS
    zeManager* m_manager;                 // the storage's, for interruption; may be null
    zeStat_matcher* m_matcher = nullptr;  // BORROWS: passed on to the trainer; may be null
    std::vector<int> m_num_msgs4profile;  // messages of the bulk for each profile

private:
    using Profile = zeStat_storage::Profile;

    // The numbers from which the limits of a first bulk follow.
    struct Sizes {
        bool all_junk = true;  // only categories of junk have a weight, so all categories count
        double sum = 0.0;      // message weights of the profiles that count
        int junk_count = 0;    // profiles that do not count
        double average = 0.0;  // size of a category whose limit is the average limit
    };

    static void init_optional_flags();

    void check_interrupt();
    long long estimate_concept_count(zeCorpus_view& view);
    int count_sub_bulks(zeCorpus_view& view);
    void train_bulk(zeCorpus_view& view);
    bool counts(const Profile& profile, bool all_junk) const;
    std::optional<Sizes> measure_sizes() const;  // empty if the sizes are 0: nothing is cut then
    double average_size(const Sizes& sizes) const;
    double limit_of(const Profile& profile, double average) const;
    double cut_to_limits(const Sizes& sizes);
    void cut_profile(Profile& profile, double limit);
    void scale_totals(double total_weight);
    void age(int iprofile);
    bool is_touched(int iprofile) const;
    double deletion_floor() const;
    void diet(int iprofile, int low, int high);
    void sweep_concepts(double total_sml_weight, double total_weight);

    // Numbers, in the corpus, of the messages of the batch that have a weight that is not finite.
    // Empty outside of `learn`.
    std::set<int> m_not_finite;
};

// If true, learning uses the geometric average of the categories' sizes instead of the arithmetic
// one. It is false at start. The first learner of a process sets it if the options map that was
// loaded last has "GeomAverage" as "1". A map that is loaded later changes nothing. Process-wide.
extern ZANDREL_EXPORT bool g_use_geom_average;

#endif  // ZANDREL_STATISTICS_ZESTAT_DIET_LEARNER_H_
