// Cpu_timer: measures the CPU time of parts of the work.
#ifndef ZANDREL_TEXT_MODEL_CPU_TIMER_H_
#define ZANDREL_TEXT_MODEL_CPU_TIMER_H_

#include <ctime>

namespace zandrel {

// The sum of this process's CPU time between each `start` and the next `stop`. It does not include
// waiting for the disk or for other processes.
class Cpu_timer {
public:
    void start() { m_start = std::clock(); }

    void stop() { m_sum += std::clock() - m_start; }

    double seconds() const { return static_cast<double>(m_sum) / CLOCKS_PER_SEC; }

private:
    std::clock_t m_start = 0;
    std::clock_t m_sum = 0;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_CPU_TIMER_H_
