#include "zandrel/knowledge/zeBase.h"

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"

#include "tests/support/fake_classifier.h"

namespace {

TEST(zeBaseTest, FirstIdIsOneAndTheManagersNext) {
    zeManager manager;

    const zeBase* const first = new FakeClassifier(&manager, nullptr);
    const zeBase* const second = new FakeClassifier(&manager, nullptr);

    EXPECT_EQ(first->m_id, 1U);
    EXPECT_EQ(second->m_id, 2U);
    EXPECT_EQ(manager.m_last_object_id, 2U);
    EXPECT_EQ(first->m_manager, &manager);
}

TEST(zeBaseTest, NewObjectIsEnteredInTheRegistry) {
    zeManager manager;

    zeBase* const object = new FakeClassifier(&manager, nullptr);

    ASSERT_EQ(manager.m_objects.size(), 1U);
    EXPECT_EQ(manager.m_objects.at(1), object);
}

TEST(zeBaseTest, IdIsZeroWithoutAManager) {
    const FakeClassifier object(nullptr, nullptr);

    EXPECT_EQ(object.m_id, 0U);
    EXPECT_EQ(object.m_manager, nullptr);
}

TEST(zeBaseTest, NewObjectIsDirty) {
    zeManager manager;
    const FakeClassifier unmanaged(nullptr, nullptr);

    const zeBase* const managed = new FakeClassifier(&manager, nullptr);

    EXPECT_TRUE(unmanaged.m_dirty);
    EXPECT_TRUE(managed->m_dirty);
}

TEST(zeBaseTest, DestructionLeavesTheRegistryEntry) {
    zeManager manager;
    { const FakeClassifier object(&manager, nullptr); }

    EXPECT_EQ(manager.m_objects.count(1), 1U);

    manager.m_objects.clear();  // so that the manager does not delete it again
}

TEST(zeBaseTest, TypesHaveTheirStoredNumbers) {
    EXPECT_EQ(ZE_LEAF, 0U);
    EXPECT_EQ(ZE_RULE, 1U);
    EXPECT_EQ(ZE_STAT, 2U);
    EXPECT_EQ(zandrel::kStorageObjectType, 3U);
}

}  // namespace
