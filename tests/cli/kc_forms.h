// Writes the items of a container to a file, in plain or in cached form.
#ifndef ZANDREL_TESTS_CLI_KC_FORMS_H_
#define ZANDREL_TESTS_CLI_KC_FORMS_H_

#include <fstream>
#include <ios>
#include <string>

#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/storage/Hreclaim.h"

#include "tests/support/kc_file.h"
#include "tests/support/record_bytes.h"

namespace zandrel::cli {

enum class Written_form { kPlain, kCached };

// The cached form is written item by item: it is a record file of 64-bit offsets with the same
// identity, keys and blobs as the package.
inline void write_kc_items(const Kc_items& items, Written_form form, const std::string& path) {
    if (form == Written_form::kPlain) {
        std::ofstream(path, std::ios::binary) << items.file();
        return;
    }
    Hreclaim<Hfile64> file;
    file.Open(path, true, false);
    file.SetFileID(items.id, items.version, items.flags);
    for (const auto& [key, bytes] : items.records) {
        file.AddItem(key, record_of(items.version < 2 ? bytes : scrambled(bytes, true)));
    }
    file.Close();
}

inline void write_sealed_kc_items(const Kc_items& items, Written_form form,
                                  const std::string& path) {
    write_kc_items(items, form, path);
    zandrel::Kc_seal::Write(path);
}

inline std::string name_of_form(Written_form form) {
    return form == Written_form::kPlain ? "plain" : "cached";
}

}  // namespace zandrel::cli

#endif  // ZANDREL_TESTS_CLI_KC_FORMS_H_
