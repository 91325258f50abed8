// qtString: the byte string that names, texts and records are made of.
#ifndef ZANDREL_FOUNDATION_QTSTRING_H_
#define ZANDREL_FOUNDATION_QTSTRING_H_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

// A string of bytes with a length. It may hold any bytes, zero bytes included, and knows no
// encoding.
//
// Two strings are ordered by their bytes as unsigned characters over the shorter length; if that
// part is equal the shorter string is the lesser. This one order settles ties everywhere in the
// engine, so it never depends on the locale or on whether `char` is signed.
//
// It is a thin coat over std::string_view and std::string, so that the rest of the library does
// not depend on what lies below.
class qtString {
public:
    static constexpr std::size_t npos = std::string_view::npos;

    qtString() = default;

    // The conversions are implicit on purpose: literals and views stand for strings everywhere.
    // REQUIRES: `text` is not null and ends with a zero byte.
    // NOLINTBEGIN(google-explicit-constructor)
    qtString(const char* text) : m_bytes(text) {}

    qtString(std::string_view bytes) : m_bytes(bytes) {}

    qtString(std::string bytes) : m_bytes(std::move(bytes)) {}

    // NOLINTEND(google-explicit-constructor)
    qtString(const char* bytes, std::size_t byte_count) : m_bytes(bytes, byte_count) {}

    std::size_t size() const noexcept { return m_bytes.size(); }

    bool empty() const noexcept { return m_bytes.empty(); }

    char operator[](std::size_t position) const noexcept { return m_bytes[position]; }

    char& operator[](std::size_t position) noexcept { return m_bytes[position]; }

    // VALID UNTIL: the string is changed or destroyed. A zero byte stands behind the last one.
    const char* data() const noexcept { return m_bytes.data(); }

    char* data() noexcept { return m_bytes.data(); }

    const char* c_str() const noexcept { return m_bytes.c_str(); }

    std::string_view view() const noexcept { return m_bytes; }

    const std::string& str() const noexcept { return m_bytes; }

    void clear() noexcept { m_bytes.clear(); }

    // New bytes are zero.
    void resize(std::size_t byte_count) { m_bytes.resize(byte_count); }

    void reserve(std::size_t byte_count) { m_bytes.reserve(byte_count); }

    qtString& append(std::string_view bytes) {
        m_bytes.append(bytes);
        return *this;
    }

    qtString& operator+=(const qtString& other) { return append(other.view()); }

    qtString& operator+=(char byte) {
        m_bytes.push_back(byte);
        return *this;
    }

    // The bytes from `position` on, at most `byte_count` of them; empty behind the end.
    qtString substr(std::size_t position, std::size_t byte_count = npos) const {
        return position >= size() ? qtString() : qtString(view().substr(position, byte_count));
    }

private:
    std::string m_bytes;
};

namespace zandrel {

// Below 0, 0 or above 0 as `left` stands before, equals or follows `right` in the order above.
inline int compare_text(std::string_view left, std::string_view right) noexcept {
    // std::char_traits<char> compares bytes as unsigned characters, whatever `char` is.
    return left.compare(right);
}

}  // namespace zandrel

inline bool operator==(const qtString& left, const qtString& right) noexcept {
    return left.view() == right.view();
}

inline bool operator!=(const qtString& left, const qtString& right) noexcept {
    return !(left == right);
}

inline bool operator<(const qtString& left, const qtString& right) noexcept {
    return zandrel::compare_text(left.view(), right.view()) < 0;
}

inline bool operator>(const qtString& left, const qtString& right) noexcept {
    return right < left;
}

inline bool operator<=(const qtString& left, const qtString& right) noexcept {
    return !(right < left);
}

inline bool operator>=(const qtString& left, const qtString& right) noexcept {
    return !(left < right);
}

inline qtString operator+(qtString left, const qtString& right) {
    return left += right;
}

template <>
struct std::hash<qtString> {
    std::size_t operator()(const qtString& text) const noexcept {
        return std::hash<std::string_view>()(text.view());
    }
};

#endif  // ZANDREL_FOUNDATION_QTSTRING_H_
