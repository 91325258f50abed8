// qtBuffer: a block of bytes in memory that takes the place of a file.
#ifndef ZANDREL_FOUNDATION_QTBUFFER_H_
#define ZANDREL_FOUNDATION_QTBUFFER_H_

#include <vector>

// What a knowledge container can be written to and read from without a disk. Shared through qtPtr
// and open, since its owner sends it on or keeps it where it likes.
struct qtBuffer {
    std::vector<char> bytes;
};

#endif  // ZANDREL_FOUNDATION_QTBUFFER_H_
