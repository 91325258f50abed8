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
    unsigned int number;  // as GetType returns it and as nodes and files contain it
    // True if the classifier has a storage that is an object of its own in a file. Such a
    // classifier cannot be read in place of a storage.
    bool has_storage;
    // Makes a classifier at a node. The manager's registry owns it.
    zeClassifier* (*make)(zeManager* manager, zeNode* node);
    // Makes a classifier without id, manager and node, for `load`.
    std::unique_ptr<zeClassifier> (*make_empty)();
    // Reads what follows the node in the classifier's record.
    void (*load)(zeClassifier& classifier, Hio<HSegment>& io);
};

// Returns null for a number that no classifier has, such as ZE_LEAF.
const Classifier_type* find_classifier_type(unsigned int number);

}  // namespace zandrel::detail

#endif  // ZANDREL_KNOWLEDGE_CLASSIFIER_TYPE_H_
