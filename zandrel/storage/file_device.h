// File_device: what the file devices do alike, whatever calls and types of positions they use.
#ifndef ZANDREL_STORAGE_FILE_DEVICE_H_
#define ZANDREL_STORAGE_FILE_DEVICE_H_

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <stdio_ext.h>
#include <utility>

#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/File_place.h"
#include "zandrel/storage/HioErr.h"

namespace Zandrel {

// The work of one call of a device. It never calls the device's own operations, which others may
// replace.
// Device: Hfile32 or Hfile64. BORROWS: the device and its place.
// Calls: `Open`, `Seek` and `Tell` of the C library, `kLargestPiece`, and `kLargestEnd` of a file.
template <class Device, class Calls>
class File_device {
public:
    File_device(Device& device, File_place& place) noexcept : m_device(device), m_place(place) {}

    void Open(const qtString& file_name, char mode) {
        Drop();
        m_device.name = file_name;
        m_device.failed = false;
        const char* const flags = FlagsOf(mode);
        const bool is_name = m_device.name.view().find('\0') == std::string_view::npos;
        m_device.file = is_name ? Calls::Open(m_device.name.c_str(), flags) : nullptr;
        if (m_device.file == nullptr) {
            HioErr::Raise(HioErr::kOpenFailed, "Cannot open file: " + m_device.name, m_device.name);
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
            if (position == m_place.position) {
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
        m_place.last = File_place::Transfer::kRead;
        while (byte_count > 0) {
            const unsigned int piece = std::min(byte_count, Calls::kLargestPiece);
            const std::size_t done = std::fread(bytes, 1, piece, m_device.file);
            if (done != piece) {
                m_place.position = File_place::kUnknown;
                std::clearerr(m_device.file);
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
        StartWriting(byte_count);
        while (byte_count > 0) {
            const unsigned int piece = std::min(byte_count, Calls::kLargestPiece);
            if (std::fwrite(bytes, 1, piece, m_device.file) != piece) {
                FailWrite();
            }
            bytes += piece;
            byte_count -= piece;
            Advance(piece);
        }
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
        if (m_device.file == nullptr || m_device.failed ||
            m_place.last != File_place::Transfer::kWrite) {
            return;
        }
        if (std::fflush(m_device.file) != 0) {
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

    // Closes the file, if one is open. Returns whether nothing was lost.
    bool Drop() noexcept {
        std::FILE* const closed = std::exchange(m_device.file, nullptr);
        m_device.read_only = true;
        m_place = File_place();
        return closed == nullptr || std::fclose(closed) == 0;
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

    // What is buffered is dropped, since each later seek would try to write it, and fail again.
    [[noreturn]] void FailWrite() const {
        __fpurge(m_device.file);
        std::clearerr(m_device.file);
        m_place = {File_place::kUnknown, File_place::kUnknown, File_place::Transfer::kNone};
        RefuseWrite();
    }

    void RequireEnd(long long start, std::uint64_t byte_count) const {
        if (start > Calls::kLargestEnd ||
            byte_count > static_cast<std::uint64_t>(Calls::kLargestEnd - start)) {
            RefuseWrite();
        }
    }

    bool MoveTo(long long position, int origin) {
        if (Calls::Seek(m_device.file, position, origin) != 0) {
            return false;
        }
        m_place.last = File_place::Transfer::kNone;
        return true;
    }

    // Notes the end of the file, where the stream is.
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

}  // namespace Zandrel

#endif  // ZANDREL_STORAGE_FILE_DEVICE_H_
