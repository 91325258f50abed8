// Scratch_file: a file of one test, gone with it.
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

// Stands in the temporary directory under the test's own name, so that tests may run at once.
// There is no file until something makes it.
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

    // Puts bytes into the file, in place of what stands there.
    void patch(std::size_t position, std::string_view bytes) const {
        std::fstream file(m_path.c_str(), std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(position));
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    // New bytes are zero and take no space on the disk.
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
        // Names of typed tests have a stroke.
        std::replace(name.begin(), name.end(), '/', '_');
        return qtString(testing::TempDir() + name);
    }

    qtString m_path = path_of_test();
};

#endif  // ZANDREL_TESTS_SUPPORT_SCRATCH_FILE_H_
