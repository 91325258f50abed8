// Fuzzes the recovery of record files and packages. Any bytes are either recovered or refused, and
// the recovered file is sound: the library opens it, its items are those that were recovered, and a
// second recovery finds nothing to change.
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "cli/records/Record_recovery.h"
#include "cli/records/Recovered_file.h"
#include "fuzz/fuzz_target.h"
#include "fuzz/memory_file.h"
#include "text/errors.h"

namespace {

void recover(const Memory_file& place, const Memory_file& rebuilt) {
    zandrel::cli::File_window file("input", place.name());
    const zandrel::cli::Record_recovery recovery = zandrel::cli::recover_records(file);
    std::set<std::string> keys;
    for (const zandrel::cli::Scanned_item& item : recovery.items) {
        require(file.has(item.offset, item.total()), "an item is in the file");
        require(keys.insert(item.key).second, "each key once");
    }
    rebuilt.fill("");
    zandrel::cli::write_recovered_file(file, recovery, rebuilt.name());  // also verifies
    zandrel::cli::File_window new_file("rebuilt", rebuilt.name());
    const zandrel::cli::Record_recovery again = zandrel::cli::recover_records(new_file);
    require(again.items.size() == recovery.items.size(), "a second recovery finds all items");
    require(again.condition == zandrel::cli::File_condition::kSound, "a recovered file is sound");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Memory_file place;
    static const Memory_file rebuilt;
    const std::string input(data, data + size);
    place.fill(input);
    try {
        recover(place, rebuilt);
    } catch (const zandrel::Data_error&) {  // no header, or no form
    }
    return 0;
}
