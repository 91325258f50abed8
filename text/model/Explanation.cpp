// Prints an explanation as indented lines or as JSON. Text_model computes it.
#include "text/model/Explanation.h"

#include <cmath>
#include <cstddef>

#include <nlohmann/json.hpp>

#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

// Width of the concepts. A longer concept moves the last column of its line to the right.
constexpr std::size_t kConceptWidth = 24;

std::string signed_number(double number) {
    return (number < 0.0 ? "-" : "+") + with_decimals(std::abs(number), 4);
}

}  // namespace

void keep_first(std::size_t count, Explanation& explanation) {
    if (count < explanation.concepts.size()) {
        explanation.left_out += explanation.concepts.size() - count;
        explanation.concepts.resize(count);
    }
}

void print_explanation(const Explanation& explanation, std::ostream& out) {
    print_explanation(explanation, shown_text(explanation.text), out);
}

void print_explanation(const Explanation& explanation, std::string_view text_line,
                       std::ostream& out) {
    out << text_line << '\n';
    if (explanation.label.empty()) {
        out << "  (no result)\n";
        return;
    }
    out << "  " << with_decimals(explanation.score, 3) << "  " << shown_text(explanation.label)
        << '\n';
    for (const Concept_effect& effect : explanation.concepts) {
        const std::string name =
            shown_text(effect.concept_text) + (effect.is_known ? "" : "  (unknown)");
        out << "    " << signed_number(effect.adds) << "  " << left_aligned(name, kConceptWidth)
            << "  " << signed_number(effect.log_odds_adds) << '\n';
    }
    if (explanation.left_out > 0) {
        out << "    (" << grouped(explanation.left_out) << " more)\n";
    }
}

nlohmann::ordered_json explanation_json(const Explanation& explanation) {
    nlohmann::ordered_json json = {{"text", explanation.text}};
    json["category"] = nullptr;
    if (!explanation.label.empty()) {
        json["category"] = explanation.label;
    }
    json["score"] = explanation.score;
    json["concepts"] = nlohmann::ordered_json::array();
    for (const Concept_effect& effect : explanation.concepts) {
        json["concepts"].push_back({{"concept", effect.concept_text},
                                    {"adds", effect.adds},
                                    {"known", effect.is_known},
                                    {"log_odds_adds", effect.log_odds_adds}});
    }
    if (explanation.left_out > 0) {
        json["left_out"] = explanation.left_out;
    }
    return json;
}

}  // namespace zandrel
