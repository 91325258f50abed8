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
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "bench/synthetic_texts.h"

// A statistical root over statistical nodes ("desks") of five leaves each. A text belongs to a
// leaf. Files are made in the temporary directory and removed at the end.
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

    // Reads the container: with a bound in cached form, and with the bound 0 in plain form.
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
            texts.push_back(m_texts.make(draw(random) * kLeavesOfADesk, kTextLength));
        }
        return texts;
    }

private:
    qtString name(const char* form) const {
        return (std::filesystem::temp_directory_path() /
                ("zandrel_desks_" + std::to_string(::getpid()) + "_" + form))
            .string();
    }

    void MakeTree(zeManager& manager) const {
        manager.m_defaults.use_likelihood_in_train = false;
        const auto make = [&manager](const std::string& node, unsigned int type) {
            return manager.m_physical_tree->MakeNode(Concept::insert(node), type, 0, 0.0);
        };
        const auto add = [&manager](zeNode* parent, zeNode* child) {
            dynamic_cast<zeStat_matcher&>(*manager.m_physical_tree->get_classifier(parent))
                .add_cat(child);
        };
        manager.m_root = make("root", ZE_STAT);
        for (std::size_t desk = 0; desk < m_count; ++desk) {
            zeNode* const node = make("desk" + std::to_string(desk), ZE_STAT);
            add(manager.m_root, node);
            for (std::size_t leaf = 0; leaf < kLeavesOfADesk; ++leaf) {
                add(node, make("label" + std::to_string(desk * kLeavesOfADesk + leaf), ZE_LEAF));
            }
        }
    }

    void Train(zeManager& manager) {
        zeMemoryCorpus corpus;
        m_texts.fill(corpus, m_count * kLeavesOfADesk * kTextsOfALeaf, kTextLength);
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&manager);
        zeWorkflow(&manager).train(view, false, nullptr, false);
    }

    std::size_t m_count;
    Synthetic_texts m_texts;
};

#endif  // ZANDREL_BENCH_DESKS_H_
