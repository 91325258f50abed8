// The steps: lock the corpus, check it, copy it, add the texts to the copy, rename the copy.
#include "cli/corpus/Corpus_import.h"

#include <filesystem>
#include <optional>
#include <utility>

#include <nlohmann/json.hpp>

#include "zandrel/knowledge/Progress.h"
#include "zandrel/messages/zeCacheCorpus.h"
#include "zandrel/messages/zeMsg.h"

#include "cli/corpus/Corpus_writer.h"
#include "cli/process/Interruption.h"
#include "text/data/Data_input.h"
#include "text/data/File_kind.h"
#include "text/data/Message_maker.h"
#include "text/data/Stored_corpus.h"
#include "text/data/Waiting_for_input.h"
#include "text/errors.h"
#include "text/kc/Corpus_analysis.h"
#include "text/kc/Kc_lock.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

using zandrel::detail::Progress;

// RAISES: Usage_error, Input_error, Data_error.
void check_data_files(const Import_options& options) {
    check_read_once(options.data_files);
    for (const std::string& path : options.data_files) {
        if (!is_standard_input(path) && lead_to_same_file(options.corpus_file, path)) {
            throw Usage_error(shown_file(path) + " is the corpus itself, and no data file");
        }
        check_is_data_file(path);
    }
}

void require_analysis(const std::string& path, const Analysis_settings& found,
                      const std::string& corpus, const Analysis_settings& wanted) {
    if (!is_same(found, wanted)) {
        throw Data_error(path, "its texts were analysed with " + words_of(found) + ", but " +
                                   shown_file(corpus) + " was made with " + words_of(wanted));
    }
}

class Import {
public:
    explicit Import(const Import_options& options)
        : m_options(options), m_steps(options.progress) {}

    Import_summary run() {
        check_data_files(m_options);
        const Kc_lock lock(m_options.corpus_file, {m_options.seconds_to_wait, m_options.progress});
        const std::optional<Corpus_notes> old = old_notes(lock.target());
        m_notes = settled_notes(old);
        Replacement_file file(lock);
        Corpus_writer writer(file, m_options.corpus_file);
        if (old) {
            m_steps.set_status("Copying the corpus");
            writer.begin_with(lock.target().path(), m_options.progress);
        } else {
            writer.begin();
        }
        writer.note(m_notes);
        add_files(writer);
        m_summary.texts = writer.finish();
        file.take_place();
        m_summary.corpus_file = m_options.corpus_file;
        m_summary.bytes = std::filesystem::file_size(lock.target().path());
        return m_summary;
    }

private:
    // Returns nothing if there is no file. RAISES: Data_error, Input_error.
    std::optional<Corpus_notes> old_notes(const Target_file& target) {
        target.check_replaceable();
        if (!target.status()) {
            return std::nullopt;
        }
        if (!is_corpus_file(target.path())) {
            throw Data_error(target.name(),
                             "this is no corpus file, and corpus import changes no other file");
        }
        const Stored_corpus corpus(target.name(), 0);
        m_summary.is_upgraded = corpus.version() == zeCacheCorpus::kPlainVersion;
        // New messages get the numbers from the count of the old ones on. If one of the old ones is
        // missing, the last of them has such a number, and would be overwritten.
        for (std::size_t i = 0; i < corpus.size(); ++i) {
            m_steps.check_interrupt();
            corpus.stored(i);
        }
        if (corpus.size() > 0 && corpus.notes().has_titles != m_options.keeps_titles) {
            throw Usage_error(shown_file(target.name()) +
                              (m_options.keeps_titles ? " has no titles and keywords: leave out "
                                                        "--bootstrap"
                                                      : " has titles and keywords, which "
                                                        "--bootstrap reads from the data"));
        }
        return corpus.notes();
    }

    Corpus_notes settled_notes(const std::optional<Corpus_notes>& old) const {
        Corpus_notes notes;
        notes.has_titles = m_options.keeps_titles;
        notes.analysis =
            old ? agreed_analysis(m_options.corpus_file, old->analysis, m_options.given)
                : analysis_of_data(m_options.data_files, m_options.given, m_options.analysis);
        return notes;
    }

    void add_files(Corpus_writer& writer) {
        const Waiting_for_input waiting;
        if (m_options.warn && waits_for_typing(m_options.data_files)) {
            m_options.warn(typing_note(lines_of_columns(columns(), m_options.form)));
        }
        m_steps.set_status("Importing");
        Message_maker maker(*m_notes.analysis, m_notes.has_titles);
        for (const std::string& path : m_options.data_files) {
            if (is_corpus_file(path)) {
                add_corpus(path, writer);
                continue;
            }
            for_each_labelled_text(path, skipped(), columns(), m_options.longest_line,
                                   m_options.form, [&](Labelled_text&& text) {
                                       m_steps.check_interrupt();
                                       qtPtrLight<zeMsg> msg = maker.message_of(text);
                                       writer.add(msg);
                                       ++m_summary.added;
                                   });
        }
    }

    // The messages of another corpus are copied as they are.
    void add_corpus(const std::string& path, Corpus_writer& writer) {
        const std::vector<Labelled_text> texts =
            read_stored_texts(path, skipped(), columns(), m_options.form);
        const Stored_corpus& corpus = *texts.front().stored.corpus;
        require_analysis(path, agreed_analysis(path, corpus.notes().analysis, m_options.given),
                         m_options.corpus_file, *m_notes.analysis);
        for (const Labelled_text& text : texts) {
            m_steps.check_interrupt();
            qtPtrLight<zeMsg> msg = corpus.stored(text.stored.number);
            writer.add(msg);
            ++m_summary.added;
        }
    }

    Columns columns() const { return training_columns(m_options.keeps_titles); }

    Skipped_lines* skipped() { return m_options.skips_bad_lines ? &m_summary.skipped : nullptr; }

    const Import_options& m_options;
    const Progress m_steps;
    Corpus_notes m_notes;
    Import_summary m_summary;
};

}  // namespace

Import_summary import_texts(const Import_options& options) {
    return Import(options).run();
}

void print_import(const Import_summary& summary, std::ostream& out) {
    out << shown_text(summary.corpus_file) << ": " << grouped(summary.added)
        << (summary.added == 1 ? " text added, " : " texts added, ") << grouped(summary.texts)
        << (summary.texts == 1 ? " text, " : " texts, ") << grouped(summary.bytes) << " bytes"
        << (summary.is_upgraded ? ", upgraded from version 1" : "") << '\n';
}

nlohmann::ordered_json import_json(const Import_summary& summary) {
    return {{"file", summary.corpus_file},     {"added", summary.added},
            {"texts", summary.texts},          {"bytes", summary.bytes},
            {"upgraded", summary.is_upgraded}, {"skipped_lines", summary.skipped.count}};
}

}  // namespace zandrel::cli
