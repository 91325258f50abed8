// Slow_learner: a second, simple implementation of learning at a fixed size. zeStat_diet_learner is
// compared with it.
//
// It counts and selects by Slow_trainer, without likelihood tables. The other steps of learning are
// written here with ordered maps, and share no code with the library.
#ifndef ZANDREL_TESTS_STATISTICS_SLOW_LEARNER_H_
#define ZANDREL_TESTS_STATISTICS_SLOW_LEARNER_H_

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "zandrel/persistence/zeDefaults.h"

#include "tests/statistics/slow_trainer.h"

class Slow_learner {
public:
    // Counts certain events. If they never happened, a comparison would prove little.
    struct Tally {
        int sub_bulks = 0;     // sub-bulks that were learned
        int spared_bulks = 0;  // sub-bulks without a message, which are skipped
        int spoilt = 0;        // messages with a weight that is not finite
        int cut_profiles = 0;
        int dieted = 0;   // concepts that the diet removed from a profile, down to the lower bound
        int bounded = 0;  // concepts that the upper bound removed from a profile
        int swept = 0;    // concepts removed from the model's table of concepts (`infos`)
    };

    Slow_learner(const zeDefaults& settings, bool is_geometric, std::set<std::string> junk)
        : model(settings, false),
          m_settings(settings),
          m_is_geometric(is_geometric),
          m_junk(std::move(junk)) {}

    void Learn(const std::vector<Slow_message>& given, bool first) {
        std::vector<Slow_message> messages;
        for (const Slow_message& msg : given) {
            if (Slow_trainer::IsFinite(msg)) {
                messages.push_back(msg);
            } else {
                ++tally.spoilt;
            }
        }
        const std::vector<std::vector<Slow_message>> parts = Divide(messages, Parts(messages));
        for (std::size_t i = 0; i < parts.size(); ++i) {
            if (i != 0 && parts[i].empty()) {
                ++tally.spared_bulks;
                continue;
            }
            LearnBulk(parts[i], first && i == 0);
            ++tally.sub_bulks;
        }
    }

    // Removes a category's share, and empties or deletes the category.
    void Forget(const std::string& name, bool remove_concepts, bool deletes) {
        std::size_t position = 0;
        while (model.profiles.at(position).name != name) {
            ++position;
        }
        TakeOut(model.profiles[position], remove_concepts);
        lives.erase(name);
        if (deletes) {
            model.profiles[position] = model.profiles.back();
            model.profiles.pop_back();
        } else {
            Slow_trainer::Profile empty;
            empty.name = name;
            empty.size = m_settings.profile_size;
            model.profiles[position] = empty;
        }
    }

    Slow_trainer model;
    std::map<std::string, std::map<std::string, int>> lives;  // by category and text
    Tally tally;

private:
    using Profile = Slow_trainer::Profile;

    // Dividing.

    int Parts(const std::vector<Slow_message>& messages) const {
        long long concepts = 0;
        for (const Slow_message& msg : messages) {
            double bag_total = 0.0;
            for (const auto& [text, weight] : msg.bag) {
                bag_total += weight;
            }
            concepts = static_cast<long long>(static_cast<double>(concepts) +
                                              static_cast<double>(msg.cats.size()) * bag_total);
        }
        concepts /= 2;
        const long long cap = std::max(std::max(m_settings.min_Ps_size, m_settings.max_Ps_size),
                                       m_settings.profile_size);
        const long long room = static_cast<long long>(model.profiles.size()) * cap;
        int parts = 1;
        while (room != 0 && parts * room < concepts) {
            ++parts;
        }
        return parts;
    }

    static std::vector<std::vector<Slow_message>> Divide(const std::vector<Slow_message>& messages,
                                                         int count) {
        if (count == 1) {
            return {messages};
        }
        std::vector<std::string> cats;
        std::map<std::string, std::vector<Slow_message>> by_cat;
        std::vector<Slow_message> unlabelled;
        std::size_t turn = 0;
        for (const Slow_message& msg : messages) {
            if (msg.cats.empty()) {
                unlabelled.push_back(msg);
                continue;
            }
            const std::string& cat = msg.cats[turn % msg.cats.size()];
            ++turn;
            if (by_cat.count(cat) == 0) {
                cats.push_back(cat);
            }
            by_cat[cat].push_back(msg);
        }
        std::vector<Slow_message> row;
        for (const std::string& cat : cats) {
            row.insert(row.end(), by_cat[cat].begin(), by_cat[cat].end());
        }
        row.insert(row.end(), unlabelled.begin(), unlabelled.end());
        std::vector<std::vector<Slow_message>> parts(static_cast<std::size_t>(count));
        for (std::size_t i = 0; i < row.size(); ++i) {
            parts[i % parts.size()].push_back(row[i]);
        }
        return parts;
    }

    // One bulk.

    void LearnBulk(const std::vector<Slow_message>& messages, bool first) {
        std::map<std::string, int> msgs;
        for (const Slow_message& msg : messages) {
            for (const std::string& cat : msg.cats) {
                ++msgs[cat];
            }
        }
        MakeRoom(msgs, first);
        for (const Slow_message& msg : messages) {
            model.Count(msg);
            for (const std::string& cat : msg.cats) {
                for (const auto& [text, weight] : msg.bag) {
                    lives[cat][text] = m_settings.P_life_expectancy;
                }
            }
        }
        model.Select();
        Eliminate();
    }

    void Age(const std::map<std::string, int>& msgs) {
        for (auto& [cat, concepts] : lives) {
            const auto found = msgs.find(cat);
            for (auto& [text, life] : concepts) {
                life -= found == msgs.end() ? 0 : found->second;
                life = life < 0 ? 0 : life;
            }
        }
    }

    void MakeRoom(const std::map<std::string, int>& msgs, bool first) {
        if (!first) {
            Age(msgs);
            return;
        }
        bool all_junk = true;
        for (const Profile& profile : model.profiles) {
            if (profile.msg_weight != 0.0 && m_junk.count(profile.name) == 0) {
                all_junk = false;
            }
        }
        double sum = 0.0;
        int counting = 0;
        for (const Profile& profile : model.profiles) {
            if (all_junk || m_junk.count(profile.name) == 0) {
                sum += profile.msg_weight;
                ++counting;
            }
        }
        if (model.profiles.empty() || model.total_msg_weight == 0.0 || sum == 0.0) {
            return;
        }
        const double average = Average(all_junk, sum / counting);
        Age(msgs);
        double left = 0.0;
        for (Profile& profile : model.profiles) {
            const double limit = Limit(profile.msg_weight, average);
            if (all_junk || m_junk.count(profile.name) == 0) {
                left += profile.weight < limit ? profile.weight : limit;
            }
            Cut(profile, limit);
        }
        ScaleAll(left / (sum / model.total_msg_weight));
    }

    double Average(bool all_junk, double mean) const {
        double dampings = 0.0;
        double logarithms = 0.0;
        double sizes = 0.0;
        for (const Profile& profile : model.profiles) {
            if (profile.msg_weight == 0.0 || (!all_junk && m_junk.count(profile.name) != 0)) {
                continue;
            }
            double damping = 1.0;
            if (m_settings.weaken_small_cats_factor > 0.0) {
                damping = m_settings.weaken_small_cats_factor * profile.msg_weight / mean;
                damping = damping > 1.0 ? 1.0 : damping;
            }
            dampings += damping;
            logarithms += std::log(std::pow(profile.msg_weight, damping));
            sizes += profile.msg_weight * damping;
        }
        return m_is_geometric ? std::exp(logarithms / dampings) : sizes / dampings;
    }

    double Limit(double size, double average) const {
        const double R = m_settings.average_Rlimit;
        double limit =
            m_settings.learn_speed_scale == 1 ? size * R / average : R * std::sqrt(size / average);
        if (limit < m_settings.min_Rlimit) {
            limit = m_settings.min_Rlimit;
        }
        if (limit > m_settings.max_Rlimit) {
            limit = m_settings.max_Rlimit;
        }
        return limit;
    }

    void Cut(Profile& profile, double limit) {
        if (limit >= profile.weight) {
            return;
        }
        const double factor = limit / profile.weight;
        for (auto& [text, weight] : profile.concepts) {
            weight *= factor;
        }
        profile.weight = limit;
        ++tally.cut_profiles;
    }

    void ScaleAll(double weight) {
        const double factor = weight / model.total_weight;
        if (weight != model.total_weight && weight != 0.0 && model.total_weight != 0.0) {
            for (auto& [text, info] : model.infos) {
                info.weight *= factor;
                info.rate *= factor;
            }
            model.total_bags *= factor;
            model.total_msg_weight *= factor;
            for (Profile& profile : model.profiles) {
                profile.msg_weight *= factor;
            }
        }
        model.total_weight = weight;
    }

    // The diet.

    void Eliminate() {
        for (Profile& profile : model.profiles) {
            double floor = 0.0;
            if (m_settings.delete_P_factor != 0.0) {
                floor = model.total_weight / (m_settings.delete_P_factor * model.total_bags);
            }
            std::set<std::string> selected;
            for (const auto& [text, weight] : profile.weights) {
                selected.insert(text);
            }
            std::vector<std::pair<double, std::string>> unused;
            std::vector<std::pair<double, std::string>> all;
            for (const auto& [text, weight] : profile.concepts) {
                if (selected.count(text) != 0) {
                    continue;
                }
                all.emplace_back(weight, text);
                if (lives[profile.name][text] == 0 && (floor == 0.0 || weight < floor)) {
                    unused.emplace_back(weight, text);
                }
            }
            tally.dieted += DeleteDownTo(profile, unused, m_settings.min_Ps_size);
            tally.bounded += DeleteDownTo(profile, all,
                                          std::max(m_settings.min_Ps_size, m_settings.max_Ps_size));
        }
        Sweep();
    }

    int DeleteDownTo(Profile& profile, std::vector<std::pair<double, std::string>>& candidates,
                     int limit) {
        std::sort(candidates.begin(), candidates.end());
        int deleted = 0;
        for (const auto& [weight, text] : candidates) {
            if (static_cast<int>(profile.concepts.size()) > limit) {
                deleted += static_cast<int>(profile.concepts.erase(text));
                lives[profile.name].erase(text);
            }
        }
        return deleted;
    }

    // Removes rare concepts that no profile has. Here the profiles of each concept are counted
    // anew; the library stores this count with the concept.
    void Sweep() {
        for (auto entry = model.infos.begin(); entry != model.infos.end();) {
            entry->second.profiles = 0;
            for (const Profile& profile : model.profiles) {
                entry->second.profiles += static_cast<int>(profile.concepts.count(entry->first));
            }
            const bool goes = entry->second.profiles == 0 &&
                              entry->second.weight / model.total_weight < 1.0 / model.total_bags;
            tally.swept += goes ? 1 : 0;
            entry = goes ? model.infos.erase(entry) : std::next(entry);
        }
    }

    // Forgetting.

    void TakeOut(const Profile& profile, bool remove_concepts) {
        double weights = 0.0;
        double sizes = 0.0;
        for (const Profile& each : model.profiles) {
            weights += each.weight;
            sizes += each.msg_weight;
        }
        const double ratio = sizes / model.total_msg_weight;
        const double left = std::max((weights - profile.weight) / ratio, 0.0);
        for (auto& [text, info] : model.infos) {
            const auto own = profile.concepts.find(text);
            if (own != profile.concepts.end()) {
                info.profiles -= 1;
                if (remove_concepts) {
                    info.weight -= own->second * model.total_weight * profile.msg_weight /
                                   (profile.weight * sizes * ratio);
                    info.weight = std::max(info.weight, 0.0);
                }
            }
            info.weight *= left / model.total_weight;
            if (remove_concepts) {
                info.rate *= left / model.total_weight;
            }
        }
        model.total_msg_weight = std::max((sizes - profile.msg_weight) / ratio, 0.0);
        model.total_weight = left;
    }

    zeDefaults m_settings;
    bool m_is_geometric;
    std::set<std::string> m_junk;
};

#endif  // ZANDREL_TESTS_STATISTICS_SLOW_LEARNER_H_
