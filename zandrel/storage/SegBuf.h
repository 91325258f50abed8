// SegBuf: the memory in which a record is built and parsed, and qtxSegBuf, its exception.
#ifndef ZANDREL_STORAGE_SEGBUF_H_
#define ZANDREL_STORAGE_SEGBUF_H_

#include <cstdint>
#include <limits>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/qtX.h"

// What the operations of SegBuf and its device raise. It is thrown by value and is none of the
// qtX<T> family.
class ZANDREL_EXPORT qtxSegBuf : public qtxAll {
public:
    static constexpr int kCategory = 9;
    static constexpr int kSeverity = 2;

    // A read, or the look-up of a run, that starts at or past the end of the content; also a count
    // whose elements would not fit into what is left.
    static constexpr const char* kLocateError = "Locate error in SegBuf";
    // A seek past the end of the content.
    static constexpr const char* kInvalidSeek = "Invalid seek in SegBuf buffer";
    // A write that would end past the last position, or a count that is no 32-bit number.
    static constexpr const char* kFull = "SegBuf is full";

    // REQUIRES: `file` is a string literal or lives as long.
    qtxSegBuf(const char* message, const char* file, int line)
        : qtxAll(message, kCategory, kSeverity), m_file(file), m_line(line) {}

    qtxSegBuf(const qtxSegBuf&) = default;
    qtxSegBuf& operator=(const qtxSegBuf&) = default;
    ~qtxSegBuf() override;

    // The source position at which it was raised.
    const char* file() const noexcept { return m_file; }

    int line() const noexcept { return m_line; }

private:
    const char* m_file;
    int m_line;
};

// The bytes of one record, in segments of equal size. It starts empty, lives on the stack of the
// operation that builds or parses the record, and dies with it.
//
// Byte `i` lies in segment `i / kSegmentSize` at `i % kSegmentSize`. A record grows by one more
// segment; nothing is ever moved or freed until the SegBuf dies, so pointers into it stay valid.
// Segments are zeroed when they are allocated, so that what stands behind the content is the same
// in every run. There is no operation for shrinking.
//
// The fields are open, as this is a plain structure; users beside the device only read them.
//
// Errors: raises qtxSegBuf; the object is then as it was before.
// Threads: one at a time in the whole process.
class ZANDREL_EXPORT SegBuf {
public:
    static constexpr unsigned int kSegmentSize = 16360;
    // Positions are 32-bit numbers, so a record ends below 4 GiB.
    static constexpr unsigned int kLargestSize = std::numeric_limits<unsigned int>::max();

    SegBuf() = default;
    SegBuf(const SegBuf&) = delete;
    SegBuf& operator=(const SegBuf&) = delete;
    // The source is empty afterwards and may be used again.
    SegBuf(SegBuf&& other) noexcept;
    SegBuf& operator=(SegBuf&& other) noexcept;
    ~SegBuf();

    // Gives the run of contiguous bytes that begins at `position` and stops at `end` or at the end
    // of the segment, whichever comes first; its length is 0 if `end` is not behind `position`.
    // Only the start is held against `size`: a run may reach past it, within its segment.
    // VALID UNTIL: the SegBuf dies.
    // RAISES: qtxSegBuf kLocateError if `position` is not below `size`.
    void Locate(unsigned int position, unsigned int end, char*& ptr, unsigned int& length) const;

    // RAISES: qtxSegBuf kInvalidSeek if `position` is above `size`.
    void SetOffset(unsigned int position);

    // Makes `size` at least `byte_count`, with the segments for it. New segments hold zeros.
    // RAISES: std::bad_alloc; `size` is then unchanged.
    void Extend(unsigned int byte_count);

    // The same for a caller who writes over all the bytes that this adds: only what is behind them
    // is zeroed.
    void ExtendToFill(unsigned int byte_count);

    // The end of the last segment that holds content: no read gets past it.
    std::uint64_t EndOfLastSegment() const noexcept {
        return (std::uint64_t{size} + kSegmentSize - 1) / kSegmentSize * kSegmentSize;
    }

    // The `byte_count` bytes from `offset` on if one allocated segment holds all of them, else
    // null. It looks at no `size`; the device's short ways start with it.
    char* FindAtOffset(unsigned int byte_count) const noexcept {
        const unsigned int segment = offset / kSegmentSize;
        const unsigned int position = offset % kSegmentSize;
        const bool is_held = segment < segments.size() && byte_count <= kSegmentSize - position &&
                             byte_count <= kLargestSize - offset;
        return is_held ? segments[segment] + position : nullptr;
    }

    std::vector<char*> segments;  // each of kSegmentSize bytes, from array `new`; owned
    // The current position. Above `size` only after a read that ended past it.
    unsigned int offset = 0;
    unsigned int size = 0;  // how many bytes are in use; at most what the segments hold

private:
    void AddSegment(unsigned int filled);
};

#endif  // ZANDREL_STORAGE_SEGBUF_H_
