// The answers of a text model: a text becomes a message, the engine classifies it, and the results
// become values. Example: "Where is my parcel?" becomes the bag {where: 1, is: 1, my: 1, parcel:
// 1}, and the answer {delivery 0.93, returns 0.41}.
#include "text/model/Text_model.h"

#include <algorithm>
#include <set>
#include <utility>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "text/confidence/rated_walk.h"
#include "text/data/Label_set.h"
#include "text/data/Stored_corpus.h"
#include "text/data/set_pairs.h"
#include "text/kc/stat_classifiers.h"
#include "text/model/Scored_concept.h"

namespace zandrel {

namespace {

// A word was learned if it has weights or is in the statistics. A compact container has only
// weights. We look at the statistics last, since a model that was read for classifying must first
// read them.
bool has_learned(const zeStat_matcher& matcher, const Concept& word) {
    if (matcher.m_table.find(word) != matcher.m_table.end()) {
        return true;
    }
    matcher.m_storage->complete();
    const zeStat_storage::Concept_infos& infos = matcher.m_storage->m_concept_infos;
    return infos.find(word) != infos.end();
}

bool has_and_uses_tables(const zeStat_storage* storage) {
    return storage->m_use_train_likelihood && storage->m_use_likelihood_in_match;
}

Ranking ranking_of(const std::vector<zeResult>& results) {
    Ranking ranking;
    for (const zeResult& result : results) {
        ranking.push_back({result.node->m_concept.view(), result.score, result.node});
    }
    return ranking;
}

}  // namespace

bool Text_model::has_tables() const {
    bool has_tables = false;
    for_each_stat_classifier(*m_manager, [&has_tables](const Stat_classifier& each) {
        has_tables = has_tables || has_and_uses_tables(each.matcher.m_storage);
    });
    return has_tables;
}

bool Text_model::uses_tables() const {
    if (!is_cached()) {
        return has_tables();
    }
    if (!m_uses_tables) {
        m_uses_tables = has_tables();
    }
    return *m_uses_tables;
}

// Classifiers that use no tables are not in m_uncorrected, so use_tables(true) does not change
// them.
void Text_model::use_tables(bool use) {
    if (!use) {
        for (zeStat_storage* const storage : storages()) {
            if (has_and_uses_tables(storage)) {
                m_uncorrected.push_back(storage);
            }
        }
    }
    for (zeStat_storage* const storage : m_uncorrected) {
        storage->m_use_likelihood_in_match = use;
    }
    if (use) {
        m_uncorrected.clear();
    }
}

Ranking Text_model::rank(std::string_view text, int wanted) {
    return rank(analyse(text), wanted);
}

Ranking Text_model::rank(const qtPtrLight<zeSml>& bag, int wanted) {
    zeMsg msg;
    msg.smls[0] = bag;
    return rank(msg, wanted);
}

Ranking Text_model::rank(const Labelled_text& message, int wanted) {
    const qtPtrLight<zeMsg> msg = message_of(message);
    return rank(*msg, wanted);
}

Ranking Text_model::rank(zeMsg& msg, int wanted) {
    return ranking_of(classify(msg, wanted));
}

Rated_ranking Text_model::rank_rated(const Labelled_text& message, int wanted) {
    const qtPtrLight<zeMsg> msg = message_of(message);
    return rank_rated(*msg, wanted);
}

Rated_ranking Text_model::rank_rated(zeMsg& msg, int wanted) {
    if (!m_has_rules) {
        m_has_rules = has_rules();
    }
    auto rated = rated_walk(
        wanted, *m_has_rules, [&](int count) { return rank(msg, count); },
        [](const Scored_label& entry) { return entry.label; });
    return {std::move(rated.results), rated.scores};
}

Judged_answer Text_model::judge(const Labelled_text& text) {
    const Rated_ranking rated = rank_rated(text, 1);
    return {rated.scores,
            !rated.ranking.empty() && Label_set(text.labels).contains(rated.ranking.front().label)};
}

std::vector<Judged_answer> Text_model::judge(zeCorpus& corpus, CTProgress* progress) {
    const zandrel::detail::Progress steps(progress);
    steps.set_status("Classifying the texts");
    const auto count = static_cast<std::size_t>(corpus.get_num_msgs());
    steps.set_total(count);
    std::vector<Judged_answer> answers;
    answers.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const qtPtrLight<zeMsg> msg = corpus.get_numbered_msg(static_cast<int>(i));
        const Rated_ranking rated = rank_rated(*msg, 1);
        const bool is_right = !rated.ranking.empty() &&
                              std::any_of(msg->categories.begin(), msg->categories.end(),
                                          [&rated](const Concept& category) {
                                              return category.view() == rated.ranking.front().label;
                                          });
        answers.push_back({rated.scores, is_right});
        steps.step();
    }
    return answers;
}

std::vector<Ranking> Text_model::rank_without_tables(const std::vector<qtPtrLight<zeMsg>>& messages,
                                                     int wanted) {
    std::vector<Ranking> rankings;
    if (is_cached()) {
        for (const qtPtrLight<zeMsg>& message : messages) {
            rankings.push_back(
                ranking_of(follow_walk(*m_manager, *message, wanted, Tables::kOff).results));
        }
        return rankings;
    }
    use_tables(false);
    for (const qtPtrLight<zeMsg>& message : messages) {
        rankings.push_back(rank(*message, wanted));
    }
    use_tables(true);
    return rankings;
}

std::string Text_model::path_of(const Scored_label& label) const {
    const zeLogicalTree& tree = *m_manager->m_logical_tree;
    qtString path;
    tree.GetNodePath(tree.FindCategory(label.node).id, path);
    return std::string(path.view());
}

zeNode* Text_model::find(const std::string& path) const {
    return m_manager->m_logical_tree->FindNodeByPath(qtString(path)).physical_node;
}

Explanation Text_model::explain(std::string_view text) {
    zeMsg msg;
    msg.smls[0] = analyse(text);
    return explain_best(msg, text);
}

Explanation Text_model::explain(std::string_view text, zeNode* node) {
    zeMsg msg;
    msg.smls[0] = analyse(text);
    return explain_node(msg, text, node);
}

Explanation Text_model::explain(const Labelled_text& message, zeNode* node) {
    const qtPtrLight<zeMsg> msg = message_of(message);
    return node == nullptr ? explain_best(*msg, message.text)
                           : explain_node(*msg, message.text, node);
}

Walk Text_model::walk(const Labelled_text& message, int wanted) {
    const qtPtrLight<zeMsg> msg = message_of(message);
    return follow_walk(*m_manager, *msg, wanted);
}

Explanation Text_model::explain_best(zeMsg& msg, std::string_view text) {
    const std::vector<zeResult> best = classify(msg, 1);
    Explanation explanation;
    if (!best.empty()) {
        explanation = explain(msg, best.front().node, best.front().score);
    }
    explanation.text = text;
    return explanation;
}

Explanation Text_model::explain_node(zeMsg& msg, std::string_view text, zeNode* node) {
    Explanation explanation = explain(msg, node, score_of(msg, node));
    explanation.text = text;
    return explanation;
}

// Finds the score of any node. A ranking has no inner nodes, and only the best of several leaves
// with the same name.
double Text_model::score_of(zeMsg& msg, const zeNode* node) {
    zeResult_set results(0.0, -1);
    m_workflow->classify(msg, results, false, false);
    for (const zeResult& result : results.results) {
        if (result.node == node) {
            return result.score;
        }
    }
    return 0.0;
}

Explanation Text_model::explain(zeMsg& msg, zeNode* node, double score) {
    Explanation explanation;
    explanation.label = node->m_concept.view();
    explanation.score = score;
    std::vector<zeStat_matcher::Concept_score> scores;
    m_workflow->classify_concepts(msg, {node}, scores);
    std::vector<zeStat_matcher::Concept_score> log_odds;
    m_workflow->classify_concepts_in_log_odds(msg, {node}, log_odds);
    const std::function<bool(const Concept& word)> knows_word = word_test();
    for (const Scored_concept& each : in_both_scales(scores, std::move(log_odds))) {
        explanation.concepts.push_back(
            {std::string(each.word.view()), each.adds, knows_word(each.word), each.log_odds_adds});
    }
    return explanation;
}

// No statistical classifier has seen the words of an answer that only rules give, so we do not know
// if they were learned.
std::vector<Word_effect> Text_model::words_of(const Explanation& explanation) {
    if (explanation.concepts.empty()) {
        return {};
    }
    return word_effects(m_analysis->places(explanation.text), explanation.concepts);
}

// Returns a function that finds out whether any classifier has learned a word.
std::function<bool(const Concept& word)> Text_model::word_test() {
    if (is_cached()) {
        return [&words = known_words()](const Concept& word) { return words.count(word) != 0; };
    }
    std::vector<const zeStat_matcher*> all;
    for_each_stat_classifier(*m_manager,
                             [&all](const Stat_classifier& each) { all.push_back(&each.matcher); });
    return [all](const Concept& word) {
        return std::any_of(all.begin(), all.end(), [&word](const zeStat_matcher* each) {
            return has_learned(*each, word);
        });
    };
}

// To look for a word that no classifier knows, all classifiers would have to be read, for each text
// again. So we read them once, and keep their words.
const std::set<Concept>& Text_model::known_words() {
    if (!m_known_words) {
        m_known_words.emplace();
        for_each_stat_classifier(*m_manager, [this](const Stat_classifier& each) {
            for (const auto& [word, weights] : each.matcher.m_table) {
                m_known_words->insert(word);
            }
            each.matcher.m_storage->complete();
            for (const auto& [word, info] : each.matcher.m_storage->m_concept_infos) {
                m_known_words->insert(word);
            }
        });
    }
    return *m_known_words;
}

// Sorted by score, the highest first.
std::vector<zeResult> Text_model::classify(zeMsg& msg, int wanted) {
    zeResult_set results(0.0, wanted);
    m_workflow->classify(msg, results, true, false);
    results.eliminate_duplicated_results();
    if (results.count() > 0) {
        results.get_result(0);  // sorts, and keeps the wanted number
    }
    return std::move(results.results);
}

// Reading the clock twice takes as long as analysing a short text. So only callers that report the
// time use this function for each text.
qtPtrLight<zeSml> Text_model::make_bag(std::string_view text) {
    m_analysis_timer.start();
    qtPtrLight<zeSml> bag = analyse(text);
    m_analysis_timer.stop();
    return bag;
}

qtPtrLight<zeMsg> Text_model::make_message(const Labelled_text& text) {
    m_analysis_timer.start();
    qtPtrLight<zeMsg> msg = message_of(text);
    m_analysis_timer.stop();
    return msg;
}

qtPtrLight<zeMsg> Text_model::message_of(const Labelled_text& message) {
    if (message.stored.corpus) {
        return message.stored.corpus->message(message.stored.number, Columns::kText);
    }
    qtPtrLight<zeMsg> msg(new zeMsg);
    msg->smls[0] = analyse(message.text);
    if (!message.pairs.empty()) {
        set_pairs(msg, message.pairs);
    }
    return msg;
}

// The bag has no clip value of its own (0.0): a classifier clips the weights to its own ClipValue.
qtPtrLight<zeSml> Text_model::analyse(std::string_view text) {
    m_feeder.clear();
    m_analysis->feed(text, m_feeder);
    return qtPtrLight<zeSml>(new zeSml(std::move(m_feeder), 0.0));
}

}  // namespace zandrel
