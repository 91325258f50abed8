// Damaged records of a container in cached form: the classifier that needs one is not made.
#include "zandrel/persistence/zeIO.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/storage/AbstractHreclaim.h"

#include "tests/support/cached_kc.h"
#include "tests/support/expect_qtx.h"

namespace {

using testing::IsEmpty;

class zeIOCacheDamageTest : public testing::Test {
protected:
    // Replaces the record of home's classifier, and opens the container again.
    void Put(const std::string& bytes) {
        kc.manager.Release();
        Cached_file(kc.file.path(), false).put(key, bytes);
        read_cached(kc.manager, kc.file.path(), 2);
    }

    zeClassifier* Fetch() { return kc.fetch(News_desk::kHome); }

    // The container is as it was before home was fetched, and a second try fails alike.
    void ExpectNothingLeft() {
        EXPECT_EQ(kc.manager.m_objects.size(), 1U);
        EXPECT_FALSE(kc.is_in_memory(News_desk::kHome));
        EXPECT_THAT(kc.manager.m_io->m_cache->lru, IsEmpty());
    }

    Cached_desk kc{2};
    std::string key = kc.key_of(News_desk::kHome);
    std::string record = Cached_file(kc.file.path()).record(key);
};

TEST_F(zeIOCacheDamageTest, UnknownTypeIsReported) {
    Put(object_key(9) + record.substr(4));

    for (int i = 0; i < 2; ++i) {
        EXPECT_QTX_ARGS(Fetch(), zeIO, 7, "Unknown Classifier object", {"9"});
        ExpectNothingLeft();
    }
}

TEST_F(zeIOCacheDamageTest, MissingItemIsReported) {
    kc.manager.m_io->DeleteItem(5);
    kc.manager.m_io->FlushCache(false, nullptr);

    EXPECT_QTX_ARGS(Fetch(), AbstractHreclaim, AbstractHreclaim::kWrongKey,
                    "Missing key in index: " + object_key(5), {kc.file.path(), qtString(key)});
    ExpectNothingLeft();
}

TEST_F(zeIOCacheDamageTest, RecordThatEndsEarlyLeavesNoObject) {
    Put(record.substr(0, record.size() - 1));

    // The lost byte is the last one of the model's id, and is read as 0: the model has no id 0.
    for (int i = 0; i < 2; ++i) {
        EXPECT_QTX_ARGS(Fetch(), AbstractHreclaim, AbstractHreclaim::kWrongKey,
                        "Missing key in index: " + object_key(0),
                        {kc.file.path(), qtString(object_key(0))});
        ExpectNothingLeft();
    }
}

TEST_F(zeIOCacheDamageTest, IdOfAnotherObjectIsReported) {
    Put(record.substr(0, 4) + object_key(6) + record.substr(8));

    for (int i = 0; i < 2; ++i) {
        EXPECT_QTX_ARGS(Fetch(), zeIO, 10, "Invalid object id in kc file", {"6"});
        ExpectNothingLeft();
    }
}

TEST_F(zeIOCacheDamageTest, ClassifierOfAnotherNodeIsReported) {
    Put(record.substr(0, 8) + object_key(kc.node(News_desk::kWorld)->m_node_id) +
        record.substr(12));

    for (int i = 0; i < 2; ++i) {
        EXPECT_QTX_ARGS(Fetch(), zeIO, 11, "Classifier without its node in kc file", {"5"});
        ExpectNothingLeft();
    }
}

TEST_F(zeIOCacheDamageTest, RulesInPlaceOfStatisticsAreReported) {
    Put(object_key(ZE_RULE) + object_key(5) + record.substr(8, 4) + std::string(8, '\0'));

    for (int i = 0; i < 2; ++i) {
        EXPECT_QTX_ARGS(Fetch(), zeIO, 11, "Classifier without its node in kc file", {"5"});
        ExpectNothingLeft();
    }
}

TEST_F(zeIOCacheDamageTest, ModelThatIsNoModelLeavesNoObject) {
    // The model's id at the end of the record becomes that of a new item, which contains rules.
    kc.manager.m_last_object_id = 50;
    kc.manager.m_modified = true;
    Put(record.substr(0, record.size() - 4) + object_key(40));
    Cached_file(kc.file.path(), false)
        .put(object_key(40),
             object_key(ZE_RULE) + object_key(40) + record.substr(8, 4) + std::string(8, '\0'));
    read_cached(kc.manager, kc.file.path(), 2);

    for (int i = 0; i < 2; ++i) {
        EXPECT_ASSERTS(Fetch(), "m_storage");
        ExpectNothingLeft();
    }
}

TEST_F(zeIOCacheDamageTest, ModelWithStatisticsInACompactContainerIsReported) {
    kc.manager.Release();
    Cached_file(kc.file.path(), false).pack.SetFileID(Kc_items::kFileId, 2, 0x08);
    read_cached(kc.manager, kc.file.path(), 2);

    for (int i = 0; i < 2; ++i) {
        EXPECT_QTX_ARGS(Fetch(), zeIO, 12, "Damaged item: compact flag", {"4"});
        ExpectNothingLeft();
    }
}

// A load that fails after the trees were read empties the manager and leaves the file alone.
TEST_F(zeIOCacheDamageTest, FailedLoadChangesNothingInTheFile) {
    Put(record);
    kc.manager.m_io->DeleteItem(3);
    kc.manager.m_io->FlushCache(true, nullptr);
    const std::string before = kc.file.content();
    zeManager manager;
    Trained_desk other;
    for (zeManager* each : {&manager, &other.manager}) {
        each->m_modified = true;

        EXPECT_QTX(read_cached(*each, kc.file.path(), 2), AbstractHreclaim,
                   AbstractHreclaim::kWrongKey, "Missing key in index: " + object_key(3));

        EXPECT_TRUE(is_empty(*each));
        EXPECT_TRUE(each->m_io.IsNull());
        EXPECT_TRUE(same_bytes(kc.file.content(), before));
    }
}

}  // namespace
