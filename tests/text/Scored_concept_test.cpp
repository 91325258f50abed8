#include "text/model/Scored_concept.h"

#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zandrel {

namespace {

using testing::ElementsAre;

using Lines = std::vector<zeStat_matcher::Concept_score>;

zeStat_matcher::Concept_score scored(const char* word, double effect) {
    return {Concept::insert(word), effect};
}

// "word adds log_odds_adds" of each line.
std::vector<std::string> joined_lines(const Lines& scores, const Lines& log_odds) {
    std::vector<std::string> lines;
    for (const Scored_concept& each : in_both_scales(scores, log_odds)) {
        lines.push_back(std::string(each.word.view()) + " " + std::to_string(each.adds) + " " +
                        std::to_string(each.log_odds_adds));
    }
    return lines;
}

TEST(ScoredConceptTest, EqualEffectsAreInTheOrderOfTheLogOdds) {
    EXPECT_THAT(
        joined_lines({scored("a", 0.5), scored("b", 0.25), scored("c", 0.25), scored("d", -0.25)},
                     {scored("d", 1.5), scored("c", -2.0), scored("b", 1.0), scored("a", 0.0)}),
        ElementsAre("a 0.500000 0.000000", "c 0.250000 -2.000000", "d -0.250000 1.500000",
                    "b 0.250000 1.000000"));
}

TEST(ScoredConceptTest, WordThatTheOtherListLacksHasNoEffectThere) {
    EXPECT_THAT(joined_lines({scored("a", 0.5), scored("z", 0.25)}, {scored("a", 2.0)}),
                ElementsAre("a 0.500000 2.000000", "z 0.250000 0.000000"));
    EXPECT_THAT(joined_lines({scored("a", 0.5)}, {}), ElementsAre("a 0.500000 0.000000"));
    EXPECT_THAT(joined_lines({scored("b", 0.5)}, {scored("c", 2.0)}),
                ElementsAre("b 0.500000 0.000000"));
}

TEST(ScoredConceptTest, EffectsThatAreNoNumberComeLast) {
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THAT(joined_lines({scored("a", 0.5), scored("b", kNone), scored("c", 0.0)},
                             {scored("a", 1.0), scored("b", 2.0), scored("c", 0.0)}),
                ElementsAre("a 0.500000 1.000000", "c 0.000000 0.000000", "b nan 2.000000"));
}

}  // namespace

}  // namespace zandrel
