// Classifier: the same answers as the text library's own model, the same bytes as the program, and
// each error with its code.
#include "zandrel/text/Classifier.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <optional>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/zeConfig.h"
#include "zandrel/text/Records.h"

#include "tests/cli/scratch_folder.h"
#include "tests/support/trained_tree.h"
#include "tests/text/desk_texts.h"
#include "tests/text/library_test_help.h"
#include "text/kc/Kc_conversion.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Stored_model.h"
#include "text/kc/Tree_file.h"
#include "text/model/Text_model.h"
#include "text/train/Training.h"

namespace zandrel::tests {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class ClassifierTest : public testing::Test {
protected:
    std::string file(const std::string& name) const { return m_folder.file(name); }

    std::string write(const std::string& name, const std::string& content) const {
        return m_folder.write(name, content);
    }

    // The examples as a data file of the program.
    std::string written_examples() const {
        std::string lines;
        for (const Example& example : desk_examples()) {
            std::string labels;
            for (const std::string& label : example.labels) {
                labels += (labels.empty() ? "" : ",") + label;
            }
            lines.append(labels).append("\t").append(example.text).append("\n");
        }
        return write("desk.tsv", lines);
    }

    static Train_options options_with_tree() {
        Train_options options;
        options.tree = desk_tree();
        return options;
    }

    cli::Scratch_folder m_folder;
};

// A container with the labels of desk_examples() that does not say how its texts were analysed.
qtPtrLight<zeManager> untold_container() {
    const Model_options options = {{Analysis_kind::kWords, "english"}};
    Text_model model(options);
    std::vector<Labelled_text> texts;
    for (const Example& example : desk_examples()) {
        texts.push_back({example.labels, example.text});
    }
    model.start_and_empty(texts, false, nullptr);
    return model.manager();
}

// Texts with words of the shop, other words, and random bytes.
std::vector<std::string> random_texts(unsigned int seed, int count) {
    std::mt19937 random(seed);
    const std::vector<std::string> parts = {
        "parcel",   "My",    "money", "account", "refund",
        "urgent!",  "12.50", "lamp",  "not",     "\xC3\xA9t\xC3\xA9",
        "\xFF\xFE", "the",   ",",     "unheard", "arrived"};
    std::vector<std::string> texts = desk_questions();
    for (int i = 0; i < count; ++i) {
        std::string text;
        for (std::size_t words = random() % 12; words > 0; --words) {
            text += parts[random() % parts.size()] + (random() % 4 == 0 ? "" : " ");
        }
        texts.push_back(text);
    }
    return texts;
}

std::optional<double> confidence_of(Text_model& model, const Labelled_text& message, int count) {
    return model.confidence()
               ? std::optional(model.confidence()->of(model.rank_rated(message, count).scores))
               : std::nullopt;
}

void expect_same_answers(const std::string& path, const std::vector<std::string>& texts,
                         const std::vector<Field>& fields, const std::vector<Pair>& pairs) {
    const Classifier classifier = Classifier::open(path);
    const std::unique_ptr<Text_model> model = read_model(path, {}, nullptr);
    EXPECT_EQ(classifier.labels(), model->labels());
    for (const std::string& text : texts) {
        Text asked = text;
        asked.fields = fields;
        Labelled_text message = {{}, text};
        message.pairs = pairs;
        for (const int count : {1, 2, -1}) {
            const std::vector<Label> labels = classifier.classify(asked, {count});
            const Ranking ranking = model->rank(message, count);
            ASSERT_EQ(labels.size(), ranking.size()) << text;
            const std::optional<double> confidence = confidence_of(*model, message, count);
            for (std::size_t i = 0; i < labels.size(); ++i) {
                EXPECT_EQ(labels[i].confidence, i == 0 ? confidence : std::nullopt) << text;
                EXPECT_EQ(labels[i].name, ranking[i].label) << text;
                EXPECT_EQ(labels[i].path, model->path_of(ranking[i])) << text;
                EXPECT_EQ(labels[i].score, ranking[i].score) << text;  // to the last bit
            }
        }
        for (const std::string& path_of_node :
             {std::string(), classifier.classify("money")[0].path}) {
            const Reasons reasons = classifier.explain(asked, path_of_node);
            zeNode* const node = path_of_node.empty() ? nullptr : model->find(path_of_node);
            const Explanation explanation = model->explain(message, node);
            EXPECT_EQ(reasons.label, explanation.label) << text;
            EXPECT_EQ(reasons.score, explanation.score) << text;
            ASSERT_EQ(reasons.effects.size(), explanation.concepts.size()) << text;
            for (std::size_t i = 0; i < reasons.effects.size(); ++i) {
                EXPECT_EQ(reasons.effects[i].concept_text, explanation.concepts[i].concept_text);
                EXPECT_EQ(reasons.effects[i].adds, explanation.concepts[i].adds);
                EXPECT_EQ(reasons.effects[i].log_odds_adds, explanation.concepts[i].log_odds_adds);
                EXPECT_EQ(reasons.effects[i].is_known, explanation.concepts[i].is_known);
            }
        }
    }
}

TEST_F(ClassifierTest, AnswersEqualTheModelForEachAnalysisAndTree) {
    const std::vector<Analysis> analyses = {{"phrases", ""},
                                            {"phrases", "english"},
                                            {"words", ""},
                                            {"words", "german"},
                                            {"whitespace", ""}};
    unsigned int seed = 1;
    for (const Analysis& analysis : analyses) {
        for (const std::string& tree : {std::string(), desk_tree()}) {
            Train_options options;
            options.analysis = analysis;
            options.tree = tree;
            options.calibrate = seed % 4 != 1;  // seeds are odd here
            Classifier::train(desk_examples(), options).save(file("a.kc"));
            expect_same_answers(file("a.kc"), random_texts(++seed, 12), {}, {});
            expect_same_answers(file("a.kc"), random_texts(++seed, 4),
                                {{"amount", "600", Field::Type::number}, {"tags", "urgent"}},
                                {{"amount", mlMessageConverter::kInteger, {"600"}},
                                 {"tags", mlMessageConverter::kString, {"urgent"}}});
        }
    }
}

TEST_F(ClassifierTest, AnswersEqualTheModelForTheShop) {
    Records records = Records::open(ZANDREL_SHOP_DATA ".train.tsv");
    Classifier::train(records).save(file("shop.kc"));
    Records tests = Records::open(ZANDREL_SHOP_DATA ".test.tsv");
    std::vector<std::string> texts;
    for (Example example; tests.next(example) && texts.size() < 60;) {
        texts.push_back(example.text);
    }
    ASSERT_EQ(texts.size(), 60U);
    expect_same_answers(file("shop.kc"), texts, {}, {});
}

TEST_F(ClassifierTest, CompactContainerAnswersAndExplains) {
    Train_options options = options_with_tree();
    options.compact = true;
    Classifier::train(desk_examples(), options).save(file("a.kc"));
    expect_same_answers(file("a.kc"), desk_questions(), {}, {});
}

TEST_F(ClassifierTest, ContainerInCachedFormAnswersLikeThePlainOne) {
    Train_options options = options_with_tree();
    options.calibrate = true;
    Classifier::train(desk_examples(), options).save(file("a.kc"));
    Conversion_options conversion;
    conversion.kc_file = file("a.kc");
    conversion.new_file = file("cached.kc");
    conversion.form = Kc_form::kCached;
    convert_kc(conversion);
    expect_same_answers(file("cached.kc"), desk_questions(), {}, {});

    Classifier cached = Classifier::open(file("cached.kc"));
    EXPECT_ERROR(
        cached.learn(desk_examples()), Error_code::unsupported,
        file("cached.kc") + ": a container in cached form is changed in its file, not in memory");
    EXPECT_ERROR(cached.save(file("b.kc")), Error_code::unsupported,
                 file("cached.kc") + ": a container in cached form is in its file already");
}

TEST_F(ClassifierTest, TrainedContainerHasTheBytesOfTheProgram) {
    const Same_identity same;
    const std::string data = written_examples();
    for (const std::string& tree : {std::string(), desk_tree()}) {
        for (const bool is_compact : {false, true}) {
            Training_options training;
            training.kc_file = file("program.kc");
            training.data_files = {data};
            training.model.tree = {tree, "tree"};
            training.compact = is_compact;
            training.calibrates = is_compact == tree.empty();
            training.replaces = true;
            train_kc(training);

            Train_options options;
            options.tree = tree;
            options.compact = is_compact;
            options.calibrate = training.calibrates;
            Classifier::train(desk_examples(), options).save(file("library.kc"));
            EXPECT_EQ(bytes_of(file("library.kc")), bytes_of(file("program.kc")));

            Records records = Records::open(data);
            Classifier::train(records, options).save(file("library.kc"));
            EXPECT_EQ(bytes_of(file("library.kc")), bytes_of(file("program.kc")));
        }
    }
}

TEST_F(ClassifierTest, LearnedContainerHasTheBytesOfTheProgram) {
    const Same_identity same;
    Train_options options;
    options.calibrate = true;
    Classifier::train(desk_examples(), options).save(file("program.kc"));
    std::filesystem::copy_file(file("program.kc"), file("library.kc"));
    Learning_options learning;
    learning.kc_file = file("program.kc");
    learning.data_files = {
        write("new.tsv", "refund\tmoney money\nbill\tan invoice for my shoes\n")};
    learning.adds_categories = true;
    learn_into_kc(learning);

    Classifier classifier = Classifier::open(file("library.kc"));
    classifier.learn(
        std::vector<Example>{{{"refund"}, "money money"}, {{"bill"}, "an invoice for my shoes"}},
        {true});
    classifier.save(file("library.kc"));
    EXPECT_EQ(bytes_of(file("library.kc")), bytes_of(file("program.kc")));
    EXPECT_THAT(classifier.labels(), ElementsAre("delivery", "refund", "account", "bill"));
}

TEST_F(ClassifierTest, SettingsEqualThoseThatTheProgramChooses) {
    Train_options options;
    options.settings = {{"ProfileSize", "500"}};
    Classifier::train(desk_examples(), options).save(file("a.kc"));
    const std::unique_ptr<Text_model> model = read_model(file("a.kc"), {}, nullptr);
    EXPECT_EQ(model->manager()->m_config.get_optional("zandrel.choices")->str(),
              "AverageRlimit=3000 MaxRlimit=10000 MinRlimit=30 SuppressM=0");
    options.settings = {{"ProfileSize", "x"}};
    EXPECT_ERROR(Classifier::train(desk_examples(), options), Error_code::invalid_argument,
                 "bad value for ProfileSize: \"x\" is not an integer");
    options.settings = {{"Nothing", "1"}};
    EXPECT_ERROR(Classifier::train(desk_examples(), options), Error_code::invalid_argument,
                 "unknown setting \"Nothing\"");
    options.settings = {{"GeomAverage", "1"}};
    EXPECT_ERROR(Classifier::train(desk_examples(), options), Error_code::invalid_argument,
                 "GeomAverage is a switch of the whole process and no setting of a container");
}

TEST_F(ClassifierTest, CountAndThresholdLimitTheLabels) {
    const Classifier classifier = Classifier::train(desk_examples());
    const std::vector<Label> all = classifier.classify("my money", {-1});
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(classifier.classify("my money").size(), 1U);
    EXPECT_EQ(classifier.classify("my money", {2}).size(), 2U);
    EXPECT_TRUE(classifier.classify("my money", {0}).empty());
    EXPECT_EQ(classifier.classify("my money", {-1, all[1].score}).size(), 2U);
    EXPECT_TRUE(classifier.classify("", {-1}).empty());
    for (const double threshold : {-0.1, 1.1, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_ERROR(classifier.classify("my money", {1, threshold}), Error_code::invalid_argument,
                     "the threshold is not between 0 and 1");
    }
}

TEST_F(ClassifierTest, ManyTextsGiveOneAnswerEach) {
    const Classifier classifier = Classifier::train(desk_examples());
    const std::vector<Text> texts = {"my parcel", "", "money back"};
    const std::vector<std::vector<Label>> answers = classifier.classify(texts);
    ASSERT_EQ(answers.size(), 3U);
    EXPECT_EQ(answers[0].at(0).name, "delivery");
    EXPECT_TRUE(answers[1].empty());
    EXPECT_EQ(answers[2].at(0).name, "refund");
}

TEST_F(ClassifierTest, ExplanationNamesLabelPathAndUnknownWords) {
    const Classifier classifier = Classifier::train(desk_examples(), options_with_tree());
    const Reasons best = classifier.explain("my password zebra");
    EXPECT_EQ(best.label, "account");
    EXPECT_EQ(best.path, "desk/english/account");
    bool has_zebra = false;
    for (const Effect& effect : best.effects) {
        EXPECT_EQ(effect.is_known, effect.concept_text.find("zebra") == std::string::npos);
        has_zebra = has_zebra || effect.concept_text == "zebra";
    }
    EXPECT_TRUE(has_zebra);
    EXPECT_EQ(classifier.explain("my password", "desk/english/delivery").label, "delivery");
    const Reasons none = Classifier::train(desk_examples()).explain("");
    EXPECT_EQ(none.label, "");
    EXPECT_EQ(none.path, "");
    EXPECT_TRUE(none.effects.empty());
    EXPECT_ERROR(classifier.explain("my password", "desk/nowhere"), Error_code::not_found,
                 "there is no node \"desk/nowhere\"");
}

TEST_F(ClassifierTest, FieldsOfWrongTypesAreRefused) {
    const Classifier classifier = Classifier::train(desk_examples());
    const auto ask = [&](const std::vector<Field>& fields) {
        Text text = "money";
        text.fields = fields;
        return classifier.classify(text);
    };
    using Type = Field::Type;
    EXPECT_ERROR(ask({{"size", "big", Type::number}}), Error_code::invalid_argument,
                 "field \"size\": \"big\" is not a number");
    EXPECT_ERROR(ask({{"size", "", Type::number}}), Error_code::invalid_argument,
                 "field \"size\": \"\" is not a number");
    EXPECT_ERROR(ask({{"gift", "1", Type::boolean}}), Error_code::invalid_argument,
                 "field \"gift\": \"1\" is neither true nor false");
    EXPECT_ERROR(ask({{"day", "soon", Type::date}}), Error_code::invalid_argument,
                 "field \"day\": \"soon\" is not a date such as 2026-01-31T10:00:00Z");
    EXPECT_ERROR(ask({{"day", "1e13", Type::date}}), Error_code::invalid_argument,
                 "field \"day\": \"1e13\" is not a date such as 2026-01-31T10:00:00Z");
    EXPECT_EQ(error_of([&] {
                  ask({{"day", "2026-02-30T10:00:00Z", Type::date}});
              }).code(),
              Error_code::invalid_argument);
    EXPECT_ERROR(ask({{"", "x"}}), Error_code::invalid_argument, "field \"\": the name is empty");
    EXPECT_ERROR(ask({{"_SML_TEXT", "x"}}), Error_code::invalid_argument,
                 "field \"_SML_TEXT\": the engine uses names that begin with _SML");
    EXPECT_ERROR(ask({{"a", "x"}, {"b", "x"}, {"a", "y"}}), Error_code::invalid_argument,
                 "field \"a\": its elements are not together");
    EXPECT_ERROR(ask({{"a", "x"}, {"a", "1", Type::number}}), Error_code::invalid_argument,
                 "field \"a\": its elements have different types");
    EXPECT_FALSE(ask({{"day", "1769853600.25", Type::date}, {"n", "-1.5", Type::number}}).empty());
}

TEST_F(ClassifierTest, RulesReadFieldsOfEachType) {
    Train_options options;
    options.tree =
        "+\t[Rule]\t[NoScore]\t[]\t[desk]\t[]\n"
        "++\t[Leaf]\t[Score]\t[]\t[large]\t[$amount(n) >= 500]\n"
        "++\t[Leaf]\t[Score]\t[]\t[gift]\t[$gift(n) == 1]\n"
        "++\t[Leaf]\t[Score]\t[]\t[rest]\t[default]\n";
    const Classifier classifier =
        Classifier::train(std::vector<Example>{{{"rest"}, "nothing"}}, options);
    const auto label_with = [&](const Field& field) {
        Text text = "nothing";
        text.fields = {field};
        return classifier.classify(text).at(0).name;
    };
    EXPECT_EQ(label_with({"amount", "600.5", Field::Type::number}), "large");
    EXPECT_EQ(label_with({"amount", "499", Field::Type::number}), "rest");
    EXPECT_EQ(label_with({"gift", "true", Field::Type::boolean}), "gift");
    EXPECT_EQ(label_with({"gift", "false", Field::Type::boolean}), "rest");
}

// Opening.

TEST_F(ClassifierTest, ErrorsOfOpeningHaveTheirCodes) {
    Classifier::train(desk_examples()).save(file("a.kc"));
    EXPECT_ERROR(Classifier::open(file("missing.kc")), Error_code::not_found,
                 "cannot read " + file("missing.kc") + ": No such file or directory");
    EXPECT_ERROR(Classifier::open(file("")), Error_code::cannot_read,
                 "cannot read " + file("") + ": Is a directory");
    EXPECT_ERROR(Classifier::open(write("text.txt", "just a text, long enough for a header")),
                 Error_code::not_a_container, file("text.txt") + ": Not a kc file");

    std::string bytes = bytes_of(file("a.kc"));
    bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
    const Error damaged = error_of([&] { Classifier::open(write("b.kc", bytes)); });
    EXPECT_EQ(damaged.code(), Error_code::damaged);
    EXPECT_EQ(damaged.file(), file("b.kc"));
    EXPECT_EQ(damaged.line(), 0U);
    ASSERT_NE(damaged.cause(), nullptr);
    EXPECT_THROW(std::rethrow_exception(damaged.cause()), qtX<zandrel::Kc_seal>);
    EXPECT_EQ(error_of([&] {
                  Classifier::open(write("c.kc", bytes.substr(0, bytes.size() / 2)));
              }).code(),
              Error_code::damaged);
}

TEST_F(ClassifierTest, BestLabelWithASlashIsExplainedInCachedForm) {
    const std::vector<Example> examples = {{{"in/out"}, "parcel arrived"}, {{"in/out"}, "parcel"}};
    Classifier::train(examples).save(file("a.kc"));
    Conversion_options conversion;
    conversion.kc_file = file("a.kc");
    conversion.new_file = file("cached.kc");
    conversion.form = Kc_form::kCached;
    convert_kc(conversion);
    EXPECT_EQ(Classifier::open(file("a.kc")).explain("parcel").label, "in/out");
    EXPECT_EQ(Classifier::open(file("cached.kc")).explain("parcel").label, "in/out");
}

TEST_F(ClassifierTest, NamesThatAreEmptyOrHaveAZeroByteAreRefused) {
    Classifier classifier = Classifier::train(desk_examples());
    classifier.save(file("a.kc"));
    const std::string name = file("a.kc") + std::string("\0b", 2);
    const std::string text =
        "the name of the file has a zero byte: " + file("a.kc") + "\\x00" + "b";
    EXPECT_ERROR(Classifier::open(""), Error_code::invalid_argument,
                 "the name of the file is empty");
    EXPECT_ERROR(Classifier::open(name), Error_code::invalid_argument, text);
    EXPECT_ERROR(classifier.save(""), Error_code::invalid_argument,
                 "the name of the file is empty");
    EXPECT_ERROR(classifier.save(name), Error_code::invalid_argument, text);
}

// A container in cached form is read while it is used, so open does not find all damage.
TEST_F(ClassifierTest, DamageFoundByACallOfTheCachedFormNamesTheFile) {
    Classifier::train(desk_examples()).save(file("a.kc"));
    Conversion_options conversion;
    conversion.kc_file = file("a.kc");
    conversion.new_file = file("cached.kc");
    conversion.form = Kc_form::kCached;
    convert_kc(conversion);
    const std::string bytes = bytes_of(file("cached.kc"));
    int found = 0;
    for (std::size_t i = 0; i < bytes.size(); i += 101) {
        std::string changed = bytes;
        changed[i] = static_cast<char>(changed[i] ^ 0x40);
        std::optional<Classifier> opened;
        try {
            opened.emplace(Classifier::open(write("b.kc", changed)));
        } catch (const Error&) {
            continue;
        }
        for (const bool explains : {false, true}) {
            try {
                explains ? static_cast<void>(opened->explain("My parcel"))
                         : static_cast<void>(opened->classify("My parcel"));
            } catch (const Error& error) {
                ++found;
                EXPECT_STREQ(name_of(error.code()), "damaged") << i << ": " << error.what();
                EXPECT_EQ(error.file(), file("b.kc")) << i;
                EXPECT_THAT(error.what(), HasSubstr(file("b.kc"))) << i;
                EXPECT_NE(error.cause(), nullptr) << i;
            }
        }
    }
    EXPECT_GT(found, 0);
}

TEST_F(ClassifierTest, GivenAnalysisIsKeptBySavingAndByLearning) {
    qtPtrLight<zeManager> manager = untold_container();
    manager->Write(qtString(file("a.kc").c_str()), nullptr, nullptr);
    EXPECT_EQ(error_of([&] { Classifier::open(file("a.kc")); }).code(), Error_code::other_analysis);

    const Analysis given = {"words", "english"};
    Classifier classifier = Classifier::open(file("a.kc"), {given});
    classifier.save(file("saved.kc"));
    EXPECT_EQ(Classifier::open(file("saved.kc")).analysis(), given);
    classifier.learn(desk_examples());
    classifier.save(file("learned.kc"));
    EXPECT_EQ(Classifier::open(file("learned.kc")).analysis(), given);
    EXPECT_EQ(error_of([&] {
                  Classifier::open(file("learned.kc"), {Analysis{"whitespace", ""}});
              }).code(),
              Error_code::other_analysis);
}

TEST_F(ClassifierTest, OtherAnalysisThanInTheContainerIsRefused) {
    Train_options options;
    options.analysis = Analysis{"words", "english"};
    Classifier::train(desk_examples(), options).save(file("a.kc"));
    EXPECT_EQ(Classifier::open(file("a.kc")).analysis(), (Analysis{"words", "english"}));
    EXPECT_EQ(Classifier::open(file("a.kc"), {Analysis{"words", "english"}}).labels().size(), 3U);
    EXPECT_ERROR(Classifier::open(file("a.kc"), {Analysis{"words", ""}}),
                 Error_code::other_analysis,
                 file("a.kc") + ": its texts were analysed as \"words\" with the stemmer english");
    EXPECT_ERROR(Classifier::open(file("a.kc"), {Analysis{"phrases", "english"}}),
                 Error_code::other_analysis,
                 file("a.kc") + ": its texts were analysed as \"words\" with the stemmer english");
    EXPECT_ERROR(Classifier::open(file("a.kc"), {Analysis{"letters", ""}}),
                 Error_code::invalid_argument,
                 "unknown text analysis \"letters\"; it can be phrases, words or whitespace");
    EXPECT_ERROR(Classifier::open(file("a.kc"), {Analysis{"words", "klingon"}}),
                 Error_code::invalid_argument, "unknown language to stem \"klingon\"");
    EXPECT_ERROR(Classifier::open(file("a.kc"), {Analysis{"whitespace", "english"}}),
                 Error_code::invalid_argument,
                 "a stemmer needs the text analysis phrases or words");
}

// Training and learning.

TEST_F(ClassifierTest, WrongExamplesAreRefusedWithTheirNumber) {
    EXPECT_ERROR(Classifier::train(std::vector<Example>()), Error_code::wrong_data, "no example");
    const std::vector<Example> unlabelled = {{{"a"}, "x"}, {{}, "y"}};
    EXPECT_ERROR(Classifier::train(unlabelled), Error_code::wrong_data, "example 2: no label");
    EXPECT_EQ(error_of([&] { Classifier::train(unlabelled); }).line(), 2U);
    EXPECT_ERROR(Classifier::train(std::vector<Example>{{{""}, "x"}}), Error_code::wrong_data,
                 "example 1: empty label");
    EXPECT_ERROR(Classifier::train(std::vector<Example>{{{"a"}, "x", {{"", "y"}}}}),
                 Error_code::wrong_data, "example 1: field \"\": the name is empty");
}

TEST_F(ClassifierTest, WrongTreeIsRefusedWithItsLine) {
    Train_options options;
    options.tree = "+\t[Stat]\t[NoScore]\t[]\t[desk]\t[]\n++ leaf\n";
    const Error error = error_of([&] { Classifier::train(desk_examples(), options); });
    EXPECT_EQ(error.code(), Error_code::wrong_data);
    EXPECT_EQ(error.file(), "tree");
    EXPECT_EQ(error.line(), 2U);
    options.tree =
        "+\t[Stat]\t[NoScore]\t[]\t[desk]\t[]\n++\t[Leaf]\t[Score]\t[]\t[delivery]\t[]\n";
    EXPECT_ERROR(Classifier::train(desk_examples(), options), Error_code::unknown_label,
                 "example 4: label \"refund\" has no leaf in tree; add a leaf for it there, or "
                 "remove the text");
}

TEST_F(ClassifierTest, UnknownLabelIsNotLearnedUnlessItIsAdded) {
    Classifier classifier = Classifier::train(desk_examples());
    const std::vector<Example> news = {{{"refund"}, "money"}, {{"news"}, "an election"}};
    EXPECT_ERROR(classifier.learn(news), Error_code::unknown_label,
                 "example 2: unknown label \"news\"");
    const Learn_options adding = {true};
    classifier.learn(news, adding);
    EXPECT_EQ(classifier.classify("an election").at(0).name, "news");

    Records records = Records::open(write("n.tsv", "refund\tmoney\n\nmoon\tx\n"));
    const Error error = error_of([&] { classifier.learn(records); });
    EXPECT_EQ(error.code(), Error_code::unknown_label);
    EXPECT_STREQ(error.what(), (file("n.tsv") + ":3: unknown label \"moon\"").c_str());
    EXPECT_EQ(error.file(), file("n.tsv"));
    EXPECT_EQ(error.line(), 3U);
}

TEST_F(ClassifierTest, CompactContainerCannotLearn) {
    Train_options options;
    options.compact = true;
    Classifier trained = Classifier::train(desk_examples(), options);
    EXPECT_ERROR(trained.learn(desk_examples()), Error_code::unsupported,
                 "the container is compact and can only classify");
    EXPECT_EQ(error_of([&] { trained.learn(desk_examples()); }).file(), "");
    trained.save(file("a.kc"));
    Classifier opened = Classifier::open(file("a.kc"));
    EXPECT_ERROR(opened.learn(desk_examples()), Error_code::unsupported,
                 file("a.kc") + ": the container is compact and can only classify");
}

// A call of learn that fails at any place leaves the container as it was.
TEST_F(ClassifierTest, FailedLearningLeavesTheContainerAsItWas) {
    const Same_identity same;
    Classifier::train(desk_examples(), options_with_tree()).save(file("a.kc"));
    Classifier classifier = Classifier::open(file("a.kc"));
    Learn_options options;
    int failures = 0;
    for (int last = 0; last < 3; ++last) {
        int calls = 0;
        options.progress = [&](double) { return calls++ < last; };
        try {
            classifier.learn(std::vector<Example>{{{"refund"}, "money money"}}, options);
        } catch (const Error& error) {
            ++failures;
            EXPECT_EQ(error.code(), Error_code::interrupted);
            EXPECT_STREQ(error.what(), "the work was interrupted");
            classifier.save(file("b.kc"));
            EXPECT_EQ(bytes_of(file("b.kc")), bytes_of(file("a.kc")));
            expect_same_answers(file("b.kc"), desk_questions(), {}, {});
        }
    }
    EXPECT_GE(failures, 1);

    // The root is a rule node, so a new label has no place.
    Learn_options adding = {true};
    classifier = Classifier::open(file("a.kc"));
    const Error error = error_of([&] {
        classifier.learn(std::vector<Example>{{{"new"}, "x"}}, adding);
    });
    EXPECT_EQ(error.code(), Error_code::wrong_data);
    EXPECT_THAT(error.what(), HasSubstr("example 1: label \"new\" cannot be added: "));
    classifier.save(file("b.kc"));
    EXPECT_EQ(bytes_of(file("b.kc")), bytes_of(file("a.kc")));
}

TEST_F(ClassifierTest, ProgressRisesToOneAndItsExceptionIsTheCause) {
    std::vector<double> reports;
    Train_options options;
    options.progress = [&](double done) {
        reports.push_back(done);
        return true;
    };
    Classifier::train(desk_examples(), options).save(file("a.kc"));
    ASSERT_FALSE(reports.empty());
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    EXPECT_GE(reports.front(), 0.0);
    EXPECT_EQ(reports.back(), 1.0);

    Open_options opening;
    opening.progress = [](double) -> bool { throw std::runtime_error("mine"); };
    const Error error = error_of([&] { Classifier::open(file("a.kc"), opening); });
    EXPECT_EQ(error.code(), Error_code::interrupted);
    ASSERT_NE(error.cause(), nullptr);
    EXPECT_THROW(std::rethrow_exception(error.cause()), std::runtime_error);
}

// Each call would wait for a lock that its own thread has.
TEST_F(ClassifierTest, CallInAProgressFunctionIsRefused) {
    Classifier other = Classifier::train(desk_examples());
    Records records = Records::open(written_examples());
    const std::vector<std::function<void()>> calls = {[&] { Classifier::open(file("a.kc")); },
                                                      [&] { Classifier::train(desk_examples()); },
                                                      [&] { Classifier::train(records); },
                                                      [&] { other.learn(desk_examples()); },
                                                      [&] { other.learn(records); },
                                                      [&] { other.classify("my parcel"); },
                                                      [&] { other.explain("my parcel"); },
                                                      [&] { other.save(file("b.kc")); },
                                                      [&] { other.close(); },
                                                      [&] { other.labels(); },
                                                      [&] { Records::open(file("desk.tsv")); },
                                                      [&] {
                                                          Example example;
                                                          records.next(example);
                                                      }};
    int reports = 0;
    Train_options options;
    options.progress = [&](double) {
        ++reports;
        for (const auto& call : calls) {
            EXPECT_ERROR(call(), Error_code::invalid_argument,
                         "a progress callback must not call this function");
        }
        return true;
    };
    Classifier::train(desk_examples(), options).save(file("a.kc"));
    EXPECT_GE(reports, 1);
    for (const auto& call : calls) {
        EXPECT_NO_THROW(call());
        other = Classifier::train(desk_examples());
        records = Records::open(file("desk.tsv"));
    }
}

// Saving and closing.

TEST_F(ClassifierTest, SavingReplacesOnlyContainers) {
    Classifier classifier = Classifier::train(desk_examples());
    EXPECT_ERROR(
        classifier.save(write("notes.txt", "notes")), Error_code::not_a_container,
        file("notes.txt") + ": this is no knowledge container, and saving replaces no other file");
    EXPECT_EQ(bytes_of(file("notes.txt")), "notes");
    EXPECT_ERROR(classifier.save(file("none/a.kc")), Error_code::cannot_write,
                 "cannot write " + file("none/a.kc") + ": No such file or directory");
    classifier.save(file("a.kc"));
    classifier.save(file("a.kc"));
    EXPECT_EQ(Classifier::open(file("a.kc")).labels(), classifier.labels());
}

TEST_F(ClassifierTest, LockedContainerIsBusy) {
    Classifier classifier = Classifier::train(desk_examples());
    classifier.save(file("a.kc"));
    const std::string before = bytes_of(file("a.kc"));
    const Kc_lock lock(file("a.kc"));
    const Error error = error_of([&] { classifier.save(file("a.kc")); });
    EXPECT_EQ(error.code(), Error_code::busy);
    EXPECT_EQ(error.what(), "cannot write " + file("a.kc") + ": another process is changing it");
    EXPECT_EQ(error.file(), file("a.kc"));
    EXPECT_EQ(bytes_of(file("a.kc")), before);
}

TEST_F(ClassifierTest, FullDiskLeavesTheOldFile) {
    Classifier classifier = Classifier::train(desk_examples());
    classifier.save(file("a.kc"));
    const std::string before = bytes_of(file("a.kc"));
    struct rlimit old = {};
    ::getrlimit(RLIMIT_FSIZE, &old);
    const auto signal_before = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = {1000, old.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    const Error error = error_of([&] { classifier.save(file("a.kc")); });
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, signal_before);
    EXPECT_EQ(error.code(), Error_code::cannot_write);
    EXPECT_EQ(bytes_of(file("a.kc")), before);
}

TEST_F(ClassifierTest, ClosedAndMovedClassifiersRefuseAllCalls) {
    Classifier closed = Classifier::train(desk_examples());
    closed.close();
    closed.close();  // harmless
    Classifier moved = Classifier::train(desk_examples());
    const Classifier target = std::move(moved);
    moved.close();
    for (const auto& row : {std::pair(&closed, "the classifier is closed"),
                            {&moved, "the classifier was moved to another object"}}) {
        Classifier* const classifier = row.first;
        const char* const text = row.second;
        EXPECT_ERROR(classifier->classify("x"), Error_code::closed, text);
        EXPECT_ERROR(classifier->classify(std::vector<Text>{"x"}), Error_code::closed, text);
        EXPECT_ERROR(classifier->explain("x"), Error_code::closed, text);
        EXPECT_ERROR(classifier->learn(desk_examples()), Error_code::closed, text);
        EXPECT_ERROR(classifier->save(file("a.kc")), Error_code::closed, text);
        EXPECT_ERROR(classifier->labels(), Error_code::closed, text);
        EXPECT_ERROR(classifier->analysis(), Error_code::closed, text);
        EXPECT_ERROR(classifier->classify("x", {0}), Error_code::closed, text);
        EXPECT_ERROR(classifier->classify(std::vector<Text>()), Error_code::closed, text);
    }
    EXPECT_EQ(target.labels().size(), 3U);
}

// A library does not change how its process treats signals.
TEST_F(ClassifierTest, SignalsAreAsTheyWereAfterSaving) {
    const auto handlers = [] {
        std::vector<void (*)(int)> all;
        for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGPIPE, SIGXFSZ}) {
            struct sigaction action = {};
            ::sigaction(signal, nullptr, &action);
            all.push_back(action.sa_handler);
        }
        return all;
    };
    const auto before = handlers();
    Classifier classifier = Classifier::train(desk_examples());
    classifier.save(file("a.kc"));
    Classifier::open(file("a.kc")).close();
    EXPECT_EQ(handlers(), before);
    sigset_t blocked = {};
    ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    EXPECT_EQ(::sigismember(&blocked, SIGINT), 0);
}

TEST(ErrorTest, EachCodeHasItsName) {
    const std::vector<std::string> names = {
        "invalid_argument", "not_found",      "cannot_read",   "cannot_write", "not_a_container",
        "damaged",          "other_analysis", "unknown_label", "wrong_data",   "busy",
        "interrupted",      "unsupported",    "out_of_memory", "closed",       "failed"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(name_of(static_cast<Error_code>(i + 1)), names[i]);
    }
    EXPECT_STREQ(name_of(static_cast<Error_code>(0)), "failed");
    EXPECT_STREQ(name_of(static_cast<Error_code>(99)), "failed");
    EXPECT_STREQ(name_of(static_cast<Error_code>(-1)), "failed");
}

}  // namespace

}  // namespace zandrel::tests
