// Opens the file a second time, as a package or a record file, since the container in memory does
// not have these properties.
#include "text/kc/Kc_file_facts.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"

#include "text/errors.h"
#include "text/kc/Kc_damage.h"

namespace zandrel {

namespace {

void set_flags(unsigned char flags, Kc_file_facts& facts) {
    facts.is_unicode = (flags & zandrel::detail::kKcUnicode) != 0;
    facts.is_compact = (flags & zandrel::detail::kKcCompact) != 0;
}

void read_plain(Kc_file_facts& facts) {
    unsigned int id = 0;
    unsigned short version = 0;
    unsigned char flags = 0;
    bool is_bad = false;
    Hpack pack;
    pack.Open(facts.path, 'r');
    pack.GetFileID(id, version, flags, is_bad);
    set_flags(flags, facts);
    facts.is_sealed = zandrel::Kc_seal::IsIn(pack);
}

void read_cached(Kc_file_facts& facts) {
    unsigned int id = 0;
    unsigned short version = 0;
    unsigned char flags = 0;
    CachePack pack;
    pack.Open(facts.path, false, true);
    pack.GetFileID(id, version, flags);
    set_flags(flags, facts);
    facts.is_sealed = zandrel::Kc_seal::IsIn(pack);
}

}  // namespace

Kc_file_facts read_kc_file_facts(const std::string& path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error) {
        throw Input_error(path, error.message());
    }
    Kc_file_facts facts = {path, size};
    facts.form = form_of(path);
    errno = 0;
    try {
        if (facts.form == Kc_form::kCached) {
            read_cached(facts);
        } else {
            read_plain(facts);
        }
    } catch (const qtxAll&) {
        raise_as_read_error(path);
    }
    return facts;
}

}  // namespace zandrel
