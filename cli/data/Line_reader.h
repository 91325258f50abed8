// Line_reader: the lines of a stream that may come slowly.
#ifndef ZANDREL_CLI_DATA_LINE_READER_H_
#define ZANDREL_CLI_DATA_LINE_READER_H_

#include <cstddef>
#include <functional>
#include <istream>
#include <string>
#include <string_view>
#include <utility>

namespace cli {

// The default of --max-line in bytes: 64 MiB.
inline constexpr std::size_t kLongestLine = std::size_t(64) << 20U;

// Never keeps more of a line than the limit, so that an endless line cannot take all memory.
//
// Says when no whole line is left of what has come, and the next one may have to be waited for:
// that is the moment to hand answers on. Doing so after each line would cost a pipe's writer a
// quarter of its time. A file has never to be waited for.
class Line_reader {
public:
    // `before_waiting` is called before the stream is read, unless the stream is sure that bytes
    // are there. BORROWS: `input`, which nobody else may read meanwhile. `longest`: in bytes,
    // without the LF or CR LF at the end of a line.
    Line_reader(std::istream& input, std::function<void()> before_waiting,
                std::size_t longest = kLongestLine)
        : m_input(input), m_before_waiting(std::move(before_waiting)), m_longest(longest) {}

    // Takes the next line, without its LF, which the last one may lack. False: there is none, or
    // reading failed, as the stream then says.
    // VALID UNTIL: the next call.
    bool next(std::string_view& line);

    // Returns whether the line that next() took is longer than the limit. The line is empty then,
    // and its bytes have been skipped.
    bool is_too_long() const { return m_is_too_long; }

private:
    // Forgets the bytes of an unfinished line that is too long already.
    void drop_excess();
    bool read_more();
    // The line of those bytes, or an empty one if they are too many.
    std::string_view limited(std::string_view line);

    std::istream& m_input;
    std::function<void()> m_before_waiting;
    std::size_t m_longest;
    bool m_is_too_long = false;  // the line that is being read, or was read last
    std::string m_bytes;         // read but not all handed out
    std::size_t m_begin = 0;     // of what is not handed out
    std::size_t m_looked = 0;    // there is no line end before
};

}  // namespace cli

#endif  // ZANDREL_CLI_DATA_LINE_READER_H_
