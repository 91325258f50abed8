// The library for JSON raises an error for bytes that are not UTF-8 by default; we ask it to
// replace them.
#include "text/wording/Json.h"

#include <nlohmann/json.hpp>

namespace zandrel {

namespace {

std::string dump(const nlohmann::ordered_json& value, int indent) {
    return value.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace

void print_json(const nlohmann::ordered_json& value, Json_form form, std::ostream& out) {
    out << dump(value, form == Json_form::kManyLines ? 2 : -1) << '\n';
}

std::string json_text(const nlohmann::ordered_json& value) {
    return dump(value, -1);
}

}  // namespace zandrel
