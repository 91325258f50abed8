// Operations on lists of settings: find the rows of names, check that a list names every row once,
// and write and read the settings of a record.
// Not installed: the library's own.
//
// Files and callers depend on four orders of the settings, all different. Each order is a list of
// names, such as {"ClipValue", "ProfileSize"}. The compiler turns it into pointers to rows, so a
// name without a row does not compile.
#ifndef ZANDREL_STATISTICS_SETTING_LISTS_H_
#define ZANDREL_STATISTICS_SETTING_LISTS_H_

#include <array>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <span>
#include <string_view>

#include "zandrel/statistics/Setting.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/Hio.h"

namespace zandrel::detail {

using Setting_names = std::span<const std::string_view>;

// Never defined: a call makes the compiler stop at a name without a row.
void no_row_has_this_name();

consteval const Setting& setting_named(std::string_view name) {
    for (const Setting& setting : Setting_table::kRows) {
        if (name == setting.name) {
            return setting;
        }
    }
    no_row_has_this_name();
    return Setting_table::kRows[0];
}

template <std::size_t Size>
consteval std::array<const Setting*, Size> find_rows(const std::string_view (&names)[Size]) {
    std::array<const Setting*, Size> rows = {};
    for (std::size_t i = 0; i < Size; ++i) {
        rows[i] = &setting_named(names[i]);
    }
    return rows;
}

// The rows of a list, found when the library is compiled.
template <auto& Names>
inline constexpr auto kRowsOf = find_rows(Names);

constexpr int count_of(std::string_view name, std::initializer_list<Setting_names> lists) {
    int count = 0;
    for (const Setting_names& names : lists) {
        for (const std::string_view each : names) {
            count += each == name ? 1 : 0;
        }
    }
    return count;
}

// Returns true if the lists together name each wanted row once, and no other row.
template <class Is_wanted>
constexpr bool name_each_once(std::initializer_list<Setting_names> lists, Is_wanted is_wanted) {
    for (const Setting& setting : Setting_table::kRows) {
        if (count_of(setting.name, lists) != (is_wanted(setting) ? 1 : 0)) {
            return false;
        }
    }
    return true;
}

constexpr bool has_key(const Setting& setting) {
    return setting.has_key;
}

constexpr bool is_of_models(const Setting& setting) {
    return setting.flag != nullptr;
}

constexpr bool is_stored_with_models(const Setting& setting) {
    return is_of_models(setting) && setting.stored != Stored_form::none;
}

constexpr const Setting_place<zeDefaults>& place_in(const Setting& row, const zeDefaults&) {
    return row.in_defaults;
}

constexpr const Setting_place<zeStat_storage>& place_in(const Setting& row, const zeStat_storage&) {
    return row.in_model;
}

inline void dump_number(Hio<HSegment>& io, Stored_form form, double number) {
    switch (form) {
        case Stored_form::none:
            return;
        case Stored_form::flag:
            io.WriteBool(number != 0.0);
            return;
        case Stored_form::inverted_flag:
            io.WriteBool(number == 0.0);
            return;
        case Stored_form::byte:
            io.WriteByte(number_as<char>(number));
            return;
        case Stored_form::integer:
            io << number_as<int>(number);
            return;
        case Stored_form::real:
            io << number;
            return;
    }
}

template <class Number>
double load_as(Hio<HSegment>& io) {
    Number number = 0;
    io >> number;
    return static_cast<double>(number);
}

inline double load_number(Hio<HSegment>& io, Stored_form form) {
    switch (form) {
        case Stored_form::none:
            break;
        case Stored_form::flag:
            return io.ReadBool() ? 1.0 : 0.0;
        case Stored_form::inverted_flag:
            return io.ReadBool() ? 0.0 : 1.0;
        case Stored_form::byte:
            return static_cast<unsigned char>(io.ReadByte());
        case Stored_form::integer:
            return load_as<int>(io);
        case Stored_form::real:
            return load_as<double>(io);
    }
    return 0.0;
}

// Writes the settings of `record`, which is a zeDefaults or a zeStat_storage, in the order of
// `rows`.
template <class Rows, class Record>
void dump_rows(Hio<HSegment>& io, const Rows& rows, const Record& record) {
    for (const Setting* const row : rows) {
        dump_number(io, row->stored, place_in(*row, record).get(record));
    }
}

template <class Rows, class Record>
void load_rows(Hio<HSegment>& io, const Rows& rows, Record& record) {
    for (const Setting* const row : rows) {
        place_in(*row, record).set(record, load_number(io, row->stored));
    }
}

// The records of zeDefaults and zeStat_storage have the same end. A marker and 185 reserved bytes
// are among its settings.
inline constexpr std::string_view kBeforeMarker[] = {"LearnSpeedScale", "UseNormalization"};
inline constexpr std::string_view kAfterMarker[] = {"WeakenSmallCatsFactor", "MaxPsSize"};
inline constexpr std::string_view kLast[] = {"MainSmlWeight", "KeywordsSmlWeight", "TitleSmlWeight",
                                             "CannedSmlWeight"};
constexpr unsigned int kReservedSize = 185;

template <class Record>
void dump_end_of_settings(Hio<HSegment>& io, const Record& record) {
    dump_rows(io, kRowsOf<kBeforeMarker>, record);
    io.WriteByte(1);  // the marker: a factor follows
    dump_rows(io, kRowsOf<kAfterMarker>, record);
    const char reserved[kReservedSize] = {};
    io.WriteBytes(reserved, kReservedSize);
    dump_rows(io, kRowsOf<kLast>, record);
}

// In the older form the marker is 0, and the eight bytes of the factor have no meaning.
template <class Record>
void load_end_of_settings(Hio<HSegment>& io, Record& record) {
    load_rows(io, kRowsOf<kBeforeMarker>, record);
    const bool has_factor = io.ReadBool();
    load_rows(io, kRowsOf<kAfterMarker>, record);
    if (!has_factor) {
        constexpr const Setting& kFactor = setting_named("WeakenSmallCatsFactor");
        place_in(kFactor, record).set(record, 0.0);
    }
    char reserved[kReservedSize];
    io.ReadBytes(reserved, kReservedSize);
    load_rows(io, kRowsOf<kLast>, record);
}

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_SETTING_LISTS_H_
