// Desks: a container of many statistical classifiers, its file in both forms, and texts for it.
#ifndef ZANDREL_BENCH_DESKS_H_
#define ZANDREL_BENCH_DESKS_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/persistence/KcIoMode.h"

#include "bench/synthetic_texts.h"

// A root with rules over statistical nodes ("desks") of five leaves each. The pair "desk" of a text
// selects its desk, so a text visits one statistical classifier. The files are made in the
// temporary directory and removed at the end.
class Desks {
public:
    static constexpr std::size_t kLeavesOfADesk = 5;
    static constexpr std::size_t kTextsOfALeaf = 4;
    static constexpr std::size_t kTextLength = 50;
    static constexpr std::size_t kVocabulary = 20000;

    explicit Desks(std::size_t count)
        : m_count(count), m_texts(kVocabulary, count * kLeavesOfADesk) {
        zeManager manager;
        MakeTree(manager);
        Train(manager);
        manager.Write(plain(), nullptr, nullptr);
        KcIoMode mode;
        mode.io_mode = KcIoMode::CACHED_IO;
        manager.Write(cached(), &mode, nullptr);
    }

    Desks(const Desks&) = delete;
    Desks& operator=(const Desks&) = delete;

    ~Desks() {
        std::filesystem::remove(plain().str());
        std::filesystem::remove(cached().str());
    }

    qtString plain() const { return name("plain"); }

    qtString cached() const { return name("cached"); }

    // Reads the container in cached form with a bound, or in plain form with the bound 0.
    void Read(zeManager& manager, unsigned int bound) const {
        KcIoMode mode;
        mode.cache_size = bound;
        manager.Read(bound == 0 ? plain() : cached(), bound == 0 ? nullptr : &mode, nullptr);
    }

    // Texts of desks that are drawn with equal chances, or by Zipf's law.
    std::vector<qtPtrLight<zeMsg>> DrawTexts(std::size_t text_count, bool is_skewed) {
        std::mt19937 random(7);
        std::vector<double> weights;
        for (std::size_t desk = 0; desk < m_count; ++desk) {
            weights.push_back(is_skewed ? 1.0 / static_cast<double>(desk + 1) : 1.0);
        }
        std::discrete_distribution<std::size_t> draw(weights.begin(), weights.end());
        std::vector<qtPtrLight<zeMsg>> texts;
        for (std::size_t i = 0; i < text_count; ++i) {
            texts.push_back(make_text(draw(random) * kLeavesOfADesk + i % kLeavesOfADesk));
        }
        return texts;
    }

private:
    qtString name(const char* form) const {
        return (std::filesystem::temp_directory_path() /
                ("zandrel_desks_" + std::to_string(::getpid()) + "_" + form))
            .string();
    }

    qtPtrLight<zeMsg> make_text(std::size_t label) {
        qtPtrLight<zeMsg> text = m_texts.make(label, kTextLength);
        text->add_value("desk", mlMessageConverter::kString,
                        std::to_string(label / kLeavesOfADesk));
        return text;
    }

    unsigned int Add(zeManager& manager, unsigned int parent, unsigned char type,
                     const std::string& category, const std::string& rule) const {
        zeLogicalNode node;
        node.parent = parent;
        node.type = type;
        node.attributes = type == ZE_LEAF ? 0 : zeNode::NoScore;
        node.category = Concept::insert_view(category);
        node.rule = rule;
        return manager.m_logical_tree->AddLogicalNode(node);
    }

    void MakeTree(zeManager& manager) const {
        manager.m_defaults.use_likelihood_in_train = false;
        const unsigned int root = Add(manager, 0, ZE_RULE, "root", "");
        for (std::size_t desk = 0; desk < m_count; ++desk) {
            const std::string number = std::to_string(desk);
            const unsigned int node =
                Add(manager, root, ZE_STAT, "desk" + number, "$desk(s) == '" + number + "'");
            for (std::size_t leaf = 0; leaf < kLeavesOfADesk; ++leaf) {
                Add(manager, node, ZE_LEAF, "label" + std::to_string(desk * kLeavesOfADesk + leaf),
                    "");
            }
        }
    }

    void Train(zeManager& manager) {
        zeMemoryCorpus corpus;
        for (std::size_t i = 0; i < m_count * kLeavesOfADesk * kTextsOfALeaf; ++i) {
            qtPtrLight<zeMsg> text = make_text(i % (m_count * kLeavesOfADesk));
            corpus.add_msg(text);
        }
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&manager);
        zeWorkflow(&manager).train(view, false, nullptr, false);
    }

    std::size_t m_count;
    Synthetic_texts m_texts;
};

#endif  // ZANDREL_BENCH_DESKS_H_
