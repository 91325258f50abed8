// data_checks: what the fuzz targets of data files check.
#ifndef ZANDREL_FUZZ_DATA_CHECKS_H_
#define ZANDREL_FUZZ_DATA_CHECKS_H_

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "text/data/Data_reader.h"
#include "text/errors.h"

namespace fuzz {

inline void require_of_data(bool claim, const char* text) {
    if (!claim) {
        std::fprintf(stderr, "broken: %s\n", text);
        std::abort();
    }
}

inline bool is_same(const zandrel::Labelled_text& left, const zandrel::Labelled_text& right) {
    bool is_equal = left.labels == right.labels && left.text == right.text &&
                    left.pairs.size() == right.pairs.size();
    for (std::size_t i = 0; is_equal && i < left.pairs.size(); ++i) {
        is_equal = left.pairs[i].name == right.pairs[i].name &&
                   left.pairs[i].type == right.pairs[i].type &&
                   left.pairs[i].values == right.pairs[i].values;
    }
    return is_equal;
}

// Reads all records, and calls `take` with each good one. A record of a file is good or bad, and a
// good one has a label. The file as a whole may be refused because of its header.
inline void check_records(const std::string& bytes, zandrel::Data_format format,
                          const zandrel::Data_form& form, std::size_t longest,
                          const std::function<void(const zandrel::Data_record&)>& take = {}) {
    std::istringstream input(bytes);
    zandrel::Data_source source = {input, "data"};
    source.longest = longest;
    try {
        const std::unique_ptr<zandrel::Data_reader> reader =
            zandrel::make_data_reader(source, format, form);
        std::size_t line = 0;
        for (zandrel::Data_record record; reader->next(record);) {
            require_of_data(record.message.line > line, "records have increasing lines");
            line = record.message.line;
            if (record.error) {
                continue;
            }
            require_of_data(!record.message.labels.empty(), "a good record has a label");
            require_of_data(record.message.text.size() <= longest, "texts are limited");
            if (take) {
                take(record);
            }
        }
    } catch (const zandrel::Data_error&) {
        return;
    }
}

// The limits with which each input is read.
inline const std::vector<std::size_t>& limits() {
    static const std::vector<std::size_t> all = {10, zandrel::kLongestLine};
    return all;
}

}  // namespace fuzz

#endif  // ZANDREL_FUZZ_DATA_CHECKS_H_
