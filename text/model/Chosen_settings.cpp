// Makes all choices and removes those that the user's settings replace.
//
// Example: phrases with 20 labels and the user's ProfileSize=500. All choices are
// AverageRlimit=3000, MaxPsSize=40000, MaxRlimit=10000, MinPsSize=20000, MinRlimit=30,
// ProfileSize=10000 and SuppressM=0. ProfileSize replaces the choices for itself and for the bounds
// MinPsSize and MaxPsSize, so the limits and SuppressM remain. With MinPsSize=5000 instead,
// ProfileSize=10000 remains too.
#include "text/model/Chosen_settings.h"

#include <algorithm>
#include <array>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/options/zeOptMap.h"

#include "text/model/Engine_settings.h"

namespace zandrel {

namespace {

using Keys = std::array<std::string_view, 3>;

// A limit has a meaning only together with the two others.
constexpr Keys kLimits = {"AverageRlimit", "MaxRlimit", "MinRlimit"};
// The bounds of a profile are chosen by the number of its features, and MaxPsSize must not be below
// MinPsSize.
constexpr Keys kSizes = {"MaxPsSize", "MinPsSize", "ProfileSize"};

bool has(const Keys& keys, std::string_view key) {
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

// All choices, sorted by key. The figures are in docs/decisions/chosen_settings.md.
std::vector<Chosen_setting> all_choices(Analysis_kind kind, std::size_t label_count) {
    constexpr std::size_t kFewLabels = 30;
    std::vector<Chosen_setting> all = {
        {"AverageRlimit", "3000"}, {"MaxRlimit", "10000"}, {"MinRlimit", "30"}};
    if (kind == Analysis_kind::kPhrases) {
        // The bounds have the proportions of the engine's defaults.
        const int features = label_count <= kFewLabels ? 10000 : 3000;
        all.push_back({"MaxPsSize", std::to_string(4 * features)});
        all.push_back({"MinPsSize", std::to_string(2 * features)});
        all.push_back({"ProfileSize", std::to_string(features)});
        all.push_back({"SuppressM", "0"});
    }
    std::sort(all.begin(), all.end(), [](const Chosen_setting& left, const Chosen_setting& right) {
        return left.key < right.key;
    });
    return all;
}

}  // namespace

bool replaces_choice(std::string_view given, std::string_view chosen) {
    return given == chosen || (has(kLimits, given) && has(kLimits, chosen)) ||
           (has(kSizes, given) && has(kSizes, chosen) && chosen != "ProfileSize");
}

std::vector<Chosen_setting> choose_settings(Analysis_kind kind, std::size_t label_count,
                                            const Engine_settings* given) {
    const std::vector<Chosen_setting> all = all_choices(kind, label_count);
    std::vector<Chosen_setting> chosen = all;
    std::erase_if(chosen, [&all, given](const Chosen_setting& each) {
        return std::any_of(all.begin(), all.end(), [&each, given](const Chosen_setting& other) {
            return given != nullptr && given->has(other.key) &&
                   replaces_choice(other.key, each.key);
        });
    });
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

}  // namespace zandrel
