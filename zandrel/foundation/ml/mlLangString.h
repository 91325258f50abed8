// mlLangString: a text in a human language.
#ifndef ZANDREL_FOUNDATION_ML_MLLANGSTRING_H_
#define ZANDREL_FOUNDATION_ML_MLLANGSTRING_H_

#include <utility>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

// A text that people wrote, as it came from an application. Its bytes are kept untouched, white
// space at its ends included; mlMessageConverter::CanonizeLangString gives the form in which two
// such texts are compared.
class ZANDREL_EXPORT mlLangString {
public:
    // The empty text.
    mlLangString() = default;

    // The language string of a value's text form. Any bytes may be in it, so that nothing is lost
    // behind a zero byte.
    static mlLangString BuildFromCString(const qtString& text);

    // VALID UNTIL: this is changed or destroyed.
    const qtString& text() const noexcept { return m_text; }

    bool operator==(const mlLangString& other) const = default;

private:
    explicit mlLangString(qtString text) : m_text(std::move(text)) {}

    qtString m_text;
};

#endif  // ZANDREL_FOUNDATION_ML_MLLANGSTRING_H_
