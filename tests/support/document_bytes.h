// bytes_of_block: reads the bytes of a named block from a document of a file format.
#ifndef ZANDREL_TESTS_SUPPORT_DOCUMENT_BYTES_H_
#define ZANDREL_TESTS_SUPPORT_DOCUMENT_BYTES_H_

#include <cstddef>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/record_bytes.h"

inline bool is_document_byte(const std::string& word) {
    return word.size() == 2 && word.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

// Adds the bytes of one line. A line has the position, the bytes, perhaps `*N` (the last byte comes
// N times), and then a description, which is ignored.
inline void take_document_line(const std::string& line, std::string& bytes) {
    std::istringstream words(line);
    std::size_t position = 0;
    if (!(words >> position)) {
        return;
    }
    EXPECT_EQ(position, bytes.size()) << line;
    for (std::string word; words >> word;) {
        if (is_document_byte(word)) {
            bytes += from_hex(word);
        } else if (word.starts_with('*')) {
            bytes.append(std::stoul(word.substr(1)) - 1, bytes.back());
        } else {
            return;
        }
    }
}

// The bytes of the block `name` in the document at `path`.
inline std::string bytes_of_block(const char* path, const std::string& name) {
    std::ifstream document(path);
    std::string bytes;
    bool is_inside = false;
    for (std::string line; std::getline(document, line);) {
        if (line.starts_with("```")) {
            is_inside = line == "```" + name;
        } else if (is_inside) {
            take_document_line(line, bytes);
        }
    }
    return bytes;
}

#endif  // ZANDREL_TESTS_SUPPORT_DOCUMENT_BYTES_H_
