// Files of version 1, which the library no longer writes. Their records name nodes by their
// concepts, and a leaf may have several parents. The test builds a file from the tables of the
// format.
#include "zandrel/persistence/zeIO.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"
#include "tests/support/kc_damage.h"
#include "tests/support/kc_file.h"
#include "tests/support/logical_tree.h"
#include "tests/support/news_desk.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

// Builds a record; numbers have the highest byte first.
class Record {
public:
    Record& u32(std::uint32_t number) { return put(number, 4); }

    Record& byte(unsigned int number) { return put(number, 1); }

    Record& f32(float number) { return put(std::bit_cast<std::uint32_t>(number), 4); }

    Record& f64(double number) { return put(std::bit_cast<std::uint64_t>(number), 8); }

    Record& text(std::string_view bytes) {
        u32(static_cast<std::uint32_t>(bytes.size()));
        m_bytes += bytes;
        return *this;
    }

    Record& texts(const std::vector<const char*>& list) {
        u32(static_cast<std::uint32_t>(list.size()));
        for (const char* each : list) {
            text(each);
        }
        return *this;
    }

    Record& numbers(const std::vector<std::uint32_t>& list) {
        u32(static_cast<std::uint32_t>(list.size()));
        for (const std::uint32_t each : list) {
            u32(each);
        }
        return *this;
    }

    Record& zeros(std::size_t count) {
        m_bytes.append(count, '\0');
        return *this;
    }

    const std::string& bytes() const { return m_bytes; }

private:
    Record& put(std::uint64_t number, unsigned int byte_count) {
        while (byte_count-- > 0) {
            m_bytes += static_cast<char>(static_cast<unsigned char>(number >> (8 * byte_count)));
        }
        return *this;
    }

    std::string m_bytes;
};

constexpr float kThreshold = 0.0625F;  // of all nodes

struct Physical_node {
    const char* name;
    bool is_scored;
    unsigned int type;
    unsigned int classifier;
    unsigned int id;
    std::vector<const char*> children;
    std::vector<const char*> parents;
};

struct Logical_node {
    unsigned int id;
    unsigned int type;
    unsigned int parent;
    std::vector<std::uint32_t> children;
    const char* category;
    const char* rule;
    bool is_scored;
};

// The nodes 1 root, 2 news, 3 sport, 4 shared, 5 mix, 6 bin:
//
//     root (statistics) - news (statistics) - sport, shared
//                       - mix (rules) - shared, bin
const std::vector<Physical_node> kPhysicalNodes = {
    {"root", false, 2, 2, 1, {"news", "mix"}, {}},
    {"news", false, 2, 4, 2, {"sport", "shared"}, {"root"}},
    {"sport", true, 0, 0, 3, {}, {"news"}},
    {"shared", true, 0, 0, 4, {}, {"news", "mix"}},
    {"mix", false, 1, 5, 5, {"shared", "bin"}, {"root"}},
    {"bin", false, 0, 0, 6, {}, {"mix"}},
};

const std::vector<Logical_node> kLogicalNodes = {
    {1, 2, 0, {2, 5}, "root", "", false},   {2, 2, 1, {3, 4}, "news", "", false},
    {3, 0, 2, {}, "sport", "", true},       {4, 0, 2, {}, "shared", "", true},
    {5, 1, 1, {6, 7}, "mix", "", false},    {6, 0, 5, {}, "shared", "$mark(?)", true},
    {7, 0, 5, {}, "bin", "default", false},
};

void write_physical_tree(Record& record) {
    record.u32(static_cast<std::uint32_t>(kPhysicalNodes.size()));
    for (const Physical_node& node : kPhysicalNodes) {
        record.text(node.name).byte(node.is_scored ? 7 : 0).byte(node.type);
        record.u32(node.classifier).u32(node.id).f32(kThreshold);
        record.texts(node.children).texts(node.parents);
    }
}

void write_logical_tree(Record& record) {
    record.u32(0xDEADBEEF);  // ignored
    record.u32(static_cast<std::uint32_t>(kLogicalNodes.size()));
    for (const Logical_node& node : kLogicalNodes) {
        record.u32(node.id).u32(node.type).u32(node.parent).numbers(node.children);
        record.text(node.category).text("").text(node.rule);
        record.byte(node.is_scored ? 1 : 0).f32(kThreshold).text("note of").text(node.category);
    }
}

void write_settings(Record& record) {
    record.u32(77).text("root").zeros(8).zeros(8).u32(100).byte(1).byte(0);
    record.u32(20).u32(80).f64(5.0).byte(0).byte(1).u32(0);
    record.byte(0).byte(0).u32(1).byte(1).byte(0).u32(0).u32(10).f64(2.75).u32(1000).u32(2000);
    record.byte(10).f64(1.1).u32(1).u32(0).u32(1).f64(30.0).f64(100.0).f64(10000.0).f64(6.0);
    record.byte(1).byte(0).byte(0).byte(1).f64(10.0).u32(4000).zeros(185);
    record.f64(1.0).f64(5.0).f64(3.0).f64(3.0);
}

std::string manager_record() {
    Record record;
    write_physical_tree(record);
    write_logical_tree(record);
    write_settings(record);
    record.u32(5).text("root");
    return record.bytes();
}

std::string switcher_record() {
    Record record;
    record.u32(1).u32(5).text("mix").text("bin").u32(1).text("shared").text("$mark(?)");
    return record.bytes();
}

// Each word belongs to only one category, with the weight 0.25.
std::string matcher_record(unsigned int id, const char* node, unsigned int storage,
                           const std::vector<const char*>& words) {
    Record record;
    record.u32(2).u32(id).text(node).u32(static_cast<std::uint32_t>(words.size()));
    for (std::uint32_t i = 0; i < words.size(); ++i) {
        record.text(words[i]).u32(1).f32(0.25F).u32(i);
    }
    return record.u32(storage).bytes();
}

// Version 1 has neither the age of a likelihood table nor the reserved number.
void write_profile(Record& record, const char* category, const char* word) {
    record.u32(1000).f64(-0.125).u32(1).f64(123.0).byte(1).f64(1.0).f64(1.0);
    record.text(category).u32(0).u32(0).u32(1).text(word).f64(1.0).byte(1).byte(5);
}

std::string storage_record(unsigned int id, const std::vector<const char*>& categories,
                           const std::vector<const char*>& words) {
    Record record;
    record.u32(3).u32(id).byte(0).byte(0).byte(1).byte(0).u32(0).u32(1).u32(10).u32(2);
    record.f64(0.0).u32(1000).u32(2000).byte(10).f64(1.1).u32(0).u32(1).u32(1);
    record.f64(30.0).f64(100.0).f64(10000.0).f64(6.0).byte(1).f64(2.0).f64(2.0).f64(2.0);
    record.byte(0).byte(0).byte(1).f64(10.0).u32(4000).zeros(185);
    record.f64(1.0).f64(5.0).f64(3.0).f64(3.0);
    const auto count = static_cast<std::uint32_t>(categories.size());
    record.u32(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        record.text(categories[i]).u32(i);
    }
    record.u32(count);
    for (const char* word : words) {
        record.text(word).f64(1.0).f64(1.0).u32(1);
    }
    record.u32(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        write_profile(record, categories[i], words[i]);
    }
    return record.bytes();
}

Kc_items items_of_v1() {
    Kc_items items;
    items.version = 1;
    items.records[object_key(1)] = storage_record(1, {"news", "mix"}, {"goal", "soup"});
    items.records[object_key(2)] = matcher_record(2, "root", 1, {"goal", "soup"});
    items.records[object_key(3)] = storage_record(3, {"sport", "shared"}, {"goal", "talk"});
    items.records[object_key(4)] = matcher_record(4, "news", 3, {"goal", "talk"});
    items.records[object_key(5)] = switcher_record();
    items.records[kManagerRecord] = manager_record();
    return items;
}

// The score of a classifier for a word of the category, and for any other word.
const double kPi = std::acos(-1.0);
const double kHit = std::atan(kPi * (0.25 - 0.125)) / kPi + 0.5;
const double kMiss = std::atan(kPi * -0.125) / kPi + 0.5;

class zeIOVersion1Test : public testing::Test {
protected:
    zeIOVersion1Test() { read_kc(kc, items.file(), &mode); }

    zeNode* Node(unsigned int id) { return kc.m_physical_tree->GetNode(id); }

    std::vector<unsigned int> ChildrenOf(unsigned int id) {
        std::vector<unsigned int> ids;
        for (const zeNode* const child : Node(id)->m_children) {
            ids.push_back(child->m_node_id);
        }
        return ids;
    }

    zeNode* Mirrored(unsigned int id) { return kc.m_logical_tree->GetNode(id).physical_node; }

    Kc_items items = items_of_v1();
    KcIoMode mode;
    zeManager kc;
    News_desk desk{kc};
};

TEST_F(zeIOVersion1Test, VersionIsReported) {
    EXPECT_EQ(mode.version, 1);
    EXPECT_EQ(kc.m_version, 1);
    EXPECT_EQ(kc.m_io->m_version, 1U);
    EXPECT_EQ(kc.m_last_object_id, 5U);
    EXPECT_EQ(kc.m_config.kc_id, 77U);
    EXPECT_EQ(kc.m_defaults.clip_value, 2.75);
    EXPECT_FALSE(kc.m_modified);
    EXPECT_FALSE(kc.m_compat55);
}

TEST_F(zeIOVersion1Test, NodesAreLinkedByTheirConcepts) {
    EXPECT_EQ(kc.m_root, Node(1));
    EXPECT_THAT(ChildrenOf(1), ElementsAre(2, 5));
    EXPECT_THAT(ChildrenOf(2), ElementsAre(3, 4));
    EXPECT_EQ(Node(1)->m_parent, nullptr);
    EXPECT_EQ(Node(3)->m_parent, Node(2));
    EXPECT_EQ(Node(2)->m_threshold, 0.0625);
    ExpectSound(kc);
}

TEST_F(zeIOVersion1Test, LeafWithTwoParentsBecomesTwoNodes) {
    ASSERT_EQ(kc.m_physical_tree->m_nodes.size(), 7U);
    EXPECT_THAT(ChildrenOf(5), ElementsAre(7, 6));
    EXPECT_EQ(Node(4)->m_parent, Node(2));
    EXPECT_EQ(Node(7)->m_parent, Node(5));
    EXPECT_EQ(Node(7)->m_concept, term("shared"));
    EXPECT_THAT(kc.m_physical_tree->GetLeafNodes(term("shared")),
                testing::UnorderedElementsAre(Node(4), Node(7)));
    EXPECT_EQ(Mirrored(4), Node(4));
    EXPECT_EQ(Mirrored(6), Node(7));
}

TEST_F(zeIOVersion1Test, ScoredIsTheOppositeOfTheFlag) {
    for (const unsigned int id : {1U, 2U, 5U, 6U}) {
        EXPECT_EQ(Node(id)->m_flags, zeNode::NoScore) << id;
    }
    for (const unsigned int id : {3U, 4U, 7U}) {
        EXPECT_EQ(Node(id)->m_flags, 0) << id;
    }
    EXPECT_EQ(kc.m_logical_tree->GetNode(1).attributes, zeNode::NoScore);
    EXPECT_EQ(kc.m_logical_tree->GetNode(3).attributes, 0);
    EXPECT_EQ(kc.m_logical_tree->GetNode(3).threshold, 0.0625);
    EXPECT_EQ(kc.m_logical_tree->GetNode(3).note2, qtString("sport"));
}

TEST_F(zeIOVersion1Test, MessagesAreClassified) {
    EXPECT_THAT(desk.Classify({{"goal", 2.0}}, {}),
                ElementsAre(Pair("sport", kHit * kHit), Pair("shared", kHit * kMiss)));
    EXPECT_THAT(desk.Classify({{"soup", 1.0}}, {"mark"}),
                ElementsAre(Pair("shared", kHit), Pair("sport", kMiss * kMiss)));
}

TEST_F(zeIOVersion1Test, ProfilesStartWithoutAnAgeAndWithAnEmptyAccumulator) {
    const auto& matcher = dynamic_cast<const zeStat_matcher&>(*Node(2)->m_classifier);
    const zeStat_storage& storage = *matcher.m_storage;

    ASSERT_EQ(storage.profile_count(), 2);
    EXPECT_EQ(storage.profile(1).m_node, Node(4));
    EXPECT_EQ(storage.profile(1).m_likelihood_age, 0);
    EXPECT_EQ(storage.profile(1).m_match_value, 0.0);
    EXPECT_EQ(storage.profile(1).m_M, -0.125);
    EXPECT_EQ(storage.profile(1).m_Ps.at(term("talk")).m_life, 5);
}

TEST_F(zeIOVersion1Test, SavingWritesVersionTwo) {
    const std::string file = saved(kc);

    EXPECT_EQ(Kc_items(file).version, 2);
    zeManager again;
    read_kc(again, file);
    EXPECT_EQ(again.m_version, 2);
    EXPECT_EQ(content_of(again), content_of(kc));
    EXPECT_EQ(News_desk(again).Answers(), desk.Answers());
    EXPECT_TRUE(same_bytes(saved(again), file));
}

TEST_F(zeIOVersion1Test, LearningContinuesAsAfterConversionToVersionTwo) {
    zeManager again;
    read_kc(again, saved(kc));
    News_desk other(again);

    for (News_desk* each : {&desk, &other}) {
        each->Add(2, "weather", ZE_LEAF);
    }
    for (zeManager* each : {&kc, &again}) {
        learn_something(*each, false);
    }

    EXPECT_EQ(content_of(again), content_of(kc));
    EXPECT_EQ(other.Answers(), desk.Answers());
}

TEST_F(zeIOVersion1Test, SubtreesCanBeWritten) {
    for (const unsigned int id : {1U, 2U, 5U}) {
        SCOPED_TRACE(id);
        zeManager part;

        read_kc(part, saved_below(kc, id));

        EXPECT_EQ(part.m_root->m_concept, kc.m_logical_tree->GetNode(id).category);
        EXPECT_EQ(part.m_root->m_parent, nullptr);
        EXPECT_EQ(part.m_last_object_id, 5U);
        ExpectSound(part);
    }
}

TEST_F(zeIOVersion1Test, FileOfVersionTwoIsReadAfterwards) {
    Trained_desk fresh;

    read_kc(kc, saved(fresh.manager));

    EXPECT_EQ(kc.m_version, 2);
    EXPECT_EQ(content_of(kc), content_of(fresh.manager));
    read_kc(kc, items.file());
    EXPECT_EQ(kc.m_version, 1);
    ExpectSound(kc);
}

TEST_F(zeIOVersion1Test, ClassifierOfAnUnknownConceptIsRefused) {
    items.records[object_key(5)] = Record().u32(1).u32(5).text("none").u32(0).u32(0).bytes();

    EXPECT_QTX_ARGS(read_kc(kc, items.file()), zeIO, 11, "Classifier without its node in kc file",
                    {"5"});

    EXPECT_TRUE(is_empty(kc));
}

TEST_F(zeIOVersion1Test, EveryTruncationIsRefused) {
    const std::string file = items.file();
    for (std::size_t kept = 0; kept < file.size(); ++kept) {
        SCOPED_TRACE(kept);
        zeManager manager;

        EXPECT_FALSE(loads(manager, file.substr(0, kept)));
        EXPECT_TRUE(is_empty(manager));
    }
}

TEST_F(zeIOVersion1Test, EveryChangedBitIsSafe) {
    const std::string file = items.file();
    const std::string sound = saved(kc);
    for_each_changed_bit(
        file, [&sound](const std::string& damaged) { expect_damage_is_safe(damaged, sound); });
}

}  // namespace
