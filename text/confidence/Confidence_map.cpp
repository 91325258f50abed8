// From counts to a curve. Answers are counted in 96 cells of equal width of their index, from -4 to
// 8; the outer cells also have all answers beyond. The curve is made from the counts:
//
//   1. Join neighbouring cells into at most 16 groups, each with at least 1/16 of the answers.
//   2. To each group we add 20 assumed answers. Their share of right ones is the chance of the mean
//      index of the group, chance_of_index(mean index). The chance of the group is the share of
//      right ones among all its answers.
//   3. While a group has a lower chance than the group before it, join the two (pool adjacent
//      violators). So the chances are ascending.
//   4. The chance of the joined groups is the same from the mean index of the first one to that of
//      the last one. Between them the curve is a straight line. Before the first group it is the
//      logistic curve, shifted so that it meets the group. After the last group it is a logistic
//      curve with a quarter of the slope: labels of the data that are wrong are a ceiling for the
//      chance, which the index does not know.
//
// Example with three groups of 100 answers, and without the 20 answers of step 2:
//
//   mean index        -1.0   0.5   2.0
//   right              30    70    60
//   chance             0.30  0.70  0.60    the last two are in the wrong order
//   after step 3       0.30  0.65  0.65
//
// The index -0.25 is in the middle of the first two, so its chance is 0.475. The index 1 has the
// chance 0.65. The index 4 is 2 beyond the last one. The index of the chance 0.65 is 0.62, so the
// chance is that of 0.62 + 2 / 4 = 1.12: 0.75.
//
// The curve of few answers is mostly chance. So the confidence is the score plus a share of the
// difference between the curve and the score. The share grows with the evidence that the scores are
// wrong. To get it, we divide the groups into at most four parts, and add for each part
//
//   (right answers - sum of scores)^2 / (answers * m * (1 - m)),   m: mean score of the part
//
// If the scores are right, the sum is about 4. The share is 0 up to the sum 8, 0.9 from the sum 16,
// and linear between them. Examples with one part and the mean score 0.8:
//
//   answers   right    sum                          share
//       100      84    4^2 / (100 * 0.16) = 1       0      chance explains the difference
//       100      92    12^2 / (100 * 0.16) = 9      0.1125
//     1,000     920    120^2 / (1000 * 0.16) = 90   0.9
//
// The share is never more than 0.9: texts that come later differ a little from the texts whose
// answers were judged, and more of the answers to them are wrong. Scores are usually lower than the
// chance, and so they make the confidence a little more cautious. A mean of two non-decreasing
// functions is non-decreasing.
//
// Groups are made anew whenever the counts change. So they follow scores that grow in the course of
// learning, and the cells, which cannot move, are small.
#include "text/confidence/Confidence_map.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace zandrel {

namespace {

constexpr std::string_view kMapForm = "1";
constexpr double kFirstIndex = -4.0;  // where the first cell begins
constexpr double kCellWidth = 0.125;
constexpr double kIndexSteps = 1e6;  // an index is rounded to 0.000001 before it gets its cell

constexpr std::int64_t kThousandth = 1000;  // the unit of the counts
constexpr std::int64_t kMostAnswers = 6000 * kThousandth;
constexpr std::int64_t kKeptAnswers = 5000 * kThousandth;
// A greater number of answers is damage. So the sum with those of a bulk does not wrap.
constexpr std::uint64_t kMostEver = std::uint64_t{1} << 53U;

constexpr std::int64_t kGroups = 16;
constexpr double kAssumedAnswers = 20.0 * kThousandth;  // of step 2
constexpr double kSlopeAfterCurve = 0.25;
constexpr int kEvidenceParts = 4;
constexpr double kLeastEvidence = 8.0;   // below it the scores may be right
constexpr double kClearEvidence = 16.0;  // from it they are clearly wrong
constexpr double kLeastVariance = 0.25;  // of the right answers of a part, if all scores are 0 or 1
constexpr double kGreatestShare = 0.9;   // of the curve
constexpr double kConfidenceSteps = 10000.0;  // of a confidence from 0 to 1

// Neighbouring cells. All sums are in thousandths of an answer.
struct Cell_group {
    double right = 0.0;
    double all = 0.0;
    double index_sum = 0.0;
    double score_sum = 0.0;

    double index() const { return index_sum / all; }

    double chance() const { return right / all; }

    void join(const Cell_group& next) {
        right += next.right;
        all += next.all;
        index_sum += next.index_sum;
        score_sum += next.score_sum;
    }
};

// Groups that are joined since their chances are not ascending.
struct Pooled_groups {
    Cell_group sum;
    double first_index = 0.0;
    double last_index = 0.0;

    double chance() const { return sum.chance(); }
};

// Adds the answers of step 2.
void add_assumed(Cell_group& group) {
    const double index = group.index();
    group.right += kAssumedAnswers * chance_of_index(index);
    group.all += kAssumedAnswers;
    group.index_sum += kAssumedAnswers * index;
}

// Adds a group after groups whose chances are ascending, and joins groups so that they still are.
void add_pooled(const Cell_group& next, std::vector<Pooled_groups>& pools) {
    pools.push_back({next, next.index(), next.index()});
    while (pools.size() > 1 && pools[pools.size() - 2].chance() >= pools.back().chance()) {
        const Pooled_groups last = pools.back();
        pools.pop_back();
        pools.back().sum.join(last.sum);
        pools.back().last_index = last.last_index;
    }
}

// Joins the groups into at most kEvidenceParts parts. The middle answer of a group decides about
// its part.
std::vector<Cell_group> parts_of(const std::vector<Cell_group>& groups, double all) {
    std::vector<Cell_group> parts;
    double before = 0.0;
    int last_part = -1;
    for (const Cell_group& group : groups) {
        const int part = static_cast<int>((before + group.all / 2.0) * kEvidenceParts / all);
        if (part != last_part) {
            parts.emplace_back();
            last_part = part;
        }
        parts.back().join(group);
        before += group.all;
    }
    return parts;
}

// The sum over the parts of the first comment of this file.
double evidence_of(const std::vector<Cell_group>& parts) {
    constexpr double kUnit = kThousandth;
    double sum = 0.0;
    for (const Cell_group& part : parts) {
        const double mean = part.score_sum / part.all;
        const double difference = (part.right - part.score_sum) / kUnit;
        sum += difference * difference /
               std::max(part.all / kUnit * mean * (1.0 - mean), kLeastVariance);
    }
    return sum;
}

// Reads one number and the character after it, if there is one.
class Number_reader {
public:
    explicit Number_reader(std::string_view text) : m_rest(text) {}

    bool is_at_end() const { return m_rest.empty(); }

    template <class Number>
    bool read(Number& number, char separator) {
        const char* const end = m_rest.data() + m_rest.size();
        const auto [after, error] = std::from_chars(m_rest.data(), end, number);
        if (error != std::errc()) {
            return false;
        }
        m_rest.remove_prefix(static_cast<std::size_t>(after - m_rest.data()));
        if (m_rest.empty()) {
            return true;
        }
        const bool is_separated = m_rest.front() == separator;
        m_rest.remove_prefix(1);
        return is_separated;
    }

private:
    std::string_view m_rest;
};

bool is_weight(std::int64_t weight) {
    return weight >= -Answer_index::kGreatest && weight <= Answer_index::kGreatest;
}

}  // namespace

Confidence_map Confidence_map::fit(std::span<const Judged_answer> answers) {
    std::vector<Judged_answer> scored;
    for (const Judged_answer& answer : answers) {
        if (answer.scores.best > 0.0) {
            scored.push_back(answer);
        }
    }
    Confidence_map map;
    map.m_index = Answer_index::fit(scored);
    map.update(answers);
    return map;
}

double Confidence_map::of(const Top_scores& scores) const {
    if (!(scores.best > 0.0)) {
        return 0.0;
    }
    const double score = std::min(scores.best, 1.0);
    const double chance = chance_at(m_index.of(scores));
    return std::round((score + m_curve_share * (chance - score)) * kConfidenceSteps) /
           kConfidenceSteps;
}

void Confidence_map::update(std::span<const Judged_answer> answers) {
    count(answers);
    scale_down();
    make_curve();
}

// An answer without a score always has the confidence 0, so it is in no cell.
void Confidence_map::count(std::span<const Judged_answer> answers) {
    for (const Judged_answer& answer : answers) {
        if (answer.scores.best > 0.0) {
            Cell& cell = m_cells[cell_of(m_index.of(answer.scores))];
            (answer.is_right ? cell.right : cell.wrong) += kThousandth;
            cell.scores += std::llround(std::min(answer.scores.best, 1.0) * kThousandth);
        }
    }
    m_answers += answers.size();
}

// We scale down only when there are 6,000 answers, not after each one. A factor near 1 would leave
// small counts as they are, since they are rounded.
void Confidence_map::scale_down() {
    const std::int64_t all = total();
    if (all <= kMostAnswers) {
        return;
    }
    const double share = static_cast<double>(kKeptAnswers) / static_cast<double>(all);
    for (Cell& cell : m_cells) {
        cell.right = std::llround(static_cast<double>(cell.right) * share);
        cell.wrong = std::llround(static_cast<double>(cell.wrong) * share);
        cell.scores = std::min<std::int64_t>(std::llround(static_cast<double>(cell.scores) * share),
                                             cell.right + cell.wrong);
    }
}

std::int64_t Confidence_map::total() const {
    std::int64_t sum = 0;
    for (const Cell& cell : m_cells) {
        sum += cell.right + cell.wrong;
    }
    return sum;
}

// The rounding makes a cell the same for indexes that differ only in their last bits, except for an
// index that is very near to a multiple of 0.0000005. With floor() only, an index at the border of
// two cells would be different among C libraries, and scores such as 0.5 make such indexes.
std::size_t Confidence_map::cell_of(double index) {
    const double rounded = std::round(index * kIndexSteps) / kIndexSteps;
    const double cell = std::floor((rounded - kFirstIndex) / kCellWidth);
    return static_cast<std::size_t>(std::clamp(cell, 0.0, static_cast<double>(kCells - 1)));
}

double Confidence_map::middle_of(std::size_t cell) {
    return kFirstIndex + (static_cast<double>(cell) + 0.5) * kCellWidth;
}

void Confidence_map::make_curve() {
    const auto all = static_cast<double>(total());
    std::vector<Cell_group> groups;
    bool is_full = true;
    for (std::size_t i = 0; i < kCells; ++i) {
        const Cell& cell = m_cells[i];
        const auto answers = static_cast<double>(cell.right + cell.wrong);
        if (answers == 0.0) {
            continue;
        }
        if (is_full) {
            groups.emplace_back();
        }
        groups.back().join({static_cast<double>(cell.right), answers, answers * middle_of(i),
                            static_cast<double>(cell.scores)});
        is_full = groups.back().all * kGroups >= all;
    }
    if (!is_full && groups.size() > 1) {
        const Cell_group last = groups.back();
        groups.pop_back();
        groups.back().join(last);
    }
    const double evidence = evidence_of(parts_of(groups, all));
    m_curve_share =
        kGreatestShare *
        std::clamp((evidence - kLeastEvidence) / (kClearEvidence - kLeastEvidence), 0.0, 1.0);
    std::vector<Pooled_groups> pools;
    for (Cell_group& group : groups) {
        add_assumed(group);
        add_pooled(group, pools);
    }
    m_curve.clear();
    for (const Pooled_groups& pool : pools) {
        m_curve.push_back({pool.first_index, pool.chance()});
        if (pool.last_index > pool.first_index) {
            m_curve.push_back({pool.last_index, pool.chance()});
        }
    }
}

double Confidence_map::chance_at(double index) const {
    if (m_curve.empty()) {
        return chance_of_index(index);
    }
    const auto next =
        std::upper_bound(m_curve.begin(), m_curve.end(), index,
                         [](double value, const Knot& knot) { return value < knot.index; });
    if (next == m_curve.begin()) {
        return chance_of_index(index_of_chance(next->chance) + (index - next->index));
    }
    if (next == m_curve.end()) {
        const Knot& last = m_curve.back();
        return chance_of_index(index_of_chance(last.chance) +
                               kSlopeAfterCurve * (index - last.index));
    }
    const Knot& before = *std::prev(next);
    const double share = (index - before.index) / (next->index - before.index);
    return before.chance + share * (next->chance - before.chance);
}

// Example: "1 5485 -7012 860 55010 31:4000:9000:5120 40:12000:7000:9876": the form, the number of
// answers, the three weights of the index, and for each cell that is not empty its number, its
// right answers, its wrong answers and the sum of its scores.
std::string Confidence_map::text() const {
    std::string text(kMapForm);
    text += ' ' + std::to_string(m_answers) + ' ' + std::to_string(m_index.base) + ' ' +
            std::to_string(m_index.of_best) + ' ' + std::to_string(m_index.of_lead);
    for (std::size_t i = 0; i < kCells; ++i) {
        const Cell& cell = m_cells[i];
        if (cell.right + cell.wrong > 0) {
            text += ' ' + std::to_string(i) + ':' + std::to_string(cell.right) + ':' +
                    std::to_string(cell.wrong) + ':' + std::to_string(cell.scores);
        }
    }
    return text;
}

bool Confidence_map::has_possible_counts(const Cell& cell) {
    return cell.right >= 0 && cell.wrong >= 0 && cell.right <= kMostAnswers &&
           cell.wrong <= kMostAnswers && cell.scores >= 0 && cell.scores <= cell.right + cell.wrong;
}

bool Confidence_map::is_consistent() const {
    const bool has_weights = is_weight(m_index.base) && is_weight(m_index.of_best) &&
                             is_weight(m_index.of_lead) && m_index.of_best >= 0 &&
                             m_index.of_lead >= 0;
    const std::int64_t all = total();
    // Scaling rounds each count, so the sum of a scaled map can be above that of its answers.
    return has_weights && all <= kMostAnswers && m_answers <= kMostEver &&
           static_cast<std::uint64_t>(all / kThousandth) <= m_answers + 1;
}

// Other spellings of the same numbers, such as "01", are refused by comparison with text().
std::optional<Confidence_map> Confidence_map::parse(std::string_view text) {
    Confidence_map map;
    Number_reader reader(text);
    int form = 0;
    if (!reader.read(form, ' ') || !reader.read(map.m_answers, ' ') ||
        !reader.read(map.m_index.base, ' ') || !reader.read(map.m_index.of_best, ' ') ||
        !reader.read(map.m_index.of_lead, ' ')) {
        return std::nullopt;
    }
    while (!reader.is_at_end()) {
        std::size_t cell = kCells;
        Cell counts;
        if (!reader.read(cell, ':') || !reader.read(counts.right, ':') ||
            !reader.read(counts.wrong, ':') || !reader.read(counts.scores, ' ') || cell >= kCells ||
            !has_possible_counts(counts)) {
            return std::nullopt;
        }
        map.m_cells[cell] = counts;
    }
    if (map.text() != text || !map.is_consistent()) {
        return std::nullopt;
    }
    map.make_curve();
    return map;
}

}  // namespace zandrel
