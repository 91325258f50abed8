#include "zandrel/messages/zeMsgEdit.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"

namespace {

constexpr unsigned int kGreatestType = 99;

using Converter = mlMessageConverter;

constexpr char kElementSeparator = ';';
constexpr std::size_t kElementsBegin = 3;  // behind the two digits of the type and the tab

qtString pack_list(Converter::NvpType type, const std::vector<qtString>& values) {
    return Converter::InterpretType(type) + "\t" + qtConcatenator::Build(values, kElementSeparator);
}

bool unpack_list(const qtString& packed, std::vector<qtString>& values) {
    return packed.size() >= kElementsBegin &&
           qtConcatenator::Disassemble(packed.substr(kElementsBegin), values, kElementSeparator);
}

zeMsg::Nvp make_pair_of(const Concept& name, const std::vector<qtString>& values,
                        Converter::NvpType type) {
    if (values.size() == 1) {
        return {name, type, values.front(), nullptr};
    }
    return {name, Converter::kPackedList, pack_list(type, values), nullptr};
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
        if (!unpack_list(found->value, values)) {
            throw qtXbase("Invalid nvp value");
        }
        return Converter::InterpretString(found->value);
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
    if (type < Converter::kString || type == Converter::kPackedList || type > kGreatestType) {
        throw qtXbase("Invalid nvp type");
    }
    if (values.empty()) {
        throw qtXbase("Missing nvp value");
    }
    zeMsg::Nvp made = make_pair_of(name, values, type);
    zeMsg::Nvp* const found = Find(name);
    if (found != nullptr) {
        *found = std::move(made);
        m_changed = true;
        return;
    }
    // The flags come first: should memory run out on the way, End still leaves a sorted message.
    m_changed = true;
    m_added = true;
    m_message->nvps.push_back(std::move(made));
    m_index[name] = static_cast<unsigned int>(m_message->nvps.size() - 1);
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
        DropDeleted();
    }
    if (m_added || m_deleted) {
        // Stable, so that pairs of one name, which a file may hold, keep their order.
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
    if (entry->second < nvps.size() && nvps[entry->second].name == name) {
        return &nvps[entry->second];
    }
    // An End has moved the pair, or dropped it if it was a tombstone when the edit was opened. The
    // pairs need not be sorted now, so each one is looked at.
    const auto has_name = [&](const zeMsg::Nvp& nvp) { return nvp.name == name; };
    const auto moved = std::find_if(nvps.begin(), nvps.end(), has_name);
    if (moved == nvps.end()) {
        m_index.erase(entry);
        return nullptr;
    }
    entry->second = static_cast<unsigned int>(moved - nvps.begin());
    return &*moved;
}

void zeMsgEdit::DropDeleted() {
    std::vector<zeMsg::Nvp>& nvps = m_message->nvps;
    // Backwards, so that the pair which fills a gap has been looked at before.
    for (std::size_t position = nvps.size(); position-- > 0;) {
        if (nvps[position].type != Converter::kDeleted) {
            continue;
        }
        if (position + 1 != nvps.size()) {
            nvps[position] = std::move(nvps.back());
        }
        nvps.pop_back();
    }
}
