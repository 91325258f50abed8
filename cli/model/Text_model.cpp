#include "cli/model/Text_model.h"

#include <algorithm>
#include <set>
#include <utility>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "cli/model/Engine_settings.h"

namespace cli {

namespace {

// Slots of a message, besides that of the text.
constexpr std::size_t kKeywordsSlot = 1;
constexpr std::size_t kTitleSlot = 2;

}  // namespace

Text_model::Text_model(const Model_options& options)
    : m_analysis(make_text_analysis(options.analysis)),
      m_manager(new zeManager),
      m_chooses_profile_size(options.analysis.kind == Analysis_kind::kPhrases) {
    if (options.settings != nullptr) {
        options.settings->apply(m_manager);
        m_chooses_profile_size = m_chooses_profile_size && !options.settings->has("ProfileSize");
    }
}

void Text_model::train(const std::vector<Labelled_text>& texts) {
    choose_profile_size(texts);
    zeStat_matcher& matcher = make_root();
    zeMemoryCorpus corpus;
    fill(corpus, texts);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(m_manager.get());
    matcher.train(view);
    m_workflow = m_manager->GetWorkflow();
}

void Text_model::bootstrap(const std::vector<Labelled_text>& texts) {
    choose_profile_size(texts);
    zeStat_matcher& matcher = make_root();
    zeMemoryCorpus corpus;
    fill(corpus, texts);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        corpus.msgs[i]->smls[kKeywordsSlot] = make_bag(texts[i].keywords);
        corpus.msgs[i]->smls[kTitleSlot] = make_bag(texts[i].title);
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(m_manager.get());
    matcher.bootstrap(view);
    m_workflow = m_manager->GetWorkflow();
}

void Text_model::learn(const std::vector<Labelled_text>& texts) {
    zeMemoryCorpus corpus;
    fill(corpus, texts);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(m_manager.get());
    add_new_categories(view);
    root().learn(view, true);
}

// The learner counts a bulk's messages for the categories that it knows.
void Text_model::add_new_categories(zeCorpus_view& view) {
    const zeStat_storage& storage = *root().m_storage;
    for (zeCorpus_view::Msg& entry : view.msgs) {
        for (zeNode* category : entry.cats) {
            if (storage.end(storage.get_profile(category))) {
                root().add_cat(category);
            }
        }
    }
}

Model_size Text_model::size() const {
    const zeStat_storage& storage = *root().m_storage;
    Model_size size;
    size.profiles = storage.m_profiles.size();
    size.concepts = storage.m_concept_infos.size();
    for (const auto& profile : storage.m_profiles) {
        size.entries += profile->m_Ps.size();
        size.largest = std::max(size.largest, profile->m_Ps.size());
    }
    return size;
}

bool Text_model::uses_tables() const {
    const zeStat_storage& storage = *root().m_storage;
    return storage.m_use_train_likelihood && storage.m_use_likelihood_in_match;
}

void Text_model::use_tables(bool use) {
    root().m_storage->m_use_likelihood_in_match = use;
}

Ranking Text_model::rank(std::string_view text, int wanted) {
    return rank(make_bag(text), wanted);
}

Ranking Text_model::rank(const qtPtrLight<zeSml>& bag, int wanted) {
    zeMsg msg;
    msg.smls[0] = bag;
    Ranking ranking;
    for (const zeResult& result : classify(msg, wanted)) {
        ranking.push_back({result.node->m_concept.view(), result.score});
    }
    return ranking;
}

Explanation Text_model::explain(std::string_view text) {
    zeMsg msg;
    msg.smls[0] = make_bag(text);
    Explanation explanation;
    explanation.text = text;
    const std::vector<zeResult> best = classify(msg, 1);
    if (best.empty()) {
        return explanation;
    }
    explanation.label = best.front().node->m_concept.view();
    explanation.score = best.front().score;
    std::vector<zeStat_matcher::Concept_score> lines;
    m_workflow->classify_concepts(msg, {best.front().node}, lines);
    for (const zeStat_matcher::Concept_score& line : lines) {
        explanation.concepts.push_back({std::string(line.m_concept.view()), line.m_score});
    }
    return explanation;
}

std::vector<std::string> Text_model::labels() const {
    std::vector<std::string> labels;
    if (m_manager->m_root != nullptr) {
        for (const zeNode* const leaf : m_manager->m_root->m_children) {
            labels.emplace_back(leaf->m_concept.view());
        }
    }
    return labels;
}

// Best first.
std::vector<zeResult> Text_model::classify(zeMsg& msg, int wanted) {
    zeResult_set results(0.0, wanted);
    m_workflow->classify(msg, results, true, false);
    results.eliminate_duplicated_results();
    if (results.count() > 0) {
        results.get_result(0);  // Sorts and cuts off what is not wanted.
    }
    return std::move(results.results);
}

void Text_model::choose_profile_size(const std::vector<Labelled_text>& texts) {
    constexpr std::size_t kFewLabels = 30;
    constexpr int kSizeForFewLabels = 10000;
    constexpr int kSizeForManyLabels = 3000;
    if (!m_chooses_profile_size) {
        return;
    }
    std::set<std::string_view> labels;
    for (const Labelled_text& text : texts) {
        labels.insert(text.labels.begin(), text.labels.end());
    }
    m_manager->m_defaults.profile_size =
        labels.size() <= kFewLabels ? kSizeForFewLabels : kSizeForManyLabels;
}

zeStat_matcher& Text_model::make_root() {
    m_manager->m_root = m_manager->m_physical_tree->MakeNode(Concept::insert("root"), ZE_STAT,
                                                             zeNode::NoScore, 0.0);
    return root();
}

zeStat_matcher& Text_model::root() const {
    return dynamic_cast<zeStat_matcher&>(*m_manager->GetRootClassifier());
}

void Text_model::fill(zeMemoryCorpus& corpus, const std::vector<Labelled_text>& texts) {
    corpus.reserve(static_cast<unsigned int>(texts.size()));
    for (const Labelled_text& text : texts) {
        qtPtrLight<zeMsg> msg(new zeMsg);
        msg->smls[0] = make_bag(text.text);
        for (const std::string& label : text.labels) {
            msg->categories.push_back(Concept::insert_view(label));
        }
        corpus.add_msg(msg);
    }
}

// The bag has no ceiling of its own: the model asks for a view under the ceiling that it wants.
qtPtrLight<zeSml> Text_model::make_bag(std::string_view text) {
    m_analysis_timer.start();
    m_feeder.clear();
    m_analysis->feed(text, m_feeder);
    qtPtrLight<zeSml> bag(new zeSml(m_feeder, 0.0));
    m_analysis_timer.stop();
    return bag;
}

}  // namespace cli
