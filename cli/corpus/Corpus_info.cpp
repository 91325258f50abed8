// The labels are not stored by themselves, so all messages are read.
#include "cli/corpus/Corpus_info.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include <nlohmann/json.hpp>

#include "zandrel/knowledge/Progress.h"

#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

using zandrel::detail::Progress;

void print_line(std::string_view name, const std::string& value, std::ostream& out) {
    out << left_aligned(name, kNameWidth) << value << '\n';
}

}  // namespace

Corpus_info corpus_info(const std::string& path, CTProgress* progress) {
    const Stored_corpus corpus(path, 0);
    Corpus_info info = {path, std::filesystem::file_size(path), corpus.version(), corpus.size(),
                        corpus.notes()};
    const Progress steps(progress);
    steps.set_status("Counting the labels");
    steps.set_total(corpus.size());
    for (std::size_t i = 0; i < corpus.size(); ++i) {
        for (const std::string& label : Stored_corpus::labels_of(*corpus.stored(i))) {
            ++info.labels[label];
        }
        steps.step();
    }
    return info;
}

void print_corpus_info(const Corpus_info& info, std::ostream& out) {
    print_line("file", shown_text(info.file), out);
    print_line("bytes", grouped(info.bytes), out);
    print_line("version", std::to_string(info.version), out);
    print_line("analysis", info.notes.analysis ? words_of(*info.notes.analysis) : "not known", out);
    print_line("titles", info.notes.has_titles ? "yes" : "no", out);
    print_line("texts", grouped(info.texts), out);
    print_line("labels", grouped(info.labels.size()), out);
    for (const auto& [label, texts] : info.labels) {
        out << right_aligned(grouped(texts), kNameWidth) << "  " << shown_text(label) << '\n';
    }
}

nlohmann::ordered_json corpus_info_json(const Corpus_info& info) {
    nlohmann::ordered_json json = {{"file", info.file},
                                   {"bytes", info.bytes},
                                   {"version", info.version},
                                   {"texts", info.texts},
                                   {"analysis", nullptr},
                                   {"stem", nullptr},
                                   {"titles", info.notes.has_titles},
                                   {"labels", nlohmann::ordered_json::array()}};
    if (info.notes.analysis) {
        json["analysis"] = name_of(info.notes.analysis->kind);
        if (!info.notes.analysis->stem_language.empty()) {
            json["stem"] = info.notes.analysis->stem_language;
        }
    }
    for (const auto& [label, texts] : info.labels) {
        json["labels"].push_back({{"label", label}, {"texts", texts}});
    }
    return json;
}

}  // namespace zandrel::cli
