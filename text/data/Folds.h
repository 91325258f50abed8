// Folds: divides labelled texts into parts in which each label has its share.
#ifndef ZANDREL_TEXT_DATA_FOLDS_H_
#define ZANDREL_TEXT_DATA_FOLDS_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "text/data/Labelled_text.h"

namespace zandrel {

// The labels of each text, each once.
// BORROWS: the lists.
using Label_lists = std::vector<std::reference_wrapper<const std::vector<std::string>>>;

Label_lists label_lists_of(const std::vector<Labelled_text>& texts);

constexpr std::uint64_t kDefaultSeed = 1;

// Returns the fold of each text, from 0 to `fold_count` - 1. The folds depend only on the order of
// the texts, their labels, `fold_count` and `seed`: they are the same on every machine. No fold is
// empty if there are at least as many texts as folds.
//
// If each text has one label, the sizes of two folds differ by at most 1, and so do their numbers
// of texts of each label. If texts have several labels, both are only approximately true.
// REQUIRES: fold_count > 0.
std::vector<std::size_t> folds_of(const Label_lists& texts, std::size_t fold_count,
                                  std::uint64_t seed);

// Returns for each text the number of the first text that is identical to it, which can be its own
// number. Labels, titles and keywords do not matter. An empty text, or a text that stays in a
// corpus file, is identical only to itself.
std::vector<std::size_t> first_copies(const std::vector<Labelled_text>& texts);

// As folds_of, but identical texts are in the same fold: a model that has learned a copy of a text
// would answer it too well. The first copies are divided as folds_of does, and the others follow
// them. So without copies the result is that of folds_of, and with many copies the sizes of the
// folds differ. No fold is empty if there are at least as many different texts as folds.
// `first_copies`: the number of the first copy of each text, from the function of this name.
// REQUIRES: fold_count > 0; as many first copies as texts.
std::vector<std::size_t> folds_of_copies(const Label_lists& texts,
                                         const std::vector<std::size_t>& first_copies,
                                         std::size_t fold_count, std::uint64_t seed);

// The least and the greatest share of `held_out_texts`. A share is rounded to this unit.
constexpr double kShareUnit = 0.0001;

// Returns for each text whether it is held out. `share`: of the texts that are held out. The number
// of such texts is rounded, so it can be 0 or all if there are few texts. As with folds_of, each
// label has its share, and the result is the same on every machine.
// REQUIRES: kShareUnit <= share <= 1 - kShareUnit.
std::vector<bool> held_out_texts(const Label_lists& texts, double share, std::uint64_t seed);
// The same for texts of a file.
// RAISES: Data_error that names the file if no text is held out, or all are.
std::vector<bool> held_out_texts(const std::string& file, const Label_lists& texts, double share,
                                 std::uint64_t seed);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_FOLDS_H_
