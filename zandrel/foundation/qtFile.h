// qtFile: questions about files by name.
#ifndef ZANDREL_FOUNDATION_QTFILE_H_
#define ZANDREL_FOUNDATION_QTFILE_H_

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

// Only static functions: no object is made.
class ZANDREL_EXPORT qtFile {
public:
    qtFile() = delete;

    // Returns true if a file, folder or device has this name and can be reached. Returns false for
    // a name with a zero byte, since the system would read only the bytes before it.
    static bool exists(const qtString& name);
};

#endif  // ZANDREL_FOUNDATION_QTFILE_H_
