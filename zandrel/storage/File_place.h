// File_place: what a file device knows of its stream, so that it asks the system only when it must.
#ifndef ZANDREL_STORAGE_FILE_PLACE_H_
#define ZANDREL_STORAGE_FILE_PLACE_H_

namespace Zandrel {

// A stream that is open for reading and writing needs a seek or a flush when the direction of its
// transfers changes, and a seek costs system calls even to where the stream already is. A device
// therefore keeps count of both.
struct File_place {
    enum class Transfer : unsigned char { kNone, kRead, kWrite };

    static constexpr long long kUnknown = -1;

    long long position = 0;           // of the stream, or kUnknown after a failure
    long long size = kUnknown;        // of the file with what is not flushed yet, once it is known
    Transfer last = Transfer::kNone;  // since the last seek or flush
};

}  // namespace Zandrel

#endif  // ZANDREL_STORAGE_FILE_PLACE_H_
