#include "zandrel/foundation/trace.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/trace_capture.h"

using zandrel::kTraceDebug;
using zandrel::kTraceWarning;
using zandrel::set_trace_sink;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Trace_file s_trace_file("trace_test.cpp");
const Trace_file s_other_file("other.cpp");

class Raising_sink : public zandrel::Trace_sink {
public:
    void write(int /*level*/, const Trace_file& /*file*/, const char* /*text*/) override {
        ++calls;
        throw std::runtime_error("the log is full");
    }

    int calls = 0;
};

TEST(traceTest, TracingIsOffWithoutASink) {
    Trace_capture capture;
    set_trace_sink(nullptr);

    trace(s_trace_file, kTraceWarning, "warning");
    tracef(s_trace_file, kTraceWarning, "%s", "warning");

    EXPECT_THAT(capture.texts(), IsEmpty());
}

TEST(traceTest, LevelsAreFourAndSixteen) {
    EXPECT_EQ(kTraceWarning, 4);
    EXPECT_EQ(kTraceDebug, 16);
}

TEST(traceTest, SinkGetsLevelFileAndText) {
    Trace_capture capture;

    trace(s_trace_file, kTraceWarning, "a warning");
    tracef(s_other_file, kTraceDebug, "%s has %d of %.2f", "node", -7, 1.5);

    ASSERT_EQ(capture.lines.size(), 2U);
    EXPECT_EQ(capture.lines[0].level, 4);
    EXPECT_EQ(capture.lines[0].file, "trace_test.cpp");
    EXPECT_EQ(capture.lines[0].text, "a warning");
    EXPECT_EQ(capture.lines[1].level, 16);
    EXPECT_EQ(capture.lines[1].file, "other.cpp");
    EXPECT_EQ(capture.lines[1].text, "node has -7 of 1.50");
}

struct Level_row {
    int highest_level;
    std::vector<std::string> traced;
};

TEST(traceTest, OnlyLevelsUpToTheHighestAreTraced) {
    const Level_row rows[] = {
        {3, {}},
        {4, {"4"}},
        {5, {"4", "5"}},
        {15, {"4", "5"}},
        {16, {"4", "5", "16"}},
        {100, {"4", "5", "16", "17"}},
    };
    for (const Level_row& row : rows) {
        SCOPED_TRACE(row.highest_level);
        Trace_capture plain(row.highest_level);
        for (const int level : {4, 5, 16, 17}) {
            trace(s_trace_file, level, std::to_string(level).c_str());
        }
        EXPECT_EQ(plain.texts(), row.traced);

        Trace_capture formatted(row.highest_level);
        for (const int level : {4, 5, 16, 17}) {
            tracef(s_trace_file, level, "%d", level);
        }
        EXPECT_EQ(formatted.texts(), row.traced);
    }
}

TEST(traceTest, DefaultHighestLevelIsDebug) {
    Trace_capture capture(0);
    set_trace_sink(&capture);

    trace(s_trace_file, 16, "debug");
    trace(s_trace_file, 17, "finer than debug");

    EXPECT_THAT(capture.texts(), ElementsAre("debug"));
}

TEST(traceTest, PercentSignsOfPlainTextsAreKept) {
    Trace_capture capture;

    trace(s_trace_file, kTraceDebug, "100 %s %d");

    EXPECT_THAT(capture.texts(), ElementsAre("100 %s %d"));
}

struct Trace_length_row {
    std::size_t given;
    std::size_t kept;
};

TEST(traceTest, FormattedTextsAreCutAt1023Bytes) {
    const Trace_length_row rows[] = {
        {0, 0}, {1022, 1022}, {1023, 1023}, {1024, 1023}, {5000, 1023}};
    for (const Trace_length_row& row : rows) {
        SCOPED_TRACE(row.given);
        Trace_capture capture;

        tracef(s_trace_file, kTraceDebug, "%s", std::string(row.given, 't').c_str());

        EXPECT_THAT(capture.texts(), ElementsAre(std::string(row.kept, 't')));
    }
}

TEST(traceTest, ErrorsOfTheSinkAreIgnored) {
    Raising_sink sink;
    set_trace_sink(&sink);

    EXPECT_NO_THROW(trace(s_trace_file, kTraceWarning, "first"));
    EXPECT_NO_THROW(tracef(s_trace_file, kTraceWarning, "%d", 2));
    set_trace_sink(nullptr);

    EXPECT_EQ(sink.calls, 2);
}

TEST(traceTest, NewSinkReplacesTheOldOne) {
    Trace_capture first;
    Trace_capture second;

    trace(s_trace_file, kTraceWarning, "text");

    EXPECT_THAT(first.texts(), IsEmpty());
    EXPECT_THAT(second.texts(), ElementsAre("text"));
}

TEST(traceTest, FileKeepsItsName) {
    EXPECT_STREQ(s_trace_file.name(), "trace_test.cpp");
}

}  // namespace
