#include "cli/model/Chosen_settings.h"

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/options/zeOptMap.h"

#include "cli/model/Engine_settings.h"

namespace cli {

namespace {

constexpr std::size_t kFewLabels = 30;

// Sorted by key. The figures are in docs/decisions/chosen_settings.md.
std::vector<Chosen_setting> choice_for_phrases(std::size_t label_count) {
    return {{"ProfileSize", label_count <= kFewLabels ? "10000" : "3000"}, {"SuppressM", "0"}};
}

}  // namespace

std::vector<Chosen_setting> choose_settings(Analysis_kind kind, std::size_t label_count,
                                            const Engine_settings* given) {
    if (kind != Analysis_kind::kPhrases) {
        return {};
    }
    std::vector<Chosen_setting> chosen = choice_for_phrases(label_count);
    if (given != nullptr) {
        std::erase_if(chosen, [given](const Chosen_setting& each) { return given->has(each.key); });
    }
    return chosen;
}

void apply_settings(const std::vector<Chosen_setting>& settings, qtPtrLight<zeManager>& manager) {
    zeOptMap map;
    map.Add("UseExtParms", true);
    for (const Chosen_setting& each : settings) {
        map.Add(each.key, each.value);
    }
    map.SetKcDefaults(manager, false);
}

}  // namespace cli
