// Reads a seal with its own code, since the library reads one only from a file that it can open.
#include "cli/records/Seal_sums.h"

#include "zandrel/foundation/Crc32c.h"
#include "zandrel/persistence/Kc_steps.h"

namespace cli {

namespace {

constexpr std::uint32_t kForm = 1;
constexpr std::uint64_t kWordSize = 4;

// Reads the data of an item from front to back. After a read behind the end, `is_whole` is false
// and everything is 0 or empty.
class Data_reader_of_item {
public:
    Data_reader_of_item(File_window& file, const Scanned_item& item)
        : m_file(file), m_place(item.data_offset()), m_end(m_place + item.data_length) {}

    std::uint32_t word() {
        if (!takes(kWordSize)) {
            return 0;
        }
        return m_file.word(m_place - kWordSize);
    }

    std::string bytes(std::uint64_t count) {
        return takes(count) ? m_file.bytes(m_place - count, count) : std::string();
    }

    bool is_whole() const { return m_is_whole; }

    bool is_at_end() const { return m_place == m_end; }

private:
    bool takes(std::uint64_t count) {
        m_is_whole = m_is_whole && count <= m_end - m_place;
        if (m_is_whole) {
            m_file.approach(m_place);
            m_place += count;
        }
        return m_is_whole;
    }

    File_window& m_file;
    std::uint64_t m_place;
    std::uint64_t m_end;
    bool m_is_whole = true;
};

}  // namespace

std::optional<Seal_sums> read_seal_sums(File_window& file, const Scanned_item& item) {
    Data_reader_of_item data(file, item);
    if (data.word() != kForm) {
        return std::nullopt;
    }
    Seal_sums sums;
    for (std::uint32_t left = data.word(); left > 0 && data.is_whole(); --left) {
        std::string key = data.bytes(data.word());
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

}  // namespace cli
