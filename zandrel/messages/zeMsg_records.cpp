// The stored form of a message: its pairs, its bags, its weight and its labels. The form has no
// version number. A later version may add slots for bags, since the record has the number of its
// slots.
#include "zandrel/messages/zeMsg.h"

namespace {

// The least size of a pair: the length of its name, its type, and the length of its value.
constexpr unsigned int kLeastPairSize = 4 + 1 + 4;

void dump_pair(const zeMsg::Nvp& pair, Hio<Generic32>& io) {
    io << pair.name;
    io.WriteByte(static_cast<char>(pair.type));  // its low byte
    io << pair.value;
}

void load_pair(zeMsg::Nvp& pair, Hio<Generic32>& io) {
    pair.canonical.reset();  // first, so that no old form remains if reading fails
    io >> pair.name;
    const auto type = static_cast<unsigned char>(io.ReadByte());
    pair.type = static_cast<mlMessageConverter::NvpType>(type);
    io >> pair.value;
}

}  // namespace

void zeMsg::Dump(Hio<Generic32>& io) const {
    io.WriteCount(nvps.size());
    for (const Nvp& pair : nvps) {
        dump_pair(pair, io);
    }
    io << active_sml;
    io.WriteCount(smls.size());
    for (const qtPtrLight<zeSml>& bag : smls) {
        io.WriteBool(!bag.IsNull());
        if (!bag.IsNull()) {
            bag->Dump(io);
        }
    }
    io << weight << categories;
}

void zeMsg::Load(Hio<Generic32>& io) {
    nvps.resize(io.ReadCount(kLeastPairSize));
    for (Nvp& pair : nvps) {
        load_pair(pair, io);
    }
    io >> active_sml;
    const unsigned int slot_count = io.ReadCount(1);
    for (unsigned int slot = 0; slot < slot_count; ++slot) {
        if (!io.ReadBool()) {
            continue;
        }
        qtPtrLight<zeSml> bag(new zeSml(0.0));
        bag->Load(io);
        if (slot < smls.size()) {
            smls[slot] = bag;
        }
    }
    io >> weight >> categories;
    changed = false;
}
