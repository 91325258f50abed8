// Fuzzes compressed data. Any bytes are either unpacked or refused. The first byte of an input
// decides between gzip and zstd; the other bytes are the data.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "fuzz/data_checks.h"
#include "fuzz/fuzz_target.h"
#include "text/data/Packing.h"
#include "text/errors.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    // A few bytes can expand to gigabytes, which takes time but no memory.
    constexpr std::size_t kEnough = std::size_t(1) << 22U;
    std::istringstream packed(std::string(data + 1, data + size));
    zandrel::Unpacking_buffer buffer(
        packed, "data", data[0] == 'z' ? zandrel::Packing::kZstd : zandrel::Packing::kGzip);
    try {
        std::size_t count = 0;
        while (count < kEnough && buffer.sbumpc() != std::streambuf::traits_type::eof()) {
            const std::streamsize ready = buffer.in_avail();
            fuzz::require_of_data(ready >= 0, "the number of ready bytes is not negative");
            ++count;
        }
    } catch (const zandrel::Data_error&) {
        return 0;
    }
    return 0;
}
