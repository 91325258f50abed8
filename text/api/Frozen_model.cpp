// The steps are those of Text_model::rank and Text_model::explain, with the words of the frozen
// tree in place of the dictionary.
#include "text/api/Frozen_model.h"

#include <string>
#include <utility>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsgEdit.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "text/api/Data_texts.h"
#include "text/confidence/rated_walk.h"
#include "text/model/Scored_concept.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using detail::Frozen_call;
using detail::Frozen_message;
using detail::Frozen_tree;

class Message_words : public Word_look_up {
public:
    explicit Message_words(Frozen_message& message) : m_message(message) {}

    void look_up(std::span<const std::string_view> texts, Concept* concepts) override {
        m_message.look_up(texts, concepts);
    }

private:
    Frozen_message& m_message;
};

void set_frozen_pairs(const std::vector<Pair>& pairs, Frozen_message& message) {
    zeMsgEdit edit(message.msg_pointer());
    for (const Pair& pair : pairs) {
        const std::vector<qtString> values(pair.values.begin(), pair.values.end());
        edit.Set(message.word(pair.name), values, pair.type);
    }
    edit.End();
}

void fill(const Text& text, Text_analysis& analysis, Frozen_message& message) {
    Message_words words(message);
    analysis.feed_words(text.characters, words, message.feeder());
    message.take_bag();
    if (!text.fields.empty()) {
        set_frozen_pairs(pairs_of_fields(text.fields), message);
    }
}

std::vector<zeResult> best_results(const Frozen_tree& tree, zeMsg& msg, int wanted) {
    zeResult_set results(0.0, wanted);
    tree.classify(msg, results, true, false);
    results.eliminate_duplicated_results();
    if (results.count() > 0) {
        results.get_result(0);  // sorts, and keeps the wanted number
    }
    return std::move(results.results);
}

// The score of any node. A ranking has no inner nodes, and only the best of several leaves with the
// same name.
double score_of(const Frozen_tree& tree, zeMsg& msg, const zeNode* node) {
    zeResult_set results(0.0, -1);
    tree.classify(msg, results, false, false);
    for (const zeResult& result : results.results) {
        if (result.node == node) {
            return result.score;
        }
    }
    return 0.0;
}

std::string path_of(const Frozen_tree& tree, zeNode* node) {
    return std::string(tree.path_of(node).view());
}

}  // namespace

std::vector<Label> Frozen_model::classify(const Text& text, const Classify_options& options,
                                          Reader_tools& tools) const {
    Frozen_message message(tools.m_call, m_tree.words());
    fill(text, *tools.m_analysis, message);
    std::vector<zeResult> results;
    std::optional<double> confidence;
    if (m_confidence) {
        auto rated = rated_walk(
            options.count, m_has_rules,
            [&](int count) { return best_results(m_tree, message.msg(), count); },
            [](const zeResult& result) { return result.node->m_concept.view(); });
        confidence = m_confidence->of(rated.scores);
        if (*confidence < options.reject) {
            return {};
        }
        results = std::move(rated.results);
    } else {
        results = best_results(m_tree, message.msg(), options.count);
    }
    std::vector<Label> labels;
    for (const zeResult& result : results) {
        if (result.score >= options.threshold) {
            labels.push_back({std::string(result.node->m_concept.view()),
                              path_of(m_tree, result.node), result.score,
                              labels.empty() ? confidence : std::nullopt});
        }
    }
    return labels;
}

Reasons Frozen_model::explain(const Text& text, std::string_view node, Reader_tools& tools) const {
    Frozen_message message(tools.m_call, m_tree.words());
    fill(text, *tools.m_analysis, message);
    zeResult explained;
    if (!node.empty()) {
        explained.node = m_tree.find_path(qtString(node));
        if (explained.node == nullptr) {
            throw Error(Error_code::not_found, "there is no node \"" + shown_value(node) + "\"");
        }
        explained.score = score_of(m_tree, message.msg(), explained.node);
    } else {
        const std::vector<zeResult> best = best_results(m_tree, message.msg(), 1);
        if (best.empty()) {
            return {};
        }
        explained = best.front();
    }
    Reasons reasons = {std::string(explained.node->m_concept.view()),
                       path_of(m_tree, explained.node),
                       explained.score,
                       {}};
    std::vector<zeStat_matcher::Concept_score> scores;
    m_tree.explain(message.msg(), {explained.node}, scores);
    std::vector<zeStat_matcher::Concept_score> log_odds;
    m_tree.explain_in_log_odds(message.msg(), {explained.node}, log_odds);
    for (const Scored_concept& each : in_both_scales(scores, std::move(log_odds))) {
        reasons.effects.push_back({std::string(each.word.view()), each.adds,
                                   m_tree.has_learned(each.word), each.log_odds_adds});
    }
    return reasons;
}

}  // namespace zandrel
