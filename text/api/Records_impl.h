// Records::Impl: a data file that is being read.
#ifndef ZANDREL_TEXT_API_RECORDS_IMPL_H_
#define ZANDREL_TEXT_API_RECORDS_IMPL_H_

#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "zandrel/text/Records.h"

#include "text/api/Data_texts.h"
#include "text/api/Reported_progress.h"
#include "text/data/Data_form.h"
#include "text/data/Data_input.h"
#include "text/data/Data_reader.h"
#include "text/data/First_row_check.h"
#include "text/data/Stored_corpus.h"

namespace zandrel {

// A corpus file belongs to the engine, so its messages are read under the lock of the process
// (engine_mutex); the other formats need no lock.
class Records::Impl {
public:
    // RAISES: what Records::open raises.
    Impl(const std::string& path, const Record_form& form);

    const std::string& path() const { return m_path; }

    bool is_corpus() const { return m_corpus != nullptr; }

    // The analysis of a corpus file that notes one.
    std::optional<Analysis_settings> analysis() const;

    // Returns false at the end, and after a failure of the file itself.
    // RAISES: Data_error for a bad record, or one without a label; Input_error.
    bool next(Example& record);

    // Takes the remaining records. The texts of a corpus file stay in it. If an error is raised,
    // the records before it are lost. A failure of the file itself is raised again, since otherwise
    // a part of the file would look like the whole.
    // `progress`: may end the reading after each record.
    // RAISES: as `next`, and Data_error if there is no record; Error interrupted; Error
    // invalid_argument if the records are read without labels.
    Data_texts rest(const Reported_progress& progress);

private:
    bool read(Data_record& record);
    bool next_text(Labelled_text& text);
    // REQUIRES: the lock of the process.
    Labelled_text stored_text(std::size_t number) const;
    // Returns whether there was one. RAISES: as `next`.
    // REQUIRES: of a corpus file, the lock of the process.
    bool next_of_rest(Labelled_text& text);

    std::string m_path;
    bool m_has_labels = true;
    std::unique_ptr<Data_input> m_input;
    std::unique_ptr<Data_reader> m_reader;  // null: a corpus file
    First_row_check m_first_row;
    std::exception_ptr m_failure;                   // of the file itself; null: none
    std::shared_ptr<const Stored_corpus> m_corpus;  // null: another file
    std::size_t m_number = 0;                       // of the next message of the corpus
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_API_RECORDS_IMPL_H_
