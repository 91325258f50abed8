// Fuzzes CSV files, with a header and without. A good row that is written again gives the same row.
#include <cstddef>
#include <cstdint>
#include <string>

#include "cli/classify/Record_echo.h"
#include "fuzz/data_checks.h"
#include "fuzz/fuzz_target.h"

namespace {

// A byte order mark is a part of a column unless the file begins with it.
void check_rewritten(const zandrel::Data_record& record) {
    if (record.columns.front().starts_with("\xEF\xBB\xBF")) {
        return;
    }
    const std::string row = zandrel::cli::csv_row(record.columns);
    std::size_t count = 0;
    fuzz::check_records(row, zandrel::Data_format::kCsv, {}, zandrel::kLongestLine,
                        [&record, &count](const zandrel::Data_record& again) {
                            fuzz::require_of_data(again.columns == record.columns,
                                                  "a rewritten row is the same");
                            ++count;
                        });
    fuzz::require_of_data(count == 1, "a rewritten row is one row");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    zandrel::Data_form named;
    named.texts = {"text"};
    named.labels = {"label"};
    named.pairs = {{"size", "size"}};
    named.label_separator = ";";
    for (const std::size_t limit : fuzz::limits()) {
        fuzz::check_records(bytes, zandrel::Data_format::kCsv, named, limit);
    }
    fuzz::check_records(bytes, zandrel::Data_format::kCsv, {}, 10);
    fuzz::check_records(bytes, zandrel::Data_format::kCsv, {}, zandrel::kLongestLine,
                        [](const zandrel::Data_record& record) { check_rewritten(record); });
    return 0;
}
