// The text form of zeLogicalTree: DumpText, LoadText and the functions that they use.
// Tree_text_test tests single lines.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <array>
#include <cstddef>
#include <fstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"
#include "tests/support/scratch_file.h"

namespace {

constexpr const char* kFullDevice = "/dev/full";  // it can be opened, but no byte can be written

// A line of a node without a name of its own.
std::string line_of(const std::string& level, const std::string& type, const std::string& category,
                    const std::string& rule = "") {
    return level + "\t[" + type + "]\t[Score]\t[]\t[" + category + "]\t[" + rule + "]\n";
}

class zeLogicalTreeTextTest : public testing::Test {
protected:
    std::string Dumped() const {
        const Scratch_file file;
        kc.tree.DumpText(file.path());
        return file.content();
    }

    void Load(std::string_view text) const {
        const Scratch_file file(text);
        kc.tree.LoadText(file.path());
    }

    // Loads a text, checks that its last line is refused and that all lines before it were added,
    // and empties the container for the next text.
    void ExpectRefused(const std::string& before, const std::string& line, int number,
                       const std::string& text, const qtString& argument) {
        SCOPED_TRACE(line);
        const Scratch_file file(before + line);
        EXPECT_QTX_ARGS(kc.tree.LoadText(file.path()), zeLogicalTree, number, text, {argument});
        EXPECT_EQ(Dumped(), before);
        kc.manager.Release();
    }

    unsigned int Id(const qtString& path) const { return kc.tree.FindNodeByPath(path).id; }

    Edited_container kc;
};

TEST_F(zeLogicalTreeTextTest, PutStringPutsTextInBrackets) {
    EXPECT_EQ(kc.tree.PutString("sport"), "[sport]");
    EXPECT_EQ(kc.tree.PutString(""), "[]");
}

TEST_F(zeLogicalTreeTextTest, PutStringWritesOneBlankForEachWhiteSpaceByte) {
    EXPECT_EQ(kc.tree.PutString("a \t\n\v\f\rb"), "[a      b]");
}

TEST_F(zeLogicalTreeTextTest, PutStringChangesNoOtherByte) {
    for (int code = 0; code < 256; ++code) {
        const char byte = static_cast<char>(code);
        if (std::string_view(" \t\n\v\f\r").find(byte) == std::string_view::npos) {
            SCOPED_TRACE(code);

            EXPECT_EQ(kc.tree.PutString(std::string(1, byte)),
                      qtString(std::string{'[', byte, ']'}));
        }
    }
}

TEST_F(zeLogicalTreeTextTest, PutStringDoesNotEscapeBrackets) {
    EXPECT_EQ(kc.tree.PutString("[a]]["), "[[a]][]");
}

TEST_F(zeLogicalTreeTextTest, GetStringReturnsTheTextBetweenTheOuterBrackets) {
    EXPECT_EQ(kc.tree.GetString("[sport]"), "sport");
    EXPECT_EQ(kc.tree.GetString("[]"), "");
    EXPECT_EQ(kc.tree.GetString("[[a]][]"), "[a]][");
    EXPECT_EQ(kc.tree.GetString("[ ]"), " ");
}

TEST_F(zeLogicalTreeTextTest, GetStringRefusesAFieldWithoutBrackets) {
    for (const qtString field : {"", "[", "]", "a", "[a", "a]", "][", " [a]", "[a] "}) {
        SCOPED_TRACE(field.str());

        EXPECT_QTX_ARGS(kc.tree.GetString(field), zeLogicalTree, 1,
                        field.str() + " : invalid input string", {field});
    }
}

TEST_F(zeLogicalTreeTextTest, DumpedTreeHasOneLineForEachNodeParentsFirst) {
    const unsigned int root = kc.Root(ZE_RULE);
    const unsigned int news = kc.Add(root, "news", kAboveOne, ZE_STAT);
    kc.Add(root, "rest", "default");
    const unsigned int sport = kc.Add(news, "sport");
    kc.Add(sport, "golf");
    kc.Add(news, "travel");

    EXPECT_EQ(Dumped(),
              "+\t[Rule]\t[NoScore]\t[]\t[root]\t[]\n"
              "++\t[Stat]\t[NoScore]\t[]\t[news]\t[$a(n) > 1]\n"
              "+++\t[Leaf]\t[Score]\t[]\t[sport]\t[]\n"
              "++++\t[Leaf]\t[Score]\t[]\t[golf]\t[]\n"
              "+++\t[Leaf]\t[Score]\t[]\t[travel]\t[]\n"
              "++\t[Leaf]\t[Score]\t[]\t[rest]\t[default]\n");
}

TEST_F(zeLogicalTreeTextTest, OnlyBitZeroOfTheAttributesIsWritten) {
    const unsigned int root = kc.Root(ZE_STAT);
    zeLogicalNode other = node_to_add(root, "other");
    other.attributes = 0xFE;
    kc.tree.AddLogicalNode(other);
    zeLogicalNode all = node_to_add(root, "all");
    all.attributes = 0xFF;
    kc.tree.AddLogicalNode(all);

    EXPECT_EQ(Dumped(),
              "+\t[Stat]\t[NoScore]\t[]\t[root]\t[]\n"
              "++\t[Leaf]\t[Score]\t[]\t[other]\t[]\n"
              "++\t[Leaf]\t[NoScore]\t[]\t[all]\t[]\n");
}

TEST_F(zeLogicalTreeTextTest, UnknownTypeIsWrittenAsALeaf) {
    const unsigned int root = kc.Root(ZE_STAT);
    kc.tree.GetNodePtr(root)->type = 7;

    EXPECT_EQ(Dumped(), "+\t[Leaf]\t[NoScore]\t[]\t[root]\t[]\n");

    kc.tree.GetNodePtr(root)->type = ZE_STAT;
}

TEST_F(zeLogicalTreeTextTest, NameOtherThanTheCategoryIsWritten) {
    kc.manager.m_compat55 = true;
    zeLogicalNode root = node_to_add(0, "base", "", ZE_STAT);
    root.name = term("top");
    kc.tree.AddLogicalNode(root);

    EXPECT_EQ(Dumped(), "+\t[Stat]\t[Score]\t[top]\t[base]\t[]\n");
}

TEST_F(zeLogicalTreeTextTest, DumpOfAnEmptyTreeIsAnEmptyFile) {
    const Scratch_file file("from before");

    kc.tree.DumpText(file.path());

    EXPECT_EQ(file.content(), "");
}

TEST_F(zeLogicalTreeTextTest, DumpReplacesTheFile) {
    kc.Root(ZE_STAT);
    const Scratch_file file(std::string(1000, 'x'));

    kc.tree.DumpText(file.path());

    EXPECT_EQ(file.content(), "+\t[Stat]\t[NoScore]\t[]\t[root]\t[]\n");
}

TEST_F(zeLogicalTreeTextTest, DumpChangesNothing) {
    const unsigned int root = kc.Root(ZE_STAT);
    kc.Add(root, "sport");
    kc.manager.m_modified = false;
    const Unchanged unchanged(kc.manager);

    Dumped();

    EXPECT_FALSE(kc.manager.m_modified);
}

TEST_F(zeLogicalTreeTextTest, DumpToAPathThatCannotBeOpenedIsRefused) {
    kc.Root(ZE_STAT);
    const qtString folder = testing::TempDir();
    const qtString missing = folder + "/no such folder/tree";

    EXPECT_QTX_ARGS(kc.tree.DumpText(folder), zeLogicalTree, 0, "Can't open file " + folder.str(),
                    {folder});
    EXPECT_QTX_ARGS(kc.tree.DumpText(missing), zeLogicalTree, 0, "Can't open file " + missing.str(),
                    {missing});
    EXPECT_QTX_ARGS(kc.tree.DumpText(""), zeLogicalTree, 0, "Can't open file ", {""});
}

TEST_F(zeLogicalTreeTextTest, DumpToAPathWithAZeroByteTouchesNoFile) {
    const Scratch_file file("from before");
    const qtString path = file.path() + qtString("\0x", 2);

    EXPECT_QTX_ARGS(kc.tree.DumpText(path), zeLogicalTree, 0, "Can't open file " + path.str(),
                    {path});

    EXPECT_EQ(file.content(), "from before");
}

// A short text fails when the file is closed, a long one in the middle.
TEST_F(zeLogicalTreeTextTest, DumpThatCannotBeWrittenCompletelyRaises) {
    const unsigned int root = kc.Root(ZE_STAT);
    EXPECT_QTX_ARGS(kc.tree.DumpText(kFullDevice), zeLogicalTree, 0, "Can't write file /dev/full",
                    {kFullDevice});

    for (int i = 0; i < 2000; ++i) {
        kc.Add(root, "category " + std::to_string(i));
    }
    EXPECT_QTX_ARGS(kc.tree.DumpText(kFullDevice), zeLogicalTree, 0, "Can't write file /dev/full",
                    {kFullDevice});
}

TEST_F(zeLogicalTreeTextTest, RecursiveWriteTextWritesASubtreeAtAnyLevel) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int news = kc.Add(root, "news");
    kc.Add(news, "sport");
    kc.Add(root, "mail");
    const Scratch_file file;
    std::fstream out(file.path().str(), std::ios::out | std::ios::binary);

    kc.tree.RecursiveWriteText(out, news, 3);
    kc.tree.RecursiveWriteText(out, 99, 1);
    kc.tree.RecursiveWriteText(out, 0, 1);
    out.close();

    EXPECT_EQ(file.content(), line_of("+++", "Leaf", "news") + line_of("++++", "Leaf", "sport"));
}

TEST_F(zeLogicalTreeTextTest, LoadedNodesHaveTheFieldsOfTheirLines) {
    Load(
        "+\t[Rule]\t[NoScore]\t[]\t[root]\t[]\n"
        "++\t[Stat]\t[Score]\t[]\t[news]\t[$a(n) > 1]\n"
        "+++\t[Leaf]\t[NoScore]\t[]\t[sport]\t[]\n"
        "++\t[Leaf]\t[Score]\t[mail]\t[mail]\t[$a(n) > 2]\n");

    const zeLogicalNode& root = kc.Node(1);
    EXPECT_EQ(root.parent, 0U);
    EXPECT_EQ(root.type, ZE_RULE);
    EXPECT_EQ(root.attributes, 1);
    EXPECT_EQ(root.category, term("root"));
    EXPECT_EQ(root.name, term("root"));
    EXPECT_EQ(root.rule, "");
    EXPECT_EQ(root.threshold, 0.0);
    EXPECT_EQ(root.note1, "");
    EXPECT_EQ(root.note2, "");
    const zeLogicalNode& news = kc.Node(2);
    EXPECT_EQ(news.parent, 1U);
    EXPECT_EQ(news.type, ZE_STAT);
    EXPECT_EQ(news.attributes, 0);
    EXPECT_EQ(news.category, term("news"));
    EXPECT_EQ(news.name, term("news"));
    EXPECT_EQ(news.rule, kAboveOne);
    const zeLogicalNode& sport = kc.Node(3);
    EXPECT_EQ(sport.parent, 2U);
    EXPECT_EQ(sport.type, ZE_LEAF);
    EXPECT_EQ(sport.attributes, 1);
    const zeLogicalNode& mail = kc.Node(4);
    EXPECT_EQ(mail.parent, 1U);
    EXPECT_EQ(mail.name, term("mail"));
    EXPECT_EQ(mail.rule, kAboveTwo);
    EXPECT_EQ(kc.tree.nodes.size(), 4U);
    EXPECT_EQ(kc.tree.next_id, 4U);
    EXPECT_FALSE(kc.manager.m_compat55);
    EXPECT_TRUE(kc.manager.m_modified);
    EXPECT_EQ(kc.manager.m_root, root.physical_node);
    EXPECT_EQ(kc.Switcher(1).get_rule(kc.Physical(4)), kAboveTwo);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeTextTest, LoadedTreeEqualsOneThatIsBuiltByTheEdits) {
    Edited_container built;
    const unsigned int root = built.Root(ZE_RULE);
    const unsigned int news = built.Add(root, "news", kAboveOne, ZE_STAT);
    built.Add(built.Add(news, "sport"), "golf");
    built.Add(root, "mail", kAboveTwo);
    const Scratch_file file;
    built.tree.DumpText(file.path());

    kc.tree.LoadText(file.path());

    EXPECT_EQ(DumpState(kc.manager), DumpState(built.manager));
}

TEST_F(zeLogicalTreeTextTest, ContainerWithALoadedTreeIsWrittenAndReadBack) {
    const std::string text = line_of("+", "Rule", "root") + line_of("++", "Stat", "a", "1") +
                             line_of("+++", "Leaf", "b") + line_of("++", "Leaf", "c", "0");
    Load(text);
    qtPtr<qtBuffer> buffer;
    kc.manager.Write(buffer, nullptr, nullptr);

    kc.manager.Release();
    kc.manager.Read(buffer, nullptr, nullptr);

    EXPECT_EQ(Dumped(), text);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeTextTest, NodeAfterADeepOneGetsTheParentOfItsLevel) {
    Load(line_of("+", "Stat", "root") + line_of("++", "Leaf", "a") + line_of("+++", "Leaf", "b") +
         line_of("++++", "Leaf", "c") + line_of("+++", "Leaf", "d") + line_of("++", "Leaf", "e") +
         line_of("+++", "Leaf", "f"));

    EXPECT_EQ(Id("root/a/b/c"), 4U);
    EXPECT_EQ(Id("root/a/d"), 5U);
    EXPECT_EQ(Id("root/e"), 6U);
    EXPECT_EQ(Id("root/e/f"), 7U);
}

TEST_F(zeLogicalTreeTextTest, LevelIsTheLengthOfTheFirstFieldWhateverItsCharacters) {
    Load(line_of("x", "Stat", "root") + line_of("12", "Leaf", "a") + line_of("a-]", "Leaf", "b"));

    EXPECT_EQ(Id("root/a/b"), 3U);
}

TEST_F(zeLogicalTreeTextTest, FileWithoutNodesAddsNone) {
    for (const char* const text : {"", "\n", "\r\n\r\n", "\r"}) {
        Load(text);

        EXPECT_TRUE(kc.tree.nodes.empty());
    }
}

TEST_F(zeLogicalTreeTextTest, BlankLinesAreDropped) {
    Load("\n\n" + line_of("+", "Stat", "root") + "\n\n" + line_of("++", "Leaf", "a") + "\n");

    EXPECT_EQ(Dumped(), line_of("+", "Stat", "root") + line_of("++", "Leaf", "a"));
}

TEST_F(zeLogicalTreeTextTest, LinesEndWithCarriageReturnOrLineFeedOrBoth) {
    for (const char* const end : {"\n", "\r\n", "\r", "\r\r\n"}) {
        kc.manager.Release();
        Load(std::string("+\t[Stat]\t[Score]\t[]\t[root]\t[]") + end +
             "++\t[Leaf]\t[Score]\t[]\t[a]\t[]" + end);

        EXPECT_EQ(Dumped(), line_of("+", "Stat", "root") + line_of("++", "Leaf", "a"));
    }
}

TEST_F(zeLogicalTreeTextTest, LastLineNeedsNoEnd) {
    Load("+\t[Stat]\t[Score]\t[]\t[root]\t[]");

    EXPECT_EQ(Id("root"), 1U);
}

TEST_F(zeLogicalTreeTextTest, TabsAtTheEndsOfALineAndSeveralTabsAreAccepted) {
    Load("\t+\t\t[Stat]\t[Score]\t\t\t[]\t[root]\t[]\t\t\n");

    EXPECT_EQ(Dumped(), line_of("+", "Stat", "root"));
}

TEST_F(zeLogicalTreeTextTest, LineWithAnotherNumberOfFieldsIsRefused) {
    const std::string root = line_of("+", "Stat", "root");
    for (const std::string line :
         {"++\t[Leaf]\t[Score]\t\t[a]\t[]", "++", " ", "\t", "++\t[Leaf]\t[Score]\t[]\t[a]",
          "++\t[Leaf]\t[Score]\t[]\t[a]\t[]\t[]", "++ [Leaf] [Score] [] [a] []"}) {
        ExpectRefused(root, line, 1, "Invalid line: " + line, line);
    }
}

TEST_F(zeLogicalTreeTextTest, JumpOfTwoLevelsIsRefused) {
    const std::string root = line_of("+", "Stat", "root");
    const std::string line = "+++\t[Leaf]\t[Score]\t[]\t[a]\t[]";
    ExpectRefused(root, line, 1, "Invalid level: " + line, line);
    ExpectRefused("", "++\t[Stat]\t[Score]\t[]\t[root]\t[]", 1,
                  "Invalid level: ++\t[Stat]\t[Score]\t[]\t[root]\t[]",
                  "++\t[Stat]\t[Score]\t[]\t[root]\t[]");
}

TEST_F(zeLogicalTreeTextTest, UnknownTypeWordIsRefused) {
    const std::string root = line_of("+", "Stat", "root");
    for (const std::string type : {"[leaf]", "Leaf", "[]", "[Leaf] ", "[Other]"}) {
        const std::string line = "++\t" + type + "\t[Score]\t[]\t[a]\t[]";
        ExpectRefused(root, line, 1, "Invalid type: " + line, line);
    }
}

TEST_F(zeLogicalTreeTextTest, UnknownScoreWordIsRefused) {
    const std::string root = line_of("+", "Stat", "root");
    for (const std::string score : {"[score]", "Score", "[]", "[Noscore]", "[1]"}) {
        const std::string line = "++\t[Leaf]\t" + score + "\t[]\t[a]\t[]";
        ExpectRefused(root, line, 1, "Invalid score: " + line, line);
    }
}

TEST_F(zeLogicalTreeTextTest, FieldWithoutBracketsIsRefusedWithTheFieldAsArgument) {
    const std::string root = line_of("+", "Rule", "root");
    ExpectRefused(root, "++\t[Leaf]\t[Score]\t[n\t[a]\t[1]", 1, "[n : invalid input string", "[n");
    ExpectRefused(root, "++\t[Leaf]\t[Score]\t[]\ta]\t[1]", 1, "a] : invalid input string", "a]");
    ExpectRefused(root, "++\t[Leaf]\t[Score]\t[]\t[a]\t1", 1, "1 : invalid input string", "1");
}

TEST_F(zeLogicalTreeTextTest, RuleThatDoesNotCompileIsRefusedWithItsFieldAsArgument) {
    const std::string root = line_of("+", "Rule", "root");
    ExpectRefused(root, "++\t[Leaf]\t[Score]\t[]\t[a]\t[$a(]", 1, "Invalid rule: [$a(]", "[$a(]");
}

TEST_F(zeLogicalTreeTextTest, DefaultIsRefusedLikeAnyTextThatDoesNotCompile) {
    const std::string root = line_of("+", "Rule", "root");
    ExpectRefused(root, "++\t[Leaf]\t[Score]\t[]\t[a]\t[default]", 1, "Invalid rule: [default]",
                  "[default]");
}

// Each line breaks its own rule and all later ones.
TEST_F(zeLogicalTreeTextTest, FirstBrokenRuleOfALineIsReported) {
    const std::string root = line_of("+", "Stat", "root");
    const auto expect = [&](const std::string& line, const std::string& text,
                            const qtString& argument) {
        ExpectRefused(root, line, 1, text, argument);
    };
    expect("++++\t[x]\t[x]\tn\ta", "Invalid line: ++++\t[x]\t[x]\tn\ta", "++++\t[x]\t[x]\tn\ta");
    expect("++++\t[x]\t[x]\tn\ta\tr", "Invalid level: ++++\t[x]\t[x]\tn\ta\tr",
           "++++\t[x]\t[x]\tn\ta\tr");
    expect("++\t[x]\t[x]\tn\ta\tr", "Invalid type: ++\t[x]\t[x]\tn\ta\tr", "++\t[x]\t[x]\tn\ta\tr");
    expect("++\t[Leaf]\t[x]\tn\ta\tr", "Invalid score: ++\t[Leaf]\t[x]\tn\ta\tr",
           "++\t[Leaf]\t[x]\tn\ta\tr");
    expect("++\t[Leaf]\t[Score]\tn\ta\tr", "n : invalid input string", "n");
    expect("++\t[Leaf]\t[Score]\t[]\ta\tr", "a : invalid input string", "a");
    expect("++\t[Leaf]\t[Score]\t[]\t[]\tr", "r : invalid input string", "r");
    expect("++\t[Leaf]\t[Score]\t[]\t[]\t[(]", "Invalid rule: [(]", "[(]");
}

// The errors of AddLogicalNode: the line is not part of them.
TEST_F(zeLogicalTreeTextTest, VerificationOfANodeRaisesItsOwnErrors) {
    const auto expect = [this](const std::string& text, int number, const std::string& message,
                               const std::vector<qtString>& arguments) {
        SCOPED_TRACE(message);
        const Scratch_file file(text);
        EXPECT_TRUE(raises<qtX<zeLogicalTree>>([&] { kc.tree.LoadText(file.path()); }, number,
                                               message, arguments));
        kc.manager.Release();
    };
    const std::string stat = line_of("+", "Stat", "root");
    const std::string rule = line_of("+", "Rule", "root");
    expect(stat + line_of("++", "Leaf", "a") + line_of("++", "Leaf", "a"), 2,
           "a : Category name already in use under the current Principal node", {"a"});
    expect(stat + line_of("+", "Stat", "a"), 4, "More than one node under root", {});
    expect(line_of("+", "Leaf", "root"), 5, "Non-Principal node under root", {});
    expect(line_of("+", "Stat", "root", "1"), 6, "No rule allowed in root node", {});
    expect(stat + line_of("++", "Leaf", "a", "1"), 7,
           "Mixing rules and statistics on the same level", {});
    expect(rule + line_of("++", "Leaf", "a"), 7, "Mixing rules and statistics on the same level",
           {});
    expect(line_of("+", "Stat", ""), 11, "Missing category name", {});
}

TEST_F(zeLogicalTreeTextTest, NodesBeforeABadLineRemain) {
    const Scratch_file file(line_of("+", "Stat", "root") + line_of("++", "Leaf", "a") + "bad\n" +
                            line_of("++", "Leaf", "b"));

    EXPECT_QTX(kc.tree.LoadText(file.path()), zeLogicalTree, 1, "Invalid line: bad");

    EXPECT_EQ(Dumped(), line_of("+", "Stat", "root") + line_of("++", "Leaf", "a"));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeTextTest, FileThatCannotBeReadIsRefused) {
    const qtString folder = testing::TempDir();
    const qtString missing = folder + "/no such file";
    const Unchanged unchanged(kc.manager);

    for (const qtString& path : {folder, missing, qtString(), missing + qtString("\0x", 2)}) {
        EXPECT_QTX_ARGS(kc.tree.LoadText(path), zeLogicalTree, 0, "Can't open file " + path.str(),
                        {path});
    }
}

TEST_F(zeLogicalTreeTextTest, NameOtherThanTheCategorySwitchesToNamesOfTheirOwn) {
    Load(
        "+\t[Stat]\t[Score]\t[]\t[root]\t[]\n"
        "++\t[Leaf]\t[Score]\t[games]\t[sport]\t[]\n"
        "++\t[Leaf]\t[Score]\t[]\t[mail]\t[]\n");

    EXPECT_TRUE(kc.manager.m_compat55);
    EXPECT_EQ(kc.Node(2).name, term("games"));
    EXPECT_EQ(kc.Node(2).category, term("sport"));
    EXPECT_EQ(kc.Node(3).name, term("mail"));
    zeLogicalNode nameless = node_to_add(1, "other");
    EXPECT_QTX(kc.tree.AddLogicalNode(nameless), zeLogicalTree, 0, "Missing node name");
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeTextTest, TextWithoutNamesKeepsNamesOfTheirOwnSwitchedOn) {
    kc.manager.m_compat55 = true;

    Load(line_of("+", "Stat", "root") + line_of("++", "Leaf", "sport"));

    EXPECT_TRUE(kc.manager.m_compat55);
    EXPECT_EQ(kc.Node(2).name, term("sport"));
}

TEST_F(zeLogicalTreeTextTest, NameOfASiblingIsRefusedOnceNamesDiffer) {
    const Scratch_file file(
        "+\t[Stat]\t[Score]\t[top]\t[root]\t[]\n"
        "++\t[Leaf]\t[Score]\t[]\t[sport]\t[]\n"
        "++\t[Leaf]\t[Score]\t[sport]\t[games]\t[]\n");

    EXPECT_QTX_ARGS(kc.tree.LoadText(file.path()), zeLogicalTree, 10,
                    "sport : Node name already in use by a sibling node", {"sport"});
}

TEST_F(zeLogicalTreeTextTest, RefusedLineStillSwitchesToNamesOfTheirOwn) {
    const Scratch_file file("+\t[Stat]\t[Score]\t[top]\t[root]\t[(]\n");

    EXPECT_QTX(kc.tree.LoadText(file.path()), zeLogicalTree, 1, "Invalid rule: [(]");

    EXPECT_TRUE(kc.manager.m_compat55);
}

TEST_F(zeLogicalTreeTextTest, NamelessNodeWithoutACategoryIsRefusedOnceNamesDiffer) {
    const Scratch_file file(
        "+\t[Stat]\t[Score]\t[top]\t[root]\t[]\n"
        "++\t[Leaf]\t[Score]\t[]\t[]\t[]\n");

    EXPECT_QTX_ARGS(kc.tree.LoadText(file.path()), zeLogicalTree, 0, "Missing node name", {});
}

TEST_F(zeLogicalTreeTextTest, TreeWithNodesRefusesTheFirstLineAndIdsContinue) {
    const unsigned int root = kc.Root(ZE_STAT);
    kc.Add(root, "sport");
    const Scratch_file file(line_of("+", "Stat", "other"));

    EXPECT_QTX_ARGS(kc.tree.LoadText(file.path()), zeLogicalTree, 4,
                    "More than one node under root", {});

    EXPECT_EQ(kc.tree.next_id, 2U);
    EXPECT_EQ(kc.Add(root, "mail"), 3U);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeTextTest, EmptyTreeWithAnOldLastIdStartsFromOneAgain) {
    kc.tree.next_id = 7;

    Load("");

    EXPECT_EQ(kc.tree.next_id, 0U);
}

TEST_F(zeLogicalTreeTextTest, NameWithWhiteSpaceIsReadBackWithBlanks) {
    const unsigned int root = kc.Root(ZE_STAT);
    kc.Add(root, "a\tb\nc");

    const std::string text = Dumped();
    EXPECT_EQ(text, "+\t[Stat]\t[NoScore]\t[]\t[root]\t[]\n" + line_of("++", "Leaf", "a b c"));

    kc.manager.Release();
    Load(text);
    EXPECT_EQ(kc.Node(2).category, term("a b c"));
    EXPECT_FALSE(kc.manager.m_compat55);
}

// The name and the category become equal, so the second text has no name.
TEST_F(zeLogicalTreeTextTest, NameThatDiffersFromTheCategoryOnlyInWhiteSpaceIsLost) {
    kc.manager.m_compat55 = true;
    zeLogicalNode root = node_to_add(0, "a b", "", ZE_STAT);
    root.name = term("a\vb");
    kc.tree.AddLogicalNode(root);

    const std::string text = Dumped();
    EXPECT_EQ(text, "+\t[Stat]\t[Score]\t[a b]\t[a b]\t[]\n");

    kc.manager.Release();
    Load(text);
    EXPECT_EQ(Dumped(), "+\t[Stat]\t[Score]\t[]\t[a b]\t[]\n");
}

TEST_F(zeLogicalTreeTextTest, ThresholdsAndNotesAreNotInTheText) {
    const unsigned int root = kc.Root(ZE_STAT);
    zeLogicalNode node = node_to_add(root, "sport");
    node.threshold = 0.5;
    node.note1 = "slow";
    node.note2 = "old";
    kc.tree.AddLogicalNode(node);
    const std::string text = Dumped();

    kc.manager.Release();
    Load(text);

    EXPECT_EQ(kc.Node(2).threshold, 0.0);
    EXPECT_EQ(kc.Node(2).note1, "");
    EXPECT_EQ(kc.Node(2).note2, "");
}

TEST_F(zeLogicalTreeTextTest, OrderOfChildrenIsTheOneOfTheList) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int first = kc.Add(root, "a");
    kc.Add(root, "b");
    kc.Add(root, "c");
    kc.tree.DelLogicalNode(first, true);  // the last child moves into its place

    const std::string text = Dumped();
    EXPECT_EQ(text, "+\t[Stat]\t[NoScore]\t[]\t[root]\t[]\n" + line_of("++", "Leaf", "c") +
                        line_of("++", "Leaf", "b"));

    kc.manager.Release();
    Load(text);
    EXPECT_EQ(Dumped(), text);
}

TEST_F(zeLogicalTreeTextTest, ChildrenThatAMirroredDeletionMovedUpAreWrittenOneLevelHigher) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int news = kc.Add(root, "news");
    kc.Add(news, "sport");
    kc.tree.KCE_Delete(kc.Physical(news));

    EXPECT_EQ(Dumped(), "+\t[Stat]\t[NoScore]\t[]\t[root]\t[]\n" + line_of("++", "Leaf", "sport"));
}

TEST_F(zeLogicalTreeTextTest, NodesInACircleOfListsAreWrittenOnce) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int a = kc.Add(root, "a");
    const unsigned int b = kc.Add(a, "b");
    kc.tree.GetNodePtr(b)->children.push_back(root);
    kc.tree.GetNodePtr(b)->children.push_back(99);

    EXPECT_EQ(Dumped(), "+\t[Stat]\t[NoScore]\t[]\t[root]\t[]\n" + line_of("++", "Leaf", "a") +
                            line_of("+++", "Leaf", "b"));

    kc.tree.GetNodePtr(b)->children.clear();
}

TEST_F(zeLogicalTreeTextTest, ChainOfThousandsOfLevelsIsWrittenAndRead) {
    constexpr std::size_t kDepth = 3000;
    std::string text = line_of("+", "Stat", "root");
    for (std::size_t level = 2; level <= kDepth; ++level) {
        text += line_of(std::string(level, '+'), "Leaf", std::to_string(level));
    }

    Load(text);

    EXPECT_EQ(kc.tree.nodes.size(), kDepth);
    EXPECT_EQ(Dumped(), text);
}

}  // namespace
