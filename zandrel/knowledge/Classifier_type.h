// Classifier_type: the table of the types of classifiers.
// Not installed: the library's own.
#ifndef ZANDREL_KNOWLEDGE_CLASSIFIER_TYPE_H_
#define ZANDREL_KNOWLEDGE_CLASSIFIER_TYPE_H_

#include <memory>

#include "zandrel/storage/Hio.h"

class zeClassifier;
class zeManager;
struct zeNode;

namespace zandrel::detail {

// One type of classifier: its number, and how to make and read a classifier of this type.
struct Classifier_type {
    unsigned int number;  // as GetType returns it and as nodes and files contain it, in one byte
    // True if the classifier has a storage that is an object of its own in a file. Such a
    // classifier cannot be read in place of a storage.
    bool has_storage;
    // As zeClassifier::has_rules returns it: true if rules select the children.
    bool has_rules;
    // Makes a classifier at a node. The manager's registry owns it.
    zeClassifier* (*make)(zeManager* manager, zeNode* node);
    // Makes a classifier without id, manager and node, for `load`.
    std::unique_ptr<zeClassifier> (*make_empty)();
    // Reads what follows the node in the classifier's record.
    void (*load)(zeClassifier& classifier, Hio<HSegment>& io);
};

// Returns null for a number that no classifier has, such as ZE_LEAF.
const Classifier_type* find_classifier_type(unsigned int number);

// Return whether this is a type of classifiers with rules, or a type of classifiers without rules.
// Both return false for ZE_LEAF, and for an unknown number, which a damaged file may contain.
bool is_type_with_rules(unsigned int number);
bool is_type_without_rules(unsigned int number);

// The type that a leaf gets when its first child is added, if one of the two has a rule.
unsigned char type_for_first_child(bool child_has_rule) noexcept;

}  // namespace zandrel::detail

#endif  // ZANDREL_KNOWLEDGE_CLASSIFIER_TYPE_H_
