// Kept_selection: gives a model back its selected features at the end of a scope.
// Not installed: the library's own.
#ifndef ZANDREL_EXPORT_KEPT_SELECTION_H_
#define ZANDREL_EXPORT_KEPT_SELECTION_H_

#include <vector>

#include "zandrel/foundation/Restored.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel::detail {

// A feature selection changes a model: the marks and additive terms of its profiles, the marks of
// their concepts, and the lists of weights, which the next zeStat_matcher::feed would use. An
// object of this class restores all of them when it is destroyed, also after an exception. So the
// record of the model has the same bytes before and after.
//
// It needs one byte for each concept of each profile.
//
// REQUIRES: the model is complete, and no profile or concept is added or removed meanwhile.
// BORROWS: the model.
class Kept_selection {
public:
    explicit Kept_selection(zeStat_storage& storage);
    Kept_selection(const Kept_selection&) = delete;
    Kept_selection& operator=(const Kept_selection&) = delete;
    ~Kept_selection();

private:
    struct Kept {
        double M = 0.0;
        unsigned char mark = 0;
        std::vector<unsigned char> selected;  // of each concept, in the order of the table
        std::vector<zeStat_storage::Weight> weights;
    };

    zeStat_storage& m_storage;
    Restored<bool> m_dirty;
    std::vector<Kept> m_kept;  // by profile
};

}  // namespace zandrel::detail

#endif  // ZANDREL_EXPORT_KEPT_SELECTION_H_
