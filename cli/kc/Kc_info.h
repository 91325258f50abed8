// Kc_info: what a knowledge container is and holds, in numbers.
#ifndef ZANDREL_CLI_KC_KC_INFO_H_
#define ZANDREL_CLI_KC_KC_INFO_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "zandrel/foundation/qtTimeDate.h"

#include "cli/kc/Kc_file_facts.h"
#include "cli/model/Chosen_settings.h"

class zeManager;

namespace cli {

// One statistical classifier.
struct Stat_info {
    std::string path;  // as it is shown
    std::size_t categories = 0;
    int messages = 0;          // that it has learned
    std::size_t concepts = 0;  // of its statistics; a compact container has none
    std::size_t features = 0;  // weights of concepts for categories
};

struct Kc_info {
    std::optional<Kc_file_facts> file;  // missing for a container in memory
    unsigned int version = 0;           // of the tree's records
    bool is_compact = false;
    bool lacks_compact_flag = false;  // the file does not say that it is compact
    std::uint32_t id = 0;
    std::string name;
    qtTimeDate created;
    qtTimeDate last_trained;
    std::size_t nodes = 0;  // leaves and both kinds of classifiers
    std::size_t leaves = 0;
    std::size_t rule_classifiers = 0;
    std::size_t categories = 0;          // different ones among the leaves
    int depth = 0;                       // levels of the tree; 0 without a node
    std::vector<Stat_info> classifiers;  // the statistical ones, in the order of the tree's view
    std::string analysis;                // of texts, by its name; empty: the container does not say
    std::string stem_language;           // empty: words stay as they are
    std::vector<Chosen_setting> choices;  // settings that the program chose and nobody changed
    // The free settings, among them those that the program keeps, as the three above.
    std::vector<std::pair<std::string, std::string>> optional;
};

// What the container itself tells.
Kc_info kc_info(zeManager& manager);

// "2026-11-21 09:30:00 UTC", or the number of microseconds for what lies outside the years 0 to
// 9999.
std::string moment_text(const qtTimeDate& moment);

void print_kc_info(const Kc_info& info, std::ostream& out);
// The same as an object; `file`, `size`, `unicode` and `seal` are missing for a container in
// memory.
nlohmann::ordered_json kc_info_json(const Kc_info& info);

}  // namespace cli

#endif  // ZANDREL_CLI_KC_KC_INFO_H_
