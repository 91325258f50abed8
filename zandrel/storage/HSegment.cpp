#include "zandrel/storage/HSegment.h"

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
    for (unsigned int position = m_buffer.offset; position < needed;) {
        char* run = nullptr;
        unsigned int length = 0;
        m_buffer.Locate(position, needed, run, length);
        std::memcpy(run, bytes, length);
        bytes += length;
        position += length;
    }
    m_buffer.offset = needed;
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
    for (unsigned int position = m_buffer.offset; position < end;) {
        char* run = nullptr;
        unsigned int length = 0;
        m_buffer.Locate(position, end, run, length);
        std::memcpy(bytes, run, length);
        bytes += length;
        position += length;
    }
    m_buffer.offset = end;
}
