// Fuzzes JSON lines. A good record with an answer in it is read as the same record.
#include <cstddef>
#include <cstdint>
#include <string>

#include "cli/classify/Record_echo.h"
#include "fuzz/data_checks.h"
#include "fuzz/fuzz_target.h"

namespace {

void check_answered(const zandrel::Data_record& record) {
    const std::string answered = zandrel::cli::with_member(record.line, "categories", "[]");
    std::size_t count = 0;
    fuzz::check_records(answered, zandrel::Data_format::kJsonLines, {}, answered.size(),
                        [&record, &count](const zandrel::Data_record& again) {
                            fuzz::require_of_data(fuzz::is_same(again.message, record.message),
                                                  "an answered record is the same");
                            ++count;
                        });
    fuzz::require_of_data(count == 1, "an answered record is one record");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    zandrel::Data_form named;
    named.texts = {"a", "b"};
    named.labels = {"c"};
    named.pairs = {{"n", "d"}};
    named.label_separator = ",";
    fuzz::check_records(bytes, zandrel::Data_format::kJsonLines, named, zandrel::kLongestLine);
    fuzz::check_records(bytes, zandrel::Data_format::kJsonLines, {}, 10);
    fuzz::check_records(bytes, zandrel::Data_format::kJsonLines, {}, zandrel::kLongestLine,
                        [](const zandrel::Data_record& record) { check_answered(record); });
    return 0;
}
