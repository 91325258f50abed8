// The library copies a container from one form to the other, a classifier at a time. The order:
//
//   check both names, lock the new file
//   open the old file         cached, version 1: a temporary copy, beside the new file
//   verify its seal           a conversion reads the whole file anyway, and seals what it has read
//   write the temporary file, set the Unicode flag, seal it, rename it
#include "text/kc/Kc_conversion.h"

#include <cerrno>
#include <optional>

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/zeIO.h"

#include "text/data/Data_input.h"
#include "text/errors.h"
#include "text/kc/Kc_damage.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_file_facts.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Kc_use.h"
#include "text/kc/Replacement_file.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

void check_names(const Conversion_options& options) {
    if (lead_to_same_file(options.kc_file, options.new_file)) {
        throw Usage_error(shown_file(options.new_file) +
                          " is the container itself; convert writes another file");
    }
}

// Copies the file, so that opening the copy can upgrade it.
// RAISES: Input_error; Output_error.
void copy(const std::string& from, const Replacement_file& to) {
    const Kc_use use(from, from);
    to.copy_from(from, from);
}

qtPtrLight<zeManager> open_upgraded(const Conversion_options& options,
                                    const Replacement_file& file) {
    copy(options.kc_file, file);
    qtPtrLight<zeManager> manager(new zeManager);
    KcIoMode mode;
    mode.io_mode = KcIoMode::CACHED_IO;
    mode.cache_size = options.bound.value();
    errno = 0;
    try {
        manager->Read(file.path(), &mode, options.progress);
    } catch (const qtxAll&) {
        raise_as_read_error(options.kc_file);
    }
    return manager;
}

// `facts`: of the old file. An upgrade clears the compact flag of the copy, so the flag is taken
// from the old file too. Otherwise a compact container would learn without its statistics. RAISES:
// Output_error, also if the engine refuses what it reads; Data_error.
void write(const Conversion_options& options, zeManager& manager, const Kc_file_facts& facts,
           Replacement_file& file) {
    zandrel::detail::Progress(options.progress).set_status("Writing the container");
    KcIoMode mode;
    mode.io_mode = options.form == Kc_form::kCached ? KcIoMode::CACHED_IO : KcIoMode::DIRECT_IO;
    mode.compact = options.compact || manager.m_compact || facts.is_compact;
    errno = 0;
    try {
        file.remake([&] { manager.Write(file.path(), &mode, options.progress); });
        if (facts.is_unicode) {
            zeManager other;
            zeIO(&other).SetUnicodeFlag(file.path(), true);
        }
        zandrel::Kc_seal::Write(file.path());
    } catch (const qtX<HioErr>& error) {
        if (error.number() == HioErr::kReadFailed) {
            raise_as_read_error(options.kc_file);
        }
        throw Output_error(options.new_file, errno == 0 ? error.what() : reason_of_failure());
    } catch (const qtxAll&) {
        raise_as_data_error(options.kc_file);
    }
    file.take_place();
}

}  // namespace

void convert_kc(const Conversion_options& options) {
    const Kc_header header = read_kc_header(options.kc_file).value_or(Kc_header());
    check_bound(options.kc_file, header.form, options.bound, "--bound");
    check_names(options);
    check_overwriting(Target_file(options.new_file), options.replaces, "convert");
    const Kc_lock lock(options.new_file, {options.seconds_to_wait, options.progress});
    check_overwriting(lock.target(), options.replaces, "convert");
    Replacement_file file(lock);
    std::optional<Replacement_file> copied;
    qtPtrLight<zeManager> manager;
    if (is_old_cached(header)) {
        copied.emplace(lock);
        manager = open_upgraded(options, *copied);
    } else {
        manager = read_kc(options.kc_file, options.progress, options.bound);
    }
    if (header.form == Kc_form::kCached) {
        verify_seal(options.kc_file);
    }
    write(options, *manager, read_kc_file_facts(options.kc_file), file);
}

}  // namespace zandrel
