// Records as bytes, and as hexadecimal text that is easy to read and compare.
#ifndef ZANDREL_TESTS_SUPPORT_RECORD_BYTES_H_
#define ZANDREL_TESTS_SUPPORT_RECORD_BYTES_H_

#include <cctype>
#include <cstddef>
#include <string>
#include <string_view>

#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/SegBuf.h"

// "0a ff" for the bytes 10 and 255.
inline std::string to_hex(std::string_view bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += text.empty() ? "" : " ";
        text += kDigits[value / 16U];
        text += kDigits[value % 16U];
    }
    return text;
}

// Converts hexadecimal digits to bytes, two digits a byte. Spaces are skipped.
inline std::string from_hex(std::string_view text) {
    std::string digits;
    for (const char byte : text) {
        if (byte != ' ') {
            digits += byte;
        }
    }
    std::string bytes;
    for (std::size_t position = 0; position + 1 < digits.size(); position += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(position, 2), nullptr, 16));
    }
    return bytes;
}

// All bytes of a record.
inline std::string bytes_of(const SegBuf& record) {
    std::string bytes;
    for (unsigned int position = 0; position < record.size;) {
        char* run = nullptr;
        unsigned int length = 0;
        record.Locate(position, record.size, run, length);
        bytes.append(run, length);
        position += length;
    }
    return bytes;
}

// A new record with these bytes, at position 0.
inline SegBuf record_of(std::string bytes) {
    SegBuf record;
    HSegment(record, 'w').Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
    return record;
}

#endif  // ZANDREL_TESTS_SUPPORT_RECORD_BYTES_H_
