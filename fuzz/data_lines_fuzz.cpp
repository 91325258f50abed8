// Fuzzes the forms whose records are lines without quotes: lines label<TAB>text, tables with tabs,
// and lines of words with __label__.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/data_checks.h"
#include "fuzz/fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    zandrel::Data_form named;
    named.texts = {"text", "1"};
    named.pairs = {{"size", "size"}};
    for (const std::size_t limit : fuzz::limits()) {
        fuzz::check_records(bytes, zandrel::Data_format::kTsv, {}, limit);
        fuzz::check_records(bytes, zandrel::Data_format::kTsv, named, limit);
        fuzz::check_records(bytes, zandrel::Data_format::kFasttext, {}, limit);
    }
    return 0;
}
