#include "tests/storage/record_file_faults.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <typeinfo>
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

const std::string kFaultyFile = "fake/records";

// The file after a step.
struct Stage {
    Record_step step;
    Content content;  // after the step
    std::string image;
    bool is_stale = false;
    bool was_in_place = false;  // whether the step writes the item over its old one
};

// The errors that a fault in a call of each kind may cause, without the file's name. A read or
// write may seek because of buffers, and a seek may write the buffered bytes and read.
const std::map<Fake_disk::Call, std::set<std::string>>& allowed_ends() {
    using Call = Fake_disk::Call;
    static const std::map<Call, std::set<std::string>> ends = {
        {Call::kOpen, {"device 0 Cannot open file: "}},
        {Call::kRead,
         {"device 2 Invalid file offset in file ", "device 3 Read error in file ",
          "record 1 Cannot read index"}},
        {Call::kWrite, {"device 4 Write error in file "}},
        {Call::kSeek,
         {"device 2 Invalid file offset in file ", "device 2 SeekEnd error in file ",
          "device 3 Read error in file ", "device 4 Write error in file ",
          "record 1 Cannot read index"}},
        {Call::kClose, {"device 1 Close error in file "}},
    };
    return ends;
}

std::string without_name(std::string text) {
    const std::size_t found = text.find(kFaultyFile);
    return found == std::string::npos ? text : text.substr(0, found);
}

// The error of a statement as text: "device" or "record", number and message. "nothing" if it
// raises nothing. Any other error is given by its type, so that no expected text matches.
template <class Statement>
std::string end_of(Statement&& statement) {
    try {
        statement();
    } catch (const qtX<HioErr>& raised) {
        return "device " + std::to_string(raised.number()) + " " + without_name(raised.what());
    } catch (const qtX<AbstractHreclaim>& raised) {
        const std::string text = raised.what();
        const std::size_t colon = text.find(": ");
        return "record " + std::to_string(raised.number()) + " " +
               (colon == std::string::npos ? text : text.substr(0, colon + 2));
    } catch (const std::exception& raised) {
        return std::string(typeid(raised).name()) + " " + raised.what();
    }
    return "nothing";
}

template <class Device>
class Faulty_script {
public:
    Faulty_script(std::size_t step_count, bool has_places,
                  const std::function<void(const Left_file&)>& on_left)
        : m_has_places(has_places), m_on_left(on_left) {
        Record_file_model model(sizeof(typename Device::Offset));
        m_stages.push_back({{}, model.content, model.image, false, false});
        Script_source source(77, {.key_count = 20,
                                  .least_power = 4,
                                  .largest_power = 6,
                                  .rarely_largest_power = 14,
                                  .steps_per_index = 12});
        while (m_stages.size() <= step_count) {
            const Record_step step = source.next(model);
            const bool is_in_place = step.kind == Kind::kAdd && is_replaced_in_place(step, model);
            apply(step, model);
            m_stages.push_back({step, model.content, model.image, model.is_stale(), is_in_place});
        }
    }

    // The calls of the disk when none fails.
    std::vector<Fake_disk::Call> count_calls() {
        Fake_disk disk;
        disk.has_places = m_has_places;
        std::unique_ptr<Hreclaim<Device>> file;
        EXPECT_EQ(run(file).first, m_stages.size());
        EXPECT_TRUE(disk.files[kFaultyFile] == m_stages.back().image);
        file.reset();
        return disk.calls;
    }

    void fail(std::size_t index, Fake_disk::Fault fault, bool is_for_ever) {
        SCOPED_TRACE(testing::Message() << "call " << index << ", fault " << static_cast<int>(fault)
                                        << (is_for_ever ? "..." : ""));
        Fake_disk disk;
        disk.has_places = m_has_places;
        disk.fail_at(index, fault, is_for_ever);
        std::unique_ptr<Hreclaim<Device>> file;
        ++m_tally.runs;
        const auto [stage, end] = run(file);
        if (end == "nothing") {
            check_harmless(disk, std::move(file));
            return;
        }
        SCOPED_TRACE(testing::Message()
                     << "stage " << stage << ", " << testing::PrintToString(m_stages[stage].step)
                     << ": " << end);
        ++m_tally.raised[end];
        expect_allowed(disk.failed, end);
        if (m_stages[stage].step.kind == Kind::kGet && !is_for_ever) {
            // A failed step that only reads can be repeated.
            EXPECT_TRUE(apply(m_stages[stage].step, *file) ==
                        m_stages[stage].content.at(m_stages[stage].step.key));
            ++m_tally.repeated;
        }
        const bool is_dead = is_for_ever && fault == Fake_disk::Fault::kIoError;
        const bool is_write = disk.failed.front() == Fake_disk::Call::kWrite;
        const std::string left = disk.files[kFaultyFile];
        if (is_write && !is_dead && index % 2 == 0) {
            EXPECT_EQ(end_of([&] { file->Close(); }), "nothing");
        }
        file.reset();
        // Closing must write nothing more, not even the bytes that were buffered when the write
        // failed.
        EXPECT_TRUE(!is_write || disk.files[kFaultyFile] == left);
        disk.heal();
        EXPECT_EQ(disk.open_files, 0);
        if (m_on_left && disk.files.contains(kFaultyFile)) {
            m_on_left({disk.files.at(kFaultyFile), m_stages[stage == 0 ? 0 : stage - 1].content,
                       m_stages[stage].content, m_stages[stage].step});
        }
        check_reopened(disk, stage);
    }

    Fault_tally tally() const { return m_tally; }

private:
    static bool is_replaced_in_place(const Record_step& step, const Record_file_model& model) {
        return model.content.contains(step.key) &&
               model.slot_of_item(step.key) ==
                   Record_file_model::slot_of(12 + step.key.size() + step.data.size());
    }

    // Runs the script. Returns the stage that raised and its error, or the number of stages and
    // "nothing".
    std::pair<std::size_t, std::string> run(std::unique_ptr<Hreclaim<Device>>& file) {
        file = std::make_unique<Hreclaim<Device>>();
        for (std::size_t stage = 0; stage < m_stages.size(); ++stage) {
            const std::string end = end_of([&] {
                if (stage == 0) {
                    file->Open(kFaultyFile, true, false);
                    return;
                }
                const Record_step& step = m_stages[stage].step;
                const auto got = apply(step, *file);
                if (got) {
                    EXPECT_TRUE(*got == m_stages[stage].content.at(step.key));
                }
            });
            if (end != "nothing") {
                return {stage, end};
            }
        }
        return {m_stages.size(), "nothing"};
    }

    // The error must be one that a failed call may cause. With a permanent fault this need not be
    // the first failed call, because that one may have been harmless.
    static void expect_allowed(const std::vector<Fake_disk::Call>& failed, const std::string& end) {
        EXPECT_TRUE(std::any_of(failed.begin(), failed.end(), [&](Fake_disk::Call call) {
            return allowed_ends().at(call).contains(end);
        })) << end;
    }

    // Checks that only calls failed whose failure can have no effect. A read is harmless because a
    // buffer asks for more bytes than it needs, and asks again after a short read. A write is
    // harmless only if it is short and knows its position, because another call then writes the
    // rest.
    void check_harmless(Fake_disk& disk, std::unique_ptr<Hreclaim<Device>> file) {
        ++m_tally.harmless;
        for (const Fake_disk::Call call : disk.failed) {
            EXPECT_TRUE(call == Fake_disk::Call::kRead || call == Fake_disk::Call::kSeek ||
                        (call == Fake_disk::Call::kWrite && m_has_places &&
                         disk.fault == Fake_disk::Fault::kShort));
        }
        file.reset();  // Errors from here on are not reported.
        EXPECT_FALSE(disk.failed.empty());
        EXPECT_TRUE(disk.files[kFaultyFile] == m_stages.back().image);
    }

    void check_reopened(Fake_disk& disk, std::size_t stage) {
        const bool was_stale = stage > 0 && m_stages[stage - 1].is_stale;
        const bool is_made = disk.files.contains(kFaultyFile);
        const bool is_stale = is_made && has_stale_state(disk.files.at(kFaultyFile));
        Hreclaim<Device> file;
        const std::string end = end_of([&] { file.Open(kFaultyFile, false, true); });
        if (end != "nothing") {
            check_refused(stage, is_made, is_stale, end);
            return;
        }
        if (is_stale) {
            ++m_tally.reopened["stale"];
            return;
        }
        // The file was clean before a change, or it is clean after an index was written.
        EXPECT_TRUE(!was_stale || m_stages[stage].step.kind == Kind::kReopen ||
                    m_stages[stage].step.kind == Kind::kWriteIndex);
        check_content(file, stage);
    }

    static bool has_stale_state(const std::string& image) {
        return image.size() > zandrel::detail::kStatePosition &&
               (static_cast<unsigned char>(image[zandrel::detail::kStatePosition]) &
                AbstractHreclaim::kStaleIndex) != 0;
    }

    // A file may lack an index at the offset in its header only if the file was never finished, or
    // its index was being written.
    void check_refused(std::size_t stage, bool is_made, bool is_stale, const std::string& end) {
        const std::set<std::string> refusals = {
            "record 5 File does not exist: ", "record 1 Cannot read index",
            "device 3 Read error in file "};
        EXPECT_TRUE(refusals.contains(end)) << end;
        EXPECT_EQ(is_made, end != "record 5 File does not exist: ");
        EXPECT_TRUE(stage == 0 || is_stale) << end;
        ++m_tally.reopened[stage == 0 ? "unfinished" : "stale without index"];
    }

    void check_content(Hreclaim<Device>& file, std::size_t stage) {
        const Content none;
        const Content& before = stage == 0 ? none : m_stages[stage - 1].content;
        const Content& after = m_stages[stage].content;
        std::string ending = "sound";
        for (const Content& side : {before, after}) {
            for (const auto& entry : side) {
                const std::string found = outcome(file, entry.first, before, after);
                if (found != "sound") {
                    expect_window(found, entry.first, m_stages[stage]);
                    ending = found;
                }
            }
        }
        ++m_tally.reopened[ending];
    }

    static std::optional<std::string> value_of(const Content& content, const std::string& key) {
        const auto found = content.find(key);
        return found == content.end() ? std::nullopt : std::optional(found->second);
    }

    // "sound" if the key reads as before or after the step, "torn" for another blob, "lost" for an
    // error.
    static std::string outcome(Hreclaim<Device>& file, const std::string& key,
                               const Content& before, const Content& after) {
        std::optional<std::string> value;
        const std::string end = end_of([&] {
            if (file.Exists(key)) {
                value = read_item(file, key);
            }
        });
        if (end == "record 2 Key points to invalid item: " ||
            end == "device 3 Read error in file ") {
            return "lost";
        }
        EXPECT_EQ(end, "nothing");
        return value == value_of(before, key) || value == value_of(after, key) ? "sound" : "torn";
    }

    // Checks the one case that the state does not cover: the first change after the index was
    // written was interrupted before it marked the file as stale. It can only damage the item of
    // its own key: the key then points to a hole, or the item is half written.
    static void expect_window(const std::string& found, const std::string& key,
                              const Stage& stage) {
        EXPECT_EQ(key, stage.step.key);
        const bool is_change = stage.step.kind == Kind::kAdd || stage.step.kind == Kind::kDelete ||
                               stage.step.kind == Kind::kRename;
        EXPECT_TRUE(is_change);
        if (found == "torn") {
            EXPECT_TRUE(stage.was_in_place);
        }
    }

    bool m_has_places;
    const std::function<void(const Left_file&)>& m_on_left;
    std::vector<Stage> m_stages;
    Fault_tally m_tally;
};

}  // namespace

template <class Device>
Fault_tally fail_each_call(std::size_t step_count, std::size_t part, std::size_t parts,
                           bool has_places, const std::function<void(const Left_file&)>& on_left) {
    Faulty_script<Device> script(step_count, has_places, on_left);
    const std::vector<Fake_disk::Call> calls = script.count_calls();
    for (std::size_t index = 0; index < calls.size(); ++index) {
        const bool is_rare =
            calls[index] == Fake_disk::Call::kOpen || calls[index] == Fake_disk::Call::kClose;
        if (!is_rare && index % parts != part) {
            continue;
        }
        for (const Fake_disk::Fault fault :
             {Fake_disk::Fault::kIoError, Fake_disk::Fault::kNoSpace, Fake_disk::Fault::kShort}) {
            if (Fake_disk::can_happen(fault, calls[index]) && !testing::Test::HasFailure()) {
                script.fail(index, fault, false);
                script.fail(index, fault, true);
            }
        }
    }
    return script.tally();
}

template Fault_tally fail_each_call<Hfile64>(std::size_t, std::size_t, std::size_t, bool,
                                             const std::function<void(const Left_file&)>&);
template Fault_tally fail_each_call<Hfile32>(std::size_t, std::size_t, std::size_t, bool,
                                             const std::function<void(const Left_file&)>&);
