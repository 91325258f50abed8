// The stored form of a message: its pairs, its bags, its weight and its labels. The form has no
// version number. A later version may add slots for bags, since the record has the number of its
// slots.
#include "zandrel/messages/zeMsg.h"

#include "zandrel/storage/Record_reader.h"

using zandrel::detail::Record_reader;

namespace {

// The least size of a pair: the length of its name, its type, and the length of its value.
constexpr unsigned int kLeastPairSize = 4 + 1 + 4;

void dump_pair(const zeMsg::Nvp& pair, Hio<Generic32>& io) {
    io << pair.name;
    io.WriteByte(static_cast<char>(pair.type));  // its low byte
    io << pair.value;
}

void load_pair(zeMsg::Nvp& pair, Record_reader& reader) {
    pair.canonical.reset();  // first, so that no old form remains if reading fails
    pair.name = Concept::insert_view(reader.Text());
    pair.type = static_cast<mlMessageConverter::NvpType>(reader.Byte());
    pair.value = qtString(reader.Text());
}

// The least size of a category: the count of its text.
constexpr unsigned int kLeastCategorySize = 4;

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
    Record_reader reader(io);
    nvps.resize(reader.Count(kLeastPairSize));
    for (Nvp& pair : nvps) {
        load_pair(pair, reader);
    }
    active_sml = reader.Get<unsigned int>();
    const unsigned int slot_count = reader.Count(1);
    for (unsigned int slot = 0; slot < slot_count; ++slot) {
        if (reader.Byte() == 0) {
            continue;
        }
        qtPtrLight<zeSml> bag(new zeSml(0.0));
        bag->Load(reader);
        if (slot < smls.size()) {
            smls[slot] = bag;
        }
    }
    weight = reader.Get<double>();
    categories.resize(reader.Count(kLeastCategorySize));
    for (Concept& category : categories) {
        category = Concept::insert_view(reader.Text());
    }
    changed = false;
}
