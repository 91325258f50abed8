// Generic32: the byte device under the streams.
#ifndef ZANDREL_STORAGE_GENERIC32_H_
#define ZANDREL_STORAGE_GENERIC32_H_

#include <cstdint>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

// A device that reads and writes bytes at a position. Devices derive from it; a plain one is a
// placeholder until a real device is opened, so its operations do nothing, and those that return a
// value return 0.
//
// Positions are signed here, as they are in the files of 32-bit offsets. A device in memory goes
// further than 2 GiB by taking them modulo 2^32: `Seek(Tell())` always returns to where it was.
//
// Devices are made on the heap and shared through qtPtrLight.
// Threads: one at a time in the whole process.
class ZANDREL_EXPORT Generic32 {
public:
    Generic32() = default;
    Generic32(const Generic32&) = delete;
    Generic32& operator=(const Generic32&) = delete;

    virtual ~Generic32();

    // The current position.
    virtual int Tell();
    // Goes to a position.
    virtual void Seek(int position);
    // Goes to the end and returns its position.
    virtual int SeekEnd();
    virtual int GetFileSize();
    // Writes at the current position and moves it behind the bytes. A read-only device drops them
    // and reports nothing. No device changes the caller's bytes.
    virtual void Write(char* bytes, unsigned int byte_count);
    // Reads at the current position and moves it behind the bytes.
    virtual void Read(char* bytes, unsigned int byte_count);
    virtual void Close();

    // Called when a count has been read, before memory is taken for what it counts: raises the
    // device's own error of a read past the end if reading `byte_count` more bytes would certainly
    // end in it. A damaged count then costs nothing. It may let through what fails later, so it
    // takes no check's place. The last of the slots, since the order of the others is fixed.
    virtual void RequireBytes(std::uint64_t byte_count);

    qtString name;
    bool read_only = true;
};

#endif  // ZANDREL_STORAGE_GENERIC32_H_
