// How signals and lack of memory end the program: unfinished files are removed, and a change that
// was made is reported.
#ifndef ZANDREL_CLI_PROCESS_ENDING_SIGNALS_H_
#define ZANDREL_CLI_PROCESS_ENDING_SIGNALS_H_

#include <string_view>

namespace zandrel::cli {

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

// From here on, a file that the command has changed is noted (note_change of the text library).
// Later failures are reported together with the change, since repeating the command would make the
// change twice. After the first change, writing to a broken pipe fails; it would otherwise end the
// process without a message. prepare_for_signals calls this function.
void observe_changes() noexcept;

// The message about the last change, with a line end; empty if there was none.
std::string_view change_message();

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_PROCESS_ENDING_SIGNALS_H_
