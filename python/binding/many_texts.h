// Gives many texts to the library, block by block, in one thread or several.
#ifndef ZANDREL_PYTHON_BINDING_MANY_TEXTS_H_
#define ZANDREL_PYTHON_BINDING_MANY_TEXTS_H_

#include <cstddef>
#include <functional>
#include <pybind11/pybind11.h>
#include <utility>
#include <vector>

#include "python/binding/Python_text.h"
#include "python/binding/Unlocked_call.h"

namespace zandrel::python {

// Calls `work` with each number below `count`, in so many threads; the calling thread is one of
// them. After an exception no further number is begun.
// RAISES: what `work` raises; if several calls raise, the exception with the least number.
void run_in_threads(std::size_t count, int jobs, const std::function<void(std::size_t)>& work);

// The texts of an iterable, in blocks. A block ends after so many texts or bytes, so that the
// memory is bounded, and Ctrl-C waits for one block, or for one long text.
class Text_blocks {
public:
    static constexpr std::size_t kTexts = 1024;
    static constexpr std::size_t kBytes = std::size_t{4} << 20U;

    // `first`: the number of the first text, for messages.
    Text_blocks(pybind11::handle iterable, std::size_t first)
        : m_iterator(pybind11::iter(iterable)), m_number(first) {}

    // Fills the next block. Returns false at the end.
    // RAISES: what the iterable raises; KeyboardInterrupt.
    bool next();

    const std::vector<Python_text>& texts() const { return m_texts; }

private:
    pybind11::iterator m_iterator;
    std::size_t m_number;  // of the next text
    std::vector<Python_text> m_texts;
};

// Returns a list of to_python(answer(text)) for all texts of the blocks, in their order. `answer`
// runs without Python's lock, in several threads at a time.
template <typename Answer, typename To_python>
pybind11::list answers_of(Text_blocks blocks, int jobs, const Answer& answer,
                          const To_python& to_python) {
    using Result = decltype(answer(std::declval<const Text&>()));
    pybind11::list list;
    Unlocked_call call;
    while (blocks.next()) {
        const std::vector<Python_text>& block = blocks.texts();
        std::vector<Result> results(block.size());
        call.run([&] {
            run_in_threads(block.size(), jobs,
                           [&](std::size_t i) { results[i] = answer(block[i].text()); });
        });
        for (const Result& result : results) {
            list.append(to_python(result));
        }
    }
    return list;
}

}  // namespace zandrel::python

#endif  // ZANDREL_PYTHON_BINDING_MANY_TEXTS_H_
