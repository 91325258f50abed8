#include "text/data/Folds.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/growth.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;

using Labels = std::vector<std::vector<std::string>>;

Label_lists lists_of(const Labels& labels) {
    return {labels.begin(), labels.end()};
}

// So many texts with this label.
void add_texts(std::size_t count, const std::string& label, Labels& labels) {
    labels.insert(labels.end(), count, {label});
}

// The order of n texts, as documented: for i from n - 1 down to 1, swap the elements i and j, where
// j is the next number of the generator modulo i + 1. (A number above the greatest multiple of i +
// 1 has the probability 2^-60 here.)
std::vector<std::size_t> documented_order(std::size_t n, std::uint64_t seed) {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < n; ++i) {
        order.push_back(i);
    }
    std::mt19937_64 generator(seed);
    for (std::size_t i = n; i-- > 1;) {
        std::swap(order[i], order[generator() % (i + 1)]);
    }
    return order;
}

// Deals as documented, but looks at each fold and each text every time.
std::vector<std::size_t> folds_by_search(const Labels& labels, std::size_t fold_count,
                                         std::uint64_t seed) {
    const std::vector<std::size_t> order = documented_order(labels.size(), seed);
    std::vector<std::size_t> fold_of(labels.size(), fold_count);
    const auto has = [&](std::size_t text, const std::string& label) {
        return std::count(labels[text].begin(), labels[text].end(), label) > 0;
    };
    while (std::count(fold_of.begin(), fold_of.end(), fold_count) > 0) {
        std::string rarest;
        std::size_t fewest = labels.size() + 1;
        for (const std::size_t text : order) {
            for (const std::string& label : labels[text]) {
                std::size_t waiting = 0;
                for (std::size_t other = 0; other < labels.size(); ++other) {
                    waiting += fold_of[other] == fold_count && has(other, label) ? 1U : 0U;
                }
                if (waiting > 0 && waiting < fewest) {
                    fewest = waiting;
                    rarest = label;
                }
            }
        }
        for (const std::size_t text : order) {
            if (fold_of[text] != fold_count || !has(text, rarest)) {
                continue;
            }
            std::vector<std::vector<std::size_t>> candidates;
            for (std::size_t fold = 0; fold < fold_count; ++fold) {
                std::size_t of_label = 0;
                for (std::size_t other = 0; other < labels.size(); ++other) {
                    of_label += fold_of[other] == fold && has(other, rarest) ? 1U : 0U;
                }
                candidates.push_back(
                    {of_label,
                     static_cast<std::size_t>(std::count(fold_of.begin(), fold_of.end(), fold)),
                     fold});
            }
            fold_of[text] = (*std::min_element(candidates.begin(), candidates.end()))[2];
        }
    }
    return fold_of;
}

// Some texts, with one to three of the labels "0" to "6". Small numbers are more frequent.
Labels some_labels(std::size_t count, std::uint64_t seed) {
    std::mt19937_64 generator(seed);
    Labels labels(count);
    for (std::vector<std::string>& list : labels) {
        for (std::size_t wanted = 1 + generator() % 3; wanted > 0; --wanted) {
            const std::string label = std::to_string(generator() % (1 + generator() % 7));
            if (std::count(list.begin(), list.end(), label) == 0) {
                list.push_back(label);
            }
        }
    }
    return labels;
}

// Number of texts of each label in each fold.
std::map<std::string, std::vector<std::size_t>> counts_of(const Labels& labels,
                                                          const std::vector<std::size_t>& folds,
                                                          std::size_t fold_count) {
    std::map<std::string, std::vector<std::size_t>> counts;
    for (std::size_t text = 0; text < labels.size(); ++text) {
        for (const std::string& label : labels[text]) {
            counts.try_emplace(label, fold_count).first->second[folds[text]] += 1;
        }
    }
    return counts;
}

std::size_t difference(const std::vector<std::size_t>& counts) {
    return *std::max_element(counts.begin(), counts.end()) -
           *std::min_element(counts.begin(), counts.end());
}

TEST(FoldsTest, FoldsAreThoseOfTheDocumentedSteps) {
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        for (const std::size_t fold_count : {2U, 3U, 5U, 30U, 40U}) {
            const Labels labels = some_labels(30, seed);

            EXPECT_EQ(folds_of(lists_of(labels), fold_count, seed),
                      folds_by_search(labels, fold_count, seed))
                << "seed " << seed << ", " << fold_count << " folds";
        }
    }
}

// The first two numbers of the generator with the seed 5489 are 14514284786278117030 and
// 4620546740167642908. They order the three texts of one label:
//   modulo 3 = 1: swap the places 2 and 1: 0 2 1
//   modulo 2 = 0: swap the places 1 and 0: 2 0 1
// So text 2 is dealt first, then text 0, then text 1.
TEST(FoldsTest, ShuffleUsesTheNumbersThatTheStandardFixes) {
    const Labels labels(3, {"a"});

    EXPECT_THAT(folds_of(lists_of(labels), 3, 5489), ElementsAre(1, 2, 0));
}

TEST(FoldsTest, TextsOfOneLabelDifferByAtMostOneBetweenFolds) {
    Labels labels;
    add_texts(31, "many", labels);
    add_texts(7, "some", labels);
    add_texts(2, "few", labels);
    add_texts(1, "one", labels);

    const std::vector<std::size_t> folds = folds_of(lists_of(labels), 5, kDefaultSeed);

    for (const auto& [label, counts] : counts_of(labels, folds, 5)) {
        EXPECT_LE(difference(counts), 1U) << label;
    }
    std::vector<std::size_t> sizes(5);
    for (const std::size_t fold : folds) {
        ++sizes[fold];
    }
    EXPECT_LE(difference(sizes), 1U);
}

TEST(FoldsTest, TextsOfSeveralLabelsAreSpreadToo) {
    const Labels labels = some_labels(2000, 3);

    const std::vector<std::size_t> folds = folds_of(lists_of(labels), 5, kDefaultSeed);

    for (const auto& [label, counts] : counts_of(labels, folds, 5)) {
        EXPECT_LE(difference(counts), 4U) << label;  // by chance, about 20
    }
}

TEST(FoldsTest, NoFoldIsEmptyIfThereAreAsManyTexts) {
    for (std::uint64_t seed = 0; seed < 50; ++seed) {
        std::vector<std::size_t> folds = folds_of(lists_of(some_labels(12, seed)), 12, seed);
        std::sort(folds.begin(), folds.end());

        EXPECT_THAT(folds, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11)) << seed;
    }
}

TEST(FoldsTest, AnotherSeedGivesOtherFolds) {
    const Labels labels(40, {"a"});

    EXPECT_EQ(folds_of(lists_of(labels), 4, 7), folds_of(lists_of(labels), 4, 7));
    EXPECT_NE(folds_of(lists_of(labels), 4, 7), folds_of(lists_of(labels), 4, 8));
}

TEST(FoldsTest, NoTextsHaveNoFolds) {
    EXPECT_TRUE(folds_of({}, 3, kDefaultSeed).empty());
    EXPECT_TRUE(held_out_texts({}, 0.2, kDefaultSeed).empty());
}

TEST(FoldsTest, FirstCopyIsTheFirstIdenticalText) {
    const std::vector<Labelled_text> texts = {{{"golf"}, "a"}, {{"tax"}, "b"}, {{"tax"}, "a"},
                                              {{"tax"}, ""},   {{"tax"}, ""},  {{"golf"}, "a"}};

    EXPECT_EQ(first_copies(texts), (std::vector<std::size_t>{0, 1, 0, 3, 4, 0}));
}

TEST(FoldsTest, CopiesAreInTheFoldOfTheFirstCopy) {
    std::vector<Labelled_text> texts;
    std::vector<Labelled_text> different;
    for (int i = 0; i < 40; ++i) {
        const Labelled_text text = {{i % 4 == 0 ? "golf" : "tax"}, "text " + std::to_string(i)};
        different.push_back(text);
        texts.push_back(text);
        if (i % 3 == 0) {
            texts.push_back(text);
            texts.push_back({{"other"}, text.text});
        }
    }
    const std::vector<std::size_t> of_different = folds_of(label_lists_of(different), 3, 1);
    const std::vector<std::size_t> folds =
        folds_of_copies(label_lists_of(texts), first_copies(texts), 3, 1);

    ASSERT_EQ(folds.size(), texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::size_t number = std::stoul(texts[i].text.substr(5));
        EXPECT_EQ(folds[i], of_different[number]) << i;
    }
}

TEST(FoldsTest, WithoutCopiesTheFoldsAreTheUsualOnes) {
    std::vector<Labelled_text> texts;
    for (int i = 0; i < 30; ++i) {
        texts.push_back({{i % 2 == 0 ? "golf" : "tax"}, std::to_string(i)});
    }
    const Label_lists lists = label_lists_of(texts);

    EXPECT_EQ(folds_of_copies(lists, first_copies(texts), 3, 7), folds_of(lists, 3, 7));
}

TEST(FoldsTest, LabelsOfTextsAreListed) {
    const std::vector<Labelled_text> texts = {{{"a", "b"}, "x"}, {{"c"}, "y"}};

    const Label_lists lists = label_lists_of(texts);

    ASSERT_EQ(lists.size(), 2U);
    EXPECT_THAT(lists[0].get(), ElementsAre("a", "b"));
    EXPECT_THAT(lists[1].get(), ElementsAre("c"));
}

TEST(FoldsTest, DealingTakesNoSquareTime) {
    ExpectNoSquareGrowth(2000, [](int n) {
        Labels labels;
        add_texts(static_cast<std::size_t>(n), "a", labels);
        for (int i = 0; i < n; ++i) {
            labels.push_back({std::to_string(i), "b"});
        }
        const std::vector<std::size_t> folds =
            folds_of(lists_of(labels), labels.size(), kDefaultSeed);
        EXPECT_EQ(folds.size(), labels.size());
    });
}

std::size_t held_out_count(const Labels& labels, double share) {
    const std::vector<bool> held_out = held_out_texts(lists_of(labels), share, kDefaultSeed);
    return static_cast<std::size_t>(std::count(held_out.begin(), held_out.end(), true));
}

TEST(FoldsTest, HeldOutTextsAreTheRoundedShare) {
    const struct {
        std::size_t texts;
        double share;
        std::size_t held_out;
    } rows[] = {
        {10, 0.3, 3},       {10, 0.25, 3},       {9, 0.25, 2},     {3, 0.2, 1},
        {2, 0.2, 0},        {1, 0.5, 1},         {1, 0.4, 0},      {7, 0.9999, 7},
        {20000, 0.0001, 2}, {5000, 0.1234, 617}, {100, 0.333, 33}, {100, 1.0 / 3, 33},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(held_out_count(Labels(row.texts, {"a"}), row.share), row.held_out)
            << row.share << " of " << row.texts;
    }
}

TEST(FoldsTest, EachLabelHasItsShareOfHeldOutTexts) {
    Labels labels;
    add_texts(50, "a", labels);
    add_texts(20, "b", labels);
    add_texts(10, "c", labels);

    const std::vector<bool> held_out = held_out_texts(lists_of(labels), 0.3, 9);

    EXPECT_EQ(std::count(held_out.begin(), held_out.begin() + 50, true), 15);
    EXPECT_EQ(std::count(held_out.begin() + 50, held_out.begin() + 70, true), 6);
    EXPECT_EQ(std::count(held_out.begin() + 70, held_out.end(), true), 3);
}

// A share of 1 / n is one of n folds: fold 2 of 5, since round(2 / 5) = 0 and round(3 / 5) = 1.
TEST(FoldsTest, FifthOfTheTextsIsOneOfFiveFolds) {
    const Labels labels = some_labels(60, 4);
    const std::vector<std::size_t> folds = folds_of(lists_of(labels), 5, 11);

    const std::vector<bool> held_out = held_out_texts(lists_of(labels), 0.2, 11);

    for (std::size_t text = 0; text < labels.size(); ++text) {
        EXPECT_EQ(held_out[text], folds[text] == 2) << text;
    }
}

// With the share 0.5, many labels of one text are not all learned or all held out.
TEST(FoldsTest, LabelsOfOneTextAreSharedToo) {
    Labels labels;
    for (int i = 0; i < 100; ++i) {
        labels.push_back({std::to_string(i)});
    }

    EXPECT_EQ(held_out_count(labels, 0.5), 50U);
    EXPECT_EQ(held_out_count(labels, 0.2), 20U);
}

}  // namespace

}  // namespace zandrel::cli
