#include "zandrel/classification/zeClassifier.h"

#include <cstddef>
#include <map>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/support/bags.h"

namespace {

// Implements only the pure virtual functions.
class Plain_classifier : public zeClassifier {
public:
    Plain_classifier(zeManager* manager, zeNode* node) : zeClassifier(manager, node) {}

    unsigned int GetType() const override { return ZE_STAT; }

    void classify(zeMsg& /*msg*/, zeResult_set& /*results*/, double /*node_score*/,
                  bool /*use_thresholds*/) override {}

    void get_all_categories(std::vector<zeNode*>& /*cats*/) override {}

    void global_replace(std::map<zeNode*, zeNode*>& /*replacement*/) override {}

    bool has_rules() const override { return false; }

    std::size_t category_count() const override { return 0; }

    bool knows(zeNode* /*category*/) const override { return false; }

    void add_category(zeNode* /*category*/, const qtString& /*rule*/) override {}

    void change_category_rule(zeNode* /*category*/, const qtString& /*rule*/) override {}

    void remove_category(zeNode* /*category*/, bool /*remove_concepts*/) override {}

    void drop_category(zeNode* /*category*/) override {}

    void rebuild_table() override {}
};

TEST(zeClassifierTest, KnowsItsNodeAndManager) {
    zeManager manager;
    zeNode node(term("root"));

    const zeClassifier* const classifier = new Plain_classifier(&manager, &node);

    EXPECT_EQ(classifier->m_node, &node);
    EXPECT_EQ(classifier->m_manager, &manager);
}

TEST(zeClassifierTest, ConstructorDoesNotChangeTheNode) {
    zeNode node(term("root"));

    const Plain_classifier classifier(nullptr, &node);

    EXPECT_EQ(node.m_classifier, nullptr);
    EXPECT_EQ(node.m_classifier_type, ZE_LEAF);
}

TEST(zeClassifierTest, BlocksNoChildByDefault) {
    zeNode child(term("sport"));
    Plain_classifier classifier(nullptr, nullptr);
    zeMsg msg;

    EXPECT_FALSE(classifier.is_cat_blocked(&child, msg));
}

}  // namespace
