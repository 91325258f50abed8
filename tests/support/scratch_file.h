// Scratch_file: a file for one test, removed at the end.
#ifndef ZANDREL_TESTS_SUPPORT_SCRATCH_FILE_H_
#define ZANDREL_TESTS_SUPPORT_SCRATCH_FILE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <unistd.h>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtString.h"

// The file is in the temporary directory under the test's name, so tests can run in parallel. An
// object without content does not create the file.
class Scratch_file {
public:
    Scratch_file() { remove(); }

    explicit Scratch_file(std::string_view content) { write(content); }

    Scratch_file(const Scratch_file&) = delete;
    Scratch_file& operator=(const Scratch_file&) = delete;

    ~Scratch_file() { remove(); }

    void write(std::string_view content) const {
        std::ofstream file(m_path.c_str(), std::ios::binary);
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
    }

    // Overwrites the bytes at a position.
    void patch(std::size_t position, std::string_view bytes) const {
        std::fstream file(m_path.c_str(), std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(position));
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    // Sets the file's size. New bytes are zero and take no space on the disk.
    void resize(std::uint64_t byte_count) const {
        std::filesystem::resize_file(m_path.str(), byte_count);
    }

    std::string content() const {
        std::ifstream file(m_path.c_str(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    std::uint64_t size() const { return std::filesystem::file_size(m_path.str()); }

    const qtString& path() const { return m_path; }

private:
    void remove() const { std::remove(m_path.c_str()); }

    static qtString path_of_test() {
        const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string(test.test_suite_name()) + "_" + test.name() + "_" +
                           std::to_string(::getpid());
        // The names of typed tests contain a slash.
        std::replace(name.begin(), name.end(), '/', '_');
        return qtString(testing::TempDir() + name);
    }

    qtString m_path = path_of_test();
};

#endif  // ZANDREL_TESTS_SUPPORT_SCRATCH_FILE_H_
