// Deals texts to folds like cards, label by label, the rarest label first (iterative
// stratification). A common label has enough texts to make up for what the rare ones leave uneven.
//
//   1. Shuffle the texts.
//   2. Take the label with the fewest texts that are not dealt yet. If there are several, take the
//      one that comes first in the shuffled texts.
//   3. Deal these texts in shuffled order. Each is given to the fold with the fewest texts of this
//      label; if there are several, to the one of them with the fewest texts; if there are still
//      several, to the first one.
//   4. Repeat 2 and 3 until all texts are dealt.
//
// Example: two folds. The shuffled texts are t0: golf, t1: golf+tax, t2: tax, t3: golf.
//
//   tax has two texts, golf three, so tax is first:
//     t1 -> fold 0    both folds are empty
//     t2 -> fold 1    it has no text of tax
//   golf has t0 and t3 left. Fold 0 has one text of golf already, t1:
//     t0 -> fold 1    it has no text of golf
//     t3 -> fold 0    both have one text of golf, but fold 0 has one text, and fold 1 has two
//
// All numbers are integers, so no rounding can make two machines differ. The shuffle uses
// std::mt19937_64, whose numbers the C++ standard fixes, but not std::shuffle or a distribution:
// each standard library has its own algorithm for these.
//
// Looking at all folds for each text would take n * n steps if there are as many folds as texts. So
// m_by_size of Deal has the folds without a text of the present label, and m_by_count has the other
// folds. Both are sorted, so each text takes only the logarithm of the number of folds.
//
// A share such as 0.3 is 3 of 10 folds. If there are fewer texts than folds, only the first folds
// get texts. So the folds that are held out are not the first three, but are spread: of the first f
// folds, round(0.3 f) are held out. These are the folds 1, 4 and 8.
#include "text/data/Folds.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <set>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "text/errors.h"
#include "text/wording/Layout.h"

namespace zandrel {

namespace {

// A number from 0 to `end` - 1, each equally probable. Numbers of the generator above the greatest
// multiple of `end` are refused: with them, the remainders would not be equally probable.
std::size_t number_below(std::size_t end, std::mt19937_64& generator) {
    const std::uint64_t beyond = (std::mt19937_64::max() % end + 1) % end;  // 2^64 modulo `end`
    std::uint64_t number = generator();
    while (number > std::mt19937_64::max() - beyond) {
        number = generator();
    }
    return number % end;
}

// The numbers from 0 to `count` - 1 in any order, each order equally probable (Fisher-Yates).
std::vector<std::size_t> shuffled_numbers(std::size_t count, std::uint64_t seed) {
    std::vector<std::size_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 0U);
    std::mt19937_64 generator(seed);
    for (std::size_t end = count; end > 1; --end) {
        std::swap(numbers[end - 1], numbers[number_below(end, generator)]);
    }
    return numbers;
}

// The texts that each fold has.
class Deal {
public:
    Deal(std::size_t text_count, std::size_t fold_count)
        : m_fold_of(text_count, fold_count), m_sizes(fold_count), m_counts(fold_count) {
        for (std::size_t fold = 0; fold < fold_count; ++fold) {
            m_by_size.insert({0, fold});
        }
    }

    bool is_dealt(std::size_t text) const { return m_fold_of[text] != m_sizes.size(); }

    // Begins to deal the texts of a label. `texts`: all of them, also those that are dealt already.
    void begin_label(const std::vector<std::size_t>& texts) {
        for (const std::size_t text : texts) {
            if (is_dealt(text) && m_counts[m_fold_of[text]]++ == 0) {
                m_by_size.erase({m_sizes[m_fold_of[text]], m_fold_of[text]});
                m_touched.push_back(m_fold_of[text]);
            }
        }
        for (const std::size_t fold : m_touched) {
            m_by_count.insert({m_counts[fold], m_sizes[fold], fold});
        }
    }

    // Gives a text of this label to a fold.
    void give(std::size_t text) {
        std::size_t fold = 0;
        if (m_by_size.empty()) {
            fold = std::get<2>(*m_by_count.begin());
            m_by_count.erase(m_by_count.begin());
        } else {
            fold = m_by_size.begin()->second;
            m_by_size.erase(m_by_size.begin());
            m_touched.push_back(fold);
        }
        m_fold_of[text] = fold;
        ++m_sizes[fold];
        ++m_counts[fold];
        m_by_count.insert({m_counts[fold], m_sizes[fold], fold});
    }

    void end_label() {
        for (const std::size_t fold : m_touched) {
            m_counts[fold] = 0;
            m_by_size.insert({m_sizes[fold], fold});
        }
        m_touched.clear();
        m_by_count.clear();
    }

    std::vector<std::size_t> take() { return std::move(m_fold_of); }

private:
    std::vector<std::size_t> m_fold_of;  // of each text; the number of folds: not dealt yet
    std::vector<std::size_t> m_sizes;    // of each fold
    std::vector<std::size_t> m_counts;   // of each fold, texts of the present label
    std::set<std::pair<std::size_t, std::size_t>> m_by_size;  // (size, fold) without such texts
    std::set<std::tuple<std::size_t, std::size_t, std::size_t>> m_by_count;  // (count, size, fold)
    std::vector<std::size_t> m_touched;                                      // folds of m_by_count
};

// The labels with texts that are not dealt yet. A label is a number, in the order in which the
// labels come in the shuffled texts.
class Waiting_labels {
public:
    Waiting_labels(const Label_lists& lists, const std::vector<std::size_t>& order)
        : m_labels_of(lists.size()) {
        std::unordered_map<std::string_view, std::size_t> numbers;
        for (const std::size_t text : order) {
            for (const std::string& label : lists[text].get()) {
                const auto [known, is_new] = numbers.try_emplace(label, numbers.size());
                if (is_new) {
                    m_texts_of.emplace_back();
                }
                m_texts_of[known->second].push_back(text);
                m_labels_of[text].push_back(known->second);
            }
        }
        for (std::size_t label = 0; label < m_texts_of.size(); ++label) {
            m_waiting.push_back(m_texts_of[label].size());
            m_queue.insert({m_waiting[label], label});
        }
    }

    bool are_all_dealt() const { return m_queue.empty(); }

    // The texts of the label with the fewest texts that are not dealt yet.
    const std::vector<std::size_t>& texts_of_rarest() const {
        return m_texts_of[m_queue.begin()->second];
    }

    void note_dealt(std::size_t text) {
        for (const std::size_t label : m_labels_of[text]) {
            m_queue.erase({m_waiting[label], label});
            if (--m_waiting[label] > 0) {
                m_queue.insert({m_waiting[label], label});
            }
        }
    }

private:
    std::vector<std::vector<std::size_t>> m_labels_of;      // of each text
    std::vector<std::vector<std::size_t>> m_texts_of;       // of each label, in shuffled order
    std::vector<std::size_t> m_waiting;                     // of each label, texts not dealt yet
    std::set<std::pair<std::size_t, std::size_t>> m_queue;  // (waiting texts, label)
};

// Returns whether a fold is held out, if `held_out` of each `count` folds are. The first f folds
// contain round(f * held_out / count) such folds.
bool is_held_out(std::size_t fold, std::size_t held_out, std::size_t count) {
    const auto held_out_of_first = [=](std::size_t folds) {
        return (2 * folds * held_out + count) / (2 * count);
    };
    return held_out_of_first(fold + 1) > held_out_of_first(fold);
}

}  // namespace

Label_lists label_lists_of(const std::vector<Labelled_text>& texts) {
    Label_lists lists;
    lists.reserve(texts.size());
    for (const Labelled_text& text : texts) {
        lists.emplace_back(text.labels);
    }
    return lists;
}

std::vector<std::size_t> folds_of(const Label_lists& texts, std::size_t fold_count,
                                  std::uint64_t seed) {
    Deal deal(texts.size(), fold_count);
    Waiting_labels labels(texts, shuffled_numbers(texts.size(), seed));
    while (!labels.are_all_dealt()) {
        const std::vector<std::size_t>& of_label = labels.texts_of_rarest();
        deal.begin_label(of_label);
        for (const std::size_t text : of_label) {
            if (!deal.is_dealt(text)) {
                deal.give(text);
                labels.note_dealt(text);
            }
        }
        deal.end_label();
    }
    return deal.take();
}

std::vector<std::size_t> first_copies(const std::vector<Labelled_text>& texts) {
    std::unordered_map<std::string_view, std::size_t> first_of;
    std::vector<std::size_t> copies;
    copies.reserve(texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::string& text = texts[i].text;
        copies.push_back(text.empty() ? i : first_of.try_emplace(text, i).first->second);
    }
    return copies;
}

std::vector<std::size_t> folds_of_copies(const Label_lists& texts,
                                         const std::vector<std::size_t>& first_copies,
                                         std::size_t fold_count, std::uint64_t seed) {
    Label_lists different;
    std::vector<std::size_t> place_of(texts.size());  // of a first copy among `different`
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (first_copies[i] == i) {
            place_of[i] = different.size();
            different.push_back(texts[i]);
        }
    }
    const std::vector<std::size_t> fold_of_different = folds_of(different, fold_count, seed);
    std::vector<std::size_t> folds;
    folds.reserve(texts.size());
    for (const std::size_t copy : first_copies) {
        folds.push_back(fold_of_different[place_of[copy]]);
    }
    return folds;
}

std::vector<bool> held_out_texts(const Label_lists& texts, double share, std::uint64_t seed) {
    const auto units_of_whole = static_cast<std::size_t>(std::llround(1.0 / kShareUnit));
    const auto units = static_cast<std::size_t>(std::llround(share / kShareUnit));
    const std::size_t divisor = std::gcd(units, units_of_whole);
    const std::size_t fold_count = units_of_whole / divisor;
    std::vector<bool> held_out;
    held_out.reserve(texts.size());
    for (const std::size_t fold : folds_of(texts, fold_count, seed)) {
        held_out.push_back(is_held_out(fold, units / divisor, fold_count));
    }
    return held_out;
}

std::vector<bool> held_out_texts(const std::string& file, const Label_lists& texts, double share,
                                 std::uint64_t seed) {
    std::vector<bool> held_out = held_out_texts(texts, share, seed);
    const bool has_none = std::find(held_out.begin(), held_out.end(), true) == held_out.end();
    if (has_none || std::find(held_out.begin(), held_out.end(), false) == held_out.end()) {
        throw Data_error(file, "too few texts (" + grouped(texts.size()) + ") for the share: " +
                                   (has_none ? "no text is held out" : "all are held out"));
    }
    return held_out;
}

}  // namespace zandrel
