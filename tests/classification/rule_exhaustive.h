// Compares the parser with the oracles, for all strings of symbols up to some length.
#ifndef ZANDREL_TESTS_CLASSIFICATION_RULE_EXHAUSTIVE_H_
#define ZANDREL_TESTS_CLASSIFICATION_RULE_EXHAUSTIVE_H_

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// Counts of the results for the strings.
struct Rule_tally {
    std::size_t rules = 0;
    // By the fixed part of the error text.
    std::map<std::string_view, std::size_t> refusals = {};
};

// Parses every string of exactly `length` symbols of the alphabet, joined by blanks. The parser
// must either refuse a string with the error text of the oracle, or evaluate the symbols in the
// order of the oracle and compute the value of the oracle. Reports the first few differences as
// failures of the running test.
Rule_tally check_all_strings(const std::vector<std::string>& alphabet, std::size_t length);

#endif  // ZANDREL_TESTS_CLASSIFICATION_RULE_EXHAUSTIVE_H_
