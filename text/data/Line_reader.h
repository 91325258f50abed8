// Line_reader: reads lines of a bounded length from a stream, and reports when it has to wait.
#ifndef ZANDREL_TEXT_DATA_LINE_READER_H_
#define ZANDREL_TEXT_DATA_LINE_READER_H_

#include <cstddef>
#include <functional>
#include <istream>
#include <string>
#include <string_view>
#include <utility>

namespace zandrel {

// The default of --max-line in bytes: 64 MiB.
inline constexpr std::size_t kLongestLine = std::size_t(64) << 20U;

// Keeps no more of a line than the limit and one chunk, so that an endless line cannot use all
// memory.
//
// Calls a function when the bytes that have arrived contain no complete line and the next bytes may
// not have arrived yet. That is the moment to flush answers. Flushing after each line would take a
// quarter of the time if the input is a pipe. A file never makes us wait.
class Line_reader {
public:
    // `before_waiting` is called before each read, unless the stream knows that bytes are
    // available. `longest`: in bytes, without the LF or CR LF at the end of a line. BORROWS:
    // `input`; nothing else may read it meanwhile.
    Line_reader(std::istream& input, std::function<void()> before_waiting,
                std::size_t longest = kLongestLine)
        : m_input(input), m_before_waiting(std::move(before_waiting)), m_longest(longest) {}

    // Takes the next line, without its LF. The last line need not have an LF. Returns false at the
    // end, or if reading failed; then the stream is bad().
    // VALID UNTIL: the next call.
    bool next(std::string_view& line);

    // Returns whether the line that next() took is longer than the limit. The line that next() gave
    // is then empty: its bytes are skipped.
    bool is_too_long() const { return m_is_too_long; }

private:
    // Drops the bytes of an incomplete line that is already too long.
    void drop_excess();
    bool read_more();
    // Returns the line, or an empty one if it is too long.
    std::string_view limited(std::string_view line);

    std::istream& m_input;
    std::function<void()> m_before_waiting;
    std::size_t m_longest;
    bool m_is_too_long = false;  // the line that we are reading, or have read last
    std::string m_bytes;         // read, but not all returned as lines
    std::size_t m_begin = 0;     // start of the bytes that are not returned yet
    std::size_t m_looked = 0;    // there is no line end before this position
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_LINE_READER_H_
