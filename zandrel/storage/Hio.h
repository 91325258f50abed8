// Hio: the typed stream, which turns numbers, strings and containers into the form of all files.
// Format: docs/formats/wire.md. The bodies of the container forms are in Hio-inl.h.
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

// The count of a string or container, as it is written.
// RAISES: qtxSegBuf "SegBuf is full" if it is no 32-bit number: no record could hold it.
ZANDREL_EXPORT unsigned int CheckedCount(std::size_t count);

// The integers that have no form of their own and must not slip into that of another: `bool` and
// characters are raw bytes, and the width of `long` is the machine's.
template <class T>
concept WithoutForm =
    std::integral<T> && !std::same_as<T, unsigned short> && !std::same_as<T, unsigned int> &&
    !std::same_as<T, int> && !std::same_as<T, long long>;

}  // namespace zandrel::detail

// A typed stream over a device. It is cheap to make and lives for one record or one file.
//
//     SegBuf buffer;
//     Hio<HSegment> io(new HSegment(buffer, 'w'));
//     io << 1U << qtString("name") << 0.5;
//     io.WriteBool(true);
//     io.device->Close();
//
// `T` is the type through which the device is called: HSegment for direct calls, Generic32 for
// virtual ones, which serves a HSegment as well. Other types have Write, Read and RequireBytes as
// Generic32 tells them, virtual or not.
//
// Reading a container replaces its content. A count is held against what the device still has
// before memory is taken (Generic32::RequireBytes). If an error breaks off the reading of a
// container or string, what it holds is unspecified but sound; a record that an error breaks off
// in writing is to be thrown away.
//
// Errors: those of the device and of `converter` pass through. Writing raises qtxSegBuf
// "SegBuf is full" for a string or container of 2^32 bytes or elements and more.
template <class T>
class ZANDREL_EXPORT Hio {
public:
    // Gives the text to write in place of `text`.
    using Converter = qtString (*)(const qtString& text, void* context);

    // A stream without a device; nothing may be read or written until it has one.
    Hio() = default;

    explicit Hio(qtPtrLight<T> shared) noexcept : device(std::move(shared)) {}

    // OWNS: `fresh`, as qtPtrLight does.
    explicit Hio(T* fresh) : device(fresh) {}

    // Numbers, in packed form. An `int` goes through the form of `unsigned int`.
    Hio& operator<<(unsigned short value) { return Pack(value); }

    Hio& operator<<(unsigned int value) { return Pack(value); }

    Hio& operator<<(int value) { return Pack(static_cast<unsigned int>(value)); }

    Hio& operator<<(long long value) { return Pack(value); }

    Hio& operator<<(float value) { return Pack(value); }

    Hio& operator<<(double value) { return Pack(value); }

    // A `bool` or `char` is one raw byte, for which WriteBool and WriteByte are there.
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

    // Raw bytes, straight to and from the device.

    void WriteByte(char byte) { device->Write(&byte, 1); }

    char ReadByte() {
        char byte = 0;
        device->Read(&byte, 1);
        return byte;
    }

    // Written as 0 or 1; every byte but 0 is read as true.
    void WriteBool(bool value) { WriteByte(value ? 1 : 0); }

    bool ReadBool() { return ReadByte() != 0; }

    // No bytes at all are written and read without asking the device.
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

    // Strings: the count of bytes, then the bytes. Written through `converter`, if there is one;
    // read as they are.
    Hio& operator<<(const qtString& text);
    Hio& operator>>(qtString& text);
    // A concept is the string of its text.
    Hio& operator<<(const Concept& term);
    Hio& operator>>(Concept& term);
    // A moment is the bytes of qtTimeDate::PackTime.
    Hio& operator<<(const qtTimeDate& moment);
    Hio& operator>>(qtTimeDate& moment);
    Hio& operator<<(const std::pair<qtString, qtString>& pair);
    Hio& operator>>(std::pair<qtString, qtString>& pair);

    // Containers: the count of entries, then the entries. A map is written in ascending order of
    // its keys, a hash table in its own order, which no reader may depend on. Of entries with one
    // key the last one read stays.
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

    // Writes and reads the count in front of entries that other records keep by themselves.
    void WriteCount(std::size_t count) { *this << zandrel::detail::CheckedCount(count); }

    // REQUIRES: no entry takes fewer than `least_entry_size` bytes.
    // RAISES: the device's error if so many entries cannot be there.
    unsigned int ReadCount(unsigned int least_entry_size) {
        unsigned int count = 0;
        *this >> count;
        if (count != 0) {
            device->RequireBytes(std::uint64_t{count} * least_entry_size);
        }
        return count;
    }

    qtPtrLight<T> device;
    char scratch[8] = {};  // where numbers are packed and unpacked
    Converter converter = nullptr;
    void* converter_context = nullptr;  // borrowed, for `converter` alone
    qtString converted;                 // what `converter` gave last

private:
    template <class Value>
    Hio& Pack(Value value) {
        WriteBytes(scratch, static_cast<unsigned int>(qtPackUssDiet(value, scratch)));
        return *this;
    }

    // A placeholder device leaves `scratch` alone, and then zero is read, not the last number.
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

// Made once, in Hio.cpp.
extern template class Hio<HSegment>;
extern template class Hio<Generic32>;
extern template class Hio<Hfile32>;
extern template class Hio<Hfile64>;

#endif  // ZANDREL_STORAGE_HIO_H_
