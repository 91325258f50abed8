// One run of the data is in memory at a time, since a run is scrambled by itself.
#include "cli/records/Item_reader.h"

#include <algorithm>

#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/storage/SegBuf.h"

namespace zandrel::cli {

namespace {

constexpr std::uint64_t kRunSize = SegBuf::kSegmentSize;
constexpr std::uint64_t kWordSize = 4;

}  // namespace

std::string Item_reader::bytes(std::uint64_t count) {
    std::string taken;
    if (!takes(count)) {
        return taken;
    }
    while (taken.size() < count) {
        load(m_place);
        const std::uint64_t start = m_place - m_start;
        const std::string piece = m_run.substr(start, count - taken.size());
        taken += piece;
        m_place += piece.size();
    }
    return taken;
}

void Item_reader::skip(std::uint64_t count) {
    if (takes(count)) {
        m_place += count;
    }
}

std::uint32_t Item_reader::word() {
    std::uint32_t number = 0;
    for (const char byte : bytes(kWordSize)) {
        number = number << 8U | static_cast<unsigned char>(byte);
    }
    return number;
}

bool Item_reader::takes(std::uint64_t count) {
    m_is_whole = m_is_whole && m_place <= m_length && count <= m_length - m_place;
    return m_is_whole;
}

void Item_reader::load(std::uint64_t place) {
    const std::uint64_t start = place / kRunSize * kRunSize;
    if (!m_run.empty() && start == m_start) {
        return;
    }
    m_start = start;
    m_run = m_file.bytes(m_data + start, std::min(kRunSize, m_length - start));
    if (m_is_scrambled) {
        qtScrambler(qtScrambler::kSeed)
            .Descramble(m_run.data(), m_run.size(), qtScrambler::kOption);
    }
}

}  // namespace zandrel::cli
