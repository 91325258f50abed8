// Kc_header: the first bytes of a file, by which we recognise a container and its form.
#ifndef ZANDREL_TEXT_KC_KC_HEADER_H_
#define ZANDREL_TEXT_KC_KC_HEADER_H_

#include <optional>
#include <string>

namespace zandrel {

// Plain: the file is read and written as a whole. Cached: the file is open while it is in use, and
// each statistical classifier is read when it is needed.
enum class Kc_form { kPlain, kCached };

// "plain" or "cached".
std::string name_of(Kc_form form);

struct Kc_header {
    Kc_form form = Kc_form::kPlain;
    unsigned int version = 0;  // of the records; only of the cached form
};

// Returns nothing if the first bytes are not those of a container. The rest of the file is not read
// and may be damaged.
// RAISES: Input_error for a file that cannot be opened or read, or is not a regular file.
std::optional<Kc_header> read_kc_header(const std::string& path);
// Returns the form of a file. A file that is no container has the plain form: the engine then
// names the error in it. RAISES: what read_kc_header raises.
Kc_form form_of(const std::string& path);
// Returns whether the container is of version 1 in cached form, so that the engine would upgrade
// it in place when it opens it.
bool is_old_cached(const Kc_header& header);

// RAISES: Input_error for a file that cannot be opened for reading, or is not a regular file.
void check_readable(const std::string& path);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KC_HEADER_H_
