// What files of keyed blobs write and read alike: items, and the runs of a SegBuf.
// Format: docs/formats/record_file.md
#ifndef ZANDREL_STORAGE_RECORD_IO_H_
#define ZANDREL_STORAGE_RECORD_IO_H_

#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/Hreclaim_format.h"
#include "zandrel/storage/SegBuf.h"

namespace Zandrel {

// Writes all bytes of a record, a segment at a time.
template <class T>
void WriteBlob(Hio<T>& io, const SegBuf& data) {
    for (unsigned int position = 0; position < data.size;) {
        char* run = nullptr;
        unsigned int length = 0;
        data.Locate(position, data.size, run, length);
        io.WriteBytes(run, length);
        position += length;
    }
}

// Reads so many bytes into an empty record.
template <class T>
void ReadBlob(Hio<T>& io, SegBuf& data, unsigned int byte_count) {
    data.Extend(byte_count);
    for (unsigned int position = 0; position < byte_count;) {
        char* run = nullptr;
        unsigned int length = 0;
        data.Locate(position, byte_count, run, length);
        io.ReadBytes(run, length);
        position += length;
    }
}

template <class T>
void WriteItem(Hio<T>& io, const qtString& key, const SegBuf& data) {
    io << kItemTag << key << data.size;
    WriteBlob(io, data);
}

// Reads a key and tells whether it is this one. One of another length is another key, which need
// not be read.
template <class T>
bool ReadsKey(Hio<T>& io, const qtString& key) {
    const unsigned int length = io.ReadCount(1);
    if (length != key.size()) {
        return false;
    }
    qtString stored;
    stored.resize(length);
    io.ReadBytes(stored.data(), length);
    return stored == key;
}

// Reads the item of a key into an empty record. Returns null, or the text of what the key has led
// to instead; nothing is read into the record then.
template <class T>
const char* ReadItem(Hio<T>& io, const qtString& key, SegBuf& data) {
    unsigned int tag = 0;
    io >> tag;
    if (tag != kItemTag) {
        return "Key points to invalid item: ";
    }
    if (!ReadsKey(io, key)) {
        return "Key points to wrong item: ";
    }
    ReadBlob(io, data, io.ReadCount(1));
    return nullptr;
}

}  // namespace Zandrel

#endif  // ZANDREL_STORAGE_RECORD_IO_H_
