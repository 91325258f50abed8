// HSegment: the byte device over a SegBuf, through which every record is built and parsed.
#ifndef ZANDREL_STORAGE_HSEGMENT_H_
#define ZANDREL_STORAGE_HSEGMENT_H_

#include <cstdint>
#include <cstring>

#include "zandrel/export.h"
#include "zandrel/storage/Generic32.h"
#include "zandrel/storage/SegBuf.h"

// A device named "SegBuf". BORROWS: the SegBuf, which must outlive it.
//
// The way of a record: build it through an HSegment, `Close`, then hand the SegBuf to a file,
// which takes its `size` bytes from position 0. Reading goes the opposite way.
//
// A read past the end of the content raises, so a reader of records needs no checks of its own.
// Only the start of each run is checked, though: a read that starts inside the content and ends
// past it in the same segment gives what stands there, zeros in a fresh SegBuf. This economy is
// meant; a record's own structure bounds its reads.
//
// Errors: raises qtxSegBuf. After an error of a read or a seek, position and content are as
// before; a write that finds no memory or no room leaves both too.
// It is final, so that a stream over HSegment calls it directly and in line.
class ZANDREL_EXPORT HSegment final : public Generic32 {
public:
    // `mode` 'r' makes a read-only device at position 0, 'w' a device over the emptied buffer
    // (segments stay allocated for reuse, with what they hold); any other mode keeps the content
    // and starts at position 0.
    HSegment(SegBuf& buffer, char mode);
    // Rewinds the buffer.
    ~HSegment() override;

    int Tell() override;
    // RAISES: qtxSegBuf kInvalidSeek past the end of the content.
    void Seek(int position) override;
    int SeekEnd() override;
    int GetFileSize() override;

    // RAISES: qtxSegBuf kFull if the bytes would end past SegBuf::kLargestSize; std::bad_alloc.
    void Write(char* bytes, unsigned int byte_count) override {
        char* const place = byte_count == 0 ? nullptr : m_buffer.FindAtOffset(byte_count);
        if (place == nullptr || read_only) {
            WriteRuns(bytes, byte_count);
            return;
        }
        std::memcpy(place, bytes, byte_count);
        m_buffer.offset += byte_count;
        if (m_buffer.size < m_buffer.offset) {
            m_buffer.size = m_buffer.offset;
        }
    }

    // RAISES: qtxSegBuf kLocateError if a run starts at or past the end of the content. Reading no
    // bytes does nothing, at the end too.
    void Read(char* bytes, unsigned int byte_count) override {
        char* const place = byte_count == 0 ? nullptr : m_buffer.FindAtOffset(byte_count);
        if (place == nullptr || m_buffer.offset >= m_buffer.size) {
            ReadRuns(bytes, byte_count);
            return;
        }
        std::memcpy(bytes, place, byte_count);
        m_buffer.offset += byte_count;
    }

    // Rewinds; the content stays.
    void Close() override;

    // RAISES: qtxSegBuf kLocateError if `byte_count` bytes from here on would end behind the last
    // segment that holds content: reading them, in whatever pieces, cannot but fail.
    void RequireBytes(std::uint64_t byte_count) override;

    // The bytes under the device.
    SegBuf& buffer() noexcept { return m_buffer; }

private:
    // The general ways of Write and Read.
    void WriteRuns(const char* bytes, unsigned int byte_count);
    void ReadRuns(char* bytes, unsigned int byte_count);

    SegBuf& m_buffer;
};

#endif  // ZANDREL_STORAGE_HSEGMENT_H_
