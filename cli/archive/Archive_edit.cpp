// All checks come before the first change: files are read as a whole, and each message is compared
// with the archive. Then only the system can fail. A file that is marked after such a failure is
// repaired by zandrel rebuild-index. Only messages of data files are written one by one; all other
// changes are made in memory first (Archive_writes).
#include "cli/archive/Archive_edit.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/messages/zeMsg.h"

#include "cli/archive/Archive_file.h"
#include "cli/process/Interruption.h"
#include "text/data/Data_input.h"
#include "text/data/Message_maker.h"
#include "text/data/Stored_corpus.h"
#include "text/data/Waiting_for_input.h"
#include "text/errors.h"
#include "text/kc/Cached_kc.h"
#include "text/kc/Corpus_analysis.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

using zandrel::detail::Progress;

Lock_wait wait_of(const Archive_target& target) {
    return {target.seconds_to_wait, target.progress};
}

struct Read_file {
    std::string name;
    std::vector<Labelled_text> texts;
};

[[noreturn]] void refuse(const Read_file& file, const Labelled_text& text,
                         const std::string& reason) {
    if (text.stored.corpus) {
        throw Data_error(file.name,
                         "message " + std::to_string(text.stored.number) + ": " + reason);
    }
    throw Data_error(file.name, text.line, reason);
}

// Without the pairs that have the texts of a stored message.
std::vector<Pair> pairs_of(const Labelled_text& text) {
    return text.stored.corpus
               ? Stored_corpus::pairs_of(*text.stored.corpus->stored(text.stored.number))
               : text.pairs;
}

// The archive writes these pairs itself.
void check_pairs(const Read_file& file, const Labelled_text& text) {
    for (const Pair& pair : pairs_of(text)) {
        if (pair.name == kTextPair || pair.name == kIdPair) {
            refuse(file, text, "the pair \"" + pair.name + "\" is for the archive's own use");
        }
    }
}

std::vector<Read_file> read_files(const Archive_target& target, const Added_files& added,
                                  Skipped_lines& skipped) {
    check_read_once(added.data_files);
    const Waiting_for_input waiting;
    const Progress steps(target.progress);
    if (added.warn && waits_for_typing(added.data_files)) {
        added.warn(typing_note(lines_of_columns(Columns::kText, added.form)));
    }
    std::vector<Read_file> files;
    for (const std::string& path : added.data_files) {
        steps.check_interrupt();
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
    const std::vector<Pair> pairs = pairs_of(text);
    const auto found = std::find_if(pairs.begin(), pairs.end(), [&pair_name](const Pair& pair) {
        return pair.name == pair_name;
    });
    return found == pairs.end() || found->values.size() != 1 ? "" : found->values.front();
}

// Refuses a corpus file whose texts were analysed in another way.
// RAISES: Data_error.
void check_analyses(const std::vector<Read_file>& files, const std::string& archive_name,
                    const Analysis_settings& of_archive, const Given_analysis& given) {
    for (const Read_file& file : files) {
        check_analysis(file.texts, archive_name, of_archive, given);
    }
}

// A stored message is taken as it is, and only a label that it has twice or that is empty is left
// out: an archive refuses such labels.
qtPtrLight<zeMsg> stored_message(const Stored_text& text) {
    qtPtrLight<zeMsg> msg(new zeMsg(*text.corpus->stored(text.number)));
    const std::vector<std::string> labels = Stored_corpus::labels_of(*msg);
    msg->categories.clear();
    for (const std::string& label : labels) {
        msg->categories.push_back(Concept::insert_view(label));
    }
    return msg;
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
                refuse(file, text,
                       "there is no single value of \"" + shown_value(pair_name) + "\"");
            }
            if (!seen.insert(id).second || archive.m_manager.external_ids.contains(id)) {
                refuse(file, text,
                       "the id \"" + shown_value(id) + "\" is already in " +
                           (archive.m_manager.external_ids.contains(id) ? shown_file(archive_name)
                                                                        : "the data"));
            }
        }
    }
}

// "1 message", "2,000 messages"
std::string messages_text(std::size_t count) {
    return grouped(count) + (count == 1 ? " message" : " messages");
}

[[noreturn]] void end_partly(Archive_to_change& change, std::size_t added, const char* reason) {
    change.close();
    throw Partial_change(std::string(reason) + "; " + shown_file(change.name()) + " has got " +
                         messages_text(added));
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
                steps.check_interrupt();
                qtPtrLight<zeMsg> msg =
                    text.stored.corpus ? stored_message(text.stored) : maker.message_of(text);
                const std::string id = added.id_pair.empty() ? "" : id_of(text, added.id_pair);
                with_archive_errors(change.name(), [&] { change.archive().AddSml(msg, id); });
                ++summary.added;
                steps.step();
            }
        }
    } catch (const qtxAll& error) {  // an interruption
        if (summary.added == 0) {
            throw;
        }
        end_partly(change, summary.added, error.what());
    } catch (const Data_error& error) {  // a disk that fails when a corpus is read again
        if (summary.added == 0) {
            throw;
        }
        change.close();
        throw Data_error(change.name(), "it has got " + messages_text(summary.added) +
                                            ", and then: " + error.what());
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
    const Analysis_settings analysis =
        analysis_of_archive(target.file, change.analysis(), added.analysis);
    check_analyses(files, target.file, analysis, added.analysis);
    Message_maker maker(analysis, false);
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
    Message_maker maker(analysis_of_archive(target.file, change.analysis(), added.analysis), false);
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
            change.archive().AddSml(msg, added.id, added.replaced_id);
            keep_place_of_learning(change.archive().m_manager);
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
            archive.ReleaseOneSml(number);
            archive.DelSml(number);
        }
        keep_place_of_learning(archive.m_manager);
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

}  // namespace zandrel::cli
