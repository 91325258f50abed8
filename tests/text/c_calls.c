// Usage: c_calls FOLDER STEPS SEED
// Calls the C interface of the text library in a random order, with good and wrong arguments, and
// compares each code and result with those that the arguments must give. At the end four threads
// classify with one classifier, and calls fail while a thread and the process end. FOLDER is a folder
// for new files. Run under valgrind, the program also shows that each object is freed once.
#include "zandrel/text/c.h"

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { kClassifiers = 3, kThreads = 4, kTexts = 50, kMostTexts = 6 };

static const char* const kLabels[] = {"food", "sport"};
static const char* const kExampleTexts[] = {"bread soup butter rice", "goal match team coach",
                                            "bread salt lemon rice", "goal keeper team final"};

// A classifier, and the results that it must give.
typedef struct {
    zandrel_classifier* handle;
    bool is_closed;
    bool is_compact;
    size_t label_count;
} Slot;

static Slot s_slots[kClassifiers];
static zandrel_examples* s_examples;
static zandrel_records* s_records;
static zandrel_labels* s_labels;    // of an earlier call; its classifier may be closed or freed
static zandrel_reasons* s_reasons;  // likewise
static char s_folder[4000];
static char s_data[4096];
static char s_container[4096];
static char s_missing[4096];
static uint64_t s_random;
static size_t s_step;
static bool s_is_ending;

#define CHECK(condition) check((condition), #condition, __LINE__)

static void check(bool is_true, const char* condition, int line) {
    if (!is_true) {
        const zandrel_error* const error = zandrel_last_error();
        fprintf(stderr, "c_calls.c:%d: step %zu: not true: %s\nlast error: %s: %s\n", line, s_step,
                condition, zandrel_code_name(error->code), error->message);
        if (s_is_ending) {
            _exit(1);  // exit must not be called again
        }
        exit(1);
    }
}

// xorshift: the same numbers for the same seed on all machines.
static size_t random_below(size_t end) {
    s_random ^= s_random << 13;
    s_random ^= s_random >> 7;
    s_random ^= s_random << 17;
    return (size_t)(s_random % end);
}

static bool one_in(size_t count) {
    return random_below(count) == 0;
}

// The code that a call with this classifier gives if all other arguments are right.
static zandrel_code code_of(const Slot* slot) {
    if (slot->handle == NULL) {
        return ZANDREL_INVALID_ARGUMENT;
    }
    return slot->is_closed ? ZANDREL_CLOSED : ZANDREL_OK;
}

static void free_slot(Slot* slot) {
    const Slot empty = {NULL, false, false, 0};
    zandrel_classifier_free(slot->handle);
    *slot = empty;
}

static zandrel_code add_example(zandrel_examples* examples, size_t index) {
    const zandrel_string label = {kLabels[index % 2], ZANDREL_TO_ZERO};
    const zandrel_text text = {kExampleTexts[index], strlen(kExampleTexts[index]), NULL, 0};
    const zandrel_example example = {&label, 1, text};
    return zandrel_examples_add(examples, &example);
}

// Puts random bytes into `text`, most of them parts of known words. Returns their number.
static size_t random_text(char* text, size_t size) {
    static const char letters[] = "goal bread match rice";
    const size_t length = random_below(size);
    for (size_t i = 0; i < length; ++i) {
        text[i] = one_in(8) ? (char)random_below(256) : letters[random_below(sizeof letters - 1)];
    }
    return length;
}

static bool known_label(const char* name) {
    return strcmp(name, "food") == 0 || strcmp(name, "sport") == 0 || strcmp(name, "new") == 0;
}

static void check_labels(const zandrel_labels* labels, size_t most) {
    CHECK(labels != NULL && labels->count <= most);
    for (size_t i = 0; i < labels->count; ++i) {
        const zandrel_label* const label = labels->items[i];
        CHECK(label->score > 0.0 && label->score <= 1.0);
        CHECK(i == 0 || label->score <= labels->items[i - 1]->score);
        CHECK(known_label(label->name) && strlen(label->name) == label->name_length);
        CHECK(strlen(label->path) == label->path_length);
    }
}

static void open_or_train(Slot* slot) {
    free_slot(slot);
    zandrel_code code = ZANDREL_OK;
    const bool is_compact = one_in(3);
    switch (random_below(5)) {
        case 0:
            code = zandrel_open(s_missing, NULL, &slot->handle);
            CHECK(code == ZANDREL_NOT_FOUND);
            break;
        case 1:
            code = zandrel_open(s_data, NULL, &slot->handle);
            CHECK(code == ZANDREL_NOT_A_CONTAINER);
            break;
        case 2: {
            const zandrel_open_options options = {.size = sizeof options, .analysis = "words"};
            code = zandrel_open(s_container, &options, &slot->handle);
            CHECK(code == ZANDREL_OTHER_ANALYSIS);
            break;
        }
        case 3: {
            const zandrel_train_options options = {.size = sizeof options, .compact = is_compact};
            code = zandrel_train(s_examples, &options, &slot->handle);
            CHECK(code == (s_examples == NULL ? ZANDREL_INVALID_ARGUMENT : ZANDREL_OK));
            slot->is_compact = is_compact;
            break;
        }
        default:
            code = zandrel_open(s_container, NULL, &slot->handle);
            CHECK(code == ZANDREL_OK);
    }
    CHECK((slot->handle != NULL) == (code == ZANDREL_OK));
    slot->label_count = code == ZANDREL_OK ? 2 : 0;
}

static void classify(const Slot* slot) {
    char text[64];
    const size_t length = random_text(text, sizeof text);
    const zandrel_classify_options options = {.size = one_in(9) ? 1 : sizeof options,
                                              .count = (int)random_below(4) - 1};
    const bool is_right = options.size == sizeof options;
    zandrel_labels_free(s_labels);
    const zandrel_code code = zandrel_classify(slot->handle, text, length, &options, &s_labels);
    CHECK(code == (is_right ? code_of(slot) : ZANDREL_INVALID_ARGUMENT));
    if (code == ZANDREL_OK) {
        check_labels(s_labels, options.count < 0    ? slot->label_count
                               : options.count == 0 ? 1
                                                    : (size_t)options.count);
    } else {
        CHECK(s_labels == NULL);
    }
}

static void classify_texts(const Slot* slot) {
    const size_t count = random_below(kMostTexts) + 1;
    char characters[kMostTexts][32];
    zandrel_text texts[kMostTexts] = {{NULL, 0, NULL, 0}};
    zandrel_labels* labels[kMostTexts] = {NULL};
    zandrel_code expected = code_of(slot);
    for (size_t i = 0; i < count; ++i) {
        const zandrel_text text = {characters[i], random_text(characters[i], 32), NULL, 0};
        texts[i] = text;
        if (one_in(12)) {
            texts[i].characters = NULL;
            texts[i].length = 3;
            expected = ZANDREL_INVALID_ARGUMENT;
        }
    }
    CHECK(zandrel_classify_texts(slot->handle, texts, count, NULL, labels) == expected);
    for (size_t i = 0; i < count; ++i) {
        if (expected == ZANDREL_OK) {
            check_labels(labels[i], 1);
        } else {
            CHECK(labels[i] == NULL);
        }
        zandrel_labels_free(labels[i]);
    }
}

static void explain(const Slot* slot) {
    char characters[64];
    const zandrel_text text = {characters, random_text(characters, sizeof characters), NULL, 0};
    const bool is_known = !one_in(4);
    zandrel_reasons_free(s_reasons);
    const zandrel_code code =
        zandrel_explain(slot->handle, &text, is_known ? NULL : "no/such/node", &s_reasons);
    CHECK(code == (code_of(slot) == ZANDREL_OK && !is_known ? ZANDREL_NOT_FOUND : code_of(slot)));
    CHECK((s_reasons != NULL) == (code == ZANDREL_OK));
    for (size_t i = 0; s_reasons != NULL && i < s_reasons->effect_count; ++i) {
        CHECK(strlen(s_reasons->effects[i]->concept_text) <= s_reasons->effects[i]->concept_length);
    }
}

static void learn(Slot* slot) {
    const zandrel_learn_options options = {.size = sizeof options, .add_labels = one_in(2)};
    const bool is_new = one_in(2);
    zandrel_examples* examples = NULL;
    CHECK(zandrel_examples_new(&examples) == ZANDREL_OK);
    CHECK(add_example(examples, random_below(4)) == ZANDREL_OK);
    if (is_new) {
        const zandrel_string label = {"new", 3};
        const zandrel_example example = {&label, 1, {"a new text", 10, NULL, 0}};
        CHECK(zandrel_examples_add(examples, &example) == ZANDREL_OK);
    }
    zandrel_code expected = code_of(slot);
    if (expected == ZANDREL_OK && slot->is_compact) {
        expected = ZANDREL_UNSUPPORTED;
    } else if (expected == ZANDREL_OK && is_new && !options.add_labels && slot->label_count == 2) {
        expected = ZANDREL_UNKNOWN_LABEL;
    }
    CHECK(zandrel_learn(slot->handle, examples, &options) == expected);
    if (expected == ZANDREL_OK && is_new) {
        slot->label_count = 3;
    }
    zandrel_examples_free(examples);
}

static void save(const Slot* slot) {
    char path[5000];
    snprintf(path, sizeof path, "%s.copy%s", s_container, one_in(4) ? "/none/copy" : "");
    const zandrel_code code = zandrel_save(slot->handle, path);
    const bool is_possible = strstr(path, "none") == NULL;
    CHECK(code ==
          (code_of(slot) == ZANDREL_OK && !is_possible ? ZANDREL_CANNOT_WRITE : code_of(slot)));
    if (code == ZANDREL_OK) {
        zandrel_classifier* copy = NULL;
        CHECK(zandrel_open(path, NULL, &copy) == ZANDREL_OK);
        zandrel_classifier_free(copy);
    }
}

static void ask_for_names(const Slot* slot) {
    zandrel_names* names = NULL;
    CHECK(zandrel_label_names(slot->handle, &names) == code_of(slot));
    CHECK(names == NULL ? code_of(slot) != ZANDREL_OK : names->count == slot->label_count);
    zandrel_names_free(names);

    const char* kind = "";
    const char* stem = "";
    const zandrel_code code = zandrel_analysis(slot->handle, &kind, &stem);
    CHECK(code == code_of(slot));
    CHECK(code == ZANDREL_OK ? strcmp(kind, "phrases") == 0 && *stem == '\0' : kind == NULL);
}

static void read_records(void) {
    if (one_in(3)) {
        zandrel_records_free(s_records);
        s_records = NULL;
        CHECK(zandrel_records_open(one_in(5) ? s_missing : s_data, NULL, &s_records) ==
              (s_records == NULL ? ZANDREL_NOT_FOUND : ZANDREL_OK));
    }
    const zandrel_example* record = NULL;
    const zandrel_code code = zandrel_records_next(s_records, &record);
    CHECK(code == (s_records == NULL ? ZANDREL_INVALID_ARGUMENT : ZANDREL_OK));
    if (record != NULL && s_examples != NULL) {
        CHECK(record->label_count == 1 && known_label(record->labels[0].data));
        CHECK(zandrel_examples_add(s_examples, record) == ZANDREL_OK);
    }
}

static void change_examples(void) {
    if (one_in(4)) {
        zandrel_examples_free(s_examples);
        s_examples = NULL;
    }
    if (s_examples == NULL && one_in(2)) {
        CHECK(zandrel_examples_new(&s_examples) == ZANDREL_OK);
        for (size_t i = 0; i < 4; ++i) {
            CHECK(add_example(s_examples, i) == ZANDREL_OK);
        }
    }
    CHECK(add_example(s_examples, random_below(4)) ==
          (s_examples == NULL ? ZANDREL_INVALID_ARGUMENT : ZANDREL_OK));
}

static void step(void) {
    Slot* const slot = &s_slots[random_below(kClassifiers)];
    switch (random_below(12)) {
        case 0:
            open_or_train(slot);
            break;
        case 1:
            CHECK(zandrel_close(slot->handle) ==
                  (slot->handle == NULL ? ZANDREL_INVALID_ARGUMENT : ZANDREL_OK));
            slot->is_closed = slot->handle != NULL;
            break;
        case 2:
            learn(slot);
            break;
        case 3:
            save(slot);
            break;
        case 4:
            ask_for_names(slot);
            break;
        case 5:
            read_records();
            break;
        case 6:
            change_examples();
            break;
        case 7:
            explain(slot);
            break;
        case 8:
            classify_texts(slot);
            break;
        default:
            classify(slot);
    }
}

// --- Threads ---

typedef struct {
    const zandrel_classifier* classifier;
    size_t differences;
} Work;

static double score_of(const zandrel_classifier* classifier, size_t index) {
    char text[64];
    snprintf(text, sizeof text, "%s %zu", kExampleTexts[index % 4], index);
    zandrel_labels* labels = NULL;
    double score = -1.0;
    if (zandrel_classify(classifier, text, ZANDREL_TO_ZERO, NULL, &labels) == ZANDREL_OK &&
        labels->count == 1) {
        score = labels->items[0]->score;
    }
    zandrel_labels_free(labels);
    return score;
}

static double s_expected[kTexts];

static void* classify_all(void* argument) {
    Work* const work = argument;
    for (size_t i = 0; i < kTexts; ++i) {
        work->differences += score_of(work->classifier, i) != s_expected[i];
        // Each thread has its own last error.
        work->differences += zandrel_last_error()->code != ZANDREL_OK;
    }
    return NULL;
}

static void classify_in_threads(void) {
    zandrel_classifier* classifier = NULL;
    CHECK(zandrel_open(s_container, NULL, &classifier) == ZANDREL_OK);
    for (size_t i = 0; i < kTexts; ++i) {
        s_expected[i] = score_of(classifier, i);
        CHECK(s_expected[i] > 0.0);
    }
    pthread_t threads[kThreads];
    Work works[kThreads];
    for (size_t i = 0; i < kThreads; ++i) {
        const Work work = {classifier, 0};
        works[i] = work;
        CHECK(pthread_create(&threads[i], NULL, classify_all, &works[i]) == 0);
    }
    for (size_t i = 0; i < kThreads; ++i) {
        CHECK(pthread_join(threads[i], NULL) == 0);
        CHECK(works[i].differences == 0);
    }
    zandrel_classifier_free(classifier);
}

// --- Ends of threads and of the process ---

// The destructors of a thread_local object of C++ have run when these functions are called.

static char s_long_path[3000];  // of a folder that does not exist, longer than a message may be then
static pthread_key_t s_key;
static size_t s_late_calls;

static void fail_to_open(const char* path) {
    zandrel_classifier* classifier = NULL;
    CHECK(zandrel_open(path, NULL, &classifier) == ZANDREL_NOT_FOUND);
}

static bool is_last_message(const char* path) {
    char expected[5000];
    snprintf(expected, sizeof expected, "cannot read %s: No such file or directory", path);
    return strcmp(zandrel_last_error()->message, expected) == 0;
}

static void check_late_failures(void) {
    const zandrel_error* const error = zandrel_last_error();
    CHECK(error->code == ZANDREL_NOT_FOUND && error->line == 0);
    CHECK(is_last_message(s_missing) && strcmp(error->file, s_missing) == 0);

    zandrel_classifier* classifier = NULL;
    CHECK(zandrel_open(s_container, NULL, &classifier) == ZANDREL_OK);
    CHECK(is_last_message(s_missing));
    CHECK(zandrel_save(classifier, s_folder) == ZANDREL_CANNOT_WRITE);
    CHECK(strncmp(error->message, "cannot write ", 13) == 0);
    zandrel_classifier_free(classifier);

    // 12 bytes of a message are "cannot read ", so 1011 bytes of this path fit before the zero byte.
    // They are "aa", 336 times three bytes, and the first byte of a character of two.
    fail_to_open(s_long_path);
    CHECK(strlen(error->message) == 1022 && memcmp(error->message + 12, s_long_path, 1010) == 0);
    CHECK(*error->file == '\0');
    fail_to_open(s_missing);
    CHECK(is_last_message(s_missing) && strcmp(error->file, s_missing) == 0);
    ++s_late_calls;
}

static void end_of_thread(void* value) {
    (void)value;
    check_late_failures();
}

static void* fail_and_end(void* argument) {
    CHECK(pthread_setspecific(s_key, "not NULL") == 0);
    fail_to_open(s_missing);
    return argument;
}

static void end_of_process(void) {
    s_is_ending = true;
    check_late_failures();
}

static void fail_while_ending(void) {
    memcpy(s_long_path, "aa", 2);
    for (size_t i = 2; i + 3 < sizeof s_long_path; i += 3) {
        memcpy(s_long_path + i, "\xC3\xA9/", 3);
    }
    pthread_t thread;
    CHECK(pthread_key_create(&s_key, end_of_thread) == 0);
    CHECK(pthread_create(&thread, NULL, fail_and_end, NULL) == 0);
    CHECK(pthread_join(thread, NULL) == 0);
    CHECK(s_late_calls == 1);
    fail_to_open(s_missing);
    CHECK(atexit(end_of_process) == 0);
}

static void make_files(const char* folder) {
    snprintf(s_folder, sizeof s_folder, "%s", folder);
    snprintf(s_data, sizeof s_data, "%s/data.tsv", folder);
    snprintf(s_container, sizeof s_container, "%s/topics.kc", folder);
    snprintf(s_missing, sizeof s_missing, "%s/missing.kc", folder);
    FILE* const file = fopen(s_data, "w");
    CHECK(file != NULL);
    for (size_t i = 0; i < 4; ++i) {
        fprintf(file, "%s\t%s\n", kLabels[i % 2], kExampleTexts[i]);
    }
    CHECK(fclose(file) == 0);

    zandrel_records* records = NULL;
    zandrel_classifier* classifier = NULL;
    CHECK(zandrel_records_open(s_data, NULL, &records) == ZANDREL_OK);
    CHECK(zandrel_train_records(records, NULL, &classifier) == ZANDREL_OK);
    CHECK(zandrel_save(classifier, s_container) == ZANDREL_OK);
    zandrel_classifier_free(classifier);
    zandrel_records_free(records);
}

int main(int count, char** arguments) {
    if (count != 4) {
        fprintf(stderr, "usage: c_calls FOLDER STEPS SEED\n");
        return 2;
    }
    const size_t steps = (size_t)strtoul(arguments[2], NULL, 10);
    s_random = strtoul(arguments[3], NULL, 10) + 1;
    make_files(arguments[1]);
    for (s_step = 0; s_step < steps; ++s_step) {
        step();
    }
    for (size_t i = 0; i < kClassifiers; ++i) {
        free_slot(&s_slots[i]);
    }
    zandrel_labels_free(s_labels);
    zandrel_reasons_free(s_reasons);
    zandrel_examples_free(s_examples);
    zandrel_records_free(s_records);
    classify_in_threads();
    fail_while_ending();
    return 0;
}
