// The table of the types of classifiers, and the functions that its rows name. The manager makes
// classifiers by this table, and a reader of files makes empty ones. An edit of the tree accepts
// only ZE_LEAF and the types that have a row.
#include "zandrel/knowledge/Classifier_type.h"

#include <algorithm>
#include <iterator>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel::detail {

namespace {

zeClassifier* make_switcher(zeManager* manager, zeNode* node) {
    return new zeSwitcher(manager, node);
}

std::unique_ptr<zeClassifier> make_empty_switcher() {
    return std::make_unique<zeSwitcher>(nullptr, nullptr);
}

// A matcher needs its storage first, so the storage has the lower id.
zeClassifier* make_matcher(zeManager* manager, zeNode* node) {
    auto storage = std::make_unique<zeStat_storage>(manager, manager->m_defaults);
    zeClassifier* const matcher = new zeStat_matcher(manager, node, *storage, true);
    static_cast<void>(storage.release());  // The registry owns it from now on.
    return matcher;
}

std::unique_ptr<zeClassifier> make_empty_matcher() {
    return std::make_unique<zeStat_matcher>();
}

template <class Classifier>
void load(zeClassifier& classifier, Hio<HSegment>& io) {
    static_cast<Classifier&>(classifier).Load(io);
}

constexpr Classifier_type kTypes[] = {
    {ZE_RULE, false, true, make_switcher, make_empty_switcher, load<zeSwitcher>},
    {ZE_STAT, true, false, make_matcher, make_empty_matcher, load<zeStat_matcher>},
};

// A node has its type in one byte, and ZE_LEAF there means that it has no classifier. In a file the
// number says whether an object is a storage or a classifier, and of which type.
constexpr bool is_possible(unsigned int number) {
    return number != ZE_LEAF && number != kStorageObjectType && number < 256;
}

constexpr bool are_numbers_sound() {
    for (const Classifier_type& type : kTypes) {
        const auto has_number = [&type](const Classifier_type& each) {
            return each.number == type.number;
        };
        if (!is_possible(type.number) ||
            std::count_if(std::begin(kTypes), std::end(kTypes), has_number) != 1) {
            return false;
        }
    }
    return true;
}

static_assert(are_numbers_sound(), "a number in kTypes is used twice, reserved, or above 255");

}  // namespace

const Classifier_type* find_classifier_type(unsigned int number) {
    const auto* const found =
        std::find_if(std::begin(kTypes), std::end(kTypes),
                     [number](const Classifier_type& type) { return type.number == number; });
    return found == std::end(kTypes) ? nullptr : found;
}

bool is_type_with_rules(unsigned int number) {
    const Classifier_type* const type = find_classifier_type(number);
    return type != nullptr && type->has_rules;
}

bool is_type_without_rules(unsigned int number) {
    const Classifier_type* const type = find_classifier_type(number);
    return type != nullptr && !type->has_rules;
}

unsigned char type_for_first_child(bool child_has_rule) noexcept {
    return child_has_rule ? ZE_RULE : ZE_STAT;
}

}  // namespace zandrel::detail
