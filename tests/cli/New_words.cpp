#include "tests/cli/New_words.h"

#include <algorithm>

#include "tests/cli/model_bytes.h"
#include "text/model/Cpu_timer.h"
#include "text/model/Engine_settings.h"
#include "text/model/Text_model.h"

namespace {

constexpr std::size_t kVocabulary = 2000;
constexpr std::size_t kShortest = 6;
constexpr std::size_t kLongest = 18;

// Writes a number in letters, since the analysis "phrases" treats all digits as the same.
std::string in_letters(std::size_t number) {
    std::string letters;
    do {
        letters += static_cast<char>('a' + number % 26);
        number /= 26;
    } while (number != 0);
    return letters;
}

}  // namespace

// We use the generator's numbers directly. The distributions of the standard library may differ
// between implementations.
std::string New_words::next_text(std::size_t label) {
    std::string text = "new" + in_letters(m_text_count);
    const std::size_t length = kShortest + m_random() % (kLongest - kShortest + 1);
    const std::size_t share = kVocabulary / m_label_count;
    for (std::size_t i = 1; i < length; ++i) {
        const std::size_t word =
            i % 2 == 0 ? m_random() % kVocabulary : label * share + m_random() % share;
        text += " word" + in_letters(word);
    }
    return text;
}

std::vector<zandrel::Labelled_text> New_words::next(std::size_t count) {
    std::vector<zandrel::Labelled_text> texts;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t label = m_text_count % m_label_count;
        texts.push_back({{"label" + std::to_string(label)}, next_text(label)});
        ++m_text_count;
    }
    return texts;
}

std::vector<Growth> learn_new_words(const zandrel::Analysis_settings& analysis,
                                    const std::vector<std::string>& assignments,
                                    std::size_t text_count, std::size_t bulk,
                                    std::size_t label_count) {
    New_words stream(label_count);
    zandrel::Engine_settings settings;
    settings.set(assignments);
    zandrel::Text_model model({analysis, &settings, {}});
    zandrel::Cpu_timer timer;
    std::vector<Growth> points;
    for (std::size_t done = 0; done < text_count;) {
        const std::vector<zandrel::Labelled_text> texts =
            stream.next(std::min(bulk, text_count - done));
        timer.start();
        done == 0 ? model.train(texts) : model.learn(texts);
        timer.stop();
        done += texts.size();
        if (done * 10 >= text_count * (points.size() + 1)) {
            points.push_back({done, model.size().concepts, model_bytes(model), timer.seconds()});
        }
    }
    return points;
}
