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

class mlMessage;
class qtSml;

// A message: up to five bags of concepts, name/value pairs, the categories that label it, and its
// weight in training. The application fills it field by field or makes it from an mlMessage. Copies
// share the bags.
// The pairs are in a sorted vector, since a message is read far more often than it is edited. Use
// zeMsgEdit for many changes: it sorts once, at its end. While such an edit is open, the pairs may
// not be in order, so look-ups here are not allowed.
//
// Errors: raises qtXbase, texts in docs/errors.md; the message then has not changed. Errors of
// mlMessage pass through.
// Threads: one at a time in the whole process, even for look-ups: they fill the message's caches.
class ZANDREL_EXPORT zeMsg {
public:
    static constexpr std::size_t kSlotCount = 5;
    // The value of an mlMessage that contains the labels, if the caller does not choose another.
    static constexpr const char* kCategoriesKey = "_Categories";

    // A name/value pair. Code that changes `type` or `value` directly has to reset `canonical`.
    struct Nvp {
        // The text order of the names, which does not depend on the locale.
        bool operator<(const Nvp& other) const noexcept { return name < other.name; }

        Concept name;
        mlMessageConverter::NvpType type = mlMessageConverter::kDeleted;
        qtString value;                     // in text form; see mlMessageConverter::NvpType
        mutable qtPtr<qtString> canonical;  // get_value's cache for language strings; never stored

        // get_number's cache; never stored. `text` is a text of up to eight bytes as a number: the
        // first byte is the lowest, and zeros follow the last one. `value` is the number that this
        // text is read as. For example, "12" is 0x3231, with the value 12. Each use compares `text`
        // with the pair's text, so a changed text is read again. At first the cache has the empty
        // text, which is read as 0.
        struct Number {
            std::uint64_t text = 0;
            double value = 0.0;
        };

        mutable Number number{};
    };

    zeMsg() = default;
    // Makes a message of the application's one: its pairs, as mlMessage2zeMsg adds them, the labels
    // from the value `categories_key`, and the bags from the keys of SELocalDictionary. The bag of
    // the first such key becomes the active one, also if it is empty. The value of the labels is a
    // pair too. A missing value means no labels. A null key means kCategoriesKey, and an empty key
    // means that labels are not read.
    // RAISES: mlxNvpType if there is a value, but no bag, with the key of a bag.
    zeMsg(const mlMessage& message, const char* categories_key);

    // Adds the application's values to the pairs, and sets `changed` if there is any. A value
    // without texts becomes an empty pair of type 1; one of several texts becomes a packed list.
    void mlMessage2zeMsg(const mlMessage& message);
    // Writes the pairs to the application's message. Other values that it has remain. A pair of
    // type 1 is first converted, as by MakeBackwardCompatibile, which does not set `changed`; if it
    // remains of type 1, it is not written. Of the pairs of one name that are written, the last
    // one counts.
    // RAISES: qtXbase "Invalid nvp value" for a packed list that is damaged. mlxNvpType for a type
    // above 255, which no file contains. In both cases neither message has changed.
    void zeMsg2mlMessage(mlMessage& message);
    // Writes pairs, labels and bags to the application's message. Labels become a value of type 3;
    // `categories_key` is as for the constructor. The bag of slot 4, `active_sml`, `weight` and the
    // clip values of bags are not written. If there are no labels, or a slot is null, what the
    // application's message has there remains.
    // RAISES: as zeMsg2mlMessage.
    void make_mlMessage(mlMessage& message, const char* categories_key);

    // Returns the bag that classification and training read, `smls[active_sml]`, or null if that
    // slot is empty or does not exist.
    const qtPtrLight<zeSml>& active_bag() const noexcept;

    // Returns the stored text of the first pair of this name, whatever its type, or null if there
    // is no such pair.
    // REQUIRES: sorted pairs.  VALID UNTIL: the pairs change.  COST: at most a binary search, whose
    // last steps compare handles one by one; no allocation.
    const qtString* get_raw_value(const Concept& name) const;
    // Returns the value of the first pair of this name as callers should see it: a language string
    // (type 12 or 13) in its canonical form, the empty text for a list of type 1 or 14, which has
    // no single value, and otherwise the stored text. Null if there is no such pair. The canonical
    // form is kept for the next call. That does not set `changed`, since the form is not stored.
    // REQUIRES: sorted pairs.  VALID UNTIL: the pairs change.  COST: as get_raw_value, and for a
    // language string an allocation on the first call.
    const qtString* get_value(const Concept& name) const;

    // Returns the value of get_value as qtConvertStringToDouble reads it, or 0.0 if there is no
    // such pair. The number of a text of up to eight bytes is kept for the next call.
    // REQUIRES: sorted pairs.  COST: as get_value, and on the first call the reading of the text.
    double get_number(const Concept& name) const {
        // Rules ask for the same names again and again, so the usual case is inline: neither the
        // place of the pair nor its text has changed since the last call.
        const Nvp* const known = known_nvp(name);
        return known != nullptr && has_read(*known) ? known->number.value : read_number(name);
    }

    // Adds a pair or replaces the first pair of this name, and sets `changed`. It takes only single
    // values: types 2, 4, 6, 8, 10 and 12.
    // RAISES: qtXbase "Invalid NVP type" for any other type.
    // COST: a binary search, and a sort of all pairs for a new name; see zeMsgEdit.
    void add_value(const qtString& name, mlMessageConverter::NvpType type, const qtString& value);
    // Converts a pair of type 1, which earlier versions wrote, to a packed list. The bytes of its
    // value already have that form. A pair without elements, or with a name that begins with
    // "_SML", keeps type 1 and loses its value: such a name marks a bag, which is not kept as text.
    // Pairs of other types do not change. The spelling of the name is part of the interface.
    static void MakeBackwardCompatibile(Nvp& nvp);

    // Writes the record that corpora and archives store; see docs/formats/message.md.
    void Dump(Hio<Generic32>& io) const;
    // Reads a record and clears `changed`. Pairs and labels are replaced. A slot that is empty in
    // the record does not change. A newer record may have more slots than this message; the bags in
    // these slots are dropped. Pairs are not sorted, since Dump wrote them sorted.
    // RAISES: the exceptions of the stream; the message is then partly filled.
    void Load(Hio<Generic32>& io);

    // Slots 0 to 3 are the bags of the text, the keywords, the title and the canned text. Slot 4
    // is for a bag that the trainer makes. A slot may be null.
    std::array<qtPtrLight<zeSml>, kSlotCount> smls;
    std::vector<Nvp> nvps;            // sorted by name
    std::vector<Concept> categories;  // the labels; empty for an unlabelled message
    unsigned int active_sml = 0;      // index into `smls`
    double weight = 1.0;              // how much the message counts in training
    bool changed = true;              // differs from its stored form

private:
    static constexpr std::size_t kPlaceCount = 32;

    // Four bytes as a number, the first byte lowest on every machine.
    static std::uint64_t four_bytes(const char* bytes) noexcept {
        std::uint32_t word = 0;
        std::memcpy(&word, bytes, sizeof word);
        return std::endian::native == std::endian::big ? __builtin_bswap32(word) : word;
    }

    // A text of up to eight bytes as a number, the first byte lowest. For lengths from four on we
    // join two loads of four bytes, which may overlap: a copy of the exact length would be a call.
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

    // Returns true if the cache has the number of the pair's text.
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

    // Returns the first pair of this name if it is still where find_nvp found it last time,
    // otherwise null. Pairs of one name are neighbours, so a pair is the first of its name if the
    // pair before it has another name.
    const Nvp* known_nvp(const Concept& name) const noexcept {
        const std::size_t place = m_places[name.hash() % kPlaceCount];
        if (place >= nvps.size()) {
            return nullptr;
        }
        const Nvp* const known = nvps.data() + place;
        const bool is_first = known->name == name && (place == 0 || (known - 1)->name != name);
        return is_first ? known : nullptr;
    }

    void read_categories(const mlMessage& message, const qtString& key);
    double read_number(const Concept& name) const;
    // The first pair of this name, or null.
    const Nvp* find_nvp(const Concept& name) const noexcept;
    const Nvp* search_nvp(const Concept& name) const noexcept;

    // The index is the hash of a name, modulo the size. The element is the position in `nvps` where
    // find_nvp found a name with this hash last time. Each use compares the name, so an outdated
    // element only costs a search.
    mutable std::array<unsigned char, kPlaceCount> m_places{};
};

// Feeds the concepts of an application's bag to `bag`, which keeps what it has; see zeSml::feed.
ZANDREL_EXPORT void qtSml2zeSml(const qtSml& map, zeSml& bag);
// Adds the concepts of `bag` to an application's bag, which keeps what it has.
ZANDREL_EXPORT void zeSml2qtSml(const zeSml& bag, qtSml& map);

#endif  // ZANDREL_MESSAGES_ZEMSG_H_
