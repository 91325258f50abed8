// Line_reader: the lines of a stream that may come slowly.
#ifndef ZANDREL_CLI_CLASSIFY_LINE_READER_H_
#define ZANDREL_CLI_CLASSIFY_LINE_READER_H_

#include <cstddef>
#include <functional>
#include <istream>
#include <string>
#include <string_view>
#include <utility>

namespace cli {

// Says when no whole line is left of what has come, and the next one has to be waited for: that is
// the moment to hand answers on. Doing so after each line would cost a pipe's writer a quarter of
// its time.
class Line_reader {
public:
    // `before_waiting` is called each time before the stream is read.
    // BORROWS: `input`, which nobody else may read meanwhile.
    Line_reader(std::istream& input, std::function<void()> before_waiting)
        : m_input(input), m_before_waiting(std::move(before_waiting)) {}

    // Takes the next line, without its LF, which the last one may lack. False: there is none, or
    // reading failed, as the stream then says.
    // VALID UNTIL: the next call.
    bool next(std::string_view& line);

private:
    bool read_more();

    std::istream& m_input;
    std::function<void()> m_before_waiting;
    std::string m_bytes;       // read but not all handed out
    std::size_t m_begin = 0;   // of what is not handed out
    std::size_t m_looked = 0;  // there is no line end before
};

}  // namespace cli

#endif  // ZANDREL_CLI_CLASSIFY_LINE_READER_H_
