// Hbuffer: the device over a block of bytes in memory that takes the place of a file.
#ifndef ZANDREL_STORAGE_HBUFFER_H_
#define ZANDREL_STORAGE_HBUFFER_H_

#include <cstdint>

#include "zandrel/export.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/Generic32.h"

namespace zandrel::detail {

// An open buffer, or none. It behaves as Hfile32 does with a file named "qtBuffer", with the same
// limit and the same errors: a seek may go behind the end, and a write there leaves zeros in
// between; a buffer that was opened by 'w' is not read.
//
// After an error of a read the position is as before. What finds no memory raises std::bad_alloc
// and changes nothing.
// Threads: one at a time in the whole process.
class ZANDREL_EXPORT Hbuffer final : public Generic32 {
public:
    Hbuffer();

    // Opens a buffer: 'r' for reading, 'w' for writing from scratch, 'u' for reading and writing
    // what is there. A null pointer stands for an empty buffer, which is made and handed out by all
    // modes but 'r'. A buffer that was open before is closed.
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

    qtPtr<qtBuffer> m_buffer;  // null when none is open
    int m_position = 0;
    bool m_is_readable = false;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_HBUFFER_H_
