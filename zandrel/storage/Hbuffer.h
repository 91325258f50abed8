// Hbuffer: the device over a qtBuffer, a block of bytes in memory that replaces a file.
#ifndef ZANDREL_STORAGE_HBUFFER_H_
#define ZANDREL_STORAGE_HBUFFER_H_

#include <cstdint>

#include "zandrel/export.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/Generic32.h"

namespace zandrel::detail {

// A device with one open buffer, or none. It behaves like Hfile32 with a file named "qtBuffer": it
// has the same limit and the same errors. A seek past the end is allowed, and a write there fills
// the gap with zeros. A buffer that was opened with 'w' cannot be read.
//
// After an error of a read the position is as before. If there is no memory for a write, it raises
// std::bad_alloc and changes nothing.
// Threads: one at a time in the whole process.
class ZANDREL_EXPORT Hbuffer final : public Generic32 {
public:
    Hbuffer();

    // Opens a buffer: 'r' for reading, 'w' for writing from scratch, 'u' for reading and writing
    // its bytes. A null pointer means an empty buffer; all modes except 'r' make it and store it in
    // `buffer`. A buffer that was open before is closed.
    // SHARES: the buffer, until it is closed.
    // RAISES: HioErr::kBadMode "Invalid open mode".
    void Open(qtPtr<qtBuffer>& buffer, char mode);

    // See Hfile64 for these.
    int Tell() override;
    void Seek(int position) override;
    int SeekEnd() override;
    int GetFileSize() override;
    void Write(char* bytes, unsigned int byte_count) override;
    void Read(char* bytes, unsigned int byte_count) override;
    void Close() override;
    void RequireBytes(std::uint64_t byte_count) override;

    bool failed = false;  // a write failed since the buffer was opened

private:
    int Size() const;
    void RequireOpen() const;
    [[noreturn]] void RaiseReadError() const;
    [[noreturn]] void FailToWrite(const qtString& text);
    void Put(const char* bytes, unsigned int byte_count);

    qtPtr<qtBuffer> m_buffer;  // null when no buffer is open
    int m_position = 0;
    bool m_is_readable = false;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_HBUFFER_H_
