// Writes objects to records and reads them back.
#ifndef ZANDREL_TESTS_SUPPORT_STORED_H_
#define ZANDREL_TESTS_SUPPORT_STORED_H_

#include <string>

#include <gtest/gtest.h>

#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

#include "tests/support/record_bytes.h"

// The bytes of the record that an object writes.
template <class Stored>
std::string dumped(const Stored& object) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    object.Dump(io);
    return bytes_of(record);
}

// Reads an object from the beginning of a record. The record may be longer.
template <class Stored>
void load(Stored& object, const std::string& bytes) {
    SegBuf record = record_of(bytes);
    Hio<HSegment> io(new HSegment(record, 'r'));
    object.Load(io);
}

// Reads an object from a record and checks that the whole record was read.
template <class Stored>
Stored loaded(const std::string& bytes) {
    SegBuf record = record_of(bytes);
    Hio<HSegment> io(new HSegment(record, 'r'));
    Stored object;
    object.Load(io);
    EXPECT_EQ(record.offset, record.size) << "not all was read";
    return object;
}

// Loads the record at `start` into a new object and returns the record that this object writes.
template <class Stored>
std::string reload(SegBuf& record, unsigned int start) {
    Hio<HSegment> io(new HSegment(record, 'r'));
    io.device->Seek(static_cast<int>(start));
    Stored object;
    object.Load(io);
    return dumped(object);
}

#endif  // ZANDREL_TESTS_SUPPORT_STORED_H_
