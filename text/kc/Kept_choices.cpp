// The list is a text of `Key=value` words in an optional setting. Its readers compare it with the
// settings, since other programs change settings without changing the list.
#include "text/kc/Kept_choices.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <string>

#include "zandrel/persistence/zeConfig.h"

#include "text/model/Engine_settings.h"
#include "text/wording/Key_value.h"

namespace zandrel {

namespace {

// The choices in the text, also those that are no longer in use. A word without "=" gets an empty
// value. No setting has an empty value, so kept_choices leaves the word out.
std::vector<Chosen_setting> written_choices(const zeConfig& config) {
    const qtString* const text = config.get_optional(kChoicesKey);
    std::istringstream words(text == nullptr ? "" : text->str());
    std::vector<Chosen_setting> choices;
    for (std::string word; words >> word;) {
        const Key_value choice = split_key_value(word).value_or(Key_value{word, ""});
        choices.push_back({choice.key, choice.value});
    }
    return choices;
}

}  // namespace

void keep_choices(const std::vector<Chosen_setting>& choices, zeConfig& config) {
    std::string text;
    for (const Chosen_setting& each : choices) {
        text += (text.empty() ? "" : " ") + each.key + '=' + each.value;
    }
    if (text.empty()) {
        config.optional.erase(kChoicesKey);
    } else {
        config.set_optional(kChoicesKey, text);
    }
}

std::vector<Chosen_setting> kept_choices(const zeConfig& config, const zeDefaults& defaults) {
    const std::map<qtString, qtString> settings = setting_texts(config, defaults);
    std::vector<Chosen_setting> choices = written_choices(config);
    std::erase_if(choices, [&settings](const Chosen_setting& each) {
        const auto setting = settings.find(each.key);
        return setting == settings.end() || setting->second.view() != each.value;
    });
    return choices;
}

bool forget_choices(const std::vector<Key_value>& given, zeConfig& config) {
    std::vector<Chosen_setting> choices = written_choices(config);
    const std::size_t forgotten = std::erase_if(choices, [&given](const Chosen_setting& choice) {
        return std::any_of(given.begin(), given.end(), [&choice](const Key_value& each) {
            return replaces_choice(each.key, choice.key) && !keeps_setting(each.value);
        });
    });
    if (forgotten != 0) {
        keep_choices(choices, config);
    }
    return forgotten != 0;
}

}  // namespace zandrel
