// The split of one labelled corpus into a corpus for each statistical classifier of the tree.
//
// Up. From each label of a message we climb to the root. If no rule on this way blocks the message,
// each statistical node on the way gets the message, labelled with the child through which we came.
//
// Down, if the settings say `full_propogation`. From each rule node on such a way the message is
// also passed down, without a label, to the nearest statistical nodes that the rules let it reach.
// In classification these nodes meet the message too, so they have to learn that it is in no
// category of theirs.
//
// Example. The root and the nodes work and private have statistical classifiers, mail has rules:
//
//     root (statistical)
//       mail (rules)
//         work (statistical)      rule: "office"
//           invoices
//           meetings
//         private (statistical)   rule: "family"
//           holiday
//           school
//       sport
//
//     no.  labels            contains          root            work        private
//     0    invoices          office            mail            invoices
//     1    invoices          office, family    mail            invoices    without a label
//     2    holiday           office
//     3    meetings, sport   office            mail, sport     meetings
//
// For message 1 we climb from invoices over work and mail to the root. The rule of work lets it
// pass. The root gets it with the label mail, and work with the label invoices. The rule node mail
// passes it down: work has it already, and private gets it without a label, since its rule lets it
// pass. Message 2 is left out with a warning: its only way is closed by the rule of private.
// Message 3 has two ways, so the root gets it once with two labels. Training then gives the
// messages 0, 1 and 3 to the classifiers of the root and of work, and message 1 to the classifier
// of private.
//
// Cost. The way up from a label may lead over many nested rule nodes. Each of them would pass the
// message down through all rule nodes below it, and each step down would look ahead to the leaves:
// the third power of the depth. The rules give one message the same answer each time. So, for each
// message, `Ways_down` notes the rule nodes that have passed it down, and the answers of the look
// ahead. Each rule is then asked at most twice on the way down.
#include "zandrel/classification/zeWorkflow.h"

#include <cstddef>
#include <utility>

#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMsg.h"

namespace {

const Trace_file s_trace_file("zeWorkflow_distribute.cpp");

// One step down the tree.
struct Edge {
    zeNode* parent;
    zeNode* child;
};

// The edges still to be walked. We use a stack of our own and no recursion, since a deep tree would
// overflow the stack of the thread.
using Edges = std::vector<Edge>;

// Adds the edges to all children, so that the first is taken first.
void push_children(Edges& edges, zeNode* parent) {
    for (std::size_t i = parent->m_children.size(); i > 0; --i) {
        edges.push_back({parent, parent->m_children[i - 1]});
    }
}

Edge pop(Edges& edges) {
    const Edge last = edges.back();
    edges.pop_back();
    return last;
}

const zeCorpus_view::Msg& entry_of(const zeCorpus_view& view, int index) {
    return view.msgs[static_cast<std::size_t>(index)];
}

// The message at `index` of the view; null if its corpus cannot read it. We fetch it again for each
// step and do not keep it: a corpus may be larger than memory, and has a cache of its own.
qtPtrLight<zeMsg> fetch(const zeCorpus_view& view, int index) {
    zeCorpus& corpus = *view.corpus;
    return corpus.get_msg(corpus.get_msg(entry_of(view, index).index));
}

// Returns whether the tree lets the message pass from `node` to `child`.
bool is_open(zePhysicalTree& tree, zeNode* node, zeNode* child, const zeCorpus_view& view,
             int index) {
    const qtPtrLight<zeMsg> msg = fetch(view, index);
    return !msg.IsNull() && !tree.is_cat_blocked(node, child, *msg);
}

// The ways of one message down the tree.
class Ways_down {
public:
    explicit Ways_down(qtPtrLight<zePhysicalTree> tree) : m_tree(std::move(tree)) {}

    // Forgets the message.
    void clear() {
        m_answers.clear();
        m_passed.clear();
    }

    // Returns false if the node has passed the message down before. A second time would add
    // nothing.
    bool note_passed(const zeNode* node) { return m_passed.insert(node).second; }

    // As zeWorkflow::is_cat_blocked. The nodes of `m_begun` are a way down of which each step is
    // open. If it reaches a node without children, all its steps lead to one.
    bool is_blocked(const Edge& edge, zeMsg& msg) {
        m_begun.clear();
        bool is_open = enter(edge, msg);
        while (!is_open && !m_begun.empty()) {
            Begun& last = m_begun.back();
            const std::vector<zeNode*>& children = last.edge.child->m_children;
            if (last.next == children.size()) {
                m_answers[last.edge.child] = {last.edge.parent, false};
                m_begun.pop_back();
            } else {
                is_open = enter({last.edge.child, children[last.next++]}, msg);
            }
        }
        if (is_open) {
            for (const Begun& step : m_begun) {
                m_answers[step.edge.child] = {step.edge.parent, true};
            }
        }
        return !is_open;
    }

private:
    // A step into a node, and the next child to try there.
    struct Begun {
        Edge edge;
        std::size_t next = 0;
    };

    struct Answer {
        const zeNode* parent = nullptr;  // from which the node was entered
        bool is_open = false;
    };

    // Returns whether the step is known to lead to a node without children. If only the children
    // can decide that, they are the next ones to try.
    bool enter(const Edge& edge, zeMsg& msg) {
        const bool is_end = edge.child->m_children.empty();
        const auto answer = is_end ? m_answers.end() : m_answers.find(edge.child);
        if (answer != m_answers.end() && answer->second.parent == edge.parent) {
            return answer->second.is_open;
        }
        if (m_tree->is_cat_blocked(edge.parent, edge.child, msg)) {
            if (!is_end) {
                m_answers[edge.child] = {edge.parent, false};
            }
            return false;
        }
        if (!is_end) {
            m_begun.push_back({edge});
        }
        return is_end;
    }

    qtPtrLight<zePhysicalTree> m_tree;
    std::vector<Begun> m_begun;
    hash_map<const zeNode*, Answer, zePointer_hash> m_answers;  // by the child of the step
    hash_set<const zeNode*, zePointer_hash> m_passed;
};

// Passes the message down from one rule node. `ways`: of this message.
void pass_down(zeWorkflow& workflow, zeNode* node, zeWorkflow::Distribution& distribution,
               zeCorpus_view& view, int index, Ways_down& ways) {
    Edges edges;
    if (ways.note_passed(node)) {
        push_children(edges, node);
    }
    while (!edges.empty()) {
        const Edge step = pop(edges);
        const qtPtrLight<zeMsg> msg = fetch(view, index);
        if (msg.IsNull() || ways.is_blocked(step, *msg)) {
            continue;
        }
        if (step.child->m_classifier_type == ZE_STAT) {
            workflow.add_msg2distribution_map(distribution, step.child, view, index);
        } else if (step.child->m_classifier_type == ZE_RULE && ways.note_passed(step.child)) {
            push_children(edges, step.child);
        }
    }
}

void refuse_node(const qtString& text, const zeNode& node, int msg_no, bool ignore_invalid) {
    tracef(s_trace_file, zandrel::kTraceWarning, "%s", text.c_str());
    if (!ignore_invalid) {
        throw qtX<zeWorkflow>(1, text, {node.m_concept.text(), qtConvertLongToString(msg_no)});
    }
}

}  // namespace

void zeWorkflow::distribute_corpus(Distribution& distribution, zeCorpus_view& view,
                                   bool ignore_invalid) {
    Ways_down ways(m_manager->m_physical_tree);
    Node_set negatives(zandrel::kInitialBuckets);
    const auto msg_count = static_cast<int>(view.msgs.size());
    tracef(s_trace_file, zandrel::kTraceDebug, "Starting distribution of a corpus (%d msgs)",
           msg_count);
    for (int index = 0; index < msg_count; ++index) {
        negatives.clear();
        ways.clear();
        if (!distribute_to_ancestors(distribution, view, index, negatives, ignore_invalid)) {
            tracef(s_trace_file, zandrel::kTraceWarning,
                   "All the matching paths to the categories of message no. %d are blocked", index);
            continue;
        }
        for (zeNode* const node : zandrel::detail::in_id_order(negatives)) {
            m_manager->check_interrupt();
            pass_down(*this, node, distribution, view, index, ways);
        }
    }
    trace(s_trace_file, zandrel::kTraceDebug, "Distribution finished");
}

bool zeWorkflow::distribute_to_ancestors(Distribution& distribution, zeCorpus_view& view, int index,
                                         Node_set& negatives, bool ignore_invalid) {
    bool found = false;
    if (fetch(view, index).IsNull()) {
        return found;
    }
    const zeCorpus_view::Msg& entry = entry_of(view, index);
    for (zeNode* const cat : entry.cats) {
        m_manager->check_interrupt();
        if (cat->m_parent == nullptr) {
            report_invalid_node(cat, entry.index, ignore_invalid);
        } else {
            distribute_positive_msg2ancestors(cat->m_parent, cat, distribution, view, index, found,
                                              negatives, ignore_invalid);
        }
    }
    return found;
}

// We climb first, as long as the way is open. Only if we reach the root do the nodes on the way get
// the message, ancestors before descendants.
// NOLINTNEXTLINE(readability-function-size): the interface fixes the parameters.
bool zeWorkflow::distribute_positive_msg2ancestors(zeNode* node, zeNode* child,
                                                   Distribution& distribution, zeCorpus_view& view,
                                                   int index, bool& found, Node_set& negatives,
                                                   bool ignore_invalid) {
    const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
    Edges way = {{node, child}};
    bool open = is_open(*tree, node, child, view, index);
    while (open && way.back().parent->m_parent != nullptr) {
        zeNode* const top = way.back().parent;
        way.push_back({top->m_parent, top});
        open = is_open(*tree, top->m_parent, top, view, index);
    }
    zeNode* const top = way.back().parent;
    if (top->m_parent == nullptr && top != m_root) {
        report_invalid_node(top, entry_of(view, index).index, ignore_invalid);
        open = false;
    }
    if (!open) {
        return false;
    }
    found = true;
    while (!way.empty()) {
        const Edge step = pop(way);
        if (step.parent->m_classifier_type == ZE_STAT) {
            zeCorpus_view& own = add_msg2distribution_map(distribution, step.parent, view, index);
            own.add_cat2msg(static_cast<int>(own.msgs.size()) - 1, step.child);
        } else if (m_manager->m_config.full_propogation) {
            // A leaf blocks its children, so an open way leads only over classifiers: this is a
            // rule node.
            negatives.insert(step.parent);
        }
    }
    return true;
}

void zeWorkflow::distribute_negative_msg2children(zeNode* node, Distribution& distribution,
                                                  zeCorpus_view& view, int index) {
    Ways_down ways(m_manager->m_physical_tree);
    pass_down(*this, node, distribution, view, index, ways);
}

zeCorpus_view& zeWorkflow::add_msg2distribution_map(Distribution& distribution, zeNode* node,
                                                    zeCorpus_view& view, int index) {
    zeCorpus_view& own = distribution.try_emplace(node, view.corpus).first->second;
    const int id = entry_of(view, index).index;
    // Messages are distributed one after the other, so only the last one can be this one.
    if (own.msgs.empty() || own.msgs.back().index != id) {
        own.add_msg(id);
    }
    return own;
}

bool zeWorkflow::is_cat_blocked(zeNode* parent, zeNode* child, zeMsg& msg) {
    return Ways_down(m_manager->m_physical_tree).is_blocked({parent, child}, msg);
}

void zeWorkflow::report_invalid_node(zeNode* node, int msg_no, bool ignore_invalid) {
    refuse_node(qtString("The KB doesn't contain a category \"") + node->m_concept.c_str() +
                    "\" that appears in msg no. " + qtConvertLongToString(msg_no) +
                    " of the corpus",
                *node, msg_no, ignore_invalid);
}
