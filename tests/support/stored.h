// Objects that tests write to a record and read from one.
#ifndef ZANDREL_TESTS_SUPPORT_STORED_H_
#define ZANDREL_TESTS_SUPPORT_STORED_H_

#include <string>

#include <gtest/gtest.h>

#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

#include "tests/support/record_bytes.h"

// The bytes of an object's record.
template <class Stored>
std::string dumped(const Stored& object) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    object.Dump(io);
    return bytes_of(record);
}

// Reads an object from the beginning of a record, which may have more than it takes.
template <class Stored>
void load(Stored& object, const std::string& bytes) {
    SegBuf record = record_of(bytes);
    Hio<HSegment> io(new HSegment(record, 'r'));
    object.Load(io);
}

// The object whose record this is, and nothing more.
template <class Stored>
Stored loaded(const std::string& bytes) {
    SegBuf record = record_of(bytes);
    Hio<HSegment> io(new HSegment(record, 'r'));
    Stored object;
    object.Load(io);
    EXPECT_EQ(record.offset, record.size) << "not all was read";
    return object;
}

// Loads the record that begins at `start` into a new object and gives the record of that object.
template <class Stored>
std::string reload(SegBuf& record, unsigned int start) {
    Hio<HSegment> io(new HSegment(record, 'r'));
    io.device->Seek(static_cast<int>(start));
    Stored object;
    object.Load(io);
    return dumped(object);
}

#endif  // ZANDREL_TESTS_SUPPORT_STORED_H_
