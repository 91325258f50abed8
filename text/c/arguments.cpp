// Checks and conversions of what a C program passes.
#include "text/c/arguments.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <type_traits>
#include <utility>
#include <vector>

#include "zandrel/text/Error.h"

namespace zandrel::c {

namespace {

// Options of a later version may be longer than ours, but not so much. A larger size is a mistake,
// such as a variable that was not set, and reading so many bytes could end the process.
constexpr std::size_t kLargestOptions = 4096;

static_assert(static_cast<int>(Field::Type::string) == ZANDREL_STRING);
static_assert(static_cast<int>(Field::Type::number) == ZANDREL_NUMBER);
static_assert(static_cast<int>(Field::Type::date) == ZANDREL_DATE);
static_assert(static_cast<int>(Field::Type::boolean) == ZANDREL_BOOLEAN);

// The size of each struct in the first version. A new member does not change it, so callers with an
// earlier header continue to work: such a caller gives a size from the first one on.
template <class Options>
constexpr std::size_t kFirstSize = 0;
template <>
constexpr std::size_t kFirstSize<zandrel_open_options> = offsetof(zandrel_open_options, user_data) +
                                                         sizeof(void*);
template <>
constexpr std::size_t kFirstSize<zandrel_train_options> = offsetof(zandrel_train_options,
                                                                   user_data) +
                                                          sizeof(void*);
template <>
constexpr std::size_t kFirstSize<zandrel_learn_options> = offsetof(zandrel_learn_options,
                                                                   user_data) +
                                                          sizeof(void*);
template <>
constexpr std::size_t kFirstSize<zandrel_classify_options> = offsetof(zandrel_classify_options,
                                                                      threshold) +
                                                             sizeof(double);
template <>
constexpr std::size_t kFirstSize<zandrel_record_form> = offsetof(zandrel_record_form,
                                                                 label_separator) +
                                                        sizeof(const char*);

template <class Options>
Options read_options(const Options* given, const char* name) {
    static_assert(std::is_trivially_copyable_v<Options> && offsetof(Options, size) == 0);
    static_assert(kFirstSize<Options> > 0);
    Options known = {};
    if (given != nullptr) {
        copy_options(given, &known, sizeof known, kFirstSize<Options>, name);
    }
    return known;
}

std::string string_or_nothing(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

std::optional<Analysis> analysis_of(const char* kind, const char* stem) {
    if (kind == nullptr && stem == nullptr) {
        return std::nullopt;
    }
    Analysis analysis;
    if (kind != nullptr) {
        analysis.kind = kind;
    }
    analysis.stem = string_or_nothing(stem);
    return analysis;
}

std::vector<Field> fields_of(const zandrel_text& text, const Argument& argument) {
    need_array<Field>(text.fields, text.field_count, {"fields", &argument});
    std::vector<Field> fields;
    fields.reserve(text.field_count);
    for (std::size_t i = 0; i < text.field_count; ++i) {
        const zandrel_field& field = text.fields[i];
        const Argument place = {"fields", &argument, i};
        if (field.type < ZANDREL_STRING || field.type > ZANDREL_BOOLEAN) {
            refuse({"type", &place}, "is not a type of fields");
        }
        fields.push_back(
            {std::string(view_of(field.name.data, field.name.length, {"name", &place})),
             std::string(view_of(field.value.data, field.value.length, {"value", &place})),
             static_cast<Field::Type>(field.type)});
    }
    return fields;
}

std::vector<std::string> strings_of(const char* const* strings, std::size_t count,
                                    const Argument& argument) {
    need_array<std::string>(strings, count, argument);
    std::vector<std::string> result;
    result.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        need(strings[i], {argument.name, argument.owner, i});
        result.emplace_back(strings[i]);
    }
    return result;
}

std::map<std::string, std::string> settings_of(const zandrel_train_options& options,
                                               const Argument& argument) {
    need_array<zandrel_setting>(options.settings, options.setting_count, {"settings", &argument});
    std::map<std::string, std::string> settings;
    for (std::size_t i = 0; i < options.setting_count; ++i) {
        const Argument place = {"settings", &argument, i};
        need(options.settings[i].name, {"name", &place});
        need(options.settings[i].value, {"value", &place});
        if (!settings.emplace(options.settings[i].name, options.settings[i].value).second) {
            refuse({"name", &place}, "is given twice");
        }
    }
    return settings;
}

}  // namespace

std::string Argument::text() const {
    std::string result = owner == nullptr ? std::string() : owner->text() + ".";
    result += name;
    if (index) {
        result += "[" + std::to_string(*index) + "]";
    }
    return result;
}

void refuse(const Argument& argument, const char* reason) {
    throw Error(Error_code::invalid_argument, "argument " + argument.text() + " " + reason);
}

void copy_options(const void* given, void* known, std::size_t known_size, std::size_t first_size,
                  const char* name) {
    std::size_t size = 0;
    std::memcpy(&size, given, sizeof size);
    if (size < first_size || size > kLargestOptions) {
        refuse({name}, "has a wrong size; set its member size to sizeof the struct");
    }
    const auto* const bytes = static_cast<const char*>(given);
    const std::size_t common = std::min(size, known_size);
    if (std::any_of(bytes + common, bytes + size, [](char byte) { return byte != 0; })) {
        refuse({name}, "has members that this version of the library does not know");
    }
    std::memcpy(known, given, common);
}

std::string_view view_of(const char* data, std::size_t length, const Argument& argument) {
    if (length == 0) {
        return {};
    }
    need(data, argument);
    if (length == ZANDREL_TO_ZERO) {
        return data;
    }
    if (length > static_cast<std::size_t>(PTRDIFF_MAX)) {
        refuse(argument, "is longer than any string can be");
    }
    return {data, length};
}

Text text_of(const zandrel_text& text, const Argument& argument) {
    Text result(view_of(text.characters, text.length, {"characters", &argument}));
    result.fields = fields_of(text, argument);
    return result;
}

Example example_of(const zandrel_example& example, const Argument& argument) {
    if (example.label_count == 0) {
        refuse(argument, "has no label");
    }
    need_array<std::string>(example.labels, example.label_count, {"labels", &argument});
    Example result;
    result.labels.reserve(example.label_count);
    for (std::size_t i = 0; i < example.label_count; ++i) {
        const zandrel_string& label = example.labels[i];
        result.labels.emplace_back(view_of(label.data, label.length, {"labels", &argument, i}));
    }
    Text text = text_of(example.text, {"text", &argument});
    result.text = text.characters;
    result.fields = std::move(text.fields);
    return result;
}

Open_options options_of(const zandrel_open_options* options) {
    const zandrel_open_options given = read_options(options, "options");
    Open_options result;
    result.analysis = analysis_of(given.analysis, given.stem);
    result.progress = progress_of(given.progress, given.user_data);
    result.prepare_to_explain = given.prepare_to_explain != 0;
    return result;
}

Train_options options_of(const zandrel_train_options* options) {
    const zandrel_train_options given = read_options(options, "options");
    Train_options result;
    result.analysis = analysis_of(given.analysis, given.stem);
    result.settings = settings_of(given, {"options"});
    result.tree = string_or_nothing(given.tree);
    result.compact = given.compact;
    result.progress = progress_of(given.progress, given.user_data);
    result.prepare_to_explain = given.prepare_to_explain != 0;
    result.calibrate = given.calibrate != 0;
    return result;
}

Learn_options options_of(const zandrel_learn_options* options) {
    const zandrel_learn_options given = read_options(options, "options");
    return {given.add_labels, progress_of(given.progress, given.user_data)};
}

Classify_options options_of(const zandrel_classify_options* options) {
    const zandrel_classify_options given = read_options(options, "options");
    return {given.count == 0 ? 1 : given.count, given.threshold, given.reject};
}

Record_form form_of(const zandrel_record_form* form) {
    const zandrel_record_form given = read_options(form, "form");
    const Argument place = {"form"};
    Record_form result;
    result.format = string_or_nothing(given.format);
    result.text_columns =
        strings_of(given.text_columns, given.text_column_count, {"text_columns", &place});
    result.label_columns =
        strings_of(given.label_columns, given.label_column_count, {"label_columns", &place});
    result.field_columns =
        strings_of(given.field_columns, given.field_column_count, {"field_columns", &place});
    result.has_header = given.has_header;
    if (given.label_separator != nullptr) {
        result.label_separator = given.label_separator;
    }
    result.has_labels = given.has_no_labels == 0;
    return result;
}

}  // namespace zandrel::c
