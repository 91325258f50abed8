// Checks and options of several commands. The parser's own number checks accept "nan", so ours
// compare the parsed number with both bounds.
#include "cli/commands/option_checks.h"

#include <charconv>
#include <cmath>
#include <system_error>

#include <CLI/CLI.hpp>

#include "text/data/Folds.h"

namespace zandrel::cli {

std::string error_of_share(const std::string& text) {
    double share = 0.0;
    const bool is_share = CLI::detail::lexical_cast(text, share) && share >= 0.0 && share <= 1.0;
    return is_share ? "" : "'" + text + "' is no number from 0 to 1";
}

std::string error_of_part(const std::string& text) {
    double share = 0.0;
    const bool is_part =
        CLI::detail::lexical_cast(text, share) && share >= kShareUnit && share <= 1.0 - kShareUnit;
    return is_part ? "" : "'" + text + "' is no number from 0.0001 to 0.9999";
}

std::string error_of_file_name(const std::string& text) {
    return text.empty() ? "the name of the file is empty" : "";
}

std::string error_of_path(const std::string& text) {
    return text.empty() ? "the path is empty" : "";
}

std::string error_of_score(const std::string& text) {
    double score = 0.0;
    const bool is_score =
        CLI::detail::lexical_cast(text, score) && std::isfinite(score) && score >= 0.0;
    return is_score ? "" : "'" + text + "' is no number of 0 or more";
}

void add_wait_option(CLI::App& command, double& seconds) {
    constexpr int kLongest = 1000000000;
    command
        .add_option("--wait", seconds,
                    "Longest time to wait while another process changes the container")
        ->capture_default_str()
        ->check([](const std::string& text) -> std::string {
            double number = 0.0;
            const bool is_number = CLI::detail::lexical_cast(text, number);
            return is_number && number >= 0.0 && number <= kLongest
                       ? ""
                       : "'" + text + "' is no number of seconds from 0 to " +
                             std::to_string(kLongest);
        })
        ->type_name("SECONDS");
}

std::string error_of_bound(const std::string& text) {
    // More classifiers than a container can have, and less than the library keeps for no bound.
    constexpr unsigned int kGreatestBound = 1000000000;
    unsigned int number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool is_number =
        error == std::errc() && stop == end && number >= 1 && number <= kGreatestBound;
    return is_number ? ""
                     : "'" + text + "' is no number of classifiers from 1 to " +
                           std::to_string(kGreatestBound);
}

CLI::Option* add_bound_option(CLI::App& command, std::optional<unsigned int>& bound) {
    return command
        .add_option("--cached", bound,
                    "Number of statistical classifiers in memory at a time, for a container in "
                    "cached form; not given: 20")
        ->check(error_of_bound)
        ->type_name("N");
}

void add_file_argument(CLI::App& command, const char* name, std::string& file,
                       const char* description) {
    command.add_option(name, file, description)
        ->required()
        ->check(error_of_file_name)
        ->type_name("");
}

void add_json_option(CLI::App& command, bool& writes_json, const char* description) {
    command.add_flag("--json", writes_json, description);
}

void add_output_option(CLI::App& command, std::string& file) {
    command.add_option("-o,--output", file, "File to write or replace; none or -: standard output")
        ->check(error_of_file_name)
        ->type_name("FILE");
}

void add_max_line_option(CLI::App& command, std::size_t& bytes) {
    // The text analysis accepts no longer text.
    constexpr std::size_t kLongest = 2147483647;
    command.add_option("--max-line", bytes, "Longest line in bytes; a longer one is an error")
        ->capture_default_str()
        ->check([](const std::string& text) -> std::string {
            std::size_t number = 0;
            const bool is_number =
                text.find('-') == std::string::npos && CLI::detail::lexical_cast(text, number);
            return is_number && number >= 1 && number <= kLongest
                       ? ""
                       : "'" + text + "' is no number of bytes from 1 to 2147483647";
        })
        ->type_name("BYTES");
}

void add_jobs_option(CLI::App& command, std::size_t& jobs) {
    // Each job is a process with memory of its own. More processes than this would not be faster.
    constexpr int kMostJobs = 256;
    command.add_option("--jobs", jobs, "Number of processes that classify at the same time")
        ->capture_default_str()
        ->check(CLI::Range(1, kMostJobs).description(""))
        ->type_name("N");
}

CLI::Option* add_seed_option(CLI::App& command, std::uint64_t& seed) {
    return command
        .add_option("--seed", seed, "Number that chooses the parts into which data are divided")
        ->capture_default_str()
        ->check([](const std::string& text) -> std::string {
            // The parser's conversion accepts numbers that are too large.
            std::uint64_t number = 0;
            const char* const end = text.data() + text.size();
            const auto [stop, error] = std::from_chars(text.data(), end, number);
            return error == std::errc() && stop == end
                       ? ""
                       : "'" + text + "' is no integer from 0 to 18446744073709551615";
        })
        ->type_name("N");
}

}  // namespace zandrel::cli
