// Reads CSV tables from standard input and writes their rows as JSON, for the comparison with the
// CSV module of Python. Each table is its length in decimal, a line end, and its bytes.
#include <cstddef>
#include <iostream>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

#include "text/data/Csv_rows.h"

namespace {

nlohmann::json rows_of(const std::string& table) {
    std::istringstream input(table);
    zandrel::Numbered_lines lines(
        input, "table", [] {}, zandrel::kLongestLine);
    zandrel::Csv_rows rows(lines);
    nlohmann::json result = nlohmann::json::array();
    for (zandrel::Csv_rows::Row row; rows.next(row);) {
        result.push_back(row.complaint.empty() ? nlohmann::json(row.columns)
                                               : nlohmann::json(row.complaint));
    }
    return result;
}

}  // namespace

int main() {
    for (std::string length; std::getline(std::cin, length);) {
        std::string table(std::stoul(length), '\0');
        std::cin.read(table.data(), static_cast<std::streamsize>(table.size()));
        std::cout << rows_of(table).dump() << '\n';
    }
    return std::cin.bad() ? 1 : 0;
}
