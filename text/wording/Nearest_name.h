// Nearest_name: finds the known name that a misspelt word probably means.
#ifndef ZANDREL_TEXT_WORDING_NEAREST_NAME_H_
#define ZANDREL_TEXT_WORDING_NEAREST_NAME_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zandrel {

// The number of letters to insert, to remove, to replace, or to exchange with their neighbour, to
// change one word into the other: 1 for "mvoe" and "move".
// COST: the product of both lengths.
std::size_t spelling_distance(std::string_view left, std::string_view right);

// The name with the least distance from the word, ignoring case; of equal distances the first name.
// A name that begins with the word has the distance 1: "eval" means "evaluate". A name is near if
// its distance is less than the word's length, and at most 1 plus a quarter of this length: 2 for
// "mvoe", 3 for "evaluate". Returns an empty name if no name is near.
std::string nearest_name(std::string_view word, const std::vector<std::string>& names);

// The end of a message: `; did you mean "move"?`, or nothing if no name is near. `before` is put
// before the name.
std::string nearest_name_question(std::string_view word, const std::vector<std::string>& names,
                                  std::string_view before = "");

}  // namespace zandrel

#endif  // ZANDREL_TEXT_WORDING_NEAREST_NAME_H_
