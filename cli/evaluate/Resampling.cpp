// The number of times that a text is in a sample has a Poisson distribution with the mean 1:
//
//   times  0      1      2      3      4      5      6      7 or more
//   share  0.368  0.368  0.184  0.061  0.015  0.003  0.001  0.0001
//
// If n texts are drawn n times with replacement, each is drawn so often, for large n. Drawing needs
// all texts; the distribution needs only one.
//
// 16 random bits choose one number of times: it is the number of borders below that the bits reach.
// Borders of integers give the same result everywhere; the function exp may not.
#include "cli/evaluate/Resampling.h"

namespace zandrel::cli {

namespace {

// 2^16 times the shares of texts with at most 0, 1, ... 6 times, rounded.
constexpr std::uint32_t kBorders[] = {24109, 48219, 60273, 64292, 65296, 65497, 65531};

std::uint32_t times_of(std::uint32_t bits) {
    std::uint32_t times = 0;
    for (const std::uint32_t border : kBorders) {
        times += bits >= border ? 1 : 0;
    }
    return times;
}

}  // namespace

const Round_weights& Resampling::next() {
    static_assert(kRoundCount % 4 == 0, "a random number has bits for four rounds");
    for (std::size_t round = 0; round < kRoundCount; round += 4) {
        const std::uint64_t bits = random();
        for (std::size_t i = 0; i < 4; ++i) {
            m_weights[round + i] = times_of((bits >> (16 * i)) & 0xFFFF);
        }
    }
    return m_weights;
}

// SplitMix64: a counter whose bits are mixed. It passes the usual tests of random numbers.
std::uint64_t Resampling::random() {
    m_state += 0x9E3779B97F4A7C15;
    std::uint64_t bits = m_state;
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EB;
    return bits ^ (bits >> 31);
}

}  // namespace zandrel::cli
