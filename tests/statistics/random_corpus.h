// Small random corpora. The same seed gives the same corpus in every run.
#ifndef ZANDREL_TESTS_STATISTICS_RANDOM_CORPUS_H_
#define ZANDREL_TESTS_STATISTICS_RANDOM_CORPUS_H_

#include <array>
#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/statistics/slow_trainer.h"

// Does not use the distributions of the standard library, since their results differ between
// libraries.
class Random_corpus {
public:
    explicit Random_corpus(unsigned int seed) : m_engine(seed) {}

    // Messages with any number of the categories c0 to c3; most have one, and some have none. Each
    // category has words of its own and shares others. Weights in bags are multiples of 1/4, so
    // their sums are exact.
    std::vector<Slow_message> Messages(std::size_t count) {
        std::vector<Slow_message> messages(count);
        for (Slow_message& msg : messages) {
            Fill(msg);
        }
        return messages;
    }

private:
    std::size_t Below(std::size_t bound) { return m_engine() % bound; }

    void Fill(Slow_message& msg) {
        static constexpr std::array<double, 4> kWeights = {1.0, 0.3, 2.5, 1.0 / 3.0};
        const std::size_t topic = Below(4);
        for (std::size_t cat = 0; cat < 4; ++cat) {
            if (cat == topic ? Below(8) != 0 : Below(6) == 0) {
                msg.cats.push_back("c" + std::to_string(cat));
            }
        }
        const std::size_t words = 2 + Below(8);
        for (std::size_t i = 0; i < words; ++i) {
            const std::string stem = Below(2) == 0 ? std::to_string(topic) : "all";
            msg.bag["w" + stem + std::to_string(Below(12))] +=
                0.25 * static_cast<double>(1 + Below(20));
        }
        msg.weight = kWeights[Below(kWeights.size())];
    }

    std::mt19937 m_engine;
};

// Adds messages that are skipped because one of their weights is not finite. Each is a copy of the
// message before it, with a weight or a bag that is not finite.
inline std::vector<Slow_message> with_spoilt(std::vector<Slow_message> messages) {
    constexpr double kEndless = std::numeric_limits<double>::infinity();
    constexpr std::array<double, 3> kNotFinite = {kEndless, -kEndless,
                                                  std::numeric_limits<double>::quiet_NaN()};
    for (std::size_t kind = 0; kind <= 2 * kNotFinite.size(); ++kind) {
        const auto original = static_cast<std::ptrdiff_t>(1 + 2 * kind);
        Slow_message spoilt = messages.at(static_cast<std::size_t>(original));
        if (kind < kNotFinite.size()) {
            spoilt.weight = kNotFinite[kind];
        } else if (kind < 2 * kNotFinite.size()) {
            spoilt.bag["spoilt"] = kNotFinite[kind - kNotFinite.size()];
            spoilt.has_bag = true;
        } else {
            spoilt.bag = {{"large", 1e308}, {"larger", 1.5e308}};  // the sum is infinite
            spoilt.has_bag = true;
        }
        messages.insert(messages.begin() + original + 1, spoilt);
    }
    return messages;
}

#endif  // ZANDREL_TESTS_STATISTICS_RANDOM_CORPUS_H_
