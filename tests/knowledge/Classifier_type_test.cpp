#include "zandrel/knowledge/Classifier_type.h"

#include <memory>
#include <set>

#include <gtest/gtest.h>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/knowledge/zeBase.h"

namespace {

using zandrel::detail::find_classifier_type;

// A node has its type in one byte.
constexpr unsigned int kTypeEnd = 256;

}  // namespace

TEST(ClassifierTypeTest, RowAndClassAgree) {
    std::set<unsigned int> found;
    for (unsigned int number = 0; number < kTypeEnd; ++number) {
        const zandrel::detail::Classifier_type* const type = find_classifier_type(number);
        if (type == nullptr) {
            continue;
        }
        found.insert(number);
        const std::unique_ptr<zeClassifier> empty = type->make_empty();
        EXPECT_EQ(empty->GetType(), number);
        EXPECT_EQ(empty->has_rules(), type->has_rules) << number;
        EXPECT_EQ(zandrel::detail::is_type_with_rules(number), type->has_rules) << number;
        EXPECT_NE(zandrel::detail::is_type_without_rules(number), type->has_rules) << number;
    }
    EXPECT_EQ(found.count(ZE_RULE), 1U);
    EXPECT_EQ(found.count(ZE_STAT), 1U);
}

TEST(ClassifierTypeTest, NumbersOfNoClassifierAreNeitherWithNorWithoutRules) {
    for (const unsigned int number :
         {static_cast<unsigned int>(ZE_LEAF), zandrel::kStorageObjectType, 255U, kTypeEnd}) {
        EXPECT_EQ(find_classifier_type(number), nullptr) << number;
        EXPECT_FALSE(zandrel::detail::is_type_with_rules(number)) << number;
        EXPECT_FALSE(zandrel::detail::is_type_without_rules(number)) << number;
    }
}

// The first child decides: a child with a rule needs a classifier with rules, and the other way
// round.
TEST(ClassifierTypeTest, TypeForFirstChildTakesThatChild) {
    EXPECT_TRUE(zandrel::detail::is_type_with_rules(zandrel::detail::type_for_first_child(true)));
    EXPECT_TRUE(
        zandrel::detail::is_type_without_rules(zandrel::detail::type_for_first_child(false)));
}
