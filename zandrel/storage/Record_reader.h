// Record_reader: reads the long lists of a record straight from its segments.
// Not installed: the library's own.
#ifndef ZANDREL_STORAGE_RECORD_READER_H_
#define ZANDREL_STORAGE_RECORD_READER_H_

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "zandrel/storage/Hio.h"
#include "zandrel/storage/packing.h"

namespace zandrel::detail {

// Reads what `Hio<HSegment>` reads, in the same form and with the same errors, but looks for the
// segment once for all that is in it, and copies a text only where the text runs on into the next
// segment. It begins where the stream is, and the stream goes on where it ends.
//
// BORROWS: the stream, which must not be used meanwhile.
class Record_reader {
public:
    explicit Record_reader(Hio<HSegment>& io) : m_io(io) { Enter(); }

    Record_reader(const Record_reader&) = delete;
    Record_reader& operator=(const Record_reader&) = delete;

    ~Record_reader() { Leave(); }

    unsigned int Position() {
        Leave();
        return m_io.device->buffer().offset;
    }

    // VALID UNTIL: the next call.
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

    unsigned char Byte() { return static_cast<unsigned char>(*Bytes(1)); }

    // As Hio::ReadCount.
    unsigned int Count(unsigned int least_entry_size) {
        const auto count = Get<unsigned int>();
        const std::uint64_t byte_count = std::uint64_t{count} * least_entry_size;
        if (byte_count > Left()) {
            Leave();
            m_io.device->RequireBytes(byte_count);
        }
        return count;
    }

    // VALID UNTIL: the next call.
    std::string_view Text() {
        const unsigned int length = Count(1);
        return {Bytes(length), length};
    }

private:
    std::size_t Left() const noexcept { return static_cast<std::size_t>(m_end - m_next); }

    // Takes the rest of the segment in which the stream is. Behind the content there is none.
    void Enter() {
        const SegBuf& buffer = m_io.device->buffer();
        char* start = nullptr;
        unsigned int length = 0;
        if (buffer.offset < buffer.size) {
            buffer.Locate(buffer.offset, buffer.size, start, length);
        }
        m_start = start;
        m_next = start;
        m_end = start + length;
    }

    // Moves the stream to where the reader is.
    void Leave() {
        m_io.device->buffer().offset += static_cast<unsigned int>(m_next - m_start);
        m_start = m_next;
    }

    // The stream itself reads what is not in one segment, and raises what is to be raised.
    const char* BytesOfSegments(unsigned int byte_count) {
        Leave();
        m_copied.resize(byte_count);
        m_io.device->Read(m_copied.data(), byte_count);
        Enter();
        return m_copied.data();
    }

    Hio<HSegment>& m_io;
    const char* m_start = nullptr;  // where the stream is
    const char* m_next = nullptr;
    const char* m_end = nullptr;
    std::vector<char> m_copied;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_RECORD_READER_H_
