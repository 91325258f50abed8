// Compares the table of settings in docs/options.md with the settings: keys and their order, kinds,
// defaults, and the ranges that the program accepts.
#include <cstdint>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/options/zeOptMap.h"

#include "text/model/Engine_settings.h"

namespace zandrel::cli {

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

struct Document_row {
    std::string key;
    std::string read_as;
    std::string default_value;
    std::string range;
};

// The rows of the table of settings.
std::vector<Document_row> document_rows() {
    // The columns are key, meaning, kind, default and range.
    const std::regex row(R"(\| `(\w+)` \| [^|]* \| ([^|]*) \| `?([^|`]*)`? \|([^|]*)\|)");
    std::ifstream document(ZANDREL_OPTIONS_DOCUMENT);
    std::vector<Document_row> rows;
    for (std::string line; std::getline(document, line);) {
        std::smatch cells;
        if (std::regex_match(line, cells, row)) {
            rows.push_back({cells[1], cells[2], cells[3], cells[4]});
        }
    }
    return rows;
}

std::string word_for(zeOptMap::Kind kind) {
    switch (kind) {
        case zeOptMap::Kind::flag:
            return "flag";
        case zeOptMap::Kind::integer:
        case zeOptMap::Kind::unsigned_integer:
            return "integer";
        case zeOptMap::Kind::real:
            return "real";
        case zeOptMap::Kind::learn_speed:
            return "word";
    }
    return {};
}

TEST(OptionsDocumentTest, RangesAreThoseThatTheProgramTakes) {
    for (const Document_row& row : document_rows()) {
        SCOPED_TRACE(row.key);
        expect_range(row.key, row.read_as, row.range);
    }
}

TEST(OptionsDocumentTest, RowsAreTheSettingsInTheirOrder) {
    const std::vector<Document_row> rows = document_rows();
    const std::vector<zeOptMap::Known_key> known = zeOptMap::known_keys();
    ASSERT_EQ(rows.size(), known.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].key, known[i].key);
        EXPECT_TRUE(rows[i].read_as.starts_with(word_for(known[i].kind))) << rows[i].key;
    }
}

TEST(OptionsDocumentTest, DefaultsAreThoseOfANewContainer) {
    qtPtrLight<zeManager> container(new zeManager);
    zeOptMap map;
    map.GetKcDefaults(container);
    for (const Document_row& row : document_rows()) {
        EXPECT_EQ(map.Get(row.key).str(), row.default_value) << row.key;
    }
}

}  // namespace

}  // namespace zandrel::cli
