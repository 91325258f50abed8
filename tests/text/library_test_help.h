// library_test_help: parts of the tests of the public classes.
#ifndef ZANDREL_TESTS_TEXT_LIBRARY_TEST_HELP_H_
#define ZANDREL_TESTS_TEXT_LIBRARY_TEST_HELP_H_

#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/persistence/zeConfig.h"
#include "zandrel/text/Error.h"

#include "tests/support/trained_tree.h"

namespace zandrel::tests {

// Calls `work`, which must raise Error, and returns the error.
template <class Work>
Error error_of(const Work& work) {
    try {
        work();
    } catch (const Error& error) {
        return error;
    }
    ADD_FAILURE() << "no error";
    return {Error_code::failed, "no error"};
}

#define EXPECT_ERROR(work, expected_code, expected_text)                 \
    {                                                                    \
        const Error raised = error_of([&] { work; });                    \
        EXPECT_STREQ(name_of(raised.code()), name_of(expected_code));    \
        EXPECT_STREQ(raised.what(), std::string(expected_text).c_str()); \
    }

inline std::string bytes_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

// Two containers have equal bytes only if they get the same id and the same time.
class Same_identity {
public:
    Same_identity() : m_before(zandrel::set_config_seed([] { return 7U; })) {}

    Same_identity(const Same_identity&) = delete;
    Same_identity& operator=(const Same_identity&) = delete;

    ~Same_identity() { zandrel::set_config_seed(m_before); }

private:
    Stopped_clock m_clock;
    Config_seed m_before;
};

}  // namespace zandrel::tests

#endif  // ZANDREL_TESTS_TEXT_LIBRARY_TEST_HELP_H_
