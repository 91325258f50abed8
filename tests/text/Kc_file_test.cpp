#include "text/kc/Kc_file.h"

#include <csignal>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"

#include "tests/cli/scratch_folder.h"
#include "tests/support/expect_qtx.h"
#include "text/data/File_kind.h"
#include "text/errors.h"
#include "text/model/Text_model.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::StartsWith;

// A small trained container.
qtPtrLight<zeManager> trained() {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.train({{{"sport"}, "goal match"}, {{"food"}, "bread cheese"}});
    return model.manager();
}

// Interrupts at the poll with this number and at all later ones.
class Interrupting : public CTProgress {
public:
    explicit Interrupting(int poll) : m_polls_left(poll) {}

    bool IsInterrupted() const override { return m_polls_left-- <= 0; }

    bool has_asked() const { return m_polls_left < 0; }

private:
    mutable int m_polls_left;
};

// While an object exists, no file can grow beyond this size.
class File_size_limit {
public:
    explicit File_size_limit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        m_handler = std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limited = {bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limited);
    }

    File_size_limit(const File_size_limit&) = delete;
    File_size_limit& operator=(const File_size_limit&) = delete;

    ~File_size_limit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }

private:
    rlimit m_before = {};
    void (*m_handler)(int) = nullptr;
};

template <class Error>
std::string error_of_reading(const std::string& path) {
    try {
        read_kc(path, nullptr);
    } catch (const Error& error) {
        return error.what();
    }
    return "";
}

TEST(KcFileTest, WrittenContainerIsReadBack) {
    const Scratch_folder folder;
    const qtPtrLight<zeManager> manager = trained();
    manager->m_config.set_optional("color", "green");

    write_kc(folder.file("a.kc"), *manager, false, nullptr);
    Text_model read(read_kc(folder.file("a.kc"), nullptr), {Analysis_kind::kWords});

    EXPECT_EQ(read.manager()->m_config.kc_id, manager->m_config.kc_id);
    EXPECT_EQ(read.manager()->m_config.get_optional("color")->str(), "green");
    EXPECT_EQ(read.rank("Goal!", 1).front().label, "sport");
    EXPECT_THAT(folder.names(), ElementsAre("a.kc"));
}

TEST(KcFileTest, SameContainerGivesTheSameBytes) {
    const Scratch_folder folder;
    write_kc(folder.file("a.kc"), *trained(), false, nullptr);

    write_kc(folder.file("b.kc"), *read_kc(folder.file("a.kc"), nullptr), false, nullptr);

    EXPECT_EQ(folder.content("a.kc"), folder.content("b.kc"));
}

TEST(KcFileTest, CompactContainerStaysCompact) {
    const Scratch_folder folder;
    write_kc(folder.file("whole.kc"), *trained(), false, nullptr);
    write_kc(folder.file("a.kc"), *trained(), true, nullptr);

    const qtPtrLight<zeManager> compact = read_kc(folder.file("a.kc"), nullptr);
    EXPECT_TRUE(compact->m_compact);
    write_kc(folder.file("b.kc"), *compact, false, nullptr);

    EXPECT_TRUE(read_kc(folder.file("b.kc"), nullptr)->m_compact);
    EXPECT_LT(folder.content("b.kc").size(), folder.content("whole.kc").size());
}

TEST(KcFileTest, FullDiskLeavesTheOldFileUnchanged) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");
    const qtPtrLight<zeManager> manager = trained();
    write_kc(folder.file("b.kc"), *manager, false, nullptr);
    const std::size_t size = folder.content("b.kc").size();

    for (rlim_t bytes = 0; bytes < size; bytes += size / 8) {
        SCOPED_TRACE(bytes);
        const File_size_limit limit(bytes);
        try {
            write_kc(path, *manager, false, nullptr);
            ADD_FAILURE() << "no error";
        } catch (const Output_error& error) {
            EXPECT_EQ(error.what(), "cannot write " + path + ": File too large");
        }
        EXPECT_EQ(folder.content("a.kc"), "old");
        EXPECT_THAT(folder.names(), ElementsAre("a.kc", "b.kc"));
    }
}

TEST(KcFileTest, InterruptionLeavesTheOldFileUnchanged) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");
    const qtPtrLight<zeManager> manager = trained();

    int poll = 0;
    for (;; ++poll) {
        SCOPED_TRACE(poll);
        Interrupting progress(poll);
        try {
            write_kc(path, *manager, false, &progress);
        } catch (const qtX<zeWorkflow>& error) {
            EXPECT_EQ(error.number(), 2);
        }
        EXPECT_THAT(folder.names(), ElementsAre("a.kc"));
        if (!progress.has_asked()) {
            break;
        }
        EXPECT_EQ(folder.content("a.kc"), "old");
    }
    EXPECT_GT(poll, 0);
    EXPECT_NE(folder.content("a.kc"), "old");
}

TEST(KcFileTest, PathThatIsNoFileCannotBeWritten) {
    const Scratch_folder folder;

    EXPECT_THROW(write_kc(folder.path(), *trained(), false, nullptr), Output_error);
    EXPECT_THROW(write_kc(folder.file("none/a.kc"), *trained(), false, nullptr), Output_error);
}

TEST(KcFileTest, FileThatCannotBeOpenedRaises) {
    const Scratch_folder folder;

    EXPECT_EQ(error_of_reading<Input_error>(folder.file("a.kc")),
              "cannot read " + folder.file("a.kc") + ": No such file or directory");
    EXPECT_EQ(error_of_reading<Input_error>(folder.path()),
              "cannot read " + folder.path() + ": Is a directory");
    const std::string below_a_file = folder.write("a.kc", "") + "/b.kc";
    EXPECT_EQ(error_of_reading<Input_error>(below_a_file),
              "cannot read " + below_a_file + ": Not a directory");
}

// The seal does not match either, but the id is in the first bytes.
TEST(KcFileTest, SealedFileWithAnotherIdIsNamedInTheSameWordsForEachUse) {
    const Scratch_folder folder;
    const std::string path = folder.file("a.kc");
    write_kc(path, *trained(), false, nullptr);
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(4);  // behind the magic
    file.put('X');
    file.close();

    EXPECT_EQ(error_of_reading<Data_error>(path), path + ": Not a kc file");
    try {
        read_kc_to_classify(path, nullptr);
        ADD_FAILURE() << "nothing is raised";
    } catch (const Data_error& error) {
        EXPECT_EQ(std::string(error.what()), path + ": Not a kc file");
    }
}

TEST(KcFileTest, FileThatIsNoContainerRaises) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "sport\tgoal match of the day\n");

    EXPECT_EQ(error_of_reading<Data_error>(path), path + ": Not a kc file");
    folder.write("a.kc", "");
    EXPECT_THAT(error_of_reading<Data_error>(path), StartsWith(path + ": "));
}

TEST(KcFileTest, ContainerIsRecognisedByItsFirstBytes) {
    const Scratch_folder folder;
    const std::string path = folder.file("a.kc");
    write_kc(path, *trained(), false, nullptr);
    EXPECT_TRUE(begins_as_kc(path));
    write_kc(path, *trained(), true, nullptr);
    EXPECT_TRUE(begins_as_kc(path));

    // The magic number of a package, followed by the id of containers.
    const std::string start = "\x4A\x5B\x6C\x84\x27\x8F\x9D\x40";
    EXPECT_TRUE(begins_as_kc(folder.write("a.kc", start + "damaged")));
    EXPECT_TRUE(begins_as_kc(folder.write("a.kc", start)));
    EXPECT_FALSE(begins_as_kc(folder.write("a.kc", start.substr(0, 7))));
    EXPECT_FALSE(begins_as_kc(folder.write("a.kc", "")));
    EXPECT_FALSE(begins_as_kc(folder.write("a.kc", "sport\tgoal match\n")));
    EXPECT_FALSE(begins_as_kc(folder.write("a.kc", "\x4A\x5B\x6C\x84\x27\x8F\x9D\x41")));
    EXPECT_THROW(begins_as_kc(folder.path()), Input_error);
    EXPECT_THROW(begins_as_kc(folder.file("missing.kc")), Input_error);
}

TEST(KcFileTest, StreamThatBeginsAsAContainerKeepsItsPosition) {
    const std::string start = "\x4A\x5B\x6C\x84\x27\x8F\x9D\x40";

    const struct {
        std::string content;
        bool is_kc;
    } rows[] = {{start + "rest", true},
                {start, true},
                {start.substr(0, 7), false},
                {"", false},
                {"sport\tgoal", false}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        std::istringstream input(row.content);
        EXPECT_EQ(kind_of_stream(input) == File_kind::kContainer, row.is_kc);
        input.clear();
        const std::string left{std::istreambuf_iterator<char>(input),
                               std::istreambuf_iterator<char>()};
        EXPECT_EQ(left, row.content);
    }
}

// Whatever error the library finds, the message of the program begins with the path of this file.
TEST(KcFileTest, CutContainerRaises) {
    const Scratch_folder folder;
    const std::string path = folder.file("a.kc");
    write_kc(path, *trained(), false, nullptr);
    const std::string whole = folder.content("a.kc");

    for (std::size_t length = 0; length < whole.size(); length += 7) {
        SCOPED_TRACE(length);
        folder.write("a.kc", whole.substr(0, length));
        EXPECT_THAT(error_of_reading<Data_error>(path), StartsWith(path + ": "));
    }
}

TEST(KcFileTest, InterruptionOfReadingIsPassedOn) {
    const Scratch_folder folder;
    write_kc(folder.file("a.kc"), *trained(), false, nullptr);
    Interrupting progress(0);

    EXPECT_QTX(read_kc(folder.file("a.kc"), &progress), zeWorkflow, 2, "Process interrupted");
}

}  // namespace

}  // namespace zandrel::cli
