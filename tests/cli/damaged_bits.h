// damaged_bits: how the program handles a container's file with one changed bit.
#ifndef ZANDREL_TESTS_CLI_DAMAGED_BITS_H_
#define ZANDREL_TESTS_CLI_DAMAGED_BITS_H_

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace zandrel::cli {

// The labels and the exact scores of a container's file for a fixed set of texts. RAISES: the
// errors of read_model and of classifying.
std::string answers_of(const std::string& path);

struct Damaged_bits {
    std::size_t refused = 0;           // Data_error or Input_error while the file is read
    std::size_t same = 0;              // the file is read, and its answers have not changed
    std::vector<std::size_t> changed;  // the numbers of the bits with any other result
};

std::ostream& operator<<(std::ostream& out, const Damaged_bits& bits);

// Changes single bits of the file, the first and each `step`th after it, and classifies with each
// changed file. Restores each bit.
Damaged_bits damage_bits(const std::string& path, std::size_t first, std::size_t step);

// Writes the file of a small trained container, full or compact, as the program does. It has two
// statistical classifiers, one below the other, which use likelihood tables, and a rule classifier.
void write_small_kc(const std::string& path, bool compact);

// Removes the seal, as if another program had written the file.
void write_without_seal(const std::string& path);

}  // namespace zandrel::cli

#endif  // ZANDREL_TESTS_CLI_DAMAGED_BITS_H_
