// Random small trees are exported, and the reader finds the tree and the weights that the matchers
// use.
#include "zandrel/export/zeDump5.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/export/kb_reader.h"
#include "tests/support/small_model.h"

namespace {

// A container with a random tree, and the outline and the profiles that its export must have. The
// weights come from the tables of the matchers, which training has compiled.
class Random_kb {
public:
    explicit Random_kb(unsigned int seed) : m_random(seed) {
        manager.m_defaults = plain_settings();
        manager.m_defaults.profile_size = pick(4) + 1;
        manager.m_defaults.use_normalization = pick(2) == 0;
        manager.m_defaults.use_new_ZC = pick(2) == 0;
        manager.m_defaults.suppress_M = pick(2) == 0;
        manager.m_root = make(pick(2) == 0 ? ZE_RULE : ZE_STAT);
        outline = manager.m_root->m_concept.text().str() + "\n";
        fill(manager.m_root, 1);
    }

    zeManager manager;
    std::string outline;
    std::vector<Kb_profile> profiles;

private:
    int pick(int count) { return static_cast<int>(m_random() % static_cast<unsigned int>(count)); }

    // Any bytes except the line feed, so that an outline can have only one meaning.
    std::string name() {
        std::string bytes;
        do {
            bytes.clear();
            for (int left = pick(6) + 1; left > 0; --left) {
                bytes += static_cast<char>(pick(245) + 11);
            }
        } while (!m_names.insert(bytes).second);
        return bytes;
    }

    zeNode* make(unsigned int type) {
        return manager.m_physical_tree->MakeNode(term(name()), type, 0, 0.0);
    }

    void fill(zeNode* node, int depth) {
        std::vector<zeNode*> children;
        for (int left = pick(4); left > 0; --left) {
            const unsigned int types[] = {ZE_LEAF, ZE_RULE, ZE_STAT};
            children.push_back(make(depth < 5 ? types[pick(3)] : ZE_LEAF));
        }
        if (node->m_classifier_type == ZE_RULE) {
            add_rules(node, children, depth);
        } else if (node->m_classifier_type == ZE_STAT) {
            add_categories(node, children, depth);
        }
    }

    void add_line(const zeNode* child, const std::string& rest, int depth) {
        outline += std::string(static_cast<std::size_t>(depth), ' ') +
                   child->m_concept.text().str() + rest + "\n";
    }

    void add_rules(zeNode* node, const std::vector<zeNode*>& children, int depth) {
        auto& switcher = dynamic_cast<zeSwitcher&>(*node->m_classifier);
        for (zeNode* child : children) {
            const std::string limit = std::to_string(pick(100));
            switcher.add_rule(child, qtString("parent_score > " + limit));
            add_line(child, " [stat_matching > " + limit + "]", depth);
            fill(child, depth + 1);
        }
    }

    void add_categories(zeNode* node, const std::vector<zeNode*>& children, int depth) {
        auto& matcher = dynamic_cast<zeStat_matcher&>(*node->m_classifier);
        Small_corpus corpus;
        std::vector<Kb_profile> expected(children.size());
        for (std::size_t i = 0; i < children.size(); ++i) {
            zeNode* child = children[i];
            matcher.add_cat(child);
            expected[i].name = child->m_concept.text().str();
            expected[i].size = manager.m_defaults.profile_size;
            expected[i].num_msgs = pick(4);
            expected[i].weight = expected[i].num_msgs;
            expected[i].likelihood.resize(30);
            for (int left = expected[i].num_msgs; left > 0; --left) {
                corpus.add(message(), {child});
            }
        }
        matcher.train(corpus.view);
        add_concepts(matcher, expected);
        profiles.insert(profiles.end(), expected.begin(), expected.end());
        for (zeNode* child : children) {
            add_line(child, " *", depth);
            fill(child, depth + 1);
        }
    }

    qtPtrLight<zeMsg> message() {
        const std::string words[] = {"a", "b", "c", "d", "e", "f"};
        const std::string& one = words[pick(6)];
        const std::string& other = words[pick(6)];
        return MessageBuilder().bag({{one, 1.0 + pick(9)}, {other, 1.0 + pick(9)}}).make();
    }

    static void add_concepts(const zeStat_matcher& matcher, std::vector<Kb_profile>& expected) {
        for (const auto& [known, pairs] : matcher.m_table) {
            for (const zeStat_matcher::Concept_weight& pair : pairs) {
                expected[static_cast<std::size_t>(pair.m_iprofile)].concepts.emplace_back(
                    known.text().str(), pair.m_weight);
            }
        }
        for (std::size_t i = 0; i < expected.size(); ++i) {
            expected[i].M = matcher.m_storage->profile(static_cast<int>(i)).m_M;
            std::sort(expected[i].concepts.begin(), expected[i].concepts.end());
        }
    }

    std::mt19937 m_random;
    std::set<std::string> m_names;
};

// A second selection may add its sums in another order, so weights differ in their last bits.
void expect_equal(const Kb_profile& read, Kb_profile expected) {
    constexpr double kRounding = 1e-6;
    ASSERT_EQ(read.concepts.size(), expected.concepts.size());
    for (std::size_t i = 0; i < read.concepts.size(); ++i) {
        EXPECT_EQ(read.concepts[i].first, expected.concepts[i].first);
        const double weight = static_cast<double>(read.concepts[i].second);
        EXPECT_NEAR(weight, static_cast<double>(expected.concepts[i].second),
                    kRounding * std::max(1.0, std::abs(weight)));
    }
    EXPECT_NEAR(read.M, expected.M, kRounding * std::max(1.0, std::abs(read.M)));
    expected.concepts = read.concepts;
    expected.M = read.M;
    EXPECT_EQ(read, expected);
}

TEST(zeDump5RandomTest, EachRandomTreeIsReadBack) {
    std::size_t concept_count = 0;
    for (unsigned int seed = 1; seed <= 300; ++seed) {
        SCOPED_TRACE(seed);
        Random_kb source(seed);
        qtBuffer buffer;
        zeDump5(&source.manager).Dump(buffer, false);
        const Kb_file file = read_kb({buffer.bytes.data(), buffer.bytes.size()});

        ASSERT_EQ(file.outline(), source.outline);
        ASSERT_EQ(file.profiles.size(), source.profiles.size());
        for (const Kb_profile& expected : source.profiles) {
            expect_equal(file.profile_of(expected.name), expected);
            concept_count += expected.concepts.size();
        }
    }
    EXPECT_GT(concept_count, 500U);
}

}  // namespace
