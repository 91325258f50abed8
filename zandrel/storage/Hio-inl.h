// The bodies of Hio for strings and containers. Hio.cpp includes them, and so do tests that put a
// stream over a device of their own.
#ifndef ZANDREL_STORAGE_HIO_INL_H_
#define ZANDREL_STORAGE_HIO_INL_H_

#include "zandrel/foundation/qtTimeDate.h"
#include "zandrel/storage/Hio.h"

namespace zandrel::detail {

// The smallest packed size of a container's entry, key or value: its numbers, and the counts of its
// strings. For example, a pair of two empty strings has 8 bytes. It is 0 for a type that is in no
// container.
template <class Entry>
inline constexpr unsigned int kLeastSize = 0;
template <>
inline constexpr unsigned int kLeastSize<int> = 4;
template <>
inline constexpr unsigned int kLeastSize<unsigned int> = 4;
template <>
inline constexpr unsigned int kLeastSize<qtString> = 4;
template <>
inline constexpr unsigned int kLeastSize<Concept> = 4;
template <>
inline constexpr unsigned int kLeastSize<qtTimeDate> = qtTimeDate::GetPackSize();
template <>
inline constexpr unsigned int kLeastSize<std::pair<qtString, qtString>> = 8;

}  // namespace zandrel::detail

template <class T>
Hio<T>& Hio<T>::operator<<(const qtString& text) {
    if (converter == nullptr) {
        WriteText(text.view());
    } else {
        WriteConverted(text);
    }
    return *this;
}

template <class T>
Hio<T>& Hio<T>::operator>>(qtString& text) {
    const unsigned int byte_count = ReadCount(1);
    text.clear();
    text.resize(byte_count);
    ReadBytes(text.data(), byte_count);
    return *this;
}

template <class T>
Hio<T>& Hio<T>::operator<<(const Concept& term) {
    if (converter == nullptr) {
        WriteText(term.view());
    } else {
        WriteConverted(term.text());
    }
    return *this;
}

template <class T>
Hio<T>& Hio<T>::operator>>(Concept& term) {
    qtString text;
    *this >> text;
    term = Concept::insert(text);
    return *this;
}

template <class T>
Hio<T>& Hio<T>::operator<<(const qtTimeDate& moment) {
    static_assert(qtTimeDate::GetPackSize() <= sizeof scratch);
    moment.PackTime(scratch);
    WriteBytes(scratch, qtTimeDate::GetPackSize());
    return *this;
}

template <class T>
Hio<T>& Hio<T>::operator>>(qtTimeDate& moment) {
    std::memset(scratch, 0, sizeof scratch);
    ReadBytes(scratch, qtTimeDate::GetPackSize());
    moment.UnpackTime(scratch);
    return *this;
}

template <class T>
Hio<T>& Hio<T>::operator<<(const std::pair<qtString, qtString>& pair) {
    return *this << pair.first << pair.second;
}

template <class T>
Hio<T>& Hio<T>::operator>>(std::pair<qtString, qtString>& pair) {
    return *this >> pair.first >> pair.second;
}

template <class T>
Hio<T>& Hio<T>::operator<<(const std::vector<std::pair<qtString, qtString>>& pairs) {
    return WriteVector(pairs);
}

template <class T>
Hio<T>& Hio<T>::operator>>(std::vector<std::pair<qtString, qtString>>& pairs) {
    return ReadVector(pairs);
}

template <class T>
Hio<T>& Hio<T>::operator<<(const std::vector<int>& numbers) {
    return WriteVector(numbers);
}

template <class T>
Hio<T>& Hio<T>::operator>>(std::vector<int>& numbers) {
    return ReadVector(numbers);
}

template <class T>
Hio<T>& Hio<T>::operator<<(const std::vector<Concept>& concepts) {
    return WriteVector(concepts);
}

template <class T>
Hio<T>& Hio<T>::operator>>(std::vector<Concept>& concepts) {
    return ReadVector(concepts);
}

template <class T>
Hio<T>& Hio<T>::operator<<(const std::map<unsigned int, qtString>& table) {
    return WriteTable(table);
}

template <class T>
Hio<T>& Hio<T>::operator>>(std::map<unsigned int, qtString>& table) {
    return ReadTable(table);
}

template <class T>
Hio<T>& Hio<T>::operator<<(const std::map<qtString, qtString>& table) {
    return WriteTable(table);
}

template <class T>
Hio<T>& Hio<T>::operator>>(std::map<qtString, qtString>& table) {
    return ReadTable(table);
}

template <class T>
Hio<T>& Hio<T>::operator<<(const std::map<unsigned int, qtTimeDate>& table) {
    return WriteTable(table);
}

template <class T>
Hio<T>& Hio<T>::operator>>(std::map<unsigned int, qtTimeDate>& table) {
    return ReadTable(table);
}

template <class T>
Hio<T>& Hio<T>::operator<<(const hash_map<qtString, unsigned int>& table) {
    return WriteTable(table);
}

template <class T>
Hio<T>& Hio<T>::operator>>(hash_map<qtString, unsigned int>& table) {
    return ReadTable(table);
}

template <class T>
Hio<T>& Hio<T>::operator<<(const hash_map<unsigned int, unsigned int>& table) {
    return WriteTable(table);
}

template <class T>
Hio<T>& Hio<T>::operator>>(hash_map<unsigned int, unsigned int>& table) {
    return ReadTable(table);
}

template <class T>
void Hio<T>::WriteText(std::string_view text) {
    const unsigned int byte_count = zandrel::detail::CheckedCount(text.size());
    *this << byte_count;
    WriteBytes(text.data(), byte_count);
}

template <class T>
void Hio<T>::WriteConverted(const qtString& text) {
    converted = converter(text, converter_context);
    WriteText(converted.view());
}

template <class T>
template <class Entry>
Hio<T>& Hio<T>::WriteVector(const std::vector<Entry>& entries) {
    WriteCount(entries.size());
    for (const Entry& entry : entries) {
        *this << entry;
    }
    return *this;
}

template <class T>
template <class Entry>
Hio<T>& Hio<T>::ReadVector(std::vector<Entry>& entries) {
    static_assert(zandrel::detail::kLeastSize<Entry> > 0);
    entries.resize(ReadCount(zandrel::detail::kLeastSize<Entry>));
    for (Entry& entry : entries) {
        *this >> entry;
    }
    return *this;
}

template <class T>
template <class Table>
Hio<T>& Hio<T>::WriteTable(const Table& table) {
    WriteCount(table.size());
    for (const auto& [key, value] : table) {
        *this << key << value;
    }
    return *this;
}

template <class T>
template <class Table>
Hio<T>& Hio<T>::ReadTable(Table& table) {
    using Key = typename Table::key_type;
    using Value = typename Table::mapped_type;
    static_assert(zandrel::detail::kLeastSize<Key> > 0 && zandrel::detail::kLeastSize<Value> > 0);
    table.clear();
    unsigned int left =
        ReadCount(zandrel::detail::kLeastSize<Key> + zandrel::detail::kLeastSize<Value>);
    if constexpr (requires { table.reserve(left); }) {
        table.reserve(left);
    }
    for (; left > 0; --left) {
        Key key{};
        *this >> key;
        // Maps are stored in ascending order, so the end is the right hint for the next key.
        *this >> table.try_emplace(table.end(), std::move(key))->second;
    }
    return *this;
}

#endif  // ZANDREL_STORAGE_HIO_INL_H_
