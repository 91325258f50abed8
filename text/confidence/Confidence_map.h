// Confidence_map: the chance that the best label of an answer is right, learned from answers whose
// truth is known.
#ifndef ZANDREL_TEXT_CONFIDENCE_CONFIDENCE_MAP_H_
#define ZANDREL_TEXT_CONFIDENCE_CONFIDENCE_MAP_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "text/confidence/Answer_index.h"
#include "text/confidence/Top_scores.h"

namespace zandrel {

// A map from the two highest scores of an answer to the chance that its best label is right. The
// chance is non-decreasing in the best score and in its lead over the second score.
//
// The map counts right and wrong answers in cells of its index (Answer_index). Its size is fixed:
// if it has more than 6,000 answers, all counts are scaled down to 5,000, so that newer answers
// count more than older ones. The confidence of few answers is the best score itself, or near it,
// unless the scores are clearly wrong.
class Confidence_map {
public:
    static Confidence_map fit(std::span<const Judged_answer> answers);

    // 0 to 1, a multiple of 0.0001; 0 if the best score is 0, since there is no answer then.
    double of(const Top_scores& scores) const;

    // Adds newer answers. The index does not change, only the counts.
    void update(std::span<const Judged_answer> answers);

    // The number of all answers so far, also of those that are scaled down.
    std::size_t answer_count() const { return m_answers; }

    // The map as one line of at most 2,500 bytes, for the settings of a container.
    std::string text() const;
    // Returns nothing for a text that text() cannot have made. The map of a text has the same text
    // and the same chances as the map that made the text.
    static std::optional<Confidence_map> parse(std::string_view text);

private:
    static constexpr std::size_t kCells = 96;

    // In thousandths of an answer, so that counts that are scaled down stay integers.
    struct Cell {
        std::int64_t right = 0;
        std::int64_t wrong = 0;
        std::int64_t scores = 0;  // sum of the best scores of its answers
    };

    // A point of the curve from index to chance.
    struct Knot {
        double index = 0.0;
        double chance = 0.0;
    };

    static std::size_t cell_of(double index);
    static double middle_of(std::size_t cell);
    static bool has_possible_counts(const Cell& cell);
    bool is_consistent() const;
    std::int64_t total() const;
    void count(std::span<const Judged_answer> answers);
    void scale_down();
    void make_curve();
    double chance_at(double index) const;

    Answer_index m_index;
    std::array<Cell, kCells> m_cells = {};
    std::size_t m_answers = 0;
    // Made from the cells:
    std::vector<Knot> m_curve;   // ascending, also in chance
    double m_curve_share = 0.0;  // of the curve in a confidence; the rest is the score
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_CONFIDENCE_CONFIDENCE_MAP_H_
