// Sorts concepts by text. A comparison of two texts reads two cache lines, and the processor cannot
// predict its result. So we compare as few texts as possible:
//
// 1. A key has the first eight bytes of its text as one number. Most comparisons need no more.
// 2. Before the comparisons, keys are divided into 256 buckets by their first byte, and the keys of
//    a large bucket by their second byte, and so on. Only a bucket of few keys is sorted by
//    comparisons.
//
// For example, of 400 words about 20 begin with "c" and are sorted by comparing numbers; only for
// "communication" and "communicate" do we look at the texts.
#include "zandrel/messages/Text_order.h"

#include <algorithm>
#include <array>

using zandrel::detail::Text_key;

namespace {

using Keys = std::vector<Text_key>;

// Dividing into buckets uses 256 counters, so it is faster only for more keys than this.
constexpr std::size_t kFewKeys = 32;
constexpr unsigned int kKeyBits = 64;

std::uint64_t four_bytes(const char* bytes) noexcept {
    const auto byte = [bytes](int i) {
        return std::uint64_t{static_cast<unsigned char>(bytes[i])};
    };
    return byte(0) << 24U | byte(1) << 16U | byte(2) << 8U | byte(3);
}

// A type, not a function, so that the sort inlines it.
struct Is_less {
    bool operator()(const Text_key& left, const Text_key& right) const noexcept {
        if (left.first_bytes != right.first_bytes) {
            return left.first_bytes < right.first_bytes;
        }
        return *left.from < *right.from;
    }
};

// Sorts keys that differ only in the lowest `bits` bits of `first_bytes`, or only in their texts.
// `scratch` has room for `count` keys.
void sort_range(Text_key* first, std::size_t count, unsigned int bits, Text_key* scratch) {
    if (count <= kFewKeys || bits == 0) {
        std::sort(first, first + count, Is_less());
        return;
    }
    const unsigned int shift = bits - 8;
    const auto byte_of = [shift](const Text_key& key) {
        return static_cast<std::size_t>(key.first_bytes >> shift & 0xFFU);
    };
    std::array<std::size_t, 257> begins = {};
    for (std::size_t i = 0; i < count; ++i) {
        ++begins[byte_of(first[i]) + 1];
    }
    for (std::size_t byte = 0; byte < 256; ++byte) {
        begins[byte + 1] += begins[byte];
    }
    std::array<std::size_t, 257> next = begins;
    for (std::size_t i = 0; i < count; ++i) {
        scratch[next[byte_of(first[i])]++] = first[i];
    }
    std::copy_n(scratch, count, first);
    for (std::size_t byte = 0; byte < 256; ++byte) {
        const std::size_t size = begins[byte + 1] - begins[byte];
        if (size > 1) {
            sort_range(first + begins[byte], size, shift, scratch);
        }
    }
}

}  // namespace

namespace zandrel::detail {

std::uint64_t first_bytes(std::string_view text) noexcept {
    const char* const bytes = text.data();
    const std::size_t size = text.size();
    if (size >= 8) {
        return four_bytes(bytes) << 32U | four_bytes(bytes + 4);
    }
    if (size >= 4) {  // the last four overlap the first: of "horse" they are "hors" and "orse"
        return four_bytes(bytes) << 32U | four_bytes(bytes + size - 4) << (8 * (8 - size));
    }
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size; ++i) {
        number |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << (56 - 8 * i);
    }
    return number;
}

void sort_by_text(Keys& keys) {
    Keys scratch(keys.size() > kFewKeys ? keys.size() : 0);
    sort_range(keys.data(), keys.size(), kKeyBits, scratch.data());
}

}  // namespace zandrel::detail
