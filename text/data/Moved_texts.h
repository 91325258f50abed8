// Moved_texts: the texts of one fold and all other texts, as two lists, without a copy.
#ifndef ZANDREL_TEXT_DATA_MOVED_TEXTS_H_
#define ZANDREL_TEXT_DATA_MOVED_TEXTS_H_

#include <cstddef>
#include <vector>

#include "text/data/Labelled_text.h"

namespace zandrel {

// The texts of a fold, and the others, while this object lives. Both lists keep the order of the
// texts, and their sizes must not change.
class Moved_texts {
public:
    // BORROWS: both lists. `folds`: the fold of each text.
    Moved_texts(std::vector<Labelled_text>& texts, const std::vector<std::size_t>& folds,
                std::size_t fold);
    Moved_texts(const Moved_texts&) = delete;
    Moved_texts& operator=(const Moved_texts&) = delete;
    // Moves all texts back to their places.
    ~Moved_texts();

    std::vector<Labelled_text> of_fold;
    std::vector<Labelled_text> others;

private:
    std::vector<Labelled_text>& m_texts;
    const std::vector<std::size_t>& m_folds;
    std::size_t m_fold;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_MOVED_TEXTS_H_
