#include "zandrel/knowledge/zeLogicalTree.h"

zeLogicalTree::zeLogicalTree(zeManager* owner)
    : nodes(kInitialBuckets), finder(kInitialBuckets), manager(owner) {}

void zeLogicalTree::Clear() {
    nodes.clear();
    finder.clear();
    next_id = 0;
}
