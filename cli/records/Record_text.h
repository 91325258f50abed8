// Record_text: keys and numbers of record files as text.
#ifndef ZANDREL_CLI_RECORDS_RECORD_TEXT_H_
#define ZANDREL_CLI_RECORDS_RECORD_TEXT_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace zandrel::cli {

// The key in double quotes. Bytes other than printable ASCII become \xNN, a backslash becomes \\,
// and a double quote becomes \".
std::string shown_key(std::string_view key);
// hex(0x4A5B6C81, 8) is "0x4A5B6C81", hex(1, 2) is "0x01".
std::string hex(std::uint64_t number, int digits);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_TEXT_H_
