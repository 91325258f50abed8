// Small_kc: a trained container of a few nodes, full or compact.
#ifndef ZANDREL_TESTS_CLI_SMALL_KC_H_
#define ZANDREL_TESTS_CLI_SMALL_KC_H_

#include <string>
#include <string_view>

#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/logical_tree.h"
#include "tests/support/small_model.h"
#include "text/kc/Kc_paths.h"

namespace zandrel::cli {

// The nodes, with their types and the messages learned for them:
//
// root (stat) - mail (leaf, 1)
//             - news (stat, 3) - sport (leaf, 2), money (leaf, 1)
//             - filter (rule) - spam (leaf, rule "1"), rest (leaf, rule "default")
class Small_kc {
public:
    Small_kc() : m_manager(new zeManager) {
        m_manager->m_defaults = plain_settings();
        const unsigned int root = Add(0, "root", "", ZE_STAT);
        Add(root, "mail");
        const unsigned int news = Add(root, "news", "", ZE_STAT);
        Add(news, "sport");
        Add(news, "money");
        const unsigned int filter = Add(root, "filter", "", ZE_RULE);
        Add(filter, "spam", "1");
        Add(filter, "rest", "default");
        Train();
    }

    // The container as it is after a save in compact form and a load.
    static Small_kc Compact() {
        Small_kc kc;
        KcIoMode mode;
        mode.compact = true;
        qtPtr<qtBuffer> buffer;
        kc.m_manager->Write(buffer, &mode, nullptr);
        kc.m_manager->Read(buffer, nullptr, nullptr);
        kc.m_manager->m_modified = false;
        return kc;
    }

    qtPtrLight<zeManager>& Pointer() { return m_manager; }

    zeManager& Manager() { return *m_manager; }

    const zeLogicalNode& Node(const std::string& path) {
        return find_node(*m_manager->m_logical_tree, path);
    }

    bool Has(const std::string& path) {
        return m_manager->m_logical_tree->FindNodeByPath(path).id != 0;
    }

    zeStat_matcher& Matcher(const std::string& path) {
        return dynamic_cast<zeStat_matcher&>(
            *m_manager->m_physical_tree->get_classifier(Node(path).physical_node));
    }

    zeStat_storage& Storage(const std::string& path) { return *Matcher(path).m_storage; }

private:
    unsigned int Add(unsigned int parent, std::string_view name, const qtString& rule = "",
                     unsigned int type = ZE_LEAF) {
        zeLogicalNode node = node_to_add(parent, name, rule, type);
        node.attributes = type == ZE_LEAF ? 0 : zeNode::NoScore;
        return m_manager->m_logical_tree->AddLogicalNode(node);
    }

    // Trains each statistical classifier with the messages of its own categories.
    void Train() {
        zeNode* const mail = Node("root/mail").physical_node;
        zeNode* const news = Node("root/news").physical_node;
        zeNode* const sport = Node("root/news/sport").physical_node;
        zeNode* const money = Node("root/news/money").physical_node;
        Small_corpus top;
        Small_corpus below;
        top.add(MessageBuilder().bag({{"letter", 1.0}, {"stamp", 1.0}}), {mail});
        for (int i = 0; i < 2; ++i) {
            const Weighted_list words = {{"goal", 1.0}, {"team", 1.0}};
            top.add(MessageBuilder().bag(words), {news});
            below.add(MessageBuilder().bag(words), {sport});
        }
        top.add(MessageBuilder().bag({{"bank", 1.0}, {"loan", 1.0}}), {news});
        below.add(MessageBuilder().bag({{"bank", 1.0}, {"loan", 1.0}}), {money});
        Matcher("root").train(top.view);
        Matcher("root/news").train(below.view);
        m_manager->m_modified = false;
    }

    qtPtrLight<zeManager> m_manager;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_TESTS_CLI_SMALL_KC_H_
