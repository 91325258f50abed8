// The list is a small part of all combinations. For phrases we combine the three settings that
// depend on each other: SuppressM weakens rare concepts, a larger profile keeps more of them, and
// ClipValue decides how much a concept counts that a text repeats. All others are tried one by one.
// Words have far fewer concepts, so they get fewer combinations.
//
// Settings that often gain come first, since a search may be cut off: larger profiles before
// others.
//
// With 20 labels and English there are 13 settings for phrases, 4 for words, as many with stems,
// and one tree for each of the two analyses with phrases: 36.
#include "cli/tune/Tuning_setting.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>

#include "text/model/Chosen_settings.h"
#include "text/suggest/Tree_suggestion.h"

namespace zandrel::cli {

namespace {

constexpr std::string_view kProfileSize = "ProfileSize";

// The bounds of learning follow the size, as in choose_settings.
std::vector<Key_value> profile_of(std::size_t features) {
    return {{std::string(kProfileSize), std::to_string(features)},
            {"MinPsSize", std::to_string(2 * features)},
            {"MaxPsSize", std::to_string(4 * features)}};
}

std::vector<Key_value> joined(std::vector<Key_value> first, const std::vector<Key_value>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// The profile that training chooses for phrases.
std::size_t features_of_phrases(std::size_t label_count) {
    for (const Chosen_setting& choice :
         choose_settings(Analysis_kind::kPhrases, label_count, nullptr)) {
        if (choice.key == kProfileSize) {
            return std::stoul(choice.value);
        }
    }
    return 0;
}

const Key_value kWeakenRare = {"SuppressM", "1"};
const Key_value kCountOnce = {"ClipValue", "1"};

std::vector<std::vector<Key_value>> engine_settings_of_phrases(std::size_t label_count) {
    const std::vector<Key_value> large = profile_of(3 * features_of_phrases(label_count));
    return {{},
            large,
            joined(large, {kCountOnce}),
            {kWeakenRare, kCountOnce},
            joined(large, {{"UseNormalization", "0"}}),
            {kCountOnce},
            {kWeakenRare},
            joined(large, {kWeakenRare}),
            joined(large, {kWeakenRare, kCountOnce}),
            {{"UseNormalization", "0"}},
            {{"NumberOfSlices", "5"}},
            {{"NumberOfSlices", "20"}},
            {{"UseLikelihoodInTrain", "0"}, {"UseLikelihoodInMatch", "0"}}};
}

// For words training chooses the engine's defaults: 1,000 features, and SuppressM=1.
std::vector<std::vector<Key_value>> engine_settings_of_words(std::size_t label_count) {
    const std::vector<Key_value> large = profile_of(features_of_phrases(label_count));
    return {{}, large, joined(large, {kCountOnce}), joined(large, {{"SuppressM", "0"}})};
}

// Trees gain where there are many labels. With few labels one number of groups is enough to see if
// they gain at all. Too small groups and too large ones are never the best.
std::vector<std::size_t> group_counts(std::size_t label_count) {
    constexpr std::size_t kFewLabels = 20;
    std::vector<std::size_t> counts = group_counts_to_try(label_count);
    if (label_count < kFewLabels || label_count > kMostLabels) {
        return {};
    }
    if (counts.size() == 3) {
        return {counts[1]};
    }
    return {counts.begin() + 1, counts.end() - 1};
}

}  // namespace

std::string name_of(const Tuning_setting& setting, const Tuning_setting& defaults) {
    std::string name;
    const auto add = [&name](const std::string& key, const std::string& value) {
        name += (name.empty() ? "" : " ") + key + "=" + value;
    };
    if (setting.analysis.kind != defaults.analysis.kind) {
        add("Analysis", zandrel::name_of(setting.analysis.kind));
    }
    const std::string& language = setting.analysis.stem_language;
    if (language != defaults.analysis.stem_language) {
        add("Stem", language.empty() ? "none" : language);
    }
    for (const Key_value& each : setting.engine) {
        if (each.key != "MinPsSize" && each.key != "MaxPsSize") {
            add(each.key, each.value);
        }
    }
    if (setting.group_count != 0) {
        add("Tree", std::to_string(setting.group_count));
    }
    return name.empty() ? "defaults" : name;
}

bool gives_probabilities(const Tuning_setting& setting) {
    return std::none_of(setting.engine.begin(), setting.engine.end(), [](const Key_value& each) {
        return each.key == "UseLikelihoodInMatch" && each.value == "0";
    });
}

std::vector<Analysis_settings> analyses_to_try(const std::string& stem_language) {
    std::vector<Analysis_settings> analyses;
    for (const Analysis_kind kind : {Analysis_kind::kPhrases, Analysis_kind::kWords}) {
        analyses.push_back({kind});
        if (!stem_language.empty()) {
            analyses.push_back({kind, stem_language});
        }
    }
    return analyses;
}

std::vector<Tuning_setting> settings_to_try(const std::vector<Analysis_settings>& analyses,
                                            std::size_t label_count) {
    std::vector<Tuning_setting> settings;
    for (const Analysis_settings& analysis : analyses) {
        const bool has_phrases = analysis.kind == Analysis_kind::kPhrases;
        for (std::vector<Key_value>& engine : has_phrases ? engine_settings_of_phrases(label_count)
                                                          : engine_settings_of_words(label_count)) {
            settings.push_back({analysis, std::move(engine)});
        }
    }
    for (const Analysis_settings& analysis : analyses) {
        if (analysis.kind == analyses.front().kind) {
            for (const std::size_t count : group_counts(label_count)) {
                settings.push_back({analysis, {}, count});
            }
        }
    }
    return settings;
}

// Example: the settings a1 a2 a3 b1 b2 with the analyses a and b are tried as a1 b1 a2 b2 a3.
std::vector<std::size_t> order_of_trials(const std::vector<Tuning_setting>& settings) {
    using Kind = std::tuple<Analysis_kind, std::string, bool>;
    std::map<Kind, std::size_t> seen;  // settings of this kind so far
    std::vector<std::pair<std::size_t, std::size_t>> turns;
    for (std::size_t i = 0; i < settings.size(); ++i) {
        const Tuning_setting& each = settings[i];
        const Kind kind{each.analysis.kind, each.analysis.stem_language, each.group_count != 0};
        turns.emplace_back(seen[kind]++, i);
    }
    std::sort(turns.begin(), turns.end());
    std::vector<std::size_t> order;
    order.reserve(turns.size());
    for (const std::pair<std::size_t, std::size_t>& turn : turns) {
        order.push_back(turn.second);
    }
    return order;
}

}  // namespace zandrel::cli
