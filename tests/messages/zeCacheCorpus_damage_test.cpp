// Damaged corpus files: each byte is changed. A file is refused with an error, or its walk ends
// silently at the damaged message; nothing crashes, hangs or allocates much memory.
#include "zandrel/messages/zeCacheCorpus.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"

#include "tests/messages/corpus_file.h"
#include "tests/support/allocation_meter.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_disk.h"
#include "tests/support/record_damage.h"

namespace {

using testing::ElementsAre;

constexpr std::size_t kMessageCount = 3;

const qtString kName = "fake/corpus";

// Opening allocates tables, and reading 3 small messages some segments. A damaged count may ask for
// gigabytes.
constexpr std::size_t kMostForFile = std::size_t{4} << 20U;

// The class of an error that damage may cause; nothing if the statement raises nothing. Other
// exceptions fail the test.
template <class Statement>
std::optional<std::string> error_of(Statement&& statement) {
    try {
        statement();
    } catch (const qtX<zeCacheCorpus>&) {
        return "corpus";
    } catch (const qtX<AbstractHreclaim>& raised) {
        EXPECT_NE(raised.number(), AbstractHreclaim::kMissingFile);
        return "record file";
    } catch (const qtX<HioErr>&) {
        return "device";
    } catch (const qtxSegBuf& raised) {
        EXPECT_STREQ(raised.what(), "Locate error in SegBuf");
        return "record";
    } catch (const qtxAssert& raised) {
        EXPECT_STREQ(raised.what(), "object");
        return "assertion";
    }
    return std::nullopt;
}

class zeCacheCorpusDamageTest : public testing::Test {
protected:
    // The messages have a bag, so that their records have all kinds of fields.
    zeCacheCorpusDamageTest() {
        disk.has_places = true;
        zeCacheCorpus corpus(kName, 'w', 0);
        for (const char* label : {"a", "b", "c"}) {
            MessageBuilder().bag({{"x", 1.0}, {"y", 2.0}}).labels({label}).add_to(corpus);
        }
        zeCacheCorpus::GlobalInfo info;
        info.pairs = {{"k", "v"}};
        info.texts = {{"k", "v"}};
        info.numbered_texts = {{1, "v"}};
        corpus.set_global_info(info);
        corpus.flush();
        offsets = corpus.cache.file.index;
        sound = disk.files[kName.str()];
    }

    void write(const std::string& bytes) { disk.files[kName.str()] = bytes; }

    void damage(std::size_t position, unsigned int mask) {
        std::string bytes = sound;
        bytes.at(position) = static_cast<char>(static_cast<unsigned char>(bytes[position]) ^
                                               static_cast<unsigned char>(mask));
        write(bytes);
    }

    std::size_t offset_of_msg(unsigned int number) {
        return static_cast<std::size_t>(offsets.at(Hreclaim<Hfile64>().MakeStringKey(number)));
    }

    // Reads all there is, and counts each kind of end.
    void read_all() {
        const Allocation_meter meter;
        const auto error = error_of([&] {
            zeCacheCorpus corpus(kName, 'r', 2);
            ++ends["opened"];
            walk(corpus);
            zeCacheCorpus::GlobalInfo global;
            zeCacheCorpus::ZqeInfo zqe;
            error_of([&] { corpus.get_global_info(global); });
            error_of([&] { corpus.get_zqe_info(zqe); });
        });
        if (error) {
            ++ends[*error];
        }
        EXPECT_LT(meter.bytes(), kMostForFile);
    }

    void walk(zeCacheCorpus& corpus) {
        std::size_t found = 0;
        for (auto at = corpus.start_msgs(); !corpus.end(at); corpus.next(at)) {
            ++found;
        }
        EXPECT_LE(found, kMessageCount);
        ++ends[found < kMessageCount ? "walk ends early" : "walk is complete"];
    }

    void change_all() {
        const Allocation_meter meter;
        error_of([&] {
            zeCacheCorpus corpus(kName, 'u', 2);
            qtPtrLight<zeMsg> msg = labelled("new");
            corpus.add_msg(msg);
            corpus.update_msg(0, msg);
            zeCacheCorpus::ZqeInfo zqe;
            corpus.set_zqe_info(zqe);
            corpus.flush();
        });
        EXPECT_LT(meter.bytes(), kMostForFile);
    }

    Fake_disk disk;
    std::map<qtString, long long> offsets;
    std::string sound;
    std::map<std::string, int> ends;
};

TEST_F(zeCacheCorpusDamageTest, FileWithAChangedByteIsReadOrRefused) {
    for (std::size_t position = 0; position < sound.size(); ++position) {
        for (const unsigned int mask : {0x01U, 0x80U, 0xFFU}) {
            SCOPED_TRACE(testing::Message() << "byte " << position << ", mask " << mask);
            damage(position, mask);
            read_all();
        }
    }
    // Each way must have been tried.
    for (const char* end :
         {"opened", "walk is complete", "walk ends early", "corpus", "record file", "device"}) {
        EXPECT_GT(ends[end], 0) << end;
    }
}

TEST_F(zeCacheCorpusDamageTest, FileWithAChangedByteIsChangedOrRefused) {
    for (std::size_t position = 0; position < sound.size(); ++position) {
        SCOPED_TRACE(testing::Message() << "byte " << position);
        damage(position, 0xFF);
        change_all();
    }
}

TEST_F(zeCacheCorpusDamageTest, FileThatIsCutIsReadOrRefused) {
    for (std::size_t kept = 0; kept < sound.size(); ++kept) {
        SCOPED_TRACE(kept);
        write(sound.substr(0, kept));
        read_all();
    }
}

// Tag, key length, key, and the first byte of the data's length: 13 bytes.
TEST_F(zeCacheCorpusDamageTest, DamagedHeadOfAnItemEndsTheWalkAtItsMessage) {
    const std::size_t item = offset_of_msg(1);
    for (std::size_t position = item; position < item + 13; ++position) {
        SCOPED_TRACE(position - item);
        damage(position, 0xFF);
        zeCacheCorpus corpus(kName, 'r', 2);

        EXPECT_THAT(labels_in(corpus), ElementsAre("a"));

        EXPECT_EQ(corpus.get_num_msgs(), 3);
        EXPECT_EQ(corpus.get_numbered_msg(2)->categories.at(0), term("c"));
    }
}

// The first byte of each count of the record: pairs, slots, entries of the bag, labels.
TEST_F(zeCacheCorpusDamageTest, ImpossibleCountEndsTheWalkAtItsMessage) {
    const std::size_t record = offset_of_msg(1) + 16;
    for (const std::size_t count : {0U, 8U, 29U, 75U}) {
        SCOPED_TRACE(count);
        damage(record + count, 0xFF);
        zeCacheCorpus corpus(kName, 'r', 2);

        EXPECT_THAT(labels_in(corpus), ElementsAre("a"));
    }
}

TEST_F(zeCacheCorpusDamageTest, DamagedHeaderIsRefused) {
    const std::string name = kName.str();
    damage(0, 0xFF);
    EXPECT_QTX_ARGS(zeCacheCorpus(kName, 'r', 1), AbstractHreclaim, 0,
                    "Input file is not in expected format: " + name, {qtString(name)});
    damage(4, 0xFF);
    EXPECT_QTX_ARGS(zeCacheCorpus(kName, 'r', 1), zeCacheCorpus, 0, "Not a Corpus file: " + name,
                    {qtString(name)});
    damage(9, 0x01);
    EXPECT_QTX_ARGS(zeCacheCorpus(kName, 'r', 1), zeCacheCorpus, 5,
                    "Corpus index is not synchronized (Run RebuildIndex Utility)", {});
    damage(10, 0xFF);
    EXPECT_QTX_ARGS(zeCacheCorpus(kName, 'r', 1), zeCacheCorpus, 4,
                    "Invalid version in corpus file", {"65282"});
    damage(12, 0xFF);
    EXPECT_QTX_ARGS(zeCacheCorpus(kName, 'r', 1), AbstractHreclaim, 1, "Cannot read index",
                    {qtString(name)});
}

std::string reload_global(SegBuf& record, unsigned int start) {
    EXPECT_EQ(start, 0U);
    {
        zeCacheCorpus made(kName, 'w', 0);
        made.cache.AddItem("GLOBAL_INFO", record);
    }
    zeCacheCorpus corpus(kName, 'u', 0);
    zeCacheCorpus::GlobalInfo info;
    corpus.get_global_info(info);
    corpus.set_global_info(info);
    SegBuf written;
    corpus.cache.file.GetItem("GLOBAL_INFO", written);
    return bytes_of(written);
}

std::string reload_zqe(SegBuf& record, unsigned int start) {
    EXPECT_EQ(start, 0U);
    {
        zeCacheCorpus made(kName, 'w', 0);
        made.cache.AddItem("ZQE_INFO", record);
    }
    zeCacheCorpus corpus(kName, 'u', 0);
    zeCacheCorpus::ZqeInfo info;
    corpus.get_zqe_info(info);
    corpus.set_zqe_info(info);
    SegBuf written;
    corpus.cache.file.GetItem("ZQE_INFO", written);
    return bytes_of(written);
}

TEST_F(zeCacheCorpusDamageTest, EveryChangedByteOfGlobalInfoIsSafe) {
    expect_changes_are_safe(from_hex("00 00 00 01  00 00 00 01 61  00 00 00 01 62"
                                     "00 00 00 01  00 00 00 01 61  00 00 00 01 62"
                                     "00 00 00 01  00 00 00 05  00 00 00 01 62") +
                                std::string(76, '\0'),
                            reload_global);
}

TEST_F(zeCacheCorpusDamageTest, EveryChangedByteOfZqeInfoIsSafe) {
    expect_changes_are_safe(from_hex("00 00 00 01"
                                     "00 00 00 01  00 00 00 01 61  00 00 00 05"
                                     "00 00 00 01  00 00 00 01 62  00 00 00 06"),
                            reload_zqe);
}

}  // namespace
