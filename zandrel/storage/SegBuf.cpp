#include "zandrel/storage/SegBuf.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

// Defined here, so that the type information stands in the library alone.
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
    // Compared as lengths, since the end of the last segment may lie past the last position.
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

void SegBuf::ExtendToFill(unsigned int byte_count) {
    for (std::uint64_t end = segments.size(); end * kSegmentSize < byte_count; ++end) {
        const std::uint64_t wanted = byte_count - end * kSegmentSize;
        AddSegment(static_cast<unsigned int>(std::min<std::uint64_t>(wanted, kSegmentSize)));
    }
    size = std::max(size, byte_count);
}

// `filled`: how many bytes the caller will write, which are not zeroed.
void SegBuf::AddSegment(unsigned int filled) {
    // The pointer owns the bytes should the list find no memory.
    std::unique_ptr<char[]> segment(new char[kSegmentSize]);
    std::memset(segment.get() + filled, 0, kSegmentSize - filled);
    segments.push_back(segment.get());
    static_cast<void>(segment.release());  // the list owns it now
}
