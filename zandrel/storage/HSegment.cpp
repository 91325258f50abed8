// The general ways of HSegment, for bytes that continue in another segment or are not in one yet.
// The fast ways, for bytes in one allocated segment, are in the header.
//
// Each general way copies run by run, as SegBuf::Locate gives them. For example, a write of 10
// bytes at 16355, to a SegBuf with one full segment of 16360 bytes:
//
//   Extend(16365)          allocates segments[1]; `size` becomes 16365
//   Locate(16355, 16365)   segments[0] + 16355, 5 bytes: copies bytes[0] to bytes[4]
//   Locate(16360, 16365)   segments[1], 5 bytes: copies bytes[5] to bytes[9]
//   `offset` becomes 16365
//
//   segments[0]                         segments[1]
//   0              16355   16359        16360   16364              32719
//   |              | 0 1 2 3 4 |        | 5 6 7 8 9 | zeros            |
//
// Reading the 10 bytes copies the same two runs. A read of 20 bytes at 16355 gives the 10 bytes and
// 10 zeros: each of its two runs starts below `size`, and only the start is checked. A read of 1
// byte at 16365 raises. So does a read of 20000 bytes at 16355: its third run would start at 32720.
#include "zandrel/storage/HSegment.h"

namespace {

// Calls `take` for each run of bytes from the buffer's offset to `end`, and then moves the offset
// to `end`.
template <class Take>
void PassRuns(SegBuf& buffer, unsigned int end, Take take) {
    for (unsigned int position = buffer.offset; position < end;) {
        char* run = nullptr;
        unsigned int length = 0;
        buffer.Locate(position, end, run, length);
        take(run, length);
        position += length;
    }
    buffer.offset = end;
}

}  // namespace

HSegment::HSegment(SegBuf& buffer, char mode) : m_buffer(buffer) {
    name = "SegBuf";
    read_only = mode == 'r';
    m_buffer.offset = 0;
    if (mode == 'w') {
        m_buffer.size = 0;
    }
}

HSegment::~HSegment() {
    m_buffer.offset = 0;
}

int HSegment::Tell() {
    return static_cast<int>(m_buffer.offset);
}

void HSegment::Seek(int position) {
    m_buffer.SetOffset(static_cast<unsigned int>(position));
}

int HSegment::SeekEnd() {
    m_buffer.SetOffset(m_buffer.size);
    return static_cast<int>(m_buffer.size);
}

int HSegment::GetFileSize() {
    return static_cast<int>(m_buffer.size);
}

void HSegment::Close() {
    m_buffer.SetOffset(0);
}

void HSegment::RequireBytes(std::uint64_t byte_count) {
    const std::uint64_t end = m_buffer.EndOfLastSegment();
    if (m_buffer.offset > end || byte_count > end - m_buffer.offset) {
        throw qtxSegBuf(qtxSegBuf::kLocateError, __FILE__, __LINE__);
    }
}

void HSegment::WriteRuns(const char* bytes, unsigned int byte_count) {
    if (read_only) {
        return;
    }
    if (byte_count > SegBuf::kLargestSize - m_buffer.offset) {
        throw qtxSegBuf(qtxSegBuf::kFull, __FILE__, __LINE__);
    }
    const unsigned int needed = m_buffer.offset + byte_count;
    m_buffer.Extend(needed);
    PassRuns(m_buffer, needed, [&bytes](char* run, unsigned int length) {
        std::memcpy(run, bytes, length);
        bytes += length;
    });
}

void HSegment::ReadRuns(char* bytes, unsigned int byte_count) {
    if (byte_count == 0) {
        return;
    }
    // No content can end there, and the sum below must not overflow to a small position.
    if (byte_count > SegBuf::kLargestSize - m_buffer.offset) {
        throw qtxSegBuf(qtxSegBuf::kLocateError, __FILE__, __LINE__);
    }
    const unsigned int end = m_buffer.offset + byte_count;
    PassRuns(m_buffer, end, [&bytes](const char* run, unsigned int length) {
        std::memcpy(bytes, run, length);
        bytes += length;
    });
}
