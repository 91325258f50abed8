#include "zandrel/messages/zeMsg.h"

#include <algorithm>
#include <string_view>

#include "zandrel/foundation/qtX.h"

namespace {

// The pairs with this prefix hold bags.
constexpr std::string_view kBagPrefix = "_SML";

bool is_single_valued(mlMessageConverter::NvpType type) noexcept {
    return type >= mlMessageConverter::kString && type <= mlMessageConverter::kLangString &&
           type % 2 == 0;
}

bool is_language_string(mlMessageConverter::NvpType type) noexcept {
    return type == mlMessageConverter::kLangString || type == mlMessageConverter::kLangStringList;
}

bool has_no_single_value(mlMessageConverter::NvpType type) noexcept {
    return type == mlMessageConverter::kOldList || type == mlMessageConverter::kPackedList;
}

const qtString& canonical_form(const zeMsg::Nvp& nvp) {
    if (nvp.canonical.IsNull()) {
        const mlLangString text = mlLangString::BuildFromCString(nvp.value);
        nvp.canonical = qtPtr<qtString>(new qtString(mlMessageConverter::CanonizeLangString(text)));
    }
    return *nvp.canonical;
}

}  // namespace

const qtPtrLight<zeSml>& zeMsg::active_bag() const noexcept {
    static const qtPtrLight<zeSml> no_bag;
    return active_sml < smls.size() ? smls[active_sml] : no_bag;
}

const qtString* zeMsg::get_raw_value(const Concept& name) const {
    const Nvp* const found = find_nvp(name);
    return found == nullptr ? nullptr : &found->value;
}

const qtString* zeMsg::get_value(const Concept& name) const {
    static const qtString no_single_value;
    const Nvp* const found = find_nvp(name);
    if (found == nullptr) {
        return nullptr;
    }
    if (has_no_single_value(found->type)) {
        return &no_single_value;
    }
    return is_language_string(found->type) ? &canonical_form(*found) : &found->value;
}

void zeMsg::add_value(const qtString& name, mlMessageConverter::NvpType type,
                      const qtString& value) {
    if (!is_single_valued(type)) {
        throw qtXbase("Invalid NVP type");
    }
    const Concept key = Concept::insert(name);
    const Nvp* const found = find_nvp(key);
    if (found == nullptr) {
        nvps.push_back({key, type, value, nullptr});
        // Stable, so that pairs of one name, which a file may hold, keep their order.
        std::stable_sort(nvps.begin(), nvps.end());
    } else {
        Nvp& present = nvps[static_cast<std::size_t>(found - nvps.data())];
        present.value = value;
        present.type = type;
        present.canonical.reset();
    }
    changed = true;
}

void zeMsg::MakeBackwardCompatibile(Nvp& nvp) {
    if (nvp.type != mlMessageConverter::kOldList) {
        return;
    }
    // Two bytes are the type of the elements, without any element.
    if (nvp.value.size() > 2 && !nvp.name.view().starts_with(kBagPrefix)) {
        nvp.type = mlMessageConverter::kPackedList;
    } else {
        nvp.value.clear();
    }
}

const zeMsg::Nvp* zeMsg::find_nvp(const Concept& name) const {
    // Static, so that a look-up makes no pair; its price is that no two may run at once.
    static Nvp key;
    key.name = name;
    const auto found = std::lower_bound(nvps.begin(), nvps.end(), key);
    return found == nvps.end() || found->name != name ? nullptr : &*found;
}
