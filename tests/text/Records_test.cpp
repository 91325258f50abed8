// Records: each data form gives the same examples as it has, and errors name file and line.
#include "zandrel/text/Records.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/text/Classifier.h"

#include "cli/corpus/Corpus_import.h"
#include "tests/cli/scratch_folder.h"
#include "text/data/Bad_record.h"
#include "text/data/Json_fields.h"
#include "text/data/Pair_values.h"

namespace zandrel::tests {

namespace {

using testing::ElementsAre;

// "label,label: text {name=value ...}"
std::string written(const Example& example) {
    std::string line;
    for (const std::string& label : example.labels) {
        line += (line.empty() ? "" : ",") + label;
    }
    line += ": " + example.text;
    for (const Field& field : example.fields) {
        line += " {" + field.name + "=" + field.value + " " +
                std::to_string(static_cast<int>(field.type)) + "}";
    }
    return line;
}

class RecordsTest : public testing::Test {
protected:
    std::vector<std::string> read(const std::string& name, const std::string& content,
                                  const Record_form& form = {}) const {
        Records records = Records::open(m_folder.write(name, content), form);
        std::vector<std::string> all;
        for (Example example; records.next(example);) {
            all.push_back(written(example));
        }
        return all;
    }

    // "code: text", without the folder.
    std::string error_of(const std::function<void()>& work) const {
        try {
            work();
        } catch (const Error& error) {
            std::string text = error.what();
            const std::string folder = m_folder.file("");
            for (auto at = text.find(folder); at != std::string::npos; at = text.find(folder)) {
                text.erase(at, folder.size());
            }
            return std::string(name_of(error.code())) + ": " + text;
        }
        return "no error";
    }

    cli::Scratch_folder m_folder;
};

TEST_F(RecordsTest, EachFormIsReadByTheNameOfItsFile) {
    EXPECT_THAT(read("a.tsv", "x,y\tone\ttab\r\n\nz\ttwo"), ElementsAre("x,y: one\ttab", "z: two"));
    EXPECT_THAT(read("a.csv", "label,text\nx,\"one, two\"\n", {"", {}, {}, {}, true}),
                ElementsAre("x: one, two"));
    EXPECT_THAT(read("a.ft", "__label__x one two\n"), ElementsAre("x: one two"));
    EXPECT_THAT(
        read("a.jsonl",
             "{\"labels\": [\"x\", \"y\"], \"text\": \"one\", \"pairs\": {\"n\": 7, \"d\": -1.5, "
             "\"b\": true, \"s\": \"t\", \"l\": [\"p\", \"q\"], "
             "\"m\": \"2026-01-31T10:00:00.25+01:00\"}}\n"),
        ElementsAre("x,y: one {n=7 1} {d=-1.5 1} {b=true 3} {s=t 0} {l=p 0} {l=q 0} "
                    "{m=2026-01-31T09:00:00.25Z 2}"));
    EXPECT_THAT(read("a.txt", "{\"label\": \"x\", \"text\": \"one\"}\n", {"jsonl"}),
                ElementsAre("x: one"));
}

TEST_F(RecordsTest, ColumnsAndFieldsAreChosenByNameOrNumber) {
    Record_form form;
    form.text_columns = {"title", "body"};
    form.label_columns = {"kind"};
    form.field_columns = {"size", "lang=language"};
    form.label_separator = "|";
    EXPECT_THAT(read("a.csv", "kind,title,body,size,language\nx|y,T,B,12,de\n", form),
                ElementsAre("x,y: T B {size=12 1} {lang=de 0}"));
    form = {};
    form.text_columns = {"3"};
    form.label_columns = {"1"};
    EXPECT_THAT(read("a.tsv", "x\tskipped\ttext\n", form), ElementsAre("x: text"));
}

// The types of a table's values are those that a JSON parser finds.
TEST(PairValuesTest, ValuesOfAColumnHaveTheTypesOfJson) {
    std::vector<std::string> values = {"true",
                                       "false",
                                       "null",
                                       "0",
                                       "-0",
                                       "-0.0",
                                       "00",
                                       "+1",
                                       ".5",
                                       "5.",
                                       "-",
                                       "1e5",
                                       "1E+05",
                                       "1e",
                                       "1e-400",
                                       "-1e-400",
                                       "1e400",
                                       "4.9e-324",
                                       "2e-324",
                                       "1e308",
                                       "1.8e308",
                                       "0e999",
                                       "9223372036854775807",
                                       "9223372036854775808",
                                       "-9223372036854775808",
                                       "-9223372036854775809",
                                       "18446744073709551616",
                                       "0.1",
                                       "123456789.123456789",
                                       " 1",
                                       "1 ",
                                       "0x10",
                                       "nan",
                                       "inf",
                                       std::string(64, '1'),
                                       std::string(62, '0') + ".5",
                                       "0." + std::string(62, '3'),
                                       "0." + std::string(63, '3'),
                                       std::string(60, '9') + "e-370",
                                       std::string(60, '9') + "e250"};
    std::mt19937 random(7);
    const std::string characters = "+-.0123456789eE";
    for (int i = 0; i < 20000; ++i) {
        std::string value;
        for (std::size_t size = 1 + random() % 8; size > 0; --size) {
            value += characters[random() % characters.size()];
        }
        values.push_back(value);
    }
    int numbers = 0;
    for (const std::string& value : values) {
        const std::optional<Pair> pair = pair_of("x", value);
        Json_field parsed = {"", Json_field::Kind::kString, value};
        try {
            const std::vector<Json_field> members =
                parse_json_object("{\"x\":" + value + "}", [](const std::string&) { return true; });
            const Json_field::Kind kind = members.front().kind;
            const bool is_short = value.size() <= 64 && value.find(' ') == std::string::npos;
            if (is_short && kind != Json_field::Kind::kHugeInteger &&
                kind != Json_field::Kind::kNull) {
                parsed = members.front();
            }
        } catch (const Bad_record&) {  // not JSON
        }
        const Pair expected = pair_of("x", parsed);
        ASSERT_TRUE(pair);
        EXPECT_EQ(pair->type, expected.type) << value;
        EXPECT_EQ(pair->values, expected.values) << value;
        numbers += parsed.kind == Json_field::Kind::kNumber ? 1 : 0;
    }
    EXPECT_GT(numbers, 100);
}

TEST_F(RecordsTest, FieldsThatWereReadCanBeUsedForClassifying) {
    Records records = Records::open(
        m_folder.write("a.jsonl",
                       "{\"label\": \"x\", \"text\": \"one\", \"pairs\": {\"l\": [1, 2], "
                       "\"m\": \"2026-01-31T10:00:00Z\", \"b\": false}}\n"));
    Example example;
    ASSERT_TRUE(records.next(example));
    const Classifier classifier = Classifier::train(std::vector<Example>{example});
    Text text = example.text;
    text.fields = example.fields;
    EXPECT_EQ(classifier.classify(text).at(0).name, "x");
}

TEST_F(RecordsTest, CorpusFileGivesItsTextsAndItsAnalysis) {
    cli::Import_options import;
    import.corpus_file = m_folder.file("a.corpus");
    import.data_files = {
        m_folder.write("a.jsonl",
                       "{\"label\": \"x\", \"text\": \"One two\", \"pairs\": {\"n\": 7}}\n"
                       "{\"label\": \"y\", \"text\": \"three\"}\n")};
    import.analysis = {Analysis_kind::kWords, "english"};
    import_texts(import);

    Records records = Records::open(m_folder.file("a.corpus"));
    Example example;
    ASSERT_TRUE(records.next(example));
    EXPECT_EQ(written(example), "x: One two {n=7 1}");
    ASSERT_TRUE(records.next(example));
    EXPECT_EQ(written(example), "y: three");
    EXPECT_FALSE(records.next(example));

    records = Records::open(m_folder.file("a.corpus"));
    Classifier classifier = Classifier::train(records);
    EXPECT_EQ(classifier.analysis(), (Analysis{"words", "english"}));
    records = Records::open(m_folder.file("a.corpus"));
    classifier.learn(records);
    records = Records::open(m_folder.file("a.corpus"));
    Train_options options;
    options.analysis = Analysis();
    EXPECT_EQ(error_of([&] { Classifier::train(records, options); }),
              "other_analysis: a.corpus: its texts were analysed as \"words\" with the stemmer "
              "english");
    EXPECT_EQ(error_of([&] { Records::open(m_folder.file("a.corpus"), {"csv"}); }).substr(0, 16),
              "invalid_argument");
}

TEST_F(RecordsTest, NextRecordIsReadAfterABadOne) {
    Records records = Records::open(m_folder.write("a.tsv", "x\tone\nbad\nz\tthree\n"));
    Example example;
    ASSERT_TRUE(records.next(example));
    try {
        records.next(example);
        ADD_FAILURE() << "no error";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), Error_code::wrong_data);
        EXPECT_EQ(error.file(), m_folder.file("a.tsv"));
        EXPECT_EQ(error.line(), 2U);
        EXPECT_STREQ(error.what(),
                     (m_folder.file("a.tsv") + ":2: no tab between label and text").c_str());
    }
    ASSERT_TRUE(records.next(example));
    EXPECT_EQ(written(example), "z: three");
    EXPECT_FALSE(records.next(example));
    EXPECT_FALSE(records.next(example));
}

// Training must not take the good records of such a file for the whole file.
TEST_F(RecordsTest, FailureOfTheFileIsRaisedOnceAndThenTheEndComes) {
    const auto expect_end = [&](Records records, const std::string& failure) {
        SCOPED_TRACE(failure);
        Example example;
        EXPECT_EQ(error_of([&] { records.next(example); }), failure);
        EXPECT_FALSE(records.next(example));
        EXPECT_FALSE(records.next(example));
        EXPECT_EQ(error_of([&] { Classifier::train(records); }), failure);
        EXPECT_FALSE(records.next(example));
    };
    const auto open = [&](const std::string& name, const std::string& content,
                          const Record_form& form = {}) {
        return Records::open(m_folder.write(name, content), form);
    };

    // `printf 'x\tone\n' | gzip -n` without its last bytes, and with a wrong byte
    const std::string packed(
        "\x1F\x8B\x08\x00\x00\x00\x00\x00\x00\x03\xAB\xE0\xCC\xCF\x4B\xE5\x02\x00", 18);
    expect_end(open("cut.tsv.gz", packed.substr(0, 12)),
               "wrong_data: cut.tsv.gz: the compressed data ends too early, after 12 bytes");
    std::string damaged = packed;
    damaged[10] = '\x07';
    expect_end(open("damaged.tsv.gz", damaged),
               "wrong_data: damaged.tsv.gz: the compressed data is damaged near byte 11: invalid "
               "block type");
    expect_end(open("a.csv", "kind,text\nx,one\n", {"", {"body"}, {"kind"}}),
               "wrong_data: a.csv:1: there is no column \"body\" in the header, but \"kind\", "
               "\"text\"");
    expect_end(open("b.csv", "kind,\"text\nx,one\n", {"", {}, {}, {}, true}),
               "wrong_data: b.csv:1: header: a quote is not closed before the end of the file");

    // The rows of another length are bad records; the first row is the failure.
    Records rows = open("c.csv", "x,one,two\nx,one\nx,two\n");
    Example example;
    EXPECT_TRUE(rows.next(example));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(error_of([&] { rows.next(example); }).substr(0, 18), "wrong_data: c.csv:");
    }
    expect_end(std::move(rows),
               "wrong_data: c.csv:1: the first row has 3 columns, and 2 other rows have another "
               "number; remove the first row if it is no data, or give format or has_header");
}

TEST_F(RecordsTest, WrongFilesAndFormsAreRefused) {
    const std::string file = m_folder.write("a.tsv", "x\tone\n");
    const auto open = [&](const std::string& path, const Record_form& form) {
        return error_of([&] { Records::open(path, form); });
    };
    EXPECT_EQ(open(m_folder.file("none.tsv"), {}),
              "not_found: cannot read none.tsv: No such file or directory");
    EXPECT_EQ(open(m_folder.file(""), {}).substr(0, 12), "cannot_read:");
    EXPECT_EQ(open(file, {"xml"}),
              "invalid_argument: unknown format \"xml\"; it can be tsv, csv, jsonl, fasttext or "
              "lines");
    EXPECT_EQ(open("", {}), "invalid_argument: the name of the file is empty");
    EXPECT_EQ(open(std::string("a\0b", 3), {}),
              "invalid_argument: the name of the file has a zero byte: a\\x00"
              "b");
    EXPECT_EQ(open(file, {"", {""}}), "invalid_argument: the name of a column is empty");
    EXPECT_EQ(open(file, {"", {}, {}, {"a=1", "a=2"}}),
              "invalid_argument: the field \"a\" is given twice");
    EXPECT_EQ(open(file, {"", {}, {}, {"_SML=1"}}).substr(0, 17), "invalid_argument:");
    EXPECT_EQ(open(file, {"", {"0"}, {"1"}}),
              "invalid_argument: column 0: columns are counted from 1");
    Classifier::train(std::vector<Example>{{{"x"}, "one"}}).save(m_folder.file("a.kc"));
    EXPECT_EQ(open(m_folder.file("a.kc"), {}),
              "wrong_data: a.kc: this is a knowledge container, and no data file");
    EXPECT_EQ(open(m_folder.write("a.tsv.gz", "plain"), {}),
              "wrong_data: a.tsv.gz: this is not compressed with gzip, as .gz promises");
    Records empty = Records::open(m_folder.write("empty.tsv", ""));
    EXPECT_EQ(error_of([&] { Classifier::train(empty); }), "wrong_data: empty.tsv: no data line");
}

TEST_F(RecordsTest, RecordsWithoutLabelsAreReadButNotLearned) {
    Record_form form;
    form.has_labels = false;
    EXPECT_THAT(
        read("a.jsonl", "{\"text\": \"my parcel\"}\n{\"text\": \"x\", \"label\": 1.5}\n", form),
        ElementsAre(": my parcel", ": x"));
    EXPECT_THAT(read("l.tsv", "\tone\n", form), ElementsAre(": one"));
    EXPECT_THAT(read("a.ft", "just words\n", form), ElementsAre(": just words"));
    form.has_header = true;
    EXPECT_THAT(read("a.csv", "id,text\n1,\"my, parcel\"\n", form), ElementsAre(": my, parcel"));
    form.has_header = false;
    form.text_columns = {"1"};
    EXPECT_THAT(read("u.csv", "my parcel\nlamp\n", form), ElementsAre(": my parcel", ": lamp"));

    Records records = Records::open(m_folder.file("u.csv"), form);
    EXPECT_EQ(error_of([&] { Classifier::train(records); }),
              "invalid_argument: u.csv: its records are read without labels");
    Classifier classifier = Classifier::train(std::vector<Example>{{{"x"}, "lamp"}});
    EXPECT_EQ(error_of([&] { classifier.learn(records); }),
              "invalid_argument: u.csv: its records are read without labels");
    Example example;
    EXPECT_TRUE(records.next(example));  // nothing was read by the refused calls
    EXPECT_EQ(example.text, "my parcel");
}

TEST_F(RecordsTest, EachLineIsATextInTheFormatLines) {
    EXPECT_THAT(read("a.txt", "one\ttwo\r\n\n three\nfour", {"lines"}),
                ElementsAre(": one\ttwo", ": ", ":  three", ": four"));
    const std::string refusal =
        "invalid_argument: the format lines has no columns, no header and no labels";
    const std::string file = m_folder.file("a.txt");
    EXPECT_EQ(error_of([&] { Records::open(file, {"lines", {"1"}}); }), refusal);
    EXPECT_EQ(error_of([&] { Records::open(file, {"lines", {}, {}, {}, false, ","}); }), refusal);
    Records lines = Records::open(file, {"lines"});
    EXPECT_EQ(error_of([&] { Classifier::train(lines); }),
              "invalid_argument: a.txt: its records are read without labels");
}

// A caller has members of Record_form, and no options of a command line.
TEST_F(RecordsTest, MessagesNameMembersInsteadOfOptions) {
    const std::string file = m_folder.write("a.ft", "__label__x one\n");
    const auto open = [&](const Record_form& form) {
        return error_of([&] { Records::open(file, form); });
    };
    const std::string begin = "invalid_argument: a.ft has the format fasttext, for which there ";
    EXPECT_EQ(open({"", {"1"}}), begin + "are no text_columns");
    EXPECT_EQ(open({"", {}, {"1"}}), begin + "are no label_columns");
    EXPECT_EQ(open({"", {}, {}, {"a=1"}}), begin + "are no field_columns");
    EXPECT_EQ(open({"", {}, {}, {}, true}), begin + "is no has_header");
    EXPECT_EQ(open({"", {}, {}, {}, false, ","}), begin + "is no label_separator");
    EXPECT_EQ(open({"", {}, {}, {"=1"}}).substr(0, 32), "invalid_argument: field_columns ");

    EXPECT_EQ(error_of([&] {
                  read("a.jsonl", "{\"text\":\"t\",\"label\":\"x\",\"b\":1,\"pairs\":{\"a\":2}}\n",
                       {"", {}, {}, {"a=b"}});
              }),
              "wrong_data: a.jsonl:1: record 1: pair \"a\": field_columns gives this field too");
    EXPECT_EQ(error_of([&] {
                  Records rows = Records::open(m_folder.write("b.csv", "x,1,2\ny,1\nz,1\n"));
                  for (Example row; true;) {
                      try {
                          if (!rows.next(row)) {
                              break;
                          }
                      } catch (const Error& error) {
                          if (error.line() == 1) {
                              throw;
                          }
                      }
                  }
              }),
              "wrong_data: b.csv:1: the first row has 3 columns, and 2 other rows have another "
              "number; remove the first row if it is no data, or give format or has_header");
    const std::string longest(64 * 1024 * 1024 + 1, 'a');
    EXPECT_EQ(error_of([&] { read("long.tsv", "x\t" + longest + "\n"); }),
              "wrong_data: long.tsv:1: the line is longer than 67,108,864 bytes");
}

TEST_F(RecordsTest, MinusIsAFileAndNotStandardInput) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(m_folder.file(""));
    m_folder.write("-", "x\tone\n");
    Records records = Records::open("-");
    Example example;
    const bool is_read = records.next(example);
    std::filesystem::current_path(before);
    EXPECT_TRUE(is_read);
}

TEST_F(RecordsTest, MovedRecordsRefuseAllCalls) {
    Records records = Records::open(m_folder.write("a.tsv", "x\tone\n"));
    Records other = std::move(records);
    Example example;
    EXPECT_EQ(error_of([&] { records.next(example); }),
              "closed: the records were moved to another object");
    EXPECT_EQ(error_of([&] { Classifier::train(records); }),
              "closed: the records were moved to another object");
    EXPECT_TRUE(other.next(example));
}

}  // namespace

}  // namespace zandrel::tests
