// qtString: the byte string for names, texts and records.
#ifndef ZANDREL_FOUNDATION_QTSTRING_H_
#define ZANDREL_FOUNDATION_QTSTRING_H_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

// A string of bytes with a length. It may contain any bytes, zero bytes too, and has no encoding.
//
// The order compares the bytes as unsigned characters; if one string is the beginning of the other,
// the shorter one comes first. For example, "a" < "ab" < "b" < "\xc3\xa4". The whole engine breaks
// ties by this order, so it depends neither on the locale nor on whether `char` is signed.
//
// It is a thin wrapper of std::string, so that the rest of the library does not depend on that
// type.
class qtString {
public:
    static constexpr std::size_t npos = std::string_view::npos;

    qtString() = default;

    // The conversions are implicit on purpose: literals and views can be passed as strings.
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

    // The bytes, with a zero byte behind the last one.
    // VALID UNTIL: the string is changed or destroyed.
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

// Returns a number below 0 if `left` comes before `right` in the order of qtString, 0 if they are
// equal, and a number above 0 otherwise.
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
