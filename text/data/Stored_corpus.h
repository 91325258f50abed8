// Stored_corpus: the messages of a corpus file, read one by one.
#ifndef ZANDREL_TEXT_DATA_STORED_CORPUS_H_
#define ZANDREL_TEXT_DATA_STORED_CORPUS_H_

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/messages/zeMsg.h"

#include "text/analysis/Text_analysis.h"
#include "text/data/Labelled_text.h"
#include "text/data/Pair.h"

class zeCacheCorpus;

namespace zandrel {

// The pairs of a stored message that have its texts. Data files cannot give pairs of these names,
// and the messages that we train and classify do not have them.
constexpr const char* kTextPair = "_SML_TEXT";
constexpr const char* kTitlePair = "_SML_TEXT_TITLE";
constexpr const char* kKeywordsPair = "_SML_TEXT_KEYWORDS";

// The slots of a message. The bag of the text is in slot 0. A bootstrap learns the other two.
constexpr std::size_t kKeywordsSlot = 1;
constexpr std::size_t kTitleSlot = 2;

// The program's entries in the map of texts of GlobalInfo.
struct Corpus_notes {
    std::optional<Analysis_settings> analysis = {};  // missing in a file of another program
    bool has_titles = false;                         // each message has a title and keywords
};

// Returns whether the file begins like a corpus file. False for standard input, and for a file that
// cannot be opened or is not a regular file.
bool is_corpus_file(const std::string& path);

// The form of the notes in a corpus file.
std::map<qtString, qtString> texts_of_notes(const Corpus_notes& notes);
// RAISES: Data_error for notes that this program does not know.
Corpus_notes notes_of_texts(const std::string& path, const std::map<qtString, qtString>& texts);

// Describes an analysis like the command line: "--analysis words --stem english".
std::string words_of(const Analysis_settings& analysis);
bool is_same(const Analysis_settings& left, const Analysis_settings& right);

// Call it in a handler of an error that the engine raised while it opened or read a corpus file.
// REQUIRES: `errno` was 0 before. RAISES: Input_error if the system could not read the file,
// otherwise Data_error with the file.
[[noreturn]] void raise_as_corpus_error(const std::string& path);

// A corpus that is open for reading. Its file may be far larger than memory: only the messages that
// were used last are in memory.
//
// Other commands replace a corpus file as a whole, so the open file does not change.
class Stored_corpus {
public:
    // How many messages may be in memory. A training walks the corpus several times from front to
    // back, so a cache helps only if it has room for all messages. A smaller one costs time: the
    // concepts of its messages make the dictionary of concepts large, and each look-up in it waits
    // for the memory. So a corpus of more messages has a cache for the messages of the moment only.
    static constexpr unsigned int kMostCached = 10000;
    static constexpr unsigned int kFewCached = 16;

    // RAISES: Input_error for a file that cannot be opened; Data_error for one that is no corpus,
    // of an unknown version, or whose index is not synchronized.
    explicit Stored_corpus(const std::string& path, unsigned int cached = kMostCached);
    Stored_corpus(const Stored_corpus&) = delete;
    Stored_corpus& operator=(const Stored_corpus&) = delete;
    ~Stored_corpus();

    const std::string& path() const { return m_path; }

    std::size_t size() const { return m_size; }

    unsigned int version() const;

    const Corpus_notes& notes() const { return m_notes; }

    // The message as it is in the file. The caller must not change it.
    // RAISES: Unreadable_message; Input_error if the system cannot read the file.
    qtPtrLight<zeMsg> stored(std::size_t number) const;
    // A copy of the message without the pairs that have its texts, and without labels: the message
    // that its text, title, keywords and pairs would make. `columns`: kText leaves out the bags of
    // title and keywords. RAISES: as `stored`.
    qtPtrLight<zeMsg> message(std::size_t number, Columns columns) const;
    // The labels of a message, each once.
    static std::vector<std::string> labels_of(const zeMsg& msg);
    // The pairs of a message, without those that have its texts.
    static std::vector<Pair> pairs_of(const zeMsg& msg);
    // The text of a pair such as kTextPair; missing if the message has no such pair.
    static std::optional<std::string> text_of(const zeMsg& msg, const char* pair);

private:
    std::string m_path;
    std::unique_ptr<zeCacheCorpus> m_corpus;
    std::size_t m_size = 0;
    Corpus_notes m_notes;
};

// A message without a label, which no classifier can learn.
class Unlabelled_message : public Data_error {
public:
    using Data_error::Data_error;
};

// A message of a damaged file. The error names its number, and the command that makes a corpus of
// the other messages.
class Unreadable_message : public Data_error {
public:
    using Data_error::Data_error;
};

// RAISES: Usage_error if `form` has options, which corpus files do not have.
void refuse_options_of_corpus(const std::string& path, const Data_form& form);

// Reads the labels of a message. Its text stays in the file. RAISES: Unlabelled_message;
// Unreadable_message; Input_error; Data_error for a message without the titles that `columns`
// wants.
Labelled_text stored_text_of(const std::shared_ptr<const Stored_corpus>& corpus, std::size_t number,
                             Columns columns);

// Reads the labels of all messages of a corpus file. The texts stay in the file: each
// Labelled_text refers to its message. Its line is the number of the message plus 1, which is its
// line in an export. So every message has been read once before the caller changes anything.
// `skipped`: counts messages without a label, and messages that cannot be read; null: they are
// refused.
// RAISES: what Stored_corpus raises; Unlabelled_message; Unreadable_message; Data_error for a
// message without the titles that `columns` wants, and for a corpus without a message; Usage_error
// if `form` has options, which corpus files do not have.
std::vector<Labelled_text> read_stored_texts(const std::string& path, Skipped_lines* skipped,
                                             Columns columns, const Data_form& form);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_STORED_CORPUS_H_
