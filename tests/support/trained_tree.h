// Trained_tree: a container with two levels of real statistical classifiers and a rule node, and a
// corpus for it.
#ifndef ZANDREL_TESTS_SUPPORT_TRAINED_TREE_H_
#define ZANDREL_TESTS_SUPPORT_TRAINED_TREE_H_

#include <cstdint>
#include <string_view>
#include <vector>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtTimeDate.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/small_model.h"

// In the scope of such an object the clock always shows `kNow`.
class Stopped_clock {
public:
    static constexpr std::int64_t kNow = 1700000000123456;

    Stopped_clock() : m_before(zandrel::set_clock([] { return kNow; })) {}

    Stopped_clock(const Stopped_clock&) = delete;
    Stopped_clock& operator=(const Stopped_clock&) = delete;

    ~Stopped_clock() { zandrel::set_clock(m_before); }

private:
    zandrel::qtClock m_before;
};

// The ids of the nodes are in brackets:
//
// root (1, stat) - news (2, stat) - sport (4), money (5)
//                - shop (3, stat) - shoes (6)
//                - rule (7, rule) - bin (8), whose rule is "1"
//
// The corpus has one message each for sport, money and shoes. Nothing is trained, the modified flag
// is clear, and the time of the last training is 1.
struct Trained_tree {
    Trained_tree() {
        manager.m_defaults = plain_settings();
        root = inner("root", ZE_STAT);
        manager.m_root = root;
        news = inner("news", ZE_STAT);
        shop = inner("shop", ZE_STAT);
        sport = leaf("sport");
        money = leaf("money");
        shoes = leaf("shoes");
        rule = inner("rule", ZE_RULE);
        bin = leaf("bin");
        for (zeNode* child : {news, shop, rule}) {
            matcher(root).add_cat(child);
        }
        for (zeNode* child : {sport, money}) {
            matcher(news).add_cat(child);
        }
        matcher(shop).add_cat(shoes);
        dynamic_cast<zeSwitcher&>(*rule->m_classifier).add_rule(bin, "1");
        make_corpus();
        manager.m_modified = false;
        manager.m_config.last_trained = qtTimeDate(1);
    }

    // Replaces the corpus by the original one.
    void make_corpus() {
        corpus.corpus.msgs.clear();
        corpus.view.msgs.clear();
        corpus.add(message({{"goal", 1.0}, {"team", 1.0}}), {sport});
        corpus.add(message({{"bank", 1.0}, {"loan", 1.0}}), {money});
        corpus.add(message({{"boot", 1.0}, {"heel", 1.0}}), {shoes});
    }

    static MessageBuilder message(Weighted_list bag) {
        return MessageBuilder().bag(bag).bag_at(1, bag);
    }

    zeNode* inner(std::string_view name, unsigned int type) {
        return manager.m_physical_tree->MakeNode(term(name), type, zeNode::NoScore, 0.0);
    }

    zeNode* leaf(std::string_view name) {
        return manager.m_physical_tree->MakeNode(term(name), ZE_LEAF, 0, 0.0);
    }

    zeStat_matcher& matcher(zeNode* node) {
        return dynamic_cast<zeStat_matcher&>(*manager.m_physical_tree->get_classifier(node));
    }

    zeStat_storage& storage(zeNode* node) { return *matcher(node).m_storage; }

    // The number of messages that the node's classifier has counted.
    int msgs_at(zeNode* node) { return storage(node).m_num_msgs; }

    // The numbers for root, news and shop.
    std::vector<int> all_msgs() { return {msgs_at(root), msgs_at(news), msgs_at(shop)}; }

    // The number of messages that the node's classifier has counted for one child.
    int msgs_for(zeNode* node, zeNode* child) {
        return storage(node).profile(storage(node).get_profile(child)).m_num_msgs;
    }

    std::int64_t last_trained() const { return manager.m_config.last_trained.microseconds(); }

    zeManager manager;
    zeNode* root;
    zeNode* news;
    zeNode* shop;
    zeNode* sport;
    zeNode* money;
    zeNode* shoes;
    zeNode* rule;
    zeNode* bin;
    Small_corpus corpus;
};

#endif  // ZANDREL_TESTS_SUPPORT_TRAINED_TREE_H_
