// Record_reader: reads the long lists of a record directly from the segments of its SegBuf.
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

// Reads the same forms as `Hio<HSegment>` and raises the same errors. It is faster in two ways: it
// looks up a segment once, not for each number, and it copies a text only if the text continues in
// the next segment. It starts at the position of the stream. Its destructor moves the stream to the
// end of the bytes that it has read.
//
// BORROWS: the stream, which must not be used while the reader exists.
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

    // Reads a count and checks it, as Hio::ReadCount does.
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

    // Takes the bytes from the stream's position to the end of its segment or of the content.
    // Behind the content there are none.
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

    // Moves the stream to the reader's position.
    void Leave() {
        m_io.device->buffer().offset += static_cast<unsigned int>(m_next - m_start);
        m_start = m_next;
    }

    // The stream reads bytes that are not in one segment, and raises the errors.
    const char* BytesOfSegments(unsigned int byte_count) {
        Leave();
        m_copied.resize(byte_count);
        m_io.device->Read(m_copied.data(), byte_count);
        Enter();
        return m_copied.data();
    }

    Hio<HSegment>& m_io;
    const char* m_start = nullptr;  // the byte at the stream's position
    const char* m_next = nullptr;   // the byte at the reader's position
    const char* m_end = nullptr;    // behind the last byte of the run
    std::vector<char> m_copied;     // the last bytes that were not in one segment
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_RECORD_READER_H_
