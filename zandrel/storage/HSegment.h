// HSegment: the byte device over a SegBuf, through which every record is built and parsed.
#ifndef ZANDREL_STORAGE_HSEGMENT_H_
#define ZANDREL_STORAGE_HSEGMENT_H_

#include <cstdint>
#include <cstring>

#include "zandrel/export.h"
#include "zandrel/storage/Generic32.h"
#include "zandrel/storage/SegBuf.h"

// A device named "SegBuf".
// BORROWS: the SegBuf, which must outlive it.
//
// To write a record, build it through an HSegment, call `Close`, and pass the SegBuf to a file,
// which takes its `size` bytes from position 0. To read a record, let the file fill a SegBuf, and
// parse it through an HSegment.
//
// A read that starts at or past the end of the content raises, so readers need no checks of their
// own. Only the start of each run is checked: a read that starts inside the content and ends past
// it in the same segment returns the bytes there, which are zeros in a fresh SegBuf. We accept
// this, since the fields of a record determine its reads.
//
// Errors: raises qtxSegBuf. After an error, position and content are as before.
// The class is final, so that a stream over HSegment can call and inline its operations.
class ZANDREL_EXPORT HSegment final : public Generic32 {
public:
    // All modes start at position 0. 'r' makes a read-only device. 'w' sets the buffer's `size` to
    // 0; its segments remain for reuse, with their old bytes. Any other mode keeps the content.
    HSegment(SegBuf& buffer, char mode);
    // Sets the buffer's position to 0.
    ~HSegment() override;

    int Tell() override;
    // RAISES: qtxSegBuf kInvalidSeek for a position past the end of the content.
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

    // RAISES: qtxSegBuf kLocateError if a run starts at or past the end of the content. A read of 0
    // bytes does nothing, also at the end.
    void Read(char* bytes, unsigned int byte_count) override {
        char* const place = byte_count == 0 ? nullptr : m_buffer.FindAtOffset(byte_count);
        if (place == nullptr || m_buffer.offset >= m_buffer.size) {
            ReadRuns(bytes, byte_count);
            return;
        }
        std::memcpy(bytes, place, byte_count);
        m_buffer.offset += byte_count;
    }

    // Sets the position to 0. The content remains.
    void Close() override;

    // RAISES: qtxSegBuf kLocateError if `byte_count` bytes from here on would end behind the last
    // segment that has content. Reading them would certainly raise, also in small pieces.
    void RequireBytes(std::uint64_t byte_count) override;

    // The SegBuf under the device.
    SegBuf& buffer() noexcept { return m_buffer; }

private:
    // Write and Read for bytes that are not in one allocated segment, and for all errors. They copy
    // run by run.
    void WriteRuns(const char* bytes, unsigned int byte_count);
    void ReadRuns(char* bytes, unsigned int byte_count);

    SegBuf& m_buffer;
};

#endif  // ZANDREL_STORAGE_HSEGMENT_H_
