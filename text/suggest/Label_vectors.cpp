// Counts the words of each label, and weighs them as search engines do (sublinear tf-idf).
//
// Example: three labels, whose texts together contain these words.
//
//   golf:  ball 3, green 1, the 5      ball  is in 2 labels: ln(3/2) = 0.405
//   chess: board 2, the 4              green is in 1 label:  ln(3/1) = 1.099, as are board and
//   score polo:  ball 1, score 1, the 2      the   is in 3 labels: ln(3/3) = 0
//
// The weight of "ball" for golf is (1 + ln 3) * 0.405 = 0.851, that of "green" is 1.099, and "the"
// is left out. Divided by the length sqrt(0.851^2 + 1.099^2) = 1.390, golf is {ball 0.612, green
// 0.791}.
//
// Only portable_log and operations with exact IEEE results (+ - * / and sqrt) are used, and all
// sums are in text order.
#include "text/suggest/Label_vectors.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <string_view>

#include "zandrel/knowledge/Progress.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "text/data/Stored_corpus.h"

namespace zandrel {

namespace {

using zandrel::detail::Progress;

// The words of each label with their numbers of occurrences.
using Counts = std::map<std::string_view, zeSml_feeder>;

// The groups are found with an analysis of their own, so the text itself is read, not its bag. A
// corpus file of another program has no texts; there we can only take the bag.
void feed_stored(const Stored_text& text, Text_analysis& analysis, zeSml_feeder& words) {
    const qtPtrLight<zeMsg> msg = text.corpus->stored(text.number);
    if (!Stored_corpus::text_of(*msg, kTextPair)) {
        if (!msg->active_bag().IsNull()) {
            for (const zeSml::Concept_info& each : msg->active_bag()->m_concepts) {
                words.add_concept(each.m_concept, each.m_weight);
            }
        }
        return;
    }
    for (const char* const pair : {kTextPair, kTitlePair, kKeywordsPair}) {
        const std::string part = Stored_corpus::text_of(*msg, pair).value_or("");
        if (!part.empty() && (text.has_titles || pair == kTextPair)) {
            analysis.feed(part, words);
        }
    }
}

void feed_all(const Labelled_text& text, Text_analysis& analysis, zeSml_feeder& words) {
    words.clear();
    if (text.stored.corpus) {
        feed_stored(text.stored, analysis, words);
        return;
    }
    for (const std::string* const part : {&text.text, &text.title, &text.keywords}) {
        if (!part->empty()) {
            analysis.feed(*part, words);
        }
    }
}

Counts count_words(const std::vector<Labelled_text>& texts, Text_analysis& analysis,
                   CTProgress* progress) {
    const Progress steps(progress);
    steps.set_status("Analysing the texts");
    steps.set_total(texts.size());
    Counts counts;
    zeSml_feeder words;
    for (const Labelled_text& text : texts) {
        feed_all(text, analysis, words);
        for (const std::string& label : text.labels) {
            counts[label].combine(words);
        }
        steps.step();
    }
    return counts;
}

// Returns in how many labels each word is.
zandrel::Concept_weights label_counts(const Counts& counts) {
    zandrel::Concept_weights labels_with;
    for (const auto& [label, feeder] : counts) {
        for (const auto& [word, count] : feeder.m_concepts) {
            labels_with[word] += 1.0;
        }
    }
    return labels_with;
}

bool comes_first_in_text(const Weighted_word& left, const Weighted_word& right) {
    return left.word < right.word;
}

void keep_heaviest(std::vector<Weighted_word>& words) {
    if (words.size() <= kMostWords) {
        return;
    }
    std::sort(words.begin(), words.end(),
              [](const Weighted_word& left, const Weighted_word& right) {
                  return left.weight != right.weight ? left.weight > right.weight
                                                     : left.word < right.word;
              });
    words.resize(kMostWords);
}

void make_unit_length(std::vector<Weighted_word>& words) {
    double square = 0.0;
    for (const Weighted_word& each : words) {
        square += each.weight * each.weight;
    }
    const double length = std::sqrt(square);
    for (Weighted_word& each : words) {
        each.weight /= length;
    }
}

}  // namespace

// ln(m * 2^e) = ln m + e * ln 2, with m between sqrt(1/2) and sqrt(2). For s = (m - 1) / (m + 1),
// ln m = 2 (s + s^3/3 + s^5/5 + ...). |s| is at most 0.172, so the 13th term is below 1e-20.
double portable_log(double number) {
    constexpr double kLogOfTwo = 0x1.62e42fefa39efp-1;
    constexpr double kRootOfHalf = 0x1.6a09e667f3bcdp-1;
    constexpr int kLastPower = 25;
    int exponent = 0;
    double mantissa = std::frexp(number, &exponent);  // exact
    if (mantissa < kRootOfHalf) {
        mantissa *= 2.0;
        --exponent;
    }
    const double s = (mantissa - 1.0) / (mantissa + 1.0);
    double sum = 0.0;
    for (int power = kLastPower; power > 0; power -= 2) {
        sum = sum * s * s + 1.0 / power;
    }
    return 2.0 * s * sum + exponent * kLogOfTwo;
}

std::vector<Label_vector> label_vectors(const std::vector<Labelled_text>& texts,
                                        Text_analysis& analysis, CTProgress* progress) {
    const Counts counts = count_words(texts, analysis, progress);
    const zandrel::Concept_weights labels_with = label_counts(counts);
    const auto label_count = static_cast<double>(counts.size());
    std::vector<Label_vector> vectors;
    for (const auto& [label, feeder] : counts) {
        Label_vector& made = vectors.emplace_back();
        made.label = label;
        for (const auto& [word, count] : feeder.m_concepts) {
            const double weight =
                (1.0 + portable_log(count)) * portable_log(label_count / labels_with.at(word));
            if (weight > 0.0) {
                made.words.push_back({word, weight});
            }
        }
        keep_heaviest(made.words);
        std::sort(made.words.begin(), made.words.end(), comes_first_in_text);
        make_unit_length(made.words);
    }
    return vectors;
}

}  // namespace zandrel
