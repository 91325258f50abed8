// The library for JSON raises an error for bytes that are not UTF-8 by default; we ask it to
// replace them.
#include "cli/text/Json.h"

#include <nlohmann/json.hpp>

namespace cli {

void print_json(const nlohmann::ordered_json& value, Json_form form, std::ostream& out) {
    const int indent = form == Json_form::kManyLines ? 2 : -1;
    out << value.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
}

}  // namespace cli
