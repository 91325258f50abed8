// Calls zlib and zstd for one chunk after the other.
//
// Both formats may consist of several parts, one after the other, as `cat a.gz b.gz` makes them.
// zstd begins the next part by itself; for gzip we reset the state at the end of each part.
#include "text/data/Packing.h"

#include <cerrno>
#include <limits>
#include <utility>
#include <zlib.h>
#include <zstd.h>

#include "text/data/Bad_record.h"
#include "text/errors.h"

namespace zandrel {

namespace {

constexpr std::string_view kGzipBytes = "\x1F\x8B";
constexpr std::string_view kZstdBytes = "\x28\xB5\x2F\xFD";

class Gzip_unpacker : public Unpacker {
public:
    Gzip_unpacker() {
        constexpr int kLargestWindow = 15;
        constexpr int kGzipHeader = 16;
        if (inflateInit2(&m_state, kLargestWindow + kGzipHeader) != Z_OK) {
            throw std::bad_alloc();
        }
    }

    ~Gzip_unpacker() override { inflateEnd(&m_state); }

    std::size_t unpack(std::string_view& packed, std::span<char> out) override {
        if (m_is_complete && !begin_next_part(packed)) {
            return 0;
        }
        // zlib does not change the bytes, but its interface is older than const.
        m_state.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
        m_state.avail_in = static_cast<uInt>(packed.size());
        m_state.next_out = reinterpret_cast<Bytef*>(out.data());
        m_state.avail_out = static_cast<uInt>(out.size());
        const int result = inflate(&m_state, Z_NO_FLUSH);
        packed.remove_prefix(packed.size() - m_state.avail_in);
        m_is_complete = result == Z_STREAM_END;
        if (result == Z_MEM_ERROR) {
            throw std::bad_alloc();
        }
        if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
            throw Bad_record(m_state.msg == nullptr ? "unknown reason" : m_state.msg);
        }
        return out.size() - m_state.avail_out;
    }

    bool is_complete() const override { return m_is_complete; }

private:
    // Zeros at the end are padding of tapes and blocks.
    bool begin_next_part(std::string_view& packed) {
        const std::size_t begin = packed.find_first_not_of('\0');
        packed.remove_prefix(begin == std::string_view::npos ? packed.size() : begin);
        if (packed.empty()) {
            return false;
        }
        inflateReset(&m_state);
        return true;
    }

    z_stream m_state = {};
    bool m_is_complete = false;
};

class Zstd_unpacker : public Unpacker {
public:
    Zstd_unpacker() : m_state(ZSTD_createDStream()) {
        if (m_state == nullptr) {
            throw std::bad_alloc();
        }
    }

    ~Zstd_unpacker() override { ZSTD_freeDStream(m_state); }

    std::size_t unpack(std::string_view& packed, std::span<char> out) override {
        if (m_is_complete && packed.empty()) {
            return 0;  // a call without bytes would begin the next part
        }
        ZSTD_inBuffer in = {packed.data(), packed.size(), 0};
        ZSTD_outBuffer to = {out.data(), out.size(), 0};
        const std::size_t result = ZSTD_decompressStream(m_state, &to, &in);
        packed.remove_prefix(in.pos);
        if (ZSTD_isError(result) != 0) {
            throw Bad_record(ZSTD_getErrorName(result));
        }
        m_is_complete = result == 0;
        return to.pos;
    }

    bool is_complete() const override { return m_is_complete; }

private:
    ZSTD_DStream* m_state;
    bool m_is_complete = false;
};

std::unique_ptr<Unpacker> unpacker_of(Packing packing) {
    if (packing == Packing::kGzip) {
        return std::make_unique<Gzip_unpacker>();
    }
    return std::make_unique<Zstd_unpacker>();
}

}  // namespace

bool begins_with(std::istream& input, std::string_view wanted) {
    const auto size = static_cast<std::streamsize>(wanted.size());
    if (input.rdbuf()->in_avail() < size) {
        return false;
    }
    std::string start(wanted.size(), '\0');
    input.rdbuf()->sgetn(start.data(), size);
    for (std::streamsize i = 0; i < size; ++i) {
        input.rdbuf()->sungetc();
    }
    return start == wanted;
}

Packing packing_of_name(std::string_view file) {
    if (file.ends_with(".gz")) {
        return Packing::kGzip;
    }
    return file.ends_with(".zst") ? Packing::kZstd : Packing::kNone;
}

Packing packing_of_bytes(std::istream& input) {
    using Traits = std::istream::traits_type;
    const Traits::int_type first = input.peek();
    if (first == Traits::to_int_type(kGzipBytes.front()) && begins_with(input, kGzipBytes)) {
        return Packing::kGzip;
    }
    if (first == Traits::to_int_type(kZstdBytes.front()) && begins_with(input, kZstdBytes)) {
        return Packing::kZstd;
    }
    return Packing::kNone;
}

Unpacking_buffer::Unpacking_buffer(std::istream& packed, std::string name, Packing packing)
    : m_source(packed), m_name(std::move(name)), m_unpacker(unpacker_of(packing)) {}

Unpacking_buffer::int_type Unpacking_buffer::underflow() {
    return fill(true) == 0 ? traits_type::eof() : traits_type::to_int_type(*gptr());
}

std::streamsize Unpacking_buffer::showmanyc() {
    return static_cast<std::streamsize>(fill(false));
}

// Returns the number of unpacked bytes that are ready; 0 at the end, or if we would have to wait.
std::size_t Unpacking_buffer::fill(bool may_wait) {
    while (true) {
        const std::size_t count = unpack();
        setg(m_unpacked.data(), m_unpacked.data(), m_unpacked.data() + count);
        if (count > 0) {
            return count;
        }
        if (!m_packed.empty()) {
            continue;  // the header of a part, or padding
        }
        if (m_has_ended || (!may_wait && m_source.rdbuf()->in_avail() <= 0)) {
            return 0;
        }
        if (!read_packed() && !m_unpacker->is_complete()) {
            throw Data_error(m_name, "the compressed data ends too early, after " +
                                         std::to_string(m_position) + " bytes");
        }
    }
}

std::size_t Unpacking_buffer::unpack() {
    const std::size_t before = m_packed.size();
    try {
        const std::size_t count = m_unpacker->unpack(m_packed, m_unpacked);
        m_position += before - m_packed.size();
        return count;
    } catch (const Bad_record& error) {
        throw Data_error(m_name, "the compressed data is damaged near byte " +
                                     std::to_string(m_position + before - m_packed.size()) + ": " +
                                     error.what());
    }
}

bool Unpacking_buffer::read_packed() {
    errno = 0;
    m_has_ended = m_source.peek() == traits_type::eof();
    if (m_source.bad()) {
        throw Input_error(m_name, reason_of_failure());
    }
    if (m_has_ended) {
        return false;
    }
    m_bytes.resize(kChunk);
    const std::streamsize count =
        m_source.readsome(m_bytes.data(), static_cast<std::streamsize>(m_bytes.size()));
    m_bytes.resize(static_cast<std::size_t>(count));
    m_packed = m_bytes;
    return true;
}

}  // namespace zandrel
