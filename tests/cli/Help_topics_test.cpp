#include "cli/help/Help_topics.h"

#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

constexpr std::size_t kWidestLine = 104;

TEST(HelpTopicsTest, EachTopicIsFoundByItsName) {
    std::set<std::string_view> names;
    for (const Help_topic& topic : help_topics()) {
        SCOPED_TRACE(topic.name);
        EXPECT_EQ(find_help_topic(topic.name), &topic);
        EXPECT_TRUE(names.insert(topic.name).second);
    }
    EXPECT_GE(names.size(), 7U);
    EXPECT_EQ(find_help_topic("train"), nullptr);
    EXPECT_EQ(find_help_topic(""), nullptr);
}

TEST(HelpTopicsTest, TextsFitTheHelpPages) {
    for (const Help_topic& topic : help_topics()) {
        SCOPED_TRACE(topic.name);
        EXPECT_LE(topic.summary.size(), 70U) << "it shares its line with the name";
        EXPECT_EQ(topic.summary.find('\n'), std::string_view::npos);
        ASSERT_FALSE(topic.text.empty());
        EXPECT_NE(topic.text.back(), '\n') << "whoever prints it ends the line";
        std::istringstream lines{std::string(topic.text)};
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), kWidestLine) << line;
            EXPECT_TRUE(line.empty() || line.back() != ' ') << line;
        }
    }
}

}  // namespace

}  // namespace zandrel::cli
