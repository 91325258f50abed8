// The figures and messages of an archive for its user. Only list and show read messages; info uses
// the summary.
#include "cli/archive/Archive_report.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/persistence/Hpack.h"

#include "cli/archive/Archive_edit.h"
#include "cli/archive/Archive_file.h"
#include "cli/kc/Kc_info.h"
#include "text/data/Bad_record.h"
#include "text/data/Pair_values.h"
#include "text/data/Stored_corpus.h"
#include "text/wording/Json.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kNameWidth = 20;
constexpr std::size_t kNumberWidth = 12;

void print_field(std::string_view name, const std::string& value, std::ostream& out) {
    out << left_aligned(name, kNameWidth) << value << '\n';
}

std::string shown_number(double number, int decimals) {
    return std::isfinite(number) ? with_decimals(number, decimals) : "infinite";
}

std::string analysis_text(const std::optional<Analysis_settings>& analysis) {
    if (!analysis) {
        return "unknown";
    }
    return std::string(name_of(analysis->kind)) +
           (analysis->stem_language.empty() ? "" : ", stem " + analysis->stem_language);
}

std::size_t new_messages(const zeSmlArchive& archive) {
    std::vector<unsigned int> list;
    archive.GetLearningListByNewSmls(list);
    return list.size();
}

struct Progress_of_archive {
    double mature = 0.0;
    double fullness = 0.0;
};

Progress_of_archive progress_of(const zeSmlArchive& archive) {
    Progress_of_archive progress;
    archive.CountMatureCategories(progress.mature, progress.fullness, 0);
    return progress;
}

std::string column(const std::string& text) {
    return right_aligned(text, kNumberWidth);
}

// Sorted by name, since the table has no order.
std::map<std::string_view, const CatData*> categories_of(const SmlArchiveManager& summary) {
    std::map<std::string_view, const CatData*> categories;
    for (const auto& [name, data] : summary.category_info) {
        categories.emplace(name.view(), &data);
    }
    return categories;
}

void print_categories(const SmlArchiveManager& summary, std::ostream& out) {
    if (summary.category_info.empty()) {
        return;
    }
    out << '\n'
        << column("messages") << column("reserved") << column("share") << column("arrivals")
        << "  category\n";
    for (const auto& [name, data] : categories_of(summary)) {
        out << column(grouped(data->category_counter)) << column(grouped(data->reserved.size()))
            << column(percent(data->apriori)) << column(with_decimals(data->recursion1, 1)) << "  "
            << shown_text(name) << '\n';
    }
}

struct Shown_message {
    unsigned int number = 0;
    qtTimeDate time;
    bool is_reserved = false;
    zeMsg msg;
};

void read_message(Archive_to_read& archive, unsigned int number, Shown_message& message) {
    const SmlArchiveManager& summary = archive.archive().m_manager;
    message.number = number;
    message.time = summary.sml_dates.at(number);
    message.is_reserved = summary.locked_smls.contains(number);
    archive.read(number, message.msg);
}

std::string pair_of(const zeMsg& msg, const char* name) {
    const qtString* const value = msg.get_value(Concept::insert_view(name));
    return value == nullptr ? "" : value->str();
}

// Without an id of its own, a message has the key of its number, which is four bytes.
std::string id_of(const zeMsg& msg) {
    return pair_of(msg, kIdPair);
}

std::string labels_text(const zeMsg& msg) {
    std::string text;
    for (const Concept& category : msg.categories) {
        text += (text.empty() ? "" : ",") + shown_text(category.view());
    }
    return text;
}

// A value that JSON cannot express is a string, or a list of strings.
Json value_json(const Pair& pair) {
    std::string text;
    try {
        text = json_value_of(pair);
    } catch (const Bad_record&) {
        text.clear();
    }
    if (Json::accept(text)) {
        return Json::parse(text);
    }
    return pair.values.size() == 1 ? Json(pair.values.front()) : Json(pair.values);
}

Json message_json(const Shown_message& message) {
    Json json = {{"number", message.number},        {"time", moment_text(message.time)},
                 {"reserved", message.is_reserved}, {"id", nullptr},
                 {"labels", Json::array()},         {"text", pair_of(message.msg, kTextPair)}};
    const std::string id = id_of(message.msg);
    if (id != Hpack::MakeStringKey(message.number).view()) {
        json["id"] = id;
    }
    for (const Concept& category : message.msg.categories) {
        json["labels"].push_back(std::string(category.view()));
    }
    for (const Pair& pair : Stored_corpus::pairs_of(message.msg)) {
        if (error_of_pair_name(pair.name).empty()) {  // otherwise the line would not be data
            json["pairs"][pair.name] = value_json(pair);
        }
    }
    return json;
}

void print_line(const Shown_message& message, std::ostream& out) {
    out << message.number << '\t' << moment_text(message.time) << '\t'
        << (message.is_reserved ? "reserved" : "free") << '\t' << shown_text(id_of(message.msg))
        << '\t' << labels_text(message.msg) << '\t'
        << shortened(shown_text(pair_of(message.msg, kTextPair)), kLongestValue) << '\n';
}

std::size_t concepts_of(const zeMsg& msg) {
    return msg.smls[0] ? msg.smls[0]->m_concepts.size() : 0;
}

// All pairs without text and id, which have fields of their own.
std::vector<Pair> shown_pairs(const zeMsg& msg) {
    std::vector<Pair> pairs = Stored_corpus::pairs_of(msg);
    std::erase_if(pairs, [](const Pair& pair) { return pair.name == kIdPair; });
    for (const char* const name : {kTitlePair, kKeywordsPair}) {
        if (const std::optional<std::string> text = Stored_corpus::text_of(msg, name)) {
            pairs.push_back({name, mlMessageConverter::kString, {*text}});
        }
    }
    return pairs;
}

void print_message(const Shown_message& message, std::ostream& out) {
    print_field("message", std::to_string(message.number), out);
    print_field("time", moment_text(message.time), out);
    print_field("reserved", message.is_reserved ? "yes" : "no", out);
    print_field("id", shown_text(id_of(message.msg)), out);
    print_field("labels", labels_text(message.msg), out);
    print_field("concepts", grouped(concepts_of(message.msg)), out);
    for (const Pair& pair : shown_pairs(message.msg)) {
        const Json value = value_json(pair);
        print_field("pair",
                    shown_text(pair.name) + " = " +
                        shown_text(value.is_string() ? value.get<std::string>() : json_text(value)),
                    out);
    }
    print_field("text", shown_text(pair_of(message.msg, kTextPair)), out);
}

Json full_message_json(const Shown_message& message) {
    Json json = message_json(message);
    json.erase("pairs");
    json["concepts"] = concepts_of(message.msg);
    json["pairs"] = Json::object();
    for (const Pair& pair : shown_pairs(message.msg)) {
        json["pairs"][pair.name] = value_json(pair);
    }
    return json;
}

}  // namespace

void print_archive_info(Archive_to_read& archive, std::ostream& out) {
    const SmlArchiveManager& summary = archive.archive().m_manager;
    const Progress_of_archive progress = progress_of(archive.archive());
    print_field("file", shown_text(archive.name()), out);
    print_field("offsets", archive.is_wide() ? "64 bits" : "32 bits", out);
    print_field("version", std::to_string(summary.version), out);
    print_field("text analysis", analysis_text(archive.analysis()), out);
    print_field("messages", grouped(summary.sml_dates.size()), out);
    print_field("new messages", grouped(new_messages(archive.archive())), out);
    print_field("reserved messages", grouped(summary.locked_smls.size()), out);
    print_field("reserved size", grouped(summary.cat_reserved_size), out);
    print_field("minimal size", grouped(summary.cat_minimal_size), out);
    print_field("age ratio", with_decimals(summary.age_ratio, 2), out);
    print_field("container",
                is_bound(summary) ? "id " + std::to_string(summary.kc_id) + ", trained " +
                                        moment_text(summary.kc_time)
                                  : "none",
                out);
    print_field("mature categories", shown_number(progress.mature, 2) + " %", out);
    print_field("fullness", shown_number(progress.fullness, 2) + " %", out);
    print_field("categories", grouped(summary.category_info.size()), out);
    print_categories(summary, out);
}

nlohmann::ordered_json archive_info_json(Archive_to_read& archive) {
    const SmlArchiveManager& summary = archive.archive().m_manager;
    const Progress_of_archive progress = progress_of(archive.archive());
    const std::optional<Analysis_settings> analysis = archive.analysis();
    Json json = {{"file", archive.name()},
                 {"offset_bits", archive.is_wide() ? 64 : 32},
                 {"version", summary.version},
                 {"analysis", nullptr},
                 {"messages", summary.sml_dates.size()},
                 {"new_messages", new_messages(archive.archive())},
                 {"reserved_messages", summary.locked_smls.size()},
                 {"reserved_size", summary.cat_reserved_size},
                 {"minimal_size", summary.cat_minimal_size},
                 {"age_ratio", summary.age_ratio},
                 {"container", nullptr},
                 {"mature", progress.mature},
                 {"fullness", nullptr},
                 {"categories", Json::array()}};
    if (analysis) {
        json["analysis"] = {{"kind", name_of(analysis->kind)}, {"stem", analysis->stem_language}};
    }
    if (is_bound(summary)) {
        json["container"] = {{"id", summary.kc_id}, {"trained", moment_text(summary.kc_time)}};
    }
    if (std::isfinite(progress.fullness)) {
        json["fullness"] = progress.fullness;
    }
    for (const auto& [name, data] : categories_of(summary)) {
        json["categories"].push_back({{"name", std::string(name)},
                                      {"messages", data->category_counter},
                                      {"reserved", data->reserved.size()},
                                      {"share", data->apriori},
                                      {"arrivals", data->recursion1}});
    }
    return json;
}

void list_messages(Archive_to_read& archive, const Listed_messages& listed, bool writes_json,
                   std::ostream& out) {
    std::vector<unsigned int> numbers;
    if (listed.is_new) {
        archive.archive().GetLearningListByNewSmls(numbers);
    } else {
        for (const auto& entry : archive.archive().m_manager.sml_dates) {
            numbers.push_back(entry.first);
        }
    }
    const Concept category = Concept::insert_view(listed.category);
    for (const unsigned int number : numbers) {
        Shown_message message;
        read_message(archive, number, message);
        const std::vector<Concept>& labels = message.msg.categories;
        if (!listed.category.empty() &&
            std::find(labels.begin(), labels.end(), category) == labels.end()) {
            continue;
        }
        if (writes_json) {
            print_json(message_json(message), Json_form::kOneLine, out);
        } else {
            print_line(message, out);
        }
    }
}

void show_messages(Archive_to_read& archive, const std::vector<std::string>& ids, bool are_numbers,
                   bool writes_json, std::ostream& out) {
    bool is_first = true;
    for (const std::string& id : ids) {
        Shown_message message;
        read_message(archive, number_of_message(archive.name(), archive.archive(), id, are_numbers),
                     message);
        if (writes_json) {
            print_json(full_message_json(message), Json_form::kOneLine, out);
            continue;
        }
        out << (is_first ? "" : "\n");
        is_first = false;
        print_message(message, out);
    }
}

}  // namespace zandrel::cli
