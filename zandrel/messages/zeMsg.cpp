// Look-ups of pairs. Rules ask for the same few names in every message, so three caches save most
// of the work: the place of a name, the number that a short text is read as, and the canonical form
// of a language string.
#include "zandrel/messages/zeMsg.h"

#include <algorithm>
#include <limits>
#include <span>
#include <string_view>

#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"

namespace {

// Pairs whose names have this prefix contain bags.
constexpr std::string_view kBagPrefix = "_SML";

// Up to this many pairs are compared one by one. If there are more, a binary search first excludes
// all but this many. The number must be at least 2, or the binary search does not end.
constexpr std::size_t kScannedCount = 32;

bool is_single_valued(mlMessageConverter::NvpType type) noexcept {
    return type >= mlMessageConverter::kString && type <= mlMessageConverter::kLangString &&
           type % 2 == 0;
}

// Returns at most kScannedCount neighbouring pairs. If a pair of this name exists, the first such
// pair is among them.
std::span<const zeMsg::Nvp> halved(std::span<const zeMsg::Nvp> pairs,
                                   const Concept& name) noexcept {
    while (pairs.size() > kScannedCount) {
        const std::size_t middle = pairs.size() / 2;
        // The middle itself may be the first of its name.
        pairs = pairs[middle].name < name ? pairs.subspan(middle + 1) : pairs.first(middle + 1);
    }
    return pairs;
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
    const Nvp* const found = find_nvp(name);
    return found == nullptr ? nullptr : &value_of(*found);
}

const qtString& zeMsg::value_of(const Nvp& nvp) {
    if (has_plain_value(nvp.type)) {
        return nvp.value;
    }
    const bool is_list =
        nvp.type == mlMessageConverter::kOldList || nvp.type == mlMessageConverter::kPackedList;
    static const qtString no_single_value;
    return is_list ? no_single_value : canonical_form(nvp);
}

// The cache has the eight bytes of a text, but not its length: "1" and "1" with a zero byte are the
// same to it. That does no harm, since a zero byte ends the text of a number.
double zeMsg::read_number(const Concept& name) const {
    const Nvp* const found = find_nvp(name);
    if (found == nullptr) {
        return 0.0;
    }
    const std::string_view text = found->value.view();
    const bool is_short = text.size() <= sizeof found->number.text;
    if (!is_short || !has_plain_value(found->type)) {
        return zandrel::qtConvertStringToDouble(value_of(*found));
    }
    const std::uint64_t word = short_text(text);
    if (word != found->number.text) [[unlikely]] {
        found->number = {word, zandrel::qtConvertStringToDouble(found->value)};
    }
    return found->number.value;
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
        // A stable sort: a file may contain several pairs of one name, and they keep their order.
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
    // A value of two bytes is only the type of the elements: the list is empty.
    if (nvp.value.size() > 2 && !nvp.name.view().starts_with(kBagPrefix)) {
        nvp.type = mlMessageConverter::kPackedList;
    } else {
        nvp.value.clear();
    }
}

// Rules ask for the same few names again and again, so we first look at the place where this name
// was found last time.
const zeMsg::Nvp* zeMsg::find_nvp(const Concept& name) const noexcept {
    const Nvp* const known = known_nvp(name);
    if (known != nullptr) [[likely]] {
        return known;
    }
    const Nvp* const found = search_nvp(name);
    if (found != nullptr && found - nvps.data() <= std::numeric_limits<unsigned char>::max()) {
        m_places[name.hash() % kPlaceCount] = static_cast<unsigned char>(found - nvps.data());
    }
    return found;
}

// A scan of few pairs compares only handles. It reads no name, so it costs less than a binary
// search, which compares names. If there are many pairs, a binary search first excludes all but a
// few.
const zeMsg::Nvp* zeMsg::search_nvp(const Concept& name) const noexcept {
    std::span<const Nvp> pairs = nvps;
    if (pairs.size() > kScannedCount) {
        pairs = halved(pairs, name);
    }
    for (const Nvp& pair : pairs) {
        if (pair.name == name) {
            return &pair;
        }
    }
    return nullptr;
}
