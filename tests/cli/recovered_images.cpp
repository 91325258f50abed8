#include "tests/cli/recovered_images.h"

#include <iostream>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "cli/records/Record_recovery.h"
#include "tests/storage/record_file_model.h"
#include "tests/storage/record_file_script.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

Content content_of(File_window& file, const Record_recovery& recovery) {
    Content content;
    for (const Scanned_item& item : recovery.items) {
        const bool is_new =
            content.emplace(item.key, file.bytes(item.data_offset(), item.data_length)).second;
        EXPECT_TRUE(is_new) << "two items of one key";
    }
    return content;
}

// Returns the content without the keys of the change.
Content without(Content content, const std::string& key, const std::string& other_key) {
    content.erase(key);
    content.erase(other_key);
    return content;
}

std::size_t Recovery_tally::*place_of(const Content& found, const Content& before,
                                      const Content& after, const std::string& key,
                                      const std::string& other_key) {
    if (found == after) {
        return &Recovery_tally::after;
    }
    if (found == before) {
        return &Recovery_tally::before;
    }
    Content others = without(found, key, other_key);
    const std::size_t unknown = std::erase_if(others, [&](const auto& item) {
        return !before.contains(item.first) && !after.contains(item.first);
    });
    if (others != without(before, key, other_key) || unknown > 1) {
        return &Recovery_tally::other;
    }
    if (unknown == 1) {
        return &Recovery_tally::torn_key;
    }
    if (found.size() < before.size() && found.size() <= after.size()) {
        return &Recovery_tally::missing;
    }
    return found.size() > after.size() ? &Recovery_tally::returned : &Recovery_tally::torn;
}

}  // namespace

Memory_file::Memory_file() : m_file(::memfd_create("record_file", 0)) {
    EXPECT_GE(m_file, 0);
}

Memory_file::~Memory_file() {
    ::close(m_file);
}

std::string Memory_file::path() const {
    return "/proc/self/fd/" + std::to_string(m_file);
}

void Memory_file::fill(const std::string& bytes) const {
    EXPECT_EQ(::ftruncate(m_file, 0), 0);
    EXPECT_EQ(::pwrite(m_file, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
}

void Memory_file::put(std::size_t position, char byte) const {
    EXPECT_EQ(::pwrite(m_file, &byte, 1, static_cast<off_t>(position)), 1);
}

void count_recovery(const std::string& path, const Content& before, const Content& after,
                    const std::string& key, const std::string& other_key, Recovery_tally& tally) {
    ++tally.images;
    File_window file("image", path);
    try {
        const Record_recovery recovery = recover_records(file);
        const auto place = place_of(content_of(file, recovery), before, after, key, other_key);
        ++(tally.*place);
        tally.lost += recovery.has_loss ? 1 : 0;
        tally.unchanged += recovery.condition != File_condition::kToRebuild ? 1 : 0;
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(), "image: too short for a header, so there is nothing to recover");
        ++tally.refused;
    }
}

Content recovered_content(const std::string& path) {
    File_window file("image", path);
    return content_of(file, recover_records(file));
}

void print_tally(const std::string& what, const Recovery_tally& tally) {
    const double share =
        static_cast<double>(tally.exact()) / static_cast<double>(tally.images - tally.refused);
    std::cout << what << ": " << tally.images << " images, " << tally.before << " as before, "
              << tally.after << " as after, " << tally.refused << " without header, " << tally.torn
              << " torn, " << tally.torn_key << " with a torn key, " << tally.missing
              << " missing, " << tally.returned << " returned, " << tally.other << " other, "
              << tally.lost << " reported as lost, " << tally.unchanged
              << " unchanged; exact: " << 100.0 * share << " %\n";
    testing::Test::RecordProperty("images", std::to_string(tally.images));
    testing::Test::RecordProperty("exact", std::to_string(tally.exact()));
}

Recovery_tally recover_crash_images(unsigned int offset_size, std::size_t step_count,
                                    std::size_t stride) {
    Recovery_tally tally;
    Record_file_model model(offset_size);
    Script_source source(91, {.key_count = 12,
                              .least_power = 4,
                              .largest_power = 6,
                              .rarely_largest_power = 14,
                              .steps_per_index = 4,
                              .owner_percent = 20,
                              .differs_in_place = true});
    const Memory_file file;
    std::size_t image = 0;
    const auto look = [&](const std::vector<Written>& writes, const Content& before,
                          const Content& after, const Record_step& step) {
        for (const Written& write : writes) {
            for (std::size_t i = 0; i < write.bytes.size(); ++i) {
                file.put(write.position + i, write.bytes[i]);
                if (image++ % stride == 0) {
                    count_recovery(file.path(), before, after, step.key, step.to, tally);
                }
            }
        }
    };
    look(model.writes, {}, {}, {});
    for (std::size_t done = 0; done < step_count; ++done) {
        const Record_step step = source.next(model);
        const Content before = model.content;
        model.writes.clear();
        apply(step, model);
        look(model.writes, before, model.content, step);
    }
    return tally;
}

}  // namespace zandrel::cli
