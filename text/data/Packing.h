// Packing: reads streams that gzip or zstd has compressed.
#ifndef ZANDREL_TEXT_DATA_PACKING_H_
#define ZANDREL_TEXT_DATA_PACKING_H_

#include <array>
#include <cstddef>
#include <istream>
#include <memory>
#include <span>
#include <streambuf>
#include <string>
#include <string_view>

namespace zandrel {

enum class Packing { kNone, kGzip, kZstd };

// Returns the packing that the end of a file's name promises: .gz or .zst.
Packing packing_of_name(std::string_view file);

// Returns the packing that the first bytes show. Reads the first byte if none has been read, and
// takes no byte from the stream.
Packing packing_of_bytes(std::istream& input);

// Returns whether the next bytes are `wanted`. Takes no byte from the stream: it reads the bytes
// only if all of them are in the buffer of the stream, so that they can be put back. REQUIRES: the
// buffer has at least one byte, as after `peek`.
bool begins_with(std::istream& input, std::string_view wanted);

// Decompresses bytes.
class Unpacker {
public:
    Unpacker() = default;
    Unpacker(const Unpacker&) = delete;
    Unpacker& operator=(const Unpacker&) = delete;
    virtual ~Unpacker() = default;

    // Writes the next bytes and returns their number. Removes the bytes that it has used from
    // `packed`. RAISES: Bad_record.
    virtual std::size_t unpack(std::string_view& packed, std::span<char> out) = 0;

    // Returns whether the packed bytes may end here.
    virtual bool is_complete() const = 0;
};

// The unpacked bytes of a stream. Only two chunks of bytes are in memory at a time, whatever the
// ratio of compression is.
class Unpacking_buffer : public std::streambuf {
public:
    // `name`: of the file, for messages. REQUIRES: not kNone. BORROWS: `packed`.
    Unpacking_buffer(std::istream& packed, std::string name, Packing packing);

protected:
    // RAISES: Data_error for damaged bytes and for bytes that end too early; Input_error.
    int_type underflow() override;
    // Unpacks without waiting for packed bytes. RAISES: as underflow.
    std::streamsize showmanyc() override;

private:
    static constexpr std::size_t kChunk = std::size_t(64) << 10U;

    std::size_t fill(bool may_wait);
    std::size_t unpack();
    bool read_packed();

    std::istream& m_source;
    std::string m_name;
    std::unique_ptr<Unpacker> m_unpacker;
    bool m_has_ended = false;        // m_source
    std::size_t m_position = 0;      // in the packed bytes
    std::string m_bytes;             // the packed bytes that were read last
    std::string_view m_packed = {};  // those of them that are not unpacked yet
    std::array<char, kChunk> m_unpacked = {};
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_PACKING_H_
