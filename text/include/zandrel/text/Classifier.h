// Classifier: a knowledge container that takes texts and gives labels.
#ifndef ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_CLASSIFIER_H_
#define ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_CLASSIFIER_H_

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "zandrel/text/Error.h"
#include "zandrel/text/Text.h"
#include "zandrel/text/export.h"

namespace zandrel {

class Records;

// How texts become concepts: "phrases" (words and pairs of neighbours), "words" or "whitespace".
// `stem`: the language of a stemmer, such as "english"; empty: words stay as they are.
struct Analysis {
    std::string kind = "phrases";
    std::string stem = {};

    bool operator==(const Analysis&) const = default;
};

// Takes the part of the work that is done, 0 to 1, at most about twenty times a second. Return
// false to interrupt the work. An exception interrupts the work too, and is then the cause of the
// Error. The function must not call this library: such a call raises invalid_argument, and the
// destructor of a Classifier would wait without end.
using Progress_function = std::function<bool(double done)>;

struct Open_options {
    std::optional<Analysis> analysis = {};  // given: another one in the container is an error
    Progress_function progress = {};
    bool prepare_to_explain = false;  // read the learned words now, not at the first explanation
};

struct Train_options {
    // If missing: the analysis of the corpus file, otherwise Analysis().
    std::optional<Analysis> analysis = {};
    // Settings of the engine by name, for example {"ClipValue", "2"}; see docs/options.md. The
    // library chooses the others as the program does.
    std::map<std::string, std::string> settings = {};
    std::string tree = {};  // in its text form (docs/formats/tree.md); empty: a flat tree
    bool compact = false;   // leave out what only learning needs
    Progress_function progress = {};
    bool prepare_to_explain = false;  // as in Open_options
    // Makes a confidence map: three models learn two thirds of the examples each, and the map
    // learns from their answers to the last third how often an answer with given scores is right.
    // Training then takes three to four times as long, and the examples stay in memory until the
    // end.
    bool calibrate = false;
};

struct Learn_options {
    bool add_labels = false;  // a label that the container does not have becomes one
    Progress_function progress = {};
};

struct Classify_options {
    int count = 1;           // the largest number of labels; 0: none; below 0: all
    double threshold = 0.0;  // the least score of a label, 0 to 1
    // The least confidence of an answer, 0 to 1: below it, a text gets no label. Above 0 the
    // container needs a confidence map.
    double reject = 0.0;
};

// A container with its text analysis. It is a handle: it can be moved, not copied.
//
// Threads: several threads may call the constant functions of one object at the same time, and
// several objects may be used at the same time. `learn` waits for the calls that are running on
// this object, and calls that begin meanwhile wait for it. Opening, training, learning, saving and
// closing of all objects of the process take turns; classifying and explaining go on meanwhile.
// Moving an object and using it at the same time is not allowed. The classes of the engine still
// belong to one thread: do not use them while this library works in another thread.
//
// A container in cached form can be opened, classified and explained. Its calls read its file, so
// each call waits for the lock of the process. It cannot learn and cannot be saved.
//
// A container can have a confidence map (Train_options::calibrate), which gives the chance that the
// best label is right. It belongs to the container, also after `save` and `open`. `learn` updates
// it: the container first answers the new texts, and the map learns from these answers.
//
// All of them wait in the order in which they came. `train` and `learn` read a data file before
// they wait; only a corpus file is read in turn with the others.
//
// The first explanation reads the words that were learned, which takes time and memory in a large
// container. It takes turns with opening, training and the others, so it can wait as long as a
// training of another object takes. The option `prepare_to_explain` reads the words while the
// container is opened or trained, and then no explanation waits for other objects. After the first
// explanation `learn` reads the words, too. Only after a failed `learn` the next explanation reads
// them again.
//
// A process that forks after `open` can classify in both processes, if no other thread is in a call
// of this library at the time of the fork.
//
// Errors: Error. Codes that each function can raise: closed, out_of_memory, failed.
class ZANDREL_TEXT_EXPORT Classifier {
public:
    // Reads a container. It knows how its texts were analysed; if not, the given analysis becomes
    // a part of it, and is saved too.
    // RAISES: invalid_argument for a name that is empty or has a zero byte; not_found, cannot_read,
    // not_a_container, damaged, other_analysis, busy, interrupted.
    static Classifier open(const std::string& path, const Open_options& options = {});

    // Makes a container from examples. It is in memory until `save`.
    // RAISES: invalid_argument, wrong_data for no example or a wrong tree, unknown_label for a
    // label that the given tree lacks, interrupted.
    static Classifier train(std::span<const Example> examples, const Train_options& options = {});
    // The same for the rest of a data file. RAISES: also other_analysis for a corpus file.
    static Classifier train(Records& records, const Train_options& options = {});

    Classifier(Classifier&&) noexcept;
    Classifier& operator=(Classifier&&) noexcept;
    ~Classifier();  // closes

    // Learns examples as one bulk, at a fixed size of the model. The file does not change before
    // `save`. After an error the container is as it was: for this, a copy of it is in memory while
    // it learns, as large as its file. If there is no memory to restore it, all later calls raise
    // `failed`.
    // RAISES: unknown_label, wrong_data, unsupported for a compact container or one in cached form,
    // other_analysis for a corpus file, interrupted, damaged.
    void learn(std::span<const Example> examples, const Learn_options& options = {});
    void learn(Records& records, const Learn_options& options = {});

    // The labels with the highest scores, the best first.
    // RAISES: invalid_argument for a threshold or a confidence outside of 0 to 1, for a least
    // confidence if the container has no confidence map, and for a field with a wrong name or
    // value.
    std::vector<Label> classify(const Text& text, const Classify_options& options = {}) const;
    // One list for each text, in their order.
    std::vector<std::vector<Label>> classify(std::span<const Text> texts,
                                             const Classify_options& options = {}) const;

    // Explains the score of the best label, or of the node with the path `node`.
    // RAISES: not_found for an unknown path.
    Reasons explain(const Text& text, std::string_view node = {}) const;

    // Writes the container, whole or not at all. The file is replaced only when the new one is
    // complete. A change of the file since `open` is overwritten. SIGHUP, SIGINT and SIGTERM that
    // arrive in this thread while the file is put into place take effect afterwards.
    // RAISES: invalid_argument as `open`; cannot_write; busy while another process changes the
    // file; not_a_container if the file is something else; unsupported in cached form.
    void save(const std::string& path);

    // Waits for calls that are running, and frees the container. All later calls raise `closed`.
    void close();

    // All labels, each once, in the order in which they were added.
    std::vector<std::string> labels() const;
    const Analysis& analysis() const;
    // Returns whether the container has a confidence map.
    bool is_calibrated() const;

private:
    class ZANDREL_TEXT_LOCAL Impl;
    ZANDREL_TEXT_LOCAL explicit Classifier(std::unique_ptr<Impl> impl);
    ZANDREL_TEXT_LOCAL Impl& impl() const;

    std::unique_ptr<Impl> m_impl;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_CLASSIFIER_H_
