// Trains models on parts of the texts, lets them learn other parts, and measures them.
#include "bench/learning_curves/Trial.h"

#include <algorithm>
#include <stdexcept>

#include "cli/evaluate/Accuracy_meter.h"
#include "tests/cli/model_bytes.h"
#include "text/model/Cpu_timer.h"
#include "text/model/Text_model.h"

namespace {

constexpr std::size_t kFirstTexts = 1000;
constexpr std::size_t kTenths = 10;

Texts part_of(const Texts& texts, std::size_t begin, std::size_t end) {
    return Texts(texts.begin() + static_cast<std::ptrdiff_t>(begin),
                 texts.begin() + static_cast<std::ptrdiff_t>(end));
}

Point point_of(zandrel::Text_model& model, const zandrel::cli::Accuracy_meter& meter,
               std::size_t text_count, double cpu_seconds) {
    return {text_count, meter.accuracy(model), model.size().concepts, model_bytes(model),
            cpu_seconds};
}

// Returns the CPU time.
double learn(const Texts& texts, std::size_t begin, std::size_t end, zandrel::Text_model& model) {
    const Texts bulk = part_of(texts, begin, end);
    zandrel::Cpu_timer timer;
    timer.start();
    model.learn(bulk);
    timer.stop();
    return timer.seconds();
}

void swap_labels(Texts& texts, const std::pair<std::string, std::string>& labels) {
    for (zandrel::Labelled_text& text : texts) {
        for (std::string& label : text.labels) {
            if (label == labels.first) {
                label = labels.second;
            } else if (label == labels.second) {
                label = labels.first;
            }
        }
    }
}

}  // namespace

std::pair<std::string, std::string> most_frequent_labels(const Texts& texts) {
    std::map<std::string, std::size_t> counts;
    for (const zandrel::Labelled_text& text : texts) {
        ++counts[text.labels.front()];
    }
    if (counts.size() < 2) {
        throw std::invalid_argument("the texts have fewer than two labels");
    }
    const auto most_frequent = [&counts] {
        const auto most = std::max_element(
            counts.begin(), counts.end(),
            [](const auto& left, const auto& right) { return left.second < right.second; });
        return counts.extract(most).key();
    };
    const std::string first = most_frequent();
    return {first, most_frequent()};
}

Trial::Trial(const Task& task, const std::vector<std::string>& assignments) : m_task(task) {
    m_settings.set(assignments);
}

std::unique_ptr<zandrel::Text_model> Trial::trained(const Texts& texts, double& cpu_seconds) {
    auto model = std::make_unique<zandrel::Text_model>(
        zandrel::Model_options{m_task.analysis, &m_settings, {}});
    zandrel::Cpu_timer timer;
    timer.start();
    model->train(texts);
    timer.stop();
    cpu_seconds = timer.seconds();
    return model;
}

std::pair<Point, Point> Trial::learn_known_text() {
    double seconds = 0.0;
    const std::unique_ptr<zandrel::Text_model> model = trained(m_task.texts, seconds);
    const zandrel::cli::Accuracy_meter meter(m_task.test_texts, *model);
    const Point before = point_of(*model, meter, m_task.texts.size(), seconds);
    const double learning_seconds = learn(m_task.texts, 0, 1, *model);
    return {before, point_of(*model, meter, m_task.texts.size() + 1, learning_seconds)};
}

Point Trial::train(std::size_t count) {
    double seconds = 0.0;
    const std::unique_ptr<zandrel::Text_model> model =
        trained(part_of(m_task.texts, 0, count), seconds);
    return point_of(*model, zandrel::cli::Accuracy_meter(m_task.test_texts, *model), count,
                    seconds);
}

std::vector<Point> Trial::learn_rest(const Bulks& bulks) {
    const Texts& texts = m_task.texts;
    const std::size_t begin = texts.size() / 5;
    double seconds = 0.0;
    const std::unique_ptr<zandrel::Text_model> model = trained(part_of(texts, 0, begin), seconds);
    const zandrel::cli::Accuracy_meter meter(m_task.test_texts, *model);
    std::vector<Point> points = {point_of(*model, meter, begin, 0.0)};
    seconds = 0.0;
    std::size_t tenth = 1;
    for (std::size_t done = begin; done < texts.size();) {
        const std::size_t bulk = done - begin < kFirstTexts ? bulks.first : bulks.rest;
        const std::size_t end = std::min(done + bulk, texts.size());
        seconds += learn(texts, done, end, *model);
        done = end;
        if ((done - begin) * kTenths >= (texts.size() - begin) * tenth) {
            points.push_back(point_of(*model, meter, done, seconds));
            tenth = (done - begin) * kTenths / (texts.size() - begin) + 1;
        }
    }
    return points;
}

Swap Trial::learn_swapped(std::size_t bulk) {
    Texts texts = m_task.texts;
    Texts test_texts = m_task.test_texts;
    Swap swap = {most_frequent_labels(texts), {}};
    const std::size_t half = texts.size() / 2;
    double seconds = 0.0;
    const std::unique_ptr<zandrel::Text_model> model = trained(part_of(texts, 0, half), seconds);
    swap_labels(texts, swap.labels);
    swap_labels(test_texts, swap.labels);
    const zandrel::cli::Accuracy_meter meter(test_texts, *model);
    swap.points.push_back(point_of(*model, meter, half, 0.0));
    seconds = 0.0;
    for (std::size_t done = half; done < texts.size();) {
        const std::size_t end = std::min(done + bulk, texts.size());
        seconds += learn(texts, done, end, *model);
        done = end;
        swap.points.push_back(point_of(*model, meter, done, seconds));
    }
    return swap;
}
