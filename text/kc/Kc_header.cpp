// Compares the first eight bytes of a file, which are two numbers: the magic of a package or of a
// record file, and the id of a container.
#include "text/kc/Kc_header.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/storage/Hreclaim.h"

#include "text/data/Data_lines.h"
#include "text/errors.h"

namespace zandrel {

namespace {

using Record_format = Hreclaim<Hfile64>::Format;

// In the header of a record file, the number of the version takes two bytes.
constexpr std::size_t kVersionPosition = 10;
constexpr std::size_t kVersionEnd = 12;

// MakeStringKey converts a number to four bytes, the highest first.
std::string first_bytes_of(Kc_form form) {
    const unsigned int magic = form == Kc_form::kPlain ? Hpack::kMagic : Record_format::kMagic;
    return Hpack::MakeStringKey(magic).str() +
           Hpack::MakeStringKey(zandrel::detail::kKcFileId).str();
}

std::string read_start(const std::string& path, std::size_t size) {
    std::ifstream file = open_data_file(path);
    std::string start(size, '\0');
    errno = 0;
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    if (file.bad()) {
        throw Input_error(path, reason_of_failure());
    }
    start.resize(static_cast<std::size_t>(file.gcount()));
    return start;
}

// A file that ends before its version has version 0.
unsigned int version_in(std::string_view start) {
    if (start.size() < kVersionEnd) {
        return 0;
    }
    const auto byte = [start](std::size_t place) {
        return static_cast<unsigned int>(static_cast<unsigned char>(start[place]));
    };
    return byte(kVersionPosition) * 256 + byte(kVersionPosition + 1);
}

}  // namespace

std::string name_of(Kc_form form) {
    return form == Kc_form::kPlain ? "plain" : "cached";
}

std::optional<Kc_header> read_kc_header(const std::string& path) {
    check_readable(path);
    const std::string start = read_start(path, kVersionEnd);
    if (start.starts_with(first_bytes_of(Kc_form::kPlain))) {
        return Kc_header{Kc_form::kPlain};
    }
    if (start.starts_with(first_bytes_of(Kc_form::kCached))) {
        return Kc_header{Kc_form::kCached, version_in(start)};
    }
    return std::nullopt;
}

Kc_form form_of(const std::string& path) {
    return read_kc_header(path).value_or(Kc_header()).form;
}

bool is_old_cached(const Kc_header& header) {
    return header.form == Kc_form::kCached && header.version == 1;
}

// The library does not report why a file cannot be opened, so we test the usual reasons before.
void check_readable(const std::string& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::none) {
        throw Input_error(path, error.message());
    }
    if (std::filesystem::is_directory(status)) {
        throw Input_error(path, std::generic_category().message(EISDIR));
    }
    // Opening a pipe would wait for a writer, and a container is not read from start to end.
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        throw Input_error(path, "not a regular file");
    }
    open_data_file(path);
}

}  // namespace zandrel
