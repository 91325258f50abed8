// Cpu_timer: measures the processor time of a stretch of the program.
#ifndef ZANDREL_CLI_MODEL_CPU_TIMER_H_
#define ZANDREL_CLI_MODEL_CPU_TIMER_H_

#include <ctime>

namespace cli {

// Adds up the process's CPU time over any number of stretches, each from `start` to `stop`.
// Waiting for the disk or for other processes does not count.
class Cpu_timer {
public:
    void start() { m_start = std::clock(); }

    void stop() { m_sum += std::clock() - m_start; }

    double seconds() const { return static_cast<double>(m_sum) / CLOCKS_PER_SEC; }

private:
    std::clock_t m_start = 0;
    std::clock_t m_sum = 0;
};

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_CPU_TIMER_H_
