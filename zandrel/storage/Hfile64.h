// Hfile64: the file device of 64-bit offsets.
#ifndef ZANDREL_STORAGE_HFILE64_H_
#define ZANDREL_STORAGE_HFILE64_H_

#include <cstdint>
#include <cstdio>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/File_place.h"

// One open file, or none. It has no base and no virtual operations, so that a stream over it calls
// it directly. It is the model for other devices under Hreclaim.
//
// Reading and writing may alternate freely. Writes are buffered until `Flush`, `Close` or a seek to
// another place.
//
// Errors: raises qtX<HioErr>. After a failed write what was buffered is gone, `failed` is set, and
// every further write does nothing and reports nothing, so that cleaning up raises no second error:
// the owner must drop the device then. After other errors it may be used on, its position being
// unspecified after a failed read.
// Threads: one at a time in the whole process. The file is not locked, and nobody else may write to
// it.
class ZANDREL_EXPORT Hfile64 {
public:
    using Offset = long long;

    Hfile64() = default;
    Hfile64(const Hfile64&) = delete;
    Hfile64& operator=(const Hfile64&) = delete;
    // Closes the file; what fails then goes unreported.
    ~Hfile64();

    // Opens a file: 'r' for reading, 'w' for writing from scratch, 'u' for reading and writing what
    // exists. A file that was open is closed first. After an error none is open, but `name` stays.
    // RAISES: kBadMode "Invalid open mode"; kOpenFailed "Cannot open file: ".
    void Open(const qtString& file_name, char mode);

    long long Tell();
    // RAISES: kBadOffset "Invalid file offset in file "; kWriteFailed as Flush.
    void Seek(long long position);
    // Goes to the end and returns its position.
    // RAISES: kBadOffset "SeekEnd error in file "; kWriteFailed as Flush.
    long long SeekEnd();

    // RAISES: kReadFailed "File is not open for reading", or "Read error in file " if there are
    // fewer bytes; kWriteFailed as Flush.
    void Read(char* bytes, unsigned int byte_count);
    // RAISES: kWriteFailed "File is not open for writing" or "Write error in file ".
    void Write(char* bytes, unsigned int byte_count);
    // Says how many bytes from here on will be read before the next seek to another place, so that
    // the device asks the system for no more. It is called behind a seek, and changes no result.
    void ReadAhead(unsigned int byte_count) noexcept;

    // Raises what a read of so many bytes from here on would raise for being short, without reading
    // them. It is called before memory is taken for what a file claims to hold.
    // COST: one seek to the end and back in the life of an open file.
    void RequireBytes(std::uint64_t byte_count);
    // Raises "Write error in file " and sets `failed` if so many bytes more would make the file
    // larger than the device's positions reach, which no 64-bit file does.
    void RequireRoom(std::uint64_t byte_count);

    // Hands what is buffered to the system.
    // RAISES: kWriteFailed "Write error in file ".
    void Flush();
    // Closes the file, if one is open; the device is read-only then.
    // RAISES: kCloseFailed "Close error in file ", unless `failed` is set. It is closed all the
    // same.
    void Close();

    std::FILE* file = nullptr;  // owned; null when no file is open
    qtString name;              // of the file that was opened last
    bool read_only = true;
    bool failed = false;  // a write failed since the file was opened

private:
    zandrel::detail::File_place m_place;
};

#endif  // ZANDREL_STORAGE_HFILE64_H_
