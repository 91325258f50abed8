// The C interface of the text library, compared with the C++ classes.
#include "zandrel/text/c.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/qtTimeDate.h"
#include "zandrel/persistence/zeConfig.h"
#include "zandrel/text/Classifier.h"
#include "zandrel/version.h"

#include "tests/cli/scratch_folder.h"
#include "tests/support/failing_new.h"
#include "text/c/arguments.h"
#include "text/kc/Kc_lock.h"

namespace {

using testing::_;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;

using Classifier = std::unique_ptr<zandrel_classifier, void (*)(zandrel_classifier*)>;
using Examples = std::unique_ptr<zandrel_examples, void (*)(zandrel_examples*)>;
using Records = std::unique_ptr<zandrel_records, void (*)(zandrel_records*)>;
using Labels = std::unique_ptr<zandrel_labels, void (*)(zandrel_labels*)>;
using Reasons = std::unique_ptr<zandrel_reasons, void (*)(zandrel_reasons*)>;
using Names = std::unique_ptr<zandrel_names, void (*)(zandrel_names*)>;

zandrel_string string_of(std::string_view text) {
    return {text.data(), text.size()};
}

zandrel_text text_of(std::string_view characters) {
    return {characters.data(), characters.size(), nullptr, 0};
}

zandrel_code add(zandrel_examples* examples, std::string_view label, std::string_view text) {
    const zandrel_string labels = string_of(label);
    const zandrel_example example = {&labels, 1, text_of(text)};
    return zandrel_examples_add(examples, &example);
}

Examples examples_of(const std::vector<std::pair<std::string, std::string>>& texts) {
    zandrel_examples* examples = nullptr;
    EXPECT_EQ(zandrel_examples_new(&examples), ZANDREL_OK);
    for (const auto& [label, text] : texts) {
        EXPECT_EQ(add(examples, label, text), ZANDREL_OK);
    }
    return {examples, zandrel_examples_free};
}

Examples two_topics() {
    return examples_of({{"food", "bread soup butter"},
                        {"sport", "goal match team"},
                        {"food", "bread salt lemon"},
                        {"sport", "goal keeper team"}});
}

Classifier trained(const zandrel_train_options* options = nullptr,
                   const Examples& examples = two_topics()) {
    zandrel_classifier* classifier = nullptr;
    EXPECT_EQ(zandrel_train(examples.get(), options, &classifier), ZANDREL_OK)
        << zandrel_last_error()->message;
    return {classifier, zandrel_classifier_free};
}

Classifier opened(const std::string& path) {
    zandrel_classifier* classifier = nullptr;
    EXPECT_EQ(zandrel_open(path.c_str(), nullptr, &classifier), ZANDREL_OK)
        << zandrel_last_error()->message;
    return {classifier, zandrel_classifier_free};
}

Labels classified(const Classifier& classifier, std::string_view text,
                  const zandrel_classify_options* options = nullptr) {
    zandrel_labels* labels = nullptr;
    EXPECT_EQ(zandrel_classify(classifier.get(), text.data(), text.size(), options, &labels),
              ZANDREL_OK)
        << zandrel_last_error()->message;
    return {labels, zandrel_labels_free};
}

Reasons explained(const Classifier& classifier, std::string_view characters,
                  const char* node = nullptr) {
    zandrel_reasons* reasons = nullptr;
    const zandrel_text text = text_of(characters);
    EXPECT_EQ(zandrel_explain(classifier.get(), &text, node, &reasons), ZANDREL_OK);
    return {reasons, zandrel_reasons_free};
}

std::vector<std::string> names_of(const Classifier& classifier) {
    zandrel_names* names = nullptr;
    EXPECT_EQ(zandrel_label_names(classifier.get(), &names), ZANDREL_OK);
    const Names owned(names, zandrel_names_free);
    std::vector<std::string> result;
    for (std::size_t i = 0; names != nullptr && i < names->count; ++i) {
        EXPECT_EQ(names->items[i].data[names->items[i].length], '\0');
        result.emplace_back(names->items[i].data, names->items[i].length);
    }
    return result;
}

zandrel_classify_options count_options(int count, double threshold = 0.0) {
    return {sizeof(zandrel_classify_options), count, threshold, 0.0};
}

// The failure must be the last one of this thread.
void expect_failure(zandrel_code code, zandrel_code expected, const std::string& message,
                    const std::string& file = "", std::size_t line = 0) {
    EXPECT_EQ(code, expected) << message;
    const zandrel_error* const error = zandrel_last_error();
    EXPECT_EQ(error->code, expected);
    EXPECT_EQ(error->message, message);
    EXPECT_EQ(error->file, file);
    EXPECT_EQ(error->line, line);
}

void expect_refused(zandrel_code code, const std::string& message) {
    expect_failure(code, ZANDREL_INVALID_ARGUMENT, message);
}

void expect_labels(const zandrel_labels& labels, const std::vector<zandrel::Label>& expected) {
    ASSERT_EQ(labels.count, expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const zandrel_label& label = *labels.items[i];
        EXPECT_EQ(std::string(label.name, label.name_length), expected[i].name);
        EXPECT_EQ(std::string(label.path, label.path_length), expected[i].path);
        EXPECT_EQ(label.name[label.name_length], '\0');
        EXPECT_EQ(label.path[label.path_length], '\0');
        EXPECT_EQ(label.score, expected[i].score);
        EXPECT_EQ(label.confidence, expected[i].confidence.value_or(-1.0));
    }
}

// A file with the container of two_topics().
class CTest : public testing::Test {
protected:
    // A container says when it was written, and the second in which it was made decides about its
    // number. With a clock that does not move, equal containers have equal bytes.
    CTest()
        : clock_before(zandrel::set_clock([] { return std::int64_t(1'000'000); })),
          seed_before(zandrel::set_config_seed([] { return 1U; })) {
        const Classifier classifier = trained();
        EXPECT_EQ(zandrel_save(classifier.get(), path.c_str()), ZANDREL_OK);
    }

    ~CTest() override {
        zandrel::set_config_seed(seed_before);
        zandrel::set_clock(clock_before);
    }

    void expect_open_fails(const std::string& name, zandrel_code code,
                           const std::string& message) const {
        zandrel_classifier* classifier = reinterpret_cast<zandrel_classifier*>(1);
        EXPECT_EQ(zandrel_open(name.c_str(), nullptr, &classifier), code) << name;
        EXPECT_EQ(classifier, nullptr);
        EXPECT_EQ(zandrel_last_error()->code, code);
        EXPECT_THAT(zandrel_last_error()->message, HasSubstr(message));
        EXPECT_EQ(zandrel_last_error()->file, name);
    }

    zandrel::qtClock clock_before;
    zandrel::Config_seed seed_before;
    zandrel::cli::Scratch_folder folder;
    std::string path = folder.file("topics.kc");
};

// --- Version, codes, errors ---

TEST_F(CTest, VersionIsThatOfTheEngine) {
    std::string expected;
    for (const int number : zandrel::kZandrelVersion) {
        expected += (expected.empty() ? "" : ".") + std::to_string(number);
    }
    EXPECT_EQ(zandrel_version(), expected);
}

TEST_F(CTest, EachCodeHasAName) {
    std::vector<std::string> names;
    for (int code = -1; code <= 16; ++code) {
        names.emplace_back(zandrel_code_name(code));
    }
    EXPECT_THAT(names, ElementsAre("failed", "ok", "invalid_argument", "not_found", "cannot_read",
                                   "cannot_write", "not_a_container", "damaged", "other_analysis",
                                   "unknown_label", "wrong_data", "busy", "interrupted",
                                   "unsupported", "out_of_memory", "closed", "failed", "failed"));
}

TEST_F(CTest, ThreadWithoutFailureHasNoLastError) {
    EXPECT_EQ(zandrel_open(nullptr, nullptr, nullptr), ZANDREL_INVALID_ARGUMENT);
    std::thread([] {
        EXPECT_EQ(zandrel_last_error()->code, ZANDREL_OK);
        EXPECT_STREQ(zandrel_last_error()->message, "");
        EXPECT_STREQ(zandrel_last_error()->file, "");
        EXPECT_EQ(zandrel_last_error()->line, 0U);
        EXPECT_EQ(zandrel_close(nullptr), ZANDREL_INVALID_ARGUMENT);
    }).join();
    EXPECT_STREQ(zandrel_last_error()->message, "argument classifier is NULL");
    const zandrel_error* const before = zandrel_last_error();
    EXPECT_EQ(zandrel_save(opened(path).get(), nullptr), ZANDREL_INVALID_ARGUMENT);
    EXPECT_EQ(zandrel_last_error(), before);
    EXPECT_STREQ(zandrel_last_error()->message, "argument path is NULL");
}

TEST_F(CTest, SuccessKeepsLastError) {
    EXPECT_EQ(zandrel_open("", nullptr, nullptr), ZANDREL_INVALID_ARGUMENT);
    const Classifier classifier = opened(path);
    expect_refused(zandrel_last_error()->code, "argument classifier is NULL");
}

// --- Wrong arguments ---

TEST_F(CTest, NullIsRefused) {
    const Classifier classifier = opened(path);
    const Examples examples = two_topics();
    zandrel_classifier* made = nullptr;
    zandrel_labels* labels = nullptr;
    zandrel_reasons* reasons = nullptr;
    zandrel_names* names = nullptr;
    zandrel_records* records = nullptr;
    const zandrel_example* record = nullptr;
    const zandrel_text text = text_of("bread");
    const zandrel_string label = string_of("food");
    const zandrel_example example = {&label, 1, text};

    expect_refused(zandrel_open(nullptr, nullptr, &made), "argument path is NULL");
    expect_refused(zandrel_open("x", nullptr, nullptr), "argument classifier is NULL");
    expect_refused(zandrel_train(nullptr, nullptr, &made), "argument examples is NULL");
    expect_refused(zandrel_train(examples.get(), nullptr, nullptr), "argument classifier is NULL");
    expect_refused(zandrel_train_records(nullptr, nullptr, &made), "argument records is NULL");
    expect_refused(zandrel_train_records(nullptr, nullptr, nullptr), "argument classifier is NULL");
    expect_refused(zandrel_learn(nullptr, examples.get(), nullptr), "argument classifier is NULL");
    expect_refused(zandrel_learn(classifier.get(), nullptr, nullptr), "argument examples is NULL");
    expect_refused(zandrel_learn_records(nullptr, nullptr, nullptr), "argument classifier is NULL");
    expect_refused(zandrel_learn_records(classifier.get(), nullptr, nullptr),
                   "argument records is NULL");
    expect_refused(zandrel_classify(nullptr, "x", 1, nullptr, &labels),
                   "argument classifier is NULL");
    expect_refused(zandrel_classify(classifier.get(), nullptr, 1, nullptr, &labels),
                   "argument text is NULL");
    expect_refused(zandrel_classify(classifier.get(), nullptr, ZANDREL_TO_ZERO, nullptr, &labels),
                   "argument text is NULL");
    expect_refused(zandrel_classify(classifier.get(), "x", 1, nullptr, nullptr),
                   "argument labels is NULL");
    expect_refused(zandrel_classify_texts(nullptr, &text, 1, nullptr, &labels),
                   "argument classifier is NULL");
    expect_refused(zandrel_classify_texts(classifier.get(), nullptr, 1, nullptr, &labels),
                   "argument texts is NULL");
    expect_refused(zandrel_classify_texts(classifier.get(), &text, 1, nullptr, nullptr),
                   "argument labels is NULL");
    expect_refused(zandrel_explain(nullptr, &text, nullptr, &reasons),
                   "argument classifier is NULL");
    expect_refused(zandrel_explain(classifier.get(), nullptr, nullptr, &reasons),
                   "argument text is NULL");
    expect_refused(zandrel_explain(classifier.get(), &text, nullptr, nullptr),
                   "argument reasons is NULL");
    expect_refused(zandrel_save(nullptr, "x"), "argument classifier is NULL");
    expect_refused(zandrel_save(classifier.get(), nullptr), "argument path is NULL");
    expect_refused(zandrel_label_names(nullptr, &names), "argument classifier is NULL");
    expect_refused(zandrel_label_names(classifier.get(), nullptr), "argument names is NULL");
    expect_refused(zandrel_analysis(nullptr, nullptr, nullptr), "argument classifier is NULL");
    expect_refused(zandrel_close(nullptr), "argument classifier is NULL");
    expect_refused(zandrel_examples_new(nullptr), "argument examples is NULL");
    expect_refused(zandrel_examples_add(nullptr, &example), "argument examples is NULL");
    expect_refused(zandrel_examples_add(examples.get(), nullptr), "argument example is NULL");
    expect_refused(zandrel_records_open(nullptr, nullptr, &records), "argument path is NULL");
    expect_refused(zandrel_records_open("x", nullptr, nullptr), "argument records is NULL");
    expect_refused(zandrel_records_next(nullptr, &record), "argument records is NULL");
    expect_refused(zandrel_records_next(nullptr, nullptr), "argument record is NULL");

    zandrel_classifier_free(nullptr);
    zandrel_labels_free(nullptr);
    zandrel_reasons_free(nullptr);
    zandrel_names_free(nullptr);
    zandrel_examples_free(nullptr);
    zandrel_records_free(nullptr);
}

TEST_F(CTest, NullInsideAnArgumentIsRefusedWithItsPlace) {
    const Classifier classifier = opened(path);
    const Examples examples = two_topics();
    zandrel_labels* labels[2] = {};
    const zandrel_field fields[] = {{string_of("a"), string_of("b"), ZANDREL_STRING},
                                    {{nullptr, 2}, string_of("b"), ZANDREL_STRING}};
    zandrel_text texts[] = {text_of("bread"), {nullptr, 4, nullptr, 0}};
    const auto classify = [&] {
        return zandrel_classify_texts(classifier.get(), texts, 2, nullptr, labels);
    };

    expect_refused(classify(), "argument texts[1].characters is NULL");
    texts[1] = {"x", 1, nullptr, 3};
    expect_refused(classify(), "argument texts[1].fields is NULL");
    texts[1] = {"x", 1, fields, 2};
    expect_refused(classify(), "argument texts[1].fields[1].name is NULL");
    texts[1] = {"x", std::numeric_limits<std::size_t>::max() - 1, nullptr, 0};
    expect_refused(classify(), "argument texts[1].characters is longer than any string can be");
    for (const int type : {-1, 4}) {
        const zandrel_field wrong = {string_of("a"), string_of("b"), type};
        texts[1] = {"x", 1, &wrong, 1};
        expect_refused(classify(), "argument texts[1].fields[0].type is not a type of fields");
    }

    const zandrel_string missing = {nullptr, ZANDREL_TO_ZERO};
    const zandrel_example without_label = {&missing, 0, text_of("x")};
    const zandrel_example without_name = {&missing, 1, text_of("x")};
    const zandrel_example without_labels = {nullptr, 1, text_of("x")};
    expect_refused(zandrel_examples_add(examples.get(), &without_label),
                   "argument example has no label");
    expect_refused(zandrel_examples_add(examples.get(), &without_name),
                   "argument example.labels[0] is NULL");
    expect_refused(zandrel_examples_add(examples.get(), &without_labels),
                   "argument example.labels is NULL");

    zandrel_classifier* made = nullptr;
    const zandrel_setting settings[] = {{"ClipValue", "2"}, {nullptr, "2"}};
    zandrel_train_options options = {};
    options.size = sizeof options;
    options.setting_count = 2;
    expect_refused(zandrel_train(examples.get(), &options, &made),
                   "argument options.settings is NULL");
    options.settings = settings;
    expect_refused(zandrel_train(examples.get(), &options, &made),
                   "argument options.settings[1].name is NULL");
    const zandrel_setting without_value[] = {{"ClipValue", "2"}, {"ClipValue", nullptr}};
    options.settings = without_value;
    expect_refused(zandrel_train(examples.get(), &options, &made),
                   "argument options.settings[1].value is NULL");
    const zandrel_setting twice[] = {{"ClipValue", "2"}, {"ClipValue", "3"}};
    options.settings = twice;
    expect_refused(zandrel_train(examples.get(), &options, &made),
                   "argument options.settings[1].name is given twice");

    zandrel_records* records = nullptr;
    const char* const columns[] = {"2", nullptr};
    zandrel_record_form form = {};
    form.size = sizeof form;
    form.text_column_count = 2;
    expect_refused(zandrel_records_open("x", &form, &records),
                   "argument form.text_columns is NULL");
    form.text_columns = columns;
    expect_refused(zandrel_records_open("x", &form, &records),
                   "argument form.text_columns[1] is NULL");
}

// Checks a count that no array can have, with a pointer that must not be read.
TEST_F(CTest, CountThatIsTooLargeIsRefused) {
    const std::string reason = " has more elements than any array can have";
    const Classifier classifier = opened(path);
    const Examples examples = two_topics();
    for (const std::size_t count : {std::numeric_limits<std::size_t>::max(),
                                    std::size_t(PTRDIFF_MAX), std::size_t(PTRDIFF_MAX) / 31}) {
        zandrel_labels* labels = nullptr;
        const zandrel_text text = text_of("bread");
        expect_refused(zandrel_classify_texts(classifier.get(), &text, count, nullptr, &labels),
                       "argument texts" + reason);
        const zandrel_field field = {string_of("a"), string_of("b"), ZANDREL_STRING};
        const zandrel_text with_fields = {"x", 1, &field, count};
        expect_refused(zandrel_classify_texts(classifier.get(), &with_fields, 1, nullptr, &labels),
                       "argument texts[0].fields" + reason);
        const zandrel_string label = string_of("food");
        const zandrel_example example = {&label, count, text_of("x")};
        expect_refused(zandrel_examples_add(examples.get(), &example),
                       "argument example.labels" + reason);

        const char* const columns[] = {"1"};
        zandrel_records* records = nullptr;
        zandrel_record_form form = {};
        form.size = sizeof form;
        form.text_columns = columns;
        form.text_column_count = count;
        expect_refused(zandrel_records_open("x", &form, &records),
                       "argument form.text_columns" + reason);
        form.text_column_count = 0;
        form.label_columns = columns;
        form.label_column_count = count;
        expect_refused(zandrel_records_open("x", &form, &records),
                       "argument form.label_columns" + reason);
        form.label_column_count = 0;
        form.field_columns = columns;
        form.field_column_count = count;
        expect_refused(zandrel_records_open("x", &form, &records),
                       "argument form.field_columns" + reason);
    }
    const zandrel_setting setting = {"ClipValue", "2"};
    zandrel_train_options options = {};
    options.size = sizeof options;
    options.settings = &setting;
    options.setting_count = std::numeric_limits<std::size_t>::max();
    zandrel_classifier* made = nullptr;
    expect_refused(zandrel_train(examples.get(), &options, &made),
                   "argument options.settings" + reason);
}

// The start is a struct of this version, the rest are members of a later one.
struct Later_options {
    zandrel_classify_options known;
    char later[16];
};

TEST_F(CTest, OptionsOfAnotherSizeAreRefusedUnlessTheRestIsZero) {
    const Classifier classifier = opened(path);
    zandrel_labels* labels = nullptr;
    const auto classify = [&](const zandrel_classify_options& options) {
        return zandrel_classify(classifier.get(), "goal bread", ZANDREL_TO_ZERO, &options, &labels);
    };
    const std::string size_text =
        "argument options has a wrong size; set its member size to sizeof the struct";

    expect_refused(classify({0, 1, 0.0, 0.0}), size_text);
    const std::size_t first_size = offsetof(zandrel_classify_options, reject);
    expect_refused(classify({first_size - 1, 1, 0.0, 0.0}), size_text);
    expect_refused(classify({4097, 1, 0.0, 0.0}), size_text);
    expect_refused(classify({std::numeric_limits<std::size_t>::max(), 1, 0.0, 0.0}), size_text);

    // A caller with the first header has no member `reject`, and the bytes behind are its own.
    EXPECT_EQ(classify({first_size, 1, 0.0, 7.0}), ZANDREL_OK);
    zandrel_labels_free(labels);

    Later_options later = {{sizeof(Later_options), 2, 0.0, 0.0}, {}};
    EXPECT_EQ(classify(later.known), ZANDREL_OK);
    ASSERT_NE(labels, nullptr);
    EXPECT_EQ(labels->count, 2U);
    zandrel_labels_free(labels);
    later.later[15] = 1;
    expect_refused(classify(later.known),
                   "argument options has members that this version of the library does not know");
    EXPECT_EQ(labels, nullptr);

    zandrel_classifier* made = nullptr;
    zandrel_records* records = nullptr;
    const zandrel_open_options open_options = {};
    const zandrel_train_options train_options = {};
    const zandrel_learn_options learn_options = {};
    const zandrel_record_form form = {};
    const Examples examples = two_topics();
    expect_refused(zandrel_open(path.c_str(), &open_options, &made), size_text);
    expect_refused(zandrel_train(examples.get(), &train_options, &made), size_text);
    expect_refused(zandrel_learn(classifier.get(), examples.get(), &learn_options), size_text);
    expect_refused(zandrel_records_open("x", &form, &records),
                   "argument form has a wrong size; set its member size to sizeof the struct");
}

// The options of three versions of a library: each one has a further member.
struct First_options {
    std::size_t size;
    double share;
};

struct Second_options {
    First_options first;
    double weight;
};

struct Third_options {
    Second_options second;
    double limit;
};

TEST_F(CTest, OptionsOfAnEarlierVersionHaveTheDefaultOfNewMembers) {
    const auto read = [](const auto& given) {
        Second_options known = {};
        zandrel::c::copy_options(&given, &known, sizeof known, sizeof(First_options), "options");
        return known;
    };
    const auto message_of = [&](const auto& given) {
        try {
            read(given);
        } catch (const zandrel::Error& error) {
            EXPECT_EQ(error.code(), zandrel::Error_code::invalid_argument);
            return std::string(error.what());
        }
        return std::string();
    };
    const First_options first = {sizeof first, 1.5};
    EXPECT_EQ(read(first).first.size, sizeof(First_options));
    EXPECT_EQ(read(first).first.share, 1.5);
    EXPECT_EQ(read(first).weight, 0.0);
    const Second_options second = {{sizeof second, 1.5}, 2.5};
    EXPECT_EQ(read(second).first.share, 1.5);
    EXPECT_EQ(read(second).weight, 2.5);
    Third_options third = {{{sizeof third, 1.5}, 2.5}, 0.0};
    EXPECT_EQ(read(third).weight, 2.5);
    third.limit = 3.5;
    EXPECT_EQ(message_of(third),
              "argument options has members that this version of the library does not know");
    EXPECT_EQ(message_of(First_options{sizeof(First_options) - 1, 1.5}),
              "argument options has a wrong size; set its member size to sizeof the struct");
}

// A member that a later version adds behind such padding would lie inside the first size.
template <class Options, class Member>
constexpr bool ends_with(Member Options::*, std::size_t offset) {
    return offset + sizeof(Member) == sizeof(Options);
}

static_assert(ends_with(&zandrel_open_options::prepare_to_explain,
                        offsetof(zandrel_open_options, prepare_to_explain)));
static_assert(ends_with(&zandrel_train_options::calibrate,
                        offsetof(zandrel_train_options, calibrate)));
static_assert(ends_with(&zandrel_learn_options::user_data,
                        offsetof(zandrel_learn_options, user_data)));
static_assert(ends_with(&zandrel_classify_options::reject,
                        offsetof(zandrel_classify_options, reject)));
static_assert(ends_with(&zandrel_record_form::has_no_labels,
                        offsetof(zandrel_record_form, has_no_labels)));

// --- Classify and explain ---

TEST_F(CTest, LabelsEqualThoseOfTheClass) {
    const Classifier classifier = opened(path);
    const auto other = zandrel::Classifier::open(path);
    const std::string_view texts[] = {
        "bread and goal", "team keeper salt", "unknown", "", std::string_view("goal\0bread", 10),
        "caf\xE9 goal"};
    for (const std::string_view text : texts) {
        for (const int count : {-1, 1, 2, 7}) {
            const zandrel_classify_options options = count_options(count);
            expect_labels(*classified(classifier, text, &options),
                          other.classify(text, {count, 0.0}));
        }
    }
}

TEST_F(CTest, CountOfZeroAndMissingOptionsGiveOneLabel) {
    const Classifier classifier = opened(path);
    const zandrel_classify_options options = count_options(0);
    EXPECT_EQ(classified(classifier, "goal bread", &options)->count, 1U);
    EXPECT_EQ(classified(classifier, "goal bread")->count, 1U);
}

TEST_F(CTest, ThresholdLeavesLabelsOutAndMustBeAShare) {
    const Classifier classifier = opened(path);
    const zandrel_classify_options all = count_options(-1);
    const Labels both = classified(classifier, "goal goal bread", &all);
    ASSERT_EQ(both->count, 2U);
    ASSERT_LT(both->items[1]->score, both->items[0]->score);
    const zandrel_classify_options best = count_options(-1, both->items[0]->score);
    EXPECT_EQ(classified(classifier, "goal goal bread", &best)->count, 1U);

    zandrel_labels* labels = nullptr;
    const zandrel_classify_options wrong = count_options(1, 1.5);
    EXPECT_EQ(zandrel_classify(classifier.get(), "x", 1, &wrong, &labels),
              ZANDREL_INVALID_ARGUMENT);
    EXPECT_THAT(zandrel_last_error()->message, HasSubstr("threshold"));
}

TEST_F(CTest, ConfidenceOfACalibratedContainerIsThatOfTheClass) {
    zandrel_train_options options = {};
    options.size = sizeof options;
    options.calibrate = 1;
    options.prepare_to_explain = 1;
    const Classifier calibrated = trained(&options);
    ASSERT_EQ(zandrel_save(calibrated.get(), folder.file("c.kc").c_str()), ZANDREL_OK);
    const auto other = zandrel::Classifier::open(folder.file("c.kc"));
    bool is_calibrated = false;
    EXPECT_EQ(zandrel_is_calibrated(calibrated.get(), &is_calibrated), ZANDREL_OK);
    EXPECT_TRUE(is_calibrated);

    const zandrel_classify_options all = count_options(-1);
    const Labels labels = classified(calibrated, "goal goal bread", &all);
    expect_labels(*labels, other.classify("goal goal bread", {-1}));
    ASSERT_EQ(labels->count, 2U);
    EXPECT_GE(labels->items[0]->confidence, 0.0);
    EXPECT_LT(labels->items[1]->confidence, 0.0);
    zandrel_classify_options rejecting = count_options(-1);
    rejecting.reject = 1.0;
    const bool is_sure = labels->items[0]->confidence >= 1.0;
    EXPECT_EQ(classified(calibrated, "goal goal bread", &rejecting)->count, is_sure ? 2U : 0U);

    const Classifier plain = opened(path);
    EXPECT_EQ(zandrel_is_calibrated(plain.get(), &is_calibrated), ZANDREL_OK);
    EXPECT_FALSE(is_calibrated);
    zandrel_labels* none = nullptr;
    EXPECT_EQ(zandrel_classify(plain.get(), "x", 1, &rejecting, &none), ZANDREL_INVALID_ARGUMENT);
    EXPECT_THAT(zandrel_last_error()->message, HasSubstr("no confidence map"));
    expect_refused(zandrel_is_calibrated(plain.get(), nullptr), "argument is_calibrated is NULL");
}

TEST_F(CTest, RecordsWithoutLabelsAreRead) {
    zandrel_record_form form = {};
    form.size = sizeof form;
    form.format = "jsonl";
    form.has_no_labels = 1;
    const std::string file = folder.write("texts.jsonl", "{\"text\": \"a goal\"}\n");
    zandrel_records* records = nullptr;
    ASSERT_EQ(zandrel_records_open(file.c_str(), &form, &records), ZANDREL_OK);
    const zandrel_example* record = nullptr;
    ASSERT_EQ(zandrel_records_next(records, &record), ZANDREL_OK);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->label_count, 0U);
    EXPECT_EQ(std::string(record->text.characters, record->text.length), "a goal");
    zandrel_records_free(records);
}

TEST_F(CTest, TextEndsAtItsLengthOrAtTheZeroByte) {
    const Classifier classifier = opened(path);
    const char text[] = "bread\0goal goal goal";
    zandrel_labels* labels = nullptr;
    ASSERT_EQ(zandrel_classify(classifier.get(), text, ZANDREL_TO_ZERO, nullptr, &labels),
              ZANDREL_OK);
    EXPECT_STREQ(labels->items[0]->name, "food");
    zandrel_labels_free(labels);
    ASSERT_EQ(zandrel_classify(classifier.get(), text, sizeof text - 1, nullptr, &labels),
              ZANDREL_OK);
    EXPECT_STREQ(labels->items[0]->name, "sport");
    zandrel_labels_free(labels);
    ASSERT_EQ(zandrel_classify(classifier.get(), nullptr, 0, nullptr, &labels), ZANDREL_OK);
    zandrel_labels_free(labels);
}

TEST_F(CTest, ManyTextsHaveAListEach) {
    const Classifier classifier = opened(path);
    const zandrel_text texts[] = {text_of("bread"), text_of("goal"), text_of("lemon soup")};
    zandrel_labels* labels[3] = {};
    ASSERT_EQ(zandrel_classify_texts(classifier.get(), texts, 3, nullptr, labels), ZANDREL_OK);
    std::string names;
    for (zandrel_labels* const list : labels) {
        names += std::string(list->items[0]->name) + " ";
        zandrel_labels_free(list);
    }
    EXPECT_EQ(names, "food sport food ");
    EXPECT_EQ(zandrel_classify_texts(classifier.get(), nullptr, 0, nullptr, nullptr), ZANDREL_OK);
}

TEST_F(CTest, FailureInOneOfManyTextsGivesNoList) {
    const Classifier classifier = opened(path);
    const zandrel_text texts[] = {text_of("bread"), {nullptr, 1, nullptr, 0}};
    zandrel_labels* const used = reinterpret_cast<zandrel_labels*>(1);
    zandrel_labels* labels[2] = {used, used};
    EXPECT_EQ(zandrel_classify_texts(classifier.get(), texts, 2, nullptr, labels),
              ZANDREL_INVALID_ARGUMENT);
    EXPECT_THAT(labels, ElementsAre(nullptr, nullptr));
}

TEST_F(CTest, ReasonsEqualThoseOfTheClass) {
    const Classifier classifier = opened(path);
    const auto other = zandrel::Classifier::open(path);
    for (const char* const node : {static_cast<const char*>(nullptr), "", "root/food"}) {
        const Reasons reasons = explained(classifier, "bread and goal and xyz", node);
        ASSERT_NE(reasons, nullptr);
        const zandrel::Reasons expected =
            other.explain("bread and goal and xyz", node == nullptr ? "" : node);
        EXPECT_EQ(std::string(reasons->label, reasons->label_length), expected.label);
        EXPECT_EQ(std::string(reasons->path, reasons->path_length), expected.path);
        EXPECT_EQ(reasons->score, expected.score);
        ASSERT_EQ(reasons->effect_count, expected.effects.size());
        ASSERT_GT(reasons->effect_count, 2U);
        for (std::size_t i = 0; i < expected.effects.size(); ++i) {
            const zandrel_effect& effect = *reasons->effects[i];
            EXPECT_EQ(std::string(effect.concept_text, effect.concept_length),
                      expected.effects[i].concept_text);
            EXPECT_EQ(effect.adds, expected.effects[i].adds);
            EXPECT_EQ(effect.log_odds_adds, expected.effects[i].log_odds_adds);
            EXPECT_EQ(effect.is_known, expected.effects[i].is_known);
        }
    }
}

TEST_F(CTest, ExplanationOfAnUnknownNodeIsNotFound) {
    const Classifier classifier = opened(path);
    const zandrel_text text = text_of("bread");
    zandrel_reasons* reasons = reinterpret_cast<zandrel_reasons*>(1);
    EXPECT_EQ(zandrel_explain(classifier.get(), &text, "none", &reasons), ZANDREL_NOT_FOUND);
    EXPECT_EQ(reasons, nullptr);
}

TEST_F(CTest, RulesReadFieldsOfEachType) {
    const std::string tree =
        "+\t[Rule]\t[NoScore]\t[]\t[root]\t[]\n"
        "++\t[Leaf]\t[Score]\t[]\t[large]\t[$size(n) > 100]\n"
        "++\t[Leaf]\t[Score]\t[]\t[kitchen]\t[$room(s) == 'kitchen']\n"
        "++\t[Stat]\t[NoScore]\t[]\t[topics]\t[0.5]\n"
        "+++\t[Leaf]\t[Score]\t[]\t[food]\t[]\n"
        "+++\t[Leaf]\t[Score]\t[]\t[sport]\t[]\n";
    zandrel_train_options options = {};
    options.size = sizeof options;
    options.tree = tree.c_str();
    const Classifier classifier = trained(&options);
    ASSERT_NE(classifier, nullptr);
    const zandrel_field size = {string_of("size"), string_of("101"), ZANDREL_NUMBER};
    const zandrel_field small = {string_of("size"), string_of("100"), ZANDREL_NUMBER};
    const zandrel_field room = {{"room", ZANDREL_TO_ZERO}, {"kitchen", 7}, ZANDREL_STRING};
    const zandrel_text texts[] = {
        {"goal", 4, &size, 1}, {"goal", 4, &small, 1}, {"goal", 4, &room, 1}};
    zandrel_labels* labels[3] = {};
    ASSERT_EQ(zandrel_classify_texts(classifier.get(), texts, 3, nullptr, labels), ZANDREL_OK)
        << zandrel_last_error()->message;
    std::string names;
    for (zandrel_labels* const list : labels) {
        names += std::string(list->items[0]->name) + " ";
        zandrel_labels_free(list);
    }
    EXPECT_EQ(names, "large sport kitchen ");
}

// --- Ownership ---

TEST_F(CTest, ResultsRemainAfterTheirClassifierIsFreed) {
    Classifier classifier = opened(path);
    const Labels labels = classified(classifier, "bread");
    const Reasons reasons = explained(classifier, "bread");
    zandrel_names* names = nullptr;
    ASSERT_EQ(zandrel_label_names(classifier.get(), &names), ZANDREL_OK);
    const Names owned(names, zandrel_names_free);
    classifier.reset();
    EXPECT_STREQ(labels->items[0]->name, "food");
    EXPECT_STREQ(reasons->label, "food");
    EXPECT_STREQ(names->items[0].data, "food");
}

TEST_F(CTest, ArgumentsAreCopied) {
    std::string label = "food";
    std::string text = "bread soup butter";
    Examples examples = examples_of({{"sport", "goal match team"}});
    ASSERT_EQ(add(examples.get(), label, text), ZANDREL_OK);
    label = "xxxx";
    text = "xxxxx xxxx xxxxxx";
    const Classifier classifier = trained(nullptr, examples);
    examples.reset();
    EXPECT_THAT(names_of(classifier), testing::UnorderedElementsAre("food", "sport"));
    EXPECT_STREQ(classified(classifier, "bread")->items[0]->name, "food");
}

TEST_F(CTest, ExamplesCanBeUsedTwice) {
    const Examples examples = two_topics();
    const Classifier first = trained(nullptr, examples);
    const Classifier second = trained(nullptr, examples);
    ASSERT_EQ(zandrel_save(first.get(), folder.file("1.kc").c_str()), ZANDREL_OK);
    ASSERT_EQ(zandrel_save(second.get(), folder.file("2.kc").c_str()), ZANDREL_OK);
    EXPECT_TRUE(folder.content("1.kc") == folder.content("2.kc"));
}

// --- Containers ---

TEST_F(CTest, SavedFileEqualsThatOfTheClass) {
    std::vector<zandrel::Example> examples = {{{"food"}, "bread soup butter", {}},
                                              {{"sport"}, "goal match team", {}},
                                              {{"food"}, "bread salt lemon", {}},
                                              {{"sport"}, "goal keeper team", {}}};
    zandrel::Train_options other_options;
    other_options.analysis = zandrel::Analysis{"words", "english"};
    other_options.settings = {{"ClipValue", "2"}};
    other_options.compact = true;
    auto other = zandrel::Classifier::train(examples, other_options);
    other.save(folder.file("class.kc"));

    const zandrel_setting setting = {"ClipValue", "2"};
    const zandrel_train_options options = {sizeof options, "words", "english", &setting, 1, nullptr,
                                           true,           nullptr, nullptr,   0,        0};
    const Classifier classifier = trained(&options);
    ASSERT_EQ(zandrel_save(classifier.get(), folder.file("c.kc").c_str()), ZANDREL_OK);
    EXPECT_TRUE(folder.content("c.kc") == folder.content("class.kc"));
}

TEST_F(CTest, AnalysisAndLabelsAreThoseOfTraining) {
    zandrel_train_options options = {};
    options.size = sizeof options;
    options.stem = "english";
    const Classifier classifier = trained(&options);
    const char* kind = nullptr;
    const char* stem = nullptr;
    ASSERT_EQ(zandrel_analysis(classifier.get(), &kind, &stem), ZANDREL_OK);
    EXPECT_STREQ(kind, "phrases");
    EXPECT_STREQ(stem, "english");
    ASSERT_EQ(zandrel_analysis(opened(path).get(), nullptr, nullptr), ZANDREL_OK);
    EXPECT_EQ(names_of(classifier), names_of(opened(path)));
    EXPECT_EQ(names_of(classifier), zandrel::Classifier::open(path).labels());
}

TEST_F(CTest, WrongFilesAreRefused) {
    expect_open_fails(folder.file("none.kc"), ZANDREL_NOT_FOUND, "No such file");
    expect_open_fails(folder.file(""), ZANDREL_CANNOT_READ, "directory");
    expect_open_fails(folder.write("text.kc", "goal\tsport\n"), ZANDREL_NOT_A_CONTAINER, "text.kc");
    std::string bytes = folder.content("topics.kc");
    bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
    expect_open_fails(folder.write("changed.kc", bytes), ZANDREL_DAMAGED, "changed.kc");
}

TEST_F(CTest, OtherAnalysisIsRefused) {
    zandrel_classifier* classifier = nullptr;
    zandrel_open_options options = {};
    options.size = sizeof options;
    options.analysis = "phrases";
    ASSERT_EQ(zandrel_open(path.c_str(), &options, &classifier), ZANDREL_OK);
    zandrel_classifier_free(classifier);
    options.stem = "english";
    EXPECT_EQ(zandrel_open(path.c_str(), &options, &classifier), ZANDREL_OTHER_ANALYSIS);
    options.analysis = nullptr;
    EXPECT_EQ(zandrel_open(path.c_str(), &options, &classifier), ZANDREL_OTHER_ANALYSIS);
    EXPECT_EQ(classifier, nullptr);
    EXPECT_EQ(zandrel_last_error()->file, path);
    options.analysis = "letters";
    EXPECT_EQ(zandrel_open(path.c_str(), &options, &classifier), ZANDREL_INVALID_ARGUMENT);
}

TEST_F(CTest, SavingWhereNoFileCanBeIsRefused) {
    const Classifier classifier = trained();
    const std::string wrong = folder.file("none/topics.kc");
    EXPECT_EQ(zandrel_save(classifier.get(), wrong.c_str()), ZANDREL_CANNOT_WRITE);
    EXPECT_EQ(zandrel_last_error()->file, wrong);
    const zandrel::Kc_lock lock(path);
    const std::string before = folder.content("topics.kc");
    EXPECT_EQ(zandrel_save(classifier.get(), path.c_str()), ZANDREL_BUSY);
    EXPECT_EQ(folder.content("topics.kc"), before);
}

TEST_F(CTest, LearningAddsLabelsOnlyIfAsked) {
    const Classifier classifier = opened(path);
    const Examples examples = examples_of({{"money", "bank loan rate"}});
    EXPECT_EQ(zandrel_learn(classifier.get(), examples.get(), nullptr), ZANDREL_UNKNOWN_LABEL);
    EXPECT_THAT(zandrel_last_error()->message, HasSubstr("money"));
    EXPECT_EQ(names_of(classifier).size(), 2U);
    const zandrel_learn_options options = {sizeof options, true, nullptr, nullptr};
    ASSERT_EQ(zandrel_learn(classifier.get(), examples.get(), &options), ZANDREL_OK)
        << zandrel_last_error()->message;
    EXPECT_THAT(names_of(classifier), ElementsAre(_, _, "money"));
}

TEST_F(CTest, CompactContainerRefusesToLearn) {
    zandrel_train_options options = {};
    options.size = sizeof options;
    options.compact = true;
    const Classifier classifier = trained(&options);
    const Examples examples = two_topics();
    EXPECT_EQ(zandrel_learn(classifier.get(), examples.get(), nullptr), ZANDREL_UNSUPPORTED);
}

TEST_F(CTest, TrainingWithoutExampleIsWrongData) {
    const Examples none = examples_of({});
    zandrel_classifier* classifier = nullptr;
    EXPECT_EQ(zandrel_train(none.get(), nullptr, &classifier), ZANDREL_WRONG_DATA);
    EXPECT_EQ(classifier, nullptr);
}

TEST_F(CTest, ClosedClassifierRefusesCalls) {
    const Classifier classifier = opened(path);
    const Examples examples = two_topics();
    const zandrel_text text = text_of("bread");
    zandrel_labels* labels = nullptr;
    zandrel_reasons* reasons = nullptr;
    zandrel_names* names = nullptr;
    ASSERT_EQ(zandrel_close(classifier.get()), ZANDREL_OK);
    EXPECT_EQ(zandrel_classify(classifier.get(), "x", 1, nullptr, &labels), ZANDREL_CLOSED);
    EXPECT_EQ(zandrel_classify_texts(classifier.get(), &text, 1, nullptr, &labels), ZANDREL_CLOSED);
    EXPECT_EQ(zandrel_explain(classifier.get(), &text, nullptr, &reasons), ZANDREL_CLOSED);
    EXPECT_EQ(zandrel_label_names(classifier.get(), &names), ZANDREL_CLOSED);
    EXPECT_EQ(zandrel_learn(classifier.get(), examples.get(), nullptr), ZANDREL_CLOSED);
    EXPECT_EQ(zandrel_save(classifier.get(), path.c_str()), ZANDREL_CLOSED);
    EXPECT_EQ(zandrel_close(classifier.get()), ZANDREL_OK);
}

// --- Progress ---

struct Reports {
    std::vector<double> done;
    bool goes_on = true;
    std::function<void()> work = [] {};
};

bool report(double done, void* user_data) {
    auto& reports = *static_cast<Reports*>(user_data);
    reports.done.push_back(done);
    reports.work();
    return reports.goes_on;
}

TEST_F(CTest, ProgressIsReportedUpToOne) {
    Reports reports;
    zandrel_train_options options = {};
    options.size = sizeof options;
    options.progress = report;
    options.user_data = &reports;
    trained(&options);
    EXPECT_TRUE(std::is_sorted(reports.done.begin(), reports.done.end()));
    ASSERT_FALSE(reports.done.empty());
    EXPECT_EQ(reports.done.back(), 1.0);

    reports.done.clear();
    zandrel_classifier* classifier = nullptr;
    const zandrel_open_options open_options = {
        sizeof open_options, nullptr, nullptr, report, &reports, 0};
    ASSERT_EQ(zandrel_open(path.c_str(), &open_options, &classifier), ZANDREL_OK);
    EXPECT_EQ(reports.done.back(), 1.0);

    reports.done.clear();
    const zandrel_learn_options learn_options = {sizeof learn_options, false, report, &reports};
    const Examples examples = two_topics();
    EXPECT_EQ(zandrel_learn(classifier, examples.get(), &learn_options), ZANDREL_OK);
    EXPECT_EQ(reports.done.back(), 1.0);
    zandrel_classifier_free(classifier);
}

TEST_F(CTest, CallbackInterruptsTheWork) {
    Reports reports;
    reports.goes_on = false;
    zandrel_train_options options = {};
    options.size = sizeof options;
    options.progress = report;
    options.user_data = &reports;
    const Examples examples = two_topics();
    zandrel_classifier* classifier = nullptr;
    EXPECT_EQ(zandrel_train(examples.get(), &options, &classifier), ZANDREL_INTERRUPTED);
    EXPECT_EQ(classifier, nullptr);
    EXPECT_EQ(reports.done.size(), 1U);
}

TEST_F(CTest, CallsInACallbackAreRefused) {
    const Classifier other = opened(path);
    Reports reports;
    std::vector<zandrel_code> codes;
    std::string text;
    reports.work = [&] {
        zandrel_labels* labels = reinterpret_cast<zandrel_labels*>(1);
        codes = {zandrel_classify(other.get(), "x", 1, nullptr, &labels),
                 zandrel_close(other.get())};
        text = zandrel_last_error()->message;
        EXPECT_EQ(labels, nullptr);
    };
    zandrel_train_options options = {};
    options.size = sizeof options;
    options.progress = report;
    options.user_data = &reports;
    trained(&options);
    EXPECT_THAT(codes, ElementsAre(ZANDREL_INVALID_ARGUMENT, ZANDREL_INVALID_ARGUMENT));
    EXPECT_EQ(text, "a progress callback must not call this function");
    EXPECT_STREQ(classified(other, "bread")->items[0]->name, "food");
}

// A callback that is C++ should not raise, but if it does, no exception leaves the library.
TEST_F(CTest, ExceptionOfACallbackInterruptsTheWork) {
    const Classifier other = opened(path);
    Reports reports;
    reports.work = [] { throw std::runtime_error("full"); };
    zandrel_train_options options = {};
    options.size = sizeof options;
    options.progress = report;
    options.user_data = &reports;
    const Examples examples = two_topics();
    zandrel_classifier* classifier = nullptr;
    EXPECT_EQ(zandrel_train(examples.get(), &options, &classifier), ZANDREL_INTERRUPTED);
    EXPECT_EQ(classified(other, "bread")->count, 1U);
}

// --- Records ---

Records opened_records(const std::string& path, const zandrel_record_form* form = nullptr) {
    zandrel_records* records = nullptr;
    EXPECT_EQ(zandrel_records_open(path.c_str(), form, &records), ZANDREL_OK)
        << zandrel_last_error()->message;
    return {records, zandrel_records_free};
}

TEST_F(CTest, RecordsAreReadWithAllTheirParts) {
    const std::string data = folder.write(
        "data.jsonl", "{\"label\":[\"a\\u0000b\",\"c\"],\"text\":\"x\\u0000y\",\"size\":7}\n");
    const char* const fields[] = {"size"};
    zandrel_record_form form = {};
    form.size = sizeof form;
    form.field_columns = fields;
    form.field_column_count = 1;
    const Records records = opened_records(data, &form);
    const zandrel_example* record = nullptr;
    ASSERT_EQ(zandrel_records_next(records.get(), &record), ZANDREL_OK)
        << zandrel_last_error()->message;
    ASSERT_EQ(record->label_count, 2U);
    EXPECT_EQ(std::string(record->labels[0].data, record->labels[0].length),
              std::string("a\0b", 3));
    EXPECT_EQ(std::string(record->labels[1].data, record->labels[1].length), "c");
    EXPECT_EQ(std::string(record->text.characters, record->text.length), std::string("x\0y", 3));
    ASSERT_EQ(record->text.field_count, 1U);
    EXPECT_STREQ(record->text.fields[0].name.data, "size");
    EXPECT_STREQ(record->text.fields[0].value.data, "7");
    EXPECT_EQ(record->text.fields[0].type, ZANDREL_NUMBER);

    const Examples examples = examples_of({});
    EXPECT_EQ(zandrel_examples_add(examples.get(), record), ZANDREL_OK);
    ASSERT_EQ(add(examples.get(), "d", "other words"), ZANDREL_OK);
    EXPECT_THAT(names_of(trained(nullptr, examples)),
                testing::UnorderedElementsAre(std::string("a\0b", 3), "c", "d"));

    ASSERT_EQ(zandrel_records_next(records.get(), &record), ZANDREL_OK);
    EXPECT_EQ(record, nullptr);
    ASSERT_EQ(zandrel_records_next(records.get(), &record), ZANDREL_OK);
    EXPECT_EQ(record, nullptr);
}

TEST_F(CTest, FormOfRecordsIsUsed) {
    const std::string data = folder.write("data.csv", "id,topic,words\n1,a+b,one\n");
    const char* const texts[] = {"words"};
    const char* const labels[] = {"topic"};
    const zandrel_record_form form = {sizeof form, "csv", texts, 1,   labels, 1,
                                      nullptr,     0,     true,  "+", 0};
    const Records records = opened_records(data, &form);
    const zandrel_example* record = nullptr;
    ASSERT_EQ(zandrel_records_next(records.get(), &record), ZANDREL_OK);
    ASSERT_EQ(record->label_count, 2U);
    EXPECT_STREQ(record->labels[1].data, "b");
    EXPECT_STREQ(record->text.characters, "one");
}

TEST_F(CTest, RecordAfterABadOneIsRead) {
    const std::string data = folder.write("data.tsv", "a\tone\nbad\nb\ttwo\n");
    const Records records = opened_records(data);
    const zandrel_example* record = nullptr;
    ASSERT_EQ(zandrel_records_next(records.get(), &record), ZANDREL_OK);
    EXPECT_EQ(zandrel_records_next(records.get(), &record), ZANDREL_WRONG_DATA);
    EXPECT_EQ(record, nullptr);
    EXPECT_EQ(zandrel_last_error()->file, data);
    EXPECT_EQ(zandrel_last_error()->line, 2U);
    ASSERT_EQ(zandrel_records_next(records.get(), &record), ZANDREL_OK);
    EXPECT_STREQ(record->labels[0].data, "b");
}

// A program may report each failure and continue until there is no record.
TEST_F(CTest, LoopOverADamagedFileEnds) {
    // `printf 'x\tone\n' | gzip -n` without its last bytes
    const std::string data = folder.write(
        "data.tsv.gz",
        std::string("\x1F\x8B\x08\x00\x00\x00\x00\x00\x00\x03\xAB\xE0\xCC\xCF\x4B", 15));
    const Records records = opened_records(data);
    const std::string message = data + ": the compressed data ends too early, after 15 bytes";
    const zandrel_example* record = nullptr;
    expect_failure(zandrel_records_next(records.get(), &record), ZANDREL_WRONG_DATA, message, data);
    EXPECT_EQ(zandrel_records_next(records.get(), &record), ZANDREL_OK);
    EXPECT_EQ(record, nullptr);
    zandrel_classifier* classifier = nullptr;
    expect_failure(zandrel_train_records(records.get(), nullptr, &classifier), ZANDREL_WRONG_DATA,
                   message, data);
    EXPECT_EQ(classifier, nullptr);
}

TEST_F(CTest, MissingDataFileIsNotFound) {
    zandrel_records* records = reinterpret_cast<zandrel_records*>(1);
    EXPECT_EQ(zandrel_records_open(folder.file("none.tsv").c_str(), nullptr, &records),
              ZANDREL_NOT_FOUND);
    EXPECT_EQ(records, nullptr);
}

TEST_F(CTest, TrainingOnRecordsEqualsTrainingOnExamples) {
    const std::string data = folder.write("data.tsv",
                                          "skipped\tx\n"
                                          "food\tbread soup butter\nsport\tgoal match team\n"
                                          "food\tbread salt lemon\nsport\tgoal keeper team\n");
    const Records records = opened_records(data);
    const zandrel_example* record = nullptr;
    ASSERT_EQ(zandrel_records_next(records.get(), &record), ZANDREL_OK);
    zandrel_classifier* classifier = nullptr;
    ASSERT_EQ(zandrel_train_records(records.get(), nullptr, &classifier), ZANDREL_OK)
        << zandrel_last_error()->message;
    const Classifier owned(classifier, zandrel_classifier_free);
    ASSERT_EQ(zandrel_save(classifier, folder.file("records.kc").c_str()), ZANDREL_OK);
    EXPECT_TRUE(folder.content("records.kc") == folder.content("topics.kc"));
}

TEST_F(CTest, LearningRecordsEqualsLearningExamples) {
    const std::string data = folder.write("data.tsv", "food\tbread rice\nsport\tfinal goal\n");
    const Examples examples = examples_of({{"food", "bread rice"}, {"sport", "final goal"}});
    const Classifier first = opened(path);
    const Classifier second = opened(path);
    ASSERT_EQ(zandrel_learn(first.get(), examples.get(), nullptr), ZANDREL_OK);
    ASSERT_EQ(zandrel_learn_records(second.get(), opened_records(data).get(), nullptr), ZANDREL_OK);
    ASSERT_EQ(zandrel_save(first.get(), folder.file("1.kc").c_str()), ZANDREL_OK);
    ASSERT_EQ(zandrel_save(second.get(), folder.file("2.kc").c_str()), ZANDREL_OK);
    EXPECT_TRUE(folder.content("1.kc") == folder.content("2.kc"));
    EXPECT_FALSE(folder.content("1.kc") == folder.content("topics.kc"));
}

// --- Lack of memory ---

// Calls `work` again and again, each time with another failed allocation, until none fails. Some
// allocations have a substitute, so a call may succeed although one of its allocations fails.
template <class Work>
void expect_out_of_memory(const Work& work, zandrel_code complete = ZANDREL_OK) {
    int failures = 0;
    for (unsigned int index = 0;; ++index) {
        zandrel_code code = ZANDREL_FAILED;
        const bool has_failed = fails_at(index, [&] { code = work(); });
        if (!has_failed) {
            EXPECT_EQ(code, complete);
            break;
        }
        ASSERT_THAT(code, AnyOf(ZANDREL_OUT_OF_MEMORY, complete)) << index;
        if (code == ZANDREL_OUT_OF_MEMORY) {
            ++failures;
            ASSERT_EQ(zandrel_last_error()->code, ZANDREL_OUT_OF_MEMORY);
            ASSERT_STRNE(zandrel_last_error()->message, "");
        }
    }
    EXPECT_GT(failures, 0);
}

TEST_F(CTest, LackOfMemoryIsReportedWithoutMemory) {
    const Classifier classifier = opened(path);
    const Examples examples = two_topics();
    const std::string data = folder.write("data.tsv", "food\tbread rice\n");
    const zandrel_field field = {string_of("a name that is not short"), string_of("x"), 0};
    const zandrel_text text = {"bread goal", 10, &field, 1};
    const zandrel_string label = string_of("a label that is not short");
    const zandrel_example example = {&label, 1, text};

    expect_out_of_memory([&] {
        zandrel_labels* labels = nullptr;
        const zandrel_code code = zandrel_classify(classifier.get(), "bread", 5, nullptr, &labels);
        zandrel_labels_free(labels);
        return code;
    });
    expect_out_of_memory([&] {
        zandrel_labels* labels[2] = {};
        const zandrel_text texts[] = {text, text};
        const zandrel_code code =
            zandrel_classify_texts(classifier.get(), texts, 2, nullptr, labels);
        zandrel_labels_free(labels[0]);
        zandrel_labels_free(labels[1]);
        return code;
    });
    expect_out_of_memory([&] {
        zandrel_reasons* reasons = nullptr;
        const zandrel_code code = zandrel_explain(classifier.get(), &text, nullptr, &reasons);
        zandrel_reasons_free(reasons);
        return code;
    });
    expect_out_of_memory([&] {
        zandrel_names* names = nullptr;
        const zandrel_code code = zandrel_label_names(classifier.get(), &names);
        zandrel_names_free(names);
        return code;
    });
    expect_out_of_memory([&] {
        zandrel_examples* made = nullptr;
        const zandrel_code code = zandrel_examples_new(&made);
        zandrel_examples_free(made);
        return code;
    });
    expect_out_of_memory([&] { return zandrel_examples_add(examples.get(), &example); });
    expect_out_of_memory([&] {
        zandrel_records* records = nullptr;
        const zandrel_example* record = nullptr;
        zandrel_code code = zandrel_records_open(data.c_str(), nullptr, &records);
        if (code == ZANDREL_OK) {
            code = zandrel_records_next(records, &record);
        }
        zandrel_records_free(records);
        return code;
    });
    // The message of a failure needs memory too.
    expect_out_of_memory(
        [&] {
            zandrel_classifier* none = nullptr;
            return zandrel_open("a/file/that/does/not/exist.kc", nullptr, &none);
        },
        ZANDREL_NOT_FOUND);
    expect_out_of_memory([&] { return zandrel_close(nullptr); }, ZANDREL_INVALID_ARGUMENT);
    EXPECT_STREQ(classified(classifier, "bread")->items[0]->name, "food");
}

// Opening, training, learning and saving have thousands of allocations; we try some.
TEST_F(CTest, LackOfMemoryInLongWorkIsReported) {
    const Examples examples = two_topics();
    for (unsigned int index = 0; index < 20000; index += 1 + index / 4) {
        zandrel_code code = ZANDREL_FAILED;
        fails_at(index, [&] {
            zandrel_classifier* classifier = nullptr;
            code = zandrel_train(examples.get(), nullptr, &classifier);
            if (code == ZANDREL_OK) {
                code = zandrel_save(classifier, path.c_str());
            }
            zandrel_classifier_free(classifier);
            classifier = nullptr;
            if (code == ZANDREL_OK) {
                code = zandrel_open(path.c_str(), nullptr, &classifier);
            }
            if (code == ZANDREL_OK) {
                code = zandrel_learn(classifier, examples.get(), nullptr);
            }
            zandrel_classifier_free(classifier);
        });
        ASSERT_THAT(code, AnyOf(ZANDREL_OUT_OF_MEMORY, ZANDREL_OK))
            << index << zandrel_last_error()->message;
        opened(path);
    }
}

}  // namespace
