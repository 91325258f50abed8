// The archive and the container of the tests of killed processes, and what must be true after the
// recovery.
#ifndef ZANDREL_TESTS_CLI_ARCHIVE_KILLS_H_
#define ZANDREL_TESTS_CLI_ARCHIVE_KILLS_H_

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

#include "cli/archive/Archive_edit.h"
#include "cli/archive/Archive_file.h"
#include "cli/archive/Archive_numbers.h"
#include "cli/archive/Archive_training.h"
#include "cli/records/Kc_check.h"
#include "cli/records/Rebuilt_index.h"
#include "tests/cli/scratch_folder.h"
#include "tests/support/fake_disk.h"
#include "tests/support/small_archive.h"
#include "text/errors.h"
#include "text/kc/Kc_conversion.h"
#include "text/kc/Kc_file.h"
#include "text/train/Training.h"

namespace zandrel::cli {

// Interrupts after so many questions.
class Interrupted_later : public CTProgress {
public:
    explicit Interrupted_later(int questions) : m_left(questions) {}

    bool IsInterrupted() const override { return m_left-- <= 0; }

private:
    mutable int m_left;
};

enum class Learning { kDone, kNothingNew, kNoMatch };

// The archive shop.arc has learned the messages a0 to a5 with the container shop.kc. The messages
// b0 to b7 are new. It keeps one message for each of two categories and the newest four, so
// learning deletes most of them, also messages that it has just learned.
class ArchiveKillTest : public testing::Test {
protected:
    using Files = std::map<std::string, std::string>;

    ArchiveKillTest() {
        Training_options training;
        training.kc_file = container();
        training.data_files = {m_folder.write(
            "data.tsv", "red\tapple cherry\nred\trose cherry\nblue\tsky sea\nblue\tink sea\n")};
        training.model.analysis = {Analysis_kind::kWords};
        train_kc(training);
        create_archive({archive(), true, {Analysis_kind::kWords}, 1, 2}, {});
        add("a", 6);
        train(false);
        add("b", 8);
        m_before = files();
        m_all = ids();
        m_old_kc = fingerprint();
    }

    ~ArchiveKillTest() override { listen_to_real_writes(nullptr); }

    std::string archive() const { return m_folder.file("shop.arc"); }

    std::string container() const { return m_folder.file("shop.kc"); }

    Archive_target target() const { return {archive()}; }

    void add(const std::string& id, const std::string& label, const std::string& replaced = "") {
        add_text(target(), {label + " word" + id, {label}, id, replaced});
    }

    void add(const std::string& prefix, int count) {
        for (int i = 0; i < count; ++i) {
            add(prefix + std::to_string(i), i % 3 == 0 ? "red" : "blue");
        }
    }

    Archive_training_options training_options(bool trains, bool is_unmatched) const {
        Archive_training_options options;
        options.target = target();
        options.kc_file = container();
        options.trains = trains;
        options.is_unmatched = is_unmatched;
        return options;
    }

    void learn() const { train_from_archive(training_options(false, false)); }

    void train(bool is_unmatched) const {
        train_from_archive(training_options(true, is_unmatched));
    }

    Learning try_to_learn() const {
        try {
            learn();
            return Learning::kDone;
        } catch (const Data_error& error) {
            const std::string text = error.what();
            if (text.find("does not match") != std::string::npos) {
                return Learning::kNoMatch;
            }
            EXPECT_NE(text.find("No new smls"), std::string::npos) << text;
            return Learning::kNothingNew;
        }
    }

    std::set<std::string> ids() const {
        const Archive_to_read opened(archive());
        std::set<std::string> ids;
        for (const auto& entry : opened.archive().m_manager.external_ids) {
            ids.insert(entry.first.str());
        }
        return ids;
    }

    // The contents of the container without its time, which differs between equal trainings.
    std::string fingerprint() const {
        if (read_kc_header(container())->form == Kc_form::kPlain) {
            return fingerprint_of(*read_kc(container(), nullptr));
        }
        const std::string plain = m_folder.file("plain.kc");
        convert(plain, Kc_form::kPlain);
        const std::string fingerprint = fingerprint_of(*read_kc(plain, nullptr));
        std::filesystem::remove(plain);
        return fingerprint;
    }

    void convert(const std::string& new_file, Kc_form form) const {
        Conversion_options options;
        options.kc_file = container();
        options.new_file = new_file;
        options.form = form;
        convert_kc(options);
    }

    static std::string fingerprint_of(zeManager& manager) {
        const qtTimeDate time = std::exchange(manager.m_config.last_trained, qtTimeDate());
        qtPtr<qtBuffer> buffer(new qtBuffer);
        KcIoMode mode;
        manager.Write(buffer, &mode, nullptr);
        manager.m_config.last_trained = time;
        return {buffer->bytes.begin(), buffer->bytes.end()};
    }

    Files files() const {
        Files files;
        for (const std::string& name : m_folder.names()) {
            if (!name.ends_with(".lock")) {
                files[name] = m_folder.content(name);
            }
        }
        return files;
    }

    void restore(const Files& files) const {
        for (const std::string& name : m_folder.names()) {
            std::filesystem::remove(m_folder.file(name));
        }
        for (const auto& [name, content] : files) {
            m_folder.write(name, content);
        }
    }

    static bool has_name(int descriptor, const std::string& name) {
        std::error_code ignored;
        const auto path =
            std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), ignored);
        return path.filename() == name;
    }

    // Makes the change and returns what a process that is killed in it would leave. `halves`:
    // writes to this file are also done only in part.
    std::vector<Files> images_of(const std::function<void()>& change, const std::string& halves) {
        restore(m_before);
        std::vector<Files> images;
        const auto take = [&] {
            Files now = files();
            if (images.empty() || images.back() != now) {
                images.push_back(std::move(now));
            }
        };
        listen_to_real_writes([&](const Real_write& write) {
            take();
            if (!write.is_done && write.bytes.size() > 1 && has_name(write.descriptor, halves)) {
                EXPECT_GT(::pwrite(write.descriptor, write.bytes.data(), write.bytes.size() / 2,
                                   static_cast<off_t>(write.place)),
                          0);
                take();
            }
            return true;
        });
        change();
        listen_to_real_writes(nullptr);
        take();
        return images;
    }

    void recover(const std::string& path) {
        if (check_file(path).condition != Record_condition::kClean) {
            const Rebuilt_index rebuilt = rebuild_index(path, {});
            EXPECT_FALSE(rebuilt.recovery.has_loss);
        }
        const Record_check check = check_file(path);
        EXPECT_TRUE(check.problems.empty()) << check.problems.front().text;
    }

    // Recovers each image, and then calls `look`.
    void look_at(const std::vector<Files>& images, std::size_t stride,
                 const std::function<void()>& look) {
        EXPECT_GT(images.size(), 4U);
        for (std::size_t i = 0; i < images.size(); i += stride) {
            SCOPED_TRACE(testing::Message() << "image " << i << " of " << images.size());
            restore(images[i]);
            recover(archive());
            look();
        }
    }

    static bool has_all(const std::set<std::string>& larger, const std::set<std::string>& smaller) {
        return std::includes(larger.begin(), larger.end(), smaller.begin(), smaller.end());
    }

    // The states of archive and container after a learning that may have failed.
    struct States {
        std::string learned;  // fingerprints
        std::string trained;
        std::set<std::string> kept;  // messages
    };

    States states() {
        States states;
        restore(m_before);
        train(true);
        states.trained = fingerprint();
        restore(m_before);
        learn();
        states.learned = fingerprint();
        states.kept = ids();
        EXPECT_TRUE(has_all(m_all, states.kept));
        EXPECT_LT(states.kept.size(), m_all.size());
        EXPECT_NE(states.learned, m_old_kc);
        return states;
    }

    void look_after_learning(const States& states) {
        const std::string kc = fingerprint();
        if (kc == m_old_kc) {
            EXPECT_EQ(ids(), m_all);
        } else {
            EXPECT_EQ(kc, states.learned);
            EXPECT_TRUE(has_all(ids(), states.kept));
        }
        const Learning learning = try_to_learn();
        ++m_tally[learning];
        EXPECT_EQ(kc == m_old_kc, learning != Learning::kNothingNew);
        if (learning == Learning::kDone) {
            EXPECT_EQ(fingerprint(), states.learned);
        } else if (learning == Learning::kNoMatch) {
            train(true);
            EXPECT_EQ(fingerprint(), states.trained);
            EXPECT_EQ(try_to_learn(), Learning::kNothingNew);
        }
        EXPECT_EQ(learning == Learning::kNothingNew ? states.kept : ids(), states.kept);
    }

    void look_at_kills_of_learning(std::size_t stride) {
        const States expected = states();
        look_at(images_of([this] { learn(); }, "shop.arc"), stride,
                [&] { look_after_learning(expected); });
        EXPECT_GT(m_tally[Learning::kDone], 0);
        EXPECT_GT(m_tally[Learning::kNoMatch], 0);
        EXPECT_GT(m_tally[Learning::kNothingNew], 0);
    }

    // Whatever was deleted before the kill, the next training has the same messages.
    void look_at_kills_of_training(std::size_t stride) {
        const States expected = states();
        look_at(images_of([this] { train(false); }, "shop.arc"), stride, [&] {
            const std::string kc = fingerprint();
            EXPECT_TRUE(kc == m_old_kc || kc == expected.trained);
            EXPECT_TRUE(has_all(ids(), expected.kept));
            EXPECT_TRUE(kc != m_old_kc || ids() == m_all);
            train(true);
            EXPECT_EQ(fingerprint(), expected.trained);
            EXPECT_EQ(ids(), expected.kept);
            EXPECT_EQ(try_to_learn(), Learning::kNothingNew);
        });
    }

    // The container is changed in place, so it may have learned a part. Then the two do not match.
    void look_at_kills_in_cached_form(std::size_t stride) {
        use_cached_form();
        const States expected = states();
        look_at(images_of([this] { learn(); }, "shop.arc"), stride,
                [&] { look_in_cached_form(expected); });
        EXPECT_GT(m_tally[Learning::kNoMatch], 0);
    }

    void use_cached_form() {
        restore(m_before);
        convert(m_folder.file("cached.kc"), Kc_form::kCached);
        std::filesystem::rename(m_folder.file("cached.kc"), container());
        m_before = files();
    }

    void look_in_cached_form(const States& expected) {
        recover(container());
        const std::string kc = fingerprint();
        EXPECT_TRUE(kc == expected.learned ? has_all(ids(), expected.kept) : ids() == m_all);
        const Learning learning = try_to_learn();
        ++m_tally[learning];
        if (learning == Learning::kNoMatch) {
            train(true);
            EXPECT_EQ(fingerprint(), expected.trained);
        } else {
            EXPECT_EQ(kc, learning == Learning::kDone ? m_old_kc : expected.learned);
            EXPECT_EQ(fingerprint(), expected.learned);
        }
    }

    // The summary names all messages with their ids and times, and `check` compares it with them.
    std::string summary() const {
        SmlArchiveManager summary = Archive_to_read(archive()).archive().m_manager;
        SegBuf record;
        Hio<HSegment> io(new HSegment(record, 'w'));
        summary.Dump(io);
        io.device->Close();
        return bytes_of(record);
    }

    // After the recovery the archive is exactly as before the change or as after it.
    void look_at_kills_of_edit(const std::function<void()>& change, std::size_t stride,
                               const std::function<void()>& look) {
        restore(m_before);
        const std::string before = summary();
        const std::vector<Files> images = images_of(change, "shop.arc");
        recover(archive());
        const std::string after = summary();
        EXPECT_NE(before, after);
        std::map<std::string, int> tally;
        look_at(images, stride, [&] {
            ++tally[summary()];
            look();
        });
        EXPECT_EQ(tally.size(), 2U);
        EXPECT_GT(tally[before], 0);
        EXPECT_GT(tally[after], 0);
    }

    // The new message has another id, or the same one.
    void look_at_kills_of_replacement(std::size_t stride) {
        for (const char* const id : {"new", "b7"}) {
            look_at_kills_of_edit([this, id] { add(id, "blue", "b7"); }, stride,
                                  [this] { EXPECT_EQ(try_to_learn(), Learning::kDone); });
        }
    }

    // The numbers above 0xFFFFFFE become low ones. `keeps_old`: messages have low numbers already,
    // so some are written over others.
    void prepare_new_numbers(bool keeps_old) {
        restore(m_before);
        {
            Archive_to_change change(archive(), {});
            change.archive().m_manager.next_sml_id = 0xFFFFFFF;
            change.archive().m_manager.modified = true;
            change.close();
        }
        add("c", 3);
        if (!keeps_old) {
            delete_messages(target(), {{m_all.begin(), m_all.end()}, false, true});
        }
        m_before = files();
        m_all = ids();
    }

    void give_new_numbers() const {
        Archive_to_change change(archive(), {});
        give_low_numbers(change.archive());
        change.close();
    }

    void look_at_kills_of_new_numbers(std::size_t stride) {
        const Files before = m_before;
        prepare_new_numbers(false);
        look_at_kills_of_edit(
            [this] { give_new_numbers(); }, stride,
            [this] {
                EXPECT_EQ(ids(), m_all);
                EXPECT_EQ(Archive_to_read(archive()).archive().m_manager.sml_dates.size(), 3U);
            });
        m_before = before;
        prepare_new_numbers(true);
        look_at(images_of([this] { give_new_numbers(); }, ""), stride,
                [this] { EXPECT_EQ(ids(), m_all); });
    }

    // The learning gives new numbers too, so messages are written over others.
    void look_at_kills_of_learning_with_new_numbers(std::size_t stride) {
        prepare_new_numbers(true);
        look_at_kills_of_learning(stride);
        EXPECT_LT(Archive_to_read(archive()).archive().m_manager.next_sml_id, 100U);
    }

    // The newest learned message is deleted, and a new one.
    void look_at_kills_of_deletion(std::size_t stride) {
        look_at_kills_of_edit(
            [this] {
                delete_messages(target(), {{"a5", "b0"}, false, true});
            },
            stride,
            [this] {
                const bool is_old = ids().contains("b0");
                EXPECT_EQ(train_from_archive(training_options(false, false)).used,
                          is_old ? 8U : 7U);
            });
    }

    void look_at_kills_of_setting(std::size_t stride) {
        look_at_kills_of_edit(
            [this] {
                set_archive(target(), {{}, 7, {}});
            },
            stride, [this] { EXPECT_EQ(try_to_learn(), Learning::kDone); });
    }

    void look_at_kills_of_rename(std::size_t stride) {
        look_at(images_of([this] { rename_category(target(), "red", "rose"); }, ""), stride,
                [this] {
                    EXPECT_EQ(ids(), m_all);
                    const Archive_to_read opened(archive());
                    const auto& categories = opened.archive().m_manager.category_info;
                    EXPECT_EQ(categories.size(), 2U);
                    EXPECT_NE(categories.count(term("red")), categories.count(term("rose")));
                });
    }

    void look_at_kills_of_addition(std::size_t stride) {
        Added_files added;
        added.data_files = {m_folder.file("data.tsv")};
        look_at(images_of([&] { add_files(target(), added); }, "shop.arc"), stride, [this] {
            EXPECT_TRUE(has_all(ids(), m_all));
            EXPECT_GE(train_from_archive(training_options(false, false)).used, 8U);
        });
    }

    // From one write on, all fail, or only this one fails.
    void look_at_full_disks(std::size_t stride) {
        const States expected = states();
        for (const bool is_for_ever : {true, false}) {
            bool has_failed = true;
            for (std::size_t first = 0; has_failed; first += stride) {
                SCOPED_TRACE(testing::Message() << "write " << first);
                restore(m_before);
                has_failed = learn_on_full_disk(first, is_for_ever);
                recover(archive());
                look_after_learning(expected);
            }
        }
    }

    bool learn_on_full_disk(std::size_t first, bool is_for_ever) {
        std::size_t count = 0;
        listen_to_real_writes([&](const Real_write& write) {
            if (write.is_done) {
                return true;
            }
            const std::size_t number = count++;
            return is_for_ever ? number < first : number != first;
        });
        bool has_failed = false;
        try {
            learn();
        } catch (const Output_error&) {
            has_failed = true;
        }
        listen_to_real_writes(nullptr);
        return has_failed;
    }

    Ticking_clock m_clock;
    Scratch_folder m_folder;
    Files m_before;
    std::set<std::string> m_all;
    std::string m_old_kc;
    std::map<Learning, int> m_tally;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_TESTS_CLI_ARCHIVE_KILLS_H_
