// Hio: the typed stream, which writes and reads numbers, strings and containers in the wire form.
// The bodies for strings and containers are in Hio-inl.h.
// Format: docs/formats/wire.md
#ifndef ZANDREL_STORAGE_HIO_H_
#define ZANDREL_STORAGE_HIO_H_

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/Generic32.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/packing.h"

class Hfile32;
class Hfile64;
class qtTimeDate;

namespace zandrel::detail {

// Converts the count of a string or container to the type in which it is written.
// RAISES: qtxSegBuf "SegBuf is full" if it does not fit 32 bits, since no record can contain so
// much.
ZANDREL_EXPORT unsigned int CheckedCount(std::size_t count);

// The integers that << must refuse. It has no form for them, and C++ could convert them to a type
// of another size. For example, `bool` and characters are written as raw bytes, and `long` has 4 or
// 8 bytes, depending on the machine.
template <class T>
concept WithoutForm =
    std::integral<T> && !std::same_as<T, unsigned short> && !std::same_as<T, unsigned int> &&
    !std::same_as<T, int> && !std::same_as<T, long long>;

}  // namespace zandrel::detail

// A typed stream over a device. It is cheap to construct; we make one for each record or file.
//
//     SegBuf buffer;
//     Hio<HSegment> io(new HSegment(buffer, 'w'));
//     io << 1U << qtString("name") << 0.5;
//     io.WriteBool(true);
//     io.device->Close();
//
// `T` is the type through which the device is called: HSegment for direct calls, Generic32 for
// virtual calls of any device, also of an HSegment. Any other type needs Write, Read and
// RequireBytes as described at Generic32; they need not be virtual.
//
// Reading a container replaces its content. A count is compared with the bytes that the device
// still has before memory is allocated (Generic32::RequireBytes). If reading a string or container
// fails, its content is valid but unspecified. If writing a record fails, throw the record away.
//
// Errors: the errors of the device and of `converter` pass through. Writing raises qtxSegBuf
// "SegBuf is full" for a string or container of 2^32 or more bytes or elements.
template <class T>
class ZANDREL_EXPORT Hio {
public:
    // Returns the text to write instead of `text`.
    using Converter = qtString (*)(const qtString& text, void* context);

    // Makes a stream without a device. Set `device` before reading or writing.
    Hio() = default;

    explicit Hio(qtPtrLight<T> shared) noexcept : device(std::move(shared)) {}

    // OWNS: `fresh`, as qtPtrLight does.
    explicit Hio(T* fresh) : device(fresh) {}

    // Numbers, in packed form. An `int` has the form of the `unsigned int` with the same bits.
    Hio& operator<<(unsigned short value) { return Pack(value); }

    Hio& operator<<(unsigned int value) { return Pack(value); }

    Hio& operator<<(int value) { return Pack(static_cast<unsigned int>(value)); }

    Hio& operator<<(long long value) { return Pack(value); }

    Hio& operator<<(float value) { return Pack(value); }

    Hio& operator<<(double value) { return Pack(value); }

    // For a `bool` or `char` use WriteBool or WriteByte.
    template <zandrel::detail::WithoutForm Value>
    Hio& operator<<(Value) = delete;

    Hio& operator>>(unsigned short& value) { return Unpack(value); }

    Hio& operator>>(unsigned int& value) { return Unpack(value); }

    Hio& operator>>(int& value) {
        unsigned int packed = 0;
        Unpack(packed);
        value = static_cast<int>(packed);
        return *this;
    }

    Hio& operator>>(long long& value) { return Unpack(value); }

    Hio& operator>>(float& value) { return Unpack(value); }

    Hio& operator>>(double& value) { return Unpack(value); }

    // Raw bytes.

    void WriteByte(char byte) { device->Write(&byte, 1); }

    char ReadByte() {
        char byte = 0;
        device->Read(&byte, 1);
        return byte;
    }

    // A bool is written as 0 or 1. Every byte except 0 is read as true.
    void WriteBool(bool value) { WriteByte(value ? 1 : 0); }

    bool ReadBool() { return ReadByte() != 0; }

    // If there are no bytes, the device is not called.
    void WriteBytes(const char* bytes, unsigned int byte_count) {
        if (byte_count != 0) {
            device->Write(const_cast<char*>(bytes), byte_count);  // no device changes them
        }
    }

    void ReadBytes(char* bytes, unsigned int byte_count) {
        if (byte_count != 0) {
            device->Read(bytes, byte_count);
        }
    }

    // Strings: the count of bytes, then the bytes. `converter`, if it is set, changes each string
    // and concept before it is written. Reading does not convert.
    Hio& operator<<(const qtString& text);
    Hio& operator>>(qtString& text);
    // A concept has the form of the string of its text.
    Hio& operator<<(const Concept& term);
    Hio& operator>>(Concept& term);
    // A moment has the bytes that qtTimeDate::PackTime makes.
    Hio& operator<<(const qtTimeDate& moment);
    Hio& operator>>(qtTimeDate& moment);
    Hio& operator<<(const std::pair<qtString, qtString>& pair);
    Hio& operator>>(std::pair<qtString, qtString>& pair);

    // Containers: the count of entries, then the entries. A map is written in ascending order of
    // its keys, a hash table in its own order, on which no reader may depend. If a key occurs twice
    // in the bytes, the last entry counts.
    Hio& operator<<(const std::vector<std::pair<qtString, qtString>>& pairs);
    Hio& operator>>(std::vector<std::pair<qtString, qtString>>& pairs);
    Hio& operator<<(const std::vector<int>& numbers);
    Hio& operator>>(std::vector<int>& numbers);
    Hio& operator<<(const std::vector<Concept>& concepts);
    Hio& operator>>(std::vector<Concept>& concepts);
    Hio& operator<<(const std::map<unsigned int, qtString>& table);
    Hio& operator>>(std::map<unsigned int, qtString>& table);
    Hio& operator<<(const std::map<qtString, qtString>& table);
    Hio& operator>>(std::map<qtString, qtString>& table);
    Hio& operator<<(const std::map<unsigned int, qtTimeDate>& table);
    Hio& operator>>(std::map<unsigned int, qtTimeDate>& table);
    Hio& operator<<(const hash_map<qtString, unsigned int>& table);
    Hio& operator>>(hash_map<qtString, unsigned int>& table);
    Hio& operator<<(const hash_map<unsigned int, unsigned int>& table);
    Hio& operator>>(hash_map<unsigned int, unsigned int>& table);

    // Writes the count in front of entries that the caller writes.
    void WriteCount(std::size_t count) { *this << zandrel::detail::CheckedCount(count); }

    // Reads the count in front of entries that the caller reads.
    // REQUIRES: each entry has at least `least_entry_size` bytes.
    // RAISES: the device's error of a short read if so many entries cannot be in the bytes that are
    // left. For example, a count of 1000 and entries of at least 8 bytes need 8000 bytes.
    unsigned int ReadCount(unsigned int least_entry_size) {
        unsigned int count = 0;
        *this >> count;
        if (count != 0) {
            device->RequireBytes(std::uint64_t{count} * least_entry_size);
        }
        return count;
    }

    qtPtrLight<T> device;
    char scratch[8] = {};  // the packed bytes of one number or moment
    Converter converter = nullptr;
    void* converter_context = nullptr;  // BORROWS; passed to `converter`
    qtString converted;                 // the last result of `converter`

private:
    template <class Value>
    Hio& Pack(Value value) {
        WriteBytes(scratch, static_cast<unsigned int>(qtPackUssDiet(value, scratch)));
        return *this;
    }

    // A placeholder device reads nothing. We clear `scratch`, so that 0 is read then, and not the
    // last number.
    template <class Value>
    Hio& Unpack(Value& value) {
        std::memset(scratch, 0, sizeof scratch);
        ReadBytes(scratch, static_cast<unsigned int>(qtGetPackedSizeDiet(value)));
        qtUnpackUssDiet(value, scratch);
        return *this;
    }

    void WriteText(std::string_view text);
    void WriteConverted(const qtString& text);
    template <class Entry>
    Hio& WriteVector(const std::vector<Entry>& entries);
    template <class Entry>
    Hio& ReadVector(std::vector<Entry>& entries);
    template <class Table>
    Hio& WriteTable(const Table& table);
    template <class Table>
    Hio& ReadTable(Table& table);
};

// Instantiated only in Hio.cpp.
extern template class Hio<HSegment>;
extern template class Hio<Generic32>;
extern template class Hio<Hfile32>;
extern template class Hio<Hfile64>;

#endif  // ZANDREL_STORAGE_HIO_H_
