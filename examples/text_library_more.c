// Trains on a data file, learns from another one with a progress callback, classifies many texts and
// explains a score.
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>

#include "zandrel/text/c.h"

enum { kTexts = 3 };

// Ends the program after a failure.
static void check(zandrel_code code) {
    if (code != ZANDREL_OK) {
        fprintf(stderr, "%s: %s\n", zandrel_code_name(code), zandrel_last_error()->message);
        exit(1);
    }
}

static void write_file(const char* path, const char* lines) {
    FILE* const file = fopen(path, "w");
    if (file == NULL || fputs(lines, file) < 0 || fclose(file) != 0) {
        perror(path);
        exit(1);
    }
}

// Reports the bad records of a file, and counts the others.
static void check_records(const char* path) {
    zandrel_records* records = NULL;
    check(zandrel_records_open(path, NULL, &records));
    size_t count = 0;
    while (true) {
        const zandrel_example* record = NULL;
        if (zandrel_records_next(records, &record) != ZANDREL_OK) {
            printf("%s\n", zandrel_last_error()->message);
            continue;
        }
        if (record == NULL) {
            break;
        }
        ++count;
    }
    printf("%zu good records\n", count);
    zandrel_records_free(records);
}

static zandrel_classifier* train(const char* path) {
    zandrel_records* records = NULL;
    zandrel_classifier* classifier = NULL;
    check(zandrel_records_open(path, NULL, &records));
    check(zandrel_train_records(records, NULL, &classifier));
    zandrel_records_free(records);
    return classifier;
}

// It must return, and must not call a function that returns a code.
static bool note_progress(double done, void* user_data) {
    double* const last = user_data;
    *last = done;
    return true;  // false would interrupt the work
}

static void learn(zandrel_classifier* classifier, const char* path) {
    double done = 0.0;
    const zandrel_learn_options options = {
        .size = sizeof options, .add_labels = true, .progress = note_progress, .user_data = &done};
    zandrel_records* records = NULL;
    check(zandrel_records_open(path, NULL, &records));
    check(zandrel_learn_records(classifier, records, &options));
    zandrel_records_free(records);
    printf("learned %.0f %%\n", 100.0 * done);
}

static void classify(const zandrel_classifier* classifier, const zandrel_text texts[kTexts]) {
    zandrel_labels* labels[kTexts] = {NULL};
    check(zandrel_classify_texts(classifier, texts, kTexts, NULL, labels));
    for (size_t i = 0; i < kTexts; ++i) {
        printf("%s: %s\n", texts[i].characters,
               labels[i]->count == 0 ? "no label" : labels[i]->items[0]->name);
        zandrel_labels_free(labels[i]);
    }
}

static void explain(const zandrel_classifier* classifier, const zandrel_text* text) {
    zandrel_reasons* reasons = NULL;
    check(zandrel_explain(classifier, text, NULL, &reasons));
    printf("%s %.2f because of", reasons->label, reasons->score);
    for (size_t i = 0; i < reasons->effect_count && i < 2; ++i) {
        printf(" \"%s\" (%+.2f)", reasons->effects[i]->concept_text,
               reasons->effects[i]->log_odds_adds);
    }
    printf("\n");
    zandrel_reasons_free(reasons);
}

int main(void) {
    write_file("first.tsv",
               "sport\ta late goal in the final match\nsport\tour team won the match\n"
               "sport\tthe keeper of our team saved a goal\nfood\tboil the rice with salt\n"
               "food\tfry the rice in butter\nfood\tadd salt and butter to the soup\n");
    write_file("more.tsv", "food\tfry the onion\na line without a tab\nmusic\tplay the piano\n");
    check_records("more.tsv");
    write_file("more.tsv", "food\tfry the onion\nmusic\tplay the piano\n");

    zandrel_classifier* const classifier = train("first.tsv");
    learn(classifier, "more.tsv");
    const zandrel_text texts[kTexts] = {{"rice and onion", ZANDREL_TO_ZERO, NULL, 0},
                                        {"a piano", ZANDREL_TO_ZERO, NULL, 0},
                                        {"a match of our team", ZANDREL_TO_ZERO, NULL, 0}};
    classify(classifier, texts);
    explain(classifier, &texts[2]);
    zandrel_classifier_free(classifier);
    return 0;
}
