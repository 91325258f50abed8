#include "cli/records/Rebuilt_index.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/storage/Hreclaim.h"

#include "tests/cli/built_records.h"
#include "tests/cli/recovered_images.h"
#include "tests/cli/scratch_folder.h"
#include "tests/cli/small_kc.h"
#include "tests/storage/record_file_script.h"
#include "text/errors.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Kc_use.h"

namespace {

// Signals that were not held back when a file got a second name.
int s_free_signals_at_link = 0;

}  // namespace

// Replaces the function of the C library in this program.
extern "C" int link(const char* from, const char* to) noexcept {
    sigset_t held_back = {};
    sigprocmask(SIG_BLOCK, nullptr, &held_back);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        s_free_signals_at_link += sigismember(&held_back, signal) == 0 ? 1 : 0;
    }
    return ::linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
}

namespace zandrel::cli {

namespace {

using testing::ElementsAre;

class RebuiltIndexTest : public testing::Test {
protected:
    std::string report_of(const std::string& name) {
        Rebuilt_index rebuilt = rebuild_index(m_folder.file(name), {});
        rebuilt.file = name;
        if (!rebuilt.old_file.empty()) {
            rebuilt.old_file = std::filesystem::path(rebuilt.old_file).filename().string();
        }
        std::ostringstream out;
        print_rebuilt_index(rebuilt, out);
        return out.str();
    }

    template <class Device>
    Content content_of(const std::string& name) {
        Hreclaim<Device> file;
        file.Open(m_folder.file(name), false, true);
        return read_all(file);
    }

    Scratch_folder m_folder;
};

std::string damaged(Built_form form) {
    Built_records built(form);
    built.add("a", "one");
    built.add("b", std::string(100000, 'b'));
    built.add("", "");
    return built.file_without_index();
}

const Content kItemsOfDamaged = {{"a", "one"}, {"b", std::string(100000, 'b')}, {"", ""}};

TEST_F(RebuiltIndexTest, DamagedRecordFileIsReplacedAndKept) {
    const std::string wide = damaged(Built_form::kWide);
    const std::string narrow = damaged(Built_form::kNarrow);
    m_folder.write("wide", wide);
    m_folder.write("narrow", narrow);
    EXPECT_EQ(report_of("wide"),
              "wide: there is no index where the header points to\n"
              "wide: rebuilt with 3 items; the old file is wide.bad\n");
    report_of("narrow");

    EXPECT_EQ(content_of<Hfile64>("wide"), kItemsOfDamaged);
    EXPECT_EQ(content_of<Hfile32>("narrow"), kItemsOfDamaged);
    EXPECT_EQ(m_folder.content("wide.bad"), wide);
    EXPECT_EQ(m_folder.content("narrow.bad"), narrow);
    EXPECT_EQ(report_of("wide"), "wide: unchanged: the index is right\n");
    EXPECT_THAT(m_folder.names(), ElementsAre("narrow", "narrow.bad", "wide", "wide.bad"));
    Hreclaim<Hfile64> file;
    file.Open(m_folder.file("wide"), false, true);
    EXPECT_EQ(file.file_id, 7U);
    EXPECT_EQ(file.file_version, 2U);
    EXPECT_EQ(file.file_flags, 0x80U);
    EXPECT_EQ(file.state, 0U);
}

TEST_F(RebuiltIndexTest, DamagedPackageIsReplaced) {
    m_folder.write("pack", damaged(Built_form::kPackage));
    EXPECT_EQ(report_of("pack"),
              "pack: there is no index where the header points to\n"
              "pack: rebuilt with 3 items; the old file is pack.bad\n");
    Hpack pack;
    pack.Open(m_folder.file("pack"), 'r');
    EXPECT_EQ(pack.GetIndexSize(), 3U);
    EXPECT_EQ(recovered_content(m_folder.file("pack")), kItemsOfDamaged);
}

TEST_F(RebuiltIndexTest, OlderBadFilesAreKept) {
    m_folder.write("x.bad", "first");
    m_folder.write("x.bad2", "second");
    const std::string bytes = damaged(Built_form::kWide);
    m_folder.write("x", bytes);
    report_of("x");
    EXPECT_THAT(m_folder.names(), ElementsAre("x", "x.bad", "x.bad2", "x.bad3"));
    EXPECT_EQ(m_folder.content("x.bad"), "first");
    EXPECT_EQ(m_folder.content("x.bad2"), "second");
    EXPECT_EQ(m_folder.content("x.bad3"), bytes);
}

TEST_F(RebuiltIndexTest, StateThatStandsForNoChangeIsClearedInPlace) {
    Built_records built(Built_form::kWide);
    built.add("a", "one");
    built.state = 0x81;
    m_folder.write("x", built.file());
    EXPECT_EQ(report_of("x"),
              "x: the index may be stale: the file was not closed\n"
              "x: every item and every hole is where the index says, so only the bit was cleared "
              "that said that the index may be stale\n");
    std::string expected = built.bytes;
    expected[9] = '\x80';
    EXPECT_EQ(m_folder.content("x"), expected);
    EXPECT_THAT(m_folder.names(), ElementsAre("x"));
}

TEST_F(RebuiltIndexTest, SignalsWaitWhileTheFileHasTwoNames) {
    m_folder.write("x", damaged(Built_form::kWide));
    s_free_signals_at_link = 0;
    report_of("x");
    EXPECT_EQ(s_free_signals_at_link, 0);
    EXPECT_THAT(m_folder.names(), ElementsAre("x", "x.bad"));
    sigset_t held_back = {};
    sigprocmask(SIG_BLOCK, nullptr, &held_back);
    EXPECT_EQ(sigismember(&held_back, SIGINT), 0);
}

// The block of "a" ends before bytes that are no block, and the index may be stale.
TEST_F(RebuiltIndexTest, PartThatIsLongerThanItsItemIsNotTakenForTheItem) {
    Built_records built(Built_form::kWide);
    built.add("a", "one");
    built.bytes += std::string(300, 'x');
    m_folder.write("x", built.file_without_index());
    EXPECT_EQ(report_of("x"),
              "x: offset 20: 332 bytes, the first of them of item \"a\": cannot be read\n"
              "x: there is no index where the header points to\n"
              "x: no item is known to be lost, but parts could not be read\n"
              "x: rebuilt with 0 items; the old file is x.bad\n");
}

TEST_F(RebuiltIndexTest, RightsAreKept) {
    const std::string path = m_folder.write("x", damaged(Built_form::kWide));
    ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
    report_of("x");
    struct stat status = {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(RebuiltIndexTest, LinkIsFollowed) {
    m_folder.write("real", damaged(Built_form::kWide));
    std::filesystem::create_symlink("real", m_folder.file("link"));
    report_of("link");
    EXPECT_THAT(m_folder.names(), ElementsAre("link", "real", "real.bad"));
    EXPECT_TRUE(std::filesystem::is_symlink(m_folder.file("link")));
    EXPECT_EQ(content_of<Hfile64>("real"), kItemsOfDamaged);
}

TEST_F(RebuiltIndexTest, RefusedFileIsUnchanged) {
    const std::string bytes(500, 'x');
    m_folder.write("x", bytes);
    EXPECT_THROW(report_of("x"), Data_error);
    EXPECT_EQ(m_folder.content("x"), bytes);
    EXPECT_THROW(rebuild_index(m_folder.file("missing"), {}), Input_error);
    EXPECT_THROW(rebuild_index(m_folder.path(), {}), Input_error);
    EXPECT_THAT(m_folder.names(), ElementsAre("x"));
}

TEST_F(RebuiltIndexTest, LockedFileIsRefused) {
    const std::string path = m_folder.write("x", damaged(Built_form::kWide));
    const Kc_lock lock(path);
    EXPECT_THROW(report_of("x"), Output_error);
}

TEST_F(RebuiltIndexTest, JsonHasAllParts) {
    Built_records built(Built_form::kNarrow);
    built.add("a", "one");
    const std::uint64_t place = built.add("b\n", "two");
    built.add("c", "three");
    built.bytes[place] = 'x';
    m_folder.write("x", built.file());
    const nlohmann::ordered_json json = rebuilt_index_json(rebuild_index(m_folder.file("x"), {}));
    EXPECT_EQ(json["form"], "record file of 32-bit offsets");
    EXPECT_EQ(json["result"], "rebuilt");
    EXPECT_EQ(json["old_file"], m_folder.file("x") + ".bad");
    EXPECT_EQ(json["items"], 2);
    EXPECT_EQ(json["lost"], true);
    EXPECT_EQ(json["unsure"], false);
    EXPECT_EQ(json["parts"].size(), 2U);
    EXPECT_EQ(json["parts"][0]["offset"], place);
    EXPECT_EQ(json["parts"][0]["size"], 32);
    EXPECT_EQ(json["parts"][0]["key"], "\"b\\x0A\"");
    EXPECT_EQ(json["parts"][0]["text"], "cannot be read");
    EXPECT_EQ(json["parts"][0]["lost"], false);
    EXPECT_EQ(json["parts"][1]["size"], nullptr);
    EXPECT_EQ(json["parts"][1]["lost"], true);
}

// A real container. A cut that leaves all items but the index and the seal loses nothing.
TEST_F(RebuiltIndexTest, CutContainerIsWholeIfItsItemsAre) {
    Small_kc kc;
    const std::string path = m_folder.file("a.kc");
    write_kc(path, kc.Manager(), false, nullptr);
    const std::string whole = m_folder.content("a.kc");
    Hpack pack;
    pack.Open(path, 'r');
    const std::size_t index = pack.GetIndexOffset();
    const std::size_t seal = pack.index.at(zandrel::Kc_seal::kKey);
    pack.Close();

    m_folder.write("a.kc", whole.substr(0, index + 3));
    report_of("a.kc");
    EXPECT_EQ(m_folder.content("a.kc"), whole);

    m_folder.write("a.kc", whole.substr(0, seal));
    Rebuilt_index rebuilt = rebuild_index(path, {});
    EXPECT_FALSE(rebuilt.recovery.has_loss);
    EXPECT_NO_THROW(read_kc(path, nullptr));

    m_folder.write("a.kc", whole.substr(0, seal - 1));
    rebuilt = rebuild_index(path, {});
    EXPECT_TRUE(rebuilt.recovery.has_loss);
    EXPECT_THAT(rebuilt.recovery.remarks,
                testing::Contains("the trees and settings are lost: the item \"__Manager__\" was "
                                  "not found"));
}

Built_records cached_kc() {
    Built_records built(Built_form::kWide);
    built.id = 0x278F9D40;
    built.flags = 0;
    built.add("__Manager__", "m");
    return built;
}

// The state would be cleared in place, or the file replaced.
TEST_F(RebuiltIndexTest, ReaderOfACachedContainerKeepsItFromBeingChanged) {
    Built_records marked = cached_kc();
    marked.state = 1;
    Built_records headless = cached_kc();
    std::string bytes = headless.file();
    bytes[0] = 'x';  // so only the examination finds that it is a container
    for (const std::string& content : {marked.file(), cached_kc().file_without_index(), bytes}) {
        const std::string path = m_folder.write("a.kc", content);
        {
            const Kc_use reader(path, path);
            try {
                rebuild_index(path, {});
                ADD_FAILURE() << "nothing is raised";
            } catch (const Output_error& error) {
                EXPECT_EQ(std::string(error.what()),
                          "cannot write " + path +
                              ": another process is reading it; --wait SECONDS waits for it");
            }
            EXPECT_EQ(m_folder.content("a.kc"), content);
            EXPECT_THAT(m_folder.names(), testing::Not(testing::Contains("a.kc.bad")));
        }
        rebuild_index(path, {});
        EXPECT_NE(m_folder.content("a.kc"), content);
        std::filesystem::remove(path + ".bad");
    }
}

TEST_F(RebuiltIndexTest, SoundContainerAndOtherFilesMayBeRead) {
    const std::string sound = m_folder.write("a.kc", cached_kc().file());
    const Kc_use reader_of_sound(sound, sound);
    EXPECT_EQ(rebuild_index(sound, {}).recovery.condition, File_condition::kSound);
    Built_records other(Built_form::kWide);
    other.state = 1;
    const std::string corpus = m_folder.write("x", other.file());
    const Kc_use reader_of_corpus(corpus, corpus);
    EXPECT_EQ(rebuild_index(corpus, {}).recovery.condition, File_condition::kStateOnly);
}

// The items of a container in cached form, without a seal.
class RebuiltKcTest : public RebuiltIndexTest {
protected:
    RebuiltKcTest() {
        const std::string path = m_folder.file("a.kc");
        write_kc(path, m_kc.Manager(), false, nullptr);
        m_items = recovered_content(path);
        m_items.erase(zandrel::Kc_seal::kKey);
    }

    Built_records built() const {
        Built_records built(Built_form::kWide);
        built.id = 0x278F9D40;
        built.flags = 0;
        for (const auto& [key, data] : m_items) {
            built.add(key, data);
        }
        return built;
    }

    // Makes a record half old and half new, as a process that is killed while it overwrites it.
    void damage_first_record() {
        std::string& record = m_items.begin()->second;
        record.replace(record.size() / 2, std::string::npos, std::string(record.size() / 2, 'x'));
    }

    Small_kc m_kc;
    Content m_items;
};

constexpr const char* kUnreadable = "item \"\\x00\\x00\\x00\\x01\" (";
constexpr const char* kStillDamaged = "cached: still damaged: the container needs its back-up\n";

TEST_F(RebuiltKcTest, RecordsOfARecoveredContainerAreRead) {
    m_folder.write("cached", built().file_without_index());
    const Rebuilt_index rebuilt = rebuild_index(m_folder.file("cached"), {});
    EXPECT_TRUE(rebuilt.problems.empty());
    EXPECT_EQ(rebuilt_index_json(rebuilt)["problems"].size(), 0U);
}

TEST_F(RebuiltKcTest, RecordThatWasOverwrittenInPartIsListedAfterARebuild) {
    damage_first_record();
    m_folder.write("cached", built().file_without_index());
    const std::string report = report_of("cached");
    EXPECT_THAT(report, testing::HasSubstr("; the old file is cached.bad\ncached: offset 20: " +
                                           std::string(kUnreadable)));
    EXPECT_THAT(report, testing::EndsWith(kStillDamaged));
}

TEST_F(RebuiltKcTest, RecordThatWasOverwrittenInPartIsListedAfterTheBitIsCleared) {
    damage_first_record();
    Built_records marked = built();
    marked.state = 1;
    m_folder.write("cached", marked.file());
    const Rebuilt_index rebuilt = rebuild_index(m_folder.file("cached"), {});
    EXPECT_EQ(rebuilt.recovery.condition, File_condition::kStateOnly);
    ASSERT_EQ(rebuilt.problems.size(), 1U);
    EXPECT_EQ(rebuilt.problems[0].offset, 20U);
    EXPECT_THAT(rebuilt.problems[0].text, testing::HasSubstr(" cannot be read: "));
    EXPECT_EQ(rebuilt_index_json(rebuilt)["problems"][0]["offset"], 20);
    // The second run changes nothing, and the container is as damaged as before.
    EXPECT_THAT(report_of("cached"), testing::EndsWith(kStillDamaged));
}

TEST_F(RebuiltKcTest, ContainerWithAnotherIdIsStillDamaged) {
    Built_records other = built();
    other.id ^= 1U;
    m_folder.write("cached", other.file());
    EXPECT_THAT(
        report_of("cached"),
        testing::HasSubstr("cached: offset 4: the id in the header is not that of a container\n"));
}

TEST_F(RebuiltKcTest, ModelOfAMissingClassifierIsNamedWithIt) {
    ASSERT_EQ(m_items.erase(std::string("\0\0\0\2", 4)), 1U);
    m_folder.write("cached", built().file_without_index());
    const std::string report = report_of("cached");
    EXPECT_THAT(report, testing::HasSubstr("item \"\\x00\\x00\\x00\\x01\": of object 2, which is "
                                           "missing\n"));
    EXPECT_THAT(report, testing::HasSubstr("cached: missing: object 2, the classifier of node "));
}

TEST_F(RebuiltIndexTest, MissingAndUnusedObjectsOfAContainerAreListed) {
    Small_kc kc;
    const std::string path = m_folder.file("a.kc");
    write_kc(path, kc.Manager(), false, nullptr);
    Content items = recovered_content(path);
    items.erase(zandrel::Kc_seal::kKey);
    Built_records built(Built_form::kWide);  // the cached form
    built.id = 0x278F9D40;
    built.flags = 0;
    const std::string first = items.begin()->first;
    ASSERT_EQ(first.size(), 4U);
    items.erase(first);
    for (const auto& [key, data] : items) {
        built.add(key, data);
    }
    const std::uint64_t unused = built.add(std::string("\0\0\1\1", 4), "left over");
    m_folder.write("cached", built.file_without_index());
    const std::string report = report_of("cached");
    EXPECT_THAT(report,
                testing::HasSubstr("cached: missing: object " + std::to_string(first[3]) + ", "));
    EXPECT_THAT(report,
                testing::HasSubstr("cached: offset " + std::to_string(unused) +
                                   ": 25 bytes: item \"\\x00\\x00\\x01\\x01\": of a classifier "
                                   "that no longer exists; it is kept, and harmless\n"));
    EXPECT_THAT(report, testing::HasSubstr("cached: items are lost\n"));
}

}  // namespace

}  // namespace zandrel::cli
