// Each text is in exactly one of the two lists. The fold of a text says in which, so the way back
// needs no further list.
#include "text/data/Moved_texts.h"

#include <utility>

namespace zandrel {

Moved_texts::Moved_texts(std::vector<Labelled_text>& texts, const std::vector<std::size_t>& folds,
                         std::size_t fold)
    : m_texts(texts), m_folds(folds), m_fold(fold) {
    for (std::size_t i = 0; i < texts.size(); ++i) {
        (folds[i] == fold ? of_fold : others).push_back(std::move(texts[i]));
    }
}

Moved_texts::~Moved_texts() {
    auto next_of_fold = of_fold.begin();
    auto next_of_others = others.begin();
    for (std::size_t i = 0; i < m_texts.size(); ++i) {
        m_texts[i] = std::move(m_folds[i] == m_fold ? *next_of_fold++ : *next_of_others++);
    }
}

}  // namespace zandrel
