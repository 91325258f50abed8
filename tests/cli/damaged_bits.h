// damaged_bits: how the program treats a container's file of which one bit has changed.
#ifndef ZANDREL_TESTS_CLI_DAMAGED_BITS_H_
#define ZANDREL_TESTS_CLI_DAMAGED_BITS_H_

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace cli {

// The labels that a container's file gives to a fixed set of texts, with all bits of their scores.
// RAISES: what read_model and classifying raise.
std::string answers_of(const std::string& path);

struct Damaged_bits {
    std::size_t refused = 0;           // Data_error or Input_error, when the file is read
    std::size_t same = 0;              // the file is read, and its answers are those of before
    std::vector<std::size_t> changed;  // any other outcome; the numbers of these bits
};

std::ostream& operator<<(std::ostream& out, const Damaged_bits& bits);

// Changes one bit of the file after the other, the first one and each `step`th after it, and asks
// for its answers. Puts each bit back.
Damaged_bits damage_bits(const std::string& path, std::size_t first, std::size_t step);

// Writes the file of a small trained container, full or compact, as the program does: two
// statistical classifiers, one below the other, whose likelihood tables are in use, and a rule
// classifier.
void write_small_kc(const std::string& path, bool compact);

// Takes the seal away, as if another program had written the file.
void write_without_seal(const std::string& path);

}  // namespace cli

#endif  // ZANDREL_TESTS_CLI_DAMAGED_BITS_H_
