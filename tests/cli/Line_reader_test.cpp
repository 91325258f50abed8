#include "cli/classify/Line_reader.h"

#include <sstream>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Gives its pieces one at a time, as a pipe does, and tells when it is asked for one. An empty
// piece is a failure.
class Pieces : public std::streambuf {
public:
    Pieces(std::vector<std::string> pieces, std::vector<std::string>& events)
        : m_pieces(std::move(pieces)), m_events(events) {}

protected:
    int_type underflow() override {
        m_events.emplace_back("read");
        if (m_next == m_pieces.size()) {
            return traits_type::eof();
        }
        std::string& piece = m_pieces[m_next++];
        if (piece.empty()) {
            throw std::ios::failure("broken");
        }
        setg(piece.data(), piece.data(), piece.data() + piece.size());
        return traits_type::to_int_type(piece.front());
    }

private:
    std::vector<std::string> m_pieces;
    std::vector<std::string>& m_events;
    std::size_t m_next = 0;
};

std::vector<std::string> lines_read(std::istream& input) {
    Line_reader reader(input, [] {});
    std::vector<std::string> lines;
    std::string_view line;
    while (reader.next(line)) {
        lines.emplace_back(line);
    }
    return lines;
}

std::vector<std::string> lines_read(const std::string& bytes) {
    std::istringstream input(bytes);
    return lines_read(input);
}

TEST(LineReaderTest, HandsOutEveryLineEmptyOnesToo) {
    EXPECT_THAT(lines_read("one\n\ntwo\n"), ElementsAre("one", "", "two"));
    EXPECT_THAT(lines_read("\n"), ElementsAre(""));
}

TEST(LineReaderTest, HandsOutLastLineWithoutEnd) {
    EXPECT_THAT(lines_read("one\ntwo"), ElementsAre("one", "two"));
}

TEST(LineReaderTest, HasNoLineOfNothing) {
    EXPECT_THAT(lines_read(""), IsEmpty());
}

TEST(LineReaderTest, KeepsAllOtherBytes) {
    const std::string bytes = std::string("\0\xFF\r", 3) + "a";

    EXPECT_THAT(lines_read(bytes + "\n" + bytes), ElementsAre(bytes, bytes));
}

TEST(LineReaderTest, ReadsLinesLongerThanWhatComesAtOnce) {
    for (const std::size_t length : {8191U, 8192U, 8193U, 100000U}) {
        SCOPED_TRACE(length);
        const std::string line(length, 'a');
        EXPECT_THAT(lines_read(line + "\nb\n" + line), ElementsAre(line, "b", line));
    }
}

TEST(LineReaderTest, JoinsPiecesOfALine) {
    std::vector<std::string> events;
    Pieces pieces({"on", "e\ntw", "o", "\n", "three"}, events);
    std::istream input(&pieces);

    EXPECT_THAT(lines_read(input), ElementsAre("one", "two", "three"));
}

// Whoever waits for an answer to the first line gets it before the second one is there.
TEST(LineReaderTest, SaysSoBeforeItReadsAndNotBefore) {
    std::vector<std::string> events;
    Pieces pieces({"one\ntwo\nth", "ree\n"}, events);
    std::istream input(&pieces);
    Line_reader reader(input, [&] { events.emplace_back("waiting"); });

    std::string_view line;
    while (reader.next(line)) {
        events.emplace_back(line);
    }

    EXPECT_THAT(events, ElementsAre("waiting", "read", "one", "two", "waiting", "read", "three",
                                    "waiting", "read"));
}

TEST(LineReaderTest, TakesTheRestBeforeAFailureForNoLine) {
    std::vector<std::string> events;
    Pieces pieces({"one\ntw", ""}, events);
    std::istream input(&pieces);

    EXPECT_THAT(lines_read(input), ElementsAre("one"));
    EXPECT_TRUE(input.bad());
}

}  // namespace

}  // namespace cli
