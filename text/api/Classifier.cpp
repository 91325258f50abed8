// Joins the parts of the text library: a container with its text analysis is a Text_model; this
// file adds locks, errors and values.
//
// A thread takes the lock of the process before the lock of a container.
#include "zandrel/text/Classifier.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/KcIoMode.h"

#include "text/api/Container_lock.h"
#include "text/api/Data_texts.h"
#include "text/api/Frozen_model.h"
#include "text/api/Records_impl.h"
#include "text/api/Reported_progress.h"
#include "text/api/raised_errors.h"
#include "text/confidence/Out_of_fold.h"
#include "text/kc/Cached_kc.h"
#include "text/kc/Kc_damage.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Kept_analysis.h"
#include "text/kc/Kept_choices.h"
#include "text/kc/Kept_confidence.h"
#include "text/kc/Stored_model.h"
#include "text/model/Engine_settings.h"
#include "text/model/Text_model.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

std::unique_ptr<Engine_settings> settings_of(const std::map<std::string, std::string>& given) {
    auto settings = std::make_unique<Engine_settings>();
    for (const auto& [key, value] : given) {
        const std::string problem = setting_problem(key, value);
        if (!problem.empty()) {
            refuse_argument(problem);
        }
        if (key == "PositiveMethod" || key == "GeomAverage") {
            refuse_argument(key +
                            " is a switch of the whole process and no setting of a container");
        }
        settings->set({key + "=" + value});
    }
    return settings;
}

std::string described(const Analysis_settings& analysis) {
    return std::string("its texts were analysed as \"") + name_of(analysis.kind) +
           (analysis.stem_language.empty() ? "\" without a stemmer"
                                           : "\" with the stemmer " + analysis.stem_language);
}

// The analysis of a container that was read. RAISES: Error other_analysis.
Analysis_settings analysis_of_container(const std::string& path, const zeManager& manager,
                                        const std::optional<Analysis>& given) {
    const std::optional<Analysis_settings> kept = kept_analysis(path, manager.m_config);
    if (!kept && !given) {
        throw Error(Error_code::other_analysis,
                    shown_file(path) +
                        ": it does not say how its texts were analysed, and no analysis is given",
                    path);
    }
    if (kept && given && analysis_of(*kept) != *given) {
        throw Error(Error_code::other_analysis, shown_file(path) + ": " + described(*kept), path);
    }
    return kept ? *kept : settings_of(*given);
}

// A container of another program does not say how its texts were analysed. A saved one says it.
void keep_given_analysis(const Analysis_settings& analysis, zeManager& manager) {
    if (!is_cached(manager)) {  // that is never saved, and its file must not change
        keep_analysis(analysis, manager.m_config);
    }
}

// RAISES: Error other_analysis if the texts of a corpus file were analysed in another way.
void check_corpus(const Records::Impl& records, const Analysis_settings& wanted) {
    const std::optional<Analysis_settings> kept = records.analysis();
    if (records.is_corpus() && kept && !is_same(*kept, wanted)) {
        throw Error(Error_code::other_analysis,
                    shown_file(records.path()) + ": " + described(*kept), records.path());
    }
}

// The analysis of a new container.
Analysis_settings analysis_for(const Records::Impl& records, const std::optional<Analysis>& given) {
    const Analysis_settings wanted =
        given ? settings_of(*given) : records.analysis().value_or(settings_of(Analysis()));
    check_corpus(records, wanted);
    return wanted;
}

// The shares of the phases of train and learn: analysing the texts, and the work itself.
const std::vector<double> kTrainingShares = {0.3, 0.7};
const std::vector<double> kOpeningShares = {1.0};
// With a confidence map, learning classifies the texts before the work itself.
const std::vector<double> kRatedLearningShares = {0.25, 0.2, 0.55};
// The model itself, then for each of three folds: analysing, training and classifying.
const std::vector<double> kCalibratingShares = {0.1,  0.24, 0.06, 0.13, 0.03, 0.06,
                                                0.13, 0.03, 0.06, 0.13, 0.03};

Labelled_text message_of(const Text& text) {
    Labelled_text message = {{}, std::string(text.characters)};
    message.pairs = pairs_of_fields(text.fields);
    return message;
}

void check_options(const Classify_options& options) {
    if (!(options.threshold >= 0.0 && options.threshold <= 1.0)) {
        refuse_argument("the threshold is not between 0 and 1");
    }
    if (!(options.reject >= 0.0 && options.reject <= 1.0)) {
        refuse_argument("the least confidence is not between 0 and 1");
    }
}

// RAISES: Error for the first label that the model does not have.
void check_labels(const Data_texts& data, const Text_model& model) {
    for (std::size_t i = 0; i < data.texts.size(); ++i) {
        for (const std::string& label : data.texts[i].labels) {
            if (!model.knows(label)) {
                throw error_at(Error_code::unknown_label, data, i,
                               "unknown label \"" + shown_value(label) + "\"");
            }
        }
    }
}

// RAISES: Error wrong_data for a label that the tree does not allow.
void add_labels(const Data_texts& data, Text_model& model) {
    for (std::size_t i = 0; i < data.texts.size(); ++i) {
        for (const std::string& label : data.texts[i].labels) {
            try {
                if (!model.knows(label)) {
                    model.add_label(label);
                }
            } catch (const qtX<zeLogicalTree>& error) {
                throw error_at(Error_code::wrong_data, data, i,
                               "label \"" + shown_value(label) +
                                   "\" cannot be added: " + shown_complaint(error.what()));
            }
        }
    }
}

// The readings of a container in cached form.

std::vector<Label> labels_of(Text_model& model, const Text& text, const Classify_options& options) {
    Ranking ranking;
    std::optional<double> confidence;
    if (model.confidence()) {
        Rated_ranking rated = model.rank_rated(message_of(text), options.count);
        confidence = model.confidence()->of(rated.scores);
        if (*confidence < options.reject) {
            return {};
        }
        ranking = std::move(rated.ranking);
    } else {
        ranking = model.rank(message_of(text), options.count);
    }
    std::vector<Label> labels;
    for (const Scored_label& each : ranking) {
        if (each.score >= options.threshold) {
            labels.push_back({std::string(each.label), model.path_of(each), each.score,
                              labels.empty() ? confidence : std::nullopt});
        }
    }
    return labels;
}

Reasons reasons_of(Text_model& model, const Text& text, std::string_view node) {
    const Labelled_text message = message_of(text);
    std::string path(node);
    if (node.empty()) {
        const Ranking best = model.rank(message, 1);
        if (best.empty()) {
            return {};
        }
        path = model.path_of(best.front());
    }
    // Null: the best label. It is not looked up, since a label may have a slash.
    zeNode* const found = node.empty() ? nullptr : model.find(path);
    if (found == nullptr && !node.empty()) {
        throw Error(Error_code::not_found, "there is no node \"" + shown_value(node) + "\"");
    }
    const Explanation explanation = model.explain(message, found);
    Reasons reasons = {explanation.label, path, explanation.score, {}};
    for (const Concept_effect& effect : explanation.concepts) {
        reasons.effects.push_back(
            {effect.concept_text, effect.adds, effect.is_known, effect.log_odds_adds});
    }
    return reasons;
}

}  // namespace

// All functions lock what they need, except the constructor.
//
// There are two ways to read. A container in memory is read through its Frozen_model, by any number
// of threads. A container in cached form reads its classifiers from the file when it needs them, so
// its readers need the engine, and take turns.
class Classifier::Impl {
public:
    // `name`: of the file from which the container was read; empty: none.
    // REQUIRES: the lock of the process.
    Impl(std::string name, std::unique_ptr<Engine_settings> settings,
         std::unique_ptr<Text_model> model, bool saves_compact, bool explains)
        : m_name(std::move(name)),
          m_settings(std::move(settings)),
          m_model(std::move(model)),
          m_is_cached(is_cached(*m_model->manager())),
          m_saves_compact(saves_compact),
          m_explains(explains),
          m_analysis(analysis_of(m_model->analysis())),
          m_pool(m_model->analysis()) {
        freeze();
    }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    ~Impl() { close(); }

    template <class Prepare>
    static Classifier train(const Prepare& prepare, const Train_options& options);

    // `read`: returns the data for an analysis.
    template <class Read>
    void learn(const Read& read, const Learn_options& options);

    std::vector<Label> classify(const Text& text, const Classify_options& options);
    Reasons explain(const Text& text, std::string_view node);
    void save(const std::string& path);
    void close();
    std::vector<std::string> labels();

    const Analysis& analysis();
    bool is_calibrated();
    // RAISES: Error closed.
    void check_not_closed();
    // RAISES: what `classify` raises for its options, without a text.
    void check_question(const Classify_options& options);

private:
    // RAISES: Error closed; Error failed after a call of learn that could not be undone.
    void check_open() const;

    // RAISES: Error invalid_argument for a least confidence without a confidence map.
    // REQUIRES: open, and a reader of the container, or the whole container.
    void check_confidence(const Classify_options& options) const;

    // Makes what readers use, after a change.
    void freeze();
    // The work needs the engine and the whole container.
    template <class Work>
    decltype(auto) in_turn(const Work& work);
    // A message about the container, with the name of its file if there is one.
    std::string about(const std::string& message) const;
    // RAISES: Error unsupported.
    void check_can_learn() const;
    void learn_texts(Data_texts& data, const Learn_options& options, CTProgress* progress);
    void restore(qtPtr<qtBuffer>& copy);
    // REQUIRES: the lock of the process and the whole container, not in cached form.
    void prepare_to_explain();

    const std::string m_name;
    Container_lock m_lock;
    std::unique_ptr<Engine_settings> m_settings;  // null: read from a file
    std::unique_ptr<Text_model> m_model;          // null: closed
    std::unique_ptr<Frozen_model> m_frozen;       // of the model; null: in cached form
    const bool m_is_cached;
    const bool m_saves_compact;
    bool m_explains;  // the frozen model has the words that were learned
    const Analysis m_analysis;
    Reader_pool m_pool;
    std::vector<std::string> m_labels;
    bool m_is_map_damaged = false;
    bool m_is_lost = false;  // closed, since a call of learn could not be undone
};

void Classifier::Impl::check_open() const {
    if (m_is_lost) {
        throw Error(
            Error_code::failed,
            about("the container is lost, since a failed call of learn could not be undone"),
            m_name);
    }
    if (m_model == nullptr) {
        throw Error(Error_code::closed, "the classifier is closed");
    }
}

std::string Classifier::Impl::about(const std::string& message) const {
    return m_name.empty() ? message : shown_file(m_name) + ": " + message;
}

void Classifier::Impl::freeze() {
    m_labels = m_model->labels();
    m_is_map_damaged = has_damaged_confidence(m_model->manager()->m_config);
    if (!m_is_cached) {
        m_frozen = std::make_unique<Frozen_model>(*m_model->manager(), m_model->confidence(),
                                                  m_model->has_rules());
        if (m_explains) {
            m_frozen->prepare_to_explain();
        }
    }
}

template <class Work>
decltype(auto) Classifier::Impl::in_turn(const Work& work) {
    const std::scoped_lock turn(engine_mutex());
    const std::scoped_lock alone(m_lock);
    check_open();
    return work();
}

void Classifier::Impl::check_question(const Classify_options& options) {
    check_options(options);
    const Container_lock::Reader reader(m_lock);
    check_open();
    check_confidence(options);
}

std::vector<Label> Classifier::Impl::classify(const Text& text, const Classify_options& options) {
    if (options.count == 0) {
        check_question(options);
        return {};
    }
    check_options(options);
    if (m_is_cached) {
        return in_turn([&] {
            check_confidence(options);
            return work_on_container(m_name, [&] { return labels_of(*m_model, text, options); });
        });
    }
    const Container_lock::Reader reader(m_lock);
    check_open();
    check_confidence(options);
    return m_frozen->classify(text, options, m_pool.at(reader.place()));
}

void Classifier::Impl::check_confidence(const Classify_options& options) const {
    if (options.reject > 0.0 && !m_model->confidence()) {
        refuse_argument(
            about(std::string(m_is_map_damaged ? "the confidence map is damaged"
                                               : "the container has no confidence map") +
                  "; training with the option calibrate makes one"));
    }
}

Reasons Classifier::Impl::explain(const Text& text, std::string_view node) {
    if (m_is_cached) {
        return in_turn([&] {
            return work_on_container(m_name, [&] { return reasons_of(*m_model, text, node); });
        });
    }
    {
        const Container_lock::Reader reader(m_lock);
        check_open();
        if (m_frozen->can_explain()) {
            return m_frozen->explain(text, node, m_pool.at(reader.place()));
        }
    }
    // Explains in the same turn: with many learnings in between, it could begin again and again.
    return in_turn([&] {
        prepare_to_explain();
        return m_frozen->explain(text, node, m_pool.at(0));
    });
}

// The words that were learned are read for the first explanation only, unless the caller asked for
// them, since a service that only classifies does not need them. From then on each learning reads
// them, so that no other explanation has to wait for the lock of the process.
void Classifier::Impl::prepare_to_explain() {
    m_explains = true;
    m_frozen->prepare_to_explain();
}

// The data is read before the locks, since its source can be slow: a pipe, for example.
template <class Read>
void Classifier::Impl::learn(const Read& read, const Learn_options& options) {
    with_progress(options.progress, kTrainingShares, Error_code::damaged,
                  [&](Reported_progress& progress) {
                      {
                          const Container_lock::Reader reader(m_lock);
                          check_open();
                          check_can_learn();
                          if (m_model->confidence()) {
                              progress.use_shares(kRatedLearningShares);
                          }
                      }
                      Data_texts data = read(settings_of(m_analysis), progress);
                      in_turn([&] {
                          if (!options.add_labels) {
                              check_labels(data, *m_model);
                          }
                          learn_texts(data, options, progress.pointer());
                          progress.complete();
                      });
                  });
}

void Classifier::Impl::check_can_learn() const {
    if (m_is_cached) {
        throw Error(Error_code::unsupported,
                    about("a container in cached form is changed in its file, not in memory"),
                    m_name);
    }
    if (m_model->manager()->m_compact || m_saves_compact) {
        throw Error(Error_code::unsupported,
                    about("the container is compact and can only classify"), m_name);
    }
}

// The copy has the bytes that a file of the container would have. It is needed only if the work
// fails, since the engine cannot undo a part of it.
void Classifier::Impl::learn_texts(Data_texts& data, const Learn_options& options,
                                   CTProgress* progress) {
    qtPtr<qtBuffer> copy(new qtBuffer);
    KcIoMode mode;
    m_model->manager()->Write(copy, &mode, nullptr);
    m_frozen.reset();
    try {
        if (options.add_labels) {
            add_labels(data, *m_model);
        }
        const auto work = [&] { m_model->learn_and_empty(data.texts, progress, {}); };
        if (m_name.empty()) {
            work();
        } else {
            work_on_container(m_name, work);
        }
        freeze();
    } catch (...) {
        restore(copy);
        throw;
    }
}

void Classifier::Impl::restore(qtPtr<qtBuffer>& copy) {
    const Analysis_settings analysis = m_model->analysis();
    m_frozen.reset();
    m_model.reset();
    m_is_lost = true;
    m_explains = false;  // the next explanation reads the words: here memory may be short
    try {
        qtPtrLight<zeManager> manager(new zeManager);
        KcIoMode mode;
        manager->Read(copy, &mode, nullptr);
        m_model = std::make_unique<Text_model>(manager, analysis);
        freeze();
        m_is_lost = false;
    } catch (...) {
        m_frozen.reset();
        m_model.reset();  // the first error is the one to report
    }
}

// Readers go on meanwhile: writing does not change what they read.
void Classifier::Impl::save(const std::string& path) {
    const std::scoped_lock turn(engine_mutex());
    const Container_lock::Reader reader(m_lock);
    check_open();
    check_path(path);
    if (m_is_cached) {
        throw Error(Error_code::unsupported,
                    about("a container in cached form is in its file already"), m_name);
    }
    const Kc_lock lock(path);
    check_overwriting(lock.target(), true, "saving");
    write_kc(lock, *m_model->manager(), m_saves_compact, nullptr);
}

void Classifier::Impl::close() {
    const std::scoped_lock turn(engine_mutex());
    const std::scoped_lock alone(m_lock);
    m_frozen.reset();
    m_model.reset();
    m_settings.reset();
    m_pool.clear();
    m_labels.clear();
}

void Classifier::Impl::check_not_closed() {
    const Container_lock::Reader reader(m_lock);
    check_open();
}

// Closing does not delete the analysis, so the reference remains valid.
const Analysis& Classifier::Impl::analysis() {
    check_not_closed();
    return m_analysis;
}

bool Classifier::Impl::is_calibrated() {
    const Container_lock::Reader reader(m_lock);
    check_open();
    return m_model->confidence().has_value();
}

std::vector<std::string> Classifier::Impl::labels() {
    const Container_lock::Reader reader(m_lock);
    check_open();
    return m_labels;
}

namespace {

// REQUIRES: the lock of the process.
std::unique_ptr<Text_model> train_model(Data_texts& data, const Analysis_settings& analysis,
                                        Engine_settings* settings, const Train_options& options,
                                        CTProgress* progress) {
    const Model_options model_options = {analysis, settings, {}, {options.tree, "tree"}};
    auto model = std::make_unique<Text_model>(model_options);
    try {
        if (options.calibrate) {
            model->start(data.texts, false, progress);
            Out_of_fold_options folds;
            folds.progress = progress;
            model->give_confidence(
                Confidence_map::fit(out_of_fold_answers(data.texts, model_options, folds)));
        } else {
            model->start_and_empty(data.texts, false, progress);
        }
    } catch (const Unknown_label& error) {
        throw error_at(Error_code::unknown_label, data, error.index, error.reason);
    }
    keep_analysis(analysis, model->manager()->m_config);
    keep_choices(model->choices(), model->manager()->m_config);
    return model;
}

Records::Impl& impl_of(const std::unique_ptr<Records::Impl>& records) {
    if (records == nullptr) {
        throw Error(Error_code::closed, "the records were moved to another object");
    }
    return *records;
}

}  // namespace

// `prepare`: returns the analysis, and fills the data, before the lock of the process.
template <class Prepare>
Classifier Classifier::Impl::train(const Prepare& prepare, const Train_options& options) {
    return with_progress(
        options.progress, options.calibrate ? kCalibratingShares : kTrainingShares,
        Error_code::wrong_data, [&](Reported_progress& progress) {
            std::unique_ptr<Engine_settings> settings = settings_of(options.settings);
            Data_texts data;
            const Analysis_settings analysis = prepare(data, progress);
            const std::scoped_lock in_turn(engine_mutex());
            auto model = train_model(data, analysis, settings.get(), options, progress.pointer());
            Classifier trained(std::make_unique<Impl>("", std::move(settings), std::move(model),
                                                      options.compact, options.prepare_to_explain));
            progress.complete();
            return trained;
        });
}

Classifier::Classifier(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}

Classifier::Classifier(Classifier&&) noexcept = default;
Classifier& Classifier::operator=(Classifier&&) noexcept = default;
Classifier::~Classifier() = default;

Classifier Classifier::open(const std::string& path, const Open_options& options) {
    return with_progress(
        options.progress, kOpeningShares, Error_code::damaged, [&](Reported_progress& progress) {
            if (options.analysis) {
                static_cast<void>(settings_of(*options.analysis));  // refuses a wrong one
            }
            check_exists(path);
            const std::scoped_lock in_turn(engine_mutex());
            const qtPtrLight<zeManager> manager = read_kc_to_classify(path, progress.pointer());
            check_has_root(path, *manager);
            const Analysis_settings analysis =
                analysis_of_container(path, *manager, options.analysis);
            keep_given_analysis(analysis, *manager);
            auto model = work_on_container(
                path, [&] { return std::make_unique<Text_model>(manager, analysis); });
            Classifier opened(std::make_unique<Impl>(path, nullptr, std::move(model), false,
                                                     options.prepare_to_explain));
            progress.complete();
            return opened;
        });
}

Classifier Classifier::train(std::span<const Example> examples, const Train_options& options) {
    return Impl::train(
        [&](Data_texts& data, const Reported_progress&) {
            data = texts_of(examples);
            return settings_of(options.analysis.value_or(Analysis()));
        },
        options);
}

Classifier Classifier::train(Records& records, const Train_options& options) {
    return Impl::train(
        [&](Data_texts& data, const Reported_progress& progress) {
            Records::Impl& source = impl_of(records.m_impl);
            const Analysis_settings analysis = analysis_for(source, options.analysis);
            data = source.rest(progress);
            return analysis;
        },
        options);
}

void Classifier::learn(std::span<const Example> examples, const Learn_options& options) {
    impl().learn(
        [&](const Analysis_settings&, const Reported_progress&) {
            return with_errors(Error_code::wrong_data, [&] { return texts_of(examples); });
        },
        options);
}

void Classifier::learn(Records& records, const Learn_options& options) {
    impl().learn(
        [&](const Analysis_settings& analysis, const Reported_progress& progress) {
            return with_errors(Error_code::wrong_data, [&] {
                Records::Impl& source = impl_of(records.m_impl);
                check_corpus(source, analysis);
                return source.rest(progress);
            });
        },
        options);
}

std::vector<Label> Classifier::classify(const Text& text, const Classify_options& options) const {
    return with_errors(Error_code::damaged, [&] { return impl().classify(text, options); });
}

std::vector<std::vector<Label>> Classifier::classify(std::span<const Text> texts,
                                                     const Classify_options& options) const {
    return with_errors(Error_code::damaged, [&] {
        impl().check_question(options);  // also if there is no text
        std::vector<std::vector<Label>> answers;
        answers.reserve(texts.size());
        for (const Text& text : texts) {
            answers.push_back(impl().classify(text, options));
        }
        return answers;
    });
}

Reasons Classifier::explain(const Text& text, std::string_view node) const {
    return with_errors(Error_code::damaged, [&] { return impl().explain(text, node); });
}

void Classifier::save(const std::string& path) {
    with_errors(Error_code::damaged, [&] { impl().save(path); });
}

void Classifier::close() {
    with_errors(Error_code::failed, [&] {
        refuse_in_progress();
        if (m_impl != nullptr) {
            m_impl->close();
        }
    });
}

std::vector<std::string> Classifier::labels() const {
    return with_errors(Error_code::failed, [&] { return impl().labels(); });
}

const Analysis& Classifier::analysis() const {
    return with_errors(Error_code::failed, [&]() -> const Analysis& { return impl().analysis(); });
}

bool Classifier::is_calibrated() const {
    return with_errors(Error_code::failed, [&] { return impl().is_calibrated(); });
}

Classifier::Impl& Classifier::impl() const {
    return with_errors(Error_code::failed, [&]() -> Impl& {
        refuse_in_progress();
        if (m_impl == nullptr) {
            throw Error(Error_code::closed, "the classifier was moved to another object");
        }
        return *m_impl;
    });
}

}  // namespace zandrel
