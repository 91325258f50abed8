// Values and bags are in ordered maps, so that every walk over them has the same order in each run.
#include "zandrel/foundation/ml/mlMessage.h"

#include <cstddef>
#include <cstdint>
#include <limits>

#include "zandrel/foundation/ml/mlx.h"

namespace {

// A file has the type in one byte. A list has it as two digits.
bool can_be_stored(const mlMessage::Value& value) noexcept {
    const std::uint32_t greatest = value.texts.size() > 1
                                       ? mlMessageConverter::kGreatestListType
                                       : std::numeric_limits<std::uint8_t>::max();
    return value.type <= greatest;
}

}  // namespace

bool mlMessage::HasKey(const qtString& key) const {
    return m_values.contains(key) || m_bags.contains(key);
}

void mlMessage::SetValue(const qtString& name, const Value& value) {
    if (!can_be_stored(value)) {
        throw mlxNvpType("Invalid type of nvp: " + name, name);
    }
    m_values.insert_or_assign(name, value);
}

void mlMessage::SetBag(const qtString& key, const qtSml& bag) {
    m_bags.insert_or_assign(key, bag);
}

bool mlMessage::Erase(const qtString& key) {
    const std::size_t erased = m_values.erase(key) + m_bags.erase(key);
    return erased > 0;
}

template <>
const qtSml& mlMessageGet<qtSml>(const mlMessage& message, const qtString& key) {
    const auto bag = message.bags().find(key);
    if (bag != message.bags().end()) {
        return bag->second;
    }
    if (message.HasKey(key)) {
        throw mlxNvpType("Nvp is not a bag: " + key, key);
    }
    throw mlxNvpMissing("Missing nvp: " + key, key);
}

template <>
void mlMessageSet<qtSml>(mlMessage& message, const qtString& key, const qtSml& value) {
    message.SetBag(key, value);
}
