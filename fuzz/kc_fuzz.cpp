// Fuzzes files of containers. Any bytes are either loaded or refused with a known error that leaves
// an empty manager, and a loaded container can classify and be saved. The seal is correct, missing,
// or refused with a known error.
//
// The input is the file. Scrambling changes each byte separately, so a changed byte of a seed is
// one changed byte of a record.
#include <cstddef>
#include <cstdint>
#include <exception>

#include "zandrel/persistence/Kc_seal.h"

#include "fuzz/fuzz_target.h"
#include "fuzz/kc_checks.h"

namespace {

void verify_seal(const File_bytes& bytes) {
    qtPtr<qtBuffer> buffer(new qtBuffer{bytes});
    try {
        zandrel::Kc_seal::Verify(buffer);
    } catch (const std::exception& raised) {
        require(is_qtx<zandrel::Kc_seal>(raised, {1, 2}) || is_qtx<Hpack>(raised, {1, 2}) ||
                    is_qtx<HioErr>(raised, {HioErr::kBadOffset, HioErr::kReadFailed}),
                raised.what());
    }
    require(buffer->bytes == bytes, "verifying changes nothing");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const File_bytes bytes(data, data + size);
    verify_seal(bytes);
    zeManager manager;
    if (loads(manager, bytes)) {
        use(manager);
    }
    return 0;
}
