// The options of info, convert and export, and of the commands below options. The work is in
// cli/kc and text/kc.
#include "cli/commands/kc_commands.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "zandrel/knowledge/zeManager.h"

#include "cli/commands/option_checks.h"
#include "cli/kc/Kb_export.h"
#include "cli/kc/Kc_info.h"
#include "cli/kc/Text_output.h"
#include "cli/process/Long_work.h"
#include "cli/process/print_warning.h"
#include "text/errors.h"
#include "text/kc/Kc_conversion.h"
#include "text/kc/Kc_edit.h"
#include "text/kc/Kc_file_facts.h"
#include "text/kc/Kc_options.h"
#include "text/model/Engine_settings.h"
#include "text/wording/Json.h"
#include "text/wording/Key_value.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

// The number of classifiers that a warning names.
constexpr std::size_t kMostNamed = 5;

constexpr const char* kConvertNotes =
    R"(A container in cached form can be larger than the memory: zandrel help containers. The new file has the
same contents, a seal, and version 2. KC stays as it is. A compact container stays compact. --plain and
--cached are the form of the new file. The form of KC is found by its first bytes.

Examples:
  zandrel convert shop.kc large.kc --cached
  zandrel convert large.kc shop.kc --plain --compact
  zandrel convert large.kc shop.kc --plain --bound 5

See also: zandrel help containers)";

constexpr const char* kExportNotes =
    R"(A knowledge base of version 5 is an older form, for programs that know only this form. FILE gets the
tree, the rules, and the selected concepts of each category with their weights. It gets no thresholds,
no settings, and nothing to learn from: zandrel does not read it. KC stays as it is. Only a knowledge
base is replaced, with --replace.

In rules, parent_score becomes stat_matching, the older word, or 0. A rule node that has
a child with the rule default cannot be exported, and neither can a compact container.

The texts of a corpus file are written by zandrel corpus export.

Examples:
  zandrel export shop.kc shop.kb
  zandrel export shop.kc shop.kb --zero-parent-score --replace

See also: zandrel help containers)";

struct Kc_words {
    std::string file;
    std::string key;  // empty: all
    std::vector<std::string> assignments;
    std::string options_file;
    std::string output_file;  // empty: standard output
    double seconds_to_wait = 0.0;
    bool writes_json = false;
    Cache_bound bound = {};
};

void print_info(const Kc_words& words) {
    Long_work work;
    Kc_info info;
    view_kc(
        words.file, &work.progress(),
        [&info](qtPtrLight<zeManager>& manager) { info = kc_info(*manager); }, words.bound);
    info.file = read_kc_file_facts(words.file);
    if (words.writes_json) {
        print_json(kc_info_json(info), Json_form::kManyLines, std::cout);
    } else {
        print_kc_info(info, std::cout);
    }
}

void print_options(const Kc_words& words) {
    Long_work work;
    std::vector<Kc_setting> settings;
    view_kc(
        words.file, &work.progress(),
        [&](qtPtrLight<zeManager>& manager) {
            settings = words.key.empty() ? kc_settings(manager)
                                         : std::vector{kc_setting(manager, words.key)};
        },
        words.bound);
    if (words.writes_json) {
        print_json(settings_json(settings), Json_form::kManyLines, std::cout);
    } else {
        print_settings(settings, std::cout);
    }
}

void set_options(const Kc_words& words) {
    const std::vector<Key_value> values = setting_values(words.assignments);
    Long_work work;
    work.warn(edit_kc(
        words.file, {words.seconds_to_wait, &work.progress()},
        [&values](qtPtrLight<zeManager>& manager) { return set_kc_settings(manager, values); },
        words.bound));
}

// An options file may also have the two switches of the trainers, which no container keeps.
void warn_of_ignored(const Engine_settings& settings) {
    const std::vector<std::string> unused = settings.unused_settings();
    if (!unused.empty()) {
        print_warning("with UseExtParms=0 these settings are not used: " +
                      CLI::detail::join(unused, ", "));
    }
    const std::vector<std::string> switches = settings.trainer_switches();
    if (!switches.empty()) {
        print_warning("only train --options reads " + CLI::detail::join(switches, ", ") +
                      "; no container keeps it");
    }
}

void load_options(const Kc_words& words) {
    Engine_settings settings;
    settings.load(words.options_file);
    settings.check_for_container(words.options_file);
    warn_of_ignored(settings);
    const std::vector<Key_value> values = settings.used_settings();
    Long_work work;
    work.warn(edit_kc(
        words.file, {words.seconds_to_wait, &work.progress()},
        [&values](qtPtrLight<zeManager>& manager) {
            return !values.empty() && set_kc_settings(manager, values);
        },
        words.bound));
}

void dump_options(const Kc_words& words) {
    Long_work work;
    std::ostringstream text;
    std::vector<std::string> others;
    view_kc(
        words.file, &work.progress(),
        [&](qtPtrLight<zeManager>& manager) {
            write_options_file(*manager, text);
            others = classifiers_with_other_values(kc_settings(manager));
        },
        words.bound);
    write_text(words.output_file, [&text](std::ostream& out) { out << text.view(); });
    if (!others.empty()) {
        const std::size_t count = others.size();
        others.resize(std::min(count, kMostNamed));
        work.warn("other values of classifiers are not in the options file: " +
                  short_list(others, count));
    }
}

// Adds KC and --cached.
void add_file(CLI::App& command, Kc_words& words) {
    command.add_option("KC", words.file, "File of a knowledge container")
        ->required()
        ->type_name("");
    add_bound_option(command, words.bound.given);
}

void add_info(CLI::App& app) {
    const auto words = std::make_shared<Kc_words>();
    CLI::App* const command =
        app.add_subcommand("info", "Describe a knowledge container and its contents");
    add_file(*command, *words);
    add_json_option(*command, words->writes_json);
    command->footer(
        "Example:\n"
        "  zandrel info shop.kc\n"
        "\n"
        "See also: zandrel help containers");
    command->callback([words] { print_info(*words); });
}

void add_get(CLI::App& options) {
    const auto words = std::make_shared<Kc_words>();
    CLI::App* const command = options.add_subcommand(
        "get", "Print settings, with other values of single classifiers as comments");
    add_file(*command, *words);
    command->add_option("KEY", words->key, "The setting to print; none: all")->type_name("");
    add_json_option(*command, words->writes_json);
    command->footer(
        "Lines KEY=VALUE, in the order of the documentation. If a classifier has another value, a\n"
        "comment on the line gives it. options dump writes a file for options load and train.\n"
        "\n"
        "Examples:\n"
        "  zandrel options get shop.kc\n"
        "  zandrel options get shop.kc ProfileSize\n"
        "\n"
        "See also: zandrel help settings");
    command->callback([words] { print_options(*words); });
}

void add_set(CLI::App& options) {
    const auto words = std::make_shared<Kc_words>();
    CLI::App* const command = options.add_subcommand(
        "set", "Change settings of the container and of all its statistical classifiers");
    add_file(*command, *words);
    command->add_option("KEY=VALUE", words->assignments, "A setting, such as ClipValue=2")
        ->required()
        ->type_name("");
    add_wait_option(*command, words->seconds_to_wait);
    command->footer(
        "All other settings stay as they are.\n"
        "\n"
        "Example:\n"
        "  zandrel options set shop.kc ClipValue=2\n"
        "\n"
        "See also: zandrel help settings, editing");
    command->callback([words] { set_options(*words); });
}

void add_load(CLI::App& options) {
    const auto words = std::make_shared<Kc_words>();
    CLI::App* const command = options.add_subcommand(
        "load", "Change settings to those of an options file, as train --options reads it");
    add_file(*command, *words);
    command
        ->add_option("OPTIONS_FILE", words->options_file,
                     "File with a line Key=value for each; not standard input")
        ->required()
        ->check(error_of_file_name)
        ->type_name("");
    add_wait_option(*command, words->seconds_to_wait);
    command->footer(
        "The container and all its statistical classifiers get the values. All other settings stay "
        "as\n"
        "they are, also those with an empty value or \"leave\". With UseExtParms=0 nothing "
        "changes.\n"
        "A file of options dump has all settings: after its load, all choices of the program count "
        "as\n"
        "given values, and single classifiers lose other values.\n"
        "\n"
        "Example:\n"
        "  zandrel options load shop.kc shop.options\n"
        "\n"
        "See also: zandrel help settings, editing");
    command->callback([words] { load_options(*words); });
}

void add_dump(CLI::App& options) {
    const auto words = std::make_shared<Kc_words>();
    CLI::App* const command = options.add_subcommand(
        "dump", "Write all settings as an options file, for options load and train --options");
    add_file(*command, *words);
    add_output_option(*command, words->output_file);
    command->footer(
        "All settings of the container, in the order of the keys, with the line UseExtParms = 1,\n"
        "without which the library refuses a file. Other values of classifiers are not in the "
        "file: a\n"
        "warning names the classifiers, and options get shows the values.\n"
        "\n"
        "Example:\n"
        "  zandrel options dump shop.kc -o shop.options\n"
        "\n"
        "See also: zandrel help settings");
    command->callback([words] { dump_options(*words); });
}

struct Convert_words {
    Conversion_options options;
    bool is_plain = false;
    bool is_cached = false;
};

void convert(Convert_words& words) {
    if (words.is_plain == words.is_cached) {
        throw Usage_error("give one of --plain and --cached: the form of the new container");
    }
    words.options.form = words.is_cached ? Kc_form::kCached : Kc_form::kPlain;
    {
        Long_work work;
        words.options.progress = &work.progress();
        convert_kc(words.options);
    }
    const Kc_file_facts facts = read_kc_file_facts(words.options.new_file);
    std::cout << shown_text(facts.path) << ": " << name_of(facts.form) << " container, "
              << grouped(facts.size) << " bytes\n";
}

void add_convert(CLI::App& app) {
    const auto words = std::make_shared<Convert_words>();
    CLI::App* const command =
        app.add_subcommand("convert", "Write a knowledge container to a new file, in another form");
    command->add_option("KC", words->options.kc_file, "File of a knowledge container")
        ->required()
        ->type_name("");
    command->add_option("NEW", words->options.new_file, "The new file")
        ->required()
        ->check(error_of_file_name)
        ->type_name("");
    command->add_flag("--plain", words->is_plain, "The new file is read and written as a whole")
        ->disable_flag_override();
    command->add_flag("--cached", words->is_cached, "The new file stays open while it is used")
        ->disable_flag_override();
    command
        ->add_option("--bound", words->options.bound.given,
                     "Number of statistical classifiers of KC in memory at a time, if KC is in "
                     "cached form; not given: 20")
        ->check(error_of_bound)
        ->type_name("N");
    command->add_flag("--compact", words->options.compact,
                      "Leave out data for learning: a smaller file that can only classify");
    command->add_flag("--replace", words->options.replaces,
                      "Replace the container NEW if there is one");
    add_wait_option(*command, words->options.seconds_to_wait);
    command->footer(kConvertNotes);
    command->callback([words] { convert(*words); });
}

void export_kc(Kb_options& options) {
    Kb_summary summary;
    {
        Long_work work;
        options.progress = &work.progress();
        summary = export_kb(options);
    }
    std::cout << shown_text(options.kb_file) << ": " << counted(summary.profiles, "profile") << ", "
              << counted(summary.concepts, "concept") << ", " << counted(summary.bytes, "byte")
              << '\n';
}

void add_export(CLI::App& app) {
    const auto options = std::make_shared<Kb_options>();
    CLI::App* const command = app.add_subcommand(
        "export", "Write a knowledge container as a knowledge base of version 5, an older form");
    command->add_option("KC", options->kc_file, "File of a knowledge container")
        ->required()
        ->type_name("");
    add_file_argument(*command, "FILE", options->kb_file, "The new file");
    command
        ->add_flag("--zero-parent-score", options->zero_parent_score,
                   "In rules, write 0 in place of parent_score and stat_matching")
        ->disable_flag_override();
    command->add_flag("--replace", options->replaces, "Replace the knowledge base FILE")
        ->disable_flag_override();
    add_bound_option(*command, options->bound.given);
    command->footer(kExportNotes);
    command->callback([options] { export_kc(*options); });
}

}  // namespace

void add_kc_commands(CLI::App& app) {
    add_info(app);
    add_convert(app);
    add_export(app);
    CLI::App* const options =
        app.add_subcommand("options", "Show and change the settings of a knowledge container");
    options->require_subcommand(1);
    add_get(*options);
    add_set(*options);
    add_load(*options);
    add_dump(*options);
    options->footer("See also: zandrel options get --help, zandrel help settings");
}

}  // namespace zandrel::cli
