// Collects the numbers of a container from its tree and its classifiers, and prints them as a table
// or as JSON.
#include "cli/kc/Kc_info.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <set>

#include <nlohmann/json.hpp>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "text/kc/Kc_paths.h"
#include "text/kc/Kc_tree_view.h"
#include "text/kc/Kept_analysis.h"
#include "text/kc/Kept_choices.h"
#include "text/kc/Kept_confidence.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kNameWidth = 20;
constexpr std::size_t kNumberWidth = 14;

Stat_info stat_info(const zeStat_matcher& matcher, std::string path) {
    const zeStat_storage& storage = *matcher.m_storage;
    Stat_info info;
    info.path = std::move(path);
    info.categories = storage.m_profiles.size();
    info.messages = storage.m_num_msgs;
    info.concepts = storage.m_concept_infos.size();
    for (const auto& [feature, weights] : matcher.m_table) {
        info.features += weights.size();
    }
    return info;
}

void add_tree(zeManager& manager, Kc_info& info) {
    const zeLogicalTree& tree = *manager.m_logical_tree;
    std::set<std::string> categories;
    for (const Kc_tree_line& line : view_tree(manager, "", -1).lines) {
        ++info.nodes;
        info.depth = std::max(info.depth, line.depth + 1);
        zeClassifier* const classifier =
            manager.m_physical_tree->get_classifier(tree.GetNode(line.id).physical_node);
        if (const auto* const matcher = dynamic_cast<zeStat_matcher*>(classifier)) {
            info.classifiers.push_back(stat_info(*matcher, shown_path(tree, line.id)));
        } else if (classifier != nullptr) {
            ++info.rule_classifiers;
        } else {
            ++info.leaves;
            categories.insert(line.category);
        }
    }
    info.categories = categories.size();
}

std::string optional_setting(const zeConfig& config, const char* key) {
    const qtString* const value = config.get_optional(key);
    return value == nullptr ? std::string() : value->str();
}

void print_field(std::string_view name, const std::string& value, std::ostream& out) {
    out << "  " << left_aligned(name, kNameWidth) << value << '\n';
}

std::string joined(const std::vector<Chosen_setting>& choices) {
    std::string text;
    for (const Chosen_setting& each : choices) {
        text += (text.empty() ? "" : ", ") + shown_text(each.key) + '=' + shown_text(each.value);
    }
    return text;
}

std::string yes_or_no(bool flag) {
    return flag ? "yes" : "no";
}

std::string form_text(const Kc_info& info) {
    std::string text = name_of(info.file->form);
    if (info.cache_bound != 0) {
        text += ", at most " + grouped(info.cache_bound) +
                (info.cache_bound == 1 ? " classifier in memory" : " classifiers in memory");
    }
    return text;
}

void print_tree_counts(const Kc_info& info, std::ostream& out) {
    out << "tree\n";
    print_field("nodes", grouped(info.nodes), out);
    print_field("leaves", grouped(info.leaves), out);
    print_field("rule nodes", grouped(info.rule_classifiers), out);
    print_field("statistical nodes", grouped(info.classifiers.size()), out);
    print_field("categories", grouped(info.categories), out);
    print_field("levels", std::to_string(info.depth), out);
}

void print_classifiers(const Kc_info& info, std::ostream& out) {
    out << "statistical classifiers\n";
    for (const char* const title : {"categories", "messages", "concepts", "features"}) {
        out << right_aligned(title, kNumberWidth);
    }
    out << "  path\n";
    for (const Stat_info& each : info.classifiers) {
        out << right_aligned(grouped(each.categories), kNumberWidth)
            << right_aligned(std::to_string(each.messages), kNumberWidth)
            << right_aligned(grouped(each.concepts), kNumberWidth)
            << right_aligned(grouped(each.features), kNumberWidth) << "  " << each.path << '\n';
    }
}

Json stat_json(const Stat_info& info) {
    return {{"path", info.path},
            {"categories", info.categories},
            {"messages", info.messages},
            {"concepts", info.concepts},
            {"features", info.features}};
}

}  // namespace

Kc_info kc_info(zeManager& manager) {
    Kc_info info;
    info.version = manager.m_version;
    info.cache_bound = manager.ReadOnDemand();
    info.is_compact = manager.m_compact;
    info.lacks_compact_flag =
        manager.m_compact && !manager.m_io.IsNull() && !manager.m_io->m_compact_read;
    info.id = manager.m_config.kc_id;
    info.name = manager.m_config.kc_name.str();
    info.created = manager.m_config.created;
    info.last_trained = manager.m_config.last_trained;
    for (const auto& [key, value] : manager.m_config.optional) {
        if (key != kConfidenceKey) {
            info.optional.emplace_back(key.str(), value.str());
        }
    }
    info.analysis = optional_setting(manager.m_config, kAnalysisKey);
    info.stem_language = optional_setting(manager.m_config, kStemKey);
    info.choices = kept_choices(manager.m_config, manager.m_defaults);
    if (const auto map = kept_confidence(manager.m_config)) {
        info.confidence_answers = map->answer_count();
    }
    info.has_damaged_confidence = has_damaged_confidence(manager.m_config);
    add_tree(manager, info);
    return info;
}

std::string moment_text(const qtTimeDate& moment) {
    using std::chrono::days;
    using std::chrono::floor;
    using std::chrono::microseconds;
    constexpr std::int64_t kYearZero = -62167219200000000;  // 0000-01-01
    constexpr std::int64_t kYearTenThousand = 253402300800000000;
    const std::int64_t count = moment.microseconds();
    if (count < kYearZero || count >= kYearTenThousand) {
        return std::to_string(count) + " microseconds since 1970";
    }
    const std::chrono::sys_time<microseconds> time{microseconds(count)};
    const auto day = floor<days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(floor<std::chrono::seconds>(time - day));
    std::array<char, 64> text = {};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d UTC",
                  static_cast<int>(date.year()), static_cast<unsigned int>(date.month()),
                  static_cast<unsigned int>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text.data();
}

void print_kc_info(const Kc_info& info, std::ostream& out) {
    out << "container\n";
    if (info.file) {
        print_field("file", shown_text(info.file->path), out);
        print_field("size", grouped(info.file->size) + " bytes", out);
        print_field("form", form_text(info), out);
        print_field("unicode", yes_or_no(info.file->is_unicode), out);
        print_field("seal", yes_or_no(info.file->is_sealed), out);
    }
    print_field("format version", std::to_string(info.version), out);
    print_field(
        "compact",
        yes_or_no(info.is_compact) + (info.lacks_compact_flag ? " (the file does not say so)" : ""),
        out);
    print_field("id", std::to_string(info.id), out);
    print_field("name", shown_text(info.name), out);
    if (!info.analysis.empty()) {
        print_field(
            "text analysis",
            shown_text(info.analysis) +
                (info.stem_language.empty() ? "" : ", stem " + shown_text(info.stem_language)),
            out);
    }
    if (!info.choices.empty()) {
        print_field("program's choices", joined(info.choices), out);
    }
    if (info.confidence_answers) {
        print_field("confidence", "from " + counted(*info.confidence_answers, "answer"), out);
    }
    if (info.has_damaged_confidence) {
        print_field("confidence", "damaged", out);
    }
    print_field("created", moment_text(info.created), out);
    print_field("last trained", moment_text(info.last_trained), out);
    print_tree_counts(info, out);
    if (!info.classifiers.empty()) {
        print_classifiers(info, out);
    }
    if (!info.optional.empty()) {
        out << "optional settings\n";
    }
    for (const auto& [key, value] : info.optional) {
        out << "  " << shown_text(key) << '=' << shown_text(value) << '\n';
    }
}

nlohmann::ordered_json kc_info_json(const Kc_info& info) {
    Json json = Json::object();
    if (info.file) {
        json["file"] = info.file->path;
        json["size"] = info.file->size;
        json["form"] = name_of(info.file->form);
        if (info.cache_bound != 0) {
            json["cache_bound"] = info.cache_bound;
        }
        json["unicode"] = info.file->is_unicode;
        json["seal"] = info.file->is_sealed;
    }
    json["version"] = info.version;
    json["compact"] = info.is_compact;
    if (info.lacks_compact_flag) {
        json["compact_flag"] = false;
    }
    json["id"] = info.id;
    json["name"] = info.name;
    json["analysis"] = info.analysis;
    json["stem"] = info.stem_language;
    json["choices"] = Json::object();
    for (const Chosen_setting& each : info.choices) {
        json["choices"][each.key] = value_json(each.value);
    }
    if (info.confidence_answers) {
        json["confidence_answers"] = *info.confidence_answers;
    }
    if (info.has_damaged_confidence) {
        json["confidence"] = "damaged";
    }
    json["created"] = moment_text(info.created);
    json["last_trained"] = moment_text(info.last_trained);
    json["nodes"] = info.nodes;
    json["leaves"] = info.leaves;
    json["rule_classifiers"] = info.rule_classifiers;
    json["categories"] = info.categories;
    json["depth"] = info.depth;
    json["statistical_classifiers"] = Json::array();
    for (const Stat_info& each : info.classifiers) {
        json["statistical_classifiers"].push_back(stat_json(each));
    }
    json["optional"] = Json::object();
    for (const auto& [key, value] : info.optional) {
        json["optional"][key] = value;
    }
    return json;
}

}  // namespace zandrel::cli
