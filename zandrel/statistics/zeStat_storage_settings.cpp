// How zeStat_storage takes its settings from a container. The static assertions check the table of
// settings: each field, flag and member is in one row, and the order of `set_defaults` names every
// setting of the models once.
#include "zandrel/statistics/zeStat_storage.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <type_traits>

#include "zandrel/statistics/setting_lists.h"

namespace {

using namespace zandrel::detail;
using zandrel::Setting;
using zandrel::Setting_table;

// Converts to a value of every type, except `Record`.
template <class Record>
struct Anything {
    template <class Value>
    requires(!std::is_same_v<Value, Record>) constexpr operator Value()
        const;  // NOLINT(google-explicit-constructor): must be implicit
};

// The number of fields of a plain record: the greatest number of values that can initialise it.
template <class Record, class... Values>
constexpr std::size_t field_count() {
    if constexpr (requires { Record{Values()..., Anything<Record>()}; }) {
        return field_count<Record, Values..., Anything<Record>>();
    } else {
        return sizeof...(Values);
    }
}

template <class Is_wanted>
constexpr std::size_t count_rows(Is_wanted is_wanted) {
    return static_cast<std::size_t>(
        std::count_if(std::begin(Setting_table::kRows), std::end(Setting_table::kRows), is_wanted));
}

constexpr bool have_own_places(const Setting& left, const Setting& right) {
    return std::string_view(left.name) != right.name &&
           (left.flag == nullptr ||
            (left.flag != right.flag && left.in_defaults.get != right.in_defaults.get &&
             left.in_model.get != right.in_model.get)) &&
           (left.in_config.get == nullptr || left.in_config.get != right.in_config.get);
}

constexpr bool have_all_own_places() {
    for (const Setting& left : Setting_table::kRows) {
        for (const Setting& right : Setting_table::kRows) {
            if (&left != &right && !have_own_places(left, right)) {
                return false;
            }
        }
    }
    return true;
}

// The four bag weights are one field of zeDefaults.
static_assert(field_count<zeDefaults>() + 3 == count_rows(is_of_models),
              "a field of zeDefaults has no row in Setting_table::kRows");
static_assert(sizeof(zeSetDefaults) == count_rows(is_of_models),
              "a flag of zeSetDefaults has no row in Setting_table::kRows");
static_assert(have_all_own_places(),
              "two rows of Setting_table::kRows have the same name, field, flag or member");
static_assert(name_each_once({Setting_table::kSetDefaultsOrder}, is_of_models),
              "kSetDefaultsOrder lacks a setting of the models, or has one twice");

}  // namespace

zeSetDefaults zeSetDefaults::all(bool flag) {
    zeSetDefaults flags;
    for (const Setting* const row : kRowsOf<Setting_table::kSetDefaultsOrder>) {
        row->flag(flags) = flag;
    }
    return flags;
}

void zeStat_storage::set_defaults(zeDefaults& defaults, zeSetDefaults& flags) {
    m_dirty = true;
    for (const Setting* const row : kRowsOf<Setting_table::kSetDefaultsOrder>) {
        if (row->flag(flags)) {
            row->give_model(*this, row->in_defaults.get(defaults));
        }
    }
    m_max_Rlimit = std::max(m_max_Rlimit, m_average_Rlimit);
    // The flag of the setting does not matter here: a call that does not set the average can still
    // raise it. Callers depend on this.
    m_average_Rlimit = std::max(m_average_Rlimit, defaults.average_Rlimit);
}

zeDefaults zeStat_storage::settings() const {
    zeDefaults settings;
    for (const Setting* const row : kRowsOf<Setting_table::kSetDefaultsOrder>) {
        row->in_defaults.set(settings, row->in_model.get(*this));
    }
    return settings;
}
