// Converts the settings of a knowledge container to options and back. zandrel::Setting_table
// defines the settings and their order. A setting is in zeConfig or in zeDefaults, and its row in
// the table has functions to get and set it there as a `double`; its kind selects the form of the
// text.
#include "zandrel/options/zeOptMap.h"

#include <algorithm>
#include <cstdint>

#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/setting_lists.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace {

using namespace zandrel::detail;
using zandrel::Setting;
using zandrel::Setting_table;
using Kind = zeOptMap::Kind;

static_assert(name_each_once({Setting_table::kOptionOrder}, has_key),
              "kOptionOrder lacks a setting that has a key, or has one twice");

double value_in(const zeManager& manager, const Setting& row) {
    return row.in_config.get != nullptr ? row.in_config.get(manager.m_config)
                                        : row.in_defaults.get(manager.m_defaults);
}

void set_value_in(zeManager& manager, const Setting& row, double value) {
    if (row.in_config.set != nullptr) {
        row.in_config.set(manager.m_config, value);
    } else {
        row.in_defaults.set(manager.m_defaults, value);
    }
}

double read_learn_speed(const char* key, const qtString& text) {
    if (text != "sqrt" && text != "linear") {
        throw qtX<zeOptMap>(2, "Invalid Learn Speed Scale: " + text, {key, text});
    }
    return text == "linear" ? 1.0 : 0.0;
}

double read_number(const Setting& row, const qtString& text) {
    switch (row.kind) {
        case Kind::flag:
            return zandrel::qtConvertStringToInt(text) != 0 ? 1.0 : 0.0;
        case Kind::integer:
            return zandrel::qtConvertStringToInt(text);
        case Kind::unsigned_integer:
            return zandrel::qtConvertStringToUnsigned(text);
        case Kind::real:
            return zandrel::qtConvertStringToDouble(text);
        case Kind::learn_speed:
            return read_learn_speed(row.name, text);
    }
    return 0.0;
}

// Stores the map's value in the container if the map has one. A number below the row's
// `least_taken` becomes `least_taken`.
void read_setting(const zeOptMap& map, const Setting& row, zeManager& manager) {
    bool is_given = false;
    const qtString nothing;
    const qtString& text = map.Optional(row.name, nothing, &is_given);
    if (is_given) {
        const double number = read_number(row, text);
        set_value_in(manager, row, number < row.least_taken ? row.least_taken : number);
    }
}

const char* learn_speed_text(double scale) {
    if (scale == 0.0) {
        return "sqrt";
    }
    return scale == 1.0 ? "linear" : "??";
}

// Adds the container's value to the map.
void write_setting(zeOptMap& map, const Setting& row, const zeManager& manager) {
    const double number = value_in(manager, row);
    if (row.kind == Kind::learn_speed) {
        map.Add(row.name, learn_speed_text(number));
    } else if (row.kind == Kind::flag) {
        map.Add(row.name, number != 0.0);
    } else if (row.is_real) {
        map.Add(row.name, number);
    } else {
        map.Add(row.name, qtConvertLongToString(static_cast<long>(number)));
    }
}

}  // namespace

std::vector<zeOptMap::Known_key> zeOptMap::known_keys() {
    std::vector<Known_key> keys;
    for (const Setting* const row : kRowsOf<Setting_table::kOptionOrder>) {
        keys.push_back(
            {row->name, row->kind, row->range, row->stored != zandrel::Stored_form::none});
    }
    return keys;
}

void zeOptMap::GetKcDefaults(qtPtrLight<zeManager>& manager) {
    for (const Setting* const row : kRowsOf<Setting_table::kOptionOrder>) {
        write_setting(*this, *row, *manager);
    }
}

void zeOptMap::SetKcDefaults(qtPtrLight<zeManager>& manager, bool propagate) {
    if (GetI("UseExtParms") == 0) {
        return;
    }
    manager->m_modified = true;  // first, since an invalid value ends the loop
    for (const Setting* const row : kRowsOf<Setting_table::kOptionOrder>) {
        read_setting(*this, *row, *manager);
    }
    if (propagate) {
        PropogateChange(manager, manager->m_defaults);
    }
}

void zeOptMap::PropogateChange(qtPtrLight<zeManager>& manager, zeDefaults& defaults) {
    if (manager->m_root == nullptr) {
        return;
    }
    hash_set<zeNode*, zePointer_hash> nodes(zandrel::kInitialBuckets);
    manager->m_root->get_subtree_classifiers(nodes);
    zeSetDefaults flags = zeSetDefaults::all(true);
    for (zeNode* node : nodes) {
        zeClassifier* const classifier = manager->m_physical_tree->get_classifier(node);
        if (auto* const matcher = dynamic_cast<zeStat_matcher*>(classifier)) {
            matcher->m_storage->set_defaults(defaults, flags);
            matcher->m_dirty = true;
        }
    }
}
