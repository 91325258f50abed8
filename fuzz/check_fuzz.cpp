// Fuzzes the commands check and dump. Any bytes are either refused as a file of another kind or
// checked, and neither command changes the file. A container that check finds clean can be read by
// the library.
//
// The input is the file: a record file or a package, a container or another one.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/KcIoMode.h"

#include "cli/records/Kc_check.h"
#include "cli/records/Kc_records.h"
#include "cli/records/Record_dump.h"
#include "fuzz/fuzz_target.h"
#include "fuzz/memory_file.h"
#include "text/errors.h"

namespace {

void read_as_the_library_does(const std::string& path) {
    zeManager manager;
    KcIoMode mode;
    try {
        manager.Read(path, &mode, nullptr);
    } catch (const qtxAll& error) {
        require(false, error.what());
    }
}

void check(const std::string& path) {
    const zandrel::cli::Record_check check = zandrel::cli::check_file(path);
    require((check.condition == zandrel::cli::Record_condition::kClean) == check.problems.empty(),
            "a clean file has no problem, and only a clean one");
    std::ostringstream out;
    zandrel::cli::print_record_check(check, out);
    require(!out.str().empty(), "a check is printed");
    const bool is_read = check.unreferenced.has_value() && check.problems.empty();
    // Reading a container of version 1 in cached form would upgrade it.
    if (is_read && zandrel::cli::read_record_file(path).header.version > 1) {
        read_as_the_library_does(path);
    }
}

void dump(const std::string& path) {
    const zandrel::cli::Record_file file = zandrel::cli::read_record_file(path);
    zandrel::cli::Dump_extent extent;
    zandrel::cli::Kc_records records;
    if (zandrel::cli::has_usable_records(file)) {
        records = zandrel::cli::read_kc_records(file, [](const std::string&) { return true; });
        extent.records = &records;
    }
    std::ostringstream out;
    zandrel::cli::print_record_dump(file, out, extent);
    require(zandrel::cli::record_dump_json(file, extent)["items"].size() == file.index.items.size(),
            "each item is dumped");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Memory_file place;
    const std::string input(data, data + size);
    place.fill(input);
    try {
        check(place.name());
        dump(place.name());
    } catch (const zandrel::Data_error&) {  // a file of another kind
    }
    require(place.bytes() == input, "the file does not change");
    return 0;
}
