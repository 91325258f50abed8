// Measures in one process how learning changes the program's model: the cost of one known text,
// learning compared with training on all texts so far, labels that change their meaning, and a
// stream in which every text has new words. Prints JSON, from which `script/bench learning` makes
// tables and plots.
#include <algorithm>
#include <cstdint>
#include <exception>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "bench/learning_curves/Trial.h"
#include "tests/cli/New_words.h"

namespace {

using Json = nlohmann::ordered_json;

struct Words {
    std::string train_file;
    std::string test_file;
    std::string analysis = "phrases";
    std::vector<std::string> settings = {""};  // each a list of `Key=value`
    std::vector<std::string> sides = {"one-text", "rest", "swap"};
    std::vector<std::string> bulks = {"1:100", "10:1000", "100:100", "1000:1000"};
    std::size_t swap_bulk = 250;
    std::size_t stream_texts = 100000;
    std::size_t stream_bulk = 500;
    std::size_t stream_labels = 4;
};

std::vector<std::string> split(const std::string& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

// Many files are sorted by label, so the texts are shuffled. We do not use `std::shuffle`, since
// its order may differ between standard libraries.
void shuffle(Texts& texts) {
    std::mt19937 random(1);
    for (std::size_t i = texts.size(); i > 1; --i) {
        std::swap(texts[i - 1], texts[random() % i]);
    }
}

Bulks bulks_of(const std::string& word) {
    const std::size_t colon = word.find(':');
    const Bulks bulks = {
        std::stoul(word.substr(0, colon)),
        colon == std::string::npos ? std::stoul(word) : std::stoul(word.substr(colon + 1))};
    if (bulks.first == 0 || bulks.rest == 0) {
        throw std::invalid_argument("a bulk of no texts");
    }
    return bulks;
}

Json json_of(const Point& point) {
    return {{"texts", point.texts},
            {"accuracy", point.accuracy},
            {"concepts", point.concepts},
            {"file_bytes", point.file_bytes},
            {"cpu_seconds", point.cpu_seconds}};
}

Json json_of(const Growth& point) {
    return {{"texts", point.texts},
            {"concepts", point.concepts},
            {"file_bytes", point.file_bytes},
            {"cpu_seconds", point.cpu_seconds}};
}

template <class Points>
Json list_of(const Points& points) {
    Json list = Json::array();
    for (const auto& point : points) {
        list.push_back(json_of(point));
    }
    return list;
}

// Training does not use the limits, so settings that differ only in limits have the same trained
// models.
std::string without_limits(const std::vector<std::string>& assignments) {
    std::string rest;
    for (const std::string& assignment : assignments) {
        if (assignment.find("Rlimit=") == std::string::npos) {
            rest += assignment + ' ';
        }
    }
    return rest;
}

class Curves {
public:
    Curves(const Task& task, const Words& words) : m_task(task), m_words(words) {}

    Json measure(const std::string& settings) {
        const std::vector<std::string> assignments = split(settings);
        Trial trial(m_task, assignments);
        Json json = {{"settings", settings}};
        for (const std::string& side : m_words.sides) {
            if (side == "one-text") {
                const auto [before, after] = trial.learn_known_text();
                json["one_text"] = {{"before", json_of(before)}, {"after", json_of(after)}};
            } else if (side == "rest") {
                json["rest"] = rest(trial, without_limits(assignments));
            } else {
                const Swap swap = trial.learn_swapped(m_words.swap_bulk);
                json["swap"] = {{"labels", {swap.labels.first, swap.labels.second}},
                                {"points", list_of(swap.points)}};
            }
        }
        return json;
    }

private:
    // Each state of the learning model is compared with a model that was trained on as many texts.
    Json rest(Trial& trial, const std::string& training) {
        Json curves = Json::array();
        for (const std::string& word : m_words.bulks) {
            const std::vector<Point> points = trial.learn_rest(bulks_of(word));
            Json list = list_of(points);
            for (std::size_t i = 0; i < points.size(); ++i) {
                list[i]["trained"] = json_of(trained(trial, training, points[i].texts));
            }
            curves.push_back({{"bulks", word}, {"points", std::move(list)}});
        }
        return curves;
    }

    const Point& trained(Trial& trial, const std::string& training, std::size_t count) {
        const auto key = std::make_pair(training, count);
        if (m_trained.count(key) == 0) {
            m_trained.emplace(key, trial.train(count));
        }
        return m_trained.at(key);
    }

    const Task& m_task;
    const Words& m_words;
    std::map<std::pair<std::string, std::size_t>, Point> m_trained;
};

zandrel::Analysis_settings analysis_of(const Words& words) {
    return {zandrel::analysis_kind(words.analysis).value()};
}

void print_corpus(const Words& words) {
    Task task = {analysis_of(words), zandrel::read_labelled_file(words.train_file),
                 zandrel::read_labelled_file(words.test_file)};
    shuffle(task.texts);
    Curves curves(task, words);
    Json json = {{"analysis", words.analysis}, {"trials", Json::array()}};
    for (const std::string& settings : words.settings) {
        json["trials"].push_back(curves.measure(settings));
    }
    std::cout << json.dump(1) << '\n';
}

void print_stream(const Words& words) {
    Json json = {{"analysis", words.analysis}, {"trials", Json::array()}};
    for (const std::string& settings : words.settings) {
        json["trials"].push_back(
            {{"settings", settings},
             {"points",
              list_of(learn_new_words(analysis_of(words), split(settings), words.stream_texts,
                                      words.stream_bulk, words.stream_labels))}});
    }
    std::cout << json.dump(1) << '\n';
}

void add_common(CLI::App& command, Words& words) {
    command.add_option("--analysis", words.analysis)
        ->check(CLI::IsMember({"phrases", "words", "whitespace"}));
    command
        .add_option("--settings", words.settings,
                    "Settings \"Key=value Key=value\"; given again: another model beside it")
        ->allow_extra_args(false);
}

void add_corpus(CLI::App& app, Words& words) {
    CLI::App* const command = app.add_subcommand("corpus", "Measure on labelled texts");
    command->add_option("--train", words.train_file)->required();
    command->add_option("--test", words.test_file)->required();
    add_common(*command, words);
    command->add_option("--side", words.sides)
        ->check(CLI::IsMember({"one-text", "rest", "swap"}))
        ->allow_extra_args(false);
    command
        ->add_option("--bulks", words.bulks,
                     "FIRST:REST, sizes for the first 1,000 texts and for the rest")
        ->allow_extra_args(false);
    command->add_option("--swap-bulk", words.swap_bulk)->check(CLI::PositiveNumber);
    command->callback([&words] { print_corpus(words); });
}

void add_stream(CLI::App& app, Words& words) {
    CLI::App* const command =
        app.add_subcommand("stream", "Learn made-up texts, each with a new word");
    add_common(*command, words);
    command->add_option("--texts", words.stream_texts)->check(CLI::PositiveNumber);
    command->add_option("--bulk", words.stream_bulk)->check(CLI::PositiveNumber);
    command->add_option("--labels", words.stream_labels)->check(CLI::Range(2, 1000));
    command->callback([&words] { print_stream(words); });
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Measures what learning does to a text model; prints JSON");
    app.require_subcommand(1);
    Words words;
    add_corpus(app, words);
    add_stream(app, words);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
