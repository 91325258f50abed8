// Compares the ranges in docs/options.md with those that the program accepts.
#include <cstdint>
#include <fstream>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/options/zeOptMap.h"

#include "cli/model/Engine_settings.h"

namespace cli {

namespace {

bool takes(const std::string& key, const std::string& value) {
    return setting_problem(key, value).empty();
}

void expect_integers(const std::string& key, std::int64_t least, std::int64_t greatest) {
    EXPECT_FALSE(takes(key, std::to_string(least - 1)));
    EXPECT_TRUE(takes(key, std::to_string(least)));
    EXPECT_TRUE(takes(key, std::to_string(greatest)));
    EXPECT_FALSE(takes(key, std::to_string(greatest + 1)));
}

// Ranges are written as " 1 to 1000" or " 1 and more".
void expect_range(const std::string& key, const std::string& read_as, const std::string& range) {
    if (read_as.starts_with("flag")) {
        expect_integers(key, 0, 1);
        return;
    }
    if (read_as.starts_with("word")) {
        EXPECT_FALSE(takes(key, "0"));
        return;
    }
    std::smatch parts;
    ASSERT_TRUE(std::regex_search(range, parts, std::regex(R"(^ (\d+) (and more|to (\d+)))")));
    if (read_as.starts_with("real")) {
        EXPECT_EQ(parts[1], "0");
        EXPECT_TRUE(takes(key, "0"));
        EXPECT_FALSE(takes(key, "-0.001"));
        return;
    }
    expect_integers(key, std::stoll(parts[1]),
                    parts[3].matched ? std::stoll(parts[3]) : std::int64_t{2147483647});
}

TEST(OptionsDocumentTest, RangesAreThoseThatTheProgramAccepts) {
    // The columns are key, meaning, kind, default and range.
    const std::regex row(R"(\| `(\w+)` \| [^|]* \| ([^|]*) \| [^|]* \|([^|]*)\|)");
    std::ifstream document(ZANDREL_OPTIONS_DOCUMENT);
    std::size_t row_count = 0;
    for (std::string line; std::getline(document, line);) {
        std::smatch cells;
        if (std::regex_match(line, cells, row)) {
            SCOPED_TRACE(line);
            ++row_count;
            expect_range(cells[1], cells[2], cells[3]);
        }
    }
    EXPECT_EQ(row_count, zeOptMap::known_keys().size());
}

}  // namespace

}  // namespace cli
