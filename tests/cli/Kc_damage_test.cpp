#include "text/kc/Kc_damage.h"

#include <cerrno>
#include <cstddef>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/SegBuf.h"

#include "cli/kc/Kc_info.h"
#include "tests/cli/scratch_folder.h"
#include "tests/support/answers_of_kc.h"
#include "text/errors.h"
#include "text/kc/Kc_edit.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_options.h"
#include "text/kc/Kc_tree_view.h"
#include "text/kc/Stored_model.h"
#include "text/model/Text_model.h"

using zandrel::Kc_seal;

namespace zandrel::cli {

namespace {

using testing::StartsWith;

std::string explained_assertion(const char* expression) {
    try {
        process_assert(expression, "file", 1, "function");
    } catch (const qtxAll& error) {
        return explained(error);
    }
    return "nothing was raised";
}

TEST(KcDamageTest, AssertionIsExplainedInASentence) {
    EXPECT_EQ(explained_assertion("p.m_cat"),
              "the container is damaged: a category of a statistical classifier is not in its tree "
              "(p.m_cat)");
    EXPECT_EQ(explained_assertion("cat"),
              "the container is damaged: a rule or a statistical classifier is for a node that is "
              "missing (cat)");
    EXPECT_EQ(explained_assertion("clafer"),
              "the container is damaged: a node has no classifier above it (clafer)");
    EXPECT_EQ(explained_assertion("m_storage"),
              "the container is damaged: a statistical classifier has no statistical model "
              "(m_storage)");
    EXPECT_EQ(explained_assertion("sz <= Zandrel::LIKELIHOOD_SIZE"),
              "the container is damaged: a likelihood table is too long "
              "(sz <= Zandrel::LIKELIHOOD_SIZE)");
}

TEST(KcDamageTest, UnknownAssertionIsExplainedInAGeneralSentence) {
    EXPECT_EQ(explained_assertion("category"),
              "the container is damaged: its parts do not fit together (category)");
    EXPECT_EQ(explained_assertion(""),
              "the container is damaged: its parts do not fit together ()");
}

TEST(KcDamageTest, ErrorOfEachClassIsExplained) {
    EXPECT_EQ(explained(qtX<zeIO>(12, "Damaged item: m_M", {"7"})),
              "the container is damaged: a value is outside of its range "
              "(Damaged item: m_M, id 7)");
    EXPECT_EQ(explained(qtX<zeIO>(12, "Damaged item: threshold", {"7"})),
              "the container is damaged: a value is outside of its range "
              "(Damaged item: threshold, id 7)");
    EXPECT_EQ(explained(qtX<zeIO>(12, "Damaged item: clip_value", {"0"})),
              "the container is damaged: a value is outside of its range "
              "(Damaged item: clip_value)");
    EXPECT_EQ(explained(qtX<zeIO>(12, "Damaged item: compact flag", {"1"})),
              "the container is damaged: the file says that it is compact, but has statistics "
              "(Damaged item: compact flag, id 1)");
    EXPECT_EQ(explained(qtX<zeIO>(7, "Unknown Classifier object", {"9"})),
              "the container is damaged: an object is of an unknown type "
              "(Unknown Classifier object: 9)");
    EXPECT_EQ(explained(qtX<zeManager>(4, "Knowledge tree is damaged", {"children"})),
              "the container is damaged: the links between its nodes make no tree "
              "(Knowledge tree is damaged: children)");
    EXPECT_EQ(explained(qtX<zeStat_storage>(0, "Statistical model is damaged", {"settings"})),
              "the container is damaged: the parts of a statistical model contradict each other "
              "(Statistical model is damaged: settings)");
    EXPECT_EQ(explained(qtX<Hpack>(1, "Cannot read index", {"a.kc"})),
              "the container is damaged: the list of its parts is missing or cannot be read "
              "(Cannot read index)");
    EXPECT_EQ(explained(qtX<HioErr>(3, "Read error in file a.kc", {"a.kc"})),
              "the container is damaged: the file ends too early, or a length in it is wrong "
              "(Read error in file a.kc)");
    EXPECT_EQ(explained(qtX<RuleParser>(0, "Empty expression")),
              "the container is damaged: a rule cannot be understood (Empty expression)");
    EXPECT_EQ(explained(qtXbase("Anything else")),
              "the container is damaged: its parts do not fit together (Anything else)");
}

// Tests each row of the table of explanations (kRows), in the order of the table.
TEST(KcDamageTest, EachErrorHasItsSentence) {
    const struct {
        std::string explained;
        const char* sentence;
    } rows[] = {
        {explained_assertion("inserted.m_classifier_type == ZE_LEAF"),
         "a node with several parents is not a leaf"},
        {explained_assertion("pp.second"), "a node has the id of another node"},
        {explained_assertion("loc >= 0"), "a node is not among the children of its parent"},
        {explained_assertion("sw"), "a rule node has no classifier with rules"},
        {explained_assertion("from && to"), "a statistical node has no statistical classifier"},
        {explained_assertion("stat_matcher"), "a statistical node has no statistical classifier"},
        {explained_assertion("!m_storage->end(iprofile)"),
         "a statistical classifier does not know one of its nodes"},
        {explained_assertion("!m_storage->end(iconcept_info)"),
         "a statistical model does not know one of its concepts"},
        {explained_assertion("geom_average"), "the sizes of the categories have no average"},
        {explained_assertion("arithm_average"), "the sizes of the categories have no average"},
        {explained_assertion("num_profiles - num_junk_profiles"),
         "a statistical model has junk categories only"},
        {explained_assertion("object"), "a node has no classifier, but its type asks for one"},
        {explained(qtX<HioErr>(1, "words")), "a position in the file is wrong"},
        {explained(qtX<Hpack>(2, "Missing key in index: a")), "one of its parts is missing"},
        {explained(qtX<Hpack>(3, "words")), "the list of its parts leads to a wrong place"},
        {explained(qtX<Kc_seal>(1, "words")), "its bytes are not those that were sealed"},
        {explained(qtX<zeIO>(10, "words")), "an object has a wrong id"},
        {explained(qtX<zeIO>(11, "words")),
         "a classifier does not belong to the node that names it"},
        {explained(qtX<zeManager>(1, "words")), "its root has no usable classifier"},
        {explained(qtX<zeStat_matcher>(0, "words")),
         "a statistical classifier and its node disagree"},
        {explained(qtX<zeSwitcher>(0, "words")), "the rules of a node contradict each other"},
        {explained(qtX<zeSml>(0, "words")), "a clip value is below 0"},
        {explained(qtX<zeWorkflow>(0, "words")), "its root has no classifier"},
        {explained(qtX<zeWorkflow>(1, "words")), "a label of its tree is not in a classifier"},
        {explained(qtXbase(qtxSegBuf::kLocateError)),
         "a record ends too early, or a length in it is too large"},
    };

    for (const auto& row : rows) {
        EXPECT_THAT(row.explained,
                    StartsWith(std::string("the container is damaged: ") + row.sentence + " ("));
    }
}

TEST(KcDamageTest, LaterVersionMayHaveMadeTheFile) {
    EXPECT_EQ(explained(qtX<zeIO>(2, "Invalid version in kc file", {"3"})),
              "the container is damaged, or is of a later version of this program "
              "(Invalid version in kc file: 3)");
    EXPECT_EQ(explained(qtX<Kc_seal>(Kc_seal::kUnknownForm, "Unknown form of seal: a.kc")),
              "the container is damaged, or was sealed by a later version of this program "
              "(Unknown form of seal: a.kc)");
}

// The library accepts a greater resolution than the program does. The program refuses the file,
// since the histogram of each new category would have this resolution.
TEST(KcDamageTest, ResolutionThatTheProgramDoesNotAcceptIsRefused) {
    const Scratch_folder folder;
    const auto error_of = [&folder](zeManager& manager) -> std::string {
        const std::string path = folder.write("a.kc", saved_compact(manager));
        try {
            read_kc(path, nullptr);
        } catch (const Data_error& error) {
            return std::string(error.what()).substr(path.size() + 2);
        }
        return {};
    };
    zeManager manager;
    build_answering_kc(manager);
    for (const int resolution : {1, 1000}) {
        manager.m_defaults.likelihood_resolution = resolution;
        EXPECT_EQ(error_of(manager), "");
    }
    for (const int resolution : {0, 1001, (1 << 22) + 1}) {
        manager.m_defaults.likelihood_resolution = resolution;
        EXPECT_EQ(error_of(manager),
                  "the container is damaged, or is of another program (bad value for "
                  "LikelihoodHistogramResolution: \"" +
                      std::to_string(resolution) + "\" is not between 1 and 1000)");
    }
    manager.m_defaults.likelihood_resolution = 1;
    for (const auto& [id, object] : manager.m_objects) {
        if (auto* const storage = dynamic_cast<zeStat_storage*>(object); storage != nullptr) {
            storage->m_likelihood_resolution = 1 << 22;
        }
    }
    EXPECT_THAT(error_of(manager), StartsWith("the container is damaged, or is of another"));
}

TEST(KcDamageTest, BytesOfAKeyAreShownAsNumbers) {
    const qtString key("\0\0\0\x01", 4);

    EXPECT_EQ(explained(qtX<Hpack>(2, "Missing key in index: " + key, {"a.kc", key})),
              "the container is damaged: one of its parts is missing "
              "(Missing key in index: \\x00\\x00\\x00\\x01)");
}

TEST(KcDamageTest, RefusalIsNotReportedAsDamage) {
    EXPECT_EQ(explained(qtX<zeIO>(1, "Not a kc file")), "Not a kc file");
    EXPECT_EQ(explained(qtX<zeLogicalTree>(12, "Cannot delete top node")),
              "Cannot delete top node");
    EXPECT_EQ(explained(qtX<zeWorkflow>(3, "Operation cannot be performed on compact KB")),
              "Operation cannot be performed on compact KB");
}

TEST(KcDamageTest, FailedWorkIsReportedAsAnErrorOfTheFile) {
    EXPECT_EQ(work_on_container("a.kc", [] { return 7; }), 7);
    try {
        work_on_container("a.kc", [] { process_assert("stat_matcher", "file", 1, "function"); });
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(),
                     "a.kc: the container is damaged: a statistical node has no statistical "
                     "classifier (stat_matcher)");
    }
    EXPECT_THROW(work_on_container("a.kc", [] { throw Usage_error("wrong"); }), Usage_error);
    EXPECT_THROW(work_on_container("a.kc", [] { throw qtX<zeWorkflow>(2, "Process interrupted"); }),
                 qtX<zeWorkflow>);
}

// Classifies, explains, shows the tree and the settings, and learns if the container is not
// compact.
void use_file(const std::string& path) {
    const std::unique_ptr<Text_model> model =
        read_model(path, Given_analysis{Analysis_kind::kWords, {}}, nullptr);
    work_on_container(path, [&] {
        model->rank("goal bank soup", 3);
        model->explain("goal price");
        kc_info(*model->manager());
        qtPtrLight<zeManager> manager = model->manager();
        kc_settings(manager);
        view_tree(*manager, "", -1);
    });
    work_on_container(path, [&] {
        if (!model->manager()->m_compact) {
            model->learn({{{"sport"}, "goal team puck"}, {{"weather"}, "rain"}});
        }
    });
}

// If a bit of the file's id has changed, the program does not recognise the file as a container.
bool is_damage_or_refusal(const std::string& text) {
    return text.starts_with("the container is damaged") || text == "Not a kc file";
}

// The errors that are counted here end the program with status 65 or 66. Any other error would end
// it with 70.
TEST(KcDamageTest, EveryChangedBitGivesAnAnswerOrAnErrorOfTheFile) {
    const Scratch_folder folder;
    std::size_t refused = 0;
    std::size_t tried = 0;
    for (const bool is_compact : {false, true}) {
        const std::string file = answering_kc(is_compact);
        for (std::size_t bit = 0; bit < 8 * file.size(); bit += 53) {
            std::string damaged = file;
            damaged[bit / 8] =
                static_cast<char>(static_cast<unsigned char>(damaged[bit / 8]) ^ (1U << (bit % 8)));
            SCOPED_TRACE(testing::Message() << is_compact << ", bit " << bit);
            const std::string path = folder.write("a.kc", damaged);
            ++tried;
            try {
                use_file(path);
            } catch (const Data_error& error) {
                EXPECT_THAT(error.what(), StartsWith(path + ": "));
                EXPECT_TRUE(is_damage_or_refusal(std::string(error.what()).substr(path.size() + 2)))
                    << error.what();
                ++refused;
            } catch (const std::exception& error) {
                ADD_FAILURE() << error.what();
            }
        }
    }
    EXPECT_GT(refused, 100U);
    EXPECT_LT(refused, tried);
}

}  // namespace

}  // namespace zandrel::cli
