// Worker_pool: several processes that share tasks of one kind.
#ifndef ZANDREL_CLI_PROCESS_WORKER_POOL_H_
#define ZANDREL_CLI_PROCESS_WORKER_POOL_H_

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zandrel::cli {

// Copies of this process, made by fork(), which do tasks at the same time. The engine does not
// allow a second thread, but each process has its own memory. A worker has everything that was in
// memory when the pool was made, for example a model that was read once. Its changes are not seen
// by other processes.
//
// A task and its answer are bytes. Answers are taken in the order of the tasks:
//
//     Worker_pool pool(2, work);
//     for each task:
//         if (pool.is_full()) { use(pool.take()); }
//         pool.give(task);
//     while (!pool.is_empty()) { use(pool.take()); }
//
// A worker that is killed, or whose work raises an error, gives no more answers. The caller then
// does the task itself, and gets the same error if there is one.
//
// Workers never write to standard output, and end without running destructors. Signals act on them
// as on this process.
class Worker_pool {
public:
    using Work = std::function<std::string(std::string_view task)>;

    struct Done {
        std::string task;
        std::optional<std::string> answer;  // missing: the worker has failed
    };

    // `prepare`: each worker calls it once, before its first task; may be empty. A worker whose
    // preparation raises an error gives no answers.
    // REQUIRES: `worker_count` > 0.
    // RAISES: std::system_error if the system refuses a process or its connection.
    Worker_pool(std::size_t worker_count, const Work& work,
                const std::function<void()>& prepare = {});
    Worker_pool(const Worker_pool&) = delete;
    Worker_pool& operator=(const Worker_pool&) = delete;
    // Ends the workers, also those that are working on a task.
    ~Worker_pool();

    // Returns whether an answer has to be taken before another task can be given.
    bool is_full() const;

    // Returns whether all answers have been taken.
    bool is_empty() const { return m_tasks.empty(); }

    // REQUIRES: the pool is not full.
    void give(std::string task);
    // Waits for the answer to the oldest task.
    // REQUIRES: the pool is not empty.
    Done take();

private:
    class Worker;

    Worker& worker_of(std::size_t task_number) const {
        return *m_workers[task_number % m_workers.size()];
    }

    std::vector<std::unique_ptr<Worker>> m_workers;
    std::deque<std::string> m_tasks;  // given, answer not taken yet; oldest first
    std::size_t m_taken = 0;          // number of answers taken
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_PROCESS_WORKER_POOL_H_
