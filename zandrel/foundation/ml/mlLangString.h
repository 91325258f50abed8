// mlLangString: a text in a human language.
#ifndef ZANDREL_FOUNDATION_ML_MLLANGSTRING_H_
#define ZANDREL_FOUNDATION_ML_MLLANGSTRING_H_

#include <utility>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

// A text that people wrote, as an application passed it. No byte is changed, not even white space
// at the ends. mlMessageConverter::CanonizeLangString returns the form in which two such texts are
// compared.
class ZANDREL_EXPORT mlLangString {
public:
    // The empty text.
    mlLangString() = default;

    // Makes the language string of a value's text form. `text` may contain any bytes, also zero
    // bytes.
    static mlLangString BuildFromCString(const qtString& text);

    // VALID UNTIL: this is changed or destroyed.
    const qtString& text() const noexcept { return m_text; }

    bool operator==(const mlLangString& other) const = default;

private:
    explicit mlLangString(qtString text) : m_text(std::move(text)) {}

    qtString m_text;
};

#endif  // ZANDREL_FOUNDATION_ML_MLLANGSTRING_H_
