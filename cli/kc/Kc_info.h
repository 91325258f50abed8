// Kc_info: the description of a knowledge container that the command `info` prints.
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

#include "text/kc/Kc_file_facts.h"
#include "text/model/Chosen_settings.h"

class zeManager;

namespace zandrel::cli {

// One statistical classifier.
struct Stat_info {
    std::string path;  // as it is shown
    std::size_t categories = 0;
    int messages = 0;          // that the classifier has learned
    std::size_t concepts = 0;  // in its statistics; 0 in a compact container
    std::size_t features = 0;  // number of weights of concepts for categories
};

struct Kc_info {
    std::optional<Kc_file_facts> file;  // missing for a container in memory
    unsigned int cache_bound = 0;       // in cached form; see Cache_bound
    unsigned int version = 0;           // of the records of the tree
    bool is_compact = false;
    bool lacks_compact_flag = false;  // it is compact, but the flag in the file is missing
    std::uint32_t id = 0;
    std::string name;
    qtTimeDate created;
    qtTimeDate last_trained;
    std::size_t nodes = 0;  // leaves, rule nodes and statistical nodes
    std::size_t leaves = 0;
    std::size_t rule_classifiers = 0;
    std::size_t categories = 0;           // different ones among the leaves
    int depth = 0;                        // levels of the tree; 0 without a node
    std::vector<Stat_info> classifiers;   // the statistical ones, in the order of view_tree
    std::string analysis;                 // its name; empty: the container has none
    std::string stem_language;            // empty: words stay as they are
    std::vector<Chosen_setting> choices;  // settings that the program chose and nobody changed
    // Answers from which the confidence map is made; missing without a map.
    std::optional<std::size_t> confidence_answers;
    bool has_damaged_confidence = false;  // there is no map, but something in its place
    // The other optional settings, also those from which the analysis and the choices come. The
    // confidence map is left out: it is a long list of numbers.
    std::vector<std::pair<std::string, std::string>> optional;
};

// Describes a container in memory: all members except `file`.
Kc_info kc_info(zeManager& manager);

// "2026-11-21 09:30:00 UTC"; outside of the years 0 to 9999 "... microseconds since 1970".
std::string moment_text(const qtTimeDate& moment);

void print_kc_info(const Kc_info& info, std::ostream& out);
// The same as an object; `confidence` is "damaged" for a damaged map, and missing otherwise;
// `file`, `size`, `form`, `unicode` and `seal` are missing for a container in memory, and
// `cache_bound` for one that is not in cached form.
nlohmann::ordered_json kc_info_json(const Kc_info& info);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_KC_KC_INFO_H_
