// Converts the application's mlMessage to the engine's zeMsg and back.
//
// A pair of a zeMsg has one text. So several values become a packed list, and no value at all
// becomes a pair of type 1, which is not written back. For example, the values "7" and "8" of type
// 5 become the text "05", a tab and "7;8".
#include "zandrel/messages/zeMsg.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "zandrel/foundation/ml/SELocalDictionary.h"
#include "zandrel/foundation/ml/mlMessage.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/foundation/ml/qtSml.h"
#include "zandrel/messages/packed_list.h"
#include "zandrel/messages/zeSml_feeder.h"

namespace {

using Converter = mlMessageConverter;
using Texts = std::vector<qtString>;

qtString categories_name(const char* key) {
    return key == nullptr ? zeMsg::kCategoriesKey : key;
}

zeMsg::Nvp nvp_of(const qtString& name, const Texts& values, Converter::NvpType type) {
    const Concept key = Concept::insert(name);
    return values.empty() ? zeMsg::Nvp{key, Converter::kOldList, qtString(), nullptr}
                          : zandrel::detail::make_nvp(key, values, type);
}

// Replaces `values` by the values of a pair and returns their type.
Converter::NvpType take_values(const zeMsg::Nvp& nvp, Texts& values) {
    if (nvp.type == Converter::kPackedList) {
        return zandrel::detail::unpack_list(nvp.value, values);
    }
    values = {nvp.value};
    return nvp.type;
}

}  // namespace

zeMsg::zeMsg(const mlMessage& message, const char* categories_key) {
    mlMessage2zeMsg(message);
    read_categories(message, categories_name(categories_key));
    bool has_bag = false;
    for (std::size_t slot = 0; slot < SELocalDictionary::kSlotKeys.size(); ++slot) {
        const qtString key = SELocalDictionary::kSlotKeys[slot];
        if (message.HasKey(key)) {
            smls[slot] = qtPtrLight<zeSml>(new zeSml(0.0));
            qtSml2zeSml(mlMessageGet<qtSml>(message, key), *smls[slot]);
            if (!has_bag) {
                active_sml = static_cast<unsigned int>(slot);
            }
            has_bag = true;
        }
    }
}

void zeMsg::mlMessage2zeMsg(const mlMessage& message) {
    Texts values;
    for (const auto& [name, type_text] : Converter::GetMessageNvpTypes(message)) {
        const Converter::NvpType type = Converter::ConvertNvpToCString(message, name, values);
        nvps.push_back(nvp_of(name, values, type));
        changed = true;
    }
    // A stable sort: the pairs that were there before remain the first ones of their names.
    std::stable_sort(nvps.begin(), nvps.end());
}

void zeMsg::read_categories(const mlMessage& message, const qtString& key) {
    if (key.empty()) {
        return;
    }
    Texts names;
    Converter::ConvertNvpToCString(message, key, names);
    for (const qtString& name : names) {
        categories.push_back(Concept::insert(name));
    }
}

// The pairs are first written to a message of their own, so that a damaged list changes neither
// this message nor the application's.
void zeMsg::zeMsg2mlMessage(mlMessage& message) {
    mlMessage written;
    Texts values;
    for (const Nvp& nvp : nvps) {
        Nvp converted = nvp;
        MakeBackwardCompatibile(converted);
        if (converted.type != Converter::kOldList) {
            const Converter::NvpType type = take_values(converted, values);
            Converter::ConvertCStringToNvp(written, nvp.name.text(), values, type);
        }
    }
    std::for_each(nvps.begin(), nvps.end(), MakeBackwardCompatibile);
    for (const auto& [name, value] : written.values()) {
        message.SetValue(name, value);
    }
}

void zeMsg::make_mlMessage(mlMessage& message, const char* categories_key) {
    zeMsg2mlMessage(message);
    const qtString key = categories_name(categories_key);
    if (!key.empty() && !categories.empty()) {
        Texts names;
        for (const Concept& category : categories) {
            names.push_back(category.text());
        }
        Converter::ConvertCStringToNvp(message, key, names, Converter::kStringList);
    }
    for (std::size_t slot = 0; slot < SELocalDictionary::kSlotKeys.size(); ++slot) {
        if (!smls[slot].IsNull()) {
            qtSml bag;
            zeSml2qtSml(*smls[slot], bag);
            mlMessageSet<qtSml>(message, SELocalDictionary::kSlotKeys[slot], bag);
        }
    }
}

// The order of the hash table depends on how the table was filled. The bag does not: `feed` sorts
// the concepts by their texts before it adds up the total.
void qtSml2zeSml(const qtSml& map, zeSml& bag) {
    zeSml_feeder feeder;
    for (const auto& [concept_of_bag, weight] : map.weights()) {
        feeder.add_concept(concept_of_bag, weight);
    }
    bag.feed(std::move(feeder));
}

void zeSml2qtSml(const zeSml& bag, qtSml& map) {
    for (const zeSml::Concept_info& entry : bag.m_concepts) {
        map.Add(entry.m_concept, entry.m_weight);
    }
}
