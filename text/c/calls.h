// guarded: runs the body of a function of the C interface, which no exception may leave.
#ifndef ZANDREL_TEXT_C_CALLS_H_
#define ZANDREL_TEXT_C_CALLS_H_

#include <utility>

#include "zandrel/text/Classifier.h"
#include "zandrel/text/c.h"

#include "text/api/Reported_progress.h"

namespace zandrel::c {

// Call this in a handler of `...`. It stores the current exception as the last failure of this
// thread, and returns its code.
zandrel_code note_failure() noexcept;

// Runs `work` and returns the code of its failure, or ZANDREL_OK.
template <class Work>
zandrel_code guarded(Work&& work) noexcept {
    try {
        refuse_in_progress();
        std::forward<Work>(work)();
        return ZANDREL_OK;
    } catch (...) {
        return note_failure();
    }
}

// The callback for the C++ classes. Null becomes an empty function.
Progress_function progress_of(zandrel_progress callback, void* user_data);

}  // namespace zandrel::c

#endif  // ZANDREL_TEXT_C_CALLS_H_
