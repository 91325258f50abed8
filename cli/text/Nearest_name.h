// Nearest_name: which known name a misspelt word may mean.
#ifndef ZANDREL_CLI_TEXT_NEAREST_NAME_H_
#define ZANDREL_CLI_TEXT_NEAREST_NAME_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// How many letters have to be inserted, removed, replaced, or exchanged with their neighbour, to
// make one word of the other: 1 for "mvoe" and "move".
// COST: the product of both lengths.
std::size_t spelling_distance(std::string_view left, std::string_view right);

// The name with the least distance from the word, without regard to case; of equal ones the first.
// A name that begins with the word counts as one letter away: "eval" means "evaluate". Returns an
// empty name if all are too far: more than one letter, and one for each four of the word.
std::string nearest_name(std::string_view word, const std::vector<std::string>& names);

// The question with which a message ends, such as `; did you mean "move"?`; empty if no name is
// near. `before` is put before the name.
std::string nearest_name_question(std::string_view word, const std::vector<std::string>& names,
                                  std::string_view before = "");

}  // namespace cli

#endif  // ZANDREL_CLI_TEXT_NEAREST_NAME_H_
