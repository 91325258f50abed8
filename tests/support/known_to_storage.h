// Known_only_to_storage: shows whether a statistical model was really deleted.
#ifndef ZANDREL_TESTS_SUPPORT_KNOWN_TO_STORAGE_H_
#define ZANDREL_TESTS_SUPPORT_KNOWN_TO_STORAGE_H_

#include <cstddef>

#include "zandrel/foundation/Concept.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"

// Adds a concept that only the storage of a node's matcher uses. The dictionary drops the concept
// when the storage is deleted. While this object is used, no other concept may be added or dropped.
class Known_only_to_storage {
public:
    // REQUIRES: a node with a zeStat_matcher.
    explicit Known_only_to_storage(zeNode& node) {
        bool added = false;
        dynamic_cast<zeStat_matcher&>(*node.m_classifier)
            .m_storage->get_or_add_concept_info(term("known to one storage alone"), added);
        m_size_with = Concept::dictionary_size();
    }

    bool is_gone() const { return Concept::dictionary_size() + 1 == m_size_with; }

private:
    std::size_t m_size_with = 0;
};

#endif  // ZANDREL_TESTS_SUPPORT_KNOWN_TO_STORAGE_H_
