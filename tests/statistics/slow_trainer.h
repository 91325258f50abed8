// Slow_trainer: a second, simple implementation of counting, removing and feature selection.
// zeStat_trainer is compared with it.
//
// It shares no code with the library. It uses ordered maps of texts instead of hash tables and a
// full sort instead of a heap, and each formula is written out. Every sum has a fixed order, which
// is also the library's, so the results are compared bit for bit.
#ifndef ZANDREL_TESTS_STATISTICS_SLOW_TRAINER_H_
#define ZANDREL_TESTS_STATISTICS_SLOW_TRAINER_H_

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "zandrel/persistence/zeDefaults.h"

struct Slow_message {
    std::map<std::string, double> bag;
    std::vector<std::string> cats;
    double weight = 1.0;
    bool has_bag = true;
};

class Slow_trainer {
public:
    struct Info {
        double weight = 0.0;
        double rate = 0.0;
        int profiles = 0;
    };

    struct Profile {
        std::string name;
        double weight = 0.0;
        double msg_weight = 0.0;
        int msgs = 0;
        int size = 0;
        double M = 0.0;
        std::map<std::string, double> concepts;
        std::vector<std::pair<std::string, float>> weights;
    };

    Slow_trainer(const zeDefaults& settings, bool is_positive)
        : m_settings(settings), m_is_positive(is_positive) {}

    // The message's bag after clipping.
    std::map<std::string, double> Clipped(const Slow_message& msg) const {
        std::map<std::string, double> bag = msg.bag;
        for (auto& [text, weight] : bag) {
            if (m_settings.clip_value > 0.0) {
                weight = std::min(weight, m_settings.clip_value);
            }
        }
        return bag;
    }

    static double Total(const std::map<std::string, double>& bag) {
        double total = 0.0;
        for (const auto& [text, weight] : bag) {
            total += weight;
        }
        return total;
    }

    // True if no weight of the message is infinite or NaN. For such a number, the difference to
    // itself is not 0.
    static bool IsFinite(const Slow_message& msg) {
        double differences = msg.weight - msg.weight;
        if (msg.has_bag) {
            const double total = Total(msg.bag);
            differences += total - total;
            for (const auto& [text, weight] : msg.bag) {
                differences += weight - weight;
            }
        }
        return differences == 0.0;
    }

    void Count(const Slow_message& msg) {
        const std::map<std::string, double> bag = Clipped(msg);
        const double bag_total = Total(bag);
        if (!IsFinite(msg) || bag_total == 0.0) {
            return;
        }
        total_weight += msg.weight;
        total_msg_weight += msg.weight;
        total_bags += bag_total;
        ++msgs;
        for (const auto& [text, weight] : bag) {
            infos[text].weight += msg.weight * weight / bag_total;
            infos[text].rate += 1;
        }
        for (const std::string& cat : msg.cats) {
            Profile& profile = ProfileOf(cat);
            profile.weight += msg.weight;
            profile.msg_weight += msg.weight;
            ++profile.msgs;
            for (const auto& [text, weight] : bag) {
                infos[text].profiles += profile.concepts.count(text) == 0 ? 1 : 0;
                profile.concepts[text] += msg.weight * weight / bag_total;
            }
        }
    }

    // Removes a message that was counted.
    void Uncount(const Slow_message& msg) {
        const std::map<std::string, double> bag = Clipped(msg);
        const double bag_total = Total(bag);
        if (!IsFinite(msg) || bag_total == 0.0) {
            return;
        }
        total_weight = Without(total_weight, msg.weight);
        total_msg_weight = Without(total_msg_weight, msg.weight);
        total_bags = Without(total_bags, bag_total);
        --msgs;
        for (const auto& [text, weight] : bag) {
            Info& info = infos.at(text);
            info.weight = WithoutShare(info.weight, msg.weight * weight / bag_total);
            info.rate -= 1;
            if (info.weight == 0.0 || info.rate <= 0.0) {
                infos.erase(text);
            }
        }
        for (const std::string& cat : msg.cats) {
            Profile& profile = ProfileOf(cat);
            profile.weight = Without(profile.weight, msg.weight);
            profile.msg_weight = Without(profile.msg_weight, msg.weight);
            --profile.msgs;
            for (const auto& [text, weight] : bag) {
                double& own = profile.concepts.at(text);
                own = WithoutShare(own, msg.weight * weight / bag_total);
                if (own == 0.0) {
                    profile.concepts.erase(text);
                    if (infos.count(text) != 0) {
                        --infos.at(text).profiles;
                    }
                }
            }
        }
    }

    void Select() {
        for (Profile& profile : profiles) {
            Select(profile);
        }
    }

    // Counting keeps the total weight of concepts and that of messages equal, and also `weight` and
    // `msg_weight` of each profile. Learning makes them different.
    double total_weight = 0.0;
    double total_msg_weight = 0.0;
    double total_bags = 0.0;
    int msgs = 0;
    std::map<std::string, Info> infos;
    std::vector<Profile> profiles;  // in the order of the first messages of their categories

private:
    struct Judged {
        std::string text;
        double weight;
        double in;
        double out;
        double score;
    };

    static bool IsBetter(const Judged& left, const Judged& right) {
        return left.score != right.score ? left.score > right.score : left.text > right.text;
    }

    static double Without(double total, double amount) {
        return total > amount ? total - amount : 0.0;
    }

    // A rest of at most a millionth of the share is taken as a rounding error.
    static double WithoutShare(double weight, double share) {
        const double left = Without(weight, share);
        return left > share / 1000000.0 ? left : 0.0;
    }

    static double Divide(double numerator, double denominator) {
        return denominator == 0.0 ? 0.0 : numerator / denominator;
    }

    Profile& ProfileOf(const std::string& name) {
        for (Profile& profile : profiles) {
            if (profile.name == name) {
                return profile;
            }
        }
        profiles.emplace_back();
        profiles.back().name = name;
        profiles.back().size = m_settings.profile_size;
        return profiles.back();
    }

    double Factor(const std::string& text) const {
        if (!m_settings.suppress_M) {
            return 1.0;
        }
        const double rate = infos.at(text).rate;
        double s = 1.0;
        if (rate <= 10.0) {
            const double steps = std::floor(rate * 100);
            s = std::floor((std::tanh((steps / 100 - 4) / 1.6) + 1) * 0.5 * 10000 + 0.5) / 10000;
        }
        const double threshold = m_settings.suppress_M_threshold;
        if (threshold != 0.0 && msgs < threshold) {
            const double f = msgs / threshold;
            s = s * f + 1 - f;
        }
        return s;
    }

    Judged Judge(const Profile& profile, const std::string& text) const {
        const double T = total_bags;
        const double W = total_weight;
        const double D = total_msg_weight;
        const double E = D - profile.msg_weight;
        const double q = Divide(1.0, T);
        const double F = Divide(D, T * E);
        const double all = Divide(infos.at(text).weight, W);
        const auto own = profile.concepts.find(text);
        const double in = own == profile.concepts.end() ? 0.0 : Divide(own->second, profile.weight);
        const double out = Divide(D * all - profile.msg_weight * in, E);
        Judged judged = {text, 0.0, in, out, 0.0};
        if (m_is_positive) {
            const double A = W * 10.0 * q;
            const double G = Divide(A, (1 + A) * (1 + W));
            const double x = W * out / (1 + W) + G;
            if (x != 0.0) {
                judged.weight = Factor(text) * std::log((in * W / (1 + W) + G) / x);
            }
        } else {
            const double m = q > all ? q : all;
            double a = in;
            double b = out;
            if (all < q) {
                a = a < m ? m : a;
                b = b < m ? m : b;
            }
            if (b < F) {
                if (a <= m) {
                    b = F;
                } else {
                    b = F < m ? F : m;
                }
            }
            if ((a > m && b > m) || (a < m && b < m)) {
                b = m;
            }
            if (b != 0.0) {
                judged.weight = Factor(text) * std::log(m / b);
            }
            if (!m_settings.use_new_ZC) {
                judged.in = a;
                judged.out = b;
            }
        }
        judged.score = judged.weight * (judged.in - judged.out);
        return judged;
    }

    // Keeps the list sorted, and not longer than the profile size.
    static bool Offer(std::vector<Judged>& best, const Judged& judged, int size) {
        if (judged.score == 0.0 || judged.score != judged.score || size <= 0) {
            return false;
        }
        const bool is_full = best.size() == static_cast<std::size_t>(size);
        if (is_full && !IsBetter(judged, best.back())) {
            return false;
        }
        if (is_full) {
            best.pop_back();
        }
        best.push_back(judged);
        std::sort(best.begin(), best.end(), IsBetter);
        return true;
    }

    // The candidates, best first. If `rare`, these are the concepts whose rate is below the rate of
    // a concept seen once; otherwise all others. With `use_new_ZC` all concepts are candidates.
    std::vector<std::string> Candidates(bool rare) const {
        std::vector<std::pair<double, std::string>> valued;
        for (const auto& [text, info] : infos) {
            const double rate = Divide(info.weight, total_weight);
            if (!m_settings.use_new_ZC && (rate < Divide(1.0, total_bags)) != rare) {
                continue;
            }
            valued.emplace_back(rare ? info.rate : info.weight * Factor(text), text);
        }
        std::sort(valued.rbegin(), valued.rend());
        std::vector<std::string> texts;
        for (const auto& [value, text] : valued) {
            texts.push_back(text);
        }
        return texts;
    }

    void Walk(const Profile& profile, const std::vector<std::string>& candidates,
              std::vector<Judged>& best) const {
        for (const std::string& text : candidates) {
            if (profile.concepts.count(text) == 0 &&
                !Offer(best, Judge(profile, text), profile.size)) {
                return;
            }
        }
    }

    void Select(Profile& profile) {
        std::vector<Judged> best;
        for (const auto& [text, weight] : profile.concepts) {
            Offer(best, Judge(profile, text), profile.size);
        }
        if (m_settings.use_new_ZC) {
            Walk(profile, Candidates(false), best);
        } else if (!m_is_positive) {
            Walk(profile, Candidates(false), best);
            Walk(profile, Candidates(true), best);
        }
        double A = 0.0;
        double B = 0.0;
        for (const Judged& each : best) {
            A += each.weight * each.in;
            B += each.weight * each.out;
        }
        profile.weights.clear();
        if (!m_settings.use_normalization) {
            profile.M = 0.0;
        } else if (A == B) {
            return;
        } else {
            profile.M = (A + B) / (B - A);
        }
        for (const Judged& each : best) {
            const double value =
                m_settings.use_normalization ? 2 * each.weight / (A - B) : each.weight;
            profile.weights.emplace_back(each.text, static_cast<float>(value));
        }
    }

    zeDefaults m_settings;
    bool m_is_positive;
};

#endif  // ZANDREL_TESTS_STATISTICS_SLOW_TRAINER_H_
