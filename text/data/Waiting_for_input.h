// Waiting_for_input: marks the time in which the process waits for its input.
#ifndef ZANDREL_TEXT_DATA_WAITING_FOR_INPUT_H_
#define ZANDREL_TEXT_DATA_WAITING_FOR_INPUT_H_

#include <atomic>

namespace zandrel {

// While the process waits for input, for example from a pipe, nothing polls a request to end the
// work. So the program's signal handler asks this class, and then ends the process at once. A
// signal from before remains a request, so the caller polls once after making the object. Only one
// object may live at a time.
class Waiting_for_input {
public:
    Waiting_for_input() { s_lives = true; }

    Waiting_for_input(const Waiting_for_input&) = delete;
    Waiting_for_input& operator=(const Waiting_for_input&) = delete;

    ~Waiting_for_input() { s_lives = false; }

    // A signal handler may call it.
    static bool is_active() { return s_lives; }

private:
    static inline std::atomic<bool> s_lives = false;
    static_assert(std::atomic<bool>::is_always_lock_free);
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_WAITING_FOR_INPUT_H_
