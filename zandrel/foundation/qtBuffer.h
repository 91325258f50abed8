// qtBuffer: a block of bytes in memory that takes the place of a file.
#ifndef ZANDREL_FOUNDATION_QTBUFFER_H_
#define ZANDREL_FOUNDATION_QTBUFFER_H_

#include <vector>

// A knowledge container can be written to it and read from it. It is shared by qtPtr. Its bytes are
// public, since the owner may send them or store them anywhere.
struct qtBuffer {
    std::vector<char> bytes;
};

#endif  // ZANDREL_FOUNDATION_QTBUFFER_H_
