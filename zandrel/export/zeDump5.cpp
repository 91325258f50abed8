// The walk over the classifiers, and the conversion of rules and profiles.
//
// The tree can be deep, so a list of steps replaces recursion; the last step is the next one. For
// example, the rule node `root` has the children `a` (a statistical node with the category `x`) and
// `b` (a leaf):
//
//   AddSwitcher(root)    left: b, a
//   Visit(a)             adds a to root, then AddStatMatcher(a) adds x to a.  left: b, x
//   Visit(x)             x has no classifier.  left: b
//   Visit(b)             adds b to root
//
// In cached form, fetching a classifier may release another one. So a matcher is converted
// completely before the next fetch, and a step has a node instead of a classifier.
#include "zandrel/export/zeDump5.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/export/Kept_selection.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_trainer.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hfile64.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"
#include "zandrel/storage/record_io.h"

static_assert(Profile::kLikelihoodSize == Zandrel::LIKELIHOOD_SIZE);

using zandrel::detail::for_each_run;

namespace {

constexpr const char* kEncoding = "Windows-1252";
constexpr std::string_view kInternal = "_Internal";

qtString name_of(const zeNode* node) {
    return node == nullptr ? qtString() : node->m_concept.text();
}

HierarchicalMapingNode* add_child(const zeNode* node, HierarchicalMapingNode* target) {
    const qtString name = name_of(node);
    HierarchicalMapingNode* const child = target->AddChild(name);
    if (child == nullptr) {
        throw qtX<zeDump5>(1, "Can't add child", {name});
    }
    return child;
}

}  // namespace

zeDump5::zeDump5(zeManager* manager) : m_manager(manager) {
    m_group.encoding = kEncoding;
}

zeDump5::~zeDump5() = default;

void zeDump5::Dump(const qtString& path, bool zero_scores) {
    m_zero_scores = zero_scores;
    ConvertToKB();
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    m_group.Write(io);
    Hfile64 file;
    file.Open(path, 'w');
    for_each_run(record, 0, record.size,
                 [&file](char* bytes, unsigned int byte_count) { file.Write(bytes, byte_count); });
    file.Close();
}

void zeDump5::Dump(qtBuffer& buffer, bool zero_scores) {
    m_zero_scores = zero_scores;
    ConvertToKB();
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    m_group.Write(io);
    std::vector<char> bytes;
    bytes.reserve(record.size);
    for_each_run(record, 0, record.size, [&bytes](const char* run, unsigned int byte_count) {
        bytes.insert(bytes.end(), run, run + byte_count);
    });
    buffer.bytes.swap(bytes);
}

void zeDump5::ConvertToKB() {
    m_group.Clear();
    if (m_manager->m_compact) {
        throw qtX<zeDump5>(2, "Operation cannot be performed on compact KB");
    }
    try {
        m_group.maping.Restart(name_of(m_manager->m_root));
        zeClassifier* const root = m_manager->GetRootClassifier();
        if (root != nullptr) {
            DumpClassifier(root, &m_group.maping.root());
        }
    } catch (...) {
        m_group.Clear();
        throw;
    }
}

void zeDump5::DumpClassifier(zeClassifier* classifier, HierarchicalMapingNode* target) {
    Walk walk;
    AddClassifier(*classifier, target, walk);
    Finish(walk);
}

void zeDump5::DumpSwitcher(zeSwitcher* switcher, HierarchicalMapingNode* target) {
    Walk walk;
    AddSwitcher(*switcher, target, walk);
    Finish(walk);
}

void zeDump5::DumpStatMatcher(zeStat_matcher* matcher, HierarchicalMapingNode* target) {
    Walk walk;
    AddStatMatcher(*matcher, target, walk);
    Finish(walk);
}

void zeDump5::Finish(Walk& walk) {
    while (!walk.left.empty()) {
        const Step step = std::move(walk.left.back());
        walk.left.pop_back();
        Visit(step, walk);
    }
}

// The name is that of the logical tree, whose category the physical node mirrors.
bool zeDump5::IsInternal(zeNode* node) const {
    return m_manager->m_logical_tree->FindCategory(node).category.view() == kInternal;
}

void zeDump5::Visit(const Step& step, Walk& walk) {
    HierarchicalMapingNode* target = step.target;
    if (step.is_ruled && !IsInternal(step.node)) {
        target = AddRule(step.rule, step.node, target);
    }
    if (walk.visited.count(step.node) != 0) {
        return;
    }
    zeClassifier* const classifier = m_manager->m_physical_tree->get_classifier(step.node);
    if (classifier != nullptr) {
        AddClassifier(*classifier, target, walk);
    }
}

void zeDump5::AddClassifier(zeClassifier& classifier, HierarchicalMapingNode* target, Walk& walk) {
    m_manager->check_interrupt();
    if (classifier.GetType() == ZE_RULE) {
        AddSwitcher(dynamic_cast<zeSwitcher&>(classifier), target, walk);
    } else {
        AddStatMatcher(dynamic_cast<zeStat_matcher&>(classifier), target, walk);
    }
}

void zeDump5::AddSwitcher(zeSwitcher& switcher, HierarchicalMapingNode* target, Walk& walk) const {
    walk.visited.insert(switcher.m_node);
    if (switcher.m_default != nullptr) {
        const qtString name = name_of(switcher.m_node);
        throw qtX<zeDump5>(0, name + " Has a default category; conversion not possible", {name});
    }
    const std::vector<zeNode*> children = zandrel::detail::in_id_order(switcher.m_rules);
    for (auto child = children.rbegin(); child != children.rend(); ++child) {
        walk.left.push_back(
            {*child, target, true, ConvertRule(switcher.m_rules.at(*child).text(), m_zero_scores)});
    }
}

void zeDump5::AddStatMatcher(zeStat_matcher& matcher, HierarchicalMapingNode* target, Walk& walk) {
    walk.visited.insert(matcher.m_node);
    zeStat_storage& storage = *matcher.m_storage;
    zeStat_trainer trainer(storage);  // completes the model
    const zandrel::detail::Kept_selection at_end(storage);
    trainer.calculate_feature_selection();
    const std::size_t first = walk.left.size();
    for (int iprofile = 0; iprofile < storage.profile_count(); ++iprofile) {
        zeNode* const node = storage.profile(iprofile).m_node;
        if (node == nullptr) {
            continue;  // lost, and so no result of the matcher either
        }
        HierarchicalMapingNode* const child = add_child(node, target);
        Profile converted;
        convert_profile(storage, iprofile, converted);
        child->profile = m_group.AddProfile(std::move(converted));
        walk.left.push_back({node, child, false, {}});
    }
    std::reverse(walk.left.begin() + static_cast<std::ptrdiff_t>(first), walk.left.end());
}

HierarchicalMapingNode* zeDump5::AddRule(const qtString& rule, zeNode* node,
                                         HierarchicalMapingNode* target) {
    HierarchicalMapingNode* const child = add_child(node, target);
    child->rule = rule;
    return child;
}

// A selection leaves the features in the order of a heap, which depends on the order of a hash
// table. So they are sorted.
void zeDump5::convert_profile(zeStat_storage& storage, int iprofile, Profile& converted) {
    const zeStat_storage::Profile& profile = storage.profile(iprofile);
    converted.name = name_of(profile.m_node);
    converted.size = profile.m_size;
    converted.num_msgs = profile.m_num_msgs;
    converted.weight = profile.m_weight;
    converted.M = profile.m_M;
    converted.weights.clear();
    converted.weights.reserve(profile.m_weights.size());
    for (const zeStat_storage::Weight& selected : profile.m_weights) {
        converted.weights.push_back({selected.m_concept.text(), selected.m_value});
    }
    std::sort(converted.weights.begin(), converted.weights.end(),
              [](const Profile::Weight& left, const Profile::Weight& right) {
                  return left.text < right.text;
              });
    // A model keeps its tables when they are switched off, but its record does not have them.
    converted.likelihood.fill(0.0);
    if (storage.m_use_train_likelihood) {
        converted.likelihood = profile.m_likelihood;
    }
}

qtString zeDump5::ConvertStr(const qtString& text, const qtString& from, const qtString& to) {
    if (from.empty()) {
        return text;
    }
    qtString converted;
    std::string_view rest = text.view();
    for (std::size_t found = rest.find(from.view()); found != std::string_view::npos;
         found = rest.find(from.view())) {
        converted.append(rest.substr(0, found));
        converted += to;
        rest.remove_prefix(found + from.size());
    }
    return converted.append(rest);
}

qtString zeDump5::ConvertRule(const qtString& rule, bool zero_scores) {
    const qtString converted = ConvertStr(rule, "parent_score", "stat_matching");
    return zero_scores ? ConvertStr(converted, "stat_matching", "0") : converted;
}
