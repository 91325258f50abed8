// The index leads from a name to a position in the message's vector of pairs. It is made once, when
// the edit is opened. `End` moves pairs, so `Find` checks each position and corrects it if
// necessary.
#include "zandrel/messages/zeMsgEdit.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "zandrel/foundation/qtX.h"
#include "zandrel/messages/packed_list.h"

namespace {

using Converter = mlMessageConverter;

bool is_at(const std::vector<zeMsg::Nvp>& nvps, std::size_t position, const Concept& name) {
    return position < nvps.size() && nvps[position].name == name;
}

}  // namespace

zeMsgEdit::zeMsgEdit(qtPtrLight<zeMsg>& message) : m_message(message.get()) {
    unsigned int position = 0;
    for (zeMsg::Nvp& nvp : m_message->nvps) {
        m_index[nvp.name] = position++;
        zeMsg::MakeBackwardCompatibile(nvp);
    }
}

mlMessageConverter::NvpType zeMsgEdit::Get(const Concept& name, std::vector<qtString>& values) {
    values.clear();
    const zeMsg::Nvp* const found = Find(name);
    if (found == nullptr) {
        return Converter::kDeleted;
    }
    if (found->type == Converter::kOldList) {
        return Converter::kOldList;
    }
    if (found->type == Converter::kPackedList) {
        return zandrel::detail::unpack_list(found->value, values);
    }
    values.push_back(found->value);
    return found->type;
}

void zeMsgEdit::GetTypes(std::map<Concept, mlMessageConverter::NvpType>& types) const {
    types.clear();
    for (const zeMsg::Nvp& nvp : m_message->nvps) {
        if (nvp.type == Converter::kPackedList) {
            types[nvp.name] = Converter::InterpretString(nvp.value);
        } else if (nvp.type != Converter::kDeleted) {
            types[nvp.name] = nvp.type;
        }
    }
}

void zeMsgEdit::Set(const Concept& name, const std::vector<qtString>& values,
                    mlMessageConverter::NvpType type) {
    // A type above 99 has no text form of two digits, so no list could keep it.
    if (type < Converter::kString || type == Converter::kPackedList ||
        type > Converter::kGreatestListType) {
        throw qtXbase("Invalid nvp type");
    }
    if (values.empty()) {
        throw qtXbase("Missing nvp value");
    }
    zeMsg::Nvp made = zandrel::detail::make_nvp(name, values, type);
    zeMsg::Nvp* const found = Find(name);
    if (found != nullptr) {
        *found = std::move(made);
        m_changed = true;
        return;
    }
    AddPair(std::move(made));
}

bool zeMsgEdit::Delete(const Concept& name) {
    zeMsg::Nvp* const found = Find(name);
    if (found == nullptr) {
        return false;
    }
    m_index.erase(name);
    found->type = Converter::kDeleted;
    m_changed = true;
    m_deleted = true;
    return true;
}

void zeMsgEdit::End() {
    std::vector<zeMsg::Nvp>& nvps = m_message->nvps;
    if (m_deleted) {
        // std::erase_if keeps the order, also the order of pairs of one name.
        std::erase_if(nvps, [](const zeMsg::Nvp& nvp) { return nvp.type == Converter::kDeleted; });
    }
    if (m_added || m_deleted) {
        // A stable sort: a file may contain several pairs of one name, and they keep their order.
        std::stable_sort(nvps.begin(), nvps.end());
    }
    if (m_changed) {
        m_message->changed = true;
    }
    m_changed = false;
    m_added = false;
    m_deleted = false;
}

zeMsg::Nvp* zeMsgEdit::Find(const Concept& name) {
    const auto entry = m_index.find(name);
    if (entry == m_index.end()) {
        return nullptr;
    }
    std::vector<zeMsg::Nvp>& nvps = m_message->nvps;
    const std::size_t position = entry->second;
    // Of several pairs of one name, we want the last. If End moved them, they are neighbours now.
    if (is_at(nvps, position, name) && !is_at(nvps, position + 1, name)) {
        return &nvps[position];
    }
    // End has moved the pair, or dropped it if it was a tombstone when the edit was opened. The
    // pairs may not be sorted now, so we compare each of them.
    for (std::size_t sought = nvps.size(); sought-- > 0;) {
        if (nvps[sought].name == name) {
            entry->second = static_cast<unsigned int>(sought);
            return &nvps[sought];
        }
    }
    m_index.erase(entry);
    return nullptr;
}

void zeMsgEdit::AddPair(zeMsg::Nvp&& added) {
    std::vector<zeMsg::Nvp>& nvps = m_message->nvps;
    const auto position = static_cast<unsigned int>(nvps.size());
    const auto entry = m_index.try_emplace(added.name, position).first;
    try {
        nvps.push_back(std::move(added));
    } catch (...) {
        m_index.erase(entry);
        throw;
    }
    m_changed = true;
    m_added = true;
}
