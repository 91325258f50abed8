// Changed_answers: finds out if an edit changes the answers of a container. Then the confidence map
// of the container is dropped.
#ifndef ZANDREL_TEXT_KC_CHANGED_ANSWERS_H_
#define ZANDREL_TEXT_KC_CHANGED_ANSWERS_H_

#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "zandrel/foundation/qtPtr.h"

#include "text/kc/Kc_options.h"

class zeManager;

namespace zandrel {

// All that the answers of a container depend on, except for what its classifiers have learned: the
// tree without names and notes, and the settings that scores depend on. Names of categories matter
// only where two leaves have the same one. Make one before an edit. It is empty, and costs nothing,
// if the container has no confidence map.
//
// It takes the map out of the container until settle_confidence. An edit of a container in cached
// form can write its tree before it ends, and the file must then have no map of the old tree.
class Changed_answers {
public:
    explicit Changed_answers(qtPtrLight<zeManager>& manager);

    // Gives the map back, unless the container has other answers now. Returns a warning that the
    // map is dropped, or an empty text. A container that had a map is modified afterwards. `path`:
    // of the container.
    std::string settle_confidence(const std::string& path, qtPtrLight<zeManager>& manager) const;

private:
    // Id, type, attributes, threshold, rule, parent, and the first leaf with the same category.
    using Node = std::tuple<unsigned int, unsigned char, unsigned char, double, std::string,
                            unsigned int, unsigned int>;

    static std::vector<Node> nodes_of(const zeManager& manager);
    static std::vector<Kc_setting> settings_of(qtPtrLight<zeManager>& manager);

    std::optional<std::string> m_map;  // as the container kept it; missing: it had none
    std::vector<Node> m_nodes;         // sorted
    std::vector<Kc_setting> m_settings;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_CHANGED_ANSWERS_H_
