// Reads the data, divides them, and trains and tests one model for each trial. The list of settings
// and the texts are in memory before the workers are made, so a task is only the numbers of a
// setting and a part.
#include "cli/tune/Tuning.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "zandrel/knowledge/Progress.h"

#include "cli/process/Worker_pool.h"
#include "text/data/Data_input.h"
#include "text/data/Data_warnings.h"
#include "text/data/Label_set.h"
#include "text/data/Stored_corpus.h"
#include "text/data/Waiting_for_input.h"
#include "text/errors.h"
#include "text/kc/Corpus_analysis.h"
#include "text/model/Cpu_timer.h"
#include "text/model/Engine_settings.h"
#include "text/model/Text_model.h"
#include "text/suggest/Tree_suggestion.h"
#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

using zandrel::detail::Progress;

using Texts = std::vector<Labelled_text>;

// Passes only the interruption: the trials are the steps that the user sees.
class Interruption_only : public CTProgress {
public:
    // BORROWS: `asked`, which may be null.
    explicit Interruption_only(const CTProgress* asked) : m_asked(asked) {}

    bool IsInterrupted() const override { return m_asked != nullptr && m_asked->IsInterrupted(); }

    void stop_asking() { m_asked = nullptr; }

private:
    const CTProgress* m_asked;
};

enum class Role : unsigned char { kUnused, kTrained, kTested };

// Moves the texts of a part into two lists. The destructor moves them back.
class Texts_of_part {
public:
    // BORROWS: both lists. `roles`: of each text.
    Texts_of_part(Texts& texts, const std::vector<Role>& roles) : m_texts(texts), m_roles(roles) {
        for (std::size_t i = 0; i < texts.size(); ++i) {
            if (roles[i] != Role::kUnused) {
                (roles[i] == Role::kTrained ? to_train : to_test).push_back(std::move(texts[i]));
            }
        }
    }

    Texts_of_part(const Texts_of_part&) = delete;
    Texts_of_part& operator=(const Texts_of_part&) = delete;

    ~Texts_of_part() {
        auto next_to_train = to_train.begin();
        auto next_to_test = to_test.begin();
        for (std::size_t i = 0; i < m_texts.size(); ++i) {
            if (m_roles[i] != Role::kUnused) {
                m_texts[i] =
                    std::move(m_roles[i] == Role::kTrained ? *next_to_train++ : *next_to_test++);
            }
        }
    }

    Texts to_train;
    Texts to_test;

private:
    Texts& m_texts;
    const std::vector<Role>& m_roles;
};

// A part of the texts, and the labels of those that are tested.
struct Part_data {
    std::vector<Role> roles;  // of each text
    std::vector<Label_numbers> labels;
};

// The last bits of scores may differ between machines.
bool is_tied(const Scored_label& first, const Scored_label& other) {
    constexpr double kLeast = 1e-9;
    return first.score - other.score <= kLeast * first.score;
}

// Of equally good labels the first one by name is the best. REQUIRES: all of these labels.
std::string_view best_label_of(const Ranking& ranking) {
    std::string_view best = ranking.front().label;
    for (const Scored_label& each : ranking) {
        if (!is_tied(ranking.front(), each)) {
            break;
        }
        best = std::min(best, each.label);
    }
    return best;
}

// The squared distance of the scores from 1 for labels of the text and 0 for others. A label
// without a score has 0.
double square_error_of(const Labelled_text& text, const Ranking& ranking) {
    const Label_set right(text.labels);
    double sum = 0.0;
    std::size_t found = 0;
    for (const Scored_label& each : ranking) {
        const bool is_right = right.contains(each.label);
        found += is_right ? 1 : 0;
        const double error = std::min(each.score, 1.0) - (is_right ? 1.0 : 0.0);
        sum += error * error;
    }
    return sum + static_cast<double>(text.labels.size() - found);
}

template <class Value>
void put_value(const Value& value, std::string& bytes) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template <class Value>
Value take_value(std::string_view& bytes) {
    Value value;
    std::memcpy(&value, bytes.data(), sizeof value);
    bytes.remove_prefix(sizeof value);
    return value;
}

std::string bytes_of_outcome(const Trial_outcome& outcome) {
    std::string bytes;
    put_value(outcome.model_size, bytes);
    put_value(outcome.cpu_seconds, bytes);
    put_value(outcome.answers.size(), bytes);
    for (const Text_answer& answer : outcome.answers) {
        put_value(answer, bytes);
    }
    return bytes;
}

Trial_outcome outcome_of(std::string_view bytes) {
    Trial_outcome outcome;
    outcome.model_size = take_value<std::size_t>(bytes);
    outcome.cpu_seconds = take_value<double>(bytes);
    outcome.answers.resize(take_value<std::size_t>(bytes));
    for (Text_answer& answer : outcome.answers) {
        answer = take_value<Text_answer>(bytes);
    }
    return outcome;
}

using Clock = std::chrono::steady_clock;

class Text_trials : public Trials {
public:
    // BORROWS: all.
    Text_trials(const Tuning_options& options, const std::vector<Tuning_setting>& settings,
                Texts& texts, const std::vector<bool>& are_copies, Clock::time_point begin)
        : m_options(options),
          m_settings(settings),
          m_texts(texts),
          m_are_copies(are_copies),
          m_begin(begin),
          m_steps(options.progress),
          m_quiet(options.progress) {
        for (const std::string_view label : labels_of(texts)) {
            const auto number = static_cast<std::int32_t>(m_label_numbers.size());
            m_label_numbers.emplace(label, number);
        }
        for (const Tuning_setting& setting : settings) {
            m_engine.push_back(std::make_unique<Engine_settings>());
            std::vector<std::string> words;
            for (const Key_value& each : setting.engine) {
                words.push_back(each.key + "=" + each.value);
            }
            m_engine.back()->set(words);
        }
    }

    // Parts are made before the workers are, so that each has them.
    void add_part(const Tuning_part& part) {
        Part_data data;
        data.roles = roles_of(part);
        for (std::size_t i = 0; i < m_texts.size(); ++i) {
            if (data.roles[i] == Role::kTested) {
                data.labels.push_back(numbers_of(m_texts[i]));
            }
        }
        m_parts.emplace(key_of(part), std::move(data));
    }

    // A worker does not ask for interruptions, since asking draws the progress bar, and only this
    // process knows how far the search is. A signal ends a worker at once.
    void start_workers() {
        if (m_options.jobs > 1) {
            m_pool = std::make_unique<Worker_pool>(
                m_options.jobs,
                [this](std::string_view task) {
                    return bytes_of_outcome(outcome(take_value<Trial>(task)));
                },
                [this] {
                    m_quiet.stop_asking();
                    m_steps = Progress(nullptr);
                });
        }
    }

    bool run(const std::string& round, const std::vector<Trial>& trials,
             const Take& take) override {
        m_steps.set_status(round.c_str());
        m_steps.set_total(trials.size());
        std::size_t taken = 0;
        std::size_t next = 0;
        while (taken < trials.size()) {
            const bool may_begin = next < trials.size() && !is_time_over();
            if (may_begin && m_pool && !m_pool->is_full()) {
                std::string task;
                put_value(trials[next++], task);
                m_pool->give(std::move(task));
            } else if (m_pool && !m_pool->is_empty()) {
                const Worker_pool::Done done = m_pool->take();
                take(taken, done.answer ? outcome_of(*done.answer) : outcome(trials[taken]));
                ++taken;
                m_steps.step();
            } else if (may_begin) {
                take(taken, outcome(trials[next++]));
                ++taken;
                m_steps.step();
            } else {
                return false;
            }
        }
        return true;
    }

    const std::vector<Label_numbers>& labels(const Tuning_part& part) override {
        return m_parts.at(key_of(part)).labels;
    }

private:
    using Key = std::pair<std::size_t, std::size_t>;

    static Key key_of(const Tuning_part& part) { return {part.divisor, part.fold}; }

    bool is_time_over() const {
        return m_options.seconds &&
               std::chrono::duration<double>(Clock::now() - m_begin).count() >= *m_options.seconds;
    }

    Label_numbers numbers_of(const Labelled_text& text) const {
        Label_numbers numbers;
        for (const std::string& label : text.labels) {
            numbers.push_back(m_label_numbers.at(label));
        }
        return numbers;
    }

    // The texts to divide. With the copies, the folds of the last round are those of evaluate --cv.
    // Of a few texts, those that are no copies could all be in one fold. So they are divided
    // without the copies.
    std::vector<std::size_t> texts_to_divide() const {
        constexpr std::ptrdiff_t kFew = 100;
        const bool are_few = std::count(m_are_copies.begin(), m_are_copies.end(), false) < kFew;
        std::vector<std::size_t> texts;
        for (std::size_t i = 0; i < m_texts.size(); ++i) {
            if (!are_few || !m_are_copies[i]) {
                texts.push_back(i);
            }
        }
        return texts;
    }

    Label_lists label_lists_at(const std::vector<std::size_t>& texts) const {
        Label_lists lists;
        for (const std::size_t text : texts) {
            lists.emplace_back(m_texts[text].labels);
        }
        return lists;
    }

    // Both divisions give each label its share.
    std::vector<Role> roles_of(const Tuning_part& part) const {
        const std::vector<std::size_t> all = texts_to_divide();
        const std::vector<std::size_t> share =
            folds_of(label_lists_at(all), part.divisor, m_options.seed);
        std::vector<std::size_t> used;
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (share[i] == 0) {
                used.push_back(all[i]);
            }
        }
        const std::vector<std::size_t> folds =
            folds_of(label_lists_at(used), kTuningFolds, m_options.seed);
        std::vector<Role> roles(m_texts.size(), Role::kUnused);
        for (std::size_t i = 0; i < used.size(); ++i) {
            if (!m_are_copies[used[i]]) {
                roles[used[i]] = folds[i] == part.fold ? Role::kTested : Role::kTrained;
            }
        }
        return roles;
    }

    Trial_outcome outcome(const Trial& trial) {
        const Tuning_setting& setting = m_settings[trial.setting];
        Texts_of_part texts(m_texts, m_parts.at(key_of(trial.part)).roles);
        Cpu_timer timer;
        timer.start();
        Model_options model_options;
        model_options.analysis = setting.analysis;
        model_options.settings = m_engine[trial.setting].get();
        if (setting.group_count != 0) {
            model_options.groups =
                groups_of_labels(texts.to_train, setting.analysis, setting.group_count, &m_quiet);
        }
        Text_model model(model_options);
        model.start(texts.to_train, false, &m_quiet);
        Trial_outcome result;
        for (const Labelled_text& text : texts.to_test) {
            result.answers.push_back(answer_of(text, model));
            m_steps.check_interrupt();
        }
        result.model_size = model.size().entries;
        timer.stop();
        result.cpu_seconds = timer.seconds();
        return result;
    }

    Text_answer answer_of(const Labelled_text& text, Text_model& model) const {
        const bool needs_all = m_options.metric == Tuning_metric::kBrier;
        Ranking ranking = model.rank(text, needs_all ? -1 : 2);
        if (!needs_all && ranking.size() == 2 && is_tied(ranking[0], ranking[1])) {
            ranking = model.rank(text, -1);
        }
        Text_answer answer;
        if (!ranking.empty()) {
            answer.label = m_label_numbers.find(best_label_of(ranking))->second;
        }
        if (needs_all) {
            answer.square_error = square_error_of(text, ranking);
        }
        return answer;
    }

    const Tuning_options& m_options;
    const std::vector<Tuning_setting>& m_settings;
    Texts& m_texts;
    const std::vector<bool>& m_are_copies;  // of each text
    Clock::time_point m_begin;
    Progress m_steps;
    Interruption_only m_quiet;
    std::map<std::string, std::int32_t, std::less<>> m_label_numbers;
    std::vector<std::unique_ptr<Engine_settings>> m_engine;  // of each setting
    std::map<Key, Part_data> m_parts;
    std::unique_ptr<Worker_pool> m_pool;  // null: one process
};

Texts read_texts(const Tuning_options& options, Skipped_lines& skipped) {
    const Waiting_for_input waiting;
    Progress(options.progress).check_interrupt();
    check_read_once(options.data_files);
    if (options.warn && waits_for_typing(options.data_files)) {
        options.warn(typing_note(lines_of_columns(Columns::kText, options.form)));
    }
    std::vector<Texts> files;
    for (const std::string& path : options.data_files) {
        files.push_back(read_labelled_file(path, options.skips_bad_lines ? &skipped : nullptr,
                                           Columns::kText, options.longest_line, options.form));
    }
    std::vector<Named_texts> named;
    for (std::size_t i = 0; i < files.size(); ++i) {
        named.push_back({input_name(options.data_files[i]), files[i]});
    }
    for (const std::string& warning : training_warnings(named)) {
        if (options.warn) {
            options.warn(warning);
        }
    }
    Texts all;
    for (std::size_t i = 0; i < files.size(); ++i) {
        for (Labelled_text& text : files[i]) {
            text.file = i;
            all.push_back(std::move(text));
        }
    }
    return all;
}

// Returns for each text whether an earlier one has the same text and labels. Texts without
// characters are no copies: they have no words that a model could have learned.
std::vector<bool> copies_among(const Texts& texts) {
    std::unordered_map<std::string_view, std::vector<std::vector<std::string>>> labels_of_text;
    std::vector<bool> are_copies;
    for (const Labelled_text& text : texts) {
        std::vector<std::string> labels = text.labels;
        std::sort(labels.begin(), labels.end());
        std::vector<std::vector<std::string>>& seen = labels_of_text[text.text];
        const bool is_known = std::find(seen.begin(), seen.end(), labels) != seen.end();
        are_copies.push_back(is_known && !text.text.empty());
        if (!is_known) {
            seen.push_back(std::move(labels));
        }
    }
    return are_copies;
}

// The texts of a corpus file are analysed already, so there is one analysis.
std::vector<Analysis_settings> possible_analyses(const Tuning_options& options) {
    const std::vector<Analysis_settings> all = analyses_to_try(options.stem_language);
    const bool is_fixed = std::any_of(options.data_files.begin(), options.data_files.end(),
                                      [](const std::string& file) { return is_corpus_file(file); });
    return is_fixed ? std::vector{analysis_of_data(options.data_files, {}, all.front())} : all;
}

Halving_settings halving_settings_of(const std::vector<Tuning_setting>& settings) {
    Halving_settings halving = {settings.size(), order_of_trials(settings)};
    for (std::size_t i = 0; i < settings.size(); ++i) {
        if (!gives_probabilities(settings[i])) {
            halving.without_probabilities.push_back(i);
        }
    }
    return halving;
}

}  // namespace

Tuning tune(const Tuning_options& options) {
    const Clock::time_point begin = Clock::now();
    Tuning result;
    const std::vector<Analysis_settings> analyses = possible_analyses(options);
    Texts texts = read_texts(options, result.skipped);
    const std::vector<bool> are_copies = copies_among(texts);
    result.copies =
        static_cast<std::size_t>(std::count(are_copies.begin(), are_copies.end(), true));
    result.texts = texts.size() - result.copies;
    if (result.texts < kTuningFolds) {
        throw Usage_error(std::string("there are fewer ") +
                          (result.copies == 0 ? "texts (" : "different texts (") +
                          grouped(result.texts) + ") than folds (" + grouped(kTuningFolds) + ")");
    }
    result.labels = labels_of(texts).size();
    result.metric = options.metric;
    result.seed = options.seed;
    result.seconds = options.seconds;
    result.settings = settings_to_try(analyses, result.labels);
    result.rounds = tuning_rounds(result.settings.size(), result.texts, text_bytes(texts));
    Text_trials trials(options, result.settings, texts, are_copies, begin);
    for (const Tuning_round& round : result.rounds) {
        for (std::size_t fold = 0; fold < round.folds; ++fold) {
            trials.add_part({round.divisor, fold});
        }
    }
    trials.start_workers();
    result.search =
        halve(halving_settings_of(result.settings), result.rounds, options.metric, trials);
    return result;
}

}  // namespace zandrel::cli
