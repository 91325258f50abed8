// Kept_confidence: the map from scores to confidence that a knowledge container keeps.
#ifndef ZANDREL_TEXT_KC_KEPT_CONFIDENCE_H_
#define ZANDREL_TEXT_KC_KEPT_CONFIDENCE_H_

#include <optional>
#include <string>

#include "text/confidence/Confidence_map.h"

struct zeConfig;

namespace zandrel {

// The key of the optional setting with the map (Confidence_map::text). The setting is missing if
// the container was trained without --calibrate, or if its scores have changed since.
constexpr const char* kConfidenceKey = "zandrel.confidence";

// Writes the map into the container, in place of the map that it keeps.
void keep_confidence(const Confidence_map& map, zeConfig& config);

// The map of the container. A damaged one counts as missing, since the answers of the container do
// not need it.
std::optional<Confidence_map> kept_confidence(const zeConfig& config);

// Returns if the container has a map that cannot be read, for example after another program has
// changed it.
bool has_damaged_confidence(const zeConfig& config);

// Returns why the container has no map: a sentence for messages, with a command that makes one.
// Empty if it has one. `path`: of the container.
std::string missing_confidence(const std::string& path, const zeConfig& config);

// Removes the map, also a damaged one. Returns true if there was one.
bool forget_confidence(zeConfig& config);

// The warning after forget_confidence: that the container has no map any more, the reason, and a
// command that makes a new one. `reason`: a clause such as "the tree has changed".
std::string forgotten_confidence(const std::string& path, const std::string& reason);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KEPT_CONFIDENCE_H_
