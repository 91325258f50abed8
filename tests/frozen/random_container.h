// Random_container: containers with statistics and rules, and messages for them.
#ifndef ZANDREL_TESTS_FROZEN_RANDOM_CONTAINER_H_
#define ZANDREL_TESTS_FROZEN_RANDOM_CONTAINER_H_

#include <array>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/bags.h"
#include "tests/support/small_model.h"

// A tree of up to four levels. Its leaves have few names, so a category has several leaves. Each
// statistical node is trained with messages of its own. Rules read pairs, words, the score and the
// number of words, and some words have second forms.
class Random_container {
public:
    static constexpr std::size_t kWords = 40;

    explicit Random_container(unsigned int seed, std::size_t widest = 5)
        : m_random(seed), m_widest(widest) {
        vary_settings();
        manager.m_root = make_node(one_of(3) ? ZE_RULE : ZE_STAT);
        std::vector<zeNode*> level = {manager.m_root};
        for (std::size_t depth = 1; depth <= 3 && !level.empty(); ++depth) {
            level = add_level(level, depth == 3);
        }
        for (zeNode* const node : inner) {
            if (node->m_classifier_type == ZE_STAT) {
                train(*node);
            }
        }
        reset_accumulators();
    }

    std::size_t below(std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(m_random);
    }

    bool one_of(std::size_t count) { return below(count) == 0; }

    // A message as an application makes it, with concepts of the dictionary. Some of its words are
    // unknown to the container, some messages have no words or no bag.
    qtPtrLight<zeMsg> message() {
        qtPtrLight<zeMsg> msg(new zeMsg);
        if (!one_of(12)) {
            const std::size_t slot = one_of(8) ? 1 : 0;
            msg->active_sml = static_cast<unsigned int>(slot);
            const double clip_value = one_of(6) ? 2.0 : 0.0;
            msg->smls.at(slot) =
                qtPtrLight<zeSml>(new zeSml(words(below(16), one_of(10)), clip_value));
        }
        for (std::size_t i = below(5); i > 0; --i) {
            msg->add_value(qtString("k" + std::to_string(below(4))), pair_type(), pair_value());
        }
        if (one_of(20)) {  // so many pairs that look-ups search in the order of the names
            for (int i = 0; i < 40; ++i) {
                msg->add_value(qtString("many" + std::to_string(i)), mlMessageConverter::kString,
                               "x");
            }
        }
        return msg;
    }

    zeStat_matcher* matcher(zeNode* node) {
        return dynamic_cast<zeStat_matcher*>(node->m_classifier);
    }

    // Training with likelihood tables leaves sums of profiles that take no part.
    void reset_accumulators() {
        for (zeNode* const node : inner) {
            if (zeStat_matcher* const stat = matcher(node)) {
                for (const auto& profile : stat->m_storage->m_profiles) {
                    profile->m_match_value = 0.0;
                }
            }
        }
    }

    std::vector<zeNode*> all_nodes() {
        std::vector<zeNode*> nodes = inner;
        nodes.insert(nodes.end(), leaves.begin(), leaves.end());
        return nodes;
    }

    zeManager manager;
    std::vector<zeNode*> inner;
    std::vector<zeNode*> leaves;

private:
    void vary_settings() {
        zeDefaults& settings = manager.m_defaults;
        settings = plain_settings();
        settings.use_likelihood_in_train = one_of(2);
        settings.use_likelihood_in_match = !one_of(4);
        settings.clip_value = static_cast<double>(below(4));
        settings.profile_size = 10 + static_cast<int>(below(30));
        settings.num_slices = 2;
        settings.activation_inside = static_cast<int>(below(2));
    }

    zeNode* make_node(unsigned int type) {
        const std::string name =
            std::string(type == ZE_LEAF ? "leaf" : "node") + static_cast<char>('a' + below(6));
        zeNode* const node = manager.m_physical_tree->MakeNode(
            term(name), type, type == ZE_LEAF || one_of(3) ? 0 : zeNode::NoScore,
            one_of(3) ? static_cast<double>(below(50)) / 100 : 0.0);
        (type == ZE_LEAF ? leaves : inner).push_back(node);
        return node;
    }

    std::vector<zeNode*> add_level(const std::vector<zeNode*>& parents, bool is_last) {
        std::vector<zeNode*> added;
        for (zeNode* const parent : parents) {
            for (std::size_t i = 1 + below(m_widest); i > 0; --i) {
                zeNode* child =
                    make_node(is_last || one_of(2) ? ZE_LEAF : (one_of(3) ? ZE_RULE : ZE_STAT));
                attach(parent, child, i == 1);
                if (child->m_classifier != nullptr) {
                    added.push_back(child);
                }
            }
        }
        return added;
    }

    void attach(zeNode* parent, zeNode* child, bool is_last) {
        if (zeStat_matcher* const stat = matcher(parent)) {
            stat->add_cat(child);
            return;
        }
        auto& switcher = dynamic_cast<zeSwitcher&>(*parent->m_classifier);
        switcher.add_rule(child, is_last && one_of(2) ? qtString("default") : qtString(rule()));
        if (child != switcher.m_default && one_of(3)) {
            std::vector<zeConceptInDoc*> concepts;
            switcher.m_rules.at(child).root().CollectConcepts(concepts);
            for (zeConceptInDoc* const each : concepts) {
                each->m_processed = term("w" + std::to_string(below(kWords)));
            }
        }
    }

    std::string word() { return "\"w" + std::to_string(below(kWords)) + "\""; }

    std::string rule() {
        const std::string key = "$k" + std::to_string(below(4));
        switch (below(14)) {
            case 0:
                return word();
            case 1:
                return key + "(n) > 2";
            case 2:
                return key + "(s) == 'x'";
            case 3:
                return "parent_score * 0.8";
            case 4:
                return "concepts_in_sml / 10";
            case 5:
                return "empty_body_message | " + word();
            case 6:
                return "(" + word() + " | " + word() + ") & !" + word();
            case 7:
                return key + "(?) ? 0.3 : 0.7";
            case 8:
                return "1.5";
            case 9:
                return key + "(n) / 0 + " + key + "(n) * 0.25";
            case 10:
                return "substr(" + key + "(s), 'a') & $k1(?)";
            case 11:
                return "Isubstr(" + key + "(s), 'B') * 0.4 v 0.1";
            case 12:
                return "(" + rule() + ") * 0.9 ^ (" + rule() + ")";
            default:
                return "(" + rule() + ") > (" + rule() + ") ? 0.6 : " + word() + " * 0.5";
        }
    }

    mlMessageConverter::NvpType pair_type() {
        using Converter = mlMessageConverter;
        return std::array{Converter::kString, Converter::kInteger,
                          Converter::kLangString}[below(3)];
    }

    qtString pair_value() {
        return std::array<const char*, 6>{"x", "3", "0", "abc", "inf", "4.25"}[below(6)];
    }

    // `unknown`: only words that no model has learned.
    zeSml_feeder words(std::size_t count, bool unknown) {
        zeSml_feeder feeder;
        for (std::size_t i = 0; i < count; ++i) {
            const bool is_unknown = unknown || one_of(5);
            feeder.add_concept(term((is_unknown ? "unknown" : "w") + std::to_string(below(kWords))),
                               one_of(3) ? 0.5 : 1.0);
        }
        return feeder;
    }

    // Each child prefers a part of the words.
    void train(zeNode& node) {
        Small_corpus corpus;
        const std::vector<zeNode*> children = node.m_children;
        for (std::size_t i = 0; i < 4 * children.size() + 2; ++i) {
            qtPtrLight<zeMsg> msg(new zeMsg);
            zeSml_feeder feeder = words(1 + below(10), false);
            feeder.add_concept(term("w" + std::to_string(i % children.size())), 2.0);
            msg->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
            corpus.add(msg, {children[i % children.size()]});
        }
        matcher(&node)->train(corpus.view);
    }

    std::mt19937 m_random;
    std::size_t m_widest;
};

#endif  // ZANDREL_TESTS_FROZEN_RANDOM_CONTAINER_H_
