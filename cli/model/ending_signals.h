// The signals that ask the program to end, the lack of memory that ends it, and what both leave
// behind.
#ifndef ZANDREL_CLI_MODEL_ENDING_SIGNALS_H_
#define ZANDREL_CLI_MODEL_ENDING_SIGNALS_H_

#include <array>
#include <csignal>
#include <cstddef>
#include <string>
#include <string_view>

namespace cli {

// A closed terminal, Ctrl-C, and the system or `kill`.
inline constexpr std::array<int, 3> kEndingSignals = {SIGHUP, SIGINT, SIGTERM};

// Prepares the process, before it does anything else:
// - An ending signal removes the unfinished files, and then ends the process as it would have done
//   without us. A signal that the process was started to ignore stays ignored.
// - A limit of file sizes makes writing fail instead of ending the process, so that it is reported
//   like a full disk.
void prepare_for_signals();

// Makes an allocation that fails where no handler is active, such as before main(), end the process
// with a message and status kInternalError, or kChangedThenFailed after a change. It would be
// aborted otherwise. Other exceptions without a handler still abort.
void prepare_for_lack_of_memory() noexcept;

// Removes the unfinished files and ends the process by the default action of a signal. After a
// change it prints the message of the change instead and ends with status kChangedThenFailed.
// May be called by a signal handler.
[[noreturn]] void end_by_signal(int signal);

// A file that is removed if an ending signal ends the process while the object lives. Otherwise its
// owner removes it. There is room for eight; further ones are not removed.
class Unfinished_file {
public:
    // BORROWS: `path`, which may name a file that is not there yet.
    explicit Unfinished_file(const char* path);
    Unfinished_file(const Unfinished_file&) = delete;
    Unfinished_file& operator=(const Unfinished_file&) = delete;
    ~Unfinished_file();

private:
    std::size_t m_place = 0;
};

// Ending signals that come while the object lives take effect when it is destroyed.
class Held_back_signals {
public:
    Held_back_signals();
    Held_back_signals(const Held_back_signals&) = delete;
    Held_back_signals& operator=(const Held_back_signals&) = delete;
    ~Held_back_signals();

private:
    sigset_t m_before = {};
};

// Notes that the command has changed a file of the user. A failure from here on is reported as one
// after the change, since repeating the command would make the change twice. From here on a broken
// pipe makes writing fail instead of ending the process in silence.
void note_change(const std::string& file) noexcept;

// The sentence about the last change, with a line end; empty before the first one.
std::string_view change_message();

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_ENDING_SIGNALS_H_
