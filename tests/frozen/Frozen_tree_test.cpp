// Compares the answers of a frozen tree with those of the engine, to the last bit.
#include "zandrel/frozen/Frozen_tree.h"

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/frozen/Frozen_call.h"
#include "zandrel/messages/zeMsgEdit.h"

#include "tests/frozen/frozen_answers.h"
#include "tests/frozen/random_container.h"
#include "tests/support/allocation_meter.h"
#include "tests/support/cached_container.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/kc_file.h"
#include "tests/support/match_rows.h"
#include "tests/support/news_desk.h"
#include "tests/support/scratch_file.h"
#include "tests/support/trained_tree.h"
#include "tests/support/tree_builder.h"

namespace {

using zandrel::detail::Frozen_call;
using zandrel::detail::Frozen_message;
using zandrel::detail::Frozen_tree;
using zandrel::detail::Tables;

constexpr unsigned int kFirstSeed = 20261122;
constexpr unsigned int kTreeCount = 100;
constexpr int kMessageCount = 12;

struct Question {
    double threshold;
    int wanted;
    bool skips_no_score;
    bool uses_thresholds;
};

std::vector<Question> questions() {
    std::vector<Question> all;
    for (const double threshold : {0.0, 0.3, -1.0}) {
        for (const int wanted : {-1, 0, 1, 2, 5}) {
            for (const bool skips : {true, false}) {
                all.push_back({threshold, wanted, skips, false});
                all.push_back({threshold, wanted, skips, true});
            }
        }
    }
    return all;
}

// Asks both all questions. Returns the number of all results, so that a test can see that there are
// some.
std::size_t expect_equal_walks(zeWorkflow& workflow, const Frozen_tree& tree, zeMsg& msg,
                               zeMsg& frozen) {
    std::size_t result_count = 0;
    for (const Question& question : questions()) {
        zeResult_set expected(question.threshold, question.wanted);
        workflow.classify(msg, expected, question.skips_no_score, question.uses_thresholds);
        zeResult_set got(question.threshold, question.wanted);
        tree.classify(frozen, got, question.skips_no_score, question.uses_thresholds);
        result_count += got.results.size();
        EXPECT_EQ(contents_of(got), contents_of(expected))
            << question.threshold << " " << question.wanted << " " << question.skips_no_score << " "
            << question.uses_thresholds;
    }
    return result_count;
}

// The messages of a random container, each beside a copy with frozen words.
template <class Check>
void for_each_message(Random_container& kc, const Frozen_tree& tree, const Check& check) {
    Frozen_call call;
    for (int i = 0; i < kMessageCount; ++i) {
        SCOPED_TRACE(i);
        const qtPtrLight<zeMsg> msg = kc.message();
        Frozen_message message(call, tree.words());
        message.copy(*msg);
        check(*msg, message.msg());
    }
}

TEST(Frozen_treeTest, RandomTreesAnswerAsTheEngine) {
    std::size_t result_count = 0;
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kTreeCount && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Random_container kc(seed);
        zeWorkflow workflow(&kc.manager);
        const Frozen_tree tree(kc.manager);
        for_each_message(kc, tree, [&](zeMsg& msg, zeMsg& frozen) {
            result_count += expect_equal_walks(workflow, tree, msg, frozen);
        });
    }
    EXPECT_GT(result_count, 50000U);
}

TEST(Frozen_treeTest, RandomTreesExplainAsTheEngine) {
    std::size_t effect_count = 0;
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kTreeCount && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Random_container kc(seed);
        zeWorkflow workflow(&kc.manager);
        const Frozen_tree tree(kc.manager);
        std::vector<std::vector<zeNode*>> questions = {{}, kc.all_nodes()};
        for (zeNode* const node : kc.all_nodes()) {
            questions.push_back({node});
        }
        for_each_message(kc, tree, [&](zeMsg& msg, zeMsg& frozen) {
            for (const std::vector<zeNode*>& nodes : questions) {
                std::vector<zeStat_matcher::Concept_score> expected(1);
                workflow.classify_concepts(msg, nodes, expected);
                std::vector<zeStat_matcher::Concept_score> got(1);
                tree.explain(frozen, nodes, got);
                EXPECT_EQ(lines_of(got), lines_of(expected));
                std::vector<zeStat_matcher::Concept_score> expected_log_odds(1);
                workflow.classify_concepts_in_log_odds(msg, nodes, expected_log_odds);
                std::vector<zeStat_matcher::Concept_score> got_log_odds(1);
                tree.explain_in_log_odds(frozen, nodes, got_log_odds);
                EXPECT_EQ(lines_of(got_log_odds), lines_of(expected_log_odds));
                effect_count += static_cast<std::size_t>(std::count_if(
                    got.begin(), got.end(), [](const auto& line) { return line.m_score != 0.0; }));
            }
        });
    }
    EXPECT_GT(effect_count, 10000U);
}

TEST(Frozen_treeTest, PartsOfAWalkAnswerAsTheEngine) {
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kTreeCount / 3; ++seed) {
        SCOPED_TRACE(seed);
        Random_container kc(seed);
        const Frozen_tree tree(kc.manager);
        for_each_message(kc, tree, [&](zeMsg& msg, zeMsg& frozen) {
            for (zeNode* const node : kc.all_nodes()) {
                zeResult_set expected(0.0, -1);
                zeResult_set got(0.0, -1);
                EXPECT_EQ(tree.answer(node, frozen, got, 0.7, false),
                          node->m_classifier != nullptr);
                if (node->m_classifier != nullptr) {
                    node->m_classifier->classify(msg, expected, 0.7, false);
                }
                for (zeResult_set* const set : {&expected, &got}) {
                    if (set->count() > 0) {
                        set->get_result(0);  // sorts
                    }
                }
                EXPECT_EQ(found_in(got), found_in(expected));
                for (zeNode* const child : kc.all_nodes()) {
                    EXPECT_EQ(tree.is_blocked(node, child, frozen),
                              kc.manager.m_physical_tree->is_cat_blocked(node, child, msg));
                }
            }
        });
    }
}

TEST(Frozen_treeTest, RulesHaveTheValuesOfTheEngine) {
    std::size_t rule_count = 0;
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kTreeCount; ++seed) {
        Random_container kc(seed);
        const Frozen_tree tree(kc.manager);
        for_each_message(kc, tree, [&](zeMsg& msg, zeMsg& frozen) {
            for (zeNode* const node : kc.inner) {
                const auto* const switcher = dynamic_cast<zeSwitcher*>(node->m_classifier);
                for (zeNode* const child : kc.all_nodes()) {
                    const zandrel::detail::Frozen_rule* const rule = tree.rule(node, child);
                    const bool has_rule = switcher != nullptr && switcher->m_rules.count(child) > 0;
                    ASSERT_EQ(rule != nullptr, has_rule);
                    if (has_rule) {
                        DocInfo info = {&msg, 0.6};
                        DocInfo frozen_info = {&frozen, 0.6};
                        EXPECT_EQ(bits_of(rule->Evaluate(frozen_info)),
                                  bits_of(switcher->m_rules.at(child).Evaluate(info)));
                        EXPECT_EQ(bits_of(rule->root().eval(frozen_info).number),
                                  bits_of(switcher->m_rules.at(child).root().eval(info).number));
                        ++rule_count;
                    }
                }
            }
        });
    }
    EXPECT_GT(rule_count, 1000U);
}

TEST(Frozen_treeTest, ChildIsExplainedAsByTheEngine) {
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kTreeCount / 3; ++seed) {
        Random_container kc(seed);
        const Frozen_tree tree(kc.manager);
        for_each_message(kc, tree, [&](zeMsg& msg, zeMsg& frozen) {
            for (zeNode* const node : kc.inner) {
                zeStat_matcher* const matcher = kc.matcher(node);
                for (zeNode* child : node->m_children) {
                    std::vector<zeStat_matcher::Concept_score> expected(1);
                    std::vector<zeStat_matcher::Concept_score> got(1);
                    if (matcher == nullptr) {
                        EXPECT_ASSERTS(tree.explain_child(node, child, frozen, got),
                                       "stat_matcher");
                        continue;
                    }
                    EXPECT_EQ(bits_of(tree.explain_child(node, child, frozen, got)),
                              bits_of(matcher->classify_concepts(msg, child, expected)));
                    EXPECT_EQ(lines_of(got), lines_of(expected));
                }
            }
        });
    }
}

TEST(Frozen_treeTest, ExplainingAStrangeChildBreaksTheInvariant) {
    Random_container kc(kFirstSeed);
    const Frozen_tree tree(kc.manager);
    zeNode* stat = nullptr;
    for (zeNode* const node : kc.inner) {
        stat = node->m_classifier_type == ZE_STAT ? node : stat;
    }
    ASSERT_NE(stat, nullptr);
    Frozen_call call;
    Frozen_message message(call, tree.words());
    message.take_bag();
    std::vector<zeStat_matcher::Concept_score> scores;
    EXPECT_ASSERTS(tree.explain_child(stat, stat, message.msg(), scores),
                   "!m_storage->end(iprofile)");
}

TEST(Frozen_treeTest, TablesThatAreOffAnswerAsAnEngineWithoutTables) {
    bool has_difference = false;
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kTreeCount / 3; ++seed) {
        SCOPED_TRACE(seed);
        Random_container kc(seed);
        const Frozen_tree tree(kc.manager);
        const auto use_tables = [&kc](bool use) {
            for (zeNode* const node : kc.inner) {
                if (zeStat_matcher* const matcher = kc.matcher(node)) {
                    matcher->m_storage->m_use_likelihood_in_match = use;
                }
            }
        };
        const bool used = kc.manager.m_defaults.use_likelihood_in_match;
        zeWorkflow workflow(&kc.manager);
        for_each_message(kc, tree, [&](zeMsg& msg, zeMsg& frozen) {
            zeResult_set on(0.0, -1);
            tree.classify(frozen, on, true, false);
            zeResult_set off(0.0, -1);
            tree.classify(frozen, off, true, false, Tables::kOff);
            has_difference = has_difference || found_in(on) != found_in(off);
            // The frozen tree gives these answers while the setting is on.
            std::vector<decltype(contents_of(off))> answers;
            for (const Question& question : questions()) {
                zeResult_set got(question.threshold, question.wanted);
                tree.classify(frozen, got, question.skips_no_score, question.uses_thresholds,
                              Tables::kOff);
                answers.push_back(contents_of(got));
            }
            use_tables(false);
            std::size_t next = 0;
            for (const Question& question : questions()) {
                zeResult_set expected(question.threshold, question.wanted);
                workflow.classify(msg, expected, question.skips_no_score, question.uses_thresholds);
                EXPECT_EQ(answers[next++], contents_of(expected));
            }
            use_tables(used);
        });
    }
    EXPECT_TRUE(has_difference);
}

// The container after its file was written and read, in the form that `mode` and `compact` say.
void expect_equal_after_reading(Random_container& kc, bool compact, bool for_classifying) {
    zeManager read;
    KcIoMode mode;
    mode.for_classifying = for_classifying;
    read_kc(read, compact ? saved_compact(kc.manager) : saved(kc.manager), &mode);
    zeWorkflow workflow(&read);
    const Frozen_tree tree(read);
    for_each_message(kc, tree, [&](zeMsg& msg, zeMsg& frozen) {
        expect_equal_walks(workflow, tree, msg, frozen);
    });
}

TEST(Frozen_treeTest, ContainersThatWereReadAnswerAsTheEngine) {
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kTreeCount / 10; ++seed) {
        SCOPED_TRACE(seed);
        Random_container kc(seed);
        expect_equal_after_reading(kc, false, false);
        expect_equal_after_reading(kc, false, true);
        expect_equal_after_reading(kc, true, false);
        expect_equal_after_reading(kc, true, true);
    }
}

// As a program makes it: words one after the other, in the order of the text, and pairs.
TEST(Frozen_treeTest, MessageOfWordsAndPairsIsThatOfTheEngine) {
    Random_container kc(kFirstSeed + 2);
    zeWorkflow workflow(&kc.manager);
    const Frozen_tree tree(kc.manager);
    Frozen_call call;
    std::mt19937 random(7);
    for (int i = 0; i < 200; ++i) {
        Frozen_message message(call, tree.words());
        zeSml_feeder feeder;
        std::vector<std::string> texts;
        for (std::size_t k = random() % 60; k > 0; --k) {
            texts.push_back((random() % 4 == 0 ? "new" : "w") + std::to_string(random() % 45));
        }
        const std::vector<std::string_view> views(texts.begin(), texts.end());
        std::vector<Concept> words(views.size());
        message.look_up(views, words.data());
        for (std::size_t k = 0; k < views.size(); ++k) {
            EXPECT_EQ(words[k].view(), views[k]);
            EXPECT_EQ(words[k], message.word(views[k]));
            message.feeder().add_concept(words[k], 1.0);
            feeder.add_concept(term(views[k]), 1.0);
        }
        message.take_bag();
        qtPtrLight<zeMsg> msg(new zeMsg);
        msg->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
        zeMsgEdit frozen_edit(message.msg_pointer());
        zeMsgEdit edit(msg);
        for (std::size_t k = random() % 4; k > 0; --k) {
            const std::string name = "k" + std::to_string(k);
            frozen_edit.Set(message.word(name), {"3"}, mlMessageConverter::kInteger);
            edit.Set(term(name), {"3"}, mlMessageConverter::kInteger);
        }
        frozen_edit.End();
        edit.End();
        expect_equal_walks(workflow, tree, *msg, message.msg());
        ASSERT_FALSE(HasFailure());
    }
}

TEST(Frozen_treeTest, AccumulatorDoesNotCount) {
    Trained_tree trained;
    zeWorkflow workflow(&trained.manager);
    workflow.train(trained.corpus.view, false, nullptr, false);
    const Frozen_tree tree(trained.manager);
    Frozen_call call;
    Frozen_message message(call, tree.words());
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"goal", 1.0}, {"bank", 1.0}}).make();
    message.copy(*msg);
    const auto frozen_answer = [&] {
        zeResult_set results(-1.0, -1);
        tree.classify(message.msg(), results, false, false);
        return contents_of(results);
    };
    const auto engine_answer = [&] {
        zeResult_set results(-1.0, -1);
        workflow.classify(*msg, results, false, false);
        return contents_of(results);
    };
    const auto expected = engine_answer();
    trained.storage(trained.news).profile(0).m_match_value = 0.75;
    EXPECT_EQ(frozen_answer(), expected);
    EXPECT_NE(engine_answer(), expected);
    EXPECT_EQ(engine_answer(), expected);
    EXPECT_EQ(frozen_answer(), expected);
}

// A table that still names a profile that was deleted.
TEST(Frozen_treeTest, StaleTableAnswersAsTheEngine) {
    Trained_tree trained;
    zeWorkflow workflow(&trained.manager);
    workflow.train(trained.corpus.view, false, nullptr, false);
    zeNode* sport = trained.sport;
    trained.matcher(trained.news).delete_cat(sport, false, false);
    const Frozen_tree tree(trained.manager);
    Frozen_call call;
    Frozen_message message(call, tree.words());
    const qtPtrLight<zeMsg> msg =
        MessageBuilder().bag({{"goal", 1.0}, {"bank", 1.0}, {"boot", 0.5}}).make();
    message.copy(*msg);
    expect_equal_walks(workflow, tree, *msg, message.msg());
}

// The empty text is a concept like any other if an application uses it.
TEST(Frozen_treeTest, EmptyTextAnswersAsTheEngine) {
    Trained_tree trained;
    trained.corpus.add(Trained_tree::message({{"", 2.0}, {"goal", 1.0}}), {trained.sport});
    zeWorkflow workflow(&trained.manager);
    workflow.train(trained.corpus.view, false, nullptr, false);
    ASSERT_EQ(trained.matcher(trained.news).m_table.count(Concept()), 1U);
    Frozen_tree tree(trained.manager);
    Frozen_call call;
    Frozen_message message(call, tree.words());
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"", 1.0}, {"bank", 1.0}}).make();
    message.copy(*msg);
    expect_equal_walks(workflow, tree, *msg, message.msg());
    tree.read_learned_words();
    EXPECT_TRUE(tree.has_learned(message.word("")));
}

// Answers the question that the program has about each word of an explanation.
bool has_learned(Random_container& kc, const Concept& word) {
    bool found = false;
    for (zeNode* const node : kc.inner) {
        if (zeStat_matcher* const matcher = kc.matcher(node)) {
            found = found || matcher->m_table.count(word) > 0 ||
                    matcher->m_storage->m_concept_infos.count(word) > 0;
        }
    }
    return found;
}

TEST(Frozen_treeTest, LearnedWordsAreThoseOfTheModels) {
    std::size_t learned_count = 0;
    std::size_t unknown_count = 0;
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + 20; ++seed) {
        Random_container kc(seed);
        zeManager read;
        KcIoMode mode;
        mode.for_classifying = true;
        read_kc(read, saved(kc.manager), &mode);
        Frozen_tree tree(read);
        EXPECT_FALSE(tree.has_learned_words());
        tree.read_learned_words();
        EXPECT_TRUE(tree.has_learned_words());
        Frozen_call call;
        Frozen_message message(call, tree.words());
        std::vector<std::string> texts = {"never seen", "root", "k1"};
        for (std::size_t i = 0; i < Random_container::kWords; ++i) {
            texts.push_back("w" + std::to_string(i));
            texts.push_back("unknown" + std::to_string(i));
        }
        for (const std::string& text : texts) {
            const bool is_learned = has_learned(kc, term(text));
            EXPECT_EQ(tree.has_learned(message.word(text)), is_learned) << text;
            ++(is_learned ? learned_count : unknown_count);
        }
    }
    EXPECT_GT(learned_count, 100U);
    EXPECT_GT(unknown_count, 50U);
}

TEST(Frozen_treeTest, PathsAreThoseOfTheLogicalTree) {
    Trained_desk trained;
    const Frozen_tree tree(trained.manager);
    const zeLogicalTree& logical = *trained.manager.m_logical_tree;
    for (const auto& [id, node] : logical.nodes) {
        qtString path;
        logical.GetNodePath(id, path);
        EXPECT_EQ(tree.path_of(node.physical_node), path);
        EXPECT_EQ(tree.find_path(path), node.physical_node);
        EXPECT_EQ(tree.find_path("/" + path + "//"), node.physical_node);
        EXPECT_EQ(tree.find_path(path + "/missing"), nullptr);
    }
    EXPECT_EQ(tree.find_path(""), nullptr);
    EXPECT_EQ(tree.find_path("other root"), nullptr);
    zeNode strange{Concept()};
    EXPECT_EQ(tree.path_of(&strange), "");
}

TEST(Frozen_treeTest, CallsChangeNeitherContainerNorProcess) {
    Random_container kc(kFirstSeed + 4);
    zeWorkflow workflow(&kc.manager);
    std::vector<qtPtrLight<zeMsg>> messages;
    for (int i = 0; i < 20; ++i) {
        messages.push_back(kc.message());
    }
    const std::string before = saved(kc.manager);
    const std::size_t size_before = Concept::dictionary_size();
    const unsigned int asked_before = g_ClassifyCount;
    const std::size_t uses_before = kc.manager.m_physical_tree.use_count();
    {
        const Frozen_tree tree(kc.manager);
        Frozen_call call;
        for (const qtPtrLight<zeMsg>& msg : messages) {
            Frozen_message message(call, tree.words());
            message.copy(*msg);
            message.feeder().add_concept(message.word("a word of this message"), 1.0);
            zeResult_set results(0.0, -1);
            tree.classify(message.msg(), results, true, false);
            std::vector<zeStat_matcher::Concept_score> scores;
            tree.explain(message.msg(), kc.all_nodes(), scores);
        }
        EXPECT_EQ(Concept::dictionary_size(), size_before);
    }
    EXPECT_EQ(g_ClassifyCount, asked_before);
    EXPECT_EQ(kc.manager.m_physical_tree.use_count(), uses_before);
    EXPECT_TRUE(same_bytes(saved(kc.manager), before));
    EXPECT_EQ(Concept::dictionary_size(), size_before);
}

// If a call had counted a handle, a word would remain in the dictionary after its container.
TEST(Frozen_treeTest, NoHandleOfTheDictionaryRemains) {
    const std::size_t size_before = Concept::dictionary_size();
    {
        Random_container kc(kFirstSeed + 5);
        const Frozen_tree tree(kc.manager);
        for_each_message(kc, tree, [&](zeMsg&, zeMsg& frozen) {
            zeResult_set results(0.0, -1);
            tree.classify(frozen, results, true, true);
            std::vector<zeStat_matcher::Concept_score> scores;
            tree.explain(frozen, kc.all_nodes(), scores);
        });
        EXPECT_GT(Concept::dictionary_size(), size_before);
    }
    EXPECT_EQ(Concept::dictionary_size(), size_before);
}

// Tables of 30,000 rows at the root and 10,000 rows at each of two lower nodes, with four pairs in
// a row on average. A frozen tree is measured, and compared with the memory of the tables.
TEST(Frozen_treeTest, MemoryIsLessThanThatOfTheTables) {
    Trained_tree trained;
    std::vector<Concept> words;
    words.reserve(30000);
    std::size_t held = held_bytes();
    for (std::size_t i = 0; i < words.capacity(); ++i) {
        words.push_back(term("a word " + std::to_string(i)));
        set_row(trained.matcher(trained.root).m_table, words[i], Row(1 + i % 7, {1.0F, 0}));
        if (i % 3 == 0) {
            set_row(trained.matcher(trained.news).m_table, words[i], Row(2, {1.0F, 0}));
            set_row(trained.matcher(trained.shop).m_table, words[i], Row(6, {1.0F, 0}));
        }
    }
    const std::size_t table_bytes = held_bytes() - held;
    held = held_bytes();
    const Frozen_tree tree(trained.manager);
    const std::size_t tree_bytes = held_bytes() - held;
    EXPECT_NEAR(static_cast<double>(tree.memory_use()), static_cast<double>(tree_bytes), 32768.0);
    EXPECT_LT(static_cast<double>(tree_bytes), 0.75 * static_cast<double>(table_bytes))
        << tree_bytes << " of " << table_bytes;
}

// 1,000 tables of 100 rows, for 50,000 words. A form that took two bits for each word in each table
// would take 12 MB for finding rows.
TEST(Frozen_treeTest, ManySmallTablesCostAFewBytesForEachRow) {
    constexpr std::size_t kTables = 1000;
    constexpr std::size_t kRowsOfTable = 100;
    constexpr std::size_t kWords = 50000;
    zeManager manager;
    std::vector<Concept> words;
    for (std::size_t i = 0; i < kWords; ++i) {
        words.push_back(term("a word " + std::to_string(i)));
    }
    std::mt19937 random(7);
    for (std::size_t i = 0; i < kTables; ++i) {
        zeNode* const node =
            manager.m_physical_tree->MakeNode(term("node"), ZE_STAT, zeNode::NoScore, 0.0);
        manager.m_root = i == 0 ? node : manager.m_root;
        auto& table = dynamic_cast<zeStat_matcher&>(*node->m_classifier).m_table;
        while (table.size() < kRowsOfTable) {
            set_row(table, words[random() % kWords], Row(2, {1.0F, 0}));
        }
    }
    const std::size_t held = held_bytes();
    const Frozen_tree tree(manager);
    const auto tree_bytes = static_cast<double>(held_bytes() - held);
    const auto reported = static_cast<double>(tree.memory_use());
    EXPECT_NEAR(reported, tree_bytes, 0.02 * tree_bytes);
    EXPECT_LT(tree_bytes, 55.0 * kWords + 24.0 * kTables * kRowsOfTable + 300.0 * kTables);
    // As the figures of a word and of a row in the header of the class say.
    EXPECT_GT(tree_bytes, 40.0 * 0.8 * kWords + 16.0 * kTables * kRowsOfTable);
}

TEST(Frozen_treeTest, MemoryOfRulesIsReported) {
    zeManager manager;
    manager.m_root = manager.m_physical_tree->MakeNode(term("root"), ZE_RULE, zeNode::NoScore, 0.0);
    auto& switcher = dynamic_cast<zeSwitcher&>(*manager.m_root->m_classifier);
    for (int i = 0; i < 300; ++i) {
        zeNode* leaf = manager.m_physical_tree->MakeNode(term("leaf"), ZE_LEAF, 0, 0.0);
        std::string rule = "$key(n) > " + std::to_string(i);
        for (int k = 0; k < 20; ++k) {
            rule += " | \"word " + std::to_string(20 * i + k) + "\"";
        }
        switcher.add_rule(leaf, qtString(rule));
    }
    const std::size_t held = held_bytes();
    const Frozen_tree tree(manager);
    const auto tree_bytes = static_cast<double>(held_bytes() - held);
    EXPECT_NEAR(static_cast<double>(tree.memory_use()), tree_bytes, 0.1 * tree_bytes);
}

// A thread that keeps its call allocates only what the engine's bag and results need. A message of
// very many words does not remain in memory.
TEST(Frozen_treeTest, CallKeepsItsMemoryWithinABound) {
    Trained_tree trained;
    const Frozen_tree tree(trained.manager);
    Frozen_call call;
    std::vector<std::string> texts;
    for (int i = 0; i < 100000; ++i) {
        texts.push_back("a word " + std::to_string(i));
    }
    const auto use = [&](std::size_t count) {
        const Allocation_meter meter;
        Frozen_message message(call, tree.words());
        for (std::size_t i = 0; i < count; ++i) {
            message.feeder().add_concept(message.word(texts[i]), 1.0);
        }
        message.take_bag();
        return meter.bytes();
    };
    const std::size_t held = held_bytes();
    EXPECT_GT(use(2000), 200000U);
    constexpr std::size_t kBytesOfSorting = 2 * 24;  // two lists of keys
    EXPECT_LE(use(2000), 2000 * kBytesOfSorting);
    use(texts.size());
    EXPECT_LT(held_bytes(), held + (4U << 20U));
}

TEST(Frozen_treeTest, ContainerWithoutRootIsRefused) {
    zeManager manager;
    EXPECT_QTX(Frozen_tree{manager}, zeWorkflow, 0, "Root classifier does not exist");
}

TEST(Frozen_treeTest, ClassifierOfAnotherClassIsRefused) {
    TreeBuilder tree;
    tree.Leaf(tree.Root("root"), "leaf", 0.5);
    EXPECT_ASSERTS(Frozen_tree{tree.Manager()}, "is_plain_classifier");
}

TEST(Frozen_treeTest, CachedFormIsRefused) {
    const Scratch_file file;
    Random_container kc(kFirstSeed);
    continue_cached(kc.manager, file.path(), 20);
    EXPECT_ASSERTS(Frozen_tree{kc.manager}, "manager.ReadOnDemand() == 0");
}

TEST(Frozen_treeTest, ConceptOfTheDictionaryIsRefused) {
    Trained_tree trained;
    const Frozen_tree tree(trained.manager);
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"w1", 1.0}}).make();
    zeResult_set results(0.0, -1);
    EXPECT_ASSERTS(tree.classify(*msg, results, true, false), "is_uncounted(word)");
}

}  // namespace
