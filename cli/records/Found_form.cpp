// Finds the form by rule 1 of Record_recovery.cpp.
//
// Example: the magic number of a file is 0. Its items are at 20 and 52, so it has 64-bit offsets,
// since the first block of such a file is at 20 and the size of each block is a multiple of 16.
#include "cli/records/Found_form.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "zandrel/storage/Hreclaim_format.h"

#include "text/errors.h"

namespace zandrel::cli {

namespace {

constexpr std::array<Record_form, 3> kForms = {Record_form::kWide, Record_form::kNarrow,
                                               Record_form::kPackage};

std::uint64_t index_offset(File_window& file, Record_form form) {
    return file.number(zandrel::detail::kIndexOffsetPosition, offset_width(form));
}

std::optional<Old_index> index_of(File_window& file, Record_form form) {
    std::uint64_t budget = file.size();
    return file.size() < header_size(form)
               ? std::nullopt
               : read_old_index(file, form, index_offset(file, form), budget);
}

std::optional<Record_form> form_of_magic(std::uint32_t magic) {
    for (const Record_form form : kForms) {
        if (magic == magic_of(form)) {
            return form;
        }
    }
    return std::nullopt;
}

bool has_whole_index(File_window& file, Record_form form) {
    const std::optional<Old_index> index = index_of(file, form);
    return index && index->is_complete();
}

std::optional<Record_form> form_of_index(File_window& file) {
    for (const Record_form form : kForms) {
        if (has_whole_index(file, form)) {
            return form;
        }
    }
    return std::nullopt;
}

// Decides by the items. Returns nothing if there are none, or if two forms fit equally.
std::optional<Record_form> form_of_items(File_window& file) {
    constexpr std::uint64_t kLeastBlock = 16;
    const Record_scan blocks = scan_records(file, {Record_form::kNarrow, true, nullptr});
    const Record_scan package = scan_records(file, {Record_form::kPackage, true, nullptr});
    const auto aligned = [&blocks](std::uint64_t start) {
        return static_cast<std::size_t>(std::count_if(
            blocks.items.begin(), blocks.items.end(), [start](const Scanned_item& item) {
                return item.offset % kLeastBlock == start % kLeastBlock;
            }));
    };
    const std::size_t wide = aligned(header_size(Record_form::kWide));
    const std::size_t narrow = aligned(header_size(Record_form::kNarrow));
    const std::size_t most = std::max({wide, narrow, package.items.size()});
    const int winners = int{wide == most} + int{narrow == most} + int{package.items.size() == most};
    if (most == 0 || winners > 1) {
        return std::nullopt;
    }
    return package.items.size() == most ? Record_form::kPackage
           : wide == most               ? Record_form::kWide
                                        : Record_form::kNarrow;
}

void check_size(const File_window& file, Record_form form) {
    if (file.size() < header_size(form)) {
        throw Data_error(file.name(),
                         "too short for a header, so there is nothing to "
                         "recover");
    }
}

// A half written index of one form may look like a whole one of another form. So the items must
// contradict the magic number too.
Record_form form_in_doubt(File_window& file, Record_form by_magic) {
    if (!form_of_index(file)) {
        return by_magic;
    }
    const std::optional<Record_form> by_items = form_of_items(file);
    return by_items && has_whole_index(file, *by_items) ? *by_items : by_magic;
}

Record_form form_without_magic(File_window& file) {
    std::optional<Record_form> form = form_of_items(file);
    if (!form) {
        form = form_of_index(file);
    }
    if (!form) {
        throw Data_error(file.name(),
                         "neither a record file nor a container: the magic number is wrong, "
                         "and the contents do not say which form the file has");
    }
    return *form;
}

}  // namespace

Found_form find_record_form(File_window& file) {
    check_size(file, Record_form::kNarrow);
    const std::optional<Record_form> by_magic = form_of_magic(file.word(0));
    Found_form found;
    if (by_magic) {
        found.form = *by_magic;
        found.index = index_of(file, *by_magic);
    }
    // The index of a package begins like an index with 32-bit offsets.
    const bool is_doubtful =
        by_magic == Record_form::kPackage && has_whole_index(file, Record_form::kNarrow);
    if (by_magic && found.index && found.index->is_complete() && !is_doubtful) {
        return found;
    }
    found.form = by_magic ? form_in_doubt(file, *by_magic) : form_without_magic(file);
    check_size(file, found.form);
    if (found.form != by_magic) {
        found.index = index_of(file, found.form);
        found.is_magic_right = false;
    }
    return found;
}

}  // namespace zandrel::cli
