// SegBuf: the memory in which a record is built and parsed, and qtxSegBuf, its exception.
#ifndef ZANDREL_STORAGE_SEGBUF_H_
#define ZANDREL_STORAGE_SEGBUF_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/qtX.h"

// The exception of SegBuf and of its device, HSegment. It is thrown by value, and is not a qtX<T>.
class ZANDREL_EXPORT qtxSegBuf : public qtxAll {
public:
    static constexpr int kCategory = 9;
    static constexpr int kSeverity = 2;

    // A read or a Locate starts at or past the end of the content, or a count is larger than the
    // bytes that remain can contain.
    static constexpr const char* kLocateError = "Locate error in SegBuf";
    // The target of a seek is past the end of the content.
    static constexpr const char* kInvalidSeek = "Invalid seek in SegBuf buffer";
    // A write would end past SegBuf::kLargestSize, or a count does not fit 32 bits.
    static constexpr const char* kFull = "SegBuf is full";

    // BORROWS: `file`, usually a string literal, which must outlive the exception.
    qtxSegBuf(const char* message, const char* file, int line)
        : qtxAll(message, kCategory, kSeverity), m_file(file), m_line(line) {}

    qtxSegBuf(const qtxSegBuf&) = default;
    qtxSegBuf& operator=(const qtxSegBuf&) = default;
    ~qtxSegBuf() override;

    // The place in the source at which it was raised.
    const char* file() const noexcept { return m_file; }

    int line() const noexcept { return m_line; }

private:
    const char* m_file;
    int m_line;
};

// The bytes of one record, in segments of equal size. It is usually a local variable of the
// function that builds or parses the record.
//
// Byte `i` is in segment `i / kSegmentSize` at `i % kSegmentSize`. A record grows by whole
// segments. Nothing is moved or freed before the SegBuf is cleared, destroyed or assigned, so
// pointers into it remain valid until then. The bytes of a new segment that are not written are
// zero, so that the bytes behind the content are the same in every run. A record cannot shrink;
// only Clear and an HSegment of mode 'w' empty it. SegBuf.cpp explains this with an example.
//
// The fields are public, since this is a plain structure. Only HSegment and Record_reader change
// them; all others only read them.
//
// Errors: raises qtxSegBuf; the object is then as before.
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

    // Returns the run of contiguous bytes from `position` to `end` or to the end of the segment,
    // whichever is first. The length is 0 if `end` is not above `position`. Only the start is
    // compared with `size`: a run may end past it, within its segment.
    // VALID UNTIL: the SegBuf is cleared, destroyed or assigned.
    // RAISES: qtxSegBuf kLocateError if `position` is not below `size`.
    void Locate(unsigned int position, unsigned int end, char*& ptr, unsigned int& length) const;

    // RAISES: qtxSegBuf kInvalidSeek if `position` is above `size`.
    void SetOffset(unsigned int position);

    // Makes `size` at least `byte_count`, and allocates the segments for it. New ones are zeroed.
    // RAISES: std::bad_alloc; `size` is then unchanged.
    void Extend(unsigned int byte_count);

    // Does the same for a caller who then writes all bytes from the old `size` to the new one. So
    // of a new segment only the bytes behind `byte_count` are zeroed.
    // RAISES: std::bad_alloc; `size` and `segments` are then unchanged.
    void ExtendToFill(unsigned int byte_count);

    // Empties the record for its next use. One segment remains, filled with zeros, so the record is
    // like a new one, but costs no allocation and only as many zeros as it had content.
    // REQUIRES: the bytes behind `size` are zeros. Only an HSegment of mode 'w' leaves others
    // there.
    void Clear() noexcept;

    // The end of the last segment that has content. No read can pass it.
    std::uint64_t EndOfLastSegment() const noexcept {
        return (std::uint64_t{size} + kSegmentSize - 1) / kSegmentSize * kSegmentSize;
    }

    // Returns the address of the byte at `offset` if the next `byte_count` bytes are in one
    // allocated segment, else null. `size` is not compared. The device's fast ways use it.
    char* FindAtOffset(unsigned int byte_count) const noexcept {
        const unsigned int segment = offset / kSegmentSize;
        const unsigned int position = offset % kSegmentSize;
        const bool is_held = segment < segments.size() && byte_count <= kSegmentSize - position &&
                             byte_count <= kLargestSize - offset;
        return is_held ? segments[segment] + position : nullptr;
    }

    std::vector<char*> segments;  // each of kSegmentSize bytes, from array `new`; owned
    // The current position. It is above `size` only after a read that ended past `size`.
    unsigned int offset = 0;
    unsigned int size = 0;  // the number of content bytes; the segments have at least as many

private:
    void AddSegment(unsigned int filled);
    void KeepSegments(std::size_t count) noexcept;
};

#endif  // ZANDREL_STORAGE_SEGBUF_H_
