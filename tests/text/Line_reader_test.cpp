#include "text/data/Line_reader.h"

#include <algorithm>
#include <sstream>
#include <streambuf>
#include <string>
#include <sys/resource.h>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Returns its pieces one at a time, as a pipe does, and records each read. An empty piece means a
// read error.
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

// The peak memory of the process so far, in KiB.
long peak_memory() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

std::vector<std::string> lines_read(std::istream& input) {
    Line_reader reader(input, [] {});
    std::vector<std::string> lines;
    std::string_view line;
    while (reader.next(line)) {
        lines.emplace_back(line);
    }
    return lines;
}

// The lines of an input with a length limit; "(too long)" for longer lines.
std::vector<std::string> limited_lines_of(std::istream& input, std::size_t longest) {
    Line_reader reader(
        input, [] {}, longest);
    std::vector<std::string> lines;
    std::string_view line;
    while (reader.next(line)) {
        EXPECT_TRUE(line.empty() || !reader.is_too_long());
        lines.emplace_back(reader.is_too_long() ? "(too long)" : line);
    }
    return lines;
}

std::vector<std::string> limited_lines_of(const std::string& bytes, std::size_t longest) {
    std::istringstream input(bytes);
    return limited_lines_of(input, longest);
}

std::vector<std::string> lines_read(const std::string& bytes) {
    std::istringstream input(bytes);
    return lines_read(input);
}

TEST(LineReaderTest, AllLinesAreReturnedAlsoEmptyOnes) {
    EXPECT_THAT(lines_read("one\n\ntwo\n"), ElementsAre("one", "", "two"));
    EXPECT_THAT(lines_read("\n"), ElementsAre(""));
}

TEST(LineReaderTest, LastLineWithoutEndIsReturned) {
    EXPECT_THAT(lines_read("one\ntwo"), ElementsAre("one", "two"));
}

TEST(LineReaderTest, EmptyInputHasNoLine) {
    EXPECT_THAT(lines_read(""), IsEmpty());
}

TEST(LineReaderTest, AllOtherBytesAreKept) {
    const std::string bytes = std::string("\0\xFF\r", 3) + "a";

    EXPECT_THAT(lines_read(bytes + "\n" + bytes), ElementsAre(bytes, bytes));
}

TEST(LineReaderTest, LinesLongerThanABlockAreRead) {
    for (const std::size_t length : {8191U, 8192U, 8193U, 100000U}) {
        SCOPED_TRACE(length);
        const std::string line(length, 'a');
        EXPECT_THAT(lines_read(line + "\nb\n" + line), ElementsAre(line, "b", line));
    }
}

TEST(LineReaderTest, PiecesOfALineAreJoined) {
    std::vector<std::string> events;
    Pieces pieces({"on", "e\ntw", "o", "\n", "three"}, events);
    std::istream input(&pieces);

    EXPECT_THAT(lines_read(input), ElementsAre("one", "two", "three"));
}

// A caller that waits for the answer to the first line must get it before the second line arrives.
TEST(LineReaderTest, WaitingIsReportedBeforeAReadAndOnlyThen) {
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

TEST(LineReaderTest, LineLongerThanTheLimitIsSkipped) {
    EXPECT_THAT(limited_lines_of("abc\nabcd\nab\n\nabcdefgh\nc", 3),
                ElementsAre("abc", "(too long)", "ab", "", "(too long)", "c"));
}

TEST(LineReaderTest, LastLineWithoutEndIsLimitedToo) {
    EXPECT_THAT(limited_lines_of("abc", 3), ElementsAre("abc"));
    EXPECT_THAT(limited_lines_of("a\nabcd", 3), ElementsAre("a", "(too long)"));
    EXPECT_THAT(limited_lines_of(std::string(20000, 'a'), 3), ElementsAre("(too long)"));
}

TEST(LineReaderTest, CarriageReturnAtLineEndDoesNotCount) {
    EXPECT_THAT(limited_lines_of("abc\r\nabcd\r\nabc\r", 3),
                ElementsAre("abc\r", "(too long)", "abc\r"));
    EXPECT_THAT(limited_lines_of("abc\r\r\n", 3), ElementsAre("(too long)"));
}

TEST(LineReaderTest, LimitCountsAllPiecesOfALine) {
    std::vector<std::string> events;
    Pieces pieces({"ab", "c", "\r", "\nab", "cd", "ef", "g\nab", "c"}, events);
    std::istream input(&pieces);

    EXPECT_THAT(limited_lines_of(input, 3), ElementsAre("abc\r", "(too long)", "abc"));
}

// A stream buffer of `size` bytes, which are all 'a'. It keeps only a small piece in memory.
class Endless : public std::streambuf {
public:
    explicit Endless(std::size_t size) : m_rest(size) {}

protected:
    int_type underflow() override {
        const std::size_t size = std::min(m_rest, m_piece.size());
        if (size == 0) {
            return traits_type::eof();
        }
        m_rest -= size;
        setg(m_piece.data(), m_piece.data(), m_piece.data() + size);
        return traits_type::to_int_type('a');
    }

private:
    std::size_t m_rest;
    std::string m_piece = std::string(1U << 16U, 'a');
};

TEST(LineReaderTest, TooLongLineIsNeverInMemoryAsAWhole) {
    constexpr std::size_t kSize = std::size_t(256) << 20U;
    Endless bytes(kSize);
    std::istream input(&bytes);
    const long before = peak_memory();

    EXPECT_THAT(limited_lines_of(input, 1000), ElementsAre("(too long)"));

    EXPECT_LT(peak_memory() - before, static_cast<long>(kSize / 1024 / 8));
}

TEST(LineReaderTest, ReadFailureInsideTooLongLineReturnsNoLine) {
    std::vector<std::string> events;
    Pieces pieces({"one\nabcdef", "ghi", ""}, events);
    std::istream input(&pieces);

    EXPECT_THAT(limited_lines_of(input, 3), ElementsAre("one"));
    EXPECT_TRUE(input.bad());
}

TEST(LineReaderTest, RestBeforeAReadFailureIsNotALine) {
    std::vector<std::string> events;
    Pieces pieces({"one\ntw", ""}, events);
    std::istream input(&pieces);

    EXPECT_THAT(lines_read(input), ElementsAre("one"));
    EXPECT_TRUE(input.bad());
}

}  // namespace

}  // namespace zandrel::cli
