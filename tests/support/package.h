// Package_test: the shared part of the package tests. They run for packages in files and in memory.
#ifndef ZANDREL_TESTS_SUPPORT_PACKAGE_H_
#define ZANDREL_TESTS_SUPPORT_PACKAGE_H_

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/persistence/Hpack.h"

#include "tests/support/record_bytes.h"
#include "tests/support/record_file.h"
#include "tests/support/scratch_file.h"

// A package in a file.
struct Package_file {
    void open(Hpack& pack, char mode) { pack.Open(disk.path(), mode); }

    void hold(std::string_view bytes) { disk.write(bytes); }

    std::string content() const { return disk.content(); }

    std::string name() const { return disk.path().str(); }

    Scratch_file disk;
};

// A package in memory.
struct Package_buffer {
    void open(Hpack& pack, char mode) { pack.Open(buffer, mode); }

    void hold(std::string_view bytes) {
        buffer = qtPtr<qtBuffer>(new qtBuffer);
        buffer->bytes.assign(bytes.begin(), bytes.end());
    }

    std::string content() const { return {buffer->bytes.begin(), buffer->bytes.end()}; }

    std::string name() const { return "qtBuffer"; }

    qtPtr<qtBuffer> buffer;
};

using Package_places = testing::Types<Package_file, Package_buffer>;

// The identity that a package stores about its owner.
struct Package_identity {
    explicit Package_identity(const Hpack& pack) { pack.GetFileID(id, version, flags, is_bad); }

    unsigned int id = 1;
    unsigned short version = 1;
    unsigned char flags = 1;
    bool is_bad = true;
};

inline std::string read_item(Hpack& pack, const qtString& key) {
    SegBuf data;
    pack.GetItem(key, data);
    EXPECT_EQ(data.offset, 0U);
    return bytes_of(data);
}

inline void add_item(Hpack& pack, const qtString& key, std::string_view data,
                     unsigned int offset = 0) {
    pack.AddAtOffset(key, record_of(std::string(data)), offset);
}

template <class Place>
class Package_test : public testing::Test {
protected:
    void open(char mode) { place.open(pack, mode); }

    void add(const qtString& key, std::string_view data, unsigned int offset = 0) {
        add_item(pack, key, data, offset);
    }

    std::string get(const qtString& key) { return read_item(pack, key); }

    // Makes a closed package of 75 bytes: the item "b" is at 16, the item "a" at 33 and the index
    // at 49.
    void make() {
        open('w');
        pack.SetFileID(0x278F9D40, 2, 0x80);
        add("b", "oxen");
        add("a", "one");
        pack.Close();
    }

    // Overwrites the bytes at a position.
    void patch(std::size_t position, std::string_view bytes) {
        place.hold(place.content().replace(position, bytes.size(), bytes));
    }

    Place place;
    Hpack pack;
};

#endif  // ZANDREL_TESTS_SUPPORT_PACKAGE_H_
