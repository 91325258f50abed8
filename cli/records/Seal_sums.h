// Seal_sums: the checksums of a seal, for a file whose index may be damaged.
// Format: docs/formats/kc.md
#ifndef ZANDREL_CLI_RECORDS_SEAL_SUMS_H_
#define ZANDREL_CLI_RECORDS_SEAL_SUMS_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "cli/records/File_window.h"
#include "cli/records/Record_scan.h"

namespace zandrel::cli {

// The only form of a seal that exists.
inline constexpr std::uint32_t kSealForm = 1;

// The owner's part of a header.
struct Record_identity {
    std::uint32_t id = 0;
    std::uint16_t version = 0;
    std::uint8_t flags = 0;
};

struct Seal_sums {
    std::map<std::string, std::uint32_t> items;  // the checksum of each key
    std::uint32_t identity = 0;                  // the checksum of the identity
};

// Returns nothing if the item is no complete seal of the known form.
std::optional<Seal_sums> read_seal_sums(File_window& file, const Scanned_item& item);

std::uint32_t checksum_of(const Record_identity& identity);
// The checksum of an item's data.
std::uint32_t checksum_of(File_window& file, const Scanned_item& item);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_SEAL_SUMS_H_
