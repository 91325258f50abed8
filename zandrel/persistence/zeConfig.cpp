// The record of zeConfig, the id of a new container, and the list of signatures, which is kept as
// one text in `optional`. For example, the signatures 7 and 12 are "7;12".
#include "zandrel/persistence/zeConfig.h"

#include <cstdlib>
#include <ctime>
#include <vector>

#include "zandrel/foundation/qtText.h"

namespace {

constexpr const char* kSignaturesKey = "NlpSignatures";
constexpr char kSignatureSeparator = ';';

unsigned int read_seconds() {
    return static_cast<unsigned int>(std::time(nullptr));
}

zandrel::Config_seed s_seed = read_seconds;

}  // namespace

zeConfig::zeConfig() {
    std::srand(s_seed());
    kc_id = static_cast<std::uint32_t>(std::rand());
    created.SetNowTime();
    last_trained = created;
}

const qtString* zeConfig::get_optional(const qtString& key) const {
    const auto found = optional.find(key);
    return found == optional.end() ? nullptr : &found->second;
}

void zeConfig::set_optional(const qtString& key, const qtString& value) {
    optional[key] = value;
}

void zeConfig::get_nlp_signatures(std::set<unsigned int>& signatures) const {
    signatures.clear();
    const qtString* const joined = get_optional(kSignaturesKey);
    if (joined == nullptr || joined->empty()) {
        return;
    }
    std::vector<qtString> texts;
    qtConcatenator::Disassemble(*joined, texts, kSignatureSeparator);
    for (const qtString& text : texts) {
        signatures.insert(zandrel::qtConvertStringToUnsigned(text));
    }
}

void zeConfig::add_nlp_signature(unsigned int signature) {
    std::set<unsigned int> signatures;
    get_nlp_signatures(signatures);
    signatures.insert(signature);
    std::vector<qtString> texts;
    texts.reserve(signatures.size());
    for (const unsigned int each : signatures) {
        texts.push_back(qtConvertLongToString(each));
    }
    set_optional(kSignaturesKey, qtConcatenator::Build(texts, kSignatureSeparator));
}

namespace zandrel {

Config_seed set_config_seed(Config_seed seed) noexcept {
    const Config_seed before = s_seed;
    s_seed = seed == nullptr ? read_seconds : seed;
    return before;
}

}  // namespace zandrel

void zeConfig::Dump(Hio<HSegment>& io) const {
    io << kc_id << kc_name << created << last_trained << activate_feedback;
    io.WriteBool(flag_a);
    io.WriteByte(static_cast<char>(flag_b));
    io << each_cat_reserve_size << each_cat_train_size << age_adjustment;
    io.WriteBool(flag_c);
    io.WriteBool(full_propogation);
    io << optional;
}

void zeConfig::Load(Hio<HSegment>& io) {
    io >> kc_id >> kc_name >> created >> last_trained >> activate_feedback;
    flag_a = io.ReadBool();
    flag_b = static_cast<unsigned char>(io.ReadByte());
    io >> each_cat_reserve_size >> each_cat_train_size >> age_adjustment;
    flag_c = io.ReadBool();
    full_propogation = io.ReadBool();
    io >> optional;
}
