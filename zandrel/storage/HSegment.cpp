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
    m_buffer.offset = 0;  // SetOffset(0), which cannot fail
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
    // No content stands there, and the sum must not wrap around to content that does.
    if (byte_count > SegBuf::kLargestSize - m_buffer.offset) {
        throw qtxSegBuf(qtxSegBuf::kLocateError, __FILE__, __LINE__);
    }
    const unsigned int end = m_buffer.offset + byte_count;
    PassRuns(m_buffer, end, [&bytes](const char* run, unsigned int length) {
        std::memcpy(bytes, run, length);
        bytes += length;
    });
}
