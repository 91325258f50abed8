// Stored_model: a small model in which each field differs from its neighbours, and its record in
// pieces. The numbers in comments like "// 9 num_msgs" count the fields of the record, from 1 for
// the id; in a profile they begin again with 1.
#ifndef ZANDREL_TESTS_STATISTICS_STORED_MODEL_H_
#define ZANDREL_TESTS_STATISTICS_STORED_MODEL_H_

#include <cstddef>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/record_bytes.h"
#include "tests/support/small_model.h"
#include "tests/support/stored.h"

namespace stored_model {

// Positions of settings after the id.
constexpr std::size_t kResolutionAt = 8;
constexpr std::size_t kNumMsgsAt = 16;
constexpr std::size_t kNormalizationAt = 115;
constexpr std::size_t kMarkerAt = 116;
constexpr std::size_t kReservedAt = 129;
constexpr std::size_t kReservedSize = 185;
// Positions at which the lists begin.
constexpr std::size_t kIndexAt = 346;

// The eight bytes of a double, given without the zeros at its end.
inline std::string real(std::string_view leading) {
    std::string bytes = from_hex(leading);
    bytes.resize(8, '\0');
    return bytes;
}

inline std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

// The form of a record.
struct Form {
    bool is_compact = false;
    bool has_likelihood = true;
    bool has_ids = true;  // false in version 1
};

inline std::string settings(const Form& form) {
    return from_hex("00"                                                // 2 use_likelihood_in_match
                    + std::string(form.has_likelihood ? "01" : "00") +  // 3 use_train_likelihood
                    "00"                                                // 4 use_omit_method
                    "01"                                                // 5 suppress_M
                    "00 00 01 06"                                       // 6 suppress_M_threshold
                    "00 00 00 02"                                       // 7 likelihood_resolution
                    "00 00 01 08"                                       // 8 num_slices
                    "00 00 01 36") +                                    // 9 num_msgs
           real("3f e0") +                                              // 10 clip_value 0.5
           from_hex(
               "00 00 01 0b"  // 11 profile_size
               "00 00 01 0c"  // 12 min_Ps_size
               "0d") +        // 13 P_life_expectancy
           real("3f f8") +    // 14 delete_P_factor 1.5
           from_hex(
               "ff ff ff f1"     // 15 activation_outside -15
               "00 00 01 10"     // 16 activation_inside
               "00 00 01 11") +  // 17 activation_total
           real("40 04") +       // 18 min_Rlimit 2.5
           real("40 0c") +       // 19 average_Rlimit 3.5
           real("40 12") +       // 20 max_Rlimit 4.5
           real("40 16") +       // 21 keywords_frequency 5.5
           from_hex("01") +      // 22 use_new_ZC
           (form.is_compact ? zeros(24)
                            : real("40 1a") +       // 23 total_weight 6.5
                                  real("40 1e") +   // 24 total_msg_weight 7.5
                                  real("40 21")) +  // 25 total_sml_weight 8.5
           from_hex(
               "07"                   // 26 learn_speed_scale
               "00"                   // 27 use_normalization, inverted
               "01") +                // 28 marker
           real("40 23") +            // 29 weaken_small_cats_factor 9.5
           from_hex("00 00 01 1e") +  // 30 max_Ps_size
           zeros(kReservedSize) +     // 31
           real("40 25") +
           real("40 27") +                 // 32 sml_weights 10.5, 11.5
           real("40 29") + real("40 2b");  //    12.5, 13.5
}

// The category a has the node 1 and the profile 1, bb the node 2 and the profile 0.
inline std::string reference(char category, const Form& form) {
    if (form.has_ids) {
        return from_hex(category == 'a' ? "00 00 00 01" : "00 00 00 02");
    }
    return from_hex(category == 'a' ? "00 00 00 01 61" : "00 00 00 02 62 62");
}

inline std::string index_of_profiles(const Form& form) {
    return from_hex("00 00 00 02") +                         // 33
           reference('a', form) + from_hex("00 00 00 01") +  // 34
           reference('b', form) + from_hex("00 00 00 00");
}

inline std::string concept_infos(const Form& form) {
    if (form.is_compact) {
        return zeros(4);
    }
    return from_hex(
               "00 00 00 02"        // 35
               "00 00 00 01 78") +  // 36 "x"
           real("40 2d") +
           real("40 2f") +  //    weight 14.5, rate 15.5
           from_hex(
               "00 00 01 24"           //    num_Ps
               "00 00 00 02 79 79") +  //    "yy"
           real("40 30 80") +
           real("40 31 80") +  //    16.5, 17.5
           from_hex("00 00 02 24");
}

inline std::string profile_of_bb(const Form& form) {
    std::string bytes = from_hex("00 00 01 25") +  // 1 size
                        real("40 32 80") +         // 2 M 18.5
                        from_hex("00 00 01 26") +  // 3 num_msgs
                        real("40 33 80") +         // 4 match_value 19.5
                        from_hex("27");            // 5 selection_mark
    bytes += form.is_compact ? zeros(16)
                             : real("40 34 80") +     // 6 weight 20.5
                                   real("40 35 80");  // 7 msg_weight 21.5
    if (form.has_ids) {
        bytes += from_hex(
            "00 00 01 28"  // 8 likelihood_age
            "00 00");      // 9
    }
    bytes += reference('b', form);  // 10
    if (form.has_likelihood) {
        bytes += from_hex("00 00 00 1e") +  // 11
                 real("3f d0") + real("3f e0") + zeros(27 * 8) + real("3f e8");
    } else {
        bytes += zeros(4);
    }
    if (form.is_compact) {
        return bytes + zeros(8);
    }
    return bytes + from_hex("00 00 00 02") +      // 12
           real("40 36 80") + real("40 37 80") +  // 13 22.5 of 23.5
           real("40 38 80") + real("40 39 80") +  //    24.5 of 25.5
           from_hex(
               "00 00 00 02"        // 14
               "00 00 00 01 78") +  // 15 "x"
           real("40 3a 80") +
           from_hex(
               "29 2a"
               "00 00 00 02 79 79") +  // 26.5; "yy"
           real("40 3b 80") +
           from_hex("2b 2c");  //    27.5
}

inline std::string profile_of_a(const Form& form) {
    std::string bytes = from_hex("00 00 01 2d") +  // 1 size
                        real("40 3c 80") +         // 2 M 28.5
                        from_hex("00 00 01 2e") +  // 3 num_msgs
                        real("40 3d 80") +         // 4 match_value 29.5
                        from_hex("2f");            // 5 selection_mark
    bytes += form.is_compact ? zeros(16)
                             : real("40 3e 80") +     // 6 weight 30.5
                                   real("40 3f 80");  // 7 msg_weight 31.5
    if (form.has_ids) {
        bytes += from_hex(
            "00 00 01 30"  // 8 likelihood_age
            "00 00");      // 9
    }
    bytes += reference('a', form);  // 10
    if (form.has_likelihood) {
        bytes += from_hex("00 00 00 1e") + zeros(29 * 8) + real("3f c0");  // 11
    } else {
        bytes += zeros(4);
    }
    return bytes + zeros(8);  // 12, 14
}

// A record of two profiles, with the parts before and after them.
inline std::string whole_with(const Form& form, const std::string& profiles) {
    return settings(form) + index_of_profiles(form) + concept_infos(form) +
           from_hex("00 00 00 02") +  // 37
           profiles;                  // 38
}

// The record after the id.
inline std::string whole(const Form& form = {}) {
    return whole_with(form, profile_of_bb(form) + profile_of_a(form));
}

}  // namespace stored_model

// The model in a manager of its own, with the object id 1.
struct Stored_model {
    Stored_model() {
        a = leaf("a");
        bb = leaf("bb");
        manager.m_io = qtPtrLight<zeIO>(new zeIO(&manager));
        storage = make_storage();
    }

    // Adds everything to `storage`, greater keys first.
    void fill() {
        fill_settings();
        bool added = false;
        storage->get_or_add_profile(bb, added);
        storage->get_or_add_profile(a, added);
        storage->m_concept_infos[term("yy")] = {16.5, 17.5, 0x224};
        storage->m_concept_infos[term("x")] = {14.5, 15.5, 0x124};
        fill_profile_of_bb(storage->profile(0));
        fill_profile_of_a(storage->profile(1));
    }

    // An empty storage in the manager.
    zeStat_storage* make_storage() { return new zeStat_storage(&manager, manager.m_defaults); }

    // Reads a storage from the bytes after the id.
    zeStat_storage& loaded(const std::string& bytes, zeNode* node = nullptr) {
        zeStat_storage* const fresh = make_storage();
        load_into(*fresh, bytes, node);
        return *fresh;
    }

    void load_into(zeStat_storage& loaded, const std::string& bytes, zeNode* node = nullptr) {
        SegBuf record = record_of(bytes);
        Hio<HSegment> io(new HSegment(record, 'r'));
        loaded.Load(io, node);
        EXPECT_EQ(record.offset, record.size) << "not all was read";
    }

    zeNode* leaf(std::string_view name) {
        return manager.m_physical_tree->MakeNode(term(name), ZE_LEAF, 0, 0.0);
    }

    zeManager manager;
    zeNode* a;
    zeNode* bb;
    zeStat_storage* storage;

private:
    void fill_settings() {
        storage->m_use_likelihood_in_match = false;
        storage->m_use_train_likelihood = true;
        storage->m_use_omit_method = false;
        storage->m_suppress_M = true;
        storage->m_suppress_M_threshold = 0x106;
        storage->m_likelihood_resolution = 2;
        storage->m_num_slices = 0x108;
        storage->m_num_msgs = 0x136;
        storage->m_clip_value = 0.5;
        storage->m_profile_size = 0x10b;
        storage->m_min_Ps_size = 0x10c;
        storage->m_P_life_expectancy = 0xd;
        storage->m_delete_P_factor = 1.5;
        storage->m_activation_outside = -15;
        storage->m_activation_inside = 0x110;
        storage->m_activation_total = 0x111;
        storage->m_min_Rlimit = 2.5;
        storage->m_average_Rlimit = 3.5;
        storage->m_max_Rlimit = 4.5;
        storage->m_keywords_frequency = 5.5;
        storage->m_use_new_ZC = true;
        storage->m_total_weight = 6.5;
        storage->m_total_msg_weight = 7.5;
        storage->m_total_sml_weight = 8.5;
        storage->m_learn_speed_scale = 7;
        storage->m_use_normalization = true;
        storage->m_weaken_small_cats_factor = 9.5;
        storage->m_max_Ps_size = 0x11e;
        storage->m_sml_weights = {10.5, 11.5, 12.5, 13.5};
    }

    void fill_profile_of_bb(zeStat_storage::Profile& profile) {
        profile.m_size = 0x125;
        profile.m_M = 18.5;
        profile.m_num_msgs = 0x126;
        profile.m_match_value = 19.5;
        profile.m_selection_mark = 0x27;
        profile.m_weight = 20.5;
        profile.m_msg_weight = 21.5;
        profile.m_likelihood_age = 0x128;
        profile.m_likelihood[0] = 0.25;
        profile.m_likelihood[1] = 0.5;
        profile.m_likelihood[29] = 0.75;
        profile.m_bins = {{22.5, 23.5}, {24.5, 25.5}};
        profile.m_Ps[term("yy")] = {27.5, 0x2b, 0x2c};
        profile.m_Ps[term("x")] = {26.5, 0x29, 0x2a};
    }

    void fill_profile_of_a(zeStat_storage::Profile& profile) {
        profile.m_size = 0x12d;
        profile.m_M = 28.5;
        profile.m_num_msgs = 0x12e;
        profile.m_match_value = 29.5;
        profile.m_selection_mark = 0x2f;
        profile.m_weight = 30.5;
        profile.m_msg_weight = 31.5;
        profile.m_likelihood_age = 0x130;
        profile.m_likelihood[29] = 0.125;
        profile.m_bins.clear();
    }
};

#endif  // ZANDREL_TESTS_STATISTICS_STORED_MODEL_H_
