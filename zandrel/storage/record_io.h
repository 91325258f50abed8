// Writes and reads the items of record files and packages.
// Format: docs/formats/record_file.md
#ifndef ZANDREL_STORAGE_RECORD_IO_H_
#define ZANDREL_STORAGE_RECORD_IO_H_

#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/Hreclaim_format.h"
#include "zandrel/storage/SegBuf.h"

namespace zandrel::detail {

// Calls `take` with the address and the length of each run of contiguous bytes from `begin` to
// `end`.
template <class Take>
void for_each_run(const SegBuf& record, unsigned int begin, unsigned int end, Take&& take) {
    for (unsigned int position = begin; position < end;) {
        char* run = nullptr;
        unsigned int length = 0;
        record.Locate(position, end, run, length);
        take(run, length);
        position += length;
    }
}

// Writes an item. Each segment of its data is written by one call.
template <class T>
void WriteItem(Hio<T>& io, const qtString& key, const SegBuf& data) {
    io << kItemTag << key << data.size;
    for_each_run(data, 0, data.size,
                 [&io](const char* run, unsigned int length) { io.WriteBytes(run, length); });
}

// The three steps of reading an item: tag, key, data.

// Reads a tag. Returns true if it is the tag of an item.
template <class T>
bool ReadsItemTag(Hio<T>& io) {
    unsigned int tag = 0;
    io >> tag;
    return tag == kItemTag;
}

// Reads a key. Returns true if it equals `key`. If it has another length, only the length is read.
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

// Reads the length of the data and the data into an empty record.
template <class T>
void ReadBlob(Hio<T>& io, SegBuf& data) {
    const unsigned int byte_count = io.ReadCount(1);
    data.ExtendToFill(byte_count);
    for_each_run(data, 0, byte_count,
                 [&io](char* run, unsigned int length) { io.ReadBytes(run, length); });
}

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_RECORD_IO_H_
