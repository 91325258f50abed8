// Random changes of an archive, compared after each step with a plain model in memory.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"
#include "tests/support/small_archive.h"

namespace {

using Names = std::vector<std::string>;

// The time at which a message arrives: the number of the step.
std::int64_t s_time = 0;

struct Model_message {
    Names labels;
    std::string id;
    std::int64_t arrived = 0;
};

// The archive's clock shows `s_time` while such an object exists.
class Step_clock {
public:
    Step_clock() : m_before(zandrel::set_clock([] { return s_time; })) {}

    Step_clock(const Step_clock&) = delete;
    Step_clock& operator=(const Step_clock&) = delete;

    ~Step_clock() { zandrel::set_clock(m_before); }

private:
    zandrel::qtClock m_before;
};

struct Model_estimate {
    double apriori = 0.0;
    double recursion = 100.0;
};

// Knows the messages and, for each category, its reservations and estimates. Counts, locks and
// external ids are computed from these.
struct Archive_model {
    std::map<std::string, unsigned int> counts() const {
        std::map<std::string, unsigned int> all;
        for (const auto& entry : messages) {
            for (const std::string& label : entry.second.labels) {
                ++all[label];
            }
        }
        return all;
    }

    std::map<unsigned int, unsigned int> locks() const {
        std::map<unsigned int, unsigned int> all;
        for (const auto& entry : reserved) {
            for (const unsigned int number : entry.second) {
                ++all[number];
            }
        }
        return all;
    }

    std::map<std::string, unsigned int> ids() const {
        std::map<std::string, unsigned int> all;
        for (const auto& [number, message] : messages) {
            all[message.id] = number;
        }
        return all;
    }

    void keep_newest(const std::string& label, std::size_t keep) {
        std::vector<unsigned int>& of_label = reserved[label];
        while (of_label.size() > keep) {
            of_label.erase(of_label.begin());
        }
    }

    void add(const Names& labels, const std::string& id) {
        const std::set<std::string> arrived(labels.begin(), labels.end());
        for (const std::string& label : labels) {
            if (counts().count(label) == 0) {
                std::set<std::string> known = arrived_so_far(labels, label);
                const auto count = static_cast<double>(known.size());
                estimates[label] = {0.0, count > 10 ? 10 * count : 100.0};
            }
        }
        const unsigned int number = next++;
        messages[number] = {labels, id, s_time};
        for (const std::string& label : labels) {
            if (reserved_size > 0) {
                reserved[label].push_back(number);
                keep_newest(label, reserved_size);
            }
        }
        const double size = 80.0 * static_cast<double>(counts().size());
        const double d = std::pow(2.0, -1.0 / std::max(size, 100.0));
        for (auto& [label, estimate] : estimates) {
            const bool is_hit = arrived.count(label) != 0;
            estimate.apriori = (is_hit ? 1.0 - d : 0.0) + d * estimate.apriori;
            estimate.recursion = (is_hit ? 0.85 : 1.0) * estimate.recursion + 0.15;
        }
    }

    // The categories that the archive knows when it comes to `label`.
    std::set<std::string> arrived_so_far(const Names& labels, const std::string& label) const {
        std::set<std::string> known{label};
        for (const auto& entry : counts()) {
            known.insert(entry.first);
        }
        for (const std::string& earlier : labels) {
            known.insert(earlier);
            if (earlier == label) {
                break;
            }
        }
        return known;
    }

    void release(unsigned int number) {
        for (auto& entry : reserved) {
            std::erase(entry.second, number);
        }
    }

    void remove(unsigned int number) {
        messages.erase(number);
        const std::map<std::string, unsigned int> left = counts();
        std::erase_if(estimates, [&](const auto& entry) { return left.count(entry.first) == 0; });
        std::erase_if(reserved, [&](const auto& entry) { return left.count(entry.first) == 0; });
    }

    void rename(const std::string& from, const std::string& to) {
        for (auto& entry : messages) {
            std::replace(entry.second.labels.begin(), entry.second.labels.end(), from, to);
        }
        estimates[to] = estimates.at(from);
        estimates.erase(from);
        reserved[to] = reserved[from];
        reserved.erase(from);
    }

    unsigned int next = 0;
    std::size_t reserved_size = 20;
    std::map<unsigned int, Model_message> messages;
    std::map<std::string, std::vector<unsigned int>> reserved;
    std::map<std::string, Model_estimate> estimates;
};

class Archive_steps {
public:
    Archive_steps(unsigned int seed, const qtString& path, bool use_32_bit)
        : m_random(seed), m_path(path), m_use_32_bit(use_32_bit) {
        m_archive.OpenArchive(path, true, use_32_bit);
    }

    void step() {
        ++s_time;
        switch (pick(12)) {
            case 0:
            case 1:
            case 2:
                add();
                break;
            case 3:
                replace();
                break;
            case 4:
            case 5:
            case 6:
                remove();
                break;
            case 7:
                release_message();
                break;
            case 8:
                release_category();
                break;
            case 9:
                rename();
                break;
            case 10:
                resize();
                break;
            default:
                reopen();
                break;
        }
        compare();
    }

    std::size_t message_count() const { return m_model.messages.size(); }

    std::map<std::string, int> done;  // how often each kind of step had its effect

private:
    unsigned int pick(std::size_t count) { return static_cast<unsigned int>(m_random() % count); }

    std::string any_name() { return "c" + std::to_string(pick(14)); }

    // Mostly the number of a message.
    unsigned int any_number() {
        if (m_model.messages.empty() || pick(5) == 0) {
            return pick(m_model.next + 1);
        }
        return std::next(m_model.messages.begin(), pick(m_model.messages.size()))->first;
    }

    Names some_labels() {
        std::set<std::string> labels;
        for (unsigned int left = 1 + pick(3); left > 0; --left) {
            labels.insert(any_name());
        }
        return {labels.begin(), labels.end()};
    }

    static qtPtrLight<zeMsg> message(const Names& labels) {
        qtPtrLight<zeMsg> msg(new zeMsg);
        for (const std::string& label : labels) {
            msg->categories.push_back(term(label));
        }
        return msg;
    }

    std::string new_id() { return "id" + std::to_string(m_model.next); }

    void add() {
        const Names labels = some_labels();
        qtPtrLight<zeMsg> msg = message(labels);
        const std::string id = new_id();
        EXPECT_EQ(m_archive.AddSml(msg, qtString(id)), m_model.next);
        m_model.add(labels, id);
        ++done["add"];
    }

    void replace() {
        const Names labels = some_labels();
        qtPtrLight<zeMsg> msg = message(labels);
        const std::string id = new_id();
        const unsigned int old = any_number();
        m_archive.AddSml(msg, qtString(id), qtString("id" + std::to_string(old)));
        if (m_model.messages.count(old) != 0) {
            m_model.release(old);
            m_model.remove(old);
            ++done["replace"];
        }
        m_model.add(labels, id);
    }

    void remove() {
        const unsigned int number = any_number();
        if (m_model.locks().count(number) != 0) {
            EXPECT_QTX(m_archive.DelSml(number), zeSmlArchive, 1, "Cannot delete reserved sml");
            ++done["refused remove"];
        } else if (m_model.messages.count(number) == 0) {
            EXPECT_QTX(m_archive.DelSml(number), zeSmlArchive, 4,
                       "Can't read Sml " + std::to_string(number) + " from Archive");
        } else {
            m_archive.DelSml(number);
            m_model.remove(number);
            ++done["remove"];
        }
    }

    void release_message() {
        const unsigned int number = any_number();
        done["release"] += m_model.locks().count(number) != 0 ? 1 : 0;
        m_archive.ReleaseOneSml(number);
        m_model.release(number);
    }

    void release_category() {
        const std::string name = any_name();
        m_archive.ReleaseOneCat(term(name));
        if (m_model.estimates.count(name) != 0) {
            m_model.keep_newest(name, 0);
            ++done["release category"];
        }
    }

    void rename() {
        const std::string from = any_name();
        const std::string to = "c" + std::to_string(pick(24));
        if (m_model.estimates.count(from) == 0) {
            EXPECT_FALSE(m_archive.RenameCategory(term(from), term(to)));
        } else if (m_model.estimates.count(to) != 0) {
            EXPECT_QTX(m_archive.RenameCategory(term(from), term(to)), zeSmlArchive, 6,
                       "Category already exists: " + to);
            ++done["refused rename"];
        } else {
            EXPECT_TRUE(m_archive.RenameCategory(term(from), term(to)));
            m_model.rename(from, to);
            ++done["rename"];
        }
    }

    void resize() {
        const unsigned int size = pick(5);
        m_archive.SetCatReservedSize(size);
        if (size < m_model.reserved_size) {
            for (auto& entry : m_model.reserved) {
                m_model.keep_newest(entry.first, size);
            }
        }
        m_model.reserved_size = size;
        ++done["resize"];
    }

    void reopen() {
        if (pick(2) == 0) {
            m_archive.FlushArchive(false);
        }
        m_archive.CloseArchive();
        m_archive.OpenArchive(m_path, false, m_use_32_bit);
        ++done["reopen"];
    }

    void compare() {
        expect_sound(m_archive);
        EXPECT_EQ(m_archive.m_manager.next_sml_id, m_model.next);
        EXPECT_EQ(external_ids(m_archive), m_model.ids());
        EXPECT_EQ(locked(m_archive), m_model.locks());
        ASSERT_EQ(m_archive.m_manager.category_info.size(), m_model.estimates.size());
        const std::map<std::string, unsigned int> counts = m_model.counts();
        for (const auto& [name, estimate] : m_model.estimates) {
            const CatData& data = category(m_archive, name);
            EXPECT_EQ(data.category_counter, counts.at(name));
            EXPECT_EQ(reserved(m_archive, name), m_model.reserved[name]);
            EXPECT_NEAR(data.apriori, estimate.apriori, 1e-12);
            EXPECT_NEAR(data.recursion1, estimate.recursion, 1e-9);
        }
        for (const auto& [number, message] : m_model.messages) {
            EXPECT_EQ(labels_of(m_archive, number), message.labels);
            EXPECT_EQ(m_archive.m_manager.sml_dates.at(number), qtTimeDate(message.arrived));
        }
    }

    std::mt19937 m_random;
    qtString m_path;
    bool m_use_32_bit;
    zeSmlArchive m_archive;
    Archive_model m_model;
};

TEST(zeSmlArchiveModelTest, RandomStepsAgreeWithAPlainModel) {
    const Step_clock clock;
    for (const bool use_32_bit : {false, true}) {
        SCOPED_TRACE(use_32_bit);
        const Second_file place;
        Archive_steps steps(use_32_bit ? 7 : 5, place.path(), use_32_bit);
        std::size_t most = 0;
        for (int count = 0; count < 700 && !testing::Test::HasFailure(); ++count) {
            SCOPED_TRACE(count);
            steps.step();
            most = std::max(most, steps.message_count());
        }
        // Each kind of step happened often enough.
        for (const char* const kind :
             {"add", "replace", "remove", "refused remove", "release", "release category", "rename",
              "refused rename", "resize", "reopen"}) {
            EXPECT_GE(steps.done[kind], 5) << kind;
        }
        EXPECT_GE(most, 20U);
    }
}

}  // namespace
