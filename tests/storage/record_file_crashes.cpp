#include "tests/storage/record_file_crashes.h"

#include <algorithm>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/Hreclaim.h"

#include "tests/storage/record_file_model.h"
#include "tests/storage/record_file_script.h"
#include "tests/support/fake_disk.h"

namespace {

using Kind = Record_step::Kind;
using Content = std::map<std::string, std::string>;

constexpr const char* kName = "fake/records";
constexpr const char* kLeft = "fake/left";  // the file that a crash leaves

std::size_t size_of(const std::vector<Written>& writes) {
    std::size_t size = 0;
    for (const Written& write : writes) {
        size += write.bytes.size();
    }
    return size;
}

// Splits the writes into single bytes, in their order.
std::vector<std::pair<std::uint64_t, char>> byte_by_byte(const std::vector<Written>& writes) {
    std::vector<std::pair<std::uint64_t, char>> bytes;
    for (const Written& write : writes) {
        for (std::size_t i = 0; i < write.bytes.size(); ++i) {
            bytes.emplace_back(write.position + i, write.bytes[i]);
        }
    }
    return bytes;
}

struct Owner_words {
    unsigned int id = 0;
    unsigned short version = 0;
    unsigned char flags = 0;

    bool operator==(const Owner_words&) const = default;
};

// The model before or after a step, as a reader sees it.
struct Side {
    Content content;
    Owner_words words;
};

Side side_of(const Record_file_model& model) {
    return {model.content, {model.id, model.version, model.flags}};
}

// Computes how many images are torn if an item is written over an old one byte by byte. A torn
// image has neither the old nor the new item. The last byte of the new blob differs from the byte
// that it overwrites, so the new item is complete only with its last byte. It is torn from the
// first length byte that differs, or, with equal lengths, from the first byte of the blob that
// differs.
std::size_t torn_images(const std::string& old_data, const std::string& data) {
    std::size_t differing = 0;  // bytes of the length, from the first one that differs
    for (std::size_t i = 0; i < 4; ++i) {
        if (old_data.size() >> (8 * i) != data.size() >> (8 * i)) {
            differing = i + 1;
        }
    }
    std::size_t same = 0;  // equal first bytes of the blobs; counted only if the lengths are equal
    if (differing == 0) {
        while (same < data.size() && data[same] == old_data[same]) {
            ++same;
        }
    }
    // The last byte completes the item, so it is not counted. The image before the first different
    // byte still is the old item.
    const std::size_t written = differing + data.size() - same;
    return written == 0 ? 0 : written - 1;
}

template <class Device>
class Crash_script {
public:
    explicit Crash_script(std::size_t step_count)
        : m_model(sizeof(typename Device::Offset)),
          m_source(91, {.key_count = 12,
                        .least_power = 4,
                        .largest_power = 6,
                        .rarely_largest_power = 14,
                        .steps_per_index = 4,
                        .owner_percent = 20,
                        .differs_in_place = true}) {
        m_disk.on_write = [this](std::uint64_t position, std::string_view bytes) {
            m_writes.push_back({position, std::string(bytes)});
        };
        create();
        for (std::size_t done = 0; done < step_count && !testing::Test::HasFailure(); ++done) {
            step();
        }
        m_disk.on_write = nullptr;
    }

    Crash_tallies tallies() const { return m_tallies; }

private:
    // A new file can be opened only after the last byte of its index offset was written. All other
    // bytes of the offset are zero.
    void create() {
        m_file.Open(kName, true, false);
        compare_writes();
        m_tallies.expected.images += size_of(m_writes);
        m_tallies.expected.unfinished += size_of(m_writes) - 1;
        ++m_tallies.expected.after;
        std::string image;
        for (const auto& [position, byte] : byte_by_byte(m_writes)) {
            put(image, position, byte);
            look_at_unfinished(image);
        }
    }

    void step() {
        const Record_step step = m_source.next(m_model);
        SCOPED_TRACE(testing::PrintToString(step));
        std::string image = m_model.image;
        const Side before = side_of(m_model);
        const Crash_tally expected = expect(step);
        m_model.writes.clear();
        m_writes.clear();
        apply(step, m_file);
        apply(step, m_model);
        compare_writes();
        add_expected(step, expected, before);
        const Side after = side_of(m_model);
        for (const auto& [position, byte] : byte_by_byte(m_writes)) {
            put(image, position, byte);
            look_at(image, before, after, step);
        }
    }

    void compare_writes() {
        EXPECT_TRUE(byte_by_byte(m_writes) == byte_by_byte(m_model.writes)) << "other writes";
        EXPECT_TRUE(m_disk.files.at(kName) == m_model.image);
    }

    static void put(std::string& image, std::uint64_t position, char byte) {
        image.resize(std::max<std::size_t>(image.size(), position + 1));
        image[position] = byte;
    }

    // Predicts the images of a change up to the point at which it marks the file as stale. There
    // are none if the file is stale already. add_expected predicts the other images.
    Crash_tally expect(const Record_step& step) const {
        Crash_tally tally;
        const auto found = m_model.content.find(step.key);
        const bool is_known = found != m_model.content.end();
        if (m_model.is_stale()) {
            return tally;
        }
        if (step.kind == Kind::kDelete || step.kind == Kind::kRename) {
            tally.lost = 8;  // one for each byte of the mark
        } else if (step.kind == Kind::kAdd && is_known) {
            const std::size_t size = 12 + step.key.size() + step.data.size();
            const unsigned int slot = Record_file_model::slot_of(size);
            if (m_model.slot_of_item(step.key) == slot) {
                tally.torn = torn_images(found->second, step.data);
                tally.after = step.data == found->second ? size : 1;
                tally.before = size - tally.torn - tally.after;
            } else {
                // The mark, the item, and the padding of a new block.
                const bool is_new = m_model.holes.at(slot).empty();
                tally.lost = 8 + (is_new ? std::size_t{1} << slot : size);
            }
        }
        return tally;
    }

    // `tally` already has the images that `expect` could classify. The kind of the step and the
    // state before it decide the result of the others. The image with the last byte may have a
    // result of its own, because this byte may mark the file as stale or clean.
    void add_expected(const Record_step& step, Crash_tally tally, const Side& before) {
        tally.images = size_of(m_model.writes);
        const std::size_t counted = tally.lost + tally.torn + tally.before + tally.after;
        const bool was_clean = m_clean_before;
        m_clean_before = !m_model.is_stale();
        switch (step.kind) {
            case Kind::kAdd:
                // A new item is not in the index yet, and the byte of the state comes last. So all
                // images but the last are as before.
                if (was_clean && counted == 0) {
                    tally.before = tally.images - 1;
                }
                tally.stale = tally.images - tally.lost - tally.torn - tally.before - tally.after;
                break;
            case Kind::kDelete:
            case Kind::kRename:
                tally.stale = tally.images - counted;
                break;
            case Kind::kWriteIndex:
            case Kind::kReopen:
                tally.after = tally.images == 0 ? 0 : 1;
                tally.stale = tally.images - tally.after;
                break;
            case Kind::kSetFileId:
                expect_words(was_clean, before.words, tally);
                break;
            case Kind::kRepair:
            case Kind::kGet:
            case Kind::kSetState:
                // A get writes nothing. A repair writes nothing either, since the index in memory
                // has every item. The script sets no state.
                EXPECT_EQ(tally.images, 0U);
                break;
        }
        add(tally, m_tallies.expected);
    }

    // The eight bytes are id, flags, state and version. An image is mixed only if it differs from
    // both the old and the new bytes.
    void expect_words(bool was_clean, const Owner_words& before, Crash_tally& tally) const {
        if (!was_clean) {
            tally.stale = 8;
            return;
        }
        const auto bytes_of_words = [](const Owner_words& words) {
            std::string bytes;
            for (const unsigned int shift : {24U, 16U, 8U, 0U}) {
                bytes += static_cast<char>(words.id >> shift);
            }
            bytes += static_cast<char>(words.flags);
            bytes += '\0';
            bytes += static_cast<char>(words.version >> 8U);
            bytes += static_cast<char>(words.version);
            return bytes;
        };
        const std::string old_bytes = bytes_of_words(before);
        const std::string bytes = bytes_of_words({m_model.id, m_model.version, m_model.flags});
        for (std::size_t written = 1; written <= 8; ++written) {
            const std::string image = bytes.substr(0, written) + old_bytes.substr(written);
            ++(image == bytes       ? tally.after
               : image == old_bytes ? tally.before
                                    : tally.mixed_words);
        }
    }

    static void add(const Crash_tally& part, Crash_tally& sum) {
        sum.images += part.images;
        sum.stale += part.stale;
        sum.before += part.before;
        sum.after += part.after;
        sum.lost += part.lost;
        sum.torn += part.torn;
        sum.mixed_words += part.mixed_words;
    }

    void look_at_unfinished(const std::string& image) {
        Crash_tally& found = m_tallies.found;
        ++found.images;
        m_disk.files[kLeft] = image;
        Hreclaim<Device> file;
        try {
            file.Open(kLeft, false, true);
        } catch (const qtX<AbstractHreclaim>& raised) {
            EXPECT_EQ(raised.number(), AbstractHreclaim::kUnreadableIndex);
            ++found.unfinished;
            return;
        } catch (const qtX<HioErr>& raised) {
            EXPECT_EQ(raised.number(), HioErr::kReadFailed);
            ++found.unfinished;
            return;
        }
        EXPECT_EQ(file.GetIndexSize(), 0U);
        ++found.after;
    }

    void look_at(const std::string& image, const Side& before, const Side& after,
                 const Record_step& step) {
        Crash_tally& found = m_tallies.found;
        ++found.images;
        if ((static_cast<unsigned char>(image.at(zandrel::detail::kStatePosition)) & 1U) != 0) {
            ++found.stale;
            return;
        }
        m_disk.files[kLeft] = image;
        Hreclaim<Device> file;
        file.Open(kLeft, false, true);
        Owner_words words;
        file.GetFileID(words.id, words.version, words.flags);
        if (words != before.words && words != after.words) {
            EXPECT_TRUE(read_all(file) == after.content);
            ++found.mixed_words;
            return;
        }
        ++(found.*(place_of(file, words, before, after, step)));
    }

    // Classifies an image by its items. All items except the one of the step must be as before.
    static std::size_t Crash_tally::*place_of(Hreclaim<Device>& file, const Owner_words& words,
                                              const Side& before, const Side& after,
                                              const Record_step& step) {
        Content content;
        std::vector<qtString> keys;
        file.GetIndex(keys);
        std::size_t Crash_tally::*place = nullptr;
        for (const qtString& key : keys) {
            try {
                content[key.str()] = read_item(file, key.str());
            } catch (const qtX<AbstractHreclaim>& raised) {
                EXPECT_EQ(raised.number(), AbstractHreclaim::kWrongKey);
                EXPECT_EQ(key.str(), step.key);
                place = &Crash_tally::lost;
            } catch (const qtX<HioErr>& raised) {
                // The length of the item is half written.
                EXPECT_EQ(raised.number(), HioErr::kReadFailed);
                EXPECT_EQ(key.str(), step.key);
                place = &Crash_tally::torn;
            }
        }
        if (place != nullptr) {
            return place;
        }
        // A step that changes nothing for readers counts as "after".
        if (content == after.content && words == after.words) {
            return &Crash_tally::after;
        }
        if (content == before.content && words == before.words) {
            return &Crash_tally::before;
        }
        Content others = before.content;
        others[step.key] = content[step.key];
        EXPECT_TRUE(content == others);
        return &Crash_tally::torn;
    }

    Fake_disk m_disk;
    Record_file_model m_model;
    Script_source m_source;
    Hreclaim<Device> m_file;
    std::vector<Written> m_writes;
    Crash_tallies m_tallies;
    bool m_clean_before = true;
};

}  // namespace

template <class Device>
Crash_tallies crash_after_each_byte(std::size_t step_count) {
    return Crash_script<Device>(step_count).tallies();
}

template Crash_tallies crash_after_each_byte<Hfile64>(std::size_t);
template Crash_tallies crash_after_each_byte<Hfile32>(std::size_t);
