// Writes and reads two optional settings, and compares them with the command line. Only the given
// values are compared: without --stem, the kept language is used.
#include "text/kc/Kept_analysis.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "zandrel/foundation/qtString.h"
#include "zandrel/persistence/zeConfig.h"

#include "text/analysis/Stemmer.h"
#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

std::string value_of(const zeConfig& config, const char* key) {
    const qtString* const value = config.get_optional(key);
    return value == nullptr ? "" : std::string(value->view());
}

bool is_stem_language(const std::string& language) {
    const std::vector<std::string> languages = stem_languages();
    return std::find(languages.begin(), languages.end(), language) != languages.end();
}

[[noreturn]] void refuse(const std::string& given, const std::string& path,
                         const std::string& kept) {
    throw Usage_error(given + ": " + shown_file(path) + " was made with " + kept);
}

void check_agreement(const std::string& path, const Analysis_settings& kept,
                     const Given_analysis& given) {
    if (given.kind && *given.kind != kept.kind) {
        refuse(std::string("--analysis ") + name_of(*given.kind), path,
               std::string("--analysis ") + name_of(kept.kind));
    }
    if (!given.stem_language.empty() && given.stem_language != kept.stem_language) {
        refuse("--stem " + given.stem_language, path,
               kept.stem_language.empty() ? "no --stem" : "--stem " + kept.stem_language);
    }
}

}  // namespace

void keep_analysis(const Analysis_settings& settings, zeConfig& config) {
    config.set_optional(kAnalysisKey, name_of(settings.kind));
    if (settings.stem_language.empty()) {
        config.optional.erase(kStemKey);
    } else {
        config.set_optional(kStemKey, settings.stem_language);
    }
}

std::optional<Analysis_settings> kept_analysis(const std::string& path, const zeConfig& config) {
    const std::string name = value_of(config, kAnalysisKey);
    if (name.empty()) {
        return std::nullopt;
    }
    const std::optional<Analysis_kind> kind = analysis_kind(name);
    if (!kind) {
        throw Data_error(path, "unknown text analysis \"" + shown_value(name) + "\"");
    }
    const std::string stem_language = value_of(config, kStemKey);
    if (!stem_language.empty() && !is_stem_language(stem_language)) {
        throw Data_error(path, "unknown language to stem \"" + shown_value(stem_language) + "\"");
    }
    return Analysis_settings{*kind, stem_language};
}

Analysis_settings agreed_analysis(const std::string& path, const zeConfig& config,
                                  const Given_analysis& given) {
    return agreed_analysis(path, kept_analysis(path, config), given);
}

Analysis_settings agreed_analysis(const std::string& path,
                                  const std::optional<Analysis_settings>& kept,
                                  const Given_analysis& given) {
    if (kept) {
        check_agreement(path, *kept, given);
        return *kept;
    }
    if (!given.kind) {
        throw Data_error(path, "it does not say how its texts were analysed; --analysis tells it");
    }
    return {*given.kind, given.stem_language};
}

}  // namespace zandrel
