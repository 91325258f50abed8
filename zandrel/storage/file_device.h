// File_device: the common work of the two file devices, which differ in the functions of the C
// library that they call and in the type of positions.
// Not installed: the library's own.
#ifndef ZANDREL_STORAGE_FILE_DEVICE_H_
#define ZANDREL_STORAGE_FILE_DEVICE_H_

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/File_place.h"
#include "zandrel/storage/HioErr.h"

namespace zandrel::detail {

// The size of the buffer, in which written bytes are gathered and bytes are read ahead.
inline constexpr unsigned int kBufferBytes = 16384;
// The number of bytes that are read ahead after a seek. Most records are shorter, and copying so
// few bytes costs little compared with the system call. If reading continues, each later read from
// the file reads twice as much: 1,024, 2,048, 4,096, up to the size of the buffer.
inline constexpr unsigned int kReadAheadBytes = 1024;

// The work of one call of a device. It never calls the device's own operations, since a derived
// class may override them.
// Device: Hfile32 or Hfile64.
// Calls: `Open`, `Seek` and `Tell` of the C library, `kLargestPiece`, and `kLargestEnd` of a file.
// BORROWS: the device and its place.
template <class Device, class Calls>
class File_device {
public:
    File_device(Device& device, File_place& place) noexcept : m_device(device), m_place(place) {}

    void Open(const qtString& file_name, char mode) {
        Drop();
        m_place.buffer.resize(kBufferBytes);
        m_device.name = file_name;
        m_device.failed = false;
        const char* const flags = FlagsOf(mode);
        const bool is_name = m_device.name.view().find('\0') == std::string_view::npos;
        m_device.file = is_name ? Calls::Open(m_device.name.c_str(), flags) : nullptr;
        if (m_device.file == nullptr) {
            HioErr::Raise(HioErr::kOpenFailed, "Cannot open file: " + m_device.name, m_device.name);
        }
        std::setvbuf(m_device.file, nullptr, _IONBF, 0);
        if (Calls::Seek(m_device.file, 0, SEEK_CUR) == 0) {
            m_place.descriptor = fileno(m_device.file);
        }
        m_device.read_only = mode == 'r';
        m_place.size = mode == 'w' ? 0 : File_place::kUnknown;
    }

    long long Tell() {
        if (m_device.file != nullptr && m_place.position == File_place::kUnknown) {
            m_place.position = Calls::Tell(m_device.file);
        }
        return m_place.position;
    }

    void Seek(long long position) {
        if (m_device.file != nullptr) {
            // kUnknown is below 0, so a negative position must not be compared with it.
            if (position >= 0 && (position == m_place.position || MoveInBuffer(position))) {
                return;
            }
            Flush();
        }
        if (m_device.file == nullptr || !MoveTo(position, SEEK_SET)) {
            HioErr::Raise(HioErr::kBadOffset, "Invalid file offset in file " + m_device.name,
                          m_device.name);
        }
        m_place.position = position;
    }

    long long SeekEnd() {
        if (m_device.file != nullptr) {
            if (m_place.size != File_place::kUnknown && m_place.position == m_place.size) {
                return m_place.size;
            }
            Flush();
            if (HasPlaces() && m_place.size != File_place::kUnknown) {
                ForgetBuffer();
                m_place.position = m_place.size;
                return m_place.size;
            }
        }
        if (m_device.file == nullptr || !MoveTo(0, SEEK_END) || !TakeEnd()) {
            HioErr::Raise(HioErr::kBadOffset, "SeekEnd error in file " + m_device.name,
                          m_device.name);
        }
        return m_place.size;
    }

    void Read(char* bytes, unsigned int byte_count) {
        RequireFile();
        if (m_place.last == File_place::Transfer::kWrite) {
            Flush();
        }
        static_cast<void>(Tell());  // makes the position known, unless the file is a pipe
        m_place.last = File_place::Transfer::kRead;
        while (byte_count > 0) {
            const bool is_buffered = m_place.taken < m_place.filled || byte_count < NextReadAhead();
            const unsigned int piece =
                is_buffered ? TakeBuffered(bytes, byte_count) : ReadThrough(bytes, byte_count);
            if (piece == 0) {
                ForgetPlace();
                RaiseShortRead();
            }
            bytes += piece;
            byte_count -= piece;
            Advance(piece);
        }
    }

    void Write(const char* bytes, unsigned int byte_count) {
        if (m_device.failed) {
            return;
        }
        if (m_device.read_only || m_device.file == nullptr) {
            m_device.failed = true;
            HioErr::Raise(HioErr::kWriteFailed, "File is not open for writing", m_device.name);
        }
        if (byte_count == 0) {
            return;  // Writing 0 bytes behind the end does not make the file larger.
        }
        StartWriting(byte_count);
        if (byte_count > kBufferBytes - m_place.filled) {
            if (!WriteGathered()) {
                FailWrite();
            }
            WriteThrough(bytes, byte_count);
        }
        std::copy_n(bytes, byte_count, m_place.buffer.data() + m_place.filled);
        m_place.filled += byte_count;
        Advance(byte_count);
    }

    void ReadAhead(unsigned int byte_count) noexcept {
        m_place.wanted = std::min(byte_count, kBufferBytes);
    }

    void RequireBytes(std::uint64_t byte_count) {
        RequireFile();
        const long long position = Tell();
        const long long size = Size();
        if (position > size || byte_count > static_cast<std::uint64_t>(size - position)) {
            RaiseShortRead();
        }
    }

    void RequireRoom(std::uint64_t byte_count) {
        if (m_device.file != nullptr && !m_device.failed) {
            RequireEnd(Size(), byte_count);
        }
    }

    void Flush() {
        if (m_device.file == nullptr || m_place.last != File_place::Transfer::kWrite) {
            return;
        }
        // If an earlier write was refused, `failed` is set and its error was reported. We still
        // write the bytes from before it, but report no second error.
        if (!WriteGathered() && !m_device.failed) {
            FailWrite();
        }
        m_place.last = File_place::Transfer::kNone;
    }

    void Close() {
        if (m_device.file != nullptr && !Drop() && !m_device.failed) {
            HioErr::Raise(HioErr::kCloseFailed, "Close error in file " + m_device.name,
                          m_device.name);
        }
    }

    // Closes the file, if one is open. Returns false if bytes may be lost.
    bool Drop() noexcept {
        const bool is_written = m_place.last != File_place::Transfer::kWrite || WriteGathered();
        std::FILE* const closed = std::exchange(m_device.file, nullptr);
        m_device.read_only = true;
        m_place = File_place();
        return (closed == nullptr || std::fclose(closed) == 0) && is_written;
    }

private:
    const char* FlagsOf(char mode) const {
        switch (mode) {
            case 'r':
                return "rb";
            case 'w':
                return "wb";
            case 'u':
                return "r+b";
            default:
                HioErr::Raise(HioErr::kBadMode, "Invalid open mode", m_device.name);
        }
    }

    void RequireFile() const {
        if (m_device.file == nullptr) {
            HioErr::Raise(HioErr::kReadFailed, "File is not open for reading", m_device.name);
        }
    }

    [[noreturn]] void RaiseShortRead() const {
        HioErr::Raise(HioErr::kReadFailed, "Read error in file " + m_device.name, m_device.name);
    }

    [[noreturn]] void RefuseWrite() const {
        m_device.failed = true;
        HioErr::Raise(HioErr::kWriteFailed, "Write error in file " + m_device.name, m_device.name);
    }

    void ForgetPlace() const {
        std::clearerr(m_device.file);
        m_place.position = File_place::kUnknown;
        ForgetBuffer();
    }

    void ForgetBuffer() const noexcept {
        m_place.last = File_place::Transfer::kNone;
        m_place.filled = 0;
        m_place.taken = 0;
        m_place.wanted = 0;
    }

    // Raises the error of a write, and drops the gathered bytes. Otherwise each later seek would
    // try to write them, and fail again.
    [[noreturn]] void FailWrite() const {
        ForgetPlace();
        m_place.size = File_place::kUnknown;
        RefuseWrite();
    }

    unsigned int NextReadAhead() const noexcept {
        if (m_place.wanted != 0) {
            return m_place.wanted;
        }
        return std::clamp(2 * m_place.filled, kReadAheadBytes, kBufferBytes);
    }

    // Copies bytes from the buffer. If all its bytes were read, reads ahead first. Returns the
    // number of bytes, which is 0 only at the end of the file or after an error.
    unsigned int TakeBuffered(char* bytes, unsigned int byte_count) {
        if (m_place.taken == m_place.filled) {
            const unsigned int wanted = NextReadAhead();
            m_place.taken = 0;
            m_place.wanted = 0;
            m_place.filled = ReadStream(m_place.buffer.data(), wanted);
        }
        const unsigned int piece = std::min(byte_count, m_place.filled - m_place.taken);
        std::copy_n(m_place.buffer.data() + m_place.taken, piece, bytes);
        m_place.taken += piece;
        return piece;
    }

    // Reads directly from the file, at most kLargestPiece bytes. Returns the same as
    // TakeBuffered.
    // REQUIRES: all bytes of the buffer were read.
    unsigned int ReadThrough(char* bytes, unsigned int byte_count) {
        m_place.filled = 0;
        m_place.taken = 0;
        m_place.wanted = 0;
        return ReadStream(bytes, std::min(byte_count, Calls::kLargestPiece));
    }

    // Reads from the file at `m_place.position`; for a pipe, from its stream. Returns the number of
    // bytes that were read: fewer than `byte_count` at the end of the file or after an error. The
    // stream of a pipe then remembers the end or the error, so we clear both.
    unsigned int ReadStream(char* bytes, unsigned int byte_count) {
        if (HasPlaces()) {
            const ssize_t done =
                pread(m_place.descriptor, bytes, byte_count, static_cast<off_t>(m_place.position));
            return done < 0 ? 0 : static_cast<unsigned int>(done);
        }
        const std::size_t done = std::fread(bytes, 1, byte_count, m_device.file);
        if (done != byte_count) {
            std::clearerr(m_device.file);
        }
        return static_cast<unsigned int>(done);
    }

    // Moves to a position among the bytes that were read ahead. Returns false if it is not there.
    bool MoveInBuffer(long long position) noexcept {
        if (m_place.last != File_place::Transfer::kRead) {
            return false;
        }
        const long long start = m_place.position - m_place.taken;
        if (position < start || position >= start + m_place.filled) {
            return false;
        }
        m_place.taken = static_cast<unsigned int>(position - start);
        m_place.position = position;
        return true;
    }

    // Writes the gathered bytes and empties the buffer. Returns false if not all were written.
    bool WriteGathered() noexcept {
        const unsigned int byte_count = std::exchange(m_place.filled, 0U);
        return byte_count == 0 ||
               WriteStream(m_place.buffer.data(), byte_count, m_place.position - byte_count);
    }

    // Writes to `position`; for a pipe, to its stream. Returns false if not all bytes were written.
    bool WriteStream(const char* bytes, unsigned int byte_count, long long position) noexcept {
        if (!HasPlaces()) {
            return std::fwrite(bytes, 1, byte_count, m_device.file) == byte_count;
        }
        while (byte_count > 0) {  // A disk that is nearly full may take only a part.
            const ssize_t done =
                pwrite(m_place.descriptor, bytes, byte_count, static_cast<off_t>(position));
            if (done <= 0) {
                return false;
            }
            bytes += done;
            byte_count -= static_cast<unsigned int>(done);
            position += done;
        }
        return true;
    }

    // Writes pieces directly to the file until the rest fits the buffer.
    void WriteThrough(const char*& bytes, unsigned int& byte_count) {
        while (byte_count > kBufferBytes) {
            const unsigned int piece = std::min(byte_count, Calls::kLargestPiece);
            if (!WriteStream(bytes, piece, m_place.position)) {
                FailWrite();
            }
            bytes += piece;
            byte_count -= piece;
            Advance(piece);
        }
    }

    void RequireEnd(long long start, std::uint64_t byte_count) const {
        if (start < 0) {
            return;  // The position is unknown, as in a pipe. The write itself may fail.
        }
        if (start > Calls::kLargestEnd ||
            byte_count > static_cast<std::uint64_t>(Calls::kLargestEnd - start)) {
            RefuseWrite();
        }
    }

    bool HasPlaces() const noexcept { return m_place.descriptor >= 0; }

    // Moves the stream and empties the buffer. The caller stores the new position. A position
    // inside the file needs no system call. Only the system can say if a position behind the end is
    // possible.
    bool MoveTo(long long position, int origin) {
        const bool is_inside =
            HasPlaces() && origin == SEEK_SET && position >= 0 && position <= m_place.size;
        if (!is_inside && Calls::Seek(m_device.file, position, origin) != 0) {
            return false;
        }
        ForgetBuffer();
        return true;
    }

    // Stores the position of the stream, which is at the end of the file, as the file's size.
    bool TakeEnd() {
        m_place.position = File_place::kUnknown;
        const long long end = Tell();
        if (end == File_place::kUnknown || end > Calls::kLargestEnd) {
            return false;
        }
        m_place.size = end;
        return true;
    }

    long long Size() {
        if (m_place.size == File_place::kUnknown) {
            const long long position = Tell();
            SeekEnd();
            Seek(position);
        }
        return m_place.size;
    }

    void StartWriting(unsigned int byte_count) {
        RequireEnd(Tell(), byte_count);
        if (m_place.last == File_place::Transfer::kRead && !MoveTo(m_place.position, SEEK_SET)) {
            FailWrite();
        }
        m_place.last = File_place::Transfer::kWrite;
    }

    void Advance(unsigned int byte_count) {
        if (m_place.position == File_place::kUnknown) {
            return;
        }
        m_place.position += byte_count;
        if (m_place.size != File_place::kUnknown) {
            m_place.size = std::max(m_place.size, m_place.position);
        }
    }

    Device& m_device;
    File_place& m_place;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_FILE_DEVICE_H_
