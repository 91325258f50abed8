// Follows the steps of the engine's training, and writes down how often each step polls.
//
// Example: 1,000 messages and 10 categories, without likelihood tables. Training counts the
// messages and selects the features of each category:
//
//   messages(1000)   1,000 polls of weight 1                            1,000
//   select(10)       10 polls of weight 1000 / 10 / 2 + 100 = 150       1,500
//
// So the progress is at 40 % when all messages are counted.
#include "text/model/Training_work.h"

#include <algorithm>
#include <map>

#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel {

namespace {

constexpr int kBootstrapPasses = 3;  // keywords, title, canned text
// The time in which a category judges concepts of other categories, as the number of messages that
// could be counted in that time.
constexpr double kWeightOfCandidates = 100.0;

// Lists the parts of one training.
class Work_list {
public:
    Work_list(zeStat_storage& storage, zeCorpus_view& view) : m_storage(storage), m_view(view) {
        std::map<zeNode*, std::size_t> counts;
        for (int iprofile = 0; iprofile < storage.profile_count(); ++iprofile) {
            counts[storage.profile(iprofile).m_node] = 1;
        }
        m_old_categories = counts.size();
        for (const zeCorpus_view::Msg& msg : view.msgs) {
            for (zeNode* const cat : msg.cats) {
                ++counts[cat];
            }
        }
        m_categories = counts.size();
        m_messages = view.msgs.size();
        m_left_out = static_cast<std::size_t>(
            std::count_if(view.msgs.begin(), view.msgs.end(), [&counts](const auto& msg) {
                return std::all_of(msg.cats.begin(), msg.cats.end(),
                                   [&counts](zeNode* cat) { return counts[cat] > 1; });
            }));
    }

    Training_work train() {
        add_training(m_storage.m_num_slices, m_old_categories);
        select(m_categories);
        return m_work;
    }

    Training_work bootstrap() {
        messages(kBootstrapPasses * m_messages);
        select(m_categories);
        return m_work;
    }

    // Between these parts the engine also scales old categories and deletes concepts. Both take
    // little time, so they are not counted.
    Training_work learn() {
        zeStat_diet_learner learner(m_storage);
        learner.m_view = &m_view;
        learner.build_num_msgs4profile();
        messages(2 + m_old_categories);
        add_training(learner.get_num_slices_for_bulk(), 0);
        messages(1);
        select(m_categories);
        messages(m_categories);
        return m_work;
    }

private:
    void messages(std::size_t count) { m_work.push_back({count, 1.0}); }

    void select(std::size_t categories) {
        const double share = static_cast<double>(m_messages) /
                             static_cast<double>(std::max<std::size_t>(m_categories, 1));
        m_work.push_back({categories, share / 2 + kWeightOfCandidates});
    }

    // `old_categories`: number of categories whose features are selected before the counting.
    void add_training(int slice_count, std::size_t old_categories) {
        if (!m_storage.m_use_train_likelihood) {
            messages(m_messages);
            return;
        }
        if (!m_storage.m_use_omit_method) {
            messages(m_messages);
            select(m_categories);
            messages(m_messages);
        } else if (slice_count < 2) {
            select(old_categories);
            messages(2 * m_messages);
        } else {
            messages(m_messages);
            add_slices(std::min<std::size_t>(static_cast<std::size_t>(slice_count), m_messages));
        }
        messages(m_categories);  // likelihood tables
    }

    // The messages of each slice are removed from the counts, matched, and counted again.
    void add_slices(std::size_t slice_count) {
        for (std::size_t slice = 0; slice < std::min(slice_count, m_left_out); ++slice) {
            const std::size_t size =
                m_left_out / slice_count + (slice < m_left_out % slice_count ? 1 : 0);
            messages(size);
            select(m_categories);
            messages(2 * size + 1);
        }
    }

    zeStat_storage& m_storage;
    zeCorpus_view& m_view;
    std::size_t m_messages = 0;
    std::size_t m_left_out = 0;        // messages that a slice can remove
    std::size_t m_old_categories = 0;  // before the training
    std::size_t m_categories = 0;      // after it
    Training_work m_work;
};

}  // namespace

Training_work training_work(zeStat_storage& storage, zeCorpus_view& view, Training_kind kind) {
    Work_list list(storage, view);
    switch (kind) {
        case Training_kind::kTrain:
            return list.train();
        case Training_kind::kBootstrap:
            return list.bootstrap();
        case Training_kind::kLearn:
            break;
    }
    return list.learn();
}

}  // namespace zandrel
