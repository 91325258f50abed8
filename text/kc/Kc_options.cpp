// The library's map of options converts settings to texts and back, for a whole container. So we
// put the settings of one classifier into a container without nodes, and apply the map to that
// container.
#include "text/kc/Kc_options.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "zandrel/foundation/hash_map.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/options/zeOptMap.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "text/errors.h"
#include "text/kc/Kc_paths.h"
#include "text/kc/Kc_tree.h"
#include "text/kc/Kept_choices.h"
#include "text/kc/stat_classifiers.h"
#include "text/model/Engine_settings.h"
#include "text/wording/Key_value.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using Json = nlohmann::ordered_json;

// Makes a container without nodes that has these settings. The map can read and write it.
qtPtrLight<zeManager> container_of(const zeConfig& config, const zeDefaults& defaults) {
    qtPtrLight<zeManager> container(new zeManager);
    container->m_config = config;
    container->m_defaults = defaults;
    return container;
}

void verify(const Key_value& setting) {
    std::string problem = setting_problem(setting.key, setting.value);
    if (problem.empty()) {
        problem = keeping_problem(setting.key, zeOptMap::known_keys());
    }
    if (!problem.empty()) {
        throw Usage_error(problem);
    }
}

void verify_compact(const zeStat_storage& storage, const zeDefaults& wanted) {
    if (storage.m_use_train_likelihood != wanted.use_likelihood_in_train ||
        storage.m_likelihood_resolution != wanted.likelihood_resolution) {
        throw Edit_refused(
            "the container is compact: without the statistics of training no likelihood table can "
            "be made anew");
    }
}

}  // namespace

std::map<qtString, qtString> setting_texts(const zeConfig& config, const zeDefaults& defaults) {
    qtPtrLight<zeManager> container = container_of(config, defaults);
    zeOptMap map;
    map.GetKcDefaults(container);
    return std::move(map.options);
}

std::vector<Kc_setting> kc_settings(qtPtrLight<zeManager>& manager) {
    std::map<qtString, qtString> texts = setting_texts(manager->m_config, manager->m_defaults);
    std::vector<Kc_setting> settings;
    for (const zeOptMap::Known_key& known : zeOptMap::known_keys()) {
        settings.push_back({known.key, texts[known.key].str(), {}});
    }
    for_each_stat_classifier(*manager, [&](const Stat_classifier& each) {
        const std::string path = shown_path(*manager->m_logical_tree, each.id);
        texts = setting_texts(manager->m_config, each.matcher.m_storage->settings());
        for (Kc_setting& setting : settings) {
            const std::string value = texts[setting.key].str();
            if (value != setting.value) {
                setting.others.push_back({path, value});
            }
        }
    });
    for (Kc_setting& setting : settings) {
        std::stable_sort(setting.others.begin(), setting.others.end(),
                         [](const Other_value& left, const Other_value& right) {
                             return left.path < right.path;
                         });
    }
    return settings;
}

Kc_setting kc_setting(qtPtrLight<zeManager>& manager, const std::string& key) {
    for (const Kc_setting& setting : kc_settings(manager)) {
        if (setting.key == key) {
            return setting;
        }
    }
    throw Usage_error("unknown setting \"" + shown_value(key) + "\"");
}

std::string keeping_problem(std::string_view key, const std::vector<zeOptMap::Known_key>& known) {
    std::string kept;
    for (const zeOptMap::Known_key& each : known) {
        if (!each.is_stored) {
            continue;
        }
        if (key == each.key) {
            return "";
        }
        kept += (kept.empty() ? "" : ", ") + std::string(each.key);
    }
    return shown_value(std::string(key)) +
           " is read from options files and kept in no container; these settings are kept: " + kept;
}

std::vector<Key_value> setting_values(const std::vector<std::string>& words) {
    std::vector<Key_value> values;
    for (const std::string& word : words) {
        const std::optional<Key_value> setting = split_trimmed(word);
        if (!setting) {
            throw Usage_error(shown_value(word) + ": no \"=\" between key and value");
        }
        verify(*setting);
        values.push_back(*setting);
    }
    return values;
}

bool set_kc_settings(qtPtrLight<zeManager>& manager, const std::vector<Key_value>& values) {
    zeOptMap map;
    map.Add("UseExtParms", true);
    for (const Key_value& setting : values) {
        map.Add(setting.key, setting.value);
    }
    // We apply the map to the classifier's own settings, so that settings without a given value
    // stay. No classifier changes before all are verified: a container in cached form is changed in
    // place, and a classifier may leave the memory as soon as it has changed.
    bool has_change = false;
    hash_map<unsigned int, zeDefaults> wanted;  // by the node's id
    for_each_stat_classifier(*manager, [&](const Stat_classifier& each) {
        const zeStat_storage& storage = *each.matcher.m_storage;
        const zeDefaults now = storage.settings();
        qtPtrLight<zeManager> own = container_of(manager->m_config, now);
        map.SetKcDefaults(own, false);
        if (manager->m_compact) {
            verify_compact(storage, own->m_defaults);
        }
        has_change = has_change || setting_texts(manager->m_config, now) !=
                                       setting_texts(manager->m_config, own->m_defaults);
        wanted[each.id] = own->m_defaults;
    });
    const std::map<qtString, qtString> before =
        setting_texts(manager->m_config, manager->m_defaults);
    map.SetKcDefaults(manager, false);
    const bool has_forgotten = forget_choices(values, manager->m_config);
    has_change = has_change || has_forgotten ||
                 setting_texts(manager->m_config, manager->m_defaults) != before;
    if (!has_change) {
        return false;
    }
    zeSetDefaults all = zeSetDefaults::all(true);
    for_each_stat_classifier(*manager, [&](const Stat_classifier& each) {
        each.matcher.m_storage->set_defaults(wanted.at(each.id), all);
        each.matcher.m_dirty = true;
    });
    manager->m_modified = true;
    return true;
}

void print_settings(const std::vector<Kc_setting>& settings, std::ostream& out) {
    for (const Kc_setting& setting : settings) {
        out << setting.key << '=' << setting.value;
        const char* before = "  # ";
        for (const Other_value& other : setting.others) {
            out << before << other.value << " at " << other.path;
            before = ", ";
        }
        out << '\n';
    }
}

void write_options_file(const zeManager& manager, std::ostream& out) {
    std::map<qtString, qtString> texts = setting_texts(manager.m_config, manager.m_defaults);
    texts["UseExtParms"] = "1";
    for (const auto& [key, value] : texts) {
        out << key.view() << " = " << value.view() << '\n';
    }
}

std::vector<std::string> classifiers_with_other_values(const std::vector<Kc_setting>& settings) {
    std::set<std::string> paths;
    for (const Kc_setting& setting : settings) {
        for (const Other_value& other : setting.others) {
            paths.insert(other.path);
        }
    }
    return {paths.begin(), paths.end()};
}

nlohmann::ordered_json value_json(const std::string& value) {
    Json number = Json::parse(value, nullptr, false);
    return number.is_number() ? number : Json(value);
}

nlohmann::ordered_json settings_json(const std::vector<Kc_setting>& settings) {
    Json json = Json::object();
    for (const Kc_setting& setting : settings) {
        Json classifiers = Json::array();
        for (const Other_value& other : setting.others) {
            classifiers.push_back({{"path", other.path}, {"value", value_json(other.value)}});
        }
        json[setting.key] = {{"value", value_json(setting.value)},
                             {"classifiers", std::move(classifiers)}};
    }
    return json;
}

}  // namespace zandrel
