// Copies bytes to and from the vector of a qtBuffer. A write checks position and size before it
// changes the vector, so a write that fails changes nothing.
#include "zandrel/storage/Hbuffer.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

#include "zandrel/storage/HioErr.h"

namespace {

// Each position, also the position of the end, must fit an `int`.
constexpr unsigned int kLargestEnd = std::numeric_limits<int>::max();

}  // namespace

namespace zandrel::detail {

Hbuffer::Hbuffer() {
    name = "qtBuffer";
}

void Hbuffer::Open(qtPtr<qtBuffer>& buffer, char mode) {
    Close();
    failed = false;
    if (mode != 'r' && mode != 'w' && mode != 'u') {
        HioErr::Raise(HioErr::kBadMode, "Invalid open mode", name);
    }
    qtPtr<qtBuffer> opened = buffer.IsNull() ? qtPtr<qtBuffer>(new qtBuffer) : buffer;
    if (mode == 'w') {
        opened->bytes.clear();
    }
    if (mode != 'r') {
        buffer = opened;
    }
    m_buffer.swap(opened);
    m_is_readable = mode != 'w';
    read_only = mode == 'r';
}

int Hbuffer::Tell() {
    return m_position;
}

void Hbuffer::Seek(int position) {
    if (m_buffer.IsNull() || position < 0) {
        HioErr::Raise(HioErr::kBadOffset, "Invalid file offset in file " + name, name);
    }
    m_position = position;
}

int Hbuffer::SeekEnd() {
    m_position = Size();
    return m_position;
}

int Hbuffer::GetFileSize() {
    return Size();
}

void Hbuffer::Write(char* bytes, unsigned int byte_count) {
    if (failed) {
        return;
    }
    if (read_only || m_buffer.IsNull()) {
        FailToWrite("File is not open for writing");
    }
    if (byte_count > kLargestEnd - static_cast<unsigned int>(m_position)) {
        FailToWrite("Write error in file " + name);
    }
    if (byte_count != 0) {
        Put(bytes, byte_count);
    }
}

void Hbuffer::Read(char* bytes, unsigned int byte_count) {
    RequireOpen();
    if (byte_count == 0) {
        return;
    }
    if (!m_is_readable) {
        RaiseReadError();
    }
    RequireBytes(byte_count);
    std::copy_n(m_buffer->bytes.data() + m_position, byte_count, bytes);
    m_position += static_cast<int>(byte_count);
}

void Hbuffer::Close() {
    m_buffer.reset();
    m_position = 0;
    m_is_readable = false;
    read_only = true;
}

void Hbuffer::RequireBytes(std::uint64_t byte_count) {
    RequireOpen();
    const int size = Size();
    if (m_position > size || byte_count > static_cast<std::uint64_t>(size - m_position)) {
        RaiseReadError();
    }
}

int Hbuffer::Size() const {
    if (m_buffer.IsNull() || m_buffer->bytes.size() > kLargestEnd) {
        HioErr::Raise(HioErr::kBadOffset, "SeekEnd error in file " + name, name);
    }
    return static_cast<int>(m_buffer->bytes.size());
}

void Hbuffer::RequireOpen() const {
    if (m_buffer.IsNull()) {
        HioErr::Raise(HioErr::kReadFailed, "File is not open for reading", name);
    }
}

void Hbuffer::RaiseReadError() const {
    HioErr::Raise(HioErr::kReadFailed, "Read error in file " + name, name);
}

void Hbuffer::FailToWrite(const qtString& text) {
    failed = true;
    HioErr::Raise(HioErr::kWriteFailed, text, name);
}

// Overwrites existing bytes and appends the others. We append with `insert`, since `resize` would
// first set the new bytes to zero. A gap between the end and the position is filled with zeros.
void Hbuffer::Put(const char* bytes, unsigned int byte_count) {
    std::vector<char>& content = m_buffer->bytes;
    const auto start = static_cast<std::size_t>(m_position);
    const std::size_t old_size = content.size();
    if (start > old_size) {
        content.resize(start);
    }
    const std::size_t inside = std::min<std::size_t>(content.size() - start, byte_count);
    try {
        content.insert(content.end(), bytes + inside, bytes + byte_count);
    } catch (...) {
        content.resize(old_size);
        throw;
    }
    std::copy_n(bytes, inside, content.data() + start);
    m_position += static_cast<int>(byte_count);
}

}  // namespace zandrel::detail
