// Opens a corpus file for reading, and makes the messages of training and classifying from the
// stored ones. A stored message has three things more than the message of a data line: its texts,
// as pairs, the bags of title and keywords, and its labels.
#include "text/data/Stored_corpus.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "zandrel/foundation/qtX.h"
#include "zandrel/messages/zeCacheCorpus.h"
#include "zandrel/messages/zeMsgEdit.h"

#include "text/analysis/Stemmer.h"
#include "text/data/Bad_record.h"
#include "text/data/File_kind.h"
#include "text/data/Label_list.h"
#include "text/errors.h"
#include "text/wording/Shell_text.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

constexpr const char* kAnalysisText = "zandrel.analysis";
constexpr const char* kStemText = "zandrel.stem";
constexpr const char* kColumnsText = "zandrel.columns";
constexpr const char* kWithTitles = "text title keywords";

std::string value_of(const std::map<qtString, qtString>& texts, const char* key) {
    const auto found = texts.find(qtString(key));
    return found == texts.end() ? "" : std::string(found->second.view());
}

bool has_text_of_program(const zeMsg::Nvp& pair) {
    static const Concept text = Concept::insert_view(kTextPair);
    static const Concept title = Concept::insert_view(kTitlePair);
    static const Concept keywords = Concept::insert_view(kKeywordsPair);
    return pair.name == text || pair.name == title || pair.name == keywords;
}

bool has_columns(const zeMsg& msg, Columns columns) {
    return columns == Columns::kText ||
           (!msg.smls[kTitleSlot].IsNull() && !msg.smls[kKeywordsSlot].IsNull());
}

std::size_t text_bytes_of(const zeMsg& msg, Columns columns) {
    std::size_t bytes = Stored_corpus::text_of(msg, kTextPair).value_or("").size();
    if (columns == Columns::kTextTitleKeywords) {
        bytes += Stored_corpus::text_of(msg, kTitlePair).value_or("").size() +
                 Stored_corpus::text_of(msg, kKeywordsPair).value_or("").size();
    }
    return bytes;
}

std::string unreadable(std::size_t number) {
    return "message " + std::to_string(number) + " cannot be read";
}

// RAISES: Data_error. A folder passes: opening it fails.
void check_is_corpus(const std::string& path) {
    refuse_other_kind(path, path, File_kind::kCorpus);
    std::error_code ignored;
    if (std::filesystem::is_regular_file(path, ignored) && !is_corpus_file(path)) {
        throw Data_error(path, "this is no corpus file");
    }
}

}  // namespace

bool is_corpus_file(const std::string& path) {
    return kind_of_file(path) == File_kind::kCorpus;
}

std::map<qtString, qtString> texts_of_notes(const Corpus_notes& notes) {
    std::map<qtString, qtString> texts;
    if (notes.analysis) {
        texts[qtString(kAnalysisText)] = qtString(name_of(notes.analysis->kind));
        if (!notes.analysis->stem_language.empty()) {
            texts[qtString(kStemText)] = qtString(notes.analysis->stem_language);
        }
    }
    if (notes.has_titles) {
        texts[qtString(kColumnsText)] = qtString(kWithTitles);
    }
    return texts;
}

Corpus_notes notes_of_texts(const std::string& path, const std::map<qtString, qtString>& texts) {
    Corpus_notes notes;
    const std::string name = value_of(texts, kAnalysisText);
    const std::string stem = value_of(texts, kStemText);
    if (!name.empty()) {
        const std::optional<Analysis_kind> kind = analysis_kind(name);
        if (!kind) {
            throw Data_error(path, "unknown text analysis \"" + shown_value(name) + "\"");
        }
        const std::vector<std::string> languages = stem_languages();
        if (!stem.empty() &&
            std::find(languages.begin(), languages.end(), stem) == languages.end()) {
            throw Data_error(path, "unknown language to stem \"" + shown_value(stem) + "\"");
        }
        notes.analysis = {*kind, stem};
    }
    const std::string columns = value_of(texts, kColumnsText);
    if (!columns.empty() && columns != kWithTitles) {
        throw Data_error(path, "unknown columns \"" + shown_value(columns) + "\"");
    }
    notes.has_titles = !columns.empty();
    return notes;
}

std::string words_of(const Analysis_settings& analysis) {
    const bool stems =
        !analysis.stem_language.empty() && analysis.kind != Analysis_kind::kWhitespace;
    return std::string("--analysis ") + name_of(analysis.kind) +
           (stems ? " --stem " + analysis.stem_language : "");
}

bool is_same(const Analysis_settings& left, const Analysis_settings& right) {
    return words_of(left) == words_of(right);
}

void raise_as_corpus_error(const std::string& path) {
    const int reason = errno;
    try {
        throw;
    } catch (const qtX<zeCacheCorpus>& error) {
        switch (error.number()) {
            case zeCacheCorpus::kNotACorpus:
                throw Data_error(path, "this is no corpus file");
            case zeCacheCorpus::kWrongVersion:
                throw Data_error(path,
                                 "the corpus file has a version that this program does not "
                                 "know");
            case zeCacheCorpus::kStaleFile:
                throw Data_error(path,
                                 "the corpus file was changed and not closed; zandrel "
                                 "rebuild-index " +
                                     shell_text(path) + " makes it usable");
            default:
                throw Data_error(path, shown_complaint(error.what()));
        }
    } catch (const qtxAll& error) {
        if (reason != 0) {
            errno = reason;
            throw Input_error(path, reason_of_failure());
        }
        throw Data_error(path, "the corpus file is damaged: " + shown_complaint(error.what()) +
                                   "; zandrel check " + shell_text(path) + " says more");
    }
}

Stored_corpus::Stored_corpus(const std::string& path, unsigned int cached) : m_path(path) {
    if (!std::ifstream(path, std::ios::binary)) {
        throw Input_error(path, reason_of_failure());
    }
    check_is_corpus(path);
    errno = 0;
    try {
        m_corpus = std::make_unique<zeCacheCorpus>(qtString(path), 'r', cached);
        if (!m_corpus->cache.file.Exists(
                zeCacheCorpus::kZqeKey)) {  // then the count of the messages is wrong
            throw Data_error(path,
                             "the corpus file is damaged: ZqeInfo is missing; zandrel "
                             "rebuild-index " +
                                 shell_text(path) + " writes it");
        }
        m_size = static_cast<std::size_t>(m_corpus->get_num_msgs());
        if (m_size > cached) {
            m_corpus->reserve(std::min(cached, kFewCached));
        }
        zeCacheCorpus::GlobalInfo info;
        m_corpus->get_global_info(info);
        m_notes = notes_of_texts(path, info.texts);
    } catch (const qtxAll&) {
        raise_as_corpus_error(path);
    }
}

Stored_corpus::~Stored_corpus() = default;

unsigned int Stored_corpus::version() const {
    return m_corpus->version;
}

qtPtrLight<zeMsg> Stored_corpus::stored(std::size_t number) const {
    errno = 0;
    qtPtrLight<zeMsg> msg = m_corpus->get_numbered_msg(static_cast<int>(number));
    if (!msg.IsNull()) {
        return msg;
    }
    if (errno == EIO) {  // the file may be right, so nothing may be left out
        throw Input_error(m_path, reason_of_failure());
    }
    throw Unreadable_message(m_path, unreadable(number) + "; zandrel corpus import NEW " +
                                         shell_text(m_path) +
                                         " --skip-bad makes a corpus of the others");
}

qtPtrLight<zeMsg> Stored_corpus::message(std::size_t number, Columns columns) const {
    const qtPtrLight<zeMsg> whole = stored(number);
    qtPtrLight<zeMsg> msg(new zeMsg);
    msg->smls = whole->smls;
    // The texts are most of a message, so they are not even copied.
    std::remove_copy_if(whole->nvps.begin(), whole->nvps.end(), std::back_inserter(msg->nvps),
                        has_text_of_program);
    msg->active_sml = whole->active_sml;
    msg->weight = whole->weight;
    msg->changed = whole->changed;
    if (columns == Columns::kText) {
        msg->smls[kKeywordsSlot] = nullptr;
        msg->smls[kTitleSlot] = nullptr;
    }
    return msg;
}

std::vector<std::string> Stored_corpus::labels_of(const zeMsg& msg) {
    Label_list labels;
    for (const Concept& category : msg.categories) {
        if (!category.view().empty()) {
            labels.add(category.view());
        }
    }
    return labels.take();
}

std::vector<Pair> Stored_corpus::pairs_of(const zeMsg& msg) {
    qtPtrLight<zeMsg> copy(new zeMsg(msg));
    zeMsgEdit edit(copy);
    std::vector<Pair> pairs;
    for (const zeMsg::Nvp& nvp : copy->nvps) {
        if (has_text_of_program(nvp)) {
            continue;
        }
        Pair pair = {std::string(nvp.name.view())};
        std::vector<qtString> values;
        pair.type = edit.Get(nvp.name, values);
        for (const qtString& value : values) {
            pair.values.emplace_back(value.view());
        }
        pairs.push_back(std::move(pair));
    }
    return pairs;
}

std::optional<std::string> Stored_corpus::text_of(const zeMsg& msg, const char* pair) {
    const qtString* const text = msg.get_raw_value(Concept::insert_view(pair));
    return text == nullptr ? std::nullopt : std::optional(std::string(text->view()));
}

void refuse_options_of_corpus(const std::string& path, const Data_form& form) {
    if (form.names_columns() || form.format || form.label_separator) {
        throw Usage_error(shown_file(path) +
                          " is a corpus file, for which there are no --format, --text, --label, "
                          "--pair, --header and --label-separator");
    }
}

Labelled_text stored_text_of(const std::shared_ptr<const Stored_corpus>& corpus, std::size_t number,
                             Columns columns) {
    const qtPtrLight<zeMsg> msg = corpus->stored(number);
    const std::string name = "message " + std::to_string(number);
    if (!has_columns(*msg, columns)) {
        throw Data_error(corpus->path(), name +
                                             " has no title and no keywords; corpus import "
                                             "--bootstrap keeps them");
    }
    Labelled_text text = {Stored_corpus::labels_of(*msg), ""};
    if (text.labels.empty()) {
        throw Unlabelled_message(corpus->path(), name + " has no label");
    }
    text.line = number + 1;
    text.stored = {corpus, number, text_bytes_of(*msg, columns),
                   columns == Columns::kTextTitleKeywords};
    return text;
}

std::vector<Labelled_text> read_stored_texts(const std::string& path, Skipped_lines* skipped,
                                             Columns columns, const Data_form& form) {
    refuse_options_of_corpus(path, form);
    const auto corpus = std::make_shared<const Stored_corpus>(path);
    const std::size_t skipped_before = skipped == nullptr ? 0 : skipped->count;
    std::vector<Labelled_text> texts;
    for (std::size_t number = 0; number < corpus->size(); ++number) {
        try {
            texts.push_back(stored_text_of(corpus, number, columns));
        } catch (const Unlabelled_message& error) {
            skip_bad_line(error, skipped);
        } catch (const Unreadable_message&) {
            if (skipped == nullptr) {
                throw;
            }
            skip_bad_line(Data_error(path, unreadable(number)), skipped);
        }
    }
    check_has_texts(path, texts.size(), skipped != nullptr && skipped->count > skipped_before);
    return texts;
}

}  // namespace zandrel
