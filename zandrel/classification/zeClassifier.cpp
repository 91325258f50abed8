// The parts of zeClassifier that all classifiers share: the start of the record, and children that
// are open unless a class says otherwise.
#include "zandrel/classification/zeClassifier.h"

#include "zandrel/knowledge/zeNode.h"

zeClassifier::~zeClassifier() = default;

void zeClassifier::Dump(Hio<HSegment>& io) const {
    zeBase::Dump(io);
    io << zandrel::detail::reference_to(m_node);
}

bool zeClassifier::is_changed() const noexcept {
    return m_dirty;
}

void zeClassifier::set_written() noexcept {
    m_dirty = false;
}

bool zeClassifier::is_cat_blocked(zeNode* const& /*child*/, zeMsg& /*msg*/) {
    return false;
}
