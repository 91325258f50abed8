// Record_reader: reads a record directly from the segments of its SegBuf.
// Not installed: the library's own.
#ifndef ZANDREL_STORAGE_RECORD_READER_H_
#define ZANDREL_STORAGE_RECORD_READER_H_

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "zandrel/storage/Hio.h"
#include "zandrel/storage/packing.h"

namespace zandrel::detail {

// Reads the same forms as `Hio` and raises the same errors. It is faster in two ways: it looks up a
// segment once, not for each number, and it copies a text only if the text continues in the next
// segment. It starts at the position of the stream. Its destructor moves the stream to the end of
// the bytes that it has read. A stream over another device than HSegment can be read too, but no
// faster: each number and text is then read from the device.
//
// BORROWS: the device of the stream, which must not be used while the reader exists.
class Record_reader {
public:
    explicit Record_reader(Hio<HSegment>& io)
        : m_device(*io.device), m_buffer(&io.device->buffer()) {
        Enter();
    }

    explicit Record_reader(Hio<Generic32>& io)
        : m_device(*io.device), m_buffer(buffer_of(m_device)) {
        Enter();
    }

    Record_reader(const Record_reader&) = delete;
    Record_reader& operator=(const Record_reader&) = delete;

    ~Record_reader() { Leave(); }

    // REQUIRES: the device is an HSegment.
    unsigned int Position() {
        Leave();
        return m_buffer->offset;
    }

    // VALID UNTIL: the next call. Bytes that are not copied are valid as long as the record.
    // RAISES: as HSegment::Read.
    const char* Bytes(unsigned int byte_count) {
        if (byte_count > Left()) {
            return BytesOfSegments(byte_count);
        }
        const char* const bytes = m_next;
        m_next += byte_count;
        return bytes;
    }

    template <class Number>
    Number Get() {
        Number number = 0;
        qtUnpackUssDiet(number, Bytes(kPackedSize<Number>));
        return number;
    }

    // Returns true if the text is valid only until the next call.
    bool IsCopied(std::string_view text) const noexcept {
        return !m_copied.empty() && text.data() == m_copied.data();
    }

    unsigned char Byte() { return static_cast<unsigned char>(*Bytes(1)); }

    // Reads a count and checks it, as Hio::ReadCount does.
    unsigned int Count(unsigned int least_entry_size) {
        const auto count = Get<unsigned int>();
        const std::uint64_t byte_count = std::uint64_t{count} * least_entry_size;
        if (byte_count > Left()) {
            Leave();
            m_device.RequireBytes(byte_count);
        }
        return count;
    }

    // VALID UNTIL: as Bytes.
    std::string_view Text() {
        const unsigned int length = Count(1);
        return {Bytes(length), length};
    }

private:
    static SegBuf* buffer_of(Generic32& device) {
        return typeid(device) == typeid(HSegment) ? &static_cast<HSegment&>(device).buffer()
                                                  : nullptr;
    }

    std::size_t Left() const noexcept { return static_cast<std::size_t>(m_end - m_next); }

    // Takes the bytes from the stream's position to the end of its segment or of the content.
    // Behind the content, and in another device, there are none.
    void Enter() {
        char* start = nullptr;
        unsigned int length = 0;
        if (m_buffer != nullptr && m_buffer->offset < m_buffer->size) {
            m_buffer->Locate(m_buffer->offset, m_buffer->size, start, length);
        }
        m_start = start;
        m_next = start;
        m_end = start + length;
    }

    // Moves the stream to the reader's position.
    void Leave() {
        if (m_buffer != nullptr) {
            m_buffer->offset += static_cast<unsigned int>(m_next - m_start);
            m_start = m_next;
        }
    }

    // The device reads bytes that are not in one segment, and raises the errors. We clear the copy
    // first, since a placeholder device reads nothing: 0 is read then, as by the stream.
    const char* BytesOfSegments(unsigned int byte_count) {
        Leave();
        m_copied.assign(byte_count, 0);
        m_device.Read(m_copied.data(), byte_count);
        Enter();
        return m_copied.data();
    }

    Generic32& m_device;
    SegBuf* m_buffer;               // of the HSegment; null for another device
    const char* m_start = nullptr;  // the byte at the stream's position
    const char* m_next = nullptr;   // the byte at the reader's position
    const char* m_end = nullptr;    // behind the last byte of the run
    std::vector<char> m_copied;     // the last bytes that were not in one segment
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_RECORD_READER_H_
