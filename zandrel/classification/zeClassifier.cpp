#include "zandrel/classification/zeClassifier.h"

#include "zandrel/knowledge/zeNode.h"

zeClassifier::~zeClassifier() = default;

void zeClassifier::Dump(Hio<HSegment>& io) const {
    zeBase::Dump(io);
    io << (m_node == nullptr ? 0U : m_node->m_node_id);
}

bool zeClassifier::is_cat_blocked(zeNode* const& /*child*/, zeMsg& /*msg*/) {
    return false;
}
