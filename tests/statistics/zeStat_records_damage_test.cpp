// Damaged records of statistical models and classifiers: they are refused, or read as a model that
// can be used in every way.
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/statistics/model_use.h"
#include "tests/statistics/stored_matcher.h"
#include "tests/support/record_damage.h"

namespace {

Small_corpus corpus_for(const Stored_model& model) {
    Small_corpus corpus;
    corpus.add(MessageBuilder().bag({{"x", 2.0}, {"new", 1.0}}), {model.bb});
    corpus.add(MessageBuilder().bag({{"yy", 1.5}, {"x", 0.25}}).weight(2.5), {model.a});
    corpus.add(MessageBuilder().bag({{"yy", 1.0}}), {model.a, model.bb});
    corpus.add(MessageBuilder().bag({{"zz", 1.0}}), {});
    return corpus;
}

// Runs a load. It may raise the errors that the documents list for a damaged record.
template <class Load>
std::string refusal_of(Load load) {
    try {
        return load();
    } catch (const qtX<zeStat_storage>& raised) {
        EXPECT_STREQ(raised.what(), "Statistical model is damaged");
        return raised.what();
    } catch (const qtX<zeIO>& raised) {
        EXPECT_EQ(raised.number(), 12);
        return raised.what();
    } catch (const qtX<Hpack>& raised) {
        return raised.what();
    } catch (const qtxAssert& raised) {
        const std::string text = raised.what();
        EXPECT_TRUE(text == "cat" || text == "p.m_cat" || text == "sz <= Zandrel::LIKELIHOOD_SIZE")
            << text;
        return text;
    }
}

// Reads a model in a container of two categories, uses it, and returns its record afterwards.
std::string reload_storage(SegBuf& record, unsigned int start) {
    Stored_model model;
    return refusal_of([&] {
        Hio<HSegment> io(new HSegment(record, 'r'));
        io.device->Seek(static_cast<int>(start));
        model.storage->Load(io, nullptr);
        zeNode* const root = model.leaf("root");
        zeStat_matcher matcher(nullptr, root, *model.storage, true);
        Small_corpus corpus = corpus_for(model);
        model_use::all(matcher, corpus);
        return dumped(*model.storage);
    });
}

// The same for a classifier whose model is not damaged.
std::string reload_matcher(SegBuf& record, unsigned int start) {
    static const qtPtr<qtBuffer> package = Stored_matcher::package_with_model();
    Stored_matcher model(package);
    return refusal_of([&] {
        Hio<HSegment> io(new HSegment(record, 'r'));
        io.device->Seek(static_cast<int>(start));
        const std::unique_ptr<zeStat_matcher> matcher = model.read(io);
        Small_corpus corpus = corpus_for(model);
        model_use::all(*matcher, corpus);
        return dumped(*matcher->m_storage);
    });
}

// Puts the ends of all ranges, infinities and NaN at every position.
void expect_extremes_are_safe(const std::string& bytes, Reload reload) {
    for (std::size_t position = 0; position < bytes.size(); ++position) {
        for (const char* extreme :
             {"7f ff ff ff", "80 00 00 00", "ff ff ff ff", "00 00 00 00", "7f f8 00 00 00 00 00 00",
              "7f f0 00 00 00 00 00 00", "ff f0 00 00 00 00 00 00", "7f ef ff ff ff ff ff ff",
              "ff ef ff ff ff ff ff ff", "00 00 00 00 00 00 00 01"}) {
            SCOPED_TRACE(testing::Message() << "byte " << position << ": " << extreme);
            std::string damaged = bytes;
            const std::string value = from_hex(extreme);
            damaged.replace(position, value.size(), value);
            SegBuf record = record_of(damaged);

            reload_damaged(reload, record, 0);
        }
    }
}

TEST(zeStatStorageDamageTest, UndamagedRecordIsLoadedAndUsed) {
    SegBuf record = record_of(stored_model::whole());

    EXPECT_GT(reload_storage(record, 0).size(), stored_model::kIndexAt);
}

TEST(zeStatStorageDamageTest, RecordThatEndsEarlyIsNotLoaded) {
    expect_prefixes_raise(stored_model::whole(), reload_storage);
}

TEST(zeStatStorageDamageTest, CutRecordRaisesOrLoadsAsIfZerosFollowed) {
    expect_cuts_are_safe_at(SegBuf::kSegmentSize - 700, stored_model::whole(), reload_storage);
    expect_cuts_are_safe_at(0, stored_model::whole(), reload_storage);
}

TEST(zeStatStorageDamageTest, ChangedByteRaisesOrLeavesAUsableModel) {
    expect_changes_are_safe(stored_model::whole(), reload_storage);
}

TEST(zeStatStorageDamageTest, ChangedByteOfACompactRecordRaisesOrLeavesAUsableModel) {
    expect_changes_are_safe(stored_model::whole({.is_compact = true}), reload_storage);
}

TEST(zeStatStorageDamageTest, ExtremesRaiseOrAreLoadedAndUsed) {
    expect_extremes_are_safe(stored_model::whole(), reload_storage);
}

TEST(zeStatMatcherDamageTest, UndamagedRecordIsLoadedAndUsed) {
    SegBuf record = record_of(stored_matcher::whole_matcher());

    EXPECT_GT(reload_matcher(record, 0).size(), stored_model::kIndexAt);
}

TEST(zeStatMatcherDamageTest, RecordThatEndsEarlyIsNotLoaded) {
    expect_prefixes_raise(stored_matcher::whole_matcher(), reload_matcher);
}

TEST(zeStatMatcherDamageTest, CutRecordRaisesOrLoadsAsIfZerosFollowed) {
    expect_cuts_are_safe(stored_matcher::whole_matcher(), reload_matcher);
}

TEST(zeStatMatcherDamageTest, ChangedByteRaisesOrLeavesAUsableClassifier) {
    expect_changes_are_safe(stored_matcher::whole_matcher(), reload_matcher);
}

TEST(zeStatMatcherDamageTest, ExtremesRaiseOrAreLoadedAndUsed) {
    expect_extremes_are_safe(stored_matcher::whole_matcher(), reload_matcher);
}

}  // namespace
