// The text library in C11: texts in, labels out. The header is also valid C++.
//
//     zandrel_classifier* shop = NULL;
//     zandrel_labels* labels = NULL;
//     zandrel_open("shop.kc", NULL, &shop);
//     zandrel_classify(shop, "Where is my parcel?", ZANDREL_TO_ZERO, NULL, &labels);
//     if (labels != NULL && labels->count > 0) puts(labels->items[0]->name);
//
// Errors: functions that can fail return ZANDREL_OK or the code of the failure, and
// zandrel_last_error() has its message. A pointer that such a function gives back is NULL after a
// failure. A NULL argument where a pointer is needed is ZANDREL_INVALID_ARGUMENT, and so is a NULL
// classifier. So the program above does not crash if there is no container. Each function that
// returns a code can give ZANDREL_INVALID_ARGUMENT, ZANDREL_OUT_OF_MEMORY and ZANDREL_FAILED. The
// comment of a function lists its other codes.
//
// Ownership: the library copies all arguments that it needs after the call. The comment of a
// function says how the caller frees the result of that function. All zandrel_..._free functions
// accept NULL.
//
// Texts: all strings are UTF-8. A string without a length ends at a zero byte. A string with a
// length may contain zero bytes; ZANDREL_TO_ZERO as its length is a string that ends at a zero
// byte. After each string of a result there is a zero byte that its length does not count.
//
// Threads: several threads may use one classifier at the same time; learning waits for the calls
// that are running. Several threads may read one result. Examples, records and the freeing of
// any object belong to one thread at a time.
//
// Processes: a process that forks after zandrel_open can classify in both processes, if no other
// thread is in a call of this library at the time of the fork.
#ifndef ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_C_H_
#define ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_C_H_

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "zandrel/text/export.h"

#ifdef __cplusplus
extern "C" {
#endif

// The length of a string that ends at a zero byte.
#define ZANDREL_TO_ZERO SIZE_MAX

// A container with its text analysis.
typedef struct zandrel_classifier zandrel_classifier;
// Labelled texts in memory.
typedef struct zandrel_examples zandrel_examples;
// Labelled texts of a data file, read one after the other.
typedef struct zandrel_records zandrel_records;

// The kinds of failure. The numbers are the same in C++, in Python and in every later version,
// which may add others. So the type is int, which all compilers of C and C++ pass in the same way.
typedef int zandrel_code;

enum {
    ZANDREL_OK = 0,
    // An option or a value that no container could accept, a NULL pointer, or a call in a callback.
    ZANDREL_INVALID_ARGUMENT = 1,
    ZANDREL_NOT_FOUND = 2,        // there is no such file, or no such node
    ZANDREL_CANNOT_READ = 3,      // a file exists but cannot be read
    ZANDREL_CANNOT_WRITE = 4,     // a file cannot be written; the old one is as it was
    ZANDREL_NOT_A_CONTAINER = 5,  // the file is something else
    ZANDREL_DAMAGED = 6,          // a container whose bytes have changed or are missing
    ZANDREL_OTHER_ANALYSIS = 7,   // the container was made with another text analysis
    ZANDREL_UNKNOWN_LABEL = 8,    // learning a label that the container does not have
    ZANDREL_WRONG_DATA = 9,       // a record, an example or a tree is wrong; see file, line
    ZANDREL_BUSY = 10,            // another process is changing the container
    ZANDREL_INTERRUPTED = 11,     // the progress callback has asked for the end
    ZANDREL_UNSUPPORTED = 12,     // for example learning with a compact container
    ZANDREL_OUT_OF_MEMORY = 13,
    ZANDREL_CLOSED = 14,  // the classifier has been closed
    ZANDREL_FAILED = 15   // anything else
};

// A failure. Later versions may add members at the end.
typedef struct zandrel_error {
    zandrel_code code;
    const char* message;  // never NULL
    const char* file;     // the file that the message is about; "": none
    // The line of that file, counted from 1; 0: none. If the message is about an example of
    // zandrel_train or zandrel_learn, `file` is "", and this is the number of the example, from 1.
    size_t line;
} zandrel_error;

// The last failure of a call in this thread, which a later success does not change. Before the
// first failure the code is ZANDREL_OK and the message "". Never NULL. It belongs to the library
// and is valid until the next failure in this thread, or the end of the thread. It can be used in a
// handler of atexit and in the destructor of a thread's key too; there a message of more than 1,023
// bytes is cut, and a `file` of more than 511 bytes is "".
ZANDREL_TEXT_EXPORT const zandrel_error* zandrel_last_error(void);

// The name of a code, such as "not_found"; "ok" for ZANDREL_OK, and "failed" for an unknown number.
// It belongs to the library and is always valid.
ZANDREL_TEXT_EXPORT const char* zandrel_code_name(zandrel_code code);

// The version of the library that is loaded, such as "1.0.0.13.0". It belongs to the library and is
// always valid.
ZANDREL_TEXT_EXPORT const char* zandrel_version(void);

// --- Values ---

// The layouts of zandrel_string, zandrel_field, zandrel_text, zandrel_example and zandrel_setting
// never change.

typedef struct zandrel_string {
    const char* data;
    size_t length;  // in bytes, or ZANDREL_TO_ZERO
} zandrel_string;

// How rules may read a value.
typedef int zandrel_field_type;

enum {
    ZANDREL_STRING = 0,
    ZANDREL_NUMBER = 1,  // in decimal, such as 7 or -1.5
    ZANDREL_DATE = 2,    // such as 2026-01-31T10:00:00Z, or seconds since 1970
    ZANDREL_BOOLEAN = 3  // true or false
};

// A value that rules read by its name: `$size(n)` reads the field "size". Several fields of one
// name, which must have one type and follow each other, are the elements of a list.
typedef struct zandrel_field {
    zandrel_string name;
    zandrel_string value;  // in its text form
    zandrel_field_type type;
} zandrel_field;

// A text to classify. Bytes that are not UTF-8 are treated as separators of words. `characters` may
// be NULL only if the length is 0, and `fields` only if their count is 0.
typedef struct zandrel_text {
    const char* characters;
    size_t length;  // in bytes, or ZANDREL_TO_ZERO
    const zandrel_field* fields;
    size_t field_count;
} zandrel_text;

// A text with the labels that a person has given to it, at least one.
typedef struct zandrel_example {
    const zandrel_string* labels;
    size_t label_count;
    zandrel_text text;
} zandrel_example;

// A setting of the engine, such as {"ClipValue", "2"}.
typedef struct zandrel_setting {
    const char* name;
    const char* value;
} zandrel_setting;

// --- Options ---

// Set `size` to the size of the struct, and all other members that are not needed to 0, which is
// their default:
//
//     zandrel_classify_options options = {.size = sizeof options, .count = 3};
//
// NULL instead of options means the defaults. Later versions may add members at the end, whose
// default is 0 too. A library that is older than the caller's header refuses members that it does
// not know, unless they are 0.

// Gets the part of the work that is done, 0 to 1, and the user's pointer, at most about twenty
// times a second. Return false to interrupt the work. It is called in the thread that called the
// library. It must return: no C++ exception may leave it, and no longjmp. After a longjmp all calls
// of the thread are refused, and freeing the classifier waits for ever. Inside of the callback,
// only zandrel_last_error, zandrel_code_name, zandrel_version and the free functions of labels,
// reasons and names may be called. Functions that return a code refuse the call with
// ZANDREL_INVALID_ARGUMENT; zandrel_classifier_free would wait for ever, for any classifier.
typedef bool (*zandrel_progress)(double done, void* user_data);

typedef struct zandrel_open_options {
    size_t size;
    // Given: another analysis in the container is an error. "phrases", "words" or "whitespace", and
    // the language of a stemmer, such as "english". Both NULL: any analysis. If only one is given,
    // the other one is "phrases" or no stemmer.
    const char* analysis;
    const char* stem;
    zandrel_progress progress;  // NULL: none
    void* user_data;            // BORROWS: for the call
    // Not 0: the learned words are read now, not at the first explanation, which would wait for
    // other classifiers that are being opened or trained.
    size_t prepare_to_explain;
} zandrel_open_options;

typedef struct zandrel_train_options {
    size_t size;
    // As for zandrel_open. Both NULL: the analysis of the corpus file, otherwise "phrases" (words
    // and pairs of neighbours) without a stemmer.
    const char* analysis;
    const char* stem;
    // The library chooses the other settings as the program does; see docs/options.md.
    const zandrel_setting* settings;
    size_t setting_count;
    const char* tree;  // in its text form (docs/formats/tree.md); NULL: a flat tree
    bool compact;      // leave out what only learning needs
    zandrel_progress progress;
    void* user_data;
    size_t prepare_to_explain;  // as for zandrel_open
    // Not 0: makes a confidence map. Three models learn two thirds of the examples each, and the
    // map learns from their answers to the last third how often an answer with given scores is
    // right. Training then takes three to four times as long.
    size_t calibrate;
} zandrel_train_options;

typedef struct zandrel_learn_options {
    size_t size;
    bool add_labels;  // a label that the container does not have becomes one
    zandrel_progress progress;
    void* user_data;
} zandrel_learn_options;

typedef struct zandrel_classify_options {
    size_t size;
    int count;         // at most so many labels; 0: one; below 0: all
    double threshold;  // the least score of a label, 0 to 1
    // The least confidence of an answer, 0 to 1: below it, a text gets no label. Above 0 the
    // container needs a confidence map.
    double reject;
} zandrel_classify_options;

// The form of a data file; see docs/formats/data.md. Missing parts follow from the name of the
// file.
typedef struct zandrel_record_form {
    size_t size;
    const char* format;               // "tsv", "csv", "jsonl", "fasttext" or "lines"
    const char* const* text_columns;  // names, or numbers from 1
    size_t text_column_count;
    const char* const* label_columns;
    size_t label_column_count;
    const char* const* field_columns;  // NAME or NAME=COLUMN
    size_t field_column_count;
    bool has_header;
    const char* label_separator;  // NULL: that of the format; "": the whole column is one label
    // Not 0: records need no labels and get none. They can be classified, not learned. The places
    // of columns do not change.
    size_t has_no_labels;
} zandrel_record_form;

// --- Results ---

// Results are read-only. Later versions may add members at the end of these structs, so a program
// must not copy them or make arrays of them.

// A category with its score.
typedef struct zandrel_label {
    const char* name;
    size_t name_length;
    const char* path;  // the names from the root down, joined by "/"
    size_t path_length;
    double score;  // above 0, and at most 1 unless rules give more
    // The chance that the best label of a text is right, 0 to 1. Below 0: there is none. Only the
    // best label has one, and only if the container has a confidence map.
    double confidence;
} zandrel_label;

typedef struct zandrel_labels {
    size_t count;
    const zandrel_label* const* items;  // the best first
} zandrel_labels;

// The effect of a concept (a word, or a pair of words) on a score: the score, minus the score of
// the text if the concept had no weight.
typedef struct zandrel_effect {
    const char* concept_text;
    size_t concept_length;
    double adds;    // below 0 it lowers the score
    bool is_known;  // the container has learned it
    // The effect on the log odds, log(p / (1 - p)), of the raw score p: its value minus the value
    // without the concept, -27.7 to 27.7. It still differs for a strong and a weak word where the
    // answer is certain, and `adds` is nearly 0 for both.
    double log_odds_adds;
} zandrel_effect;

// Why a text has a score.
typedef struct zandrel_reasons {
    const char* label;  // "": no label has a score above 0
    size_t label_length;
    const char* path;
    size_t path_length;
    double score;
    size_t effect_count;
    const zandrel_effect* const* effects;  // the greatest first
} zandrel_reasons;

// Names of labels.
typedef struct zandrel_names {
    size_t count;
    const zandrel_string* items;
} zandrel_names;

ZANDREL_TEXT_EXPORT void zandrel_labels_free(zandrel_labels* labels);
ZANDREL_TEXT_EXPORT void zandrel_reasons_free(zandrel_reasons* reasons);
ZANDREL_TEXT_EXPORT void zandrel_names_free(zandrel_names* names);

// --- Containers ---

// Reads a container. It knows how its texts were analysed.
// The caller frees `*classifier` with zandrel_classifier_free.
// ERRORS: not_found, cannot_read, not_a_container, damaged, other_analysis, busy, interrupted.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_open(const char* path, const zandrel_open_options* options,
                                              zandrel_classifier** classifier);

// Makes a container from examples, or from the rest of the records. It is in memory until
// zandrel_save. The examples stay as they are.
// The caller frees `*classifier` with zandrel_classifier_free.
// ERRORS: wrong_data for no example, an example with a wrong label or field, or a wrong record or
// tree; unknown_label for a label that the given tree lacks; for records also cannot_read, and
// other_analysis for a corpus file; interrupted.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_train(const zandrel_examples* examples,
                                               const zandrel_train_options* options,
                                               zandrel_classifier** classifier);
ZANDREL_TEXT_EXPORT zandrel_code zandrel_train_records(zandrel_records* records,
                                                       const zandrel_train_options* options,
                                                       zandrel_classifier** classifier);

// Learns examples, or the rest of the records, as one bulk. The file of the container does not
// change before zandrel_save. After a failure the container is as it was: for this, a copy of it is
// in memory while it learns, as large as its file. If there is no memory to restore it, all later
// calls give `failed`. A container with a confidence map first answers the new texts, and the map
// learns from these answers.
// ERRORS: unknown_label; wrong_data; unsupported for a compact container or one in cached form;
// other_analysis for a corpus file; cannot_read for records; damaged, interrupted, closed.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_learn(zandrel_classifier* classifier,
                                               const zandrel_examples* examples,
                                               const zandrel_learn_options* options);
ZANDREL_TEXT_EXPORT zandrel_code zandrel_learn_records(zandrel_classifier* classifier,
                                                       zandrel_records* records,
                                                       const zandrel_learn_options* options);

// The labels of a text. If no label has a score, or the confidence is below the least one,
// `*labels` is an empty list.
// The caller frees `*labels` with zandrel_labels_free.
// ERRORS: invalid_argument, closed.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_classify(const zandrel_classifier* classifier,
                                                  const char* text, size_t length,
                                                  const zandrel_classify_options* options,
                                                  zandrel_labels** labels);

// The labels of many texts, or of a text with fields. `labels` has room for `count` pointers; text
// number i gets labels[i]. After a failure all of them are NULL. If `count` is 0, `texts` and
// `labels` may be NULL.
// The caller frees each of labels[0] to labels[count - 1] with zandrel_labels_free.
// ERRORS: invalid_argument, closed.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_classify_texts(const zandrel_classifier* classifier,
                                                        const zandrel_text* texts, size_t count,
                                                        const zandrel_classify_options* options,
                                                        zandrel_labels** labels);

// Explains the score of the best label, or of the node with the path `node`. NULL or "": the best.
// `node` ends at a zero byte, so a node whose path contains a zero byte cannot be given.
// The caller frees `*reasons` with zandrel_reasons_free.
// ERRORS: not_found for an unknown path, closed.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_explain(const zandrel_classifier* classifier,
                                                 const zandrel_text* text, const char* node,
                                                 zandrel_reasons** reasons);

// Writes the container, whole or not at all. The file is replaced only when the new one is
// complete. A change of the file since zandrel_open is overwritten.
// ERRORS: cannot_write; busy while another process changes the file; not_a_container if the file is
// something else; unsupported in cached form; closed.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_save(zandrel_classifier* classifier, const char* path);

// All labels, each once, in the order in which they were added.
// The caller frees `*names` with zandrel_names_free.
// ERRORS: closed.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_label_names(const zandrel_classifier* classifier,
                                                     zandrel_names** names);

// How the texts of the container were analysed. `stem` gets "" if there is no stemmer. `kind` or
// `stem` may be NULL.
// The strings belong to the classifier and are valid until it is freed.
// ERRORS: closed.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_analysis(const zandrel_classifier* classifier,
                                                  const char** kind, const char** stem);

// `*is_calibrated` becomes true if the container has a confidence map.
// ERRORS: closed.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_is_calibrated(const zandrel_classifier* classifier,
                                                       bool* is_calibrated);

// Waits for calls that are running in other threads, and gives the memory of the container back.
// Later calls return ZANDREL_CLOSED, except for another zandrel_close. The object itself
// remains: free it when no thread can use it any more.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_close(zandrel_classifier* classifier);

// Closes the container if it is open, and frees the object. Changes that have not been saved are
// lost.
ZANDREL_TEXT_EXPORT void zandrel_classifier_free(zandrel_classifier* classifier);

// --- Labelled texts ---

// Makes an empty list of examples. The caller frees `*examples` with zandrel_examples_free.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_examples_new(zandrel_examples** examples);

// Copies an example to the end of the list. After a failure the list is as it was. Training and
// learning check the contents, for example that no label is empty.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_examples_add(zandrel_examples* examples,
                                                      const zandrel_example* example);

ZANDREL_TEXT_EXPORT void zandrel_examples_free(zandrel_examples* examples);

// Opens a data file or a corpus file; see docs/formats/data.md.
// The caller frees `*records` with zandrel_records_free.
// ERRORS: not_found, cannot_read, wrong_data.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_records_open(const char* path,
                                                      const zandrel_record_form* form,
                                                      zandrel_records** records);

// Reads the next record. At the end `*record` is NULL. The record belongs to `records` and is valid
// until the next call that gets `records`.
//
// After a bad record the next call reads the next one. A failure of the file itself is reported
// once, for example if a compressed file is damaged or a header lacks a column; then comes the end,
// and training and learning report it again. So a loop may report each failure and continue.
// ERRORS: wrong_data with file and line for a bad record, or for the file itself; cannot_read.
ZANDREL_TEXT_EXPORT zandrel_code zandrel_records_next(zandrel_records* records,
                                                      const zandrel_example** record);

ZANDREL_TEXT_EXPORT void zandrel_records_free(zandrel_records* records);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_C_H_
