// The effect of a word is explained for two labels: the wrong answer and the right label. A concept
// supports the label for which its effect is greater.
#include "cli/report/Worst_mistakes.h"

#include <algorithm>
#include <map>
#include <utility>

#include "cli/report/Html_text.h"
#include "text/model/Explanation.h"
#include "text/model/Text_model.h"

namespace zandrel::cli {

namespace {

constexpr std::size_t kStrongConcepts = 6;  // for each label
constexpr double kLeastLead = 0.005;        // less is shown as 0.00

// No effects if the model does not have the label.
Explanation explained(Text_model& model, const Labelled_text& text, zeNode* node) {
    Explanation none;
    none.text = text.text;
    return node == nullptr ? none : model.explain(text, node);
}

// Adds the piece from `begin` to `end`, if it is not cut. Returns whether it was.
bool add_piece(std::string_view text, std::size_t begin, std::size_t end, Text_piece piece,
               std::size_t& room, std::vector<Text_piece>& pieces) {
    if (begin >= end) {
        return true;
    }
    if (room == 0) {
        return false;
    }
    piece.text = page_text(text.substr(begin, end - begin), room);
    const std::size_t shown = std::min(end - begin, room);
    room -= shown;
    pieces.push_back(std::move(piece));
    return true;
}

// `room` counts bytes, which is near enough to characters for a cut.
std::vector<Text_piece> pieces_of(std::string_view text, const std::vector<Word_effect>& on_wrong,
                                  const std::vector<Word_effect>& on_right) {
    std::vector<Text_piece> pieces;
    std::size_t room = kLongestMistake;
    std::size_t at = 0;
    for (std::size_t i = 0; i < on_wrong.size(); ++i) {
        const Text_range& place = on_wrong[i].place;
        const double right = on_right.empty() ? 0.0 : on_right[i].log_odds_adds;
        add_piece(text, at, place.begin, {}, room, pieces);
        if (!add_piece(text, place.begin, place.end, {"", true, on_wrong[i].log_odds_adds, right},
                       room, pieces)) {
            pieces.push_back({"\u2026"});
            return pieces;
        }
        at = place.end;
    }
    add_piece(text, at, text.size(), {}, room, pieces);
    return pieces;
}

// The effect of each concept on the wrong answer, minus that on the right label.
std::vector<Strong_concept> leads_of(const Explanation& wrong, const Explanation& right) {
    std::map<std::string, double> leads;
    for (const Concept_effect& effect : wrong.concepts) {
        leads[effect.concept_text] += effect.log_odds_adds;
    }
    for (const Concept_effect& effect : right.concepts) {
        leads[effect.concept_text] -= effect.log_odds_adds;
    }
    std::vector<Strong_concept> result;
    for (const auto& [text, lead] : leads) {
        result.push_back({text, lead});
    }
    return result;
}

// The strongest concepts with a lead of this sign, with the lead as a positive number.
std::vector<Strong_concept> strongest(std::vector<Strong_concept> leads, double sign) {
    for (Strong_concept& each : leads) {
        each.lead *= sign;
    }
    std::erase_if(leads, [](const Strong_concept& each) { return each.lead < kLeastLead; });
    std::stable_sort(leads.begin(), leads.end(),
                     [](const Strong_concept& left, const Strong_concept& right) {
                         return left.lead > right.lead;
                     });
    leads.resize(std::min(leads.size(), kStrongConcepts));
    for (Strong_concept& each : leads) {
        each.concept_text = page_text(each.concept_text, kLongestCategory);
    }
    return leads;
}

void explain_mistake(Text_model& model, const Labelled_text& text, zeNode* answer, zeNode* label,
                     Mistake& mistake) {
    const Explanation wrong = explained(model, text, answer);
    const Explanation right = explained(model, text, label);
    mistake.pieces =
        pieces_of(text.text, model.words_of(wrong),
                  label == nullptr ? std::vector<Word_effect>() : model.words_of(right));
    const std::vector<Strong_concept> leads = leads_of(wrong, right);
    mistake.for_wrong = strongest(leads, 1.0);
    mistake.for_right = strongest(leads, -1.0);
}

}  // namespace

void Worst_mistakes::add(const Labelled_text& text, const Wrong_answer& answer) {
    const auto place = std::find_if(m_kept.begin(), m_kept.end(), [&answer](const Kept& kept) {
        return kept.mistake.sample.score < answer.sample.score;
    });
    if (place == m_kept.end() && m_kept.size() == kCount) {
        return;
    }
    m_kept.insert(place,
                  {{answer.row, answer.column, answer.sample}, text, answer.answer, answer.label});
    if (m_kept.size() > kCount) {
        m_kept.pop_back();
    }
}

void Worst_mistakes::explain(Text_model& model) {
    for (Kept& kept : m_kept) {
        if (kept.answer != nullptr) {
            explain_mistake(model, kept.text, kept.answer, kept.label, kept.mistake);
            kept.text = {};
            kept.answer = nullptr;
            kept.label = nullptr;
        }
    }
}

std::vector<Mistake> Worst_mistakes::mistakes() const {
    std::vector<Mistake> mistakes;
    for (const Kept& kept : m_kept) {
        mistakes.push_back(kept.mistake);
    }
    return mistakes;
}

}  // namespace zandrel::cli
