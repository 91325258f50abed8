// The parser held against the oracles, for all strings of symbols up to some length.
#ifndef ZANDREL_TESTS_CLASSIFICATION_RULE_EXHAUSTIVE_H_
#define ZANDREL_TESTS_CLASSIFICATION_RULE_EXHAUSTIVE_H_

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// What became of the strings.
struct Rule_tally {
    std::size_t rules = 0;
    // By the part of the text that is always the same.
    std::map<std::string_view, std::size_t> refusals = {};
};

// Parses every string of exactly `length` symbols of the alphabet, joined by blanks. Each is
// refused by the very text of the oracle, or it is ordered as by the oracle and has its value.
// Reports the first few that differ as failures of the running test.
Rule_tally check_all_strings(const std::vector<std::string>& alphabet, std::size_t length);

#endif  // ZANDREL_TESTS_CLASSIFICATION_RULE_EXHAUSTIVE_H_
