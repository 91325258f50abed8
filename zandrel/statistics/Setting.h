// Setting: one row of the table of settings, Setting_table::kRows in zeStat_storage.h.
//
// A setting of the models has four places: a field of zeDefaults, a flag of zeSetDefaults, a member
// of zeStat_storage, and a key of options files. A setting of the container has only two: a field
// of zeConfig and a key. A row names these places once. All code that copies, reads, writes or
// checks settings is a loop over rows, except that zeConfig reads and writes its own record. For
// example, the row
//
//     of_models<&D::profile_size, &F::profile_size, &M::m_profile_size>("ProfileSize")
//         .through<&M::set_profile_size>()
//         .within(1, kGreatestInt)
//
// says that "ProfileSize" is the field D::profile_size, that a model takes a new value by calling
// set_profile_size, and that the program refuses 0. Everything else follows from the field's type:
// an int is read as an integer and stored in 32 bits.
//
// docs/recipes.md says how to add a setting.
#ifndef ZANDREL_STATISTICS_SETTING_H_
#define ZANDREL_STATISTICS_SETTING_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "zandrel/persistence/zeConfig.h"
#include "zandrel/persistence/zeDefaults.h"

class zeStat_storage;
struct zeSetDefaults;

namespace zandrel {

// How the text of a setting is read.
enum class Setting_kind { flag, integer, unsigned_integer, real, learn_speed };

// The form of a setting in the records of zeDefaults and zeStat_storage. For a setting of zeConfig,
// which writes its record itself, it only matters whether the form is `none`: the setting is then
// not in a file.
enum class Stored_form { none, flag, inverted_flag, byte, integer, real };

// The integers that have a meaning.
struct Setting_range {
    std::int64_t least;
    std::int64_t greatest;
};

inline constexpr std::int64_t kGreatestInt = std::numeric_limits<std::int32_t>::max();
inline constexpr std::int64_t kGreatestUnsigned = std::numeric_limits<std::uint32_t>::max();

// Reads and changes a setting in one of its places. A double has room for every value: flags,
// bytes and integers of 32 bits are exact in it.
template <class Record>
struct Setting_place {
    double (*get)(const Record& record) = nullptr;
    void (*set)(Record& record, double value) = nullptr;
};

namespace detail {

// Converts a number to the type of a setting. An integer type keeps the low bits of a number that
// is too large: as a byte, 263 is 7.
template <class Value>
constexpr Value number_as(double number) {
    if constexpr (std::is_same_v<Value, bool>) {
        return number != 0.0;
    } else if constexpr (std::is_integral_v<Value>) {
        return static_cast<Value>(static_cast<std::int64_t>(number));
    } else {
        return number;
    }
}

// Types of the place that a pointer to a member names.
template <class Pointer>
struct Place_types;

template <class Record_, class Value_>
struct Place_types<Value_ Record_::*> {
    using Record = Record_;
    using Value = Value_;
};

template <class Record_, class Argument_>
struct Place_types<void (Record_::*)(Argument_)> {
    using Record = Record_;
    using Argument = Argument_;
};

template <auto Member>
using Record_of = typename Place_types<decltype(Member)>::Record;

template <auto Member>
using Value_of = typename Place_types<decltype(Member)>::Value;

template <auto Member>
constexpr Setting_place<Record_of<Member>> place_of() {
    using Record = Record_of<Member>;
    return {
        [](const Record& record) { return static_cast<double>(record.*Member); },
        [](Record& record, double value) { record.*Member = number_as<Value_of<Member>>(value); }};
}

// The place of one element of an array of doubles.
template <auto Member, std::size_t Slot>
constexpr Setting_place<Record_of<Member>> place_of_element() {
    using Record = Record_of<Member>;
    return {[](const Record& record) { return (record.*Member)[Slot]; },
            [](Record& record, double value) { (record.*Member)[Slot] = value; }};
}

template <class Value>
constexpr Setting_kind kind_of_type() {
    if constexpr (std::is_same_v<Value, bool>) {
        return Setting_kind::flag;
    } else if constexpr (std::is_floating_point_v<Value>) {
        return Setting_kind::real;
    } else {
        return sizeof(Value) == sizeof(int) && std::is_unsigned_v<Value>
                   ? Setting_kind::unsigned_integer
                   : Setting_kind::integer;
    }
}

template <class Value>
constexpr Stored_form form_of_type() {
    if constexpr (std::is_same_v<Value, bool>) {
        return Stored_form::flag;
    } else if constexpr (std::is_floating_point_v<Value>) {
        return Stored_form::real;
    } else {
        return sizeof(Value) == 1 ? Stored_form::byte : Stored_form::integer;
    }
}

}  // namespace detail

// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): a few rows, ordered for the reader
struct Setting {
    // The key of options files, unless `has_key` is false.
    const char* name = nullptr;
    bool has_key = true;
    Setting_kind kind = Setting_kind::integer;
    // True if the field is a double. If the kind is integer all the same, a text is read without
    // its fraction.
    bool is_real = false;
    // The integers that the program accepts. The library accepts every number.
    Setting_range range = {0, kGreatestInt};
    // The library raises a smaller number of an options file to this one.
    double least_taken = -std::numeric_limits<double>::infinity();
    Stored_form stored = Stored_form::none;

    // A setting has a place in exactly one of these two.
    Setting_place<zeDefaults> in_defaults;
    Setting_place<zeConfig> in_config;

    // Only a setting of zeDefaults has these three.
    bool& (*flag)(zeSetDefaults& flags) = nullptr;
    Setting_place<zeStat_storage> in_model;
    // Gives a model a new value. A setter of the model may then change other members too.
    void (*give_model)(zeStat_storage& model, double value) = nullptr;

    // Each of the following functions returns a copy of the row in which one part is different from
    // the default for its type.

    constexpr Setting within(std::int64_t least, std::int64_t greatest) const {
        Setting changed = *this;
        changed.range = {least, greatest};
        return changed;
    }

    constexpr Setting read_as(Setting_kind other) const {
        Setting changed = *this;
        changed.kind = other;
        return changed;
    }

    constexpr Setting raised_to(double least) const {
        Setting changed = *this;
        changed.least_taken = least;
        return changed;
    }

    constexpr Setting stored_as(Stored_form other) const {
        Setting changed = *this;
        changed.stored = other;
        return changed;
    }

    constexpr Setting not_stored() const { return stored_as(Stored_form::none); }

    constexpr Setting without_key() const {
        Setting changed = *this;
        changed.has_key = false;
        return changed;
    }

    // A model takes a new value through this member function.
    template <auto Setter>
    constexpr Setting through() const {
        using Types = detail::Place_types<decltype(Setter)>;
        Setting changed = *this;
        changed.give_model = [](typename Types::Record& model, double value) {
            (model.*Setter)(detail::number_as<typename Types::Argument>(value));
        };
        return changed;
    }
};

// A setting of the models: its field of zeDefaults, flag of zeSetDefaults and member of
// zeStat_storage.
template <auto Field, auto Flag, auto Member>
constexpr Setting of_models(const char* key) {
    using Value = detail::Value_of<Field>;
    static_assert(std::is_same_v<Value, detail::Value_of<Member>>,
                  "field and member have different types");
    Setting setting;
    setting.name = key;
    setting.kind = detail::kind_of_type<Value>();
    setting.is_real = std::is_floating_point_v<Value>;
    setting.stored = detail::form_of_type<Value>();
    setting.in_defaults = detail::place_of<Field>();
    setting.flag = [](detail::Record_of<Flag>& flags) -> bool& { return flags.*Flag; };
    setting.in_model = detail::place_of<Member>();
    setting.give_model = setting.in_model.set;
    return setting;
}

// Makes the row of a setting that is one element of an array of weights.
template <auto Field, auto Flag, auto Member, std::size_t Slot>
constexpr Setting weight_of_models(const char* key) {
    Setting setting;
    setting.name = key;
    setting.kind = Setting_kind::real;
    setting.is_real = true;
    setting.stored = Stored_form::real;
    setting.in_defaults = detail::place_of_element<Field, Slot>();
    setting.flag = [](detail::Record_of<Flag>& flags) -> bool& { return (flags.*Flag)[Slot]; };
    setting.in_model = detail::place_of_element<Member, Slot>();
    setting.give_model = setting.in_model.set;
    return setting;
}

// A setting of the container only: its field of zeConfig.
template <auto Field>
constexpr Setting of_containers(const char* key) {
    using Value = detail::Value_of<Field>;
    Setting setting;
    setting.name = key;
    setting.kind = detail::kind_of_type<Value>();
    setting.is_real = std::is_floating_point_v<Value>;
    setting.stored = detail::form_of_type<Value>();
    setting.in_config = detail::place_of<Field>();
    if (setting.kind == Setting_kind::unsigned_integer) {
        setting.range.greatest = kGreatestUnsigned;
    }
    return setting;
}

}  // namespace zandrel

#endif  // ZANDREL_STATISTICS_SETTING_H_
