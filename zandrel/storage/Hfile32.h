// Hfile32: the file device of 32-bit offsets.
#ifndef ZANDREL_STORAGE_HFILE32_H_
#define ZANDREL_STORAGE_HFILE32_H_

#include <cstdint>
#include <cstdio>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/File_place.h"
#include "zandrel/storage/Generic32.h"

// A device with one open file, or none. It behaves like Hfile64 and has the same errors, but its
// operations are virtual, and one system call transfers at most 100000 bytes.
//
// Positions are signed, so a file has at most 2^31 - 1 bytes. A write that would make it larger
// raises "Write error in file " and sets `failed` before it writes anything.
class ZANDREL_EXPORT Hfile32 : public Generic32 {
public:
    using Offset = unsigned int;

    Hfile32() = default;
    ~Hfile32() override;

    // See Hfile64 for these.
    void Open(const qtString& file_name, char mode);
    int Tell() override;
    void Seek(int position) override;
    int SeekEnd() override;
    // Moves to the end and back.
    int GetFileSize() override;
    void Write(char* bytes, unsigned int byte_count) override;
    void Read(char* bytes, unsigned int byte_count) override;
    void Close() override;
    void RequireBytes(std::uint64_t byte_count) override;
    void ReadAhead(unsigned int byte_count) noexcept;
    void RequireRoom(std::uint64_t byte_count);
    void Flush();

    std::FILE* file = nullptr;  // owned; null when no file is open
    bool failed = false;        // a write failed since the file was opened

private:
    zandrel::detail::File_place m_place;
};

#endif  // ZANDREL_STORAGE_HFILE32_H_
