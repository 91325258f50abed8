// Temporary_file: the name of a file for one test, gone with it.
#ifndef ZANDREL_TESTS_SUPPORT_TEMPORARY_FILE_H_
#define ZANDREL_TESTS_SUPPORT_TEMPORARY_FILE_H_

#include <algorithm>
#include <cstdio>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

// Stands in the temporary directory under the names of test and process, so that tests may run at
// once. There is no file at first.
class Temporary_file {
public:
    Temporary_file() : m_path(make_path()) { std::remove(m_path.c_str()); }

    Temporary_file(const Temporary_file&) = delete;
    Temporary_file& operator=(const Temporary_file&) = delete;

    ~Temporary_file() { std::remove(m_path.c_str()); }

    const std::string& path() const { return m_path; }

private:
    static std::string make_path() {
        const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string(test.test_suite_name()) + "_" + test.name();
        std::replace(name.begin(), name.end(), '/', '_');  // of suites for several types
        return testing::TempDir() + name + "." + std::to_string(getpid());
    }

    std::string m_path;
};

#endif  // ZANDREL_TESTS_SUPPORT_TEMPORARY_FILE_H_
