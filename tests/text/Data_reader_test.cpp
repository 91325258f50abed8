#include "text/data/Data_reader.h"

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "text/data/Labelled_text.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A record as "LINE: labels|text|name:type:values", or the error of a bad record.
std::string ShownRecord(const Data_record& record) {
    if (record.error) {
        return record.error->what();
    }
    std::string shown = std::to_string(record.message.line) + ":";
    for (const std::string& label : record.message.labels) {
        shown += " " + label;
    }
    shown += "|" + record.message.text;
    for (const Pair& pair : record.message.pairs) {
        shown += "|" + pair.name + ":" + std::to_string(pair.type);
        for (const std::string& value : pair.values) {
            shown += ":" + value;
        }
    }
    return shown;
}

struct Reader_test_case {
    std::string bytes;
    Data_format format;
    Data_form form = {};
    std::size_t longest = kLongestLine;
    bool needs_labels = true;
};

std::vector<std::string> RecordsOf(const Reader_test_case& data) {
    std::istringstream input(data.bytes);
    Data_source source = {input, "data"};
    source.longest = data.longest;
    source.needs_labels = data.needs_labels;
    const std::unique_ptr<Data_reader> reader = make_data_reader(source, data.format, data.form);
    std::vector<std::string> records;
    for (Data_record record; reader->next(record);) {
        records.push_back(ShownRecord(record));
    }
    return records;
}

std::vector<std::string> CsvRecords(const std::string& bytes, const Data_form& form = {}) {
    return RecordsOf({bytes, Data_format::kCsv, form});
}

std::vector<std::string> JsonRecords(const std::string& bytes, const Data_form& form = {}) {
    return RecordsOf({bytes, Data_format::kJsonLines, form});
}

std::vector<std::string> FasttextRecords(const std::string& bytes) {
    return RecordsOf({bytes, Data_format::kFasttext});
}

Data_form ColumnsForm(std::vector<std::string> texts, std::vector<std::string> labels) {
    Data_form form;
    form.texts = std::move(texts);
    form.labels = std::move(labels);
    return form;
}

template <class Error>
std::string ErrorOfRecords(const Reader_test_case& data) {
    try {
        RecordsOf(data);
    } catch (const Error& error) {
        return error.what();
    }
    return "no error";
}

}  // namespace

// CSV

TEST(DataReaderTest, CsvWithoutHeaderIsLabelAndText) {
    EXPECT_THAT(
        CsvRecords("sport,\"a goal, at last\"\n\n\"food, drink\",\"bread\nand wine\"\ntax,\n"),
        ElementsAre("1: sport|a goal, at last", "3: food, drink|bread\nand wine", "5: tax|"));
}

TEST(DataReaderTest, NamedColumnsAreFoundInTheHeader) {
    EXPECT_THAT(CsvRecords("id,kind,body,subject\n1,sport,at last,a goal\n",
                           ColumnsForm({"subject", "body"}, {"kind"})),
                ElementsAre("2: sport|a goal at last"));
}

TEST(DataReaderTest, HeaderHasDefaultNames) {
    Data_form form;
    form.has_header = true;
    EXPECT_THAT(CsvRecords("text,label\na goal,sport\n", form), ElementsAre("2: sport|a goal"));
    EXPECT_THAT(CsvRecords("label,labels,text\nx,sport,a goal\n", form),
                ElementsAre("2: sport|a goal"));
}

TEST(DataReaderTest, NumberedColumnsNeedNoHeader) {
    EXPECT_THAT(CsvRecords("a goal,7,sport\n", ColumnsForm({"1"}, {"3"})),
                ElementsAre("1: sport|a goal"));
}

TEST(DataReaderTest, LabelSeparatorSplitsLabels) {
    Data_form form;
    form.label_separator = "; ";
    EXPECT_THAT(CsvRecords("sport; news; sport,a goal\nsport; ,a\n", form),
                ElementsAre("1: sport news|a goal", "data:2: record 2: empty label"));
}

TEST(DataReaderTest, SeveralLabelColumnsGiveSeveralLabels) {
    EXPECT_THAT(
        CsvRecords("sport,news,a goal\ntax,,a form\n,,x\n", ColumnsForm({"3"}, {"1", "2"})),
        ElementsAre("1: sport news|a goal", "2: tax|a form", "data:3: record 3: empty label"));
}

TEST(DataReaderTest, RowWithOtherNumberOfColumnsIsBad) {
    EXPECT_THAT(CsvRecords("sport,goal\nfood,bread,cheese\nfood\ntax,form\n"),
                ElementsAre("1: sport|goal",
                            "data:2: record 2: the record has 3 columns, and the first row has 2",
                            "data:3: record 3: the record has 1 column, and the first row has 2",
                            "4: tax|form"));
}

TEST(DataReaderTest, GoodRowInsideARowWithOtherNumberOfColumnsIsRead) {
    EXPECT_THAT(CsvRecords("sport,aa\na,\"open\nsport,good\nz,q\",w\ntax,fee money\n"),
                ElementsAre("1: sport|aa",
                            "data:2: record 2: the record has 3 columns, and the first row has 2",
                            "3: sport|good",
                            "data:4: record 4: a quote in a column that does not begin with a "
                            "quote",
                            "5: tax|fee money"));
    EXPECT_THAT(CsvRecords("\"open\nsport,good\n\"\ntax,fee money\n"),
                ElementsAre("data:1: record 1: there is no column 2, the record has 1 column",
                            "2: sport|good",
                            "data:3: record 3: a quote is not closed before the end of the file",
                            "4: tax|fee money"));
}

TEST(DataReaderTest, RecordWithTooManyValuesIsBad) {
    std::string list = "1";
    for (int i = 0; i < 1000000; ++i) {
        list += ",1";
    }
    EXPECT_THAT(JsonRecords("{\"text\":\"a\",\"label\":\"b\",\"pairs\":{\"t\":[" + list + "]}}\n"),
                ElementsAre("data:1: record 1: the record has more than 1,000,000 values"));
    Data_form table;
    table.texts = {"2"};
    std::string tabs(1000000, '\t');
    EXPECT_THAT(RecordsOf({tabs + "\n", Data_format::kTsv, table}),
                ElementsAre("data:1: record 1: the record has more than 1,000,000 columns"));
}

TEST(DataReaderTest, JsonObjectWithTooManyKeysIsBad) {
    std::string keys;
    for (int i = 0; i <= 1000000; ++i) {
        keys += (i == 0 ? "\"" : ",\"") + std::to_string(i) + "\":1";
    }
    EXPECT_THAT(JsonRecords("{" + keys + "}\n"),
                ElementsAre("data:1: record 1: the record has more than 1,000,000 keys"));
}

TEST(DataReaderTest, RecordWithTooManyLabelsIsBad) {
    std::string labels;
    for (int i = 0; i <= 1000000; ++i) {
        labels += "__label__" + std::to_string(i) + " ";
    }
    EXPECT_THAT(FasttextRecords(labels + "a\n"),
                ElementsAre("data:1: record 1: the record has more than 1,000,000 labels"));
}

TEST(DataReaderTest, ColumnBeyondTheRowIsMissing) {
    EXPECT_THAT(CsvRecords("goal\nfood,bread\n"),
                ElementsAre("data:1: record 1: there is no column 2, the record has 1 column",
                            "2: food|bread"));
}

TEST(DataReaderTest, BadCsvRowHasLineAndRecord) {
    EXPECT_THAT(
        CsvRecords("h1,h2\n\"a\nb\",c\nd,e\"\nf,\"g\nh,i\n", ColumnsForm({"h2"}, {"h1"})),
        ElementsAre(
            "2: a\nb|c", "data:4: record 2: a quote in a column that does not begin with a quote",
            "data:5: record 3: a quote is not closed before the end of the file", "6: h|i"));
}

TEST(DataReaderTest, HeaderWithoutAWantedColumnRaises) {
    EXPECT_EQ(ErrorOfRecords<Data_error>(
                  {"id,body\n1,a\n", Data_format::kCsv, ColumnsForm({"text"}, {"id"})}),
              "data:1: there is no column \"text\" in the header, but \"id\", \"body\"");
    EXPECT_EQ(ErrorOfRecords<Data_error>(
                  {"\nbody,body\n1,a\n", Data_format::kCsv, ColumnsForm({"body"}, {"1"})}),
              "data:2: the column \"body\" is in the header twice; give its number instead");
    EXPECT_EQ(ErrorOfRecords<Data_error>(
                  {"id,body\n1,a\n", Data_format::kCsv, ColumnsForm({"body"}, {"3"})}),
              "data:1: there is no column 3, the header has 2 columns");
    EXPECT_EQ(ErrorOfRecords<Data_error>(
                  {"id,\"body\n1,a\n", Data_format::kCsv, ColumnsForm({"body"}, {"1"})}),
              "data:1: header: a quote is not closed before the end of the file");
}

TEST(DataReaderTest, ColumnZeroIsRefused) {
    EXPECT_EQ(ErrorOfRecords<Usage_error>({"a,b\n", Data_format::kCsv, ColumnsForm({"0"}, {"1"})}),
              "column 0: columns are counted from 1");
}

TEST(DataReaderTest, EmptyTableHasNoRecord) {
    EXPECT_THAT(CsvRecords(""), IsEmpty());
    EXPECT_THAT(CsvRecords("", ColumnsForm({"text"}, {"label"})), IsEmpty());
    EXPECT_THAT(CsvRecords("text,label\n", ColumnsForm({"text"}, {"label"})), IsEmpty());
}

TEST(DataReaderTest, ColumnsOfATableBecomeTypedPairs) {
    Data_form form;
    form.pairs = {{"n", "3"}};
    const auto type_of = [&form](const std::string& column) {
        return CsvRecords("x,y," + column + "\n", form).front();
    };

    EXPECT_EQ(type_of("7"), "1: x|y|n:4:7");
    EXPECT_EQ(type_of("-1.50"), "1: x|y|n:6:-1.5");
    EXPECT_EQ(type_of("1e3"), "1: x|y|n:6:1000");
    EXPECT_EQ(type_of("true"), "1: x|y|n:8:1");
    EXPECT_EQ(type_of("false"), "1: x|y|n:8:0");
    EXPECT_EQ(type_of("2026-01-31T10:00:00Z"), "1: x|y|n:10:1769853600000000");
    EXPECT_EQ(type_of("2026-01-31"), "1: x|y|n:2:2026-01-31");
    EXPECT_EQ(type_of("007"), "1: x|y|n:2:007");
    EXPECT_EQ(type_of("99999999999999999999"), "1: x|y|n:2:99999999999999999999");
    EXPECT_EQ(type_of("1e999"), "1: x|y|n:2:1e999");
    EXPECT_EQ(type_of("null"), "1: x|y|n:2:null");
    EXPECT_EQ(type_of("7 "), "1: x|y|n:2:7 ");
    EXPECT_EQ(type_of("\"1,\"\"n\"\":2\""), "1: x|y|n:2:1,\"n\":2");
    EXPECT_EQ(type_of(""), "1: x|y");
    EXPECT_EQ(type_of("2026-02-30T10:00:00Z"),
              "data:1: record 1: pair \"n\": there is no moment \"2026-02-30T10:00:00Z\"");
}

// TSV

TEST(DataReaderTest, TsvWithNamedColumnsIsATable) {
    EXPECT_THAT(RecordsOf({"id\tkind\tbody\n1\tsport\ta \"goal\"\r\n\n2\ttax\n", Data_format::kTsv,
                           ColumnsForm({"body"}, {"kind"})}),
                ElementsAre("2: sport|a \"goal\"",
                            "data:4: record 2: the record has 2 columns, and the first row has 3"));
}

TEST(DataReaderTest, TsvWithoutColumnsIsLabelAndRest) {
    EXPECT_THAT(RecordsOf({"a,b\tgoal\tat last\nx\n", Data_format::kTsv}),
                ElementsAre("1: a b|goal\tat last", "data:2: no tab between label and text"));
    Data_form form;
    form.label_separator = "";
    EXPECT_THAT(RecordsOf({"a,b\tgoal\n", Data_format::kTsv, form}), ElementsAre("1: a,b|goal"));
}

// JSON lines

TEST(DataReaderTest, JsonLineHasTextLabelsAndPairs) {
    EXPECT_THAT(
        JsonRecords(
            R"({"text": "a goal", "labels": ["sport", "news", "sport"], "pairs": {"size": 7,)"
            R"( "cost": -2.50, "from": "me", "urgent": true, "new": false,)"
            R"( "tags": ["a", "b"], "one": ["a"], "sent": "2026-01-31T10:00:00Z"}})"),
        ElementsAre("1: sport news|a goal|size:4:7|cost:6:-2.5|from:2:me|urgent:8:1|new:8:0|"
                    "tags:2:a:b|one:2:a|sent:10:1769853600000000"));
}

TEST(DataReaderTest, JsonLabelMayBeAStringOrAnInteger) {
    EXPECT_THAT(
        JsonRecords("{\"text\":\"a\",\"label\":\"x,y\"}\n\n \t\n{\"label\":3,\"text\":\"b\"}\r\n"
                    "{\"text\":\"c\",\"label\":1,\"labels\":[2]}"),
        ElementsAre("1: x,y|a", "4: 3|b", "5: 2|c"));
}

TEST(DataReaderTest, JsonKeysCanBeChosen) {
    Data_form form = ColumnsForm({"subject", "body"}, {"kind"});
    form.pairs = {{"size", "bytes"}, {"from", "sender"}};
    form.label_separator = ",";
    EXPECT_THAT(
        JsonRecords(
            R"({"text":1,"labels":null,"body":"last","kind":"a,b","subject":"at","bytes":9})",
            form),
        ElementsAre("1: a b|at last|size:4:9"));
}

TEST(DataReaderTest, ByteOrderMarkBeforeJsonIsSkipped) {
    EXPECT_THAT(JsonRecords("\xEF\xBB\xBF{\"text\":\"a\",\"label\":\"x\"}"), ElementsAre("1: x|a"));
}

TEST(DataReaderTest, UnusedMembersMayHaveAnyValue) {
    EXPECT_THAT(JsonRecords(R"({"id":null,"meta":{"a":[{"a":1,"a":2}]},"text":"a","label":"x"})"),
                ElementsAre("1: x|a"));
}

TEST(DataReaderTest, BadJsonLinesHaveLineAndRecord) {
    struct Row {
        const char* line;
        const char* message;
    };

    const std::string deep = std::string(200, '[') + std::string(200, ']');
    const std::string nested = "{\"text\":\"a\",\"label\":\"x\",\"z\":" + deep + "}";
    const std::vector<Row> rows = {
        {"nope", "not valid JSON at byte 2: syntax error while parsing value - invalid literal"},
        {"{\"text\":\"a\",\"label\":\"x\"} {}",
         "not valid JSON at byte 26: syntax error while parsing value - unexpected '{'; expected "
         "end of input"},
        {"{\"text\":\"\xFF\"}",
         "not valid JSON at byte 10: syntax error while parsing value - invalid string: ill-formed "
         "UTF-8 byte"},
        {"[1]", "the record is no JSON object, but a list"},
        {"7", "the record is no JSON object, but an integer"},
        {"{}", "there is no key \"text\""},
        {"{\"text\":\"a\"}", "there is no key \"label\""},
        {"{\"text\":null,\"label\":\"x\"}", "\"text\" must be a string, not null"},
        {"{\"text\":[\"a\"],\"label\":\"x\"}", "\"text\" must be a string, not a list"},
        {"{\"text\":\"a\",\"label\":\"\"}", "empty label"},
        {"{\"text\":\"a\",\"labels\":[]}", "there is no label"},
        {"{\"text\":\"a\",\"label\":1.5}",
         "\"label\" must be a string, an integer or a list of them, not a number"},
        {"{\"text\":\"a\",\"labels\":[\"x\",true]}",
         "\"labels\" must be a list of strings or integers, not a truth value"},
        {"{\"text\":\"a\",\"text\":\"b\"}", "the key \"text\" is in an object twice"},
        {"{\"a\":1,\"a\":2}", "the key \"a\" is in an object twice"},
        {"{\"text\":\"a\",\"label\":\"x\",\"pairs\":{\"n\":1,\"n\":1}}",
         "the key \"n\" is in an object twice"},
        {"{\"text\":\"a\",\"label\":\"x\",\"pairs\":[1]}",
         "\"pairs\" must be an object, not a list"},
        {"{\"a\":1e400}", "not valid JSON at byte 10: number overflow parsing '1e400'"},
        {nested.c_str(), "lists and objects are nested more than 100 deep"},
    };
    for (const Row& row : rows) {
        const std::string line = row.line;
        EXPECT_THAT(JsonRecords("\n" + line + "\n{\"text\":\"ok\",\"label\":\"x\"}"),
                    ElementsAre("data:2: record 1: " + std::string(row.message), "3: x|ok"))
            << line;
    }
}

TEST(DataReaderTest, PairsThatDoNotMapAreBad) {
    struct Row {
        const char* pair;
        const char* message;
    };

    const std::vector<Row> rows = {
        {"\"n\":null", "pair \"n\": a value cannot be null"},
        {"\"n\":{}", "pair \"n\": a value cannot be an object"},
        {"\"n\":[[1]]", "pair \"n\": a value cannot be a list"},
        {"\"n\":[null]", "pair \"n\": a value cannot be null"},
        {"\"n\":[]", "pair \"n\": the list is empty, so its elements have no type"},
        {"\"n\":[1,2,\"3\"]",
         "pair \"n\": the elements of the list have different types, first in element 3"},
        {"\"n\":[1,2.5]",
         "pair \"n\": the elements of the list have different types, first in element 2"},
        {"\"n\":9223372036854775808",
         "pair \"n\": a value cannot be an integer of more than 64 bits"},
        {"\"n\":-9223372036854775809",
         "pair \"n\": a value cannot be an integer of more than 64 bits"},
        {"\"n\":123456789012345678901234567890",
         "pair \"n\": a value cannot be an integer of more than 64 bits"},
        {"\"n\":\"2026-02-30T00:00:00Z\"",
         "pair \"n\": there is no moment \"2026-02-30T00:00:00Z\""},
        {"\"\":1", "pair \"\": the name is empty"},
        {"\"_SML_KW\":1", "pair \"_SML_KW\": the engine uses names that begin with _SML"},
        {"\"_Categories\":1",
         "pair \"_Categories\": the engine uses names that begin with _Categories"},
        {"\"_ExternalId2\":1",
         "pair \"_ExternalId2\": the engine uses names that begin with _ExternalId"},
    };
    for (const Row& row : rows) {
        EXPECT_THAT(JsonRecords("{\"text\":\"a\",\"label\":\"x\",\"pairs\":{" +
                                std::string(row.pair) + "}}"),
                    ElementsAre("data:1: record 1: " + std::string(row.message)))
            << row.pair;
    }
}

TEST(DataReaderTest, IntegersOf64BitsAreKept) {
    EXPECT_THAT(JsonRecords(R"({"text":"","label":"x","pairs":{"a":9223372036854775807,)"
                            R"("b":-9223372036854775808,"c":0.1,"d":1e300,"e":[true,false]}})"),
                ElementsAre("1: x||a:4:9223372036854775807|b:4:-9223372036854775808|c:6:0.1|"
                            "d:6:1e+300|e:8:1:0"));
}

TEST(DataReaderTest, PairOfOptionAndOfObjectIsBad) {
    Data_form form;
    form.pairs = {{"n", "size"}};
    EXPECT_THAT(JsonRecords(R"({"text":"","label":"x","size":1,"pairs":{"n":2}})", form),
                ElementsAre("data:1: record 1: pair \"n\": --pair gives this pair too"));
}

// Lines of words with labels

TEST(DataReaderTest, WordsWithThePrefixAreLabels) {
    EXPECT_THAT(FasttextRecords("__label__sport __label__news a  goal\tat last\r\n\n"
                                "a __label__x b\n__label__y\n"),
                ElementsAre("1: sport news|a goal at last", "3: x|a b", "4: y|"));
}

TEST(DataReaderTest, LineWithoutALabelIsBad) {
    EXPECT_THAT(FasttextRecords("a goal\n__label__ a\n__label__x b"),
                ElementsAre("data:1: record 1: no word begins with __label__",
                            "data:2: record 2: empty label", "3: x|b"));
}

// All forms

TEST(DataReaderTest, LabelsThatAreNotNeededAreNotRead) {
    EXPECT_THAT(RecordsOf({"a goal\n__label__ b\n", Data_format::kFasttext, {}, 100, false}),
                ElementsAre("1:|a goal", "2:|b"));
    EXPECT_THAT(
        RecordsOf({"{\"text\":\"a\",\"labels\":7.5}", Data_format::kJsonLines, {}, 100, false}),
        ElementsAre("1:|a"));
    EXPECT_THAT(RecordsOf({"body\na\n", Data_format::kCsv, ColumnsForm({"body"}, {}), 100, false}),
                ElementsAre("2:|a"));
    EXPECT_THAT(RecordsOf({"\ta\n", Data_format::kTsv, {}, 100, false}), ElementsAre("1:|a"));
}

TEST(DataReaderTest, TooLongRecordIsBadAndTheNextIsRead) {
    const std::string too_long = "the line is longer than 30 bytes; --max-line raises the limit";
    const std::string filler(40, 'a');

    EXPECT_THAT(RecordsOf({"x," + filler + "\ny,b\n", Data_format::kCsv, {}, 30}),
                ElementsAre("data:1: record 1: " + too_long, "2: y|b"));
    EXPECT_THAT(RecordsOf({"{\"text\":\"" + filler + "\"}\n{\"text\":\"a\",\"label\":\"x\"}\n",
                           Data_format::kJsonLines,
                           {},
                           30}),
                ElementsAre("data:1: record 1: " + too_long, "2: x|a"));
    EXPECT_THAT(
        RecordsOf({"__label__x " + filler + "\n__label__y b\n", Data_format::kFasttext, {}, 30}),
        ElementsAre("data:1: record 1: " + too_long, "2: y|b"));
    EXPECT_THAT(RecordsOf({"x\t" + filler + "\ny\tb\n", Data_format::kTsv, {}, 30}),
                ElementsAre("data:1: " + too_long, "2: y|b"));
}

TEST(DataReaderTest, OptionsOfAnotherFormatAreRefused) {
    Data_form header;
    header.has_header = true;
    EXPECT_EQ(ErrorOfRecords<Usage_error>({"", Data_format::kJsonLines, header}),
              "data has the format jsonl, for which there is no --header");
    EXPECT_EQ(ErrorOfRecords<Usage_error>({"", Data_format::kFasttext, ColumnsForm({"1"}, {})}),
              "data has the format fasttext, for which there is no --text");
    EXPECT_EQ(ErrorOfRecords<Usage_error>({"", Data_format::kFasttext, ColumnsForm({}, {"1"})}),
              "data has the format fasttext, for which there is no --label");
    Data_form pair;
    pair.pairs = {{"n", "1"}};
    EXPECT_EQ(ErrorOfRecords<Usage_error>({"", Data_format::kFasttext, pair}),
              "data has the format fasttext, for which there is no --pair");
    Data_form separator;
    separator.label_separator = ",";
    EXPECT_EQ(ErrorOfRecords<Usage_error>({"", Data_format::kFasttext, separator}),
              "data has the format fasttext, for which there is no --label-separator");
}

TEST(DataReaderTest, BootstrapReadsTitleAndKeywords) {
    const auto read = [](const std::string& bytes, Data_format format) {
        std::istringstream input(bytes);
        Data_form form;
        form.format = format;
        const Labelled_text text =
            read_labelled_texts(input, "data", nullptr, Columns::kTextTitleKeywords, kLongestLine,
                                form)
                .front();
        return text.text + "|" + text.title + "|" + text.keywords;
    };

    EXPECT_EQ(read("x,a,b,c\n", Data_format::kCsv), "a|b|c");
    EXPECT_EQ(
        read(R"({"keywords":"c","title":"b","text":"a","label":"x"})", Data_format::kJsonLines),
        "a|b|c");
}

TEST(DataReaderTest, SkippedRecordsAreCounted) {
    std::istringstream input("sport,goal\nfood,\"bread\nfood,cheese\ntax\ntax,form\n");
    Data_form form;
    form.format = Data_format::kCsv;
    Skipped_lines skipped;

    const std::vector<Labelled_text> texts =
        read_labelled_texts(input, "data", &skipped, Columns::kText, kLongestLine, form);

    ASSERT_EQ(texts.size(), 3U);
    EXPECT_EQ(texts[1].text, "cheese");
    EXPECT_EQ(texts[2].text, "form");
    EXPECT_EQ(skipped.count, 2U);
    EXPECT_EQ(skipped.first, "data:2: record 2: a quote is not closed before the end of the file");
}

// The form of a file

TEST(DataFormTest, NameOfAFileDecidesAboutItsFormat) {
    EXPECT_EQ(format_of_data("a.csv", {}), Data_format::kCsv);
    EXPECT_EQ(format_of_data("a.tsv.CSV.GZ", {}), Data_format::kCsv);
    EXPECT_EQ(format_of_data("a.jsonl.zst", {}), Data_format::kJsonLines);
    EXPECT_EQ(format_of_data("a.json", {}), Data_format::kJsonLines);
    EXPECT_EQ(format_of_data("a.ndjson", {}), Data_format::kJsonLines);
    EXPECT_EQ(format_of_data("a.ft", {}), Data_format::kFasttext);
    EXPECT_EQ(format_of_data("a.fasttext", {}), Data_format::kFasttext);
    EXPECT_EQ(format_of_data("a.txt", {}), Data_format::kTsv);
    EXPECT_EQ(format_of_data("-", {}), Data_format::kTsv);
    Data_form form;
    form.format = Data_format::kFasttext;
    EXPECT_EQ(format_of_data("a.csv", form), Data_format::kFasttext);
}

TEST(DataFormTest, FilterReadsLinesUnlessTheNameSaysMore) {
    EXPECT_EQ(format_of_texts("a.tsv", {}), Data_format::kLines);
    EXPECT_EQ(format_of_texts("-", {}), Data_format::kLines);
    EXPECT_EQ(format_of_texts("a.csv.gz", {}), Data_format::kCsv);
    EXPECT_EQ(format_of_texts("a.tsv", ColumnsForm({"body"}, {})), Data_format::kTsv);
    EXPECT_EQ(format_of_texts("a.txt", ColumnsForm({"body"}, {})), Data_format::kLines);
}

TEST(DataFormTest, PairColumnIsTheNameUnlessGiven) {
    EXPECT_EQ(pair_column_of("size").column, "size");
    EXPECT_EQ(pair_column_of("size=3").name, "size");
    EXPECT_EQ(pair_column_of("size=3").column, "3");
    EXPECT_THROW(pair_column_of("=3"), Usage_error);
    EXPECT_THROW(pair_column_of("size="), Usage_error);
    EXPECT_THROW(pair_column_of("_SMLx=3"), Usage_error);
    EXPECT_THROW(pair_column_of(""), Usage_error);
}

}  // namespace zandrel::cli
