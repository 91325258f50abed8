// Containers of a C program.
#include "zandrel/text/Classifier.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zandrel/text/c.h"
#include "zandrel/version.h"

#include "text/c/arguments.h"
#include "text/c/calls.h"
#include "text/c/records.h"
#include "text/c/results.h"

using zandrel::Classifier;
using zandrel::c::can_be_count;
using zandrel::c::guarded;
using zandrel::c::guarded_making;
using zandrel::c::need;
using zandrel::c::need_array;
using zandrel::c::options_of;
using zandrel::c::Owned_labels;
using zandrel::c::Owned_names;
using zandrel::c::Owned_reasons;
using zandrel::c::text_of;
using zandrel::c::view_of;

struct zandrel_classifier {
    explicit zandrel_classifier(Classifier&& opened) : classifier(std::move(opened)) {}

    Classifier classifier;
};

namespace {

const Classifier& opened(const zandrel_classifier* classifier) {
    need(classifier, {"classifier"});
    return classifier->classifier;
}

Classifier& opened(zandrel_classifier* classifier) {
    need(classifier, {"classifier"});
    return classifier->classifier;
}

std::unique_ptr<zandrel_classifier> made(Classifier&& classifier) {
    return std::make_unique<zandrel_classifier>(std::move(classifier));
}

std::vector<zandrel::Text> texts_of(const zandrel_text* texts, std::size_t count) {
    std::vector<zandrel::Text> result;
    result.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        result.push_back(text_of(texts[i], {"texts", nullptr, i}));
    }
    return result;
}

// All results are made before one is given to the caller, so after a failure none is. `labels` may
// be null if there are no lists.
void give_labels(std::vector<std::vector<zandrel::Label>>&& lists, zandrel_labels** labels) {
    std::vector<std::unique_ptr<Owned_labels>> owned;
    owned.reserve(lists.size());
    for (std::vector<zandrel::Label>& list : lists) {
        owned.push_back(std::make_unique<Owned_labels>(std::move(list)));
    }
    for (std::size_t i = 0; labels != nullptr && i < owned.size(); ++i) {
        labels[i] = owned[i].release();
    }
}

}  // namespace

const char* zandrel_version() {
    static const std::array<char, zandrel::kZandrelVersionTextSize> version = [] {
        std::array<char, zandrel::kZandrelVersionTextSize> text = {};
        GetZandrelVersion(text.data());
        return text;
    }();
    return version.data();
}

zandrel_code zandrel_open(const char* path, const zandrel_open_options* options,
                          zandrel_classifier** classifier) {
    return guarded_making(classifier, {"classifier"}, [&] {
        need(path, {"path"});
        return made(Classifier::open(path, options_of(options)));
    });
}

zandrel_code zandrel_train(const zandrel_examples* examples, const zandrel_train_options* options,
                           zandrel_classifier** classifier) {
    return guarded_making(classifier, {"classifier"}, [&] {
        need(examples, {"examples"});
        return made(Classifier::train(examples->values, options_of(options)));
    });
}

zandrel_code zandrel_train_records(zandrel_records* records, const zandrel_train_options* options,
                                   zandrel_classifier** classifier) {
    return guarded_making(classifier, {"classifier"}, [&] {
        need(records, {"records"});
        return made(Classifier::train(records->rest(), options_of(options)));
    });
}

zandrel_code zandrel_learn(zandrel_classifier* classifier, const zandrel_examples* examples,
                           const zandrel_learn_options* options) {
    return guarded([&] {
        Classifier& learner = opened(classifier);
        need(examples, {"examples"});
        learner.learn(examples->values, options_of(options));
    });
}

zandrel_code zandrel_learn_records(zandrel_classifier* classifier, zandrel_records* records,
                                   const zandrel_learn_options* options) {
    return guarded([&] {
        Classifier& learner = opened(classifier);
        need(records, {"records"});
        learner.learn(records->rest(), options_of(options));
    });
}

zandrel_code zandrel_classify(const zandrel_classifier* classifier, const char* text,
                              std::size_t length, const zandrel_classify_options* options,
                              zandrel_labels** labels) {
    return guarded_making(labels, {"labels"}, [&] {
        return std::make_unique<Owned_labels>(
            opened(classifier)
                .classify(zandrel::Text(view_of(text, length, {"text"})), options_of(options)));
    });
}

zandrel_code zandrel_classify_texts(const zandrel_classifier* classifier, const zandrel_text* texts,
                                    std::size_t count, const zandrel_classify_options* options,
                                    zandrel_labels** labels) {
    if (labels != nullptr && can_be_count<zandrel::Text, zandrel_text>(count)) {
        std::fill_n(labels, count, nullptr);
    }
    return guarded([&] {
        need_array<zandrel::Text>(texts, count, {"texts"});
        need_array<zandrel::Text>(labels, count, {"labels"});
        const std::vector<zandrel::Text> converted = texts_of(texts, count);
        give_labels(opened(classifier).classify(std::span(converted), options_of(options)), labels);
    });
}

zandrel_code zandrel_explain(const zandrel_classifier* classifier, const zandrel_text* text,
                             const char* node, zandrel_reasons** reasons) {
    return guarded_making(reasons, {"reasons"}, [&] {
        need(text, {"text"});
        return std::make_unique<Owned_reasons>(
            opened(classifier)
                .explain(text_of(*text, {"text"}), node == nullptr ? std::string_view() : node));
    });
}

zandrel_code zandrel_save(zandrel_classifier* classifier, const char* path) {
    return guarded([&] {
        need(path, {"path"});
        opened(classifier).save(path);
    });
}

zandrel_code zandrel_label_names(const zandrel_classifier* classifier, zandrel_names** names) {
    return guarded_making(names, {"names"}, [&] {
        return std::make_unique<Owned_names>(opened(classifier).labels());
    });
}

zandrel_code zandrel_analysis(const zandrel_classifier* classifier, const char** kind,
                              const char** stem) {
    const char* own_kind = nullptr;
    const char* own_stem = nullptr;
    const zandrel_code code = guarded([&] {
        const zandrel::Analysis& analysis = opened(classifier).analysis();
        own_kind = analysis.kind.c_str();
        own_stem = analysis.stem.c_str();
    });
    if (kind != nullptr) {
        *kind = own_kind;
    }
    if (stem != nullptr) {
        *stem = own_stem;
    }
    return code;
}

zandrel_code zandrel_is_calibrated(const zandrel_classifier* classifier, bool* is_calibrated) {
    if (is_calibrated != nullptr) {
        *is_calibrated = false;
    }
    return guarded([&] {
        need(is_calibrated, {"is_calibrated"});
        *is_calibrated = opened(classifier).is_calibrated();
    });
}

zandrel_code zandrel_close(zandrel_classifier* classifier) {
    return guarded([&] { opened(classifier).close(); });
}

void zandrel_classifier_free(zandrel_classifier* classifier) {
    const std::unique_ptr<zandrel_classifier> owned(classifier);
}
