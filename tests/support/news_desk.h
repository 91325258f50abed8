// News_desk: a container with rules and statistics on two levels. It uses only public classes to
// build, train, ask and edit the container, so a test can do the same with a loaded container.
#ifndef ZANDREL_TESTS_SUPPORT_NEWS_DESK_H_
#define ZANDREL_TESTS_SUPPORT_NEWS_DESK_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"

#include "tests/support/bags.h"

using Named_scores = std::vector<std::pair<std::string, double>>;

// The answers of a container to a set of messages: the rankings and their explanations.
struct Desk_answers {
    bool operator==(const Desk_answers& other) const = default;

    std::vector<Named_scores> rankings;
    std::vector<Named_scores> explanations;
};

// A view on a manager with this tree; the numbers are the ids of the logical nodes.
//
//     1 desk (statistics)
//       2 shop
//       3 press (rules)
//         4 home (statistics): 5 sport, 6 money      if the message is marked "home"
//         7 world (statistics): 8 travel, 9 food     if it is marked "world"
//         10 bin                                     otherwise
//
// The ids of the objects: the classifier of desk has 2 and its storage 1; the classifier of press
// has 3; those of home and world have 5 and 7, and their storages 4 and 6.
class News_desk {
public:
    static constexpr unsigned int kDesk = 1;
    static constexpr unsigned int kShop = 2;
    static constexpr unsigned int kPress = 3;
    static constexpr unsigned int kHome = 4;
    static constexpr unsigned int kSport = 5;
    static constexpr unsigned int kMoney = 6;
    static constexpr unsigned int kWorld = 7;
    static constexpr unsigned int kBin = 10;

    // BORROWS: `manager`.
    explicit News_desk(zeManager& manager) : m_manager(manager) {}

    void Build() {
        Concept name = term("desk");
        m_manager.InitWorkflow(name);
        Add(kDesk, "shop", ZE_LEAF);
        Add(kDesk, "press", ZE_RULE);
        Add(kPress, "home", ZE_STAT, "$home(?)");
        Add(kHome, "sport", ZE_LEAF);
        Add(kHome, "money", ZE_LEAF);
        Add(kPress, "world", ZE_STAT, "$world(?)");
        Add(kWorld, "travel", ZE_LEAF);
        Add(kWorld, "food", ZE_LEAF);
        Add(kPress, "bin", ZE_LEAF, "default");
    }

    unsigned int Add(unsigned int parent, std::string_view category, unsigned char type,
                     const char* rule = "") {
        zeLogicalNode node;
        node.parent = parent;
        node.category = term(category);
        node.type = type;
        node.attributes = type == ZE_LEAF ? 0 : zeNode::NoScore;
        node.rule = rule;
        node.note1 = "about " + node.category.text();
        return m_manager.m_logical_tree->AddLogicalNode(node);
    }

    void Train() {
        zeMemoryCorpus corpus;
        for (int i = 0; i < 4; ++i) {
            AddTo(corpus, {{"boot", 2.0}, {"price", 1.0}}, {}, "shop");
            AddTo(corpus, {{"goal", 2.0}, {"team", 1.5}, {"price", 0.25}}, {"home"}, "sport");
            AddTo(corpus, {{"bank", 2.0}, {"loan", 1.0 + i}}, {"home"}, "money");
            AddTo(corpus, {{"hotel", 2.0}, {"price", 0.5}}, {"world"}, "travel");
            AddTo(corpus, {{"soup", 2.0}, {"salt", 0.5 * i + 0.3}}, {"world"}, "food");
        }
        zeCorpus_view view = View(corpus);
        m_manager.GetWorkflow()->train(view, false, nullptr, false);
    }

    // Learns messages with some known and some new words.
    void Learn() {
        zeMemoryCorpus corpus;
        for (int i = 0; i < 3; ++i) {
            AddTo(corpus, {{"puck", 2.0}, {"team", 0.7}}, {"home"}, "sport");
            AddTo(corpus, {{"flight", 1.0 + i}, {"hotel", 0.1}}, {"world"}, "travel");
        }
        zeCorpus_view view = View(corpus);
        m_manager.GetWorkflow()->learn(view, nullptr, false, true);
    }

    // Learns three messages with a word, which are marked so that the rules let them through.
    void LearnWord(std::string_view word, const char* label, const char* mark) {
        zeMemoryCorpus corpus;
        for (int i = 0; i < 3; ++i) {
            AddTo(corpus, {{word, 1.0 + i}, {"price", 0.5}}, {mark}, label);
        }
        zeCorpus_view view = View(corpus);
        m_manager.GetWorkflow()->learn(view, nullptr, false, true);
    }

    // Edits the logical side, the physical side and the classifiers.
    void Edit() {
        zeLogicalTree& tree = *m_manager.m_logical_tree;
        Add(kHome, "weather", ZE_LEAF);
        tree.MoveLogicalNode(kSport, kWorld);
        tree.DelLogicalNode(kMoney, true);
        zeLogicalNode press = tree.GetNode(kWorld);
        press.rule = "$abroad(?)";
        press.note2 = "new rule";
        tree.ChangeLogicalNode(press);
    }

    Named_scores Classify(Weighted_list bag, const std::vector<const char*>& marks) {
        zeResult_set results(0.0, -1);
        m_manager.GetWorkflow()->classify(*Message(bag, marks), results, true, false);
        Named_scores ranking;
        for (int rank = 0; rank < results.count(); ++rank) {
            const zeResult& result = results.get_result(rank);
            ranking.emplace_back(result.node->m_concept.view(), result.score);
        }
        return ranking;
    }

    std::string Best(std::string_view word, const std::vector<const char*>& marks) {
        const Named_scores ranking = Classify({{word, 2.0}}, marks);
        return ranking.empty() ? "none" : ranking.front().first;
    }

    // The amount that the score of a category loses without each concept of the message.
    Named_scores Explain(Weighted_list bag, std::string_view category) {
        std::vector<zeStat_matcher::Concept_score> scores;
        m_manager.GetWorkflow()->classify_concepts(
            *Message(bag, {"home", "world"}),
            m_manager.m_physical_tree->GetLeafNodes(term(category)), scores);
        Named_scores explanation;
        for (const auto& [word, score] : scores) {
            explanation.emplace_back(word.view(), score);
        }
        return explanation;
    }

    Desk_answers Answers() {
        Desk_answers answers;
        for (const char* word : {"boot", "goal", "bank", "hotel", "soup", "price", "salt"}) {
            answers.rankings.push_back(Classify({{word, 2.0}, {"team", 0.3}}, {"home", "world"}));
            answers.rankings.push_back(Classify({{word, 2.0}, {"loan", 0.3}}, {}));
        }
        for (const char* category : {"shop", "sport", "money", "travel", "food"}) {
            answers.explanations.push_back(
                Explain({{"goal", 1.0}, {"price", 0.5}, {"salt", 1.0}, {"hotel", 1.0}}, category));
        }
        return answers;
    }

    const zeLogicalNode& Node(unsigned int id) const {
        return m_manager.m_logical_tree->GetNode(id);
    }

private:
    // A message with the same bag in two slots: training reads one, bootstrapping the other.
    static qtPtrLight<zeMsg> Message(Weighted_list bag, const std::vector<const char*>& marks) {
        const qtPtrLight<zeMsg> msg = MessageBuilder().bag(bag).bag_at(1, bag).make();
        for (const char* mark : marks) {
            msg->add_value(mark, mlMessageConverter::kString, "yes");
        }
        return msg;
    }

    static void AddTo(zeCorpus& corpus, Weighted_list bag, const std::vector<const char*>& marks,
                      std::string_view label) {
        qtPtrLight<zeMsg> msg = Message(bag, marks);
        msg->categories.push_back(term(label));
        corpus.add_msg(msg);
    }

    zeCorpus_view View(zeCorpus& corpus) {
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&m_manager);
        return view;
    }

    zeManager& m_manager;
};

// A trained News_desk with its own manager.
struct Trained_desk {
    Trained_desk() {
        desk.Build();
        desk.Train();
        manager.m_modified = false;
    }

    zeManager manager;
    News_desk desk{manager};
};

#endif  // ZANDREL_TESTS_SUPPORT_NEWS_DESK_H_
