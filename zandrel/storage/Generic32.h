// Generic32: the base of the byte devices of 32-bit positions.
#ifndef ZANDREL_STORAGE_GENERIC32_H_
#define ZANDREL_STORAGE_GENERIC32_H_

#include <cstdint>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

// A device that reads and writes bytes at a position. Devices derive from it. A plain Generic32 is
// a placeholder until a real device is opened: its operations do nothing or return 0.
//
// Positions are signed, since files of 32-bit offsets have signed positions. A device in memory may
// have 2 GiB or more. It converts positions modulo 2^32, so `Seek(Tell())` always returns to the
// same place. For example, Tell() gives -1294967296 at 3,000,000,000.
//
// Devices are allocated on the heap and shared through qtPtrLight.
// Threads: one at a time in the whole process.
class ZANDREL_EXPORT Generic32 {
public:
    Generic32() = default;
    Generic32(const Generic32&) = delete;
    Generic32& operator=(const Generic32&) = delete;

    virtual ~Generic32();

    // The current position.
    virtual int Tell();
    // Moves to a position.
    virtual void Seek(int position);
    // Moves to the end and returns its position.
    virtual int SeekEnd();
    virtual int GetFileSize();
    // Writes at the current position and moves it behind the bytes. The bytes are not changed. A
    // read-only HSegment ignores the call; file devices and Hbuffer raise.
    virtual void Write(char* bytes, unsigned int byte_count);
    // Reads at the current position and moves it behind the bytes.
    virtual void Read(char* bytes, unsigned int byte_count);
    virtual void Close();

    // Raises the device's error of a read past the end if a read of `byte_count` more bytes would
    // certainly raise it. Readers call it after they have read a count and before they allocate
    // memory, so that a damaged count does not cost gigabytes. It does not replace the check of
    // each read, since a read may still raise after it. It is the last virtual function, since the
    // order of the others is fixed.
    virtual void RequireBytes(std::uint64_t byte_count);

    qtString name;
    bool read_only = true;
};

#endif  // ZANDREL_STORAGE_GENERIC32_H_
