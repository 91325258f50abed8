#include "tests/support/logical_tree.h"

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <utility>

#include "zandrel/statistics/zeStat_storage.h"

namespace {

// The entries of a table in the order of their keys.
template <class Table>
auto Sorted(const Table& table) {
    using Entry = std::pair<typename Table::key_type, const typename Table::mapped_type*>;
    std::vector<Entry> entries;
    entries.reserve(table.size());
    for (const auto& [key, value] : table) {
        entries.emplace_back(key, &value);
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

unsigned int IdOf(const zeNode* node) {
    return node == nullptr ? 0 : node->m_node_id;
}

void Write(std::ostream& out, const zeLogicalNode& node) {
    out << "  " << node.id << " type=" << unsigned{node.type}
        << " attributes=" << unsigned{node.attributes} << " threshold=" << node.threshold
        << " category='" << node.category.view() << "' name='" << node.name.view() << "' rule='"
        << node.rule.view() << "' note1='" << node.note1.view() << "' note2='" << node.note2.view()
        << "' parent=" << node.parent << " physical=" << IdOf(node.physical_node) << " children=";
    for (const unsigned int child : node.children) {
        out << ' ' << child;
    }
    out << '\n';
}

void Write(std::ostream& out, const zeNode& node) {
    out << "  " << node.m_node_id << " '" << node.m_concept.view()
        << "' type=" << unsigned{node.m_classifier_type} << " flags=" << unsigned{node.m_flags}
        << " threshold=" << node.m_threshold << " classifier=" << node.m_classifier_id
        << (node.m_classifier == nullptr ? " absent" : " present")
        << " parent=" << IdOf(node.m_parent) << " children=";
    for (const zeNode* child : node.m_children) {
        out << ' ' << IdOf(child);
    }
    out << '\n';
}

void Write(std::ostream& out, const zeSwitcher& switcher) {
    std::map<unsigned int, qtString> rules;
    for (const auto& [child, rule] : switcher.m_rules) {
        rules[IdOf(child)] = rule.text();
    }
    out << " node=" << IdOf(switcher.m_node) << " default=" << IdOf(switcher.m_default);
    for (const auto& [child, rule] : rules) {
        out << ' ' << child << ":'" << rule.view() << '\'';
    }
}

void Write(std::ostream& out, const zeStat_matcher& matcher) {
    out << " node=" << IdOf(matcher.m_node) << " storage=" << matcher.m_storage->m_id << " table:";
    for (const auto& [feature, pairs] : Sorted(matcher.m_table.rows())) {
        out << " '" << feature.view() << '\'';
        for (const zeStat_matcher::Concept_weight& pair : *pairs) {
            out << ' ' << pair.m_iprofile << '=' << pair.m_weight;
        }
    }
}

void Write(std::ostream& out, const zeStat_storage& storage) {
    out << " msgs=" << storage.m_num_msgs << " weight=" << storage.m_total_weight << " concepts:";
    for (const auto& [known, info] : Sorted(storage.m_concept_infos)) {
        out << " '" << known.view() << "'=" << info->m_weight << '/' << info->m_rate << '/'
            << info->m_num_Ps;
    }
    for (const auto& profile : storage.m_profiles) {
        out << " profile " << IdOf(profile->m_node) << " msgs=" << profile->m_num_msgs
            << " weight=" << profile->m_weight << " M=" << profile->m_M << ':';
        for (const auto& [known, P] : Sorted(profile->m_Ps)) {
            out << " '" << known.view() << "'=" << P->m_weight;
        }
    }
}

void Write(std::ostream& out, const zeBase& object) {
    out << "  " << object.m_id << " type=" << object.GetType() << " dirty=" << object.m_dirty;
    if (const auto* const switcher = dynamic_cast<const zeSwitcher*>(&object)) {
        Write(out, *switcher);
    } else if (const auto* const matcher = dynamic_cast<const zeStat_matcher*>(&object)) {
        Write(out, *matcher);
    } else if (const auto* const storage = dynamic_cast<const zeStat_storage*>(&object)) {
        Write(out, *storage);
    }
    out << '\n';
}

void WritePhysicalTree(std::ostream& out, const zePhysicalTree& tree) {
    out << "physical nodes, last id " << tree.m_last_node_id << '\n';
    for (const auto& [id, node] : Sorted(tree.m_nodes)) {
        Write(out, *node);
    }
    out << "leaves\n";
    for (const auto& [category, leaves] : Sorted(tree.m_finder)) {
        out << "  '" << category.view() << "':";
        for (const zeNode* leaf : *leaves) {
            out << ' ' << IdOf(leaf);
        }
        out << '\n';
    }
}

// The addresses of all living nodes and objects of a container.
class Living {
public:
    explicit Living(zeManager& manager) {
        for (const auto& [id, node] : manager.m_physical_tree->m_nodes) {
            m_nodes.insert(&node);
        }
        for (const auto& [id, object] : manager.m_objects) {
            m_objects.insert(object);
        }
    }

    bool HasNode(const zeNode* node) const { return node == nullptr || m_nodes.count(node) != 0; }

    bool HasObject(const zeBase* object) const {
        return object == nullptr || m_objects.count(object) != 0;
    }

    bool HasNodes(const std::vector<zeNode*>& nodes) const {
        return std::all_of(nodes.begin(), nodes.end(),
                           [this](const zeNode* node) { return HasNode(node); });
    }

private:
    std::set<const zeNode*> m_nodes;
    std::set<const zeBase*> m_objects;
};

// Collects the faults of a container, one line for each.
class Faults {
public:
    void Unless(bool holds, const std::string& where, const char* what) {
        if (!holds) {
            m_lines += where + ": " + what + '\n';
        }
    }

    const std::string& Lines() const { return m_lines; }

private:
    std::string m_lines;
};

std::string Name(const char* kind, unsigned int id) {
    return kind + (' ' + std::to_string(id));
}

void FindDangling(Faults& faults, const Living& living, const zeNode& node) {
    const std::string where = Name("physical node", node.m_node_id);
    faults.Unless(living.HasNodes(node.m_children), where, "children");
    faults.Unless(living.HasNode(node.m_parent), where, "parent");
    faults.Unless(living.HasObject(node.m_classifier), where, "classifier");
}

void FindDangling(Faults& faults, const Living& living, zeBase& object) {
    auto* const classifier = dynamic_cast<zeClassifier*>(&object);
    if (classifier == nullptr) {
        return;
    }
    const std::string where = Name("object", object.m_id);
    std::vector<zeNode*> categories;
    classifier->get_all_categories(categories);
    faults.Unless(living.HasNodes(categories), where, "categories");
    faults.Unless(living.HasNode(classifier->m_node), where, "node");
    if (const auto* const matcher = dynamic_cast<zeStat_matcher*>(classifier)) {
        const zeStat_storage& storage = *matcher->m_storage;
        faults.Unless(living.HasObject(&storage), where, "storage");
        faults.Unless(storage.m_profile_index.size() == storage.m_profiles.size(), where, "index");
    }
}

void FindDangling(Faults& faults, const Living& living, const zeLogicalTree& tree) {
    for (const auto& [id, node] : tree.nodes) {
        faults.Unless(living.HasNode(node.physical_node), Name("node", id), "physical node");
    }
    for (const auto& [physical, id] : tree.finder) {
        faults.Unless(living.HasNode(physical), Name("finder", id), "physical node");
    }
}

void FindUnmirrored(Faults& faults, const zeLogicalTree& tree, const zeLogicalNode& node) {
    const std::string where = Name("node", node.id);
    const zeNode& physical = *node.physical_node;
    faults.Unless(&tree.FindCategory(node.physical_node) == &node, where, "finder");
    faults.Unless(physical.m_concept == node.category, where, "category");
    faults.Unless(physical.m_classifier_type == node.type, where, "type");
    faults.Unless(physical.m_flags == node.attributes, where, "attributes");
    faults.Unless(physical.m_threshold == node.threshold, where, "threshold");
    faults.Unless((physical.m_classifier != nullptr) == (node.type != ZE_LEAF), where,
                  "classifier");
}

void FindUndecided(Faults& faults, const zeLogicalTree& tree, const zeLogicalNode& node) {
    const std::string where = Name("node", node.id);
    if (node.parent == 0) {
        faults.Unless(node.id == 1, where, "has no parent");
        faults.Unless(node.physical_node == tree.manager->m_root, where, "is not the root");
        return;
    }
    const auto& siblings = tree.GetNode(node.parent).children;
    faults.Unless(std::count(siblings.begin(), siblings.end(), node.id) == 1, where,
                  "not once among its parent's children");
    const zeClassifier* const above = tree.GetRealParent(node.parent);
    faults.Unless(node.physical_node->m_parent == above->m_node, where, "physical parent");
    if (const auto* const switcher = dynamic_cast<const zeSwitcher*>(above)) {
        faults.Unless(switcher->get_rule(node.physical_node) == node.rule, where, "rule");
    }
}

// The ids of the nodes that the logical tree assigns to the classifier of a node.
std::vector<unsigned int> SonsOf(const zeLogicalTree& tree, const zeLogicalNode& node) {
    std::vector<zeLogicalNode*> sons;
    tree.GatherSons(&node, sons);
    std::vector<unsigned int> ids;
    ids.reserve(sons.size());
    for (const zeLogicalNode* son : sons) {
        ids.push_back(son->id);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

std::vector<unsigned int> CategoriesOf(const zeLogicalTree& tree, zeClassifier& classifier) {
    std::vector<zeNode*> categories;
    classifier.get_all_categories(categories);
    std::vector<unsigned int> ids;
    ids.reserve(categories.size());
    for (zeNode* category : categories) {
        ids.push_back(tree.FindCategory(category).id);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

}  // namespace

std::string DumpLogicalTree(const zeLogicalTree& tree) {
    std::ostringstream out;
    out.precision(17);
    out << "logical nodes, last id " << tree.next_id << '\n';
    for (const auto& [id, node] : Sorted(tree.nodes)) {
        Write(out, *node);
    }
    out << "finder:";
    std::map<unsigned int, unsigned int> finder;
    for (const auto& [physical, id] : tree.finder) {
        finder[id] = IdOf(physical);
    }
    for (const auto& [id, physical] : finder) {
        out << ' ' << physical << "->" << id;
    }
    out << "\nnot found\n";
    Write(out, tree.not_found_node);
    return out.str();
}

std::string DumpState(zeManager& manager) {
    std::ostringstream out;
    out.precision(17);
    out << "root=" << IdOf(manager.m_root) << " modified=" << manager.m_modified
        << " compat55=" << manager.m_compat55 << '\n'
        << DumpLogicalTree(*manager.m_logical_tree);
    WritePhysicalTree(out, *manager.m_physical_tree);
    out << "objects, last id " << manager.m_last_object_id << '\n';
    for (const auto& [id, object] : Sorted(manager.m_objects)) {
        Write(out, **object);
    }
    return out.str();
}

void ExpectSound(zeManager& manager) {
    ExpectNoDanglingPointers(manager);
    const zeLogicalTree& tree = *manager.m_logical_tree;
    Faults faults;
    faults.Unless(tree.finder.size() == tree.nodes.size(), "finder", "size");
    faults.Unless(manager.m_physical_tree->m_nodes.size() == tree.nodes.size(), "physical tree",
                  "size");
    for (const auto& [id, node] : tree.nodes) {
        faults.Unless(node.id == id && id <= tree.next_id, Name("node", id), "id");
        FindUnmirrored(faults, tree, node);
        FindUndecided(faults, tree, node);
        faults.Unless(
            node.type == ZE_LEAF ||
                CategoriesOf(tree, *node.physical_node->m_classifier) == SonsOf(tree, node),
            Name("node", id), "categories of its classifier");
    }
    EXPECT_EQ(faults.Lines(), "");
}

void ExpectNoDanglingPointers(zeManager& manager) {
    const Living living(manager);
    Faults faults;
    faults.Unless(living.HasNode(manager.m_root), "manager", "root");
    for (const auto& [id, node] : manager.m_physical_tree->m_nodes) {
        FindDangling(faults, living, node);
    }
    for (const auto& [category, leaves] : manager.m_physical_tree->m_finder) {
        faults.Unless(living.HasNodes(leaves), "leaves", category.c_str());
    }
    FindDangling(faults, living, *manager.m_logical_tree);
    for (const auto& [id, object] : manager.m_objects) {
        FindDangling(faults, living, *object);
    }
    EXPECT_EQ(faults.Lines(), "");
}

std::vector<unsigned int> Edited_container::Categories(unsigned int id) const {
    return CategoriesOf(tree, *Physical(id)->m_classifier);
}
