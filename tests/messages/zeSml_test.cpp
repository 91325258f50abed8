#include "zandrel/messages/zeSml.h"

#include <climits>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// The texts and weights of a bag, in its order: "goal 2.5, match 1".
std::string contents(const zeSml& bag) {
    std::string text;
    for (const zeSml::Concept_info& entry : bag.m_concepts) {
        std::string weight = std::to_string(entry.m_weight);
        weight.erase(weight.find_last_not_of('0') + 1);
        if (weight.back() == '.') {
            weight.pop_back();
        }
        text += (text.empty() ? "" : ", ") + std::string(entry.m_concept.view()) + ' ' + weight;
    }
    return text;
}

// An entry that a test puts directly into a bag, without clipping.
zeSml::Concept_info entry_of(std::string_view text, double weight) {
    return {term(text), weight};
}

// A bag with goal 5, match 1 and team 3. Without a ceiling its total is 9.
qtPtrLight<zeSml> three_words(double clip_value = 0.0) {
    return make_bag({{"goal", 5.0}, {"match", 1.0}, {"team", 3.0}}, clip_value);
}

TEST(zeSmlTest, NewBagHasOnlyACeiling) {
    const zeSml bag(3.0);

    EXPECT_TRUE(bag.m_concepts.empty());
    EXPECT_EQ(bag.m_total_weight, 0.0);
    EXPECT_EQ(bag.m_clip_value, 3.0);
    EXPECT_TRUE(bag.m_is_new);
}

TEST(zeSmlTest, NegativeClippingValuesAreRefused) {
    const zeSml_feeder feeder = make_feeder({{"goal", 5.0}});
    const qtPtrLight<zeSml> free_bag = three_words();
    const qtPtrLight<zeSml> held_bag = three_words(3.0);
    for (const double value : {-1.0, -0.001, -std::numeric_limits<double>::denorm_min(),
                               std::numeric_limits<double>::lowest(), -kInfinity}) {
        SCOPED_TRACE(value);
        const char* const text = "Invalid clipping value";
        EXPECT_QTX_ARGS(zeSml::check_clipping_value(value), zeSml, 0, text, {});
        EXPECT_QTX_ARGS(zeSml bag(value), zeSml, 0, text, {});
        EXPECT_QTX_ARGS(zeSml bag(feeder, value), zeSml, 0, text, {});
        EXPECT_QTX_ARGS(zeSml bag(*free_bag, value), zeSml, 0, text, {});
        EXPECT_QTX_ARGS(zeSml bag(*held_bag, value), zeSml, 0, text, {});
        EXPECT_QTX_ARGS(free_bag->clip(value), zeSml, 0, text, {});
        EXPECT_QTX_ARGS(held_bag->clip(value), zeSml, 0, text, {});
        EXPECT_QTX_ARGS(zeSml::get_clipped_sml(free_bag, value), zeSml, 0, text, {});
        EXPECT_QTX_ARGS(zeSml::get_clipped_sml(held_bag, value), zeSml, 0, text, {});
    }
}

TEST(zeSmlTest, OtherClippingValuesAreAccepted) {
    for (const double value : {0.0, -0.0, std::numeric_limits<double>::denorm_min(), 3.0,
                               std::numeric_limits<double>::max(), kInfinity, kNaN}) {
        SCOPED_TRACE(value);
        EXPECT_NO_THROW(zeSml::check_clipping_value(value));
        EXPECT_NO_THROW(zeSml{value});
    }
}

TEST(zeSmlTest, RefusedClippingLeavesTheBagAndItsCount) {
    for (const double ceiling : {0.0, 3.0}) {
        SCOPED_TRACE(ceiling);
        const qtPtrLight<zeSml> bag = three_words(ceiling);
        bag->m_is_new = false;

        EXPECT_THROW(bag->clip(-0.5), qtX<zeSml>);
        EXPECT_THROW(zeSml::get_clipped_sml(bag, -0.5), qtX<zeSml>);

        EXPECT_EQ(contents(*bag),
                  ceiling == 0.0 ? "goal 5, match 1, team 3" : "goal 3, match 1, team 3");
        EXPECT_EQ(bag->m_total_weight, ceiling == 0.0 ? 9.0 : 7.0);
        EXPECT_EQ(bag->m_clip_value, ceiling);
        EXPECT_FALSE(bag->m_is_new);
        EXPECT_EQ(bag.use_count(), 1U);
    }
}

TEST(zeSmlTest, NaNIsKeptAsCeiling) {
    EXPECT_TRUE(std::isnan(zeSml(kNaN).m_clip_value));
    EXPECT_TRUE(std::isnan(zeSml(make_feeder({}), kNaN).m_clip_value));
    EXPECT_TRUE(std::isnan(zeSml(zeSml(0.0), kNaN).m_clip_value));
}

TEST(zeSmlTest, NaNDoesNotTightenACeiling) {
    EXPECT_EQ(zeSml(zeSml(3.0), kNaN).m_clip_value, 3.0);
}

struct Clip_weight_row {
    double clip_value;
    double weight;
    double expected;
};

TEST(zeSmlTest, OneWeightIsClipped) {
    const Clip_weight_row rows[] = {
        {0.0, 5.0, 5.0},  {0.0, 1e300, 1e300},   {0.0, -5.0, -5.0},
        {0.0, 0.0, 0.0},  {-0.0, 5.0, 5.0},      {3.0, 2.5, 2.5},
        {3.0, 3.0, 3.0},  {3.0, 3.5, 3.0},       {3.0, -5.0, -5.0},
        {3.0, 0.0, 0.0},  {0.5, 1e300, 0.5},     {kInfinity, 1e300, 1e300},
        {3.0, kNaN, 3.0}, {3.0, kInfinity, 3.0}, {3.0, -kInfinity, -kInfinity},
    };
    for (const Clip_weight_row& row : rows) {
        SCOPED_TRACE(std::to_string(row.weight) + " under " + std::to_string(row.clip_value));
        EXPECT_EQ(zeSml(row.clip_value).clip_weight(row.weight), row.expected);
    }
}

TEST(zeSmlTest, NaNAsCeilingMakesEachWeightNaN) {
    EXPECT_TRUE(std::isnan(zeSml(kNaN).clip_weight(5.0)));
}

TEST(zeSmlTest, FeederIsTakenSortedByText) {
    const zeSml bag(make_feeder({{"team", 1.0}, {"Goal", 2.0}, {"goals", 3.0}, {"goal", 4.5}}),
                    0.0);

    EXPECT_EQ(contents(bag), "Goal 2, goal 4.5, goals 3, team 1");
    EXPECT_EQ(bag.m_total_weight, 10.5);
    EXPECT_EQ(bag.m_clip_value, 0.0);
    EXPECT_TRUE(bag.m_is_new);
}

TEST(zeSmlTest, BytesAreSortedAsUnsigned) {
    zeSml_feeder feeder;
    for (int byte = UCHAR_MAX; byte >= 0; --byte) {
        feeder.add_concept(term(std::string(1, static_cast<char>(byte))), 1.0);
    }

    const zeSml bag(feeder, 0.0);

    ASSERT_EQ(bag.m_concepts.size(), 256U);
    for (int byte = 0; byte <= UCHAR_MAX; ++byte) {
        EXPECT_EQ(bag.m_concepts[static_cast<std::size_t>(byte)].m_concept.view(),
                  std::string(1, static_cast<char>(byte)));
    }
}

TEST(zeSmlTest, OnlyTextsOfEntriesAreCompared) {
    const zeSml::CompareConcepts comes_before;

    EXPECT_TRUE(comes_before(entry_of("goal", 9.0), entry_of("goals", 1.0)));
    EXPECT_FALSE(comes_before(entry_of("goals", 1.0), entry_of("goal", 9.0)));
    EXPECT_FALSE(comes_before(entry_of("goal", 1.0), entry_of("goal", 9.0)));
    EXPECT_TRUE(comes_before(entry_of("z", 1.0), entry_of("\xc3\xa4", 1.0)));
}

TEST(zeSmlTest, FeederIsUnchanged) {
    const zeSml_feeder feeder = make_feeder({{"goal", 5.0}, {"match", 1.0}});

    const zeSml bag(feeder, 3.0);

    EXPECT_EQ(feeder.m_concepts.size(), 2U);
    EXPECT_EQ(feeder.m_concepts.at(term("goal")), 5.0);
    EXPECT_EQ(feeder.m_total_weight, 6.0);
}

TEST(zeSmlTest, WeightsAreClippedOnceAfterSumming) {
    const zeSml_feeder feeder = make_feeder({{"goal", 2.0}, {"goal", 2.0}});

    const zeSml bag(feeder, 3.0);

    EXPECT_EQ(contents(bag), "goal 3");
    EXPECT_EQ(bag.m_total_weight, 3.0);
    EXPECT_EQ(feeder.m_total_weight, 4.0);
}

TEST(zeSmlTest, TotalIsTheSumOfClippedWeights) {
    zeSml_feeder feeder = make_feeder({{"goal", 5.0}, {"match", 1.0}, {"team", 3.0}});
    feeder.m_total_weight = 1000.0;

    EXPECT_EQ(zeSml(feeder, 0.0).m_total_weight, 9.0);
    EXPECT_EQ(zeSml(feeder, 3.0).m_total_weight, 7.0);
    EXPECT_EQ(zeSml(feeder, 0.5).m_total_weight, 1.5);
}

TEST(zeSmlTest, EmptyFeederGivesEmptyBag) {
    const zeSml bag(zeSml_feeder(), 3.0);

    EXPECT_TRUE(bag.m_concepts.empty());
    EXPECT_EQ(bag.m_total_weight, 0.0);
}

TEST(zeSmlTest, FeedingAgainAppendsAndSorts) {
    zeSml bag(make_feeder({{"goal", 2.0}, {"team", 1.0}}), 3.0);

    bag.feed(make_feeder({{"match", 9.0}, {"art", 0.5}}));

    EXPECT_EQ(contents(bag), "art 0.5, goal 2, match 3, team 1");
    EXPECT_EQ(bag.m_total_weight, 6.5);
}

TEST(zeSmlTest, FeedingAgainLetsAConceptOccurTwice) {
    zeSml bag(make_feeder({{"goal", 2.0}}), 3.0);

    bag.feed(make_feeder({{"goal", 2.0}}));

    EXPECT_EQ(contents(bag), "goal 2, goal 2");
    EXPECT_EQ(bag.m_total_weight, 4.0);
    EXPECT_TRUE(bag.concept_exists(term("goal")));
}

TEST(zeSmlTest, FeedingAddsToTheStoredTotal) {
    zeSml bag(0.0);
    bag.m_total_weight = 100.0;

    bag.feed(make_feeder({{"goal", 2.0}}));

    EXPECT_EQ(bag.m_total_weight, 102.0);
}

TEST(zeSmlTest, FeedingMakesTheBagNew) {
    zeSml bag(make_feeder({{"goal", 2.0}}), 0.0);
    bag.m_is_new = false;

    bag.feed(zeSml_feeder());

    EXPECT_TRUE(bag.m_is_new);
    EXPECT_EQ(contents(bag), "goal 2");
}

TEST(zeSmlTest, FeedingSortsEarlierEntriesToo) {
    zeSml bag(0.0);
    bag.m_concepts = {entry_of("team", 1.0), entry_of("art", 2.0)};

    bag.feed(make_feeder({{"goal", 3.0}}));

    EXPECT_EQ(contents(bag), "art 2, goal 3, team 1");
}

TEST(zeSmlTest, BagReservesRoomOnlyForItsEntries) {
    const qtPtrLight<zeSml> bag = three_words();
    const zeSml copy(*bag, 2.0);

    EXPECT_EQ(bag->m_concepts.capacity(), 3U);
    EXPECT_EQ(copy.m_concepts.capacity(), 3U);
}

TEST(zeSmlTest, SortConceptsOrdersByText) {
    zeSml bag(0.0);
    bag.m_concepts = {entry_of("team", 1.0), entry_of("art", 2.0), entry_of("goal", 3.0)};

    bag.sort_concepts();

    EXPECT_EQ(contents(bag), "art 2, goal 3, team 1");
}

struct Copy_row {
    const char* name;
    double source_ceiling;
    double asked;
    double ceiling;
    const char* contents;
    double total;
};

TEST(zeSmlTest, ClippedCopyTightensAndNeverLoosens) {
    const Copy_row rows[] = {
        {"no ceiling, none asked", 0.0, 0.0, 0.0, "goal 5, match 1, team 3", 9.0},
        {"no ceiling, one asked", 0.0, 3.0, 3.0, "goal 3, match 1, team 3", 7.0},
        {"no ceiling, high one asked", 0.0, 50.0, 50.0, "goal 5, match 1, team 3", 9.0},
        {"ceiling, none asked", 3.0, 0.0, 3.0, "goal 3, match 1, team 3", 7.0},
        {"ceiling, same asked", 3.0, 3.0, 3.0, "goal 3, match 1, team 3", 7.0},
        {"ceiling, looser asked", 3.0, 5.0, 3.0, "goal 3, match 1, team 3", 7.0},
        {"ceiling, tighter asked", 3.0, 2.0, 2.0, "goal 2, match 1, team 2", 5.0},
        {"tighter than every weight", 3.0, 0.5, 0.5, "goal 0.5, match 0.5, team 0.5", 1.5},
    };
    for (const Copy_row& row : rows) {
        SCOPED_TRACE(row.name);
        const zeSml copy(*three_words(row.source_ceiling), row.asked);

        EXPECT_EQ(copy.m_clip_value, row.ceiling);
        EXPECT_EQ(contents(copy), row.contents);
        EXPECT_EQ(copy.m_total_weight, row.total);
    }
}

TEST(zeSmlTest, ClippedCopyLeavesItsSource) {
    const qtPtrLight<zeSml> source = three_words();
    const zeSml before = *source;

    const zeSml copy(*source, 2.0);

    EXPECT_TRUE(*source == before);
}

TEST(zeSmlTest, ClippedCopySubtractsFromTheStoredTotal) {
    const qtPtrLight<zeSml> source = three_words();
    source->m_total_weight = 100.0;

    const zeSml copy(*source, 2.0);

    EXPECT_EQ(copy.m_total_weight, 96.0);  // 5 - 2 and 3 - 2 are cut off
}

TEST(zeSmlTest, ClippedCopyCutsNothingFromAWeightAtTheCeiling) {
    const qtPtrLight<zeSml> source = make_bag({{"goal", 0.1}, {"match", 0.7}});
    const double total = source->m_total_weight;

    const zeSml copy(*source, 0.7);

    EXPECT_EQ(copy.m_total_weight, total);
    EXPECT_EQ(copy.m_concepts[1].m_weight, 0.7);
}

TEST(zeSmlTest, ClippedCopyKeepsOrderOfEntries) {
    zeSml source(0.0);
    source.m_concepts = {entry_of("team", 5.0), entry_of("art", 5.0), entry_of("team", 1.0)};
    source.m_total_weight = 11.0;

    const zeSml copy(source, 2.0);

    EXPECT_EQ(contents(copy), "team 2, art 2, team 1");
    EXPECT_EQ(copy.m_total_weight, 5.0);
}

TEST(zeSmlTest, ClippedCopyIsNew) {
    const qtPtrLight<zeSml> source = three_words();
    source->m_is_new = false;

    EXPECT_TRUE(zeSml(*source, 0.0).m_is_new);
    EXPECT_FALSE(source->m_is_new);
}

TEST(zeSmlTest, PlainCopyIsNewAndEqual) {
    for (const double ceiling : {0.0, 3.0}) {
        SCOPED_TRACE(ceiling);
        const qtPtrLight<zeSml> source = three_words(ceiling);
        source->m_is_new = false;

        const zeSml copy(*source);

        EXPECT_TRUE(copy.m_is_new);
        EXPECT_FALSE(source->m_is_new);
        EXPECT_TRUE(copy == *source);
    }
}

TEST(zeSmlTest, PlainCopyOfAnInfiniteWeightHasTheTotalNaN) {
    const zeSml source(make_feeder({{"goal", kInfinity}}), 0.0);

    const zeSml copy(source);

    EXPECT_EQ(source.m_total_weight, kInfinity);
    EXPECT_TRUE(std::isnan(copy.m_total_weight));
    EXPECT_EQ(copy.m_concepts.at(0).m_weight, kInfinity);
}

TEST(zeSmlTest, AssignedBagIsAsNewAsItsSource) {
    const qtPtrLight<zeSml> source = three_words(3.0);
    for (const bool is_new : {false, true}) {
        SCOPED_TRACE(is_new);
        source->m_is_new = is_new;
        zeSml bag(0.0);
        bag.m_is_new = !is_new;

        bag = *source;

        EXPECT_EQ(bag.m_is_new, is_new);
        EXPECT_TRUE(bag == *source);
    }
}

TEST(zeSmlTest, PlainCopyIsClippedByTheSourcesCeiling) {
    const qtPtrLight<zeSml> source = three_words();
    source->m_clip_value = 3.0;

    const zeSml copy(*source);

    EXPECT_EQ(contents(copy), "goal 3, match 1, team 3");
    EXPECT_EQ(copy.m_total_weight, 7.0);
    EXPECT_EQ(copy.m_clip_value, 3.0);
}

TEST(zeSmlTest, ViewWithoutCeilingIsTheBagItself) {
    for (const double ceiling : {0.0, 3.0}) {
        SCOPED_TRACE(ceiling);
        const qtPtrLight<zeSml> source = three_words(ceiling);

        const qtPtrLight<zeSml> view = zeSml::get_clipped_sml(source, 0.0);

        EXPECT_EQ(view.get(), source.get());
        EXPECT_EQ(source.use_count(), 2U);
    }
}

TEST(zeSmlTest, ViewUnderLooserCeilingIsTheBagItself) {
    const qtPtrLight<zeSml> source = three_words(3.0);

    const qtPtrLight<zeSml> view = zeSml::get_clipped_sml(source, 5.0);

    EXPECT_EQ(view.get(), source.get());
    EXPECT_EQ(source.use_count(), 2U);
}

TEST(zeSmlTest, ViewUnderSameCeilingIsAnEqualCopy) {
    const qtPtrLight<zeSml> source = three_words(3.0);

    const qtPtrLight<zeSml> view = zeSml::get_clipped_sml(source, 3.0);

    EXPECT_NE(view.get(), source.get());
    EXPECT_TRUE(*view == *source);
    EXPECT_EQ(view.use_count(), 1U);
    EXPECT_EQ(source.use_count(), 1U);
}

TEST(zeSmlTest, ViewUnderTighterCeilingIsAClippedCopy) {
    const qtPtrLight<zeSml> source = three_words(3.0);

    const qtPtrLight<zeSml> view = zeSml::get_clipped_sml(source, 2.0);

    EXPECT_EQ(contents(*view), "goal 2, match 1, team 2");
    EXPECT_EQ(view->m_clip_value, 2.0);
    EXPECT_EQ(contents(*source), "goal 3, match 1, team 3");
}

TEST(zeSmlTest, ViewOfBagWithoutCeilingIsAlwaysACopy) {
    const qtPtrLight<zeSml> source = three_words();

    const qtPtrLight<zeSml> view = zeSml::get_clipped_sml(source, 50.0);

    EXPECT_NE(view.get(), source.get());
    EXPECT_EQ(view->m_clip_value, 50.0);
    EXPECT_EQ(contents(*view), contents(*source));
}

TEST(zeSmlTest, ViewUnderNaNIsACopy) {
    const qtPtrLight<zeSml> source = three_words(3.0);

    const qtPtrLight<zeSml> view = zeSml::get_clipped_sml(source, kNaN);

    EXPECT_NE(view.get(), source.get());
    EXPECT_TRUE(*view == *source);
}

struct Clip_row {
    const char* name;
    double ceiling;
    double argument;
    bool is_done;
    const char* contents;
    double total;
};

TEST(zeSmlTest, ClipLimitsWeightsToTheBagsOwnCeiling) {
    const Clip_row rows[] = {
        {"no ceiling", 0.0, 1.0, true, "goal 5, team 4", 9.0},
        {"tighter", 3.0, 2.0, true, "goal 3, team 3", 6.0},
        {"equal", 3.0, 3.0, true, "goal 3, team 3", 6.0},
        {"looser", 3.0, 5.0, false, "goal 5, team 4", 9.0},
        {"nothing asked", 3.0, 0.0, false, "goal 5, team 4", 9.0},
        {"nothing asked of no ceiling", 0.0, 0.0, false, "goal 5, team 4", 9.0},
        {"not a number", 3.0, kNaN, true, "goal 3, team 3", 6.0},
    };
    for (const Clip_row& row : rows) {
        SCOPED_TRACE(row.name);
        const qtPtrLight<zeSml> bag = make_bag({{"goal", 5.0}, {"team", 4.0}});
        bag->m_clip_value = row.ceiling;
        bag->m_is_new = false;

        EXPECT_EQ(bag->clip(row.argument), row.is_done);

        EXPECT_EQ(contents(*bag), row.contents);
        EXPECT_EQ(bag->m_total_weight, row.total);
        EXPECT_EQ(bag->m_clip_value, row.ceiling);
        EXPECT_EQ(bag->m_is_new, row.is_done);
    }
}

TEST(zeSmlTest, ClipOfAClippedBagChangesNoWeight) {
    const qtPtrLight<zeSml> bag = three_words(3.0);

    EXPECT_TRUE(bag->clip(2.0));

    EXPECT_EQ(contents(*bag), "goal 3, match 1, team 3");
    EXPECT_EQ(bag->m_total_weight, 7.0);
    EXPECT_EQ(bag->m_clip_value, 3.0);
}

TEST(zeSmlTest, ClipSubtractsFromTheStoredTotal) {
    const qtPtrLight<zeSml> bag = three_words();
    bag->m_clip_value = 2.0;
    bag->m_total_weight = 100.0;

    bag->clip(2.0);

    EXPECT_EQ(bag->m_total_weight, 96.0);
}

TEST(zeSmlTest, EmptyBagHasNoConcept) {
    EXPECT_FALSE(zeSml(0.0).concept_exists(term("goal")));
    EXPECT_FALSE(zeSml(0.0).concept_exists(Concept()));
}

TEST(zeSmlTest, EachConceptOfTheBagIsFoundAndNoOther) {
    const qtPtrLight<zeSml> bag =
        make_bag({{"b", 1.0}, {"bb", 0.0}, {"d", -1.0}, {"\xff", 1.0}, {"f", 1.0}});

    for (const char* const present : {"b", "bb", "d", "f", "\xff"}) {
        EXPECT_TRUE(bag->concept_exists(term(present))) << present;
    }
    for (const char* const absent : {"", "a", "ba", "bbb", "c", "e", "g", "\xfe", "\xff\xff"}) {
        EXPECT_FALSE(bag->concept_exists(term(absent))) << absent;
    }
}

TEST(zeSmlTest, BagsOfTheSameContentsAreEqual) {
    EXPECT_TRUE(*three_words(3.0) == *three_words(3.0));
    EXPECT_FALSE(*three_words(3.0) != *three_words(3.0));
    EXPECT_TRUE(zeSml(0.0) == zeSml(0.0));
}

struct Change_row {
    const char* name;
    void (*change)(zeSml& bag);
};

TEST(zeSmlTest, DifferenceInEachComparedFieldMakesBagsDifferent) {
    const Change_row rows[] = {
        {"total", [](zeSml& bag) { bag.m_total_weight = std::nextafter(9.0, 10.0); }},
        {"clip value", [](zeSml& bag) { bag.m_clip_value = 50.0; }},
        {"a weight", [](zeSml& bag) { bag.m_concepts[2].m_weight = std::nextafter(3.0, 4.0); }},
        {"a concept", [](zeSml& bag) { bag.m_concepts[2].m_concept = term("teams"); }},
        {"one entry more", [](zeSml& bag) { bag.m_concepts.push_back(entry_of("z", 0.0)); }},
        {"one entry less", [](zeSml& bag) { bag.m_concepts.pop_back(); }},
        {"order", [](zeSml& bag) { std::swap(bag.m_concepts[0], bag.m_concepts[1]); }},
        {"NaN as total", [](zeSml& bag) { bag.m_total_weight = kNaN; }},
        {"NaN as clip value", [](zeSml& bag) { bag.m_clip_value = kNaN; }},
        {"NaN as weight", [](zeSml& bag) { bag.m_concepts[0].m_weight = kNaN; }},
    };
    for (const Change_row& row : rows) {
        SCOPED_TRACE(row.name);
        const qtPtrLight<zeSml> original = three_words();
        const qtPtrLight<zeSml> changed = three_words();
        row.change(*changed);

        EXPECT_FALSE(*original == *changed);
        EXPECT_FALSE(*changed == *original);
        EXPECT_TRUE(*changed != *original);
    }
}

TEST(zeSmlTest, BagWithNaNDiffersFromItself) {
    zeSml bag(0.0);
    bag.m_total_weight = kNaN;

    const zeSml& same = bag;
    EXPECT_FALSE(bag == same);
}

TEST(zeSmlTest, NewnessDoesNotMatterForEquality) {
    const qtPtrLight<zeSml> stored = three_words();
    stored->m_is_new = false;

    EXPECT_TRUE(*stored == *three_words());
}

}  // namespace
