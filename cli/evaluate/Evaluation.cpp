// Reads all data, makes the model, ranks all labels for each text, and computes the figures from
// the rankings.
//
// The figures, for three texts and the labels golf, chess and tax, with the threshold 0.5:
//
//   labels of the text   ranking                   best label     labels >= 0.5
//   golf                 golf 0.9, chess 0.2       golf: right    golf
//   chess                golf 0.9, chess 0.5       golf: wrong    golf, chess
//   golf, tax            tax 0.7                   tax: right     tax
//
// Best label (Metrics):
//   accuracy = right / texts = 2/3
//   F1 of a label = 2 hits / (texts with the label + texts that got it):
//     golf 2*1/(2+2) = 1/2, chess 0/(1+0) = 0, tax 2*1/(1+1) = 1
//   macro F1 = mean over the labels = (1/2 + 0 + 1) / 3 = 1/2
//
// Labels at or above the threshold (Assignments):
//   golf: 1 hit (text 1), 1 miss (text 3), 1 false alarm (text 2); chess: 1 hit; tax: 1 hit
//   precision = hits / (hits + false alarms), recall = hits / (hits + misses)
//   micro, all together: precision 3/4, recall 3/4, F1 = 2*3/(4+4) = 3/4
//   macro, mean over the labels: precision (1/2 + 1 + 1) / 3 = 5/6, recall 5/6, F1 5/6
//
// Calibration of the best labels, each score in one of 15 bins of the width 0.0667:
//   bin 13: 0.9 and 0.9, 1 right: |1.8 - 1| = 0.8; bin 10: 0.7, 1 right: |0.7 - 1| = 0.3
//   ECE = (0.8 + 0.3) / 3 texts = 0.367
//
// Calibration of all 3 * 3 = 9 pairs of text and label; a pair without a score has 0:
//   bin 13: 0.8; bin 10: 0.3; bin 7: 0.5, 1 right: 0.5; bin 3: 0.2, 0 right: 0.2;
//   bin 0: four scores 0, of which text 3 with golf is right: |0 - 1| = 1
//   ECE = (0.8 + 0.3 + 0.5 + 0.2 + 1) / 9 pairs = 0.311
//   Brier score = (0.1^2 + 0.2^2 + 0.9^2 + 0.5^2 + 0.3^2 + 1^2) / 3 texts = 2.2 / 3 = 0.733
#include "cli/evaluate/Evaluation.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <utility>
#include <vector>

#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsg.h"

#include "cli/evaluate/Evaluation_observer.h"
#include "cli/evaluate/Quality.h"
#include "cli/evaluate/Whole_data.h"
#include "cli/process/Interruption.h"
#include "cli/process/Worker_pool.h"
#include "text/data/Data_input.h"
#include "text/data/Data_warnings.h"
#include "text/data/Folds.h"
#include "text/data/Waiting_for_input.h"
#include "text/errors.h"
#include "text/kc/Corpus_analysis.h"
#include "text/kc/Kc_damage.h"
#include "text/kc/Kc_header.h"
#include "text/kc/Stored_model.h"
#include "text/kc/stat_classifiers.h"
#include "text/model/Cpu_timer.h"
#include "text/model/Text_model.h"
#include "text/model/Text_sources.h"
#include "text/model/Tree_warnings.h"
#include "text/model/leave_to_exit.h"
#include "text/suggest/Tree_suggestion.h"

namespace zandrel::cli {

namespace {

using zandrel::detail::Progress;

using Texts = std::vector<Labelled_text>;

// Runs `work` and adds what it costs to the phase.
template <class Work>
void measure(Phase& phase, const Text_model& model, const Work& work) {
    const double analysis_before = model.analysis_seconds();
    Cpu_timer timer;
    timer.start();
    work();
    timer.stop();
    phase.cpu_seconds += timer.seconds();
    phase.analysis_seconds += model.analysis_seconds() - analysis_before;
}

// Few texts, so that their rankings, each with all labels, need little memory; but enough that
// reading the clock before and after a batch costs nothing.
constexpr std::size_t kBatchSize = 256;

// The rankings of the texts of a batch, and their cost.
struct Batch {
    Phase cost;
    std::vector<Ranking> rankings;
    std::vector<Ranking> raw_rankings;  // without likelihood tables; empty if the model has none
};

// Ranks all labels for each text. The cost does not include the rankings without tables.
Batch rank_batch(const Labelled_text* begin, const Labelled_text* end, Text_model& model) {
    Batch batch;
    std::vector<qtPtrLight<zeMsg>> messages;
    measure(batch.cost, model, [&] {
        for (const Labelled_text* text = begin; text != end; ++text) {
            messages.push_back(model.make_message(*text));
            batch.rankings.push_back(model.rank(*messages.back(), -1));
        }
    });
    if (model.uses_tables()) {
        batch.raw_rankings = model.rank_without_tables(messages, -1);
    }
    return batch;
}

// A worker sends its batch as bytes. The worker is a copy of this process, so the tree is at the
// same addresses in both. So we send pointers to nodes instead of labels.

template <class Value>
void put(const Value& value, std::string& bytes) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template <class Value>
Value get(std::string_view& bytes) {
    Value value;
    std::memcpy(&value, bytes.data(), sizeof value);
    bytes.remove_prefix(sizeof value);
    return value;
}

void put_rankings(const std::vector<Ranking>& rankings, std::string& bytes) {
    put(rankings.size(), bytes);
    for (const Ranking& ranking : rankings) {
        put(ranking.size(), bytes);
        for (const Scored_label& entry : ranking) {
            put(entry.node, bytes);
            put(entry.score, bytes);
        }
    }
}

std::vector<Ranking> get_rankings(std::string_view& bytes) {
    std::vector<Ranking> rankings(get<std::size_t>(bytes));
    for (Ranking& ranking : rankings) {
        const auto label_count = get<std::size_t>(bytes);
        ranking.reserve(label_count);
        while (ranking.size() < label_count) {
            zeNode* const node = get<zeNode*>(bytes);
            ranking.push_back({node->m_concept.view(), get<double>(bytes), node});
        }
    }
    return rankings;
}

std::string bytes_of(const Batch& batch) {
    std::string bytes;
    put(batch.cost, bytes);
    put_rankings(batch.rankings, bytes);
    put_rankings(batch.raw_rankings, bytes);
    return bytes;
}

Batch batch_of(std::string_view bytes) {
    Batch batch;
    batch.cost = get<Phase>(bytes);
    batch.rankings = get_rankings(bytes);
    batch.raw_rankings = get_rankings(bytes);
    return batch;
}

// Ranks texts batch by batch, and adds their figures. The cost of the phase includes the ranking,
// not the figures.
class Classification {
public:
    Classification(const Evaluation_options& options, const Texts& texts, Text_model& model,
                   Phase& phase, Quality& quality)
        : m_texts(texts),
          m_model(model),
          m_progress(options.progress),
          m_observer(options.observer),
          m_phase(phase),
          m_quality(quality) {}

    void run(std::size_t jobs) {
        m_progress.set_status("Classifying");
        m_progress.set_total(m_texts.size());
        if (jobs == 1) {
            for (std::size_t begin = 0; begin < m_texts.size(); begin += kBatchSize) {
                add(begin, batch_at(begin));
            }
        } else {
            run_by_workers(jobs);
        }
        if (m_observer != nullptr) {
            m_observer->end_model(m_model);
        }
    }

private:
    // A task is the index of the first text of a batch.
    void run_by_workers(std::size_t jobs) {
        Worker_pool pool(
            jobs,
            [this](std::string_view task) { return bytes_of(batch_at(get<std::size_t>(task))); },
            [this] { reopen_cached(*m_model.manager()); });
        for (std::size_t begin = 0; begin < m_texts.size(); begin += kBatchSize) {
            if (pool.is_full()) {
                take(pool);
            }
            std::string task;
            put(begin, task);
            pool.give(std::move(task));
        }
        while (!pool.is_empty()) {
            take(pool);
        }
    }

    void take(Worker_pool& pool) {
        const Worker_pool::Done done = pool.take();
        std::string_view task = done.task;
        const auto begin = get<std::size_t>(task);
        add(begin, done.answer ? batch_of(*done.answer) : batch_at(begin));
    }

    Batch batch_at(std::size_t begin) const {
        const std::size_t end = std::min(begin + kBatchSize, m_texts.size());
        return rank_batch(m_texts.data() + begin, m_texts.data() + end, m_model);
    }

    void add(std::size_t begin, const Batch& batch) {
        m_phase.cpu_seconds += batch.cost.cpu_seconds;
        m_phase.analysis_seconds += batch.cost.analysis_seconds;
        for (std::size_t i = 0; i < batch.rankings.size(); ++i) {
            add_text(begin + i, batch.rankings[i]);
        }
        for (std::size_t i = 0; i < batch.raw_rankings.size(); ++i) {
            m_quality.add_raw(m_texts[begin + i], batch.raw_rankings[i]);
        }
        m_progress.step(batch.rankings.size());
    }

    void add_text(std::size_t index, const Ranking& ranking) {
        const std::optional<double> confidence;
        m_quality.add(m_texts[index], ranking, confidence);
        if (m_observer != nullptr) {
            m_observer->add({m_texts[index], index, ranking, confidence});
        }
    }

    const Texts& m_texts;
    Text_model& m_model;
    const Progress m_progress;
    Evaluation_observer* m_observer;
    Phase& m_phase;
    Quality& m_quality;
};

void warn_of_tree(const Evaluation_options& options, Text_model& model, const Texts& others) {
    if (!options.warn || options.model.tree.text.empty()) {
        return;
    }
    for (const std::string& warning : tree_warnings(model, others)) {
        options.warn(warning);
    }
}

// The cost of the training includes that of a search for groups.
std::unique_ptr<Text_model> trained_model(const Evaluation_options& options, Texts& texts,
                                          Evaluation& result) {
    result.training = {texts.size(), text_bytes(texts)};
    Cpu_timer timer;
    timer.start();
    auto model = std::make_unique<Text_model>(with_suggested_groups(
        options.model, texts, options.bootstraps, options.progress, options.warn));
    timer.stop();
    result.training->cpu_seconds = timer.seconds();
    Text_sources(training_names(options), texts).locate_errors([&] {
        measure(*result.training, *model,
                [&] { model->start(texts, options.bootstraps, options.progress); });
    });
    result.blocked_texts = model->blocked_texts();
    return model;
}

// Nothing that is learned here may get into the file, so no classifier can leave the memory.
// RAISES: Usage_error if a bound is given.
Cache_bound bound_to_learn(const Evaluation_options& options) {
    if (options.bound.given) {
        throw Usage_error("--cached is not possible with --learn, which keeps all in memory");
    }
    return form_of(options.kc_file) == Kc_form::kCached
               ? Cache_bound{std::numeric_limits<unsigned int>::max()}
               : Cache_bound();
}

std::unique_ptr<Text_model> loaded_model(const Evaluation_options& options, Evaluation& result) {
    Cpu_timer timer;
    timer.start();
    std::unique_ptr<Text_model> model =
        options.learn_file ? read_model(options.kc_file, options.analysis, options.progress,
                                        bound_to_learn(options))
                           : read_model_to_classify(options.kc_file, options.analysis,
                                                    options.progress, options.bound);
    timer.stop();
    if (options.learn_file) {
        check_can_learn(options.kc_file, *model);
        if (is_cached(*model->manager())) {
            work_on_container(options.kc_file, [&] {
                for_each_stat_classifier(*model->manager(), [](const Stat_classifier&) {});
            });
        }
    }
    result.loading = {std::filesystem::file_size(options.kc_file), timer.seconds()};
    return model;
}

// Measures the quality of the model, as of now.
void measure_quality(const Evaluation_options& options, const Texts& texts, Text_model& model,
                     Quality* all, Evaluation& result) {
    const std::vector<std::string> labels = model.labels();
    result.trained_labels = labels.size();
    result.classifying = {texts.size(), text_bytes(texts)};
    Quality quality(options.threshold, labels, all);
    Classification(options, texts, model, result.classifying, quality).run(options.jobs);
    quality.put_into(result);
}

struct Divided_data {
    Texts to_train;  // empty if the model is read from its file
    Texts to_classify;
    Texts to_learn;
};

// RAISES: Data_error if no text is held out, or all are.
Divided_data divided_data(const Evaluation_options& options, Skipped_lines* skipped) {
    Whole_data whole = read_whole_data(options, skipped);
    const std::vector<bool> held_out = held_out_texts(whole.name, label_lists_of(whole.texts),
                                                      options.held_out_share, options.seed);
    if (options.warn) {
        for (const std::string& warning : held_out_warnings({whole.name, whole.texts}, held_out)) {
            options.warn(warning);
        }
    }
    Divided_data data;
    for (std::size_t i = 0; i < whole.texts.size(); ++i) {
        (held_out[i] ? data.to_classify : data.to_train).push_back(std::move(whole.texts[i]));
    }
    return data;
}

Divided_data read_divided_data(const Evaluation_options& options, Skipped_lines* skipped) {
    const Waiting_for_input waiting;
    Progress(options.progress).check_interrupt();
    check_input(options);
    Divided_data data;
    if (!options.data_files.empty()) {
        data = divided_data(options, skipped);
    } else if (options.kc_file.empty()) {
        data.to_train =
            read_labelled_file(options.train_file, skipped, training_columns(options.bootstraps),
                               options.longest_line, options.form);
    }
    if (options.data_files.empty()) {
        data.to_classify = read_labelled_file(options.test_file, skipped, Columns::kText,
                                              options.longest_line, options.form);
    }
    if (options.learn_file) {
        data.to_learn = read_labelled_file(*options.learn_file, skipped, Columns::kText,
                                           options.longest_line, options.form);
    }
    return data;
}

void warn_of_data(const Evaluation_options& options, const Divided_data& data,
                  const std::vector<std::string>& known_labels) {
    if (!options.warn || !options.data_files.empty()) {  // read_whole_data has warned
        return;
    }
    const Named_texts test = {input_name(options.test_file), data.to_classify};
    for (const std::string& warning :
         options.kc_file.empty()
             ? evaluation_warnings({input_name(options.train_file), data.to_train}, test)
             : evaluation_warnings(known_labels, test)) {
        options.warn(warning);
    }
}

// The warnings need the labels of the model. For a trained model these are the labels of its data,
// so we can warn before the training.
std::unique_ptr<Text_model> model_of(const Evaluation_options& options, Divided_data& data,
                                     Evaluation& result) {
    if (options.kc_file.empty()) {
        warn_of_data(options, data, {});
        std::unique_ptr<Text_model> model = trained_model(options, data.to_train, result);
        warn_of_blocked(options, data.to_train, result.blocked_texts);
        const Texts none;  // a leaf that a text held out would reach is used
        warn_of_tree(options, *model, options.data_files.empty() ? none : data.to_classify);
        return model;
    }
    std::unique_ptr<Text_model> model = loaded_model(options, result);
    check_analysis(data.to_classify, options.kc_file, model->analysis(), options.analysis);
    check_analysis(data.to_learn, options.kc_file, model->analysis(), options.analysis);
    warn_of_data(options, data, model->labels());
    return model;
}

}  // namespace

std::vector<std::string> training_names(const Evaluation_options& options) {
    if (options.data_files.empty()) {
        return {input_name(options.train_file)};
    }
    std::vector<std::string> names;
    for (const std::string& file : options.data_files) {
        names.push_back(input_name(file));
    }
    return names;
}

void warn_of_blocked(const Evaluation_options& options, const Texts& texts,
                     const std::vector<std::size_t>& blocked) {
    const std::string warning =
        blocked_texts_warning(Text_sources(training_names(options), texts), blocked);
    if (options.warn && !warning.empty()) {
        options.warn(warning);
    }
}

std::size_t peak_memory_bytes() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::size_t>(usage.ru_maxrss) * 1024;  // Linux counts in KiB.
}

Evaluation evaluate_texts(const Evaluation_options& options, Texts& to_train,
                          const Texts& to_classify, Quality* all) {
    Evaluation result;
    const std::unique_ptr<Text_model> model = trained_model(options, to_train, result);
    warn_of_tree(options, *model, to_classify);
    measure_quality(options, to_classify, *model, all, result);
    return result;
}

Evaluation evaluate(const Evaluation_options& options) {
    Evaluation result;
    Skipped_lines* const skipped = options.skips_bad_lines ? &result.skipped : nullptr;
    Divided_data data = read_divided_data(options, skipped);
    Progress(options.progress).check_interrupt();
    const std::unique_ptr<Text_model> made = model_of(options, data, result);
    Text_model& model = *made;
    measure_quality(options, data.to_classify, model, nullptr, result);
    if (!data.to_learn.empty()) {
        const Text_sources learned({input_name(*options.learn_file)}, data.to_learn);
        learned.locate_errors([&] {
            result.learning = learn_in_bulks(data.to_learn, options.bulk_size, data.to_classify,
                                             model, options.progress);
        });
    }
    if (options.text_to_explain) {
        result.explanation = model.explain(*options.text_to_explain);
    }
    leave_to_exit(model.manager());
    result.peak_memory_bytes = peak_memory_bytes();
    return result;
}

}  // namespace zandrel::cli
