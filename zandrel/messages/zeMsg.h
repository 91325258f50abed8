// zeMsg: the message that the engine classifies and trains on.
#ifndef ZANDREL_MESSAGES_ZEMSG_H_
#define ZANDREL_MESSAGES_ZEMSG_H_

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/storage/Hio.h"

// A message: up to five bags of concepts, its name/value pairs, the categories that label it, and
// what it counts for in training. The application fills it; it shares its bags.
//
// The pairs are kept in a sorted vector, since a message is read far more often than it is edited.
// Many changes go through zeMsgEdit, which sorts once at its end; while such an edit is open the
// pairs may stand in no order, and then no operation here may look them up.
//
// Errors: raises qtXbase, texts in docs/errors.md, and is then as it was.
// Threads: one at a time in the whole process, even for look-ups: they fill the message's caches.
class ZANDREL_EXPORT zeMsg {
public:
    static constexpr std::size_t kSlotCount = 5;

    // A name/value pair. Who changes `type` or `value` directly resets `canonical`.
    struct Nvp {
        // Pairs stand in the text order of their names, never that of a locale.
        bool operator<(const Nvp& other) const noexcept { return name < other.name; }

        Concept name;
        mlMessageConverter::NvpType type = mlMessageConverter::kDeleted;
        qtString value;                     // in text form; see mlMessageConverter::NvpType
        mutable qtPtr<qtString> canonical;  // get_value's cache for language strings; never stored

        // get_number's cache; never stored. It says that the text of these eight bytes, the first
        // one lowest and zeros behind the last, is read as `value`. It is compared with the text at
        // each use, so a text that was changed is read anew. At first it says that the empty text
        // is read as 0, which is true.
        struct Number {
            std::uint64_t text = 0;
            double value = 0.0;
        };

        mutable Number number{};
    };

    // The bag that classification and training read, `smls[active_sml]`; null if that slot is
    // empty or does not exist.
    const qtPtrLight<zeSml>& active_bag() const noexcept;

    // The stored text of the first pair of this name, whatever its type; null if there is none.
    // REQUIRES: sorted pairs.  VALID UNTIL: the pairs change.  COST: a binary search, of which the
    // last steps compare handles one by one; no allocation.
    const qtString* get_raw_value(const Concept& name) const;
    // The value of the first pair of this name as callers should see it: a language string in its
    // canonical form, the empty text for a list, which has no single value, and otherwise the
    // stored text. Null if there is no such pair. The canonical form is kept for the next call,
    // which leaves `changed` alone, as it is no part of the stored message.
    // REQUIRES: sorted pairs.  VALID UNTIL: the pairs change.  COST: as get_raw_value, and for a
    // language string an allocation on the first call.
    const qtString* get_value(const Concept& name) const;

    // The value of get_value as qtConvertStringToDouble reads it; 0.0 if there is no such pair. The
    // number of a text of up to eight bytes is kept for the next call.
    // REQUIRES: sorted pairs.  COST: as get_value, and the first time the reading of the text.
    double get_number(const Concept& name) const {
        // Rules ask for the same names again and again, so the usual case is in line: the pair is
        // where it was last, with the text that was read last.
        const Nvp* const known = known_nvp(name);
        return known != nullptr && has_read(*known) ? known->number.value : read_number(name);
    }

    // Adds a pair or replaces the first of this name, and sets `changed`. It takes single values
    // alone: types 2, 4, 6, 8, 10 and 12.
    // RAISES: qtXbase "Invalid NVP type" for any other type.
    // COST: a binary search, and a sort of all pairs for a new name; see zeMsgEdit.
    void add_value(const qtString& name, mlMessageConverter::NvpType type, const qtString& value);
    // Makes a pair of type 1, as earlier versions stored it, a packed list, whose form it has
    // already. It loses its value and stays of type 1 if it has no elements, or if its name begins
    // with "_SML" and it thus holds a bag, which is not kept as text. Other pairs are left alone.
    // Spelling is part of the interface.
    static void MakeBackwardCompatibile(Nvp& nvp);

    // The record that corpora and archives store; see docs/formats/message.md.
    void Dump(Hio<Generic32>& io) const;
    // Reads a record and clears `changed`. Pairs and labels are replaced; a slot that the record
    // leaves empty stays as it was, and slots that a newer record has beyond the last are dropped.
    // Pairs are not sorted: Dump wrote them sorted.
    // RAISES: what the stream raises; the message is then partly filled.
    void Load(Hio<Generic32>& io);

    // Slots 0 to 3 are the bags of the text, the keywords, the title and the canned text. Slot 4
    // is the trainer's, for a bag that it derives. A slot may be null.
    std::array<qtPtrLight<zeSml>, kSlotCount> smls;
    std::vector<Nvp> nvps;            // sorted by name
    std::vector<Concept> categories;  // the labels; empty for an unlabelled message
    unsigned int active_sml = 0;      // index into `smls`
    double weight = 1.0;              // what the message counts for in training
    bool changed = true;              // differs from its stored form

private:
    static constexpr std::size_t kPlaceCount = 32;

    // Four bytes as a number, the first byte lowest on every machine.
    static std::uint64_t four_bytes(const char* bytes) noexcept {
        std::uint32_t word = 0;
        std::memcpy(&word, bytes, sizeof word);
        return std::endian::native == std::endian::big ? __builtin_bswap32(word) : word;
    }

    // A text of up to eight bytes as a number, the first byte lowest. Two loads of four bytes,
    // which overlap, serve all lengths from four on: a copy of the right length would be a call.
    static std::uint64_t short_text(std::string_view text) noexcept {
        if (text.size() >= 4) {
            const std::size_t last = text.size() - 4;
            return four_bytes(text.data()) | four_bytes(text.data() + last) << (8 * last);
        }
        std::uint64_t word = 0;
        for (std::size_t i = text.size(); i > 0; --i) {
            word = word << 8U | static_cast<unsigned char>(text[i - 1]);
        }
        return word;
    }

    // Returns true if the number of the pair's text is kept.
    static bool has_read(const Nvp& pair) noexcept {
        const std::string_view text = pair.value.view();
        return text.size() <= sizeof pair.number.text && has_plain_value(pair.type) &&
               short_text(text) == pair.number.text;
    }

    // Returns true if callers see the stored text itself.
    static bool has_plain_value(mlMessageConverter::NvpType type) noexcept {
        return type != mlMessageConverter::kOldList && type != mlMessageConverter::kPackedList &&
               type != mlMessageConverter::kLangString &&
               type != mlMessageConverter::kLangStringList;
    }

    // The value as callers see it.
    static const qtString& value_of(const Nvp& nvp);

    // The first pair of this name where find_nvp found it last, or null. Pairs of one name are
    // neighbours, and the first one has another name before it.
    const Nvp* known_nvp(const Concept& name) const noexcept {
        const std::size_t place = m_places[name.hash() % kPlaceCount];
        if (place >= nvps.size()) {
            return nullptr;
        }
        const Nvp* const known = nvps.data() + place;
        const bool is_first = known->name == name && (place == 0 || (known - 1)->name != name);
        return is_first ? known : nullptr;
    }

    double read_number(const Concept& name) const;
    // The first pair of this name, or null.
    const Nvp* find_nvp(const Concept& name) const noexcept;
    const Nvp* search_nvp(const Concept& name) const noexcept;

    // Where find_nvp found a name of this hash value last, modulo the size. Each use compares the
    // name, so an entry that is no longer true costs a search and does no harm.
    mutable std::array<unsigned char, kPlaceCount> m_places{};
};

#endif  // ZANDREL_MESSAGES_ZEMSG_H_
