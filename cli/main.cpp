// The program zandrel: reads the command line, runs one command, and turns errors into messages and
// exit statuses. This file and those of commands/ are the only ones that include the command line
// parser, which is slow to compile.
#include <array>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <malloc.h>
#include <new>
#include <string>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "zandrel/version.h"

#include "cli/commands/Command_result.h"
#include "cli/commands/archive_commands.h"
#include "cli/commands/corpus_commands.h"
#include "cli/commands/evaluate_command.h"
#include "cli/commands/help_command.h"
#include "cli/commands/import_command.h"
#include "cli/commands/kc_commands.h"
#include "cli/commands/model_commands.h"
#include "cli/commands/parse_errors.h"
#include "cli/commands/rebuild_command.h"
#include "cli/commands/record_commands.h"
#include "cli/commands/rule_commands.h"
#include "cli/commands/split_command.h"
#include "cli/commands/tree_commands.h"
#include "cli/commands/tune_command.h"
#include "cli/process/Exit_status.h"
#include "cli/process/Interruption.h"
#include "cli/process/ending_signals.h"
#include "text/errors.h"
#include "text/model/leave_to_exit.h"
#include "text/wording/Shown_text.h"

namespace {

// The parser's header has objects that allocate before main(). This one is initialised earlier: the
// priorities below 101 are the compiler's.
struct Early_preparation {
    Early_preparation() noexcept { zandrel::cli::prepare_for_lack_of_memory(); }
};

[[gnu::init_priority(101)]] const Early_preparation kEarlyPreparation;

std::string version_text() {
    std::array<char, zandrel::kZandrelVersionTextSize> text = {};
    GetZandrelVersion(text.data());
    return std::string("zandrel ") + text.data();
}

// Escapes control characters in the parser's messages, as our own messages do.
std::string parse_failure(const CLI::App* app, const CLI::Error& error) {
    const CLI::Error shown(error.get_name(), zandrel::shown_complaint(error.what()),
                           error.get_exit_code());
    return CLI::FailureMessage::simple(app, shown);
}

// How a command has ended.
struct End {
    int status = zandrel::cli::kSuccess;
    // Other statuses than success may also be the result of a command, for example of
    // rebuild-index, which has changed a file as it should.
    bool has_failed = false;
};

End run(int argc, char** argv) {
    zandrel::cli::Command_result result;  // must outlive the commands
    CLI::App app("Zandrel, a text classification engine", "zandrel");
    app.set_version_flag("--version", version_text());
    app.failure_message(parse_failure);
    app.require_subcommand(1);
    zandrel::cli::add_evaluate_command(app);
    zandrel::cli::add_split_command(app);
    zandrel::cli::add_tune_command(app);
    zandrel::cli::add_model_commands(app, result);
    zandrel::cli::add_rule_commands(app, result);
    zandrel::cli::add_record_commands(app, result);
    zandrel::cli::add_rebuild_command(app, result);
    zandrel::cli::add_kc_commands(app);
    zandrel::cli::add_tree_commands(app);
    zandrel::cli::add_import_command(app);
    zandrel::cli::add_archive_commands(app);
    zandrel::cli::add_corpus_commands(app);
    zandrel::cli::add_help_command(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return {zandrel::cli::report_parse_error(app, error), true};
    }
    return {result.status, false};
}

End fail(const std::exception& error, int status) {
    std::cerr << zandrel::shown_message(error.what()) << '\n';
    return {status, true};
}

End run_and_report(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const zandrel::Data_error& error) {
        // Without "zandrel: " before it, so that editors find file and line.
        return fail(error, zandrel::cli::kDataError);
    } catch (const zandrel::Input_error& error) {
        std::cerr << "zandrel: ";
        return fail(error, zandrel::cli::kInputError);
    } catch (const zandrel::Output_error& error) {
        std::cerr << "zandrel: ";
        return fail(error, zandrel::cli::kOutputError);
    } catch (const zandrel::Usage_error& error) {
        std::cerr << "zandrel: ";
        return fail(error, zandrel::cli::kUsageError);
    } catch (const std::bad_alloc&) {
        std::cerr << "zandrel: not enough memory\n";
        return {zandrel::cli::kInternalError, true};
    } catch (const std::exception& error) {
        std::cerr << "zandrel: ";
        return fail(error, zandrel::cli::Interruption::is_requested()
                               ? zandrel::cli::kSignalStatus + zandrel::cli::Interruption::signal()
                               : zandrel::cli::kInternalError);
    }
}

// Runs the command, flushes the output, and reports a failure of both.
End run_to_the_end(int argc, char** argv) {
    const End end = run_and_report(argc, argv);
    if (!std::cout.flush()) {
        std::cerr << "zandrel: cannot write the output\n";
        return {end.status == zandrel::cli::kSuccess ? zandrel::cli::kOutputError : end.status,
                true};
    }
    return end;
}

// Opens the standard streams that the caller has closed. Otherwise a container's file could get the
// number of standard error, and messages would be written into it. Using these streams still fails,
// as it does when they are closed.
void occupy_standard_streams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) == -1) {
            // The lowest free number is this one, since those below are occupied.
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

// Makes the C library keep freed memory for later allocations. By default it gives freed memory at
// the end of the heap back to the system when it is more than 128 KiB, and the system fills it with
// zeros when it is used again. A training frees some megabytes after each slice that it leaves out:
// a training of 150 labels with 100 short texts each takes 0.88 of the CPU time with this.
//
// Larger blocks are not part of the heap. They are still given back at once, so the peak of a large
// training does not rise.
void keep_freed_memory() {
    constexpr int kMebibyte = 1024 * 1024;
    ::mallopt(M_TRIM_THRESHOLD, 1024 * kMebibyte);
    ::mallopt(M_MMAP_THRESHOLD, 32 * kMebibyte);
}

}  // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    keep_freed_memory();
    occupy_standard_streams();
    zandrel::cli::prepare_for_signals();
    zandrel::end_with_containers();
    const End end = run_to_the_end(argc, argv);
    if (end.has_failed && end.status != zandrel::cli::kSuccess &&
        !zandrel::cli::change_message().empty()) {
        std::cerr << zandrel::cli::change_message();
        return zandrel::cli::kChangedThenFailed;
    }
    return end.status;
}
