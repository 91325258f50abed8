// Reads a seal with its own code, since the library reads one only from a file that it can open.
#include "cli/records/Seal_sums.h"

#include "zandrel/foundation/Crc32c.h"
#include "zandrel/persistence/Kc_steps.h"

#include "cli/records/Item_reader.h"

namespace zandrel::cli {

std::optional<Seal_sums> read_seal_sums(File_window& file, const Scanned_item& item) {
    Item_reader data(file, item, false);
    if (data.word() != kSealForm) {
        return std::nullopt;
    }
    Seal_sums sums;
    for (std::uint32_t left = data.word(); left > 0 && data.is_whole(); --left) {
        std::string key = data.text();
        const std::uint32_t sum = data.word();
        sums.items.insert_or_assign(std::move(key), sum);
    }
    sums.identity = data.word();
    return data.is_whole() && data.is_at_end() ? std::optional(std::move(sums)) : std::nullopt;
}

// The bit of Unicode texts is left out, since it may change in a sealed file.
std::uint32_t checksum_of(const Record_identity& identity) {
    const auto flags =
        static_cast<std::uint8_t>(identity.flags & ~unsigned{zandrel::detail::kKcUnicode});
    const std::uint32_t id = identity.id;
    const std::uint16_t version = identity.version;
    const char bytes[] = {static_cast<char>(id >> 24U),     static_cast<char>(id >> 16U),
                          static_cast<char>(id >> 8U),      static_cast<char>(id),
                          static_cast<char>(version >> 8U), static_cast<char>(version),
                          static_cast<char>(flags)};
    zandrel::detail::Crc32c sum;
    sum.Add(bytes, sizeof bytes);
    return sum.Value();
}

std::uint32_t checksum_of(File_window& file, const Scanned_item& item) {
    zandrel::detail::Crc32c sum;
    file.for_each_piece(item.data_offset(), item.data_length,
                        [&sum](std::string_view piece) { sum.Add(piece.data(), piece.size()); });
    return sum.Value();
}

}  // namespace zandrel::cli
