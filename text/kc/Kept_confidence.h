// Kept_confidence: the map from scores to confidence that a knowledge container keeps.
#ifndef ZANDREL_TEXT_KC_KEPT_CONFIDENCE_H_
#define ZANDREL_TEXT_KC_KEPT_CONFIDENCE_H_

#include <optional>
#include <string>

#include "text/confidence/Confidence_map.h"

class zeManager;
struct zeConfig;

namespace zandrel {

// The key of the optional setting with the map (Confidence_map::text). The setting is missing if
// the container was trained without --calibrate, or if its scores have changed since.
constexpr const char* kConfidenceKey = "zandrel.confidence";

// Writes the map into the container, in place of the map that it keeps. The container is then
// modified, so that the file of the cached form gets the map too.
void keep_confidence(const Confidence_map& map, zeManager& manager);

// The map of the container. A damaged one counts as missing, since the answers of the container do
// not need it.
std::optional<Confidence_map> kept_confidence(const zeConfig& config);

// Returns whether the container keeps something in place of a map that is no map.
bool has_damaged_confidence(const zeConfig& config);

// Returns why the container has no map: a sentence for messages, with a command that makes one.
// Empty if it has one. `path`: of the container. `is_cached`: its form, which needs another
// command.
std::string missing_confidence(const std::string& path, const zeConfig& config,
                               bool is_cached = false);

// Removes the map, also a damaged one. Returns whether there was one. The container is then
// modified, so that the file of the cached form loses the map too.
bool forget_confidence(zeManager& manager);

// The warning after forget_confidence: that the container has no map any more, the reason, and a
// command that makes a new one and keeps the tree. `reason`: a clause such as "the tree has
// changed".
std::string forgotten_confidence(const std::string& path, const std::string& reason,
                                 bool is_cached);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KEPT_CONFIDENCE_H_
