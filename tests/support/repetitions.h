// repetitions: how often a test with random input repeats itself.
#ifndef ZANDREL_TESTS_SUPPORT_REPETITIONS_H_
#define ZANDREL_TESTS_SUPPORT_REPETITIONS_H_

namespace zandrel_tests {

// Returns `count`. Under sanitizers, where the same work takes several times as long, returns a
// quarter of it, but at least 1. They look for wrong accesses, which most repetitions have in
// common; the other builds compare the results of all repetitions.
constexpr unsigned int repetitions(unsigned int count) {
#ifdef ZANDREL_SANITIZED
    return count < 4 ? 1 : count / 4;
#else
    return count;
#endif
}

}  // namespace zandrel_tests

#endif  // ZANDREL_TESTS_SUPPORT_REPETITIONS_H_
