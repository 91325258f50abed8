// Compares the likelihood pass and the corrected scores with a second, slow implementation, over
// random corpora and some combinations of all settings involved.
// zeStat_trainer_likelihood_model_slow_test.cpp compares all combinations.
#include <random>

#include <gtest/gtest.h>

#include "tests/statistics/likelihood_comparison.h"

namespace {

using likelihood_comparison::combination;
using likelihood_comparison::kCombinations;
using likelihood_comparison::messages_of;

class zeStatTrainerLikelihoodModelTest : public testing::TestWithParam<unsigned int> {};

TEST_P(zeStatTrainerLikelihoodModelTest, ResultEqualsTheSlowLikelihood) {
    std::mt19937 engine(GetParam());
    for (int i = 0; i < 100; ++i) {
        const auto number = static_cast<unsigned int>(engine()) % kCombinations;
        SCOPED_TRACE(testing::Message() << "seed " << GetParam() << ", combination " << number);

        Likelihood_comparison(combination(number)).Run(GetParam());

        if (HasFailure()) {
            return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, zeStatTrainerLikelihoodModelTest, testing::Range(1U, 6U),
                         testing::PrintToStringParamName());

// The comparison shows something only if these cases occur in the corpora.
TEST(LikelihoodCorpusTest, ManyBinsAreFilledAndMessagesAreLeftAside) {
    zeDefaults settings = plain_settings();
    settings.use_likelihood_in_train = true;
    Slow_likelihood slow(settings);
    slow.Train(messages_of(2), {});
    int filled = 0;
    int mixed = 0;
    int rare = 0;
    for (const Slow_trainer::Profile& profile : slow.model.profiles) {
        const Slow_likelihood::Histogram& histogram = slow.HistogramOf(profile.name);
        for (std::size_t i = 0; i < histogram.total.size(); ++i) {
            filled += histogram.total[i] > 0.0 ? 1 : 0;
            mixed += histogram.relevant[i] > 0.0 && histogram.relevant[i] < histogram.total[i];
        }
        rare += profile.weight <= 1.0 ? 1 : 0;
    }

    EXPECT_GT(filled, 30);
    EXPECT_GT(mixed, 3);
    EXPECT_GT(rare, 0);
}

}  // namespace
