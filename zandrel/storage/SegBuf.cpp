// SegBuf keeps the bytes of a record in segments of 16360 bytes, so that a growing record is never
// copied: it gets one more segment, and no byte moves.
//
// Position `i` is in segment i / 16360 at i % 16360. For example, a record of 40000 bytes has three
// segments, and its last byte, at 39999, is in segment 2 at 39999 - 2 * 16360 = 7279:
//
//   segments[0]          segments[1]          segments[2]
//   0          16359     16360      32719     32720   39999        49079
//   | content         |  | content         |  | content   | zeros      |
//                                                         ^ size = 40000
//
// Extend(40000) on an empty SegBuf allocates the three segments, zeroed, and sets `size`.
// ExtendToFill(40000) zeroes only the 9080 bytes from 40000 on, since the caller writes the others.
// `size` never shrinks, except when an HSegment is opened with 'w'. Then the segments remain, with
// their bytes. Clear also sets it to 0, and keeps only the first segment, as zeros.
//
// A caller accesses the bytes through Locate, one run at a time. A run ends with its segment, so
// reading the bytes from 16000 to 33000 takes three calls:
//
//   Locate(16000, 33000)   segments[0] + 16000   360 bytes
//   Locate(16360, 33000)   segments[1]         16360 bytes
//   Locate(32720, 33000)   segments[2]           280 bytes
//
// Locate compares only the start of a run with `size`. So Locate(39999, 40005) gives 6 bytes, of
// which the last 5 are the zeros behind the content. Locate(40000, 40005) raises.
//
// FindAtOffset is the fast way for small pieces: a number of 4 bytes at offset 100 is in one
// segment, and one memcpy is enough. At offset 16358 it crosses into the next segment, so
// FindAtOffset returns null and the caller works by runs.
#include "zandrel/storage/SegBuf.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>

// We define it here so that the type information of the exception is only in the library.
qtxSegBuf::~qtxSegBuf() = default;

SegBuf::SegBuf(SegBuf&& other) noexcept
    : segments(std::exchange(other.segments, {})),
      offset(std::exchange(other.offset, 0U)),
      size(std::exchange(other.size, 0U)) {}

SegBuf& SegBuf::operator=(SegBuf&& other) noexcept {
    SegBuf taken(std::move(other));
    segments.swap(taken.segments);
    offset = taken.offset;
    size = taken.size;
    return *this;
}

SegBuf::~SegBuf() {
    for (char* segment : segments) {
        delete[] segment;
    }
}

void SegBuf::Locate(unsigned int position, unsigned int end, char*& ptr,
                    unsigned int& length) const {
    if (position >= size) {
        throw qtxSegBuf(qtxSegBuf::kLocateError, __FILE__, __LINE__);
    }
    const unsigned int start = position % kSegmentSize;
    // We compare lengths, since the end of the last segment may not fit 32 bits.
    const unsigned int wanted = end > position ? end - position : 0;
    ptr = segments[position / kSegmentSize] + start;
    length = std::min(wanted, kSegmentSize - start);
}

void SegBuf::SetOffset(unsigned int position) {
    if (position > size) {
        throw qtxSegBuf(qtxSegBuf::kInvalidSeek, __FILE__, __LINE__);
    }
    offset = position;
}

void SegBuf::Extend(unsigned int byte_count) {
    while (std::uint64_t{segments.size()} * kSegmentSize < byte_count) {
        AddSegment(0);
    }
    size = std::max(size, byte_count);
}

// If memory runs out, the new segments are freed: their bytes are neither zeroed nor below `size`,
// so Clear would not zero them, and a later record would have them behind its content.
void SegBuf::ExtendToFill(unsigned int byte_count) {
    const std::size_t old_count = segments.size();
    try {
        for (std::uint64_t end = old_count; end * kSegmentSize < byte_count; ++end) {
            const std::uint64_t wanted = byte_count - end * kSegmentSize;
            AddSegment(static_cast<unsigned int>(std::min<std::uint64_t>(wanted, kSegmentSize)));
        }
    } catch (...) {
        KeepSegments(old_count);
        throw;
    }
    size = std::max(size, byte_count);
}

void SegBuf::Clear() noexcept {
    KeepSegments(1);
    if (!segments.empty()) {
        std::memset(segments.front(), 0, std::min(size, kSegmentSize));
    }
    size = 0;
    offset = 0;
}

// Frees the segments behind the first `count`.
void SegBuf::KeepSegments(std::size_t count) noexcept {
    for (; segments.size() > count; segments.pop_back()) {
        delete[] segments.back();
    }
}

// `filled`: the number of bytes at the start that the caller will write. They are not zeroed.
void SegBuf::AddSegment(unsigned int filled) {
    // The pointer frees the bytes if push_back raises.
    std::unique_ptr<char[]> segment(new char[kSegmentSize]);
    std::memset(segment.get() + filled, 0, kSegmentSize - filled);
    segments.push_back(segment.get());
    static_cast<void>(segment.release());  // the list owns it now
}
