#include "tests/storage/record_file_soak.h"

#include <algorithm>
#include <deque>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "zandrel/storage/Hreclaim.h"

#include "tests/storage/record_file_model.h"
#include "tests/storage/record_file_script.h"

namespace {

using Kind = Record_step::Kind;

// The bytes of a file as another process sees them, without the writer's buffers.
class Onlooker {
public:
    explicit Onlooker(const std::string& name) : m_file(open(name.c_str(), O_RDONLY)) {}

    Onlooker(const Onlooker&) = delete;
    Onlooker& operator=(const Onlooker&) = delete;

    ~Onlooker() { close(m_file); }

    std::string bytes(std::size_t from, std::size_t count) const {
        std::string read(count, '\0');
        const ssize_t moved = pread(m_file, read.data(), count, static_cast<off_t>(from));
        read.resize(moved < 0 ? 0 : static_cast<std::size_t>(moved));
        return read;
    }

    std::size_t size() const {
        struct stat found {};

        return fstat(m_file, &found) == 0 ? static_cast<std::size_t>(found.st_size) : 0;
    }

private:
    int m_file;
};

template <class Device>
class Soak {
public:
    Soak(const std::string& name, std::uint32_t seed)
        : m_model(sizeof(typename Device::Offset)), m_source(seed, {.has_owner_states = true}) {
        EXPECT_TRUE(m_file.Open(name, true, false));
        m_onlooker.emplace(name);
        expect_same_image();
    }

    bool step() {
        const Record_step step = m_source.next(m_model);
        remember(step);
        count(step);
        const auto got = apply(step, m_file);
        apply(step, m_model);
        ++m_tally.steps;
        if (got && *got != m_model.content.at(step.key)) {
            ADD_FAILURE() << "another blob";
        }
        expect_same_state();
        if (step.kind == Kind::kWriteIndex || step.kind == Kind::kReopen) {
            expect_same_image();
        }
        if (step.kind == Kind::kReopen && m_tally.images % 8 == 0) {
            EXPECT_TRUE(read_all(m_file) == m_model.content);
        }
        return !testing::Test::HasFailure();
    }

    Soak_tally finish() {
        if (!testing::Test::HasFailure()) {
            m_file.Close();
            m_model.write_index();
            expect_same_image();
        }
        if (testing::Test::HasFailure()) {
            for (const Record_step& step : m_last) {
                ADD_FAILURE() << testing::PrintToString(step);
            }
        }
        return m_tally;
    }

private:
    void remember(const Record_step& step) {
        m_last.push_back(step);
        if (m_last.size() > 10) {
            m_last.pop_front();
        }
    }

    void count(const Record_step& step) {
        m_model.writes.clear();
        if (step.kind == Kind::kAdd) {
            const unsigned int slot =
                Record_file_model::slot_of(12 + step.key.size() + step.data.size());
            const bool is_in_place =
                m_model.content.contains(step.key) && m_model.slot_of_item(step.key) == slot;
            m_tally.in_place += is_in_place ? 1U : 0U;
            m_tally.reused += !is_in_place && !m_model.holes.at(slot).empty() ? 1U : 0U;
        }
        m_index_before = m_model.index_offset;
        m_size_before = m_model.image.size();
    }

    // Compares only what can be compared quickly: the eight bytes of the owner's fields and the
    // state, the size of the file, and the number of keys.
    void expect_same_state() {
        const std::string header = m_onlooker->bytes(4, 8);
        EXPECT_EQ(header, m_model.image.substr(4, 8));
        EXPECT_EQ(m_onlooker->size(), m_model.image.size());
        EXPECT_EQ(m_file.GetIndexSize(), m_model.content.size());
    }

    void expect_same_image() {
        ++m_tally.images;
        if (m_model.index_offset != m_index_before) {
            ++(m_model.image.size() == m_size_before ? m_tally.moved_in : m_tally.moved_out);
        }
        const std::string image = m_onlooker->bytes(0, m_model.image.size() + 1);
        if (image != m_model.image) {
            const auto at = std::mismatch(image.begin(), image.end(), m_model.image.begin(),
                                          m_model.image.end());
            ADD_FAILURE() << "the file differs from byte " << at.first - image.begin() << " on";
        }
    }

    Record_file_model m_model;
    Script_source m_source;
    Hreclaim<Device> m_file;
    std::optional<Onlooker> m_onlooker;
    std::deque<Record_step> m_last;
    Soak_tally m_tally;
    std::uint64_t m_index_before = 0;
    std::uint64_t m_size_before = 0;
};

}  // namespace

template <class Device>
Soak_tally soak_record_file(const std::string& name, std::uint32_t seed, std::size_t step_count) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    Soak<Device> soak(name, seed);
    for (std::size_t done = 0; done < step_count && soak.step(); ++done) {
    }
    return soak.finish();
}

template Soak_tally soak_record_file<Hfile64>(const std::string&, std::uint32_t, std::size_t);
template Soak_tally soak_record_file<Hfile32>(const std::string&, std::uint32_t, std::size_t);
