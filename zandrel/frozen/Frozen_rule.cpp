// Copies the tree of a rule. We do not parse its text again: a parsed rule lacks the second forms
// of its concepts, and parsing calls the function by which a program checks keys.
//
// The copy uses a list instead of recursion. The list has each operation before its operands. So
// when it is read from its end, the operands of an operation have been copied before the operation.
// For example, `$a(n) > 1 & "spam"`:
//
//     place   expression   operands
//     0       to number    1
//     1       and          2 3
//     2       greater      4 5
//     3       "spam"
//     4       $a(n)
//     5       1
#include "zandrel/frozen/Frozen_rule.h"

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

namespace zandrel::detail {

namespace {

struct Place {
    const MatchExp* expression;
    std::size_t first_operand = 0;  // the place; the others are behind it
};

std::vector<Place> places_of(const MatchExp& tree) {
    std::vector<Place> places = {{&tree}};
    for (std::size_t i = 0; i < places.size(); ++i) {
        const auto* const node = dynamic_cast<const MatchExpNode*>(places[i].expression);
        places[i].first_operand = places.size();
        for (int k = 0; node != nullptr && k < node->arg_count; ++k) {
            places.push_back({node->args[static_cast<std::size_t>(k)].get()});
        }
    }
    return places;
}

std::unique_ptr<MatchExp> leaf_of(const MatchExp& leaf, const Frozen_words& words) {
    if (const auto* const key = dynamic_cast<const CheckNVP*>(&leaf)) {
        return std::make_unique<CheckNVP>(key->type, words.bind(key->key), key->slot);
    }
    if (const auto* const word = dynamic_cast<const zeConceptInDoc*>(&leaf)) {
        return std::make_unique<zeConceptInDoc>(words.bind(word->m_concept),
                                                words.bind(word->m_processed));
    }
    return std::unique_ptr<MatchExp>(leaf.Clone());
}

std::unique_ptr<MatchExp> copy_of(const MatchExp& tree, const Frozen_words& words) {
    const std::vector<Place> places = places_of(tree);
    std::vector<std::unique_ptr<MatchExp>> copies(places.size());
    for (std::size_t i = places.size(); i-- > 0;) {
        const auto* const node = dynamic_cast<const MatchExpNode*>(places[i].expression);
        if (node == nullptr) {
            copies[i] = leaf_of(*places[i].expression, words);
            continue;
        }
        std::array<std::unique_ptr<MatchExp>, 3> operands;
        for (std::size_t k = 0; k < static_cast<std::size_t>(node->arg_count); ++k) {
            operands[k] = std::move(copies[places[i].first_operand + k]);
        }
        copies[i] = std::make_unique<MatchExpNode>(node->type, std::move(operands[0]),
                                                   std::move(operands[1]), std::move(operands[2]));
    }
    return std::move(copies[0]);
}

// The other leaves are not larger than a constant, whose text is shared with the original.
std::size_t size_of(const MatchExp& expression) {
    if (dynamic_cast<const MatchExpNode*>(&expression) != nullptr) {
        return sizeof(MatchExpNode);
    }
    return dynamic_cast<const zeConceptInDoc*>(&expression) != nullptr ? sizeof(zeConceptInDoc)
                                                                       : sizeof(MatchExpConst);
}

}  // namespace

Frozen_rule::Frozen_rule(const MatchExp& tree, const Frozen_words& words)
    : m_root(copy_of(tree, words)), m_code(*m_root) {}

Frozen_rule::~Frozen_rule() = default;

std::size_t Frozen_rule::memory_use() const {
    std::size_t bytes = m_code.instructions().capacity() * sizeof(Rule_code::Instruction);
    for (const Place& place : places_of(*m_root)) {
        bytes += size_of(*place.expression);
    }
    return bytes;
}

void Frozen_rule::add_words(const MatchExp& tree, Frozen_words::List& words) {
    for (const Place& place : places_of(tree)) {
        if (const auto* const key = dynamic_cast<const CheckNVP*>(place.expression)) {
            words.try_emplace(key->key);
        } else if (const auto* const word = dynamic_cast<const zeConceptInDoc*>(place.expression)) {
            words.try_emplace(word->m_concept);
            words.try_emplace(word->m_processed);
        }
    }
}

}  // namespace zandrel::detail
