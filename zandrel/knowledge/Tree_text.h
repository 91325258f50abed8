// Tree_text: the text form of a logical tree, line by line.
#ifndef ZANDREL_KNOWLEDGE_TREE_TEXT_H_
#define ZANDREL_KNOWLEDGE_TREE_TEXT_H_

#include <iosfwd>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/knowledge/zeLogicalTree.h"

namespace zandrel {

// Adds lines of the text form to a tree. docs/formats/tree.md describes the form: one line for each
// node, parents before their children. zeLogicalTree::LoadText adds a whole file in this way. A
// program that reads the lines itself can say in which line an error is.
//
//     zandrel::Tree_text text(tree);
//     text.AddLine("+\t[Stat]\t[NoScore]\t[]\t[root]\t[]");
//     text.AddLine("++\t[Leaf]\t[Score]\t[]\t[sport]\t[]");
//
// Errors: qtX<zeLogicalTree>, see AddLine.
// Threads: as zeLogicalTree.
class ZANDREL_EXPORT Tree_text {
public:
    // The treatment of a line whose rule is "[default]". The word is not an expression, so it does
    // not compile.
    enum class Default_rule {
        kRefused,   // 1 "Invalid rule: [default]"
        kAccepted,  // the node is added with the rule "0", which is then changed to "default"
    };

    // BORROWS: `tree`, which must outlive this. The first line must be at level 1, so the tree must
    // be empty.
    explicit Tree_text(zeLogicalTree& tree, Default_rule default_rule = Default_rule::kRefused)
        : m_tree(tree), m_default_rule(default_rule) {}

    // Adds the node of a line, which is given without its end, and returns the node's id. A name
    // that differs from the category switches the manager to 55 compatibility mode, also if the
    // line is refused later.
    // RAISES: 1 with the texts of docs/errors.md for a line that does not have the form; what
    // zeLogicalTree::AddLogicalNode raises. No node is added then, and the level of the next line
    // is compared with that of the last line that was added.
    unsigned int AddLine(const qtString& line);

    // Writes a node and all nodes below it. The lines of the node and its children begin with
    // `level` and `level` + 1 plus signs; a level below 0 has none. An unknown id writes nothing. A
    // node that lists of children reach twice is written once. The caller looks at the state of
    // `out` for errors.
    static void Write(const zeLogicalTree& tree, unsigned int id, int level, std::ostream& out);

private:
    zeLogicalNode ReadNode(const qtString& line);
    unsigned int AddDefault(zeLogicalNode& node);

    zeLogicalTree& m_tree;
    Default_rule m_default_rule;
    // The ids on the way to the node of the last line: the parent of the root, 0, and then one id
    // for each level.
    std::vector<unsigned int> m_way = {0};
};

}  // namespace zandrel

#endif  // ZANDREL_KNOWLEDGE_TREE_TEXT_H_
