// unfinished_files: the files to remove if the process ends now, the signals that wait while a file
// is put into place, and a note of each change.
#ifndef ZANDREL_TEXT_KC_UNFINISHED_FILES_H_
#define ZANDREL_TEXT_KC_UNFINISHED_FILES_H_

#include <array>
#include <csignal>
#include <cstddef>
#include <string>

namespace zandrel {

// The library installs no signal handlers: that is up to its process. The program removes the
// unfinished files in its handlers, and reports a change that was made
// (cli/process/ending_signals.h).

// They come from a closed terminal, from Ctrl-C, and from the system or `kill`.
inline constexpr std::array<int, 3> kEndingSignals = {SIGHUP, SIGINT, SIGTERM};

// A file that remove_unfinished_files removes while the object lives. Otherwise its owner removes
// the file. At most eight files can be registered at a time; further ones are not removed.
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

// A signal handler may call it.
void remove_unfinished_files() noexcept;

// Ending signals that arrive in this thread while the object lives take effect when it is
// destroyed. Other threads are not affected.
class Held_back_signals {
public:
    Held_back_signals();
    Held_back_signals(const Held_back_signals&) = delete;
    Held_back_signals& operator=(const Held_back_signals&) = delete;
    ~Held_back_signals();

private:
    sigset_t m_before = {};
};

// Gets the name of a file that has been changed.
using Change_observer = void (*)(const std::string& file) noexcept;

// Null: nobody. Call it before the process has threads.
void set_change_observer(Change_observer observer) noexcept;

// Notes that a file of the user has been changed: later failures cannot undo that.
void note_change(const std::string& file) noexcept;

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_UNFINISHED_FILES_H_
