// Scratch_folder: a folder for one test, removed with its contents at the end.
#ifndef ZANDREL_TESTS_CLI_SCRATCH_FOLDER_H_
#define ZANDREL_TESTS_CLI_SCRATCH_FOLDER_H_

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

namespace zandrel::cli {

// The folder is in the temporary directory under the test's name, so tests can run in parallel.
class Scratch_folder {
public:
    Scratch_folder() {
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directory(m_path);
    }

    Scratch_folder(const Scratch_folder&) = delete;
    Scratch_folder& operator=(const Scratch_folder&) = delete;

    ~Scratch_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    std::string file(const std::string& name) const { return m_path + "/" + name; }

    std::string write(const std::string& name, std::string_view content) const {
        std::ofstream(file(name), std::ios::binary) << content;
        return file(name);
    }

    std::string content(const std::string& name) const {
        std::ifstream input(file(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
    }

    // The names of all files in the folder, in order.
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    const std::string& path() const { return m_path; }

private:
    static std::string path_of_test() {
        const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string("zandrel_") + test.test_suite_name() + "_" + test.name() +
                           "_" + std::to_string(::getpid());
        // Names of tests with parameters have a slash.
        std::replace(name.begin(), name.end(), '/', '_');
        return testing::TempDir() + name;
    }

    std::string m_path = path_of_test();
};

}  // namespace zandrel::cli

#endif  // ZANDREL_TESTS_CLI_SCRATCH_FOLDER_H_
