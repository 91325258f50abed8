// Hfile64: the file device of 64-bit offsets.
#ifndef ZANDREL_STORAGE_HFILE64_H_
#define ZANDREL_STORAGE_HFILE64_H_

#include <cstdint>
#include <cstdio>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/File_place.h"

// A device with one open file, or none. It has neither a base nor virtual operations, so that a
// stream can call it directly. Other devices under Hreclaim have the same operations and fields.
//
// Reading and writing may alternate freely. Writes are buffered until the buffer is full, or until
// `Flush`, `Close`, a read or a seek to another place.
//
// Errors: raises qtX<HioErr>. After a failed write, the buffered bytes may be lost, `failed` is
// set, and all later writes are silently ignored, so that cleaning up raises no second error. The
// owner must then close or destroy the device. After other errors it can still be used; the
// position is unspecified after a failed read.
// Threads: one at a time in the whole process. The file is not locked. Nobody else may write to it.
class ZANDREL_EXPORT Hfile64 {
public:
    using Offset = long long;

    Hfile64() = default;
    Hfile64(const Hfile64&) = delete;
    Hfile64& operator=(const Hfile64&) = delete;
    // Closes the file. Errors are not reported.
    ~Hfile64();

    // Opens a file: 'r' for reading, 'w' for writing from scratch, 'u' for reading and writing an
    // existing file. A file that was open is closed first. After an error no file is open, but
    // `name` is set.
    // RAISES: kBadMode "Invalid open mode"; kOpenFailed "Cannot open file: ".
    void Open(const qtString& file_name, char mode);

    long long Tell();
    // RAISES: kBadOffset "Invalid file offset in file "; kWriteFailed as Flush.
    void Seek(long long position);
    // Moves to the end and returns its position.
    // RAISES: kBadOffset "SeekEnd error in file "; kWriteFailed as Flush.
    long long SeekEnd();

    // RAISES: kReadFailed "File is not open for reading", or "Read error in file " if fewer bytes
    // are left; kWriteFailed as Flush.
    void Read(char* bytes, unsigned int byte_count);
    // RAISES: kWriteFailed "File is not open for writing" or "Write error in file ".
    void Write(char* bytes, unsigned int byte_count);
    // Sets how many bytes the next read from the system takes into the buffer, at most 16,384. A
    // caller that knows how many bytes it will read before the next seek calls this function after
    // a seek. It saves copying, and changes no result.
    void ReadAhead(unsigned int byte_count) noexcept;

    // Raises "Read error in file " if fewer than `byte_count` bytes are left in the file. Readers
    // call it before they allocate memory for a length that they have read.
    // COST: the first call for an open file may move to the end and back.
    void RequireBytes(std::uint64_t byte_count);
    // Raises "Write error in file " and sets `failed` if the end of the file, moved by
    // `byte_count`, would not fit the type of positions. This does not happen with 64-bit
    // positions.
    void RequireRoom(std::uint64_t byte_count);

    // Passes gathered bytes to the system.
    // RAISES: kWriteFailed "Write error in file ".
    void Flush();
    // Closes the file, if one is open, and sets `read_only`.
    // RAISES: kCloseFailed "Close error in file ", unless `failed` is set. After an error the file
    // is closed too.
    void Close();

    std::FILE* file = nullptr;  // owned; null when no file is open
    qtString name;              // of the file that was opened last
    bool read_only = true;
    bool failed = false;  // a write failed since the file was opened

private:
    zandrel::detail::File_place m_place;
};

#endif  // ZANDREL_STORAGE_HFILE64_H_
