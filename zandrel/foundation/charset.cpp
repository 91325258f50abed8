// Conversion by iconv of the C library, with a buffer that grows until the result fits.
#include "zandrel/foundation/charset.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <iconv.h>
#include <string>

#include "zandrel/foundation/qtX.h"

namespace {

// An open converter of the C library.
class Converter {
public:
    // RAISES: as ConvertCharset2Charset, for a pair that is not converted.
    Converter(const char* to, const char* from) : m_handle(iconv_open(to, from)) {
        if (!is_open()) {
            raise_unknown_pair(to, from);
        }
    }

    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    ~Converter() { iconv_close(m_handle); }

    // Converts the whole text. Returns false if iconv cannot convert it.
    bool convert(const qtString& text, std::string& converted) {
        // iconv changes the pointer, but none of the bytes.
        char* source = const_cast<char*>(text.data());
        std::size_t left = text.size();
        converted.resize(std::max(text.size(), kLeastRoom));
        // Some charsets have states. The second run writes the bytes that return to the initial
        // state.
        const bool is_done = run(&source, &left, converted) && run(nullptr, nullptr, converted);
        converted.resize(m_used);
        return is_done;
    }

    [[noreturn]] static void raise_unknown_pair(const qtString& to, const qtString& from) {
        throw qtXbase("Cannot convert from charset " + from + " to " + to, 0, {from, to});
    }

private:
    static constexpr std::size_t kLeastRoom = 64;

    bool is_open() const noexcept {
        return m_handle != reinterpret_cast<iconv_t>(-1);  // NOLINT(performance-no-int-to-ptr)
    }

    // Calls iconv, and again with more room until the result fits.
    bool run(char** source, std::size_t* left, std::string& converted) {
        for (;;) {
            char* target = converted.data() + m_used;
            std::size_t room = converted.size() - m_used;
            const std::size_t result = iconv(m_handle, source, left, &target, &room);
            m_used = converted.size() - room;
            if (result != static_cast<std::size_t>(-1)) {
                return true;
            }
            if (errno != E2BIG) {
                return false;
            }
            converted.resize(2 * converted.size());
        }
    }

    iconv_t m_handle;
    std::size_t m_used = 0;  // bytes of the result so far
};

// For iconv, an empty name or one that begins with "/" means the charset of the process's locale.
// No file may depend on the locale, so we refuse these names.
bool is_name(const char* charset) {
    return charset != nullptr && *charset != '\0' && *charset != '/';
}

qtString text_of(const char* charset) {
    return charset == nullptr ? "" : charset;
}

}  // namespace

qtString ConvertCharset2Charset(const char* to, const qtString& text, const char* from) {
    if (!is_name(to) || !is_name(from)) {
        Converter::raise_unknown_pair(text_of(to), text_of(from));
    }
    std::string converted;
    if (!Converter(to, from).convert(text, converted)) {
        throw qtXbase("Cannot convert text: " + text, 0, {text, from, to});
    }
    return converted;
}
