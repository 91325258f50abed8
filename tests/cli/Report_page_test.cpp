#include "cli/report/Report_page.h"

#include <sstream>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "cli/report/Report_collector.h"
#include "tests/cli/scratch_folder.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::HasSubstr;
using testing::Not;

std::string report_refusal(const std::string& file) {
    try {
        check_report_file(file);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

std::string page_of(const Report_source& source, const Evaluation& evaluation,
                    const Report_data& data) {
    std::ostringstream out;
    write_report_page(source, evaluation, nullptr, data, out);
    return out.str();
}

// Two golf texts, one of them with the answer chess.
Report_data golf_data() {
    Report_collector collector;
    const Labelled_text text = {{"golf"}, "a <b>"};
    collector.add({text, 0, {{"golf", 0.9}}});
    collector.add({text, 1, {{"chess", 0.7}, {"golf", 0.25}}});
    return collector.data();
}

TEST(ReportPageTest, NewFileEmptyFileAndReportAreAccepted) {
    const Scratch_folder folder;
    const std::string page = page_of({}, {}, {});
    EXPECT_EQ(report_refusal(folder.file("new.html")), "none");
    EXPECT_EQ(report_refusal(folder.write("empty.html", "")), "none");
    EXPECT_EQ(report_refusal(folder.write("old.html", page)), "none");
}

TEST(ReportPageTest, OtherFilesAreRefused) {
    const Scratch_folder folder;
    EXPECT_THAT(report_refusal(folder.write("data.tsv", "golf\ta\n")),
                HasSubstr("data.tsv: this file is no report"));
    EXPECT_THAT(report_refusal(folder.write("page.html", "<!doctype html>\n<html lang=\"en\">")),
                HasSubstr("no report"));
    EXPECT_EQ(folder.content("data.tsv"), "golf\ta\n");
}

TEST(ReportPageTest, StandardOutputAndAFolderThatDoesNotExistAreRefused) {
    const Scratch_folder folder;
    EXPECT_THAT(report_refusal("-"), HasSubstr("--report needs a file"));
    EXPECT_THROW(check_report_file(folder.file("missing/page.html")), Output_error);
}

TEST(ReportPageTest, TextsCannotFillPlacesOfThePage) {
    Report_source source;
    source.title = "{{data}} {{no_such_place}}";
    EXPECT_THAT(page_of(source, {}, {}), HasSubstr("<h1>{{data}} {{no_such_place}}</h1>"));
}

TEST(ReportPageTest, TitleIsEscaped) {
    Report_source source;
    source.title = "<x>";
    EXPECT_THAT(page_of(source, {}, {}), HasSubstr("<title>&lt;x&gt;</title>"));
}

TEST(ReportPageTest, DataHaveTheCellsWithTheirTexts) {
    const nlohmann::ordered_json json = page_json({}, golf_data());
    EXPECT_EQ(json["labels"], (nlohmann::ordered_json{"chess", "golf"}));
    // Row golf: one text got chess and one golf. The second cell's text is the second sample.
    EXPECT_EQ(json["cells"].dump(), "[[1,0,1,0,1],[1,1,1,1,1]]");
    EXPECT_EQ(json["samples"].dump(), R"([["a <b>",0.7,0.25,null],["a <b>",0.9,0.9,null]])");
    EXPECT_EQ(json["has_no_answer"], false);
}

TEST(ReportPageTest, TextsWithoutAnswerAreNoTextsWithAWrongLabel) {
    Report_collector collector;
    const Labelled_text text = {{"golf"}, "a"};
    collector.add({text, 0, {}});
    const std::string page = page_of({}, {}, collector.data());
    EXPECT_THAT(page, HasSubstr("No text got a wrong label. 1 text got no answer."));
    EXPECT_THAT(page, Not(HasSubstr("There is no wrong answer.")));
}

TEST(ReportPageTest, BlankCategoryHasAName) {
    Report_collector collector;
    const Labelled_text text = {{" "}, "a"};
    collector.add({text, 0, {{" ", 0.9}}});
    EXPECT_EQ(page_json({}, collector.data())["labels"],
              nlohmann::ordered_json::array({"(blank)"}));
}

// 100 %, 98 % and so on of one text are one text, so there is one row.
TEST(ReportPageTest, AnsweredShareThatIsThatOfTheRowBeforeIsLeftOut) {
    Evaluation evaluation;
    Answered_share_counter counter;
    counter.add({0.25679, true});
    evaluation.answered.points = counter.points();
    const std::string page = page_of({}, evaluation, {});
    const std::size_t row = page.find("<td class=\"number\">0.2568</td>");
    ASSERT_NE(row, std::string::npos);
    EXPECT_EQ(page.find("<td class=\"number\">0.2568</td>", row + 1), std::string::npos);
}

TEST(ReportPageTest, AnswerOfNoLabelHasAColumnOfItsOwn) {
    Report_collector collector;
    const Labelled_text text = {{"golf"}, "a"};
    collector.add({text, 0, {}});
    const nlohmann::ordered_json json = page_json({}, collector.data());
    EXPECT_EQ(json["cells"].dump(), "[[0,1,1,0,1]]");
    EXPECT_EQ(json["has_no_answer"], true);
}

}  // namespace

}  // namespace zandrel::cli
