// Rule_node: a manager whose root is a rule node, and the root's classifier.
#ifndef ZANDREL_TESTS_SUPPORT_RULE_NODE_H_
#define ZANDREL_TESTS_SUPPORT_RULE_NODE_H_

#include <string_view>
#include <vector>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "tests/support/bags.h"

// The root has the id 1; leaves get the next ids in the order of creation.
struct Rule_node {
    Rule_node() {
        manager.m_root = node;
        switcher.m_dirty = false;
    }

    zeNode* leaf(std::string_view name) {
        return manager.m_physical_tree->MakeNode(term(name), ZE_LEAF, 0, 0.0);
    }

    // Adds a leaf with this rule.
    zeNode* leaf(std::string_view name, const qtString& rule) {
        zeNode* const made = leaf(name);
        add(made, rule);
        return made;
    }

    void add(zeNode* cat, const qtString& rule) { switcher.add_rule(cat, rule); }

    void change(zeNode* cat, const qtString& rule) { switcher.change_rule(cat, rule); }

    std::vector<zeNode*> all_categories() {
        std::vector<zeNode*> cats;
        switcher.get_all_categories(cats);
        return cats;
    }

    zeManager manager;
    zeNode* node = manager.m_physical_tree->MakeNode(term("root"), ZE_RULE, 0, 0.0);
    zeSwitcher& switcher = dynamic_cast<zeSwitcher&>(*node->m_classifier);
};

#endif  // ZANDREL_TESTS_SUPPORT_RULE_NODE_H_
