// File_place: the position, size and buffer of an open file. They save system calls.
#ifndef ZANDREL_STORAGE_FILE_PLACE_H_
#define ZANDREL_STORAGE_FILE_PLACE_H_

#include <vector>

namespace zandrel::detail {

// The device has one buffer, in which it gathers written bytes or reads ahead. The C library does
// not buffer the stream, since it would read a page for each seek, even before a write. After a
// read from the buffer, `position` is inside the bytes that were read ahead, or at their end. After
// a write, the gathered bytes are just before `position`.
//
// For example, if 1,024 bytes were read ahead from 2000 on and 100 of them were read, `filled` is
// 1024, `taken` is 100 and `position` is 2100. If 30 bytes were written at 2000, `filled` is 30 and
// `position` is 2030.
//
// pread() and pwrite() transfer the bytes. They take the position as an argument, so a seek is not
// a system call, but only a new `position`. For example, replacing a record costs two calls instead
// of four. A pipe has no positions; it is read and written through the stream.
struct File_place {
    enum class Transfer : unsigned char { kNone, kRead, kWrite };

    static constexpr long long kUnknown = -1;

    int descriptor = -1;              // for pread() and pwrite(); -1 for a pipe
    long long position = 0;           // of the device; kUnknown after a failure
    long long size = kUnknown;        // of the file, with the gathered bytes, if it is known
    Transfer last = Transfer::kNone;  // kind of the bytes in the buffer
    unsigned int filled = 0;          // bytes of the buffer that were read ahead or gathered
    unsigned int taken = 0;           // bytes that were read ahead and have been read
    unsigned int wanted = 0;          // number of bytes to read ahead next; 0: default
    std::vector<char> buffer;         // has a fixed size while a file is open
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_FILE_PLACE_H_
