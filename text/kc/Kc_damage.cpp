// A table from the library's errors to sentences for users. A damaged file can fail at any place of
// the library, and assertion texts such as "pp.second" mean nothing to a user. So each class,
// number and beginning of a text has a sentence, and the last row fits every error.
#include "text/kc/Kc_damage.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string_view>

#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/AbstractHreclaim.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/SegBuf.h"

#include "text/errors.h"
#include "text/wording/Shell_text.h"
#include "text/wording/Shown_text.h"

using zandrel::Kc_seal;

namespace zandrel {

namespace {

constexpr int kAny = -1;
constexpr int kOtherFile = 1;        // of zeIO
constexpr int kUnknownVersion = 2;   // of zeIO
constexpr int kNotSynchronized = 8;  // of zeIO
constexpr int kDamagedItem = 12;     // of zeIO
constexpr int kInterruption = 2;     // of zeWorkflow
constexpr int kCompactRefused = 3;   // of zeWorkflow

// A row explains errors of a class that have this number (kAny: any number) and whose text begins
// with `beginning`. The text of an assertion must be equal to `beginning`, unless `beginning` is
// empty.
struct Explanation_row {
    bool (*is_of_class)(const qtxAll& error);
    int number;
    std::string_view beginning;
    const char* sentence;
};

template <class Class>
bool is(const qtxAll& error) {
    return dynamic_cast<const qtX<Class>*>(&error) != nullptr;
}

bool is_assertion(const qtxAll& error) {
    return dynamic_cast<const qtxAssert*>(&error) != nullptr;
}

bool is_any(const qtxAll&) {
    return true;
}

// The first row that fits is used, so rows with a number or a text come before the others of a
// class.
constexpr Explanation_row kRows[] = {
    {is_assertion, kAny, "cat", "a rule or a statistical classifier is for a node that is missing"},
    {is_assertion, kAny, "p.m_cat", "a category of a statistical classifier is not in its tree"},
    {is_assertion, kAny, "m_storage", "a statistical classifier has no statistical model"},
    {is_assertion, kAny, "sz <= Zandrel::LIKELIHOOD_SIZE", "a likelihood table is too long"},
    {is_assertion, kAny, "inserted.m_classifier_type == ZE_LEAF",
     "a node with several parents is not a leaf"},
    {is_assertion, kAny, "pp.second", "a node has the id of another node"},
    {is_assertion, kAny, "clafer", "a node has no classifier above it"},
    {is_assertion, kAny, "loc >= 0", "a node is not among the children of its parent"},
    {is_assertion, kAny, "sw", "a rule node has no classifier with rules"},
    {is_assertion, kAny, "from && to", "a statistical node has no statistical classifier"},
    {is_assertion, kAny, "stat_matcher", "a statistical node has no statistical classifier"},
    {is_assertion, kAny, "!m_storage->end(iprofile)",
     "a statistical classifier does not know one of its nodes"},
    {is_assertion, kAny, "!m_storage->end(iconcept_info)",
     "a statistical model does not know one of its concepts"},
    {is_assertion, kAny, "geom_average", "the sizes of the categories have no average"},
    {is_assertion, kAny, "arithm_average", "the sizes of the categories have no average"},
    {is_assertion, kAny, "num_profiles - num_junk_profiles",
     "a statistical model has junk categories only"},
    {is_assertion, kAny, "object", "a node has no classifier, but its type asks for one"},
    {is<HioErr>, HioErr::kReadFailed, "", "the file ends too early, or a length in it is wrong"},
    {is<HioErr>, kAny, "", "a position in the file is wrong"},
    {is<AbstractHreclaim>, kAny, "Cannot read index",
     "the list of its parts is missing or cannot be read"},
    {is<AbstractHreclaim>, kAny, "Missing key in index: ", "one of its parts is missing"},
    {is<AbstractHreclaim>, kAny, "", "the list of its parts leads to a wrong place"},
    {is<Hpack>, kAny, "Cannot read index", "the list of its parts is missing or cannot be read"},
    {is<Hpack>, kAny, "Missing key in index: ", "one of its parts is missing"},
    {is<Hpack>, kAny, "", "the list of its parts leads to a wrong place"},
    {is<Kc_seal>, kAny, "", "its bytes are not those that were sealed"},
    {is<zeIO>, 7, "", "an object is of an unknown type"},
    {is<zeIO>, 10, "", "an object has a wrong id"},
    {is<zeIO>, 11, "", "a classifier does not belong to the node that names it"},
    {is<zeIO>, kDamagedItem, "Damaged item: compact flag",
     "the file says that it is compact, but has statistics"},
    {is<zeIO>, kDamagedItem, "", "a value is outside of its range"},
    {is<zeManager>, 4, "", "the links between its nodes make no tree"},
    {is<zeManager>, kAny, "", "its root has no usable classifier"},
    {is<zeStat_storage>, kAny, "", "the parts of a statistical model contradict each other"},
    {is<zeStat_matcher>, kAny, "", "a statistical classifier and its node disagree"},
    {is<zeSwitcher>, kAny, "", "the rules of a node contradict each other"},
    {is<RuleParser>, kAny, "", "a rule cannot be understood"},
    {is<zeSml>, kAny, "", "a clip value is below 0"},
    {is<zeWorkflow>, 0, "", "its root has no classifier"},
    {is<zeWorkflow>, 1, "", "a label of its tree is not in a classifier"},
    {is_any, kAny, qtxSegBuf::kLocateError,
     "a record ends too early, or a length in it is too large"},
    {is_any, kAny, "", "its parts do not fit together"},
};

int number_of(const qtxAll& error) {
    const auto* const numbered = dynamic_cast<const qtXbase*>(&error);
    return numbered == nullptr ? kAny : numbered->number();
}

// The texts of assertions are compared completely: "sw" must not fit an assertion that begins with
// "sw".
bool fits(const Explanation_row& row, const qtxAll& error) {
    const std::string_view text = error.message().view();
    return row.is_of_class(error) && (row.number == kAny || row.number == number_of(error)) &&
           (is_assertion(error) && !row.beginning.empty() ? text == row.beginning
                                                          : text.starts_with(row.beginning));
}

// Errors without damage: a file of another kind, and a change that the tree or a compact container
// does not allow.
bool is_refusal(const qtxAll& error) {
    return (is<zeIO>(error) && number_of(error) == kOtherFile) || is<zeLogicalTree>(error) ||
           (is<zeWorkflow>(error) && number_of(error) == kCompactRefused);
}

// Returns words for an undamaged file of a later version that causes the error; nullptr if no such
// file can cause it.
const char* later_version(const qtxAll& error) {
    if (is<Kc_seal>(error) && number_of(error) == Kc_seal::kUnknownForm) {
        return "was sealed by a later version of this program";
    }
    if (is<zeIO>(error) && number_of(error) == kUnknownVersion) {
        return "is of a later version of this program";
    }
    return nullptr;
}

// Returns the object or part that an error names, with a separator before it; empty if it names
// none. Errors whose first argument is a file name give nothing.
std::string part_of(const qtxAll& error) {
    const auto* const raised = dynamic_cast<const qtXbase*>(&error);
    if (raised == nullptr || raised->arguments().empty()) {
        return {};
    }
    const std::string part = raised->arguments().front().str();
    if (is<zeIO>(error) && raised->number() == kDamagedItem) {
        return part == "0" ? "" : ", id " + part;
    }
    const bool names_part = is<zeIO>(error) || is<zeManager>(error) || is<zeStat_storage>(error);
    return names_part ? ": " + part : "";
}

// A key in the library's words can have any bytes.
std::string words_of(const qtxAll& error) {
    return shown_text(error.message().str()) + shown_value(part_of(error));
}

// Returns whether the system failed to read an undamaged file. EINVAL and EOVERFLOW mean damage:
// the file contains a position that cannot exist.
bool is_failure_of_system(const qtxAll& error, int reason) {
    return reason != 0 && reason != EINVAL && reason != EOVERFLOW &&
           (is<HioErr>(error) || is<Hpack>(error) || is<AbstractHreclaim>(error));
}

}  // namespace

std::string explained(const qtxAll& error) {
    if (is_refusal(error)) {
        return error.what();
    }
    if (const char* const otherwise = later_version(error); otherwise != nullptr) {
        return std::string("the container is damaged, or ") + otherwise + " (" + words_of(error) +
               ")";
    }
    return "the container is damaged: " + explanation_of(error);
}

std::string explanation_of(const qtxAll& error) {
    const auto* const row =
        std::find_if(std::begin(kRows), std::end(kRows),
                     [&error](const Explanation_row& candidate) { return fits(candidate, error); });
    return std::string(row->sentence) + " (" + words_of(error) + ")";
}

void raise_as_data_error(const std::string& path) {
    try {
        throw;
    } catch (const qtxAll& error) {
        if (is<zeIO>(error) && number_of(error) == kNotSynchronized) {
            throw Data_error(path,
                             "the last change of the container was not completed; zandrel "
                             "rebuild-index " +
                                 shell_text(path) + " recovers what is whole (" + words_of(error) +
                                 ")");
        }
        if (is<zeWorkflow>(error) && number_of(error) == kInterruption) {
            throw;
        }
        if (is<zeIO>(error) && number_of(error) == kOtherFile) {
            throw Other_file(path, explained(error));
        }
        throw Data_error(path, explained(error));
    }
}

void raise_as_read_error(const std::string& path) {
    const int reason = errno;
    try {
        throw;
    } catch (const qtxAll& error) {
        if (is_failure_of_system(error, reason)) {
            throw Input_error(path, std::generic_category().message(reason));
        }
        if (is<HioErr>(error) && number_of(error) == HioErr::kOpenFailed) {
            throw Input_error(path, error.what());
        }
        raise_as_data_error(path);
    }
}

}  // namespace zandrel
