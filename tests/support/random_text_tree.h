// Random_text_tree: random trees for tests of the text form. Sizes, depths, names and rules vary.
#ifndef ZANDREL_TESTS_SUPPORT_RANDOM_TEXT_TREE_H_
#define ZANDREL_TESTS_SUPPORT_RANDOM_TEXT_TREE_H_

#include <cstddef>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "tests/support/bags.h"
#include "tests/support/logical_tree.h"

// Makes a random tree by AddLogicalNode. The names have brackets, quotes, white space and bytes
// above 127. They stay different when their white space becomes blanks, since two names that become
// equal are refused when the text is loaded.
class Random_text_tree {
public:
    Random_text_tree(unsigned int seed, bool has_names, bool has_defaults)
        : m_random(seed), m_has_defaults(has_defaults) {
        kc.manager.m_compat55 = has_names;
    }

    void Grow(std::size_t size) {
        AddNode(0, Below(2) == 0 ? ZE_RULE : ZE_STAT, "");
        while (kc.tree.nodes.size() < size) {
            AddBelow(1 + Below(kc.tree.next_id));
        }
    }

    // Moves and deletes nodes. Edits that the tree refuses are left out.
    void Edit(std::size_t count) {
        for (; count > 0; --count) {
            const unsigned int id = 1 + Below(kc.tree.next_id);
            try {
                if (Below(3) == 0) {
                    kc.tree.DelLogicalNode(id, true);
                } else {
                    kc.tree.MoveLogicalNode(id, 1 + Below(kc.tree.next_id));
                }
            } catch (const qtX<zeLogicalTree>&) {
                ++m_refused_count;
            }
        }
    }

    std::size_t RefusedCount() const { return m_refused_count; }

    Edited_container kc;

private:
    unsigned int Below(std::size_t end) {
        return static_cast<unsigned int>(m_random() % static_cast<unsigned int>(end));
    }

    void AddBelow(unsigned int parent) {
        const zeLogicalNode& above = kc.Node(parent);
        const bool may_have_rule =
            above.type == ZE_RULE || (above.type == ZE_LEAF && above.children.empty());
        const bool has_rule = above.type == ZE_RULE || (may_have_rule && Below(3) == 0);
        AddNode(parent, Below(3), has_rule ? AnyRule(above) : "");
    }

    void AddNode(unsigned int parent, unsigned int type, const qtString& rule) {
        zeLogicalNode node = node_to_add(parent, AnyName(), rule, type);
        node.attributes = static_cast<unsigned char>(Below(2));
        if (kc.manager.m_compat55) {
            node.name = Below(2) == 0 ? node.category : term(AnyName());
        }
        kc.tree.AddLogicalNode(node);
    }

    qtString AnyRule(const zeLogicalNode& parent) {
        if (m_has_defaults && !HasDefault(parent) && Below(4) == 0) {
            return "default";
        }
        static const std::vector<qtString> kRules = {
            "1", "$a(n) > 1", "\"[a]\"", "\"caf\xC3\xA9\" |\t\"x\"", "( \"a\" & true )\n", " 0.5 "};
        return kRules[Below(kRules.size())];
    }

    bool HasDefault(const zeLogicalNode& parent) const {
        for (const unsigned int child : parent.children) {
            if (kc.Node(child).rule == "default") {
                return true;
            }
        }
        return false;
    }

    std::string AnyName() {
        static const std::vector<std::string> kPieces = {
            "[",  "]", "[]", "a",  "b", " ",    "\t",       "\n",   "\r\n", "\v",
            "\f", "/", "\\", "\"", "+", "\x01", "\xC3\xA9", "\xFF", "\x80", std::string(1, '\0')};
        while (true) {
            std::string name;
            for (unsigned int count = 1 + Below(6); count > 0; --count) {
                name += kPieces[Below(kPieces.size())];
            }
            if (m_used.insert(kc.tree.PutString(name).str()).second) {
                return name;
            }
        }
    }

    std::mt19937 m_random;
    bool m_has_defaults;
    std::size_t m_refused_count = 0;
    std::set<std::string> m_used;  // the names as they are written
};

#endif  // ZANDREL_TESTS_SUPPORT_RANDOM_TEXT_TREE_H_
