// Model_size: the numbers of categories and concepts of a model.
#ifndef ZANDREL_TEXT_MODEL_MODEL_SIZE_H_
#define ZANDREL_TEXT_MODEL_MODEL_SIZE_H_

#include <cstddef>

namespace zandrel {

struct Model_size {
    std::size_t profiles = 0;  // categories
    std::size_t concepts = 0;  // entries of the tables of concepts (`m_concept_infos`)
    std::size_t entries = 0;  // of all profiles; a concept counts once for each profile that has it
    std::size_t largest = 0;  // entries of the largest profile
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_MODEL_SIZE_H_
