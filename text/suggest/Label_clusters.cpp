// Computes the distances of all pairs of labels from their common words, and names the groups.
//
// The squared distance of two vectors of length 1 is 2 - 2 * (their dot product). To find the dot
// products of a label with all labels before it, we follow only the words of the label: a table has
// the weights of each word in the labels before.
//
// A group "flight-airport" has labels in which "flight" and "airport" have the greatest sums of
// weights. If there is a label or another group with this name, the third word is added, and so on.
#include "text/suggest/Label_clusters.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "zandrel/knowledge/Progress.h"

#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

constexpr std::size_t kLongestGroupWord = 30;  // bytes of a word in the name of a group
constexpr std::size_t kWordsOfName = 2;
constexpr std::size_t kMostWordsOfName = 5;

struct Identity_hash {
    std::size_t operator()(const Concept& word) const noexcept { return word.hash(); }
};

struct Posting {
    std::size_t label;
    double weight;
};

// The weights of each word in the labels that were added.
using Postings = std::unordered_map<Concept, std::vector<Posting>, Identity_hash>;

Pair_distances distances_of(const std::vector<Label_vector>& vectors, CTProgress* progress) {
    const zandrel::detail::Progress steps(progress);
    Pair_distances squares(vectors.size());
    Postings postings;
    std::vector<double> products;
    for (std::size_t label = 0; label < vectors.size(); ++label) {
        products.assign(label, 0.0);
        for (const Weighted_word& each : vectors[label].words) {
            std::vector<Posting>& with_word = postings[each.word];
            for (const Posting& posting : with_word) {
                products[posting.label] += each.weight * posting.weight;
            }
            with_word.push_back({label, each.weight});
        }
        for (std::size_t before = 0; before < label; ++before) {
            squares.at(label, before) = std::max(0.0, 2.0 - 2.0 * products[before]);
        }
        steps.check_interrupt();
    }
    return squares;
}

// Names are parts of paths and of tree files, and people type them. A number describes no group.
bool can_be_in_name(std::string_view word) {
    return word.size() <= kLongestGroupWord &&
           word.find_first_of("/\\[]") == std::string_view::npos &&
           word.find_first_not_of("0123456789") != std::string_view::npos &&
           shown_text(word) == word;
}

// "reservation" and "reservations": the second one says nothing new.
bool is_like(std::string_view a, std::string_view b) {
    return a.substr(0, b.size()) == b.substr(0, a.size());
}

// The words with the greatest sums of weights that can be in a name; of equal sums the first in
// text order. Of two words of which one begins with the other, only the first is taken.
std::vector<std::string> best_words(const std::vector<Label_vector>& vectors,
                                    const std::vector<std::size_t>& cluster) {
    std::vector<Weighted_word> all;
    for (const std::size_t label : cluster) {
        all.insert(all.end(), vectors[label].words.begin(), vectors[label].words.end());
    }
    std::stable_sort(all.begin(), all.end(), [](const Weighted_word& a, const Weighted_word& b) {
        return a.word < b.word;
    });
    std::vector<Weighted_word> sums;
    for (const Weighted_word& each : all) {
        if (!sums.empty() && sums.back().word == each.word) {
            sums.back().weight += each.weight;
        } else if (can_be_in_name(each.word.view())) {
            sums.push_back(each);
        }
    }
    std::stable_sort(sums.begin(), sums.end(), [](const Weighted_word& a, const Weighted_word& b) {
        return a.weight > b.weight;
    });
    std::vector<std::string> words;
    for (std::size_t i = 0; i < sums.size() && words.size() < kMostWordsOfName; ++i) {
        const std::string_view word = sums[i].word.view();
        if (std::none_of(words.begin(), words.end(),
                         [word](const std::string& better) { return is_like(word, better); })) {
            words.emplace_back(word);
        }
    }
    return words;
}

// Finds a name that is not used yet, and adds it to the used ones.
std::string new_name(const std::vector<std::string>& words, std::unordered_set<std::string>& used) {
    std::string name;
    for (std::size_t i = 0; i < words.size(); ++i) {
        name += (i == 0 ? "" : "-") + words[i];
        const bool is_long_enough = i + 1 >= std::min(kWordsOfName, words.size());
        if (is_long_enough && used.insert(name).second) {
            return name;
        }
    }
    const std::string start = words.empty() ? "group" : name;
    for (std::size_t number = words.empty() ? 1 : 2;; ++number) {
        name = start + "-" + std::to_string(number);
        if (used.insert(name).second) {
            return name;
        }
    }
}

}  // namespace

Label_clusters::Label_clusters(const std::vector<Labelled_text>& texts, Text_analysis& analysis,
                               CTProgress* progress)
    : Label_clusters(label_vectors(texts, analysis, progress), progress) {}

Label_clusters::Label_clusters(std::vector<Label_vector> vectors, CTProgress* progress)
    : m_vectors(std::move(vectors)) {
    for (const Label_vector& each : m_vectors) {
        m_labels.push_back(each.label);
    }
    std::erase_if(m_vectors, [](const Label_vector& each) { return each.words.empty(); });
    if (!m_vectors.empty()) {
        m_merges = ward_merges(distances_of(m_vectors, progress), progress);
    }
}

Label_groups Label_clusters::groups(std::size_t count) const {
    Label_groups made;
    made.file = "the suggested groups";
    std::unordered_set<std::string> used(m_labels.begin(), m_labels.end());
    used.insert(kRootName);
    for (const std::vector<std::size_t>& cluster : clusters_of(m_merges, m_vectors.size(), count)) {
        if (cluster.size() == 1) {
            continue;
        }
        Label_group& group = made.groups.emplace_back();
        group.name = new_name(best_words(m_vectors, cluster), used);
        for (const std::size_t label : cluster) {
            group.labels.push_back(m_vectors[label].label);
        }
    }
    return made;
}

}  // namespace zandrel
