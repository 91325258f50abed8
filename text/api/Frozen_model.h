// Frozen_model: classifies and explains texts in several threads at the same time.
#ifndef ZANDREL_TEXT_API_FROZEN_MODEL_H_
#define ZANDREL_TEXT_API_FROZEN_MODEL_H_

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "zandrel/frozen/Frozen_call.h"
#include "zandrel/frozen/Frozen_tree.h"
#include "zandrel/text/Classifier.h"
#include "zandrel/text/Text.h"

#include "text/analysis/Text_analysis.h"
#include "text/api/Container_lock.h"
#include "text/confidence/Confidence_map.h"

class zeManager;

namespace zandrel {

// The tools of one thread for a text. They are kept for the next text, which then allocates little.
class Reader_tools {
public:
    explicit Reader_tools(const Analysis_settings& settings)
        : m_analysis(make_text_analysis(settings)) {}

private:
    friend class Frozen_model;

    std::unique_ptr<Text_analysis> m_analysis;
    detail::Frozen_call m_call;
};

// The tools of all readers of a container, one for each place of its lock. They are made when a
// reader comes to a place for the first time.
class Reader_pool {
public:
    explicit Reader_pool(const Analysis_settings& settings) : m_settings(settings) {}

    // REQUIRES: only the reader at this place calls it.
    Reader_tools& at(std::size_t place) {
        std::unique_ptr<Reader_tools>& tools = m_tools[place];
        if (tools == nullptr) {
            tools = std::make_unique<Reader_tools>(m_settings);
        }
        return *tools;
    }

    // REQUIRES: no reader has a place.
    void clear() { m_tools = {}; }

private:
    Analysis_settings m_settings;
    std::array<std::unique_ptr<Reader_tools>, Container_lock::kPlaces> m_tools;
};

// A container as it is between two changes. Its answers are equal to those of Text_model, to the
// last bit, and a call writes nothing that another thread reads.
//
// Threads: any number may call the const functions, each with its own tools.
class Frozen_model {
public:
    // REQUIRES: the lock of the process, here and in the destructor; a container that is not in
    // cached form and whose rules have the forms of the analysis (give_forms).
    // `confidence`: the map of the container. `has_rules`: rules can block texts.
    // BORROWS: the container, which must not change.
    Frozen_model(zeManager& manager, const std::optional<Confidence_map>& confidence,
                 bool has_rules)
        : m_tree(manager), m_confidence(confidence), m_has_rules(has_rules) {}

    // REQUIRES: with a least confidence, a confidence map.
    std::vector<Label> classify(const Text& text, const Classify_options& options,
                                Reader_tools& tools) const;

    // RAISES: Error not_found for an unknown node.
    // REQUIRES: can_explain().
    Reasons explain(const Text& text, std::string_view node, Reader_tools& tools) const;

    bool can_explain() const { return m_tree.has_learned_words(); }

    // Reads all learned words, which takes time and memory in a large container.
    // REQUIRES: as for the constructor.
    void prepare_to_explain() { m_tree.read_learned_words(); }

private:
    detail::Frozen_tree m_tree;
    std::optional<Confidence_map> m_confidence;
    bool m_has_rules;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_API_FROZEN_MODEL_H_
