// Writes the text between the words without a colour, and each word with the parameters of its
// colour: "ESC [ 1;31 m" begins bold red, and "ESC [ 0 m" ends it. The colours are of middle
// brightness, so that they can be read on light and on dark ground. The strongest step is bold too,
// for people who see colours less well.
#include "cli/classify/Coloured_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr double kLeastEffect = 0.01;  // log odds: at most a quarter of a percent of the score

// The parameters of the three steps.
using Steps = std::array<const char*, 3>;

struct Effect_colours {
    Steps for_label;
    Steps against_label;
};

constexpr Effect_colours kColours16 = {{"32", "36", "1;36"}, {"33", "31", "1;31"}};
constexpr Effect_colours kColours256 = {{"38;5;72", "38;5;37", "1;38;5;33"},
                                        {"38;5;173", "38;5;208", "1;38;5;196"}};
constexpr const char* kDim = "2";

double strongest_of(const std::vector<Word_effect>& words) {
    double strongest = 0.0;
    for (const Word_effect& word : words) {
        strongest = std::max(strongest, std::abs(word.log_odds_adds));
    }
    return strongest;
}

// Returns the parameters for a word, or an empty text for none.
std::string_view colour_of(const Word_effect& word, double strongest, Palette palette) {
    if (!word.is_known) {
        return kDim;
    }
    const double size = std::abs(word.log_odds_adds);
    if (strongest < kLeastEffect || 12.0 * size < strongest) {
        return {};
    }
    const Effect_colours& colours = palette == Palette::k256 ? kColours256 : kColours16;
    const Steps& steps = word.log_odds_adds > 0.0 ? colours.for_label : colours.against_label;
    const std::size_t step = 3.0 * size >= 2.0 * strongest ? 2 : 3.0 * size >= strongest ? 1 : 0;
    return steps[step];
}

}  // namespace

std::string coloured_text(std::string_view text, const std::vector<Word_effect>& words,
                          Palette palette) {
    if (palette == Palette::kNone) {
        return shown_text(text);
    }
    const double strongest = strongest_of(words);
    std::string line;
    std::size_t end = 0;
    for (const Word_effect& word : words) {
        line += shown_text(text.substr(end, word.place.begin - end));
        end = word.place.end;
        const std::string shown = shown_text(text.substr(word.place.begin, end - word.place.begin));
        const std::string_view colour = colour_of(word, strongest, palette);
        if (colour.empty()) {
            line += shown;
        } else {
            line.append("\x1B[").append(colour).append("m").append(shown).append("\x1B[0m");
        }
    }
    return line + shown_text(text.substr(end));
}

}  // namespace zandrel::cli
