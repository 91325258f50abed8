// The comparison of zeStat_trainer_likelihood_model_test.cpp with every combination of the
// settings.
#include <gtest/gtest.h>

#include "tests/statistics/likelihood_comparison.h"

namespace {

using likelihood_comparison::combination;
using likelihood_comparison::kCombinations;

class zeStatTrainerLikelihoodModelSlowTest : public testing::TestWithParam<unsigned int> {};

TEST_P(zeStatTrainerLikelihoodModelSlowTest, AllSettingsGiveTheResultsOfTheSlowLikelihood) {
    for (unsigned int number = 0; number < kCombinations; ++number) {
        SCOPED_TRACE(testing::Message() << "seed " << GetParam() << ", combination " << number);

        Likelihood_comparison(combination(number)).Run(GetParam());

        if (HasFailure()) {
            return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, zeStatTrainerLikelihoodModelSlowTest, testing::Range(1U, 3U),
                         testing::PrintToStringParamName());

}  // namespace
