// The map is a text in an optional setting. A container without this setting has no map.
#include "text/kc/Kept_confidence.h"

#include "zandrel/foundation/qtString.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/zeConfig.h"

#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

// With --keep-tree, since a new container would lose the edits of the tree and the settings.
std::string how_to_calibrate(bool is_cached) {
    return std::string("zandrel train --keep-tree --calibrate makes one") +
           (is_cached ? " after zandrel convert --plain" : "");
}

}  // namespace

void keep_confidence(const Confidence_map& map, zeManager& manager) {
    manager.m_config.set_optional(kConfidenceKey, map.text());
    manager.m_modified = true;
}

std::optional<Confidence_map> kept_confidence(const zeConfig& config) {
    const qtString* const text = config.get_optional(kConfidenceKey);
    return text == nullptr ? std::nullopt : Confidence_map::parse(text->view());
}

bool has_damaged_confidence(const zeConfig& config) {
    return config.get_optional(kConfidenceKey) != nullptr && !kept_confidence(config);
}

std::string missing_confidence(const std::string& path, const zeConfig& config, bool is_cached) {
    if (has_damaged_confidence(config)) {
        return "the confidence map of " + shown_file(path) + " is damaged; " +
               how_to_calibrate(is_cached);
    }
    if (!kept_confidence(config)) {
        return shown_file(path) + " has no confidence map; " + how_to_calibrate(is_cached);
    }
    return {};
}

bool forget_confidence(zeManager& manager) {
    const bool had_map = manager.m_config.optional.erase(kConfidenceKey) != 0;
    manager.m_modified = manager.m_modified || had_map;
    return had_map;
}

std::string forgotten_confidence(const std::string& path, const std::string& reason,
                                 bool is_cached) {
    return shown_file(path) + " has no confidence map any more, since " + reason + "; " +
           how_to_calibrate(is_cached);
}

}  // namespace zandrel
