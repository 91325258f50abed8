#include "zandrel/persistence/zeDefaults.h"

namespace {

constexpr unsigned int kReservedSize = 185;

}  // namespace

void zeDefaults::Dump(Hio<HSegment>& io) const {
    io.WriteBool(use_likelihood_in_train);
    io.WriteBool(use_likelihood_in_match);
    io << likelihood_resolution;
    io.WriteBool(use_omit_method);
    io.WriteBool(suppress_M);
    io << suppress_M_threshold << num_slices << clip_value << profile_size << min_Ps_size;
    io.WriteByte(static_cast<char>(P_life_expectancy));
    io << delete_P_factor << activation_inside << activation_outside << activation_total;
    io << min_Rlimit << average_Rlimit << max_Rlimit << keywords_frequency;
    io.WriteBool(use_new_ZC);
    io.WriteByte(static_cast<char>(learn_speed_scale));
    io.WriteBool(!use_normalization);
    io.WriteByte(1);  // the marker: a factor follows
    io << weaken_small_cats_factor << max_Ps_size;
    const char reserved[kReservedSize] = {};
    io.WriteBytes(reserved, kReservedSize);
    for (const double weight : sml_weights) {
        io << weight;
    }
}

void zeDefaults::Load(Hio<HSegment>& io) {
    use_likelihood_in_train = io.ReadBool();
    use_likelihood_in_match = io.ReadBool();
    io >> likelihood_resolution;
    use_omit_method = io.ReadBool();
    suppress_M = io.ReadBool();
    io >> suppress_M_threshold >> num_slices >> clip_value >> profile_size >> min_Ps_size;
    P_life_expectancy = static_cast<unsigned char>(io.ReadByte());
    io >> delete_P_factor >> activation_inside >> activation_outside >> activation_total;
    io >> min_Rlimit >> average_Rlimit >> max_Rlimit >> keywords_frequency;
    use_new_ZC = io.ReadBool();
    learn_speed_scale = static_cast<unsigned char>(io.ReadByte());
    use_normalization = !io.ReadBool();
    const bool has_factor = io.ReadBool();
    io >> weaken_small_cats_factor >> max_Ps_size;
    if (!has_factor) {
        weaken_small_cats_factor = 0.0;  // the older form has bytes of no meaning there
    }
    char reserved[kReservedSize];
    io.ReadBytes(reserved, kReservedSize);
    for (double& weight : sml_weights) {
        io >> weight;
    }
}
