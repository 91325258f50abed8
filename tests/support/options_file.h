// Options_file: a text file for one test, removed at the end.
#ifndef ZANDREL_TESTS_SUPPORT_OPTIONS_FILE_H_
#define ZANDREL_TESTS_SUPPORT_OPTIONS_FILE_H_

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtString.h"

// The file is in the temporary directory under the test's name, so tests can run in parallel.
class Options_file {
public:
    // The file does not exist before the first `write`.
    Options_file() = default;

    explicit Options_file(std::string_view content) { write(content); }

    Options_file(const Options_file&) = delete;
    Options_file& operator=(const Options_file&) = delete;

    ~Options_file() { std::remove(m_path.c_str()); }

    void write(std::string_view content) const {
        std::ofstream file(m_path.c_str(), std::ios::binary);
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
    }

    std::string content() const {
        std::ifstream file(m_path.c_str(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    const qtString& path() const { return m_path; }

private:
    static qtString path_of_test() {
        const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
        return qtString(testing::TempDir()) + test.test_suite_name() + "_" + test.name();
    }

    qtString m_path = path_of_test();
};

#endif  // ZANDREL_TESTS_SUPPORT_OPTIONS_FILE_H_
