// The map is a text in an optional setting. A container without this setting has no map.
#include "text/kc/Kept_confidence.h"

#include "zandrel/foundation/qtString.h"
#include "zandrel/persistence/zeConfig.h"

#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

constexpr const char* kHowToCalibrate = "zandrel train --keep-tree --calibrate makes one";

}  // namespace

void keep_confidence(const Confidence_map& map, zeConfig& config) {
    config.set_optional(kConfidenceKey, map.text());
}

std::optional<Confidence_map> kept_confidence(const zeConfig& config) {
    const qtString* const text = config.get_optional(kConfidenceKey);
    return text == nullptr ? std::nullopt : Confidence_map::parse(text->view());
}

bool has_damaged_confidence(const zeConfig& config) {
    return config.get_optional(kConfidenceKey) != nullptr && !kept_confidence(config);
}

std::string missing_confidence(const std::string& path, const zeConfig& config) {
    if (config.get_optional(kConfidenceKey) == nullptr) {
        return shown_file(path) + " has no confidence map; " + kHowToCalibrate;
    }
    if (has_damaged_confidence(config)) {
        return "the confidence map of " + shown_file(path) + " is damaged; " + kHowToCalibrate;
    }
    return {};
}

bool forget_confidence(zeConfig& config) {
    return config.optional.erase(kConfidenceKey) != 0;
}

std::string forgotten_confidence(const std::string& path, const std::string& reason) {
    return shown_file(path) + " has no confidence map any more, since " + reason + "; " +
           kHowToCalibrate;
}

}  // namespace zandrel
