// Trains on a few texts, saves the container, opens it and classifies other texts.
#include <stdio.h>
#include <stdlib.h>

#include "zandrel/text/c.h"

static const char* const kExamples[][2] = {
    {"sport", "the keeper saved a late goal in the final match"},
    {"sport", "our team won the match with a goal by the captain"},
    {"sport", "the coach praised the team after the match"},
    {"food", "boil the rice and fry the onion in butter"},
    {"food", "add salt and pepper to the soup and stir"},
    {"food", "fry the fish in butter with salt and lemon"},
    {"money", "the bank raised the interest rate on the loan"},
    {"money", "shares fell after the bank cut the dividend"},
    {"money", "pay the loan back before the rate goes up"},
};

// Ends the program after a failure.
static void check(zandrel_code code) {
    if (code != ZANDREL_OK) {
        fprintf(stderr, "%s: %s\n", zandrel_code_name(code), zandrel_last_error()->message);
        exit(1);
    }
}

static void train(const char* path) {
    zandrel_examples* examples = NULL;
    check(zandrel_examples_new(&examples));
    for (size_t i = 0; i < sizeof kExamples / sizeof kExamples[0]; ++i) {
        const zandrel_string label = {kExamples[i][0], ZANDREL_TO_ZERO};
        const zandrel_text text = {kExamples[i][1], ZANDREL_TO_ZERO, NULL, 0};
        const zandrel_example example = {&label, 1, text};
        check(zandrel_examples_add(examples, &example));
    }

    zandrel_classifier* classifier = NULL;
    check(zandrel_train(examples, NULL, &classifier));
    check(zandrel_save(classifier, path));
    zandrel_classifier_free(classifier);
    zandrel_examples_free(examples);
}

static void classify(const zandrel_classifier* classifier, const char* text) {
    zandrel_labels* labels = NULL;
    const zandrel_classify_options options = {.size = sizeof options, .count = 2};
    check(zandrel_classify(classifier, text, ZANDREL_TO_ZERO, &options, &labels));
    printf("%s:", text);
    for (size_t i = 0; i < labels->count; ++i) {
        printf(" %s %.2f", labels->items[i]->name, labels->items[i]->score);
    }
    printf("\n");
    zandrel_labels_free(labels);
}

int main(void) {
    train("topics.kc");

    zandrel_classifier* classifier = NULL;
    check(zandrel_open("topics.kc", NULL, &classifier));
    classify(classifier, "a goal in the last match");
    classify(classifier, "the bank wants its loan back");
    zandrel_classifier_free(classifier);
    return 0;
}
