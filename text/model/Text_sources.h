// Text_sources: names the file and line of a text in messages.
#ifndef ZANDREL_TEXT_MODEL_TEXT_SOURCES_H_
#define ZANDREL_TEXT_MODEL_TEXT_SOURCES_H_

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "text/data/Labelled_text.h"
#include "text/errors.h"
#include "text/model/Text_model.h"

namespace zandrel {

class Text_sources {
public:
    // `files`: names for messages; Labelled_text::file is an index of them.
    // BORROWS: `texts`.
    Text_sources(std::vector<std::string> files, const std::vector<Labelled_text>& texts)
        : m_files(std::move(files)), m_texts(texts) {}

    const std::vector<Labelled_text>& texts() const { return m_texts; }

    // REQUIRES: `index` is below the number of texts.
    const std::string& file_of(std::size_t index) const { return m_files[m_texts[index].file]; }

    // Calls `work`, which trains or learns.
    // RAISES: Data_error with the file and line of its text for an unknown label; what `work`
    // raises.
    template <class Work>
    void locate_errors(const Work& work) const {
        try {
            work();
        } catch (const Unknown_label& error) {
            throw Data_error(file_of(error.index), m_texts[error.index].line, error.reason);
        }
    }

private:
    std::vector<std::string> m_files;
    const std::vector<Labelled_text>& m_texts;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_TEXT_SOURCES_H_
