// The allowed results of damage to a record: the error of a read past the end, or a load that
// succeeds. A load must never crash or allocate much memory. Programs that use this are linked with
// allocation_meter.cpp.
#ifndef ZANDREL_TESTS_SUPPORT_RECORD_DAMAGE_H_
#define ZANDREL_TESTS_SUPPORT_RECORD_DAMAGE_H_

#include <cstddef>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/storage/SegBuf.h"

#include "tests/support/allocation_meter.h"
#include "tests/support/record_bytes.h"

// Loads the record at `start` into a new object and returns the record that this object writes.
using Reload = std::string (*)(SegBuf& record, unsigned int start);

// The entries of one segment take less than this. A damaged count may ask for far more.
constexpr std::size_t kMostForDamage = std::size_t{2} << 20U;

// Loads a damaged record. Returns the record of the loaded object, or nothing if the load raises
// the error of a read past the end. Any other error is passed on.
inline std::optional<std::string> reload_damaged(Reload reload, SegBuf& record,
                                                 unsigned int start) {
    const Allocation_meter meter;
    std::optional<std::string> loaded;
    try {
        loaded = reload(record, start);
    } catch (const qtxSegBuf& raised) {
        EXPECT_STREQ(raised.what(), "Locate error in SegBuf");
    }
    EXPECT_LT(meter.bytes(), kMostForDamage);
    return loaded;
}

// Cuts the record at `start` before each of its bytes. The rest of the last segment is zero. So a
// cut record either loads like the same bytes followed by zeros, or raises. It must raise if the
// cut is at the end of a segment, since then no zeros follow.
inline void expect_cuts_are_safe_at(unsigned int start, const std::string& bytes, Reload reload) {
    const std::string before(start, 'x');
    const std::string zeros(std::size_t{2} * SegBuf::kSegmentSize, '\0');
    for (std::size_t kept = 0; kept < bytes.size(); ++kept) {
        SCOPED_TRACE(testing::Message() << kept << " of " << bytes.size() << " at " << start);
        const std::string left = before + bytes.substr(0, kept);
        SegBuf cut = record_of(left);
        SegBuf padded = record_of(left + zeros);

        const std::optional<std::string> loaded = reload_damaged(reload, cut, start);

        if (kept == 0 || left.size() % SegBuf::kSegmentSize == 0) {
            EXPECT_FALSE(loaded.has_value());
        } else if (loaded.has_value()) {
            EXPECT_EQ(to_hex(*loaded), to_hex(reload(padded, start)));
        }
    }
}

// Calls expect_cuts_are_safe_at with the record at several places: in one segment, across two
// segments, and with the record's end at the end of a segment.
inline void expect_cuts_are_safe(const std::string& bytes, Reload reload) {
    const auto size = static_cast<unsigned int>(bytes.size());
    for (const unsigned int left : {SegBuf::kSegmentSize, size, size / 2, 3U}) {
        expect_cuts_are_safe_at(SegBuf::kSegmentSize - left, bytes, reload);
    }
}

// Cuts a record before each of its bytes, so that the cut is also the end of the stored segment.
// Such a record never loads.
inline void expect_prefixes_raise(const std::string& bytes, Reload reload) {
    for (std::size_t kept = 0; kept < bytes.size(); ++kept) {
        SCOPED_TRACE(testing::Message() << kept << " of " << bytes.size());
        const auto start = static_cast<unsigned int>(SegBuf::kSegmentSize - kept);
        SegBuf cut = record_of(std::string(start, 'x') + bytes.substr(0, kept));

        EXPECT_FALSE(reload_damaged(reload, cut, start).has_value());
    }
}

// Changes each bit of each byte, and all bits of each byte at once.
inline void expect_changes_are_safe(const std::string& bytes, Reload reload) {
    for (std::size_t position = 0; position < bytes.size(); ++position) {
        for (const unsigned int mask : {1U, 2U, 4U, 8U, 16U, 32U, 64U, 128U, 255U}) {
            SCOPED_TRACE(testing::Message() << "byte " << position << ", mask " << mask);
            std::string damaged = bytes;
            damaged[position] = static_cast<char>(static_cast<unsigned char>(damaged[position]) ^
                                                  static_cast<unsigned char>(mask));
            SegBuf record = record_of(damaged);

            reload_damaged(reload, record, 0);
        }
    }
}

#endif  // ZANDREL_TESTS_SUPPORT_RECORD_DAMAGE_H_
