// The order of the steps:
//
//   lock container and archive       in this order in all commands, so that none waits for ever
//   read the container
//   compare analysis, match, labels  nothing has changed if one of them is refused
//   try out the replacement
//   give low numbers                 only if the numbers end soon (Archive_numbers)
//   learn or train                   changes of the archive are kept in memory (Deferred_archive)
//   write the new container          to another file; the container has not changed yet
//   bind the archive                 its summary gets the new binding and place of learning
//   rename the new container
//   delete messages from the archive
//
// So messages are deleted only when the container that has learned them is in place. The state of
// the two files at the end of the process, and what it means, if messages 50 to 99 are new:
//
//   archive    container   place of learning
//   old        old         49   they match; nothing has happened
//   bound      old         99   no match: 50 to 99 would be left out, and are in the archive
//   bound      new         99   they match; old messages are deleted by the next run
//   complete   new         99   they match
//
// Training anew from the archive (--unmatched) uses all its messages, so it is the way back in the
// second case. If the rename fails without a crash, the archive gets its old summary again.
//
// A container in cached form is changed while it learns. So the archive gets a binding before that
// matches no container. If the process ends, some classifiers may have learned the new messages and
// others not, and the two do not match, so nothing is learned twice. At the end the container is
// written first, and then the archive.
#include "cli/archive/Archive_training.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/Restored.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/storage/HioErr.h"

#include "cli/archive/Archive_file.h"
#include "cli/archive/Archive_numbers.h"
#include "cli/process/Interruption.h"
#include "text/data/Data_warnings.h"
#include "text/errors.h"
#include "text/kc/Deferred_writes.h"
#include "text/kc/Kc_damage.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kept_confidence.h"
#include "text/kc/Replacement_file.h"
#include "text/kc/Stored_model.h"
#include "text/kc/unfinished_files.h"
#include "text/model/Text_model.h"
#include "text/model/Text_sources.h"
#include "text/model/Tree_warnings.h"
#include "text/train/Scaling.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

bool knows(const zeManager& manager, const Concept& label) {
    return !manager.m_physical_tree->GetLeafNodes(label).empty();
}

bool has_statistical_root_and_leaves(const zeManager& manager) {
    const auto& nodes = manager.m_logical_tree->nodes;
    return std::all_of(nodes.begin(), nodes.end(), [](const auto& entry) {
        const zeLogicalNode& node = entry.second;
        return node.id == zandrel::kRootId
                   ? node.type == ZE_STAT
                   : node.type == ZE_LEAF && node.parent == zandrel::kRootId;
    });
}

// The messages of an archive that will be deleted are not learned later either.
void bind(const SmlArchiveManager& trained, SmlArchiveManager& summary) {
    summary.kc_id = trained.kc_id;
    summary.kc_time = trained.kc_time;
    summary.last_learned_sml = summary.sml_dates.empty() ? 0 : summary.sml_dates.rbegin()->first;
}

// No container has been trained at this time.
void bind_to_none(const zeManager& manager, SmlArchiveManager& summary) {
    summary.kc_id = manager.m_config.kc_id;
    summary.kc_time.SetNowTime();
}

constexpr const char* kWayBack =
    "; zandrel archive train --unmatched brings archive and container together";

class Training_from_archive {
public:
    explicit Training_from_archive(const Archive_training_options& options)
        : m_options(options),
          m_kc_lock((check_readable(options.kc_file), options.kc_file), wait()),
          m_change(options.target.file, wait()) {}

    Archive_training_summary run() {
        m_summary.archive_file = m_options.target.file;
        m_summary.kc_file = m_options.kc_file;
        const Given_analysis given = given_analysis();
        qtPtrLight<zeManager> manager = read_kc(m_kc_lock, wait().progress, m_options.bound);
        const Analysis_settings analysis = checked_analysis(*manager, given);
        check_match(*manager);
        if (!is_due(*manager)) {
            return m_summary;
        }
        const std::unique_ptr<Text_model> model = work_on_container(
            m_options.kc_file, [&] { return std::make_unique<Text_model>(manager, analysis); });
        m_summary.labels = model->labels().size();
        check_form(*manager, *model);
        const std::vector<Concept> labels = new_labels(*manager);
        if (!is_cached(*manager)) {
            Replacement_file::try_out(m_kc_lock);
        }
        with_archive_errors(archive_name(), [&] { give_low_numbers(archive()); });
        if (m_options.rebuilds) {
            rebuild(*manager);
        } else {
            change(*model, labels);
        }
        return m_summary;
    }

private:
    Lock_wait wait() const { return {m_options.target.seconds_to_wait, m_options.target.progress}; }

    const std::string& archive_name() const { return m_options.target.file; }

    zeSmlArchive& archive() { return m_change.archive(); }

    Given_analysis given_analysis() {
        const std::optional<Analysis_settings> kept = m_change.analysis();
        if (!kept && !m_options.analysis.kind) {
            return {};
        }
        const Analysis_settings agreed =
            analysis_of_archive(archive_name(), kept, m_options.analysis);
        return {agreed.kind, agreed.stem_language};
    }

    // RAISES: Data_error for a container of another analysis.
    Analysis_settings checked_analysis(const zeManager& manager, const Given_analysis& given) {
        const std::optional<Analysis_settings> kept =
            kept_analysis(m_options.kc_file, manager.m_config);
        if (kept && given.kind &&
            (kept->kind != *given.kind || kept->stem_language != given.stem_language)) {
            throw Data_error(m_options.kc_file, "it was made with another text analysis than " +
                                                    shown_file(archive_name()));
        }
        return agreed_analysis(m_options.kc_file, manager.m_config,
                               kept ? Given_analysis() : given);
    }

    // An archive that no container has learned from matches all.
    bool checks_match() {
        return !m_options.rebuilds && !m_options.is_unmatched && is_bound(archive().m_manager);
    }

    void check_match(const zeManager& manager) {
        const SmlArchiveManager& summary = archive().m_manager;
        if (checks_match() && (summary.kc_id != manager.m_config.kc_id ||
                               summary.kc_time != manager.m_config.last_trained)) {
            throw Data_error(archive_name(), "it does not match " + shown_file(m_options.kc_file) +
                                                 ", which was not the last container that learned "
                                                 "from it; archive train --unmatched brings them "
                                                 "together");
        }
    }

    bool is_due(const zeManager& manager) {
        const SmlArchiveManager& summary = archive().m_manager;
        std::int64_t count = 0;
        if (!summary.sml_dates.empty()) {
            count = std::int64_t{summary.sml_dates.rbegin()->first} - summary.last_learned_sml;
        }
        m_summary.new_messages = static_cast<std::size_t>(std::max<std::int64_t>(count, 0));
        // Learning refuses that there is nothing to learn. Training does not.
        const std::uint32_t setting = manager.m_config.activate_feedback;
        m_summary.needed = m_options.trains ? setting : std::max<std::uint32_t>(setting, 1);
        m_summary.is_due = !m_options.only_if_due || (count >= std::int64_t{setting} &&
                                                      (m_options.trains || count_to_learn() != 0));
        return m_summary.is_due;
    }

    // RAISES: Data_error; Usage_error.
    void check_form(const zeManager& manager, const Text_model& model) {
        if (!m_options.rebuilds) {
            if (!m_options.trains) {
                check_can_learn(m_options.kc_file, model);
            }
            return;
        }
        if (is_cached(manager)) {
            throw Usage_error(
                "--rebuild is not possible with the cached form; zandrel convert "
                "--plain writes the other form");
        }
        if (!m_options.forgets && !has_statistical_root_and_leaves(manager)) {
            throw Usage_error(shown_file(m_options.kc_file) +
                              " has a tree with rules or several levels, which --rebuild would "
                              "lose; --forget allows that");
        }
    }

    // The labels of the messages that will be used.
    std::set<Concept> used_labels() {
        std::set<Concept> labels;
        if (m_options.trains) {
            for (const auto& entry : archive().m_manager.category_info) {
                labels.insert(entry.first);
            }
            return labels;
        }
        read_used_messages();
        for (const qtPtrLight<zeMsg>& msg : m_used.msgs) {
            labels.insert(msg->categories.begin(), msg->categories.end());
        }
        return labels;
    }

    std::vector<unsigned int> used_numbers() {
        std::vector<unsigned int> list;
        if (!m_options.trains) {
            archive().GetLearningListByNewSmls(list);
            return list;
        }
        std::vector<unsigned int> to_delete;
        archive().GetDeleteListByMinimalSize(to_delete);
        const std::set<unsigned int> deleted(to_delete.begin(), to_delete.end());
        for (const auto& entry : archive().m_manager.sml_dates) {
            if (!deleted.contains(entry.first)) {
                list.push_back(entry.first);
            }
        }
        return list;
    }

    void read_used_messages() {
        with_archive_errors(archive_name(), [&] {
            for (const unsigned int number : used_numbers()) {
                qtPtrLight<zeMsg> msg(new zeMsg);
                archive().ReadSml(number, *msg, true);
                m_used.add_msg(msg);
            }
        });
    }

    // Only rules make it necessary to read the messages of a training once more.
    void warn_before(Text_model& model) {
        if (m_options.warn && m_options.trains) {
            warn_of_labels();
            if (model.has_rules()) {
                read_used_messages();
                model.examine(m_used, {});
            }
        } else if (m_options.warn) {
            model.examine(m_used, [&](const Storages& storages) {
                warn(scaling_warning(m_options.kc_file, *model.manager()->m_logical_tree,
                                     scaling_of(storages)));
            });
        }
        warn_of_blocked(model.blocked_texts());
        m_used.msgs.clear();
    }

    void warn(const std::string& text) const {
        if (!text.empty()) {
            m_options.warn(text);
        }
    }

    void warn_of_labels() {
        std::map<std::string, std::size_t> texts_of;
        for (const auto& [category, data] : archive().m_manager.category_info) {
            texts_of[std::string(category.view())] = data.category_counter;
        }
        for (const std::string& text :
             label_warnings(archive_name(), texts_of, archive().m_manager.sml_dates.size())) {
            warn(text);
        }
    }

    // A message has its number where a text of a data file has its line.
    void warn_of_blocked(const std::vector<std::size_t>& blocked) {
        if (blocked.empty()) {
            return;
        }
        const std::vector<unsigned int> numbers = used_numbers();
        std::vector<Labelled_text> texts(numbers.size());
        Labelled_text& first = texts[blocked.front()];
        first.line = numbers[blocked.front()];
        first.labels.emplace_back(m_used.msgs[blocked.front()]->categories.front().view());
        warn(blocked_texts_warning(Text_sources({archive_name()}, texts), blocked));
    }

    // RAISES: Data_error for a label that the container does not know.
    std::vector<Concept> new_labels(const zeManager& manager) {
        std::vector<Concept> labels;
        for (const Concept& label : used_labels()) {
            if (!knows(manager, label)) {
                labels.push_back(label);
            }
        }
        if (!labels.empty() && !m_options.adds_categories) {
            throw Data_error(archive_name(), "unknown label \"" +
                                                 shown_value(labels.front().view()) +
                                                 "\"; --add-categories adds it");
        }
        return labels;
    }

    void add_labels(Text_model& model, const std::vector<Concept>& labels) {
        for (const Concept& label : labels) {
            try {
                model.add_label(label.view());
            } catch (const qtX<zeLogicalTree>& error) {
                throw Data_error(archive_name(),
                                 "label \"" + shown_value(label.view()) +
                                     "\" cannot be added: " + shown_complaint(error.what()));
            }
        }
    }

    std::size_t count_to_learn() {
        std::vector<unsigned int> list;
        archive().GetLearningListByNewSmls(list);
        return list.size();
    }

    void count_used() {
        m_summary.kept = archive().m_manager.sml_dates.size();
        if (m_options.trains) {
            m_summary.used = m_summary.kept;
        }
    }

    // Before the container learns, its answers to the new messages are judged. A training makes
    // other classifiers, so the confidence map is dropped.
    std::vector<Judged_answer> settle_confidence(Text_model& model) {
        if (m_options.trains) {
            if (model.drop_confidence()) {
                warn_of_dropped_confidence(is_cached(*model.manager()));
            }
            return {};
        }
        if (m_options.warn && has_damaged_confidence(model.manager()->m_config)) {
            m_options.warn(missing_confidence(m_options.kc_file, model.manager()->m_config,
                                              is_cached(*model.manager())));
        }
        return model.confidence() ? model.judge(m_used, wait().progress)
                                  : std::vector<Judged_answer>();
    }

    void warn_of_dropped_confidence(bool is_cached) const {
        if (m_options.warn) {
            m_options.warn(forgotten_confidence(m_options.kc_file,
                                                "its classifiers are trained anew", is_cached));
        }
    }

    // Adds labels, trains or learns, and warns.
    void use_archive(Text_model& model, const std::vector<Concept>& labels) {
        add_labels(model, labels);
        const std::vector<Judged_answer> judged = settle_confidence(model);
        warn_before(model);
        qtPtrLight<zeManager> manager = model.manager();
        use_archive(manager);
        model.update_confidence(judged);
        if (m_options.warn && m_options.trains) {
            for (const std::string& text : tree_warnings(model)) {
                warn(text);
            }
        }
    }

    // RAISES: Data_error for an error of the archive; errors of the container unchanged.
    void use_archive(qtPtrLight<zeManager>& manager) {
        errno = 0;
        m_summary.used = count_to_learn();
        CTProgress* const progress = wait().progress;
        // If this fails, the container must not keep pointing to `progress`.
        const zandrel::detail::Restored<CTProgress*> at_end(manager->m_progress);
        try {
            if (m_options.trains) {
                archive().TrainKc(manager, m_options.rebuilds, false, false, progress, false);
            } else {
                archive().Learn(manager, false, false, progress, false);
            }
        } catch (const qtX<zeSmlArchive>&) {
            raise_as_archive_write_error(archive_name());
        } catch (const qtX<HioErr>&) {
            // In cached form the error may come from the container's file.
            if (is_cached(*manager)) {
                throw;
            }
            raise_as_archive_write_error(archive_name());
        }
        // The library may have deleted the message that was learned last.
        keep_place_of_learning(archive().m_manager);
        count_used();
    }

    void change(Text_model& model, const std::vector<Concept>& labels) {
        qtPtrLight<zeManager> manager = model.manager();
        if (is_cached(*manager)) {
            change_cached(model, labels);
        } else {
            work_on_container(m_options.kc_file, [&] { use_archive(model, labels); });
            write_plain(*manager);
        }
        m_summary.new_labels = labels.size();
        m_summary.labels += labels.size();
    }

    void change_cached(Text_model& model, const std::vector<Concept>& labels) {
        qtPtrLight<zeManager> manager = model.manager();
        if (used_numbers().empty()) {
            use_archive(manager);  // refuses that before the archive changes
        }
        SegBuf before = m_change.stored_summary();
        m_change.write_first(before,
                             [&](SmlArchiveManager& summary) { bind_to_none(*manager, summary); });
        const auto work = [&] {
            Deferred_writes writes(*manager);
            add_labels(model, labels);
            writes.commit();
            work_on_container(m_options.kc_file, [&] { use_archive(model, {}); });
        };
        try {
            change_in_place(m_kc_lock, *manager, work, kWayBack);
            write_kc(m_kc_lock, *manager, false, wait().progress);
        } catch (...) {
            if (!m_kc_lock.has_changed()) {
                take_back(before);
            }
            throw;
        }
        finish();
    }

    // The new container has the id, the name, the dates and all settings of the old one, except for
    // the confidence map.
    void rebuild(const zeManager& old) {
        qtPtrLight<zeManager> manager(new zeManager);
        manager->m_config = old.m_config;
        manager->m_defaults = old.m_defaults;
        if (forget_confidence(*manager)) {
            warn_of_dropped_confidence(false);
        }
        std::set<Concept> known;
        for (const auto& [id, node] : old.m_logical_tree->nodes) {
            if (node.type == ZE_LEAF) {
                known.insert(node.category);
            }
        }
        if (m_options.warn) {
            warn_of_labels();
        }
        work_on_container(m_options.kc_file, [&] { use_archive(manager); });
        write_plain(*manager);
        m_summary.labels = 0;
        for (const auto& [id, node] : manager->m_logical_tree->nodes) {
            if (node.type == ZE_LEAF) {
                ++m_summary.labels;
                m_summary.new_labels += known.contains(node.category) ? 0U : 1U;
            }
        }
    }

    void write_plain(zeManager& manager) {
        Replacement_file file(m_kc_lock);
        write_replacement(m_kc_lock, file, manager, wait().progress);
        // No signal may end the process between the two files.
        const Held_back_signals held_back;
        SegBuf before = m_change.stored_summary();
        write_binding(before);
        try {
            file.take_place();
        } catch (...) {
            end_without_place(before, file.has_taken_place());
            throw;
        }
        finish();
    }

    void write_binding(SegBuf& before) {
        if (m_change.has_messages_to_write()) {
            const SmlArchiveManager& trained = archive().m_manager;
            m_change.write_first(before,
                                 [&](SmlArchiveManager& summary) { bind(trained, summary); });
        } else {
            m_change.write();
        }
    }

    // `has_taken_place`: only the folder has not come to the disk.
    void end_without_place(const SegBuf& before, bool has_taken_place) {
        if (has_taken_place) {
            m_change.close();
        } else {
            take_back(before);
        }
    }

    // If the old binding cannot be written, the archive has changed, and matches no container.
    void take_back(const SegBuf& before) {
        try {
            m_change.take_back(before);
        } catch (...) {
            note_change(shown_file(archive_name()));
            throw;
        }
    }

    void finish() {
        m_summary.bytes = std::filesystem::file_size(m_kc_lock.target().path());
        m_change.close();
    }

    const Archive_training_options& m_options;
    Kc_lock m_kc_lock;
    Archive_to_change m_change;
    Archive_training_summary m_summary;
    zeMemoryCorpus m_used;  // the messages that will be used, until the learning begins
};

}  // namespace

Archive_training_summary train_from_archive(const Archive_training_options& options) {
    return Training_from_archive(options).run();
}

void print_archive_training(const Archive_training_summary& summary, std::ostream& out) {
    if (!summary.is_due) {
        out << shown_text(summary.archive_file) << ": not due: " << grouped(summary.new_messages)
            << " of " << grouped(summary.needed) << " new messages\n";
        return;
    }
    out << shown_text(summary.kc_file) << ": " << grouped(summary.used)
        << (summary.used == 1 ? " message, " : " messages, ") << grouped(summary.labels)
        << (summary.labels == 1 ? " label (" : " labels (") << grouped(summary.new_labels)
        << " new), " << grouped(summary.bytes) << " bytes; " << shown_text(summary.archive_file)
        << ": " << grouped(summary.kept) << (summary.kept == 1 ? " message\n" : " messages\n");
}

nlohmann::ordered_json archive_training_json(const Archive_training_summary& summary) {
    nlohmann::ordered_json json = {
        {"archive", summary.archive_file},      {"file", summary.kc_file},  {"due", summary.is_due},
        {"new_messages", summary.new_messages}, {"needed", summary.needed}, {"used", summary.used}};
    if (summary.is_due) {
        json["kept"] = summary.kept;
        json["labels"] = summary.labels;
        json["new_labels"] = summary.new_labels;
        json["bytes"] = summary.bytes;
    }
    return json;
}

}  // namespace zandrel::cli
