// All checks come before the first change: files are read as a whole, and each message is compared
// with the archive. Then only the system can fail. A file that is marked after such a failure is
// repaired by zandrel rebuild-index. Only messages of data files are written one by one; all other
// changes are made in memory first (Archive_writes).
#include "cli/archive/Archive_edit.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "cli/archive/Archive_file.h"
#include "cli/data/Data_input.h"
#include "cli/data/Stored_corpus.h"
#include "cli/data/set_pairs.h"
#include "cli/errors.h"
#include "cli/kc/Cached_kc.h"
#include "cli/kc/Kc_file.h"
#include "cli/model/Interruption.h"
#include "cli/text/Layout.h"
#include "cli/text/Shown_text.h"

namespace cli {

namespace {

using zandrel::detail::Progress;

Lock_wait wait_of(const Archive_target& target) {
    return {target.seconds_to_wait, target.progress};
}

// Makes messages of texts, as the archive keeps them.
class Message_maker {
public:
    explicit Message_maker(const Analysis_settings& settings)
        : m_analysis(make_text_analysis(settings)) {}

    qtPtrLight<zeMsg> message_of(const Labelled_text& text) {
        m_feeder.clear();
        m_analysis->feed(text.text, m_feeder);
        qtPtrLight<zeMsg> msg(new zeMsg);
        msg->smls[0] = qtPtrLight<zeSml>(new zeSml(std::move(m_feeder), 0.0));
        std::vector<Pair> pairs = text.pairs;
        pairs.push_back({kTextPair, mlMessageConverter::kString, {text.text}});
        set_pairs(msg, pairs);
        for (const std::string& label : text.labels) {
            msg->categories.push_back(Concept::insert_view(label));
        }
        return msg;
    }

private:
    std::unique_ptr<Text_analysis> m_analysis;
    zeSml_feeder m_feeder;  // cleared before each text
};

struct Read_file {
    std::string name;
    std::vector<Labelled_text> texts;
};

// The archive writes these pairs itself.
void check_pairs(const Read_file& file, const Labelled_text& text) {
    for (const Pair& pair : text.pairs) {
        if (pair.name == kTextPair || pair.name == kIdPair) {
            throw Data_error(file.name, text.line,
                             "the pair \"" + pair.name + "\" is for the archive's own use");
        }
    }
}

std::vector<Read_file> read_files(const Archive_target& target, const Added_files& added,
                                  Skipped_lines& skipped) {
    check_read_once(added.data_files);
    const Waiting_for_input waiting;
    Progress(target.progress).check_interrupt();
    if (added.warn && waits_for_typing(added.data_files)) {
        added.warn(typing_note(lines_of_columns(Columns::kText, added.form)));
    }
    std::vector<Read_file> files;
    for (const std::string& path : added.data_files) {
        check_is_no_kc(path);
        if (!is_standard_input(path) && is_corpus_file(path)) {
            throw Data_error(input_name(path),
                             "this is a corpus file; zandrel corpus export writes its messages as "
                             "JSON lines, which archive add reads");
        }
        files.push_back(
            {input_name(path), read_labelled_file(path, added.skips_bad_lines ? &skipped : nullptr,
                                                  Columns::kText, added.longest_line, added.form)});
        for (const Labelled_text& text : files.back().texts) {
            check_pairs(files.back(), text);
        }
    }
    return files;
}

std::string id_of(const Labelled_text& text, const std::string& pair_name) {
    const auto found =
        std::find_if(text.pairs.begin(), text.pairs.end(),
                     [&pair_name](const Pair& pair) { return pair.name == pair_name; });
    return found == text.pairs.end() || found->values.size() != 1 ? "" : found->values.front();
}

// An id that two messages have is lost when one of them is deleted.
// RAISES: Data_error.
void check_ids(const std::string& archive_name, const zeSmlArchive& archive,
               const std::vector<Read_file>& files, const std::string& pair_name) {
    if (pair_name.empty()) {
        return;
    }
    std::set<std::string> seen;
    for (const Read_file& file : files) {
        for (const Labelled_text& text : file.texts) {
            const std::string id = id_of(text, pair_name);
            if (id.empty()) {
                throw Data_error(file.name, text.line,
                                 "there is no single value of \"" + shown_value(pair_name) + "\"");
            }
            if (!seen.insert(id).second || archive.m_manager.external_ids.contains(id)) {
                throw Data_error(
                    file.name, text.line,
                    "the id \"" + shown_value(id) + "\" is already in " +
                        (archive.m_manager.external_ids.contains(id) ? shown_file(archive_name)
                                                                     : "the data"));
            }
        }
    }
}

[[noreturn]] void end_partly(Archive_to_change& change, std::size_t added, const char* reason) {
    change.close();
    throw Partial_change(std::string(reason) + "; " + shown_file(change.name()) + " has got " +
                         grouped(added) + (added == 1 ? " message" : " messages"));
}

void add_all(Archive_to_change& change, const std::vector<Read_file>& files,
             const Added_files& added, Message_maker& maker, const Archive_target& target,
             Add_summary& summary) {
    const Progress steps(target.progress);
    std::size_t total = 0;
    for (const Read_file& file : files) {
        total += file.texts.size();
    }
    steps.set_status("Adding messages");
    steps.set_total(total);
    try {
        for (const Read_file& file : files) {
            for (const Labelled_text& text : file.texts) {
                qtPtrLight<zeMsg> msg = maker.message_of(text);
                with_archive_errors(change.name(), [&] {
                    change.archive().AddSml(msg, id_of(text, added.id_pair));
                });
                ++summary.added;
                steps.step();
            }
        }
    } catch (const qtxAll& error) {  // an interruption
        if (summary.added == 0) {
            throw;
        }
        end_partly(change, summary.added, error.what());
    }
}

// RAISES: Usage_error.
void check_categories(const std::vector<std::string>& categories) {
    std::set<std::string> seen;
    for (const std::string& category : categories) {
        if (category.empty()) {
            throw Usage_error("--category: the name is empty");
        }
        if (!seen.insert(category).second) {
            throw Usage_error("--category: \"" + shown_value(category) + "\" is given twice");
        }
    }
}

// Call it before a message is deleted.
void keep_place_of_learning(zeSmlArchive& archive, unsigned int to_delete) {
    SmlArchiveManager& summary = archive.m_manager;
    if (to_delete == summary.last_learned_sml && to_delete != 0) {
        summary.last_learned_sml = newest_before(summary, to_delete);
        summary.modified = true;
    }
}

void finish(Archive_to_change& change, Add_summary& summary) {
    summary.messages = change.archive().m_manager.sml_dates.size();
    change.close();
}

}  // namespace

Add_summary add_files(const Archive_target& target, const Added_files& added) {
    Add_summary summary;
    summary.file = target.file;
    const std::vector<Read_file> files = read_files(target, added, summary.skipped);
    Archive_to_change change(target.file, wait_of(target), Archive_writes::kMessagesAtOnce);
    Message_maker maker(analysis_of_archive(target.file, change.analysis(), added.analysis));
    check_ids(target.file, change.archive(), files, added.id_pair);
    add_all(change, files, added, maker, target, summary);
    finish(change, summary);
    return summary;
}

Add_summary add_text(const Archive_target& target, const Added_text& added) {
    check_categories(added.categories);
    Add_summary summary;
    summary.file = target.file;
    Archive_to_change change(target.file, wait_of(target));
    Message_maker maker(analysis_of_archive(target.file, change.analysis(), added.analysis));
    const auto& ids = change.archive().m_manager.external_ids;
    if (!added.id.empty() && added.id != added.replaced_id && ids.contains(added.id)) {
        throw Data_error(target.file, "a message has the id \"" + shown_value(added.id) +
                                          "\" already; --replaces replaces it");
    }
    summary.replaced = !added.replaced_id.empty() && ids.contains(added.replaced_id) ? 1 : 0;
    qtPtrLight<zeMsg> msg = maker.message_of({added.categories, added.text});
    with_archive_errors(target.file, [&] {
        if (summary.replaced == 0) {
            change.archive().AddSml(msg, added.id);
        } else {
            const unsigned int replaced = ids.find(added.replaced_id)->second;
            keep_place_of_learning(change.archive(), replaced);
            change.archive().AddSml(msg, added.id, added.replaced_id);
        }
    });
    summary.added = 1;
    finish(change, summary);
    return summary;
}

unsigned int number_of_message(const std::string& file, const zeSmlArchive& archive,
                               const std::string& id, bool is_number) {
    const SmlArchiveManager& summary = archive.m_manager;
    unsigned int number = 0;
    if (is_number) {
        const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), number);
        if (error != std::errc() || end != id.data() + id.size()) {
            throw Usage_error("\"" + shown_value(id) + "\" is not the number of a message");
        }
    } else {
        const auto found = summary.external_ids.find(id);
        if (found == summary.external_ids.end()) {
            throw Data_error(file, "no message has the id \"" + shown_value(id) + "\"");
        }
        number = found->second;
    }
    if (!summary.sml_dates.contains(number)) {
        throw Data_error(file, "there is no message " + std::to_string(number));
    }
    return number;
}

std::size_t delete_messages(const Archive_target& target, const Deleted_messages& deleted) {
    Archive_to_change change(target.file, wait_of(target));
    zeSmlArchive& archive = change.archive();
    std::set<unsigned int> numbers;
    for (const std::string& id : deleted.ids) {
        const unsigned int number =
            number_of_message(target.file, archive, id, deleted.are_numbers);
        if (!deleted.deletes_reserved && archive.m_manager.locked_smls.contains(number)) {
            throw Data_error(target.file, "message \"" + shown_value(id) +
                                              "\" is reserved; --reserved deletes it");
        }
        numbers.insert(number);
    }
    with_archive_errors(target.file, [&] {
        for (const unsigned int number : numbers) {
            keep_place_of_learning(archive, number);
            archive.ReleaseOneSml(number);
            archive.DelSml(number);
        }
    });
    const std::size_t left = archive.m_manager.sml_dates.size();
    change.close();
    return left;
}

void rename_category(const Archive_target& target, const std::string& old_name,
                     const std::string& new_name) {
    if (new_name.empty()) {
        throw Usage_error("the new name is empty");
    }
    change_copy(target.file, wait_of(target), [&](zeSmlArchive& archive) {
        if (!archive.RenameCategory(Concept::insert_view(old_name),
                                    Concept::insert_view(new_name))) {
            throw Data_error(target.file, "there is no category \"" + shown_value(old_name) + "\"");
        }
    });
}

void set_archive(const Archive_target& target, const Archive_settings& settings) {
    Archive_to_change change(target.file, wait_of(target));
    with_archive_errors(target.file, [&] {
        if (settings.age_ratio) {
            change.archive().SetAgeRatio(*settings.age_ratio);
        }
        if (settings.minimal_size) {
            change.archive().SetCatMinimalSize(*settings.minimal_size);
        }
        if (settings.reserved_size) {
            change.archive().SetCatReservedSize(*settings.reserved_size);
        }
    });
    change.close();
}

}  // namespace cli
