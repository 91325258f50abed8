// Which messages an archive gives to training and which it deletes, and the weights of a training
// set.
//
// A rare category keeps its reserved messages while those of frequent categories are deleted, so
// it has a larger share in the archive than in the stream of arrivals. Two estimates follow the
// stream, and each arrival updates them for every category:
//
//   d = 2^(-1/s)                    s = cat_minimal_size x number of categories, at least 100
//   apriori    = d x apriori + (1 - d) if the message has the category, else d x apriori
//   recursion1 = 0.85 x recursion1 + 0.15 if it has the category, else recursion1 + 0.15
//
// So `apriori` is a share that forgets half of its past in s arrivals. `recursion1` settles where
// growth and shrinking are equal: at the mean number of arrivals per message of the category.
//
// The weight of a category is its share in the stream divided by its share in the archive. For
// example, a category with 20 of 100 messages in the archive of which every 50th arrival is one has
// the weight (1/50) / (20/100) = 0.1.
//
// The age weights of the c messages of a category form a geometric row with the sum c: each is
// r = A^(1/c) times the one before, and the first is (r - 1) x c / (A - 1). A further message would
// have A times the weight of the first. For example, with A = 4 and c = 2, r is 2 and the weights
// are 2/3 and 4/3.
#include "zandrel/archive/zeSmlArchive.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/messages/zeCorpus.h"

namespace {

const Trace_file s_trace_file("zeSmlArchive_selection.cpp");

constexpr double kStep = 0.15;               // of `recursion1` at each arrival
constexpr double kKept = 1.0 - kStep;        // of `recursion1` at an arrival of the category
constexpr float kShortestHalfLife = 100.0F;  // in arrivals

// The age weights of one category.
struct AgeInfo {
    double ratio = 1.0;        // from one message of the category to the next
    double next_weight = 1.0;  // of the category's next message, from its oldest on
};

using Age_infos = hash_map<Concept, AgeInfo, ConceptHash>;

AgeInfo AgeInfoOf(const CatData& cd, double age_ratio) {
    const double count = cd.category_counter;
    const double ratio = 1.0 / std::pow(age_ratio, -1.0 / count);
    return {ratio, (ratio - 1.0) * count / (age_ratio - 1.0)};
}

// Empty if there is no age weighting.
Age_infos AgeInfosOf(const SmlArchiveManager& summary) {
    Age_infos ages;
    const auto age_ratio = static_cast<float>(summary.age_ratio);
    if (!(age_ratio > 1.0F)) {
        return ages;
    }
    for (const auto& entry : summary.category_info) {
        ZANDREL_ASSERT(entry.second.category_counter != 0, "cd.category_counter");
        ages[entry.first] = AgeInfoOf(entry.second, static_cast<double>(age_ratio));
    }
    return ages;
}

// The mean weight of the message's categories that have one, or 1.
double MeanWeight(const zeMsg& msg, const std::map<Concept, double>& weights) {
    double sum = 0.0;
    unsigned int count = 0;
    for (const Concept& category : msg.categories) {
        const auto found = weights.find(category);
        if (found != weights.end()) {
            sum += found->second;
            ++count;
        }
    }
    return count == 0 ? 1.0 : sum / count;
}

// The geometric mean of the message's age weights, or 1. Moves its categories to their next weight.
double TakeAgeWeight(const zeMsg& msg, Age_infos& ages) {
    double product = 1.0;
    for (const Concept& category : msg.categories) {
        const auto found = ages.find(category);
        if (found != ages.end()) {
            product *= found->second.next_weight;
            found->second.next_weight *= found->second.ratio;
        }
    }
    return ages.empty() || msg.categories.empty()
               ? 1.0
               : std::pow(product, 1.0 / static_cast<double>(msg.categories.size()));
}

}  // namespace

void zeSmlArchive::GetLearningListByNewSmls(std::vector<unsigned int>& list) const {
    list.clear();
    auto first = m_manager.sml_dates.begin();
    const auto learned = m_manager.sml_dates.find(m_manager.last_learned_sml);
    if (m_manager.last_learned_sml != 0 && learned != m_manager.sml_dates.end()) {
        first = std::next(learned);
    }
    for (; first != m_manager.sml_dates.end(); ++first) {
        list.push_back(first->first);
    }
}

template <class Iterator>
void zeSmlArchive::AppendFree(Iterator first, Iterator last,
                              std::vector<unsigned int>& list) const {
    for (; first != last; ++first) {
        if (!IsReserved(first->first)) {
            list.push_back(first->first);
        }
    }
}

std::uint64_t zeSmlArchive::MinimalSize() const {
    return std::uint64_t{m_manager.cat_minimal_size} * m_manager.category_info.size();
}

void zeSmlArchive::ListForTraining(std::uint64_t count, std::vector<unsigned int>& list) const {
    list = zandrel::detail::NumbersInOrder(m_manager.locked_smls);
    const auto newest = m_manager.sml_dates.rbegin();
    const std::uint64_t walked = std::min<std::uint64_t>(count, m_manager.sml_dates.size());
    AppendFree(newest, std::next(newest, static_cast<std::ptrdiff_t>(walked)), list);
}

void zeSmlArchive::ListForDeletion(std::uint64_t kept, std::vector<unsigned int>& list) const {
    list.clear();
    const auto newest = m_manager.sml_dates.rbegin();
    const std::uint64_t passed = std::min<std::uint64_t>(kept, m_manager.sml_dates.size());
    AppendFree(std::next(newest, static_cast<std::ptrdiff_t>(passed)), m_manager.sml_dates.rend(),
               list);
}

void zeSmlArchive::GetTrainingListByCount(unsigned int count,
                                          std::vector<unsigned int>& list) const {
    ListForTraining(count, list);
}

void zeSmlArchive::GetTrainingListByDate(qtTimeDate date, std::vector<unsigned int>& list) const {
    list = zandrel::detail::NumbersInOrder(m_manager.locked_smls);
    const auto newest = m_manager.sml_dates.rbegin();
    const auto end = std::find_if(newest, m_manager.sml_dates.rend(),
                                  [date](const auto& entry) { return entry.second < date; });
    AppendFree(newest, end, list);
}

void zeSmlArchive::GetTrainingListByMinimalSize(std::vector<unsigned int>& list) const {
    ListForTraining(MinimalSize(), list);
}

void zeSmlArchive::GetDeleteListByCount(unsigned int count, std::vector<unsigned int>& list) const {
    list.clear();
    const auto oldest = m_manager.sml_dates.begin();
    const std::uint64_t walked = std::min<std::uint64_t>(count, m_manager.sml_dates.size());
    AppendFree(oldest, std::next(oldest, static_cast<std::ptrdiff_t>(walked)), list);
}

void zeSmlArchive::GetDeleteListByDate(qtTimeDate date, std::vector<unsigned int>& list) const {
    list.clear();
    const auto oldest = m_manager.sml_dates.begin();
    const auto end = std::find_if(oldest, m_manager.sml_dates.end(),
                                  [date](const auto& entry) { return !(entry.second < date); });
    AppendFree(oldest, end, list);
}

void zeSmlArchive::GetDeleteListByKeepingNew(unsigned int count,
                                             std::vector<unsigned int>& list) const {
    ListForDeletion(count, list);
}

void zeSmlArchive::GetDeleteListByMinimalSize(std::vector<unsigned int>& list) const {
    ListForDeletion(MinimalSize(), list);
}

void zeSmlArchive::UpdateApriori(const std::set<Concept>& categories) {
    UpdateEstimates(categories);
    m_manager.modified = true;
}

// Does not set the modified flag: if AddSml cannot write the message, the flag must not change.
void zeSmlArchive::UpdateEstimates(const std::set<Concept>& categories) {
    const float half_life = std::max(static_cast<float>(MinimalSize()), kShortestHalfLife);
    const double d = std::pow(2.0, -1.0 / static_cast<double>(half_life));
    for (auto& entry : m_manager.category_info) {
        CatData& cd = entry.second;
        if (categories.contains(entry.first)) {
            cd.apriori = (1.0 - d) + d * cd.apriori;
            cd.recursion1 = kKept * cd.recursion1 + kStep;
        } else {
            cd.apriori = d * cd.apriori;
            cd.recursion1 = cd.recursion1 + kStep;
        }
    }
}

void zeSmlArchive::SetInitialApriori() {
    if (m_manager.sml_dates.empty()) {
        return;  // Shares of no messages are infinite, and such a summary cannot be opened.
    }
    const auto total = static_cast<double>(m_manager.sml_dates.size());
    for (auto& entry : m_manager.category_info) {
        CatData& cd = entry.second;
        ZANDREL_ASSERT(cd.category_counter != 0, "cd.category_counter");
        cd.apriori = cd.category_counter / total;
        cd.recursion1 = total / cd.category_counter;
        m_manager.modified = true;
    }
}

void zeSmlArchive::GetAprioriWithAdjustment(std::map<Concept, double>& weights, bool use_apriori) {
    const auto total = static_cast<double>(m_manager.sml_dates.size());
    for (const auto* const entry : zandrel::detail::CategoriesInOrder(m_manager.category_info)) {
        CatData& cd = *FindCategory(entry->first);
        ZANDREL_ASSERT(cd.category_counter != 0, "cd.category_counter");
        if (cd.recursion1 == 0.0) {  // exactly 0: never estimated
            tracef(s_trace_file, zandrel::kTraceWarning,
                   "Found recursion1 parameter 0 in category %s", entry->first.text().c_str());
            cd.recursion1 = FirstRecursion();
            m_manager.modified = true;
        }
        const double share = use_apriori ? cd.apriori : 1.0 / cd.recursion1;
        weights[entry->first] = share / (cd.category_counter / total);
    }
}

void zeSmlArchive::GetCategoryWeightsByNSlide(std::map<Concept, double>& weights, double n) const {
    for (const auto& entry : m_manager.category_info) {
        const CatData& cd = entry.second;
        double weight = 1.0;
        if (cd.category_counter <= m_manager.cat_reserved_size && !cd.reserved.empty()) {
            const double age = m_manager.next_sml_id - cd.reserved.front();
            if (age > n) {
                weight = n / age;
            }
        }
        weights[entry.first] = weight;
    }
}

std::map<Concept, double> zeSmlArchive::CategoryWeights(Algorithm algorithm,
                                                        std::size_t list_size) {
    std::map<Concept, double> weights;
    switch (algorithm) {
        case kNoWeights:
            break;
        case kApriori:
            GetAprioriWithAdjustment(weights, true);
            break;
        case kSlide:
            GetCategoryWeightsByNSlide(weights, static_cast<double>(list_size));
            break;
        case kRecursion:
            GetAprioriWithAdjustment(weights, false);
            break;
        default:
            throw qtX<zeSmlArchive>(5, "Invalid weight algorithm");
    }
    return weights;
}

void zeSmlArchive::MakeTrainingCorpus(std::vector<unsigned int>& list, zeCorpus& corpus,
                                      Algorithm algorithm) {
    if (list.empty()) {
        return;
    }
    const std::map<Concept, double> weights = CategoryWeights(algorithm, list.size());
    std::sort(list.begin(), list.end());
    Age_infos ages = AgeInfosOf(m_manager);
    for (const unsigned int number : list) {
        qtPtrLight<zeMsg> msg = StoredSml(number);
        const double weight = MeanWeight(*msg, weights) * TakeAgeWeight(*msg, ages);
        if (msg->weight != weight) {
            msg->weight = weight;
            msg->changed = true;
        }
        corpus.add_msg(msg);
    }
}

qtPtrLight<zeMsg> zeSmlArchive::StoredSml(unsigned int number) {
    qtPtrLight<zeMsg> msg(new zeMsg);
    ReadSml(number, *msg, true);
    return msg;
}
