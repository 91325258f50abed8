// The settings of a knowledge container as options: which key belongs to which field, how its text
// is read, and in which order.
#include "zandrel/options/zeOptMap.h"

#include <array>
#include <iterator>
#include <limits>
#include <type_traits>

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace {

using Kind = zeOptMap::Kind;

// One setting. `read` stores the map's value in the container if the map gives one; `write` adds
// the container's value to the map.
struct Setting {
    zeOptMap::Known_key known;
    void (*read)(const zeOptMap& map, const char* key, zeManager& manager);
    void (*write)(zeOptMap& map, const char* key, const zeManager& manager);
};

// The record that holds a field, by the field's class.
template <class Manager, class Value>
auto& field_of(Manager& manager, Value zeDefaults::*field) {
    return manager.m_defaults.*field;
}

template <class Manager, class Value>
auto& field_of(Manager& manager, Value zeConfig::*field) {
    return manager.m_config.*field;
}

template <auto Field>
constexpr Setting flag(const char* key) {
    return {{key, Kind::flag},
            [](const zeOptMap& map, const char* name, zeManager& manager) {
                bool& setting = field_of(manager, Field);
                setting = map.Optional(name, setting ? 1 : 0, nullptr) != 0;
            },
            [](zeOptMap& map, const char* name, const zeManager& manager) {
                map.Add(name, static_cast<bool>(field_of(manager, Field)));
            }};
}

template <class Record, class Value>
constexpr Kind integer_kind(Value Record::*) {
    return std::is_unsigned_v<Value> ? Kind::unsigned_integer : Kind::integer;
}

// An integer field, signed or not.
template <auto Field>
constexpr Setting integer(const char* key) {
    return {{key, integer_kind(Field)},
            [](const zeOptMap& map, const char* name, zeManager& manager) {
                auto& setting = field_of(manager, Field);
                setting = map.Optional(name, setting, nullptr);
            },
            [](zeOptMap& map, const char* name, const zeManager& manager) {
                map.Add(name, field_of(manager, Field));
            }};
}

// A field that holds a double but is read as an integer: a fraction in the text is cut off.
template <auto Field, int Least = std::numeric_limits<int>::min()>
constexpr Setting whole(const char* key) {
    return {{key, Kind::integer},
            [](const zeOptMap& map, const char* name, zeManager& manager) {
                bool is_given = false;
                const int value = map.Optional(name, 0, &is_given);
                if (is_given) {
                    field_of(manager, Field) = value < Least ? Least : value;
                }
            },
            [](zeOptMap& map, const char* name, const zeManager& manager) {
                map.Add(name, static_cast<double>(field_of(manager, Field)));
            }};
}

template <auto Field>
constexpr Setting real(const char* key) {
    return {{key, Kind::real},
            [](const zeOptMap& map, const char* name, zeManager& manager) {
                double& setting = field_of(manager, Field);
                setting = map.Optional(name, setting, nullptr);
            },
            [](zeOptMap& map, const char* name, const zeManager& manager) {
                map.Add(name, field_of(manager, Field));
            }};
}

template <std::size_t Slot>
constexpr Setting bag_weight(const char* key) {
    return {{key, Kind::real},
            [](const zeOptMap& map, const char* name, zeManager& manager) {
                double& setting = manager.m_defaults.sml_weights[Slot];
                setting = map.Optional(name, setting, nullptr);
            },
            [](zeOptMap& map, const char* name, const zeManager& manager) {
                map.Add(name, manager.m_defaults.sml_weights[Slot]);
            }};
}

// One byte: a greater number keeps its low eight bits.
constexpr Setting life_expectancy(const char* key) {
    return {{key, Kind::integer},
            [](const zeOptMap& map, const char* name, zeManager& manager) {
                unsigned char& setting = manager.m_defaults.P_life_expectancy;
                setting = static_cast<unsigned char>(
                    map.Optional(name, static_cast<int>(setting), nullptr));
            },
            [](zeOptMap& map, const char* name, const zeManager& manager) {
                map.Add(name, static_cast<int>(manager.m_defaults.P_life_expectancy));
            }};
}

void read_learn_speed(const zeOptMap& map, const char* key, zeManager& manager) {
    bool is_given = false;
    const qtString nothing;
    const qtString& value = map.Optional(key, nothing, &is_given);
    if (!is_given) {
        return;
    }
    if (value != "sqrt" && value != "linear") {
        throw qtX<zeOptMap>(2, "Invalid Learn Speed Scale: " + value, {key, value});
    }
    manager.m_defaults.learn_speed_scale = value == "linear" ? 1 : 0;
}

void write_learn_speed(zeOptMap& map, const char* key, const zeManager& manager) {
    const int scale = manager.m_defaults.learn_speed_scale;
    if (scale == 0) {
        map.Add(key, "sqrt");
    } else {
        map.Add(key, scale == 1 ? "linear" : "??");
    }
}

using D = zeDefaults;
using C = zeConfig;

// clang-format off
constexpr std::array kSettings = {
    whole<&D::clip_value, 0>("ClipValue"),
    flag<&D::use_likelihood_in_train>("UseLikelihoodInTrain"),
    flag<&D::use_likelihood_in_match>("UseLikelihoodInMatch"),
    flag<&D::use_omit_method>("UseOmitMethod"),
    integer<&D::likelihood_resolution>("LikelihoodHistogramResolution"),
    integer<&D::profile_size>("ProfileSize"),
    life_expectancy("PLifeExpectancy"),
    real<&D::delete_P_factor>("DeletePFactor"),
    integer<&D::min_Ps_size>("MinPsSize"),
    integer<&D::max_Ps_size>("MaxPsSize"),
    integer<&D::num_slices>("NumberOfSlices"),
    whole<&D::min_Rlimit>("MinRlimit"),
    whole<&D::average_Rlimit>("AverageRlimit"),
    whole<&D::max_Rlimit>("MaxRlimit"),
    flag<&D::suppress_M>("SuppressM"),
    integer<&D::suppress_M_threshold>("SuppressMThreshold"),
    flag<&D::use_new_ZC>("UseNewZC"),
    flag<&D::use_normalization>("UseNormalization"),
    integer<&D::activation_inside>("ActivationInside"),
    integer<&D::activation_outside>("ActivationOutside"),
    integer<&D::activation_total>("ActivationTotal"),
    whole<&D::keywords_frequency>("KeywordsFrequency"),
    bag_weight<1>("KeywordsSmlWeight"),
    bag_weight<2>("TitleSmlWeight"),
    bag_weight<3>("CannedSmlWeight"),
    real<&D::weaken_small_cats_factor>("WeakenSmallCatsFactor"),
    Setting{{"LearnSpeedScale", Kind::learn_speed}, read_learn_speed, write_learn_speed},
    integer<&C::each_cat_reserve_size>("EachCatReserveSize"),
    integer<&C::each_cat_train_size>("EachCatTrainSize"),
    real<&C::age_adjustment>("AgeAdjustment"),
    integer<&C::activate_feedback>("ActivateFeedback"),
    flag<&C::full_propogation>("FullPropogation"),
};
// clang-format on

}  // namespace

std::vector<zeOptMap::Known_key> zeOptMap::known_keys() {
    std::vector<Known_key> keys;
    keys.reserve(std::size(kSettings));
    for (const Setting& setting : kSettings) {
        keys.push_back(setting.known);
    }
    return keys;
}

void zeOptMap::GetKcDefaults(qtPtrLight<zeManager>& manager) {
    for (const Setting& setting : kSettings) {
        setting.write(*this, setting.known.key, *manager);
    }
}

void zeOptMap::SetKcDefaults(qtPtrLight<zeManager>& manager, bool propagate) {
    if (GetI("UseExtParms") == 0) {
        return;
    }
    for (const Setting& setting : kSettings) {
        setting.read(*this, setting.known.key, *manager);
    }
    if (propagate) {
        PropogateChange(manager, manager->m_defaults);
    }
}

void zeOptMap::PropogateChange(qtPtrLight<zeManager>& manager, zeDefaults& defaults) {
    if (manager->m_root == nullptr) {
        return;
    }
    hash_set<zeNode*, zePointer_hash> nodes(kInitialBuckets);
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
