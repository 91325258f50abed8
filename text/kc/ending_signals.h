// How signals and lack of memory end the program: unfinished files are removed, and a change that
// was made is reported.
#ifndef ZANDREL_TEXT_KC_ENDING_SIGNALS_H_
#define ZANDREL_TEXT_KC_ENDING_SIGNALS_H_

#include <array>
#include <csignal>
#include <cstddef>
#include <string>
#include <string_view>

namespace zandrel {

// They come from a closed terminal, from Ctrl-C, and from the system or `kill`.
inline constexpr std::array<int, 3> kEndingSignals = {SIGHUP, SIGINT, SIGTERM};

// Prepares the process, before it does anything else:
// - An ending signal removes the unfinished files, and then ends the process by its default action.
//   A signal that the process was started to ignore stays ignored.
// - If a file exceeds the limit of file sizes (ulimit -f), writing fails, and we report that like a
//   full disk. Otherwise the system would end the process.
void prepare_for_signals();

// If an allocation fails where no catch is active, for example before main(), the process ends with
// a message and status kInternalError, or kChangedThenFailed after a change. Otherwise it would
// abort. Other exceptions that nothing catches still abort.
void prepare_for_lack_of_memory() noexcept;

// Removes the unfinished files and ends the process by the default action of the signal. After a
// change it prints change_message() instead, and ends with status kChangedThenFailed. A signal
// handler may call it.
[[noreturn]] void end_by_signal(int signal);

// A file that is removed if an ending signal ends the process while the object lives. Otherwise its
// owner removes the file. At most eight files can be registered at a time; further ones are not
// removed.
class Unfinished_file {
public:
    // BORROWS: `path`. The file need not exist yet.
    explicit Unfinished_file(const char* path);
    Unfinished_file(const Unfinished_file&) = delete;
    Unfinished_file& operator=(const Unfinished_file&) = delete;
    ~Unfinished_file();

private:
    std::size_t m_place = 0;
};

// Ending signals that arrive while the object lives take effect when it is destroyed.
class Held_back_signals {
public:
    Held_back_signals();
    Held_back_signals(const Held_back_signals&) = delete;
    Held_back_signals& operator=(const Held_back_signals&) = delete;
    ~Held_back_signals();

private:
    sigset_t m_before = {};
};

// Notes that the command has changed a file of the user. Later failures are reported together with
// the change, since repeating the command would make the change twice. Also, writing to a broken
// pipe fails from here on; it would otherwise end the process without a message.
void note_change(const std::string& file) noexcept;

// The message about the last change, with a line end; empty if there was none.
std::string_view change_message();

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_ENDING_SIGNALS_H_
