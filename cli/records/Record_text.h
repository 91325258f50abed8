// Record_text: keys and numbers of record files as people read them.
#ifndef ZANDREL_CLI_RECORDS_RECORD_TEXT_H_
#define ZANDREL_CLI_RECORDS_RECORD_TEXT_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

// In double quotes; bytes that are no printable ASCII as \xNN, with \\ and \" for these two.
std::string shown_key(std::string_view key);
// "0x4A5B6C81"
std::string hex(std::uint64_t number, int digits);

}  // namespace cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_TEXT_H_
