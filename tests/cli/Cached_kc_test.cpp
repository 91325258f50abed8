// Changes of a container in cached form that are refused, interrupted or fail, at each of their
// steps.
#include "text/kc/Cached_kc.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "cli/evaluate/Evaluation.h"
#include "tests/cli/scratch_folder.h"
#include "tests/support/kc_v1.h"
#include "text/errors.h"
#include "text/kc/Deferred_writes.h"
#include "text/kc/Kc_conversion.h"
#include "text/kc/Kc_edit.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_file_facts.h"
#include "text/kc/Kc_tree.h"
#include "text/kc/Kc_tree_view.h"
#include "text/kc/Kc_use.h"
#include "text/kc/Stored_model.h"
#include "text/kc/stat_classifiers.h"
#include "text/model/Text_model.h"
#include "text/train/Training.h"

namespace {

using testing::HasSubstr;

// Asks for an interruption from one of its questions on.
class Interrupting_progress : public CTProgress {
public:
    explicit Interrupting_progress(int question) : m_question(question) {}

    bool IsInterrupted() const override { return ++m_asked > m_question; }

    bool has_interrupted() const { return m_asked > m_question; }

private:
    int m_question;
    mutable int m_asked = 0;
};

std::string bytes_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The number of texts that each node has learned, by path.
std::map<std::string, int> messages_of(const std::string& path) {
    std::map<std::string, int> messages;
    const qtPtrLight<zeManager> manager = zandrel::read_kc(path, nullptr);
    for (const zandrel::Kc_tree_line& line : zandrel::view_tree(*manager, "", -1).lines) {
        messages[line.name] = line.messages.value_or(-1);
    }
    return messages;
}

// Visits all statistical classifiers.
void visit_classifiers_of(const std::string& path) {
    zandrel::for_each_stat_classifier(*zandrel::read_kc(path, nullptr),
                                      [](const zandrel::Stat_classifier&) {});
}

// root - warm - red, yellow
//      - cold - blue, green
//      - dark - black, brown
class CachedKcTest : public testing::Test {
protected:
    CachedKcTest() {
        std::ofstream(m_groups) << "warm\tred\nwarm\tyellow\ncold\tblue\ncold\tgreen\n"
                                   "dark\tblack\ndark\tbrown\n";
        std::ofstream(m_data) << "red\tfire rose\nyellow\tsun corn\nblue\tsea sky\ngreen\tleaf\n"
                                 "black\tcoal\nbrown\tearth wood\n";
        std::ofstream(m_more) << "red\tblood\nblue\tink\nblack\tnight\n";
        zandrel::Training_options options;
        options.kc_file = m_plain;
        options.data_files = {m_data};
        options.model.analysis = {zandrel::Analysis_kind::kWords};
        options.model.groups = zandrel::read_label_groups_file(m_groups);
        zandrel::train_kc(options);
        Convert(m_plain, m_cached, zandrel::Kc_form::kCached);
    }

    static void Convert(const std::string& from, const std::string& to, zandrel::Kc_form form) {
        zandrel::Conversion_options options;
        options.kc_file = from;
        options.new_file = to;
        options.form = form;
        options.replaces = true;
        zandrel::convert_kc(options);
    }

    zandrel::Learning_options LearnOptions(unsigned int bound, CTProgress* progress) const {
        zandrel::Learning_options options;
        options.kc_file = m_cached;
        options.data_files = {m_more};
        options.bound.given = bound;
        options.progress = progress;
        return options;
    }

    zandrel::cli::Scratch_folder m_folder;
    std::string m_groups = m_folder.file("groups");
    std::string m_data = m_folder.file("data.tsv");
    std::string m_more = m_folder.file("more.tsv");
    std::string m_plain = m_folder.file("plain.kc");
    std::string m_cached = m_folder.file("cached.kc");
};

TEST_F(CachedKcTest, InterruptedLearningLeavesEachClassifierWithAllTextsOrNone) {
    const std::string before = bytes_of(m_cached);
    const std::map<std::string, int> old = messages_of(m_cached);
    std::size_t unchanged = 0;
    std::size_t partial = 0;
    bool has_ended = false;
    for (int question = 0; !has_ended; ++question) {
        std::ofstream(m_cached, std::ios::binary) << before;
        Interrupting_progress progress(question);
        try {
            zandrel::learn_into_kc(LearnOptions(1, &progress));
            has_ended = true;
        } catch (const zandrel::Partial_change& error) {
            EXPECT_THAT(error.what(), HasSubstr("Process interrupted; "));
            EXPECT_THAT(error.what(),
                        HasSubstr("contains the part of the change that was done; do not repeat "
                                  "the command, since some classifiers may have learned its "
                                  "texts"));
            ++partial;
        } catch (const qtX<zeWorkflow>& error) {
            EXPECT_EQ(error.number(), 2);
            EXPECT_EQ(bytes_of(m_cached), before) << question;
            ++unchanged;
        }
        const std::map<std::string, int> now = messages_of(m_cached);  // it can be opened
        const int at_root = now.at("warm") - old.at("warm");
        EXPECT_EQ(now.at("cold") - old.at("cold"), at_root) << question;
        EXPECT_EQ(now.at("dark") - old.at("dark"), at_root) << question;
        for (const char* const leaf : {"red", "blue", "black"}) {
            const int learned = now.at(leaf) - old.at(leaf);
            EXPECT_TRUE(learned == 0 || learned == 1) << question << ' ' << leaf;
        }
        EXPECT_FALSE(has_ended && progress.has_interrupted());
    }
    EXPECT_GT(unchanged, 0U);
    EXPECT_GT(partial, 0U);
}

TEST_F(CachedKcTest, InterruptedTrainingOfAKeptTreeCanBeRepeated) {
    const std::string before = bytes_of(m_cached);
    const auto train = [this](CTProgress* progress) {
        zandrel::Training_options options;
        options.kc_file = m_cached;
        options.data_files = {m_data};
        options.keeps_tree = true;
        options.bound.given = 1;
        options.progress = progress;
        zandrel::train_kc(options);
    };
    train(nullptr);
    const std::map<std::string, int> whole = messages_of(m_cached);
    std::size_t partial = 0;
    for (int question = 0;; question += 5) {
        std::ofstream(m_cached, std::ios::binary) << before;
        Interrupting_progress progress(question);
        try {
            train(&progress);
            break;
        } catch (const zandrel::Partial_change& error) {
            EXPECT_THAT(error.what(),
                        HasSubstr("that was done; repeat the command, since the classifiers that "
                                  "it did not reach are empty"));
            ++partial;
        } catch (const qtX<zeWorkflow>&) {
            EXPECT_EQ(bytes_of(m_cached), before) << question;
        }
        train(nullptr);
        EXPECT_EQ(messages_of(m_cached), whole) << question;
    }
    EXPECT_GT(partial, 0U);
}

TEST_F(CachedKcTest, ChangeThatRaisesLeavesTheFileAsItWas) {
    const std::string before = bytes_of(m_cached);
    for (const unsigned int bound : {1U, 2U, 20U}) {
        EXPECT_THROW(zandrel::edit_kc(m_cached, {},
                                      [](qtPtrLight<zeManager>& manager) -> bool {
                                          zandrel::Deferred_writes writes(*manager);
                                          zandrel::rename_node(*manager, "root/cold", "chilly");
                                          throw zandrel::Usage_error("no");
                                      },
                                      {bound}),
                     zandrel::Usage_error);
        EXPECT_EQ(bytes_of(m_cached), before) << bound;
    }
}

TEST_F(CachedKcTest, RefusedEditAfterADeletedClassifierLeavesTheFileAsItWas) {
    const std::string before = bytes_of(m_cached);
    EXPECT_THROW(
        zandrel::edit_kc(m_cached, {},
                         [](qtPtrLight<zeManager>& manager) -> bool {
                             zandrel::Deferred_writes writes(*manager);
                             zandrel::delete_node(*manager, "root/cold", false);
                             zandrel::add_node(*manager, "root/new", {ZE_STAT, {}, {}, {}, {}, {}});
                             zandrel::delete_node(*manager, "root/none", false);
                             return true;
                         },
                         {2}),
        zandrel::Usage_error);
    EXPECT_EQ(bytes_of(m_cached), before);
}

// The flush would refuse the trees, so nothing is deleted before it.
TEST_F(CachedKcTest, EditThatDamagesTheTreesLeavesTheFileAsItWas) {
    const std::string before = bytes_of(m_cached);
    EXPECT_ANY_THROW(zandrel::edit_kc(m_cached, {},
                                      [](qtPtrLight<zeManager>& manager) -> bool {
                                          zandrel::Deferred_writes writes(*manager);
                                          zandrel::delete_node(*manager, "root/cold", false);
                                          manager->m_root->m_parent = manager->m_root;
                                          try {
                                              writes.commit();
                                          } catch (const qtX<zeManager>& error) {
                                              EXPECT_EQ(error.number(), 4);
                                              throw;
                                          }
                                          ADD_FAILURE() << "nothing is raised";
                                          return true;
                                      },
                                      {2}));
    EXPECT_EQ(bytes_of(m_cached), before);
}

TEST_F(CachedKcTest, DeferredEditDeletesAndAddsItems) {
    unsigned int cold = 0;
    zandrel::edit_kc(
        m_cached, {},
        [&cold](qtPtrLight<zeManager>& manager) {
            cold =
                manager->m_logical_tree->FindNodeByPath("root/cold").physical_node->m_classifier_id;
            zandrel::Deferred_writes writes(*manager);
            zandrel::delete_node(*manager, "root/cold", false);
            zandrel::add_node(*manager, "root/new", {ZE_STAT, {}, {}, {}, {}, {}});
            zandrel::add_node(*manager, "root/new/leaf", {});
            writes.commit();
            return true;
        },
        {2});
    const qtPtrLight<zeManager> manager = zandrel::read_kc(m_cached, nullptr);
    CachePack& pack = *manager->m_io->m_cache_pack;
    EXPECT_FALSE(pack.Exists(pack.MakeStringKey(cold)));
    zeNode* const added = manager->m_logical_tree->FindNodeByPath("root/new").physical_node;
    EXPECT_TRUE(pack.Exists(pack.MakeStringKey(added->m_classifier_id)));
    EXPECT_NE(manager->m_physical_tree->get_classifier(added), nullptr);
}

TEST_F(CachedKcTest, ReaderKeepsOthersFromChangingTheFile) {
    {
        const qtPtrLight<zeManager> reader = zandrel::read_kc(m_cached, nullptr);
        const qtPtrLight<zeManager> second = zandrel::read_kc(m_cached, nullptr);
        try {
            zandrel::learn_into_kc(LearnOptions(20, nullptr));
            ADD_FAILURE() << "nothing is raised";
        } catch (const zandrel::Output_error& error) {
            EXPECT_EQ(std::string(error.what()),
                      "cannot write " + m_cached +
                          ": another process is reading it; --wait SECONDS waits for it");
        }
    }
    zandrel::learn_into_kc(LearnOptions(20, nullptr));
}

TEST_F(CachedKcTest, ReaderIsRefusedWhileTheFileIsChanged) {
    const zandrel::Kc_lock lock(m_cached);
    const zandrel::Kc_use use(lock);
    try {
        zandrel::read_kc(m_cached, nullptr);
        ADD_FAILURE() << "nothing is raised";
    } catch (const zandrel::Input_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "cannot read " + m_cached + ": another process is changing it");
    }
}

TEST_F(CachedKcTest, ReaderOfALinkWorks) {
    const std::string link = m_folder.file("link.kc");
    std::filesystem::create_symlink(m_cached, link);
    EXPECT_EQ(messages_of(link), messages_of(m_cached));
}

TEST_F(CachedKcTest, MissingFileOfALinkIsNamed) {
    EXPECT_THROW(zandrel::Kc_use("name.kc", m_folder.file("none")), zandrel::Input_error);
}

TEST_F(CachedKcTest, ReopenedFileGivesTheSameClassifiers) {
    const qtPtrLight<zeManager> manager = zandrel::read_kc(m_cached, nullptr);
    const CachePack* const before = manager->m_io->m_cache_pack.get();
    zandrel::reopen_cached(*manager);
    EXPECT_NE(manager->m_io->m_cache_pack.get(), before);
    zeNode* const warm = manager->m_logical_tree->FindNodeByPath("root/warm").physical_node;
    EXPECT_NE(manager->m_physical_tree->get_classifier(warm), nullptr);
}

TEST_F(CachedKcTest, ReopenedFileThatWasReplacedIsRefused) {
    const qtPtrLight<zeManager> manager = zandrel::read_kc(m_cached, nullptr);
    std::filesystem::rename(m_plain, m_cached);
    EXPECT_ANY_THROW(zandrel::reopen_cached(*manager));
}

TEST_F(CachedKcTest, FileReplacedDuringAChangeIsNotWritten) {
    const std::string other = bytes_of(m_plain);
    EXPECT_THROW(zandrel::edit_kc(m_cached, {},
                                  [this](qtPtrLight<zeManager>& manager) {
                                      manager->m_modified = true;
                                      std::filesystem::rename(m_plain, m_cached);
                                      return true;
                                  }),
                 zandrel::Output_error);
    EXPECT_EQ(bytes_of(m_cached), other);
}

TEST_F(CachedKcTest, ConversionOfVersionOneUpgradesACopy) {
    const std::string before = cached_v1(News_kc_v1::items());
    std::ofstream(m_cached, std::ios::binary) << before;
    const std::string plain = m_folder.file("plain_of_version_1.kc");
    const std::string cached = m_folder.file("cached_of_version_1.kc");
    Convert(m_cached, plain, zandrel::Kc_form::kPlain);
    Convert(m_cached, cached, zandrel::Kc_form::kCached);
    EXPECT_EQ(bytes_of(m_cached), before);

    const std::string of_version_2 = m_folder.file("version_2.kc");
    std::ofstream(of_version_2, std::ios::binary) << News_kc_v1::items_v2().file();
    const std::map<std::string, int> wanted = messages_of(of_version_2);
    EXPECT_EQ(wanted.size(), 6U);
    EXPECT_EQ(messages_of(plain), wanted);
    EXPECT_EQ(messages_of(cached), wanted);
    EXPECT_EQ(zandrel::read_kc_header(cached)->version, 2U);
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.file(""))) {
        EXPECT_NE(entry.path().filename().string().front(), '.') << entry.path();
    }
}

// The upgrade of the copy clears its flag.
TEST_F(CachedKcTest, CompactContainerOfVersionOneStaysCompactWhenItIsConverted) {
    Kc_items items = shared_leaf_kc_v1(3);
    const std::string converted = m_folder.file("converted.kc");
    for (const bool is_compact : {false, true}) {
        items.flags = is_compact ? 0x08 : 0x00;
        std::ofstream(m_cached, std::ios::binary) << cached_v1(items);
        for (const zandrel::Kc_form form : {zandrel::Kc_form::kPlain, zandrel::Kc_form::kCached}) {
            Convert(m_cached, converted, form);
            EXPECT_EQ(zandrel::read_kc_file_facts(converted).is_compact, is_compact);
            EXPECT_EQ(zandrel::read_kc(converted, nullptr)->m_compact, is_compact);
        }
    }
}

TEST_F(CachedKcTest, FileOfVersionOneIsNotOpened) {
    std::ofstream(m_cached, std::ios::binary) << cached_v1(News_kc_v1::items());
    const std::string before = bytes_of(m_cached);
    const std::string wanted = m_cached +
                               ": this cached container is of version 1; zandrel convert '" +
                               m_cached + "' NEW, with --cached or --plain, writes it in version 2";
    try {
        zandrel::read_kc(m_cached, nullptr);
        ADD_FAILURE() << "nothing is raised";
    } catch (const zandrel::Data_error& error) {
        EXPECT_EQ(error.what(), wanted);
    }
    try {
        zandrel::learn_into_kc(LearnOptions(20, nullptr));
        ADD_FAILURE() << "nothing is raised";
    } catch (const zandrel::Data_error& error) {
        EXPECT_EQ(error.what(), wanted);
    }
    EXPECT_EQ(bytes_of(m_cached), before);
}

// The histogram of a new category would take 2 gigabytes: 2^22 * 30 bins of 16 bytes.
TEST_F(CachedKcTest, UnusualResolutionOfAModelIsRefusedBeforeTheModelIsUsed) {
    zandrel::edit_kc(
        m_cached, {},
        [](qtPtrLight<zeManager>& manager) {
            zeNode* const node = manager->m_logical_tree->FindNodeByPath("root/cold").physical_node;
            auto* const matcher =
                dynamic_cast<zeStat_matcher*>(manager->m_physical_tree->get_classifier(node));
            zeStat_storage& storage = *matcher->m_storage;
            storage.complete();
            storage.m_likelihood_resolution = 1 << 22;
            for (const auto& profile : storage.m_profiles) {
                profile->m_bins.clear();
            }
            storage.m_dirty = true;
            return true;
        },
        {2});
    const std::string before = bytes_of(m_cached);
    const auto edit = [this](const std::function<void(zeManager & manager)>& change) {
        zandrel::edit_kc(m_cached, {},
                         [&change](qtPtrLight<zeManager>& manager) {
                             zandrel::Deferred_writes writes(*manager);
                             change(*manager);
                             writes.commit();
                             return true;
                         },
                         {2});
    };
    zandrel::Training_options training;
    training.kc_file = m_cached;
    training.data_files = {m_data};
    training.keeps_tree = true;
    training.bound.given = 1;
    zandrel::Learning_options learning = LearnOptions(1, nullptr);
    learning.warn = [](const std::string&) {};
    zandrel::cli::Evaluation_options evaluation;
    evaluation.kc_file = m_cached;
    evaluation.test_file = m_data;
    evaluation.learn_file = m_more;
    const std::vector<std::function<void()>> uses = {
        [&] { edit([](zeManager& manager) { zandrel::add_node(manager, "root/cold/new", {}); }); },
        [&] {
            edit([](zeManager& manager) {
                zandrel::move_node(manager, "root/warm/red", "root/cold", true);
            });
        },
        [&] { zandrel::train_kc(training); },
        [&] { zandrel::learn_into_kc(learning); },
        [&] { zandrel::cli::evaluate(evaluation); },
        [&] { visit_classifiers_of(m_cached); },
    };
    for (std::size_t i = 0; i < uses.size(); ++i) {
        try {
            uses[i]();
            ADD_FAILURE() << i << ": nothing is raised";
        } catch (const zandrel::Data_error& error) {
            EXPECT_EQ(std::string(error.what()),
                      m_cached +
                          ": the container is damaged, or is of another program (bad value "
                          "for LikelihoodHistogramResolution: \"4194304\" is not between 1 "
                          "and 1000)")
                << i;
        }
        EXPECT_EQ(bytes_of(m_cached), before) << i;
    }
}

TEST_F(CachedKcTest, MarkedFileNamesTheCommandThatRepairsIt) {
    constexpr std::streamoff kStatePosition = 9;
    std::fstream file(m_cached, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(kStatePosition);
    file.put('\1');
    file.close();
    try {
        zandrel::read_kc(m_cached, nullptr);
        ADD_FAILURE() << "nothing is raised";
    } catch (const zandrel::Data_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  m_cached +
                      ": the last change of the container was not completed; zandrel "
                      "rebuild-index '" +
                      m_cached +
                      "' recovers what is whole (KB index is not synchronized (Run RebuildIndex "
                      "Utility))");
    }
}

}  // namespace
