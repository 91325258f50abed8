// The export of a container to the older form: rules, profiles, trees, and refusals.
#include "zandrel/export/zeDump5.h"

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/Restored.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/statistics/zeStat_trainer.h"
#include "zandrel/storage/HioErr.h"

#include "tests/export/kb_reader.h"
#include "tests/support/cached_kc.h"
#include "tests/support/document_bytes.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/small_model.h"
#include "tests/support/trained_tree.h"

namespace {

std::string exported(zeManager& manager, bool zero_scores = false) {
    qtBuffer buffer;
    zeDump5(&manager).Dump(buffer, zero_scores);
    return {buffer.bytes.begin(), buffer.bytes.end()};
}

std::string outline_of(zeManager& manager, bool zero_scores = false) {
    return read_kb(exported(manager, zero_scores)).outline();
}

// Builds containers with the logical tree.
struct Kb_source {
    explicit Kb_source(unsigned char root_type) {
        manager.m_defaults = plain_settings();
        manager.m_defaults.profile_size = 5;
        manager.m_defaults.use_normalization = false;
        root = add(0, "root", root_type);
    }

    unsigned int add(unsigned int parent, std::string_view category, unsigned char type,
                     std::string_view rule = "") {
        zeLogicalNode node;
        node.parent = parent;
        node.category = term(category);
        node.name = manager.m_compat55 ? term("name of " + std::string(category)) : Concept();
        node.type = type;
        node.rule = rule;
        return manager.m_logical_tree->AddLogicalNode(node);
    }

    zeNode* physical(unsigned int id) { return manager.m_logical_tree->GetNode(id).physical_node; }

    zeStat_matcher& matcher(unsigned int id) {
        return dynamic_cast<zeStat_matcher&>(
            *manager.m_physical_tree->get_classifier(physical(id)));
    }

    // Two messages with "goal" of x, and two with "bank" of y, below a statistical node.
    void train(unsigned int id, unsigned int x, unsigned int y) {
        Small_corpus corpus;
        for (int i = 0; i < 2; ++i) {
            corpus.add(MessageBuilder().bag({{"goal", 4.0}}), {physical(x)});
            corpus.add(MessageBuilder().bag({{"bank", 4.0}}), {physical(y)});
        }
        matcher(id).train(corpus.view);
    }

    zeManager manager;
    unsigned int root;
};

// The container of the worked example in the document.
struct Example_source : Kb_source {
    Example_source() : Kb_source(ZE_RULE) {
        mail = add(root, "mail", ZE_STAT, "parent_score > 0.5");
        x = add(mail, "x", ZE_LEAF);
        y = add(mail, "y", ZE_LEAF);
        train(mail, x, y);
    }

    unsigned int mail;
    unsigned int x;
    unsigned int y;
};

// A trained News_desk without its default category, which cannot be exported.
struct Exported_desk : Trained_desk {
    Exported_desk() { manager.m_logical_tree->DelLogicalNode(News_desk::kBin, true); }

    zeStat_storage& storage_of(unsigned int id) {
        return *dynamic_cast<zeStat_matcher&>(*desk.Node(id).physical_node->m_classifier).m_storage;
    }
};

// --- texts ---

TEST(zeDump5Test, ConvertStrReplacesFromLeftToRight) {
    const struct {
        const char* text;
        const char* from;
        const char* to;
        const char* expected;
    } rows[] = {
        {"aaa", "aa", "b", "ba"},    {"aaaa", "aa", "b", "bb"}, {"abab", "ab", "abab", "abababab"},
        {"abc", "b", "", "ac"},      {"abc", "x", "y", "abc"},  {"", "x", "y", ""},
        {"abc", "abc", "d", "d"},    {"ab", "abc", "d", "ab"},  {"aab", "ab", "b", "ab"},
        {"x.x", "x", "xx", "xx.xx"}, {"abc", "", "y", "abc"},   {"", "", "y", ""},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(zeDump5::ConvertStr(row.text, row.from, row.to), row.expected) << row.text;
    }
    EXPECT_EQ(zeDump5::ConvertStr(qtString("a\0b\0", 4), qtString("\0", 1), "-"), "a-b-");
}

TEST(zeDump5Test, ConvertRuleKnowsOnlyTheOlderWord) {
    EXPECT_EQ(zeDump5::ConvertRule("parent_score > 0.5 & $a(?)", false),
              "stat_matching > 0.5 & $a(?)");
    EXPECT_EQ(zeDump5::ConvertRule("stat_matching + parent_score", false),
              "stat_matching + stat_matching");
    EXPECT_EQ(zeDump5::ConvertRule("1", false), "1");
}

TEST(zeDump5Test, ConvertRuleWithTheFlagWritesZeroForBothWords) {
    EXPECT_EQ(zeDump5::ConvertRule("stat_matching + parent_score > 1", true), "0 + 0 > 1");
}

TEST(zeDump5Test, ConvertRuleReplacesWithinOtherWordsToo) {
    EXPECT_EQ(zeDump5::ConvertRule("\"parent_score\" | $my_parent_score2(n)", false),
              "\"stat_matching\" | $my_stat_matching2(n)");
}

// --- files ---

TEST(zeDump5Test, DocumentShowsTheExportedFile) {
    Example_source source;
    EXPECT_EQ(to_hex(exported(source.manager)),
              to_hex(bytes_of_block(ZANDREL_KNOWLEDGE_BASE_DOCUMENT, "hexkb")));
}

TEST(zeDump5Test, FileAndBufferHaveTheSameBytes) {
    Exported_desk source;
    const Scratch_file file("old content");
    zeDump5(&source.manager).Dump(file.path(), false);

    EXPECT_TRUE(same_bytes(file.content(), exported(source.manager)));
}

TEST(zeDump5Test, FlagOfDumpCountsForAllRules) {
    Kb_source source(ZE_RULE);
    source.add(source.root, "a", ZE_LEAF, "parent_score > 0.5");
    const unsigned int b = source.add(source.root, "b", ZE_RULE, "1");
    source.add(b, "c", ZE_LEAF, "stat_matching");
    EXPECT_EQ(outline_of(source.manager, false),
              "root\n a [stat_matching > 0.5]\n b [1]\n  c [stat_matching]\n");
    EXPECT_EQ(outline_of(source.manager, true), "root\n a [0 > 0.5]\n b [1]\n  c [0]\n");
    const Scratch_file file;
    zeDump5(&source.manager).Dump(file.path(), true);
    EXPECT_EQ(read_kb(file.content()).outline(), outline_of(source.manager, true));
}

TEST(zeDump5Test, DumpReplacesTheBytesOfABuffer) {
    Example_source source;
    qtBuffer buffer;
    buffer.bytes.assign(100000, 'x');
    zeDump5(&source.manager).Dump(buffer, false);

    EXPECT_EQ(std::string(buffer.bytes.begin(), buffer.bytes.end()), exported(source.manager));
}

TEST(zeDump5Test, SecondDumpOfOneObjectReplacesTheFirst) {
    Exported_desk source;
    zeDump5 dump(&source.manager);
    qtBuffer once;
    qtBuffer twice;
    dump.Dump(once, true);
    dump.Dump(twice, false);

    EXPECT_EQ(std::string(twice.bytes.begin(), twice.bytes.end()), exported(source.manager));
}

TEST(zeDump5Test, FileThatCannotBeOpenedIsReported) {
    Example_source source;
    EXPECT_QTX_ARGS(zeDump5(&source.manager).Dump("/nowhere/at/all.kb", false), HioErr,
                    HioErr::kOpenFailed, "Cannot open file: /nowhere/at/all.kb",
                    {"/nowhere/at/all.kb"});
}

TEST(zeDump5Test, HeaderNamesWindows1252AndTextsAreUnchanged) {
    Kb_source source(ZE_RULE);
    const std::string name = "\xC3\xA4\xFF/\\\t\n\"[]\x01";
    source.add(source.root, name, ZE_LEAF, "\"caf\xC3\xA9\" | \"\xE9\"");
    const Kb_file file = read_kb(exported(source.manager));

    EXPECT_EQ(file.encoding, "Windows-1252");
    EXPECT_EQ(file.outline(), "root\n " + name + " [\"caf\xC3\xA9\" | \"\xE9\"]\n");
}

TEST(zeDump5Test, NameWithAZeroByteIsWrittenWhole) {
    zeManager manager;
    manager.m_root =
        manager.m_physical_tree->MakeNode(term(std::string_view("a\0b", 3)), ZE_RULE, 0, 0.0);
    EXPECT_EQ(outline_of(manager), std::string("a\0b\n", 4));
}

// --- profiles ---

// The rates of x: in the category 1 for "goal" and 0 for "bank". Outside they are 0 and 1, but for
// "goal" at least 1/8: a concept seen once, of the weights 16, in half of the messages. So the
// weights are ln(1/2 : 1/8) = 2 ln 2 and ln(1/2 : 1) = -ln 2. The sums over both concepts of weight
// times rate are 2 ln 2 inside, and 2 ln 2 / 8 - ln 2 = -3/4 ln 2 outside. So M is
// (2 - 3/4) : (-3/4 - 2) = -5/11, and the weights are multiplied by 2 : (2 + 3/4).
TEST(zeDump5Test, NormalisedWeightsAreThoseWorkedOutByHand) {
    Kb_source source(ZE_STAT);
    const unsigned int x = source.add(source.root, "x", ZE_LEAF);
    const unsigned int y = source.add(source.root, "y", ZE_LEAF);
    source.matcher(source.root).m_storage->m_use_normalization = true;
    source.matcher(source.root).m_storage->m_use_new_ZC = false;
    source.train(source.root, x, y);

    const Kb_profile profile = read_kb(exported(source.manager)).profile_of("x");
    EXPECT_EQ(profile.name, "x");
    EXPECT_EQ(profile.size, 5);
    EXPECT_EQ(profile.num_msgs, 2);
    EXPECT_EQ(profile.weight, 2.0);
    EXPECT_NEAR(profile.M, -5.0 / 11, 1e-12);
    ASSERT_EQ(profile.concepts.size(), 2U);
    EXPECT_EQ(profile.concepts[0].first, "bank");
    EXPECT_NEAR(static_cast<double>(profile.concepts[0].second), -8.0 / 11, 1e-6);
    EXPECT_EQ(profile.concepts[1].first, "goal");
    EXPECT_NEAR(static_cast<double>(profile.concepts[1].second), 16.0 / 11, 1e-6);
}

TEST(zeDump5Test, ConvertProfileCopiesTheLikelihoodTableAndReplacesAll) {
    Example_source source;
    zeStat_storage& storage = *source.matcher(source.mail).m_storage;
    storage.set_use_train_likelihood(true);
    storage.profile(1).m_likelihood[3] = 0.75;
    storage.profile(1).m_M = 0.5;
    storage.profile(1).m_weights = {{term("b"), 1.0F}, {term("a"), -1.0F}, {term("\xFF"), 2.0F}};
    Profile profile;
    profile.name = "old";
    profile.weights = {{"old", 1.0F}};
    zeDump5::convert_profile(storage, 1, profile);

    EXPECT_EQ(profile.name, "y");
    EXPECT_EQ(profile.M, 0.5);
    EXPECT_EQ(profile.weights,
              (std::vector<Profile::Weight>{{"a", -1.0F}, {"b", 1.0F}, {"\xFF", 2.0F}}));
    EXPECT_EQ(profile.likelihood[2], 0.0);
    EXPECT_EQ(profile.likelihood[3], 0.75);

    // A model whose tables are switched off has them in memory, but a file does not.
    storage.set_use_train_likelihood(false);
    zeDump5::convert_profile(storage, 1, profile);
    EXPECT_EQ(profile.likelihood[3], 0.0);
}

TEST(zeDump5Test, CategoryWithoutMessagesHasAProfileWithoutConcepts) {
    Kb_source source(ZE_STAT);
    source.add(source.root, "x", ZE_LEAF);
    const Kb_file file = read_kb(exported(source.manager));

    EXPECT_EQ(file.outline(), "root\n x *\n");
    EXPECT_EQ(file.profile_of("x").num_msgs, 0);
    EXPECT_TRUE(file.profile_of("x").concepts.empty());
}

TEST(zeDump5Test, CategoryThatHasLostItsNodeIsLeftOut) {
    Example_source source;
    source.matcher(source.mail).m_storage->profile(0).m_node = nullptr;
    EXPECT_EQ(outline_of(source.manager), "root\n mail [stat_matching > 0.5]\n  y *\n");
}

// --- trees ---

TEST(zeDump5Test, ContainerWithoutNodesGivesARootWithoutName) {
    zeManager manager;
    EXPECT_EQ(outline_of(manager), "\n");
}

TEST(zeDump5Test, RootsWithoutChildrenAreExported) {
    Kb_source rules(ZE_RULE);
    EXPECT_EQ(outline_of(rules.manager), "root\n");
    Kb_source statistics(ZE_STAT);
    EXPECT_EQ(outline_of(statistics.manager), "root\n");
    rules.manager.m_physical_tree->delete_classifier(rules.manager.m_root);
    EXPECT_EQ(outline_of(rules.manager), "root\n");
}

TEST(zeDump5Test, NestedClassifiersAreConvertedBelowTheirNodes) {
    Exported_desk source;
    EXPECT_EQ(outline_of(source.manager),
              "desk\n"
              " shop *\n"
              " press *\n"
              "  home [$home(?)]\n"
              "   sport *\n"
              "   money *\n"
              "  world [$world(?)]\n"
              "   travel *\n"
              "   food *\n");
}

TEST(zeDump5Test, ChildrenOfARuleNodeComeByTheirIds) {
    Kb_source source(ZE_RULE);
    std::string expected = "root\n";
    for (int i = 0; i < 50; ++i) {
        const std::string name = "n" + std::to_string(99 - i);
        source.add(source.root, name, ZE_LEAF, "1");
        expected += " " + name + " [1]\n";
    }
    EXPECT_EQ(outline_of(source.manager), expected);
}

TEST(zeDump5Test, InternalChildGivesItsCategoriesToItsParent) {
    Kb_source source(ZE_RULE);
    source.add(source.root, "a", ZE_LEAF, "1");
    const unsigned int internal = source.add(source.root, "_Internal", ZE_STAT, "parent_score");
    const unsigned int x = source.add(internal, "x", ZE_LEAF);
    const unsigned int y = source.add(internal, "y", ZE_LEAF);
    source.train(internal, x, y);
    source.add(source.root, "b", ZE_LEAF, "2");
    const Kb_file file = read_kb(exported(source.manager));

    EXPECT_EQ(file.outline(), "root\n a [1]\n x *\n y *\n b [2]\n");
    EXPECT_EQ(file.profile_of("y").concepts.size(), 2U);
}

TEST(zeDump5Test, InternalRuleNodesInEachOtherGiveTheirRulesToTheFirstOtherNode) {
    Kb_source source(ZE_RULE);
    const unsigned int outer = source.add(source.root, "_Internal", ZE_RULE, "1");
    const unsigned int inner = source.add(outer, "_Internal", ZE_RULE, "2");
    source.add(inner, "a", ZE_LEAF, "3");
    EXPECT_EQ(outline_of(source.manager), "root\n a [3]\n");
}

TEST(zeDump5Test, InternalLeafAddsNothing) {
    Kb_source source(ZE_RULE);
    source.add(source.root, "_Internal", ZE_LEAF, "1");
    source.add(source.root, "_internal", ZE_LEAF, "1");
    EXPECT_EQ(outline_of(source.manager), "root\n _internal [1]\n");
}

TEST(zeDump5Test, InternalCategoryOfAStatisticalNodeIsExportedLikeOthers) {
    Kb_source source(ZE_STAT);
    source.add(source.root, "_Internal", ZE_LEAF);
    EXPECT_EQ(outline_of(source.manager), "root\n _Internal *\n");
}

TEST(zeDump5Test, InternalIsTheCategoryAndNotTheName) {
    Kb_source source(ZE_RULE);
    source.manager.m_compat55 = true;
    const unsigned int internal = source.add(source.root, "_Internal", ZE_STAT, "1");
    source.add(internal, "x", ZE_LEAF);
    ASSERT_EQ(source.manager.m_logical_tree->GetNode(internal).name, term("name of _Internal"));
    EXPECT_EQ(outline_of(source.manager), "root\n x *\n");
}

TEST(zeDump5Test, StepsAddToTheGivenNode) {
    Example_source source;
    zeDump5 dump(&source.manager);
    HierarchicalMapingNode target("t");
    auto& switcher = dynamic_cast<zeSwitcher&>(*source.manager.GetRootClassifier());
    dump.DumpSwitcher(&switcher, &target);
    dump.DumpStatMatcher(&source.matcher(source.mail), &target);
    HierarchicalMapingNode* const added =
        zeDump5::AddRule("rule", source.physical(source.mail), target.children()[0].get());

    ASSERT_EQ(target.children().size(), 3U);  // mail, x, y
    EXPECT_EQ(target.children()[0]->children().size(), 3U);
    EXPECT_EQ(target.children()[2]->profile, 3);
    EXPECT_EQ(added->rule, "rule");
    EXPECT_EQ(added->name, "mail");
}

TEST(zeDump5Test, DumpClassifierTakesBothKinds) {
    Example_source source;
    zeDump5 dump(&source.manager);
    HierarchicalMapingNode target("t");
    dump.DumpClassifier(source.manager.GetRootClassifier(), &target);
    dump.DumpClassifier(&source.matcher(source.mail), &target);
    EXPECT_EQ(target.children().size(), 3U);
    EXPECT_EQ(dump.m_group.profiles.size(), 4U);
}

TEST(zeDump5Test, DeepTreeIsExportedWithoutRecursion) {
    constexpr int kLevels = 100000;
    zeManager manager;
    zeNode* node = manager.m_physical_tree->MakeNode(term("n"), ZE_RULE, 0, 0.0);
    manager.m_root = node;
    for (int level = 1; level < kLevels; ++level) {
        zeNode* child = manager.m_physical_tree->MakeNode(term("n"), ZE_RULE, 0, 0.0);
        dynamic_cast<zeSwitcher&>(*node->m_classifier).add_rule(child, "1");
        node = child;
    }
    const Kb_file file = read_kb(exported(manager));

    ASSERT_EQ(file.nodes.size(), static_cast<std::size_t>(kLevels));
    EXPECT_EQ(file.nodes.front(), (Kb_node{"n", "", -1, 1}));
    EXPECT_EQ(file.nodes.back(), (Kb_node{"n", "1", -1, 0}));
}

TEST(zeDump5Test, ExportOfACircleOfNodesEnds) {
    zeManager manager;
    zeNode* const a = manager.m_physical_tree->MakeNode(term("a"), ZE_RULE, 0, 0.0);
    zeNode* b = manager.m_physical_tree->MakeNode(term("b"), ZE_STAT, 0, 0.0);
    zeNode* again = a;
    manager.m_root = a;
    dynamic_cast<zeSwitcher&>(*a->m_classifier).add_rule(b, "1");
    dynamic_cast<zeStat_matcher&>(*b->m_classifier).add_cat(again);
    EXPECT_EQ(outline_of(manager), "a\n b [1]\n  a *\n");
}

// --- refusals ---

TEST(zeDump5Test, DefaultCategoryIsRefusedWithTheNameOfItsParent) {
    const Stopped_clock clock;
    Trained_desk source;
    const Scratch_file file("old content");
    const std::string before = saved(source.manager);
    zeDump5 dump(&source.manager);
    EXPECT_QTX_ARGS(dump.Dump(file.path(), false), zeDump5, 0,
                    "press Has a default category; conversion not possible", {"press"});

    EXPECT_EQ(file.content(), "old content");
    EXPECT_TRUE(dump.m_group.profiles.empty());
    EXPECT_TRUE(dump.m_group.maping.root().children().empty());
    EXPECT_TRUE(same_bytes(saved(source.manager), before));
}

TEST(zeDump5Test, DefaultCategoryBelowAnInternalNodeIsRefused) {
    Kb_source source(ZE_RULE);
    const unsigned int internal = source.add(source.root, "_Internal", ZE_RULE, "1");
    source.add(internal, "other", ZE_LEAF, "default");
    EXPECT_QTX_ARGS(exported(source.manager), zeDump5, 0,
                    "_Internal Has a default category; conversion not possible", {"_Internal"});
}

TEST(zeDump5Test, SwitcherWithoutNodeIsRefusedWithoutName) {
    zeManager manager;
    zeSwitcher switcher(nullptr, nullptr);
    zeNode other(term("other"));
    switcher.m_default = &other;
    HierarchicalMapingNode target("t");
    EXPECT_QTX_ARGS(zeDump5(&manager).DumpSwitcher(&switcher, &target), zeDump5, 0,
                    " Has a default category; conversion not possible", {""});
}

TEST(zeDump5Test, EqualRuleNamesThatComeTogetherAreRefused) {
    Kb_source source(ZE_RULE);
    const unsigned int internal = source.add(source.root, "_Internal", ZE_RULE, "1");
    source.add(internal, "a", ZE_LEAF, "2");
    source.add(source.root, "a", ZE_LEAF, "3");
    zeDump5 dump(&source.manager);
    EXPECT_QTX_ARGS(dump.ConvertToKB(), zeDump5, 1, "Can't add child", {"a"});

    EXPECT_TRUE(dump.m_group.maping.root().children().empty());
}

TEST(zeDump5Test, EqualCategoriesThatComeTogetherAreRefused) {
    Kb_source source(ZE_RULE);
    source.add(source.root, "x", ZE_LEAF, "1");
    const unsigned int internal = source.add(source.root, "_Internal", ZE_STAT, "2");
    source.add(internal, "x", ZE_LEAF);
    EXPECT_QTX_ARGS(exported(source.manager), zeDump5, 1, "Can't add child", {"x"});
}

TEST(zeDump5Test, AddingARuleTwiceIsRefused) {
    zeNode node(term("a"));
    HierarchicalMapingNode target("t");
    zeDump5::AddRule("1", &node, &target);
    EXPECT_QTX_ARGS(zeDump5::AddRule("2", &node, &target), zeDump5, 1, "Can't add child", {"a"});

    ASSERT_EQ(target.children().size(), 1U);
    EXPECT_EQ(target.children()[0]->rule, "1");
}

TEST(zeDump5Test, CompactContainerIsRefused) {
    Exported_desk source;
    zeManager compact;
    read_kc(compact, saved_compact(source.manager));
    const Scratch_file file("old content");
    EXPECT_QTX_ARGS(zeDump5(&compact).Dump(file.path(), false), zeDump5, 2,
                    "Operation cannot be performed on compact KB", {});

    EXPECT_EQ(file.content(), "old content");
}

// --- the container afterwards ---

TEST(zeDump5Test, ContainerWrittenAfterAnExportIsTheSame) {
    const Stopped_clock clock;
    for (const bool normalizes : {false, true}) {
        Exported_desk source;
        source.desk.Learn();
        source.storage_of(News_desk::kDesk).m_use_normalization = normalizes;
        source.manager.m_modified = false;
        const std::string before = saved(source.manager);
        const std::string state = DumpState(source.manager);
        const std::string once = exported(source.manager);

        EXPECT_EQ(DumpState(source.manager), state);
        EXPECT_TRUE(same_bytes(exported(source.manager), once));
        EXPECT_TRUE(same_bytes(saved(source.manager), before));
        EXPECT_FALSE(source.manager.m_modified);
    }
}

TEST(zeDump5Test, WeightsThatWaitForTheMatcherRemain) {
    Example_source source;
    zeStat_storage& storage = *source.matcher(source.mail).m_storage;
    storage.profile(0).m_weights = {{term("waiting"), 3.0F}};
    storage.profile(0).m_M = 7.0;
    storage.profile(0).m_selection_mark = 255;
    P_of(storage, 0, "goal").m_selected = 9;
    storage.m_dirty = false;
    const std::string file = exported(source.manager);

    // The profile without normalisation has M 0, whatever it was before.
    EXPECT_EQ(file, bytes_of_block(ZANDREL_KNOWLEDGE_BASE_DOCUMENT, "hexkb"));
    ASSERT_EQ(storage.profile(0).m_weights.size(), 1U);
    EXPECT_EQ(storage.profile(0).m_weights[0].m_concept, term("waiting"));
    EXPECT_EQ(storage.profile(0).m_weights[0].m_value, 3.0F);
    EXPECT_EQ(storage.profile(0).m_M, 7.0);
    EXPECT_EQ(storage.profile(0).m_selection_mark, 255);
    EXPECT_EQ(P_of(storage, 0, "goal").m_selected, 9);
    EXPECT_TRUE(storage.profile(1).m_weights.empty());
    EXPECT_FALSE(storage.m_dirty);
}

TEST(zeDump5Test, InterruptionLeavesTheContainerAsItWas) {
    const Stopped_clock clock;
    Exported_desk source;
    const std::string before = saved(source.manager);
    Interrupt_at never(0);
    {
        const zandrel::detail::Restored<CTProgress*> at_end(source.manager.m_progress, &never);
        exported(source.manager);
    }
    ASSERT_GT(never.polls, 8);  // classifiers and profiles
    for (int poll = 1; poll <= never.polls; ++poll) {
        Interrupt_at progress(poll);
        zeDump5 dump(&source.manager);
        const zandrel::detail::Restored<CTProgress*> at_end(source.manager.m_progress, &progress);
        EXPECT_QTX(dump.ConvertToKB(), zeWorkflow, 2, "Process interrupted");
        EXPECT_TRUE(dump.m_group.profiles.empty());
        EXPECT_TRUE(same_bytes(saved(source.manager), before));
    }
}

TEST(zeDump5Test, LoadedContainerGivesTheSameFile) {
    const Stopped_clock clock;
    Exported_desk source;
    const std::string file = saved(source.manager);
    zeManager loaded;
    read_kc(loaded, file);
    KcIoMode mode;
    mode.for_classifying = true;
    zeManager classifying;
    read_kc(classifying, file, &mode);
    const std::string expected = exported(source.manager);

    EXPECT_TRUE(same_bytes(exported(loaded), expected));
    EXPECT_TRUE(same_bytes(exported(classifying), expected));
    EXPECT_TRUE(same_bytes(saved(classifying), file));
}

TEST(zeDump5Test, CachedContainerGivesTheSameFileWithAnyBound) {
    Exported_desk source;
    const std::string expected = exported(source.manager);
    const Scratch_file file;
    write_cached(source.manager, file.path());
    const std::string before = file.content();
    for (const unsigned int bound : {1U, 2U, 20U}) {
        zeManager manager;
        read_cached(manager, file.path(), bound, true);
        EXPECT_TRUE(same_bytes(exported(manager), expected)) << bound;
        EXPECT_FALSE(manager.m_modified);
    }
    EXPECT_TRUE(same_bytes(file.content(), before));
}

}  // namespace
