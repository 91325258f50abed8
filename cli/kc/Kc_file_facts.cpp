#include "cli/kc/Kc_file_facts.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/Hpack.h"

#include "cli/errors.h"
#include "cli/kc/Kc_damage.h"

namespace cli {

namespace {

constexpr unsigned int kUnicodeFlag = 0x80;

bool is_unicode(const std::string& path) {
    unsigned int id = 0;
    unsigned short version = 0;
    unsigned char flags = 0;
    bool is_bad = false;
    Hpack pack;
    pack.Open(path, 'r');
    pack.GetFileID(id, version, flags, is_bad);
    return (flags & kUnicodeFlag) != 0;
}

}  // namespace

Kc_file_facts read_kc_file_facts(const std::string& path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error) {
        throw Input_error(path, error.message());
    }
    errno = 0;
    try {
        return {path, size, is_unicode(path)};
    } catch (const qtxAll&) {
        raise_as_read_error(path);
    }
}

}  // namespace cli
