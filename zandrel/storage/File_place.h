// File_place: what a file device knows of its stream, so that it asks the system only when it must.
#ifndef ZANDREL_STORAGE_FILE_PLACE_H_
#define ZANDREL_STORAGE_FILE_PLACE_H_

#include <vector>

namespace zandrel::detail {

// The stream is not buffered by the C library, which would read a page for every seek, be it before
// a write. The device gathers what is written and reads ahead by itself, in one buffer. After a
// read `position` is somewhere in the bytes that were read ahead; after a write the gathered bytes
// are those just before `position`.
//
// Bytes are transferred by pread() and pwrite(), which take the place in the file as an argument:
// a seek then is no system call, but only a new `position`. For example, replacing a record costs
// two calls instead of four. A pipe has no places; it is read and written through the stream.
struct File_place {
    enum class Transfer : unsigned char { kNone, kRead, kWrite };

    static constexpr long long kUnknown = -1;

    int descriptor = -1;              // for pread() and pwrite(); -1 for a file without places
    long long position = 0;           // of the device, or kUnknown after a failure
    long long size = kUnknown;        // of the file with what is not flushed yet, once it is known
    Transfer last = Transfer::kNone;  // since the last seek or flush; tells what is buffered
    unsigned int filled = 0;          // bytes of the buffer that were read ahead or gathered
    unsigned int taken = 0;           // of those that were read ahead, the bytes that were read
    unsigned int wanted = 0;          // how much the next read from the file reads ahead; 0: unset
    std::vector<char> buffer;         // of one size while a file is open
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_FILE_PLACE_H_
