// qtFile: questions about files by name.
#ifndef ZANDREL_FOUNDATION_QTFILE_H_
#define ZANDREL_FOUNDATION_QTFILE_H_

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

// A group of operations, of which no object is made.
class ZANDREL_EXPORT qtFile {
public:
    qtFile() = delete;

    // Whether there is something of this name, be it a file, a folder or a device. What cannot be
    // reached is not there, and neither is a name with a zero byte, which the system would cut.
    static bool exists(const qtString& name);
};

#endif  // ZANDREL_FOUNDATION_QTFILE_H_
