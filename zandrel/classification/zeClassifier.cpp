#include "zandrel/classification/zeClassifier.h"

zeClassifier::~zeClassifier() = default;

bool zeClassifier::is_cat_blocked(zeNode* const& /*child*/, zeMsg& /*msg*/) {
    return false;
}
