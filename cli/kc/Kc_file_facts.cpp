// Opens the file a second time, as a package of items, since the container in memory does not have
// these properties.
#include "cli/kc/Kc_file_facts.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"

#include "cli/errors.h"
#include "cli/kc/Kc_damage.h"

namespace cli {

Kc_file_facts read_kc_file_facts(const std::string& path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error) {
        throw Input_error(path, error.message());
    }
    Kc_file_facts facts = {path, size};
    errno = 0;
    try {
        unsigned int id = 0;
        unsigned short version = 0;
        unsigned char flags = 0;
        bool is_bad = false;
        Hpack pack;
        pack.Open(path, 'r');
        pack.GetFileID(id, version, flags, is_bad);
        facts.is_unicode = (flags & zandrel::detail::kKcUnicode) != 0;
        facts.is_sealed = zandrel::Kc_seal::IsIn(pack);
    } catch (const qtxAll&) {
        raise_as_read_error(path);
    }
    return facts;
}

}  // namespace cli
