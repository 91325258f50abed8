// The idea: each worker has its own connection, on which tasks are sent in one direction and
// answers in the other. Each is sent as its length in eight bytes and its bytes: the task "ab" as
// 02 00 00 00 00 00 00 00 61 62, in the byte order of the machine. Tasks are dealt in turn, task n
// to worker n % workers, and a worker answers its tasks in order. So the answer to task 7 of two
// workers is the fourth on the connection of worker 1, and answers need no numbers.
//
// Example: two workers and five tasks, which the caller gives and takes as in the header. At most
// two tasks of a worker have no taken answer, so with four tasks the pool is full.
//
//   caller                        worker 0                   worker 1
//   give(0), give(1)              works on 0                 works on 1
//   give(2), give(3)              task 2 is in its input     task 3 is in its input
//   take(): waits for 0                                      answers 1, works on 3
//   take(): returns 0             answers 0, works on 2
//   give(4)                       task 4 is in its input
//   take(): returns 1 at once
//   take(): waits for 2           answers 2, works on 4
//
// So the answers are in the order of the tasks, however long each task takes, and a worker finds
// its next task without waiting for us.
//
// If worker 1 is killed while it works on task 3, its connection ends. take() then returns task 3
// without an answer, and the caller does the task itself. The same happens to tasks 5, 7 and so on:
// give() sends nothing to a worker that has ended.
//
// Two processes that both write, and both wait for the other one to read, would wait for ever: a
// connection has room for a few hundred kilobytes, and both tasks and answers can be larger. So
// give() never waits only for writing. Whenever it cannot write to a worker, it reads what the
// worker has written.
#include "cli/process/Worker_pool.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace zandrel::cli {

namespace {

constexpr std::size_t kTasksPerWorker = 2;  // one in work and one waiting

using Length = std::uint64_t;

[[noreturn]] void raise_system_error(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// The worker's side. A worker has nothing else to do, so its calls may wait.

bool read_all(int connection, char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::read(connection, bytes, size);
        if (count <= 0 && !(count < 0 && errno == EINTR)) {
            return false;
        }
        const std::size_t got = count > 0 ? static_cast<std::size_t>(count) : 0;
        bytes += got;
        size -= got;
    }
    return true;
}

bool write_all(int connection, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return true;
}

std::string framed(std::string_view bytes) {
    const Length length = bytes.size();
    std::string frame(sizeof length, '\0');
    std::memcpy(frame.data(), &length, sizeof length);
    frame += bytes;
    return frame;
}

// Answers tasks until the connection ends or a task raises an error. The caller gets the same error
// when it does the task itself.
void serve(int connection, const Worker_pool::Work& work, const std::function<void()>& prepare) {
    try {
        if (prepare) {
            prepare();
        }
        Length length = 0;
        std::string task;
        while (read_all(connection, reinterpret_cast<char*>(&length), sizeof length)) {
            task.resize(length);
            if (!read_all(connection, task.data(), task.size()) ||
                !write_all(connection, framed(work(task)))) {
                return;
            }
        }
    } catch (...) {
        return;
    }
}

}  // namespace

// One worker, seen from this process.
class Worker_pool::Worker {
public:
    // `elder`: the workers that were made before.
    Worker(const Work& work, const std::function<void()>& prepare,
           const std::vector<std::unique_ptr<Worker>>& elder) {
        std::array<int, 2> ends = {};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            raise_system_error("cannot connect a worker process");
        }
        m_process = ::fork();
        if (m_process == 0) {
            // The child has copies of our ends of the connections. An open copy would keep a
            // connection open after this process has ended.
            ::close(ends[0]);
            for (const std::unique_ptr<Worker>& each : elder) {
                ::close(each->m_connection);
            }
            serve(ends[1], work, prepare);
            ::_exit(0);
        }
        const int error = errno;
        ::close(ends[1]);
        m_connection = ends[0];
        if (m_process < 0) {
            ::close(m_connection);
            errno = error;
            raise_system_error("cannot start a worker process");
        }
    }

    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    ~Worker() {
        ::close(m_connection);
        ::kill(m_process, SIGKILL);
        while (::waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
        }
    }

    void give(std::string_view task) {
        const std::string frame = framed(task);
        std::string_view left = frame;
        while (m_is_alive && !left.empty()) {
            pollfd ready = {m_connection, POLLIN | POLLOUT, 0};
            if (::poll(&ready, 1, -1) < 0) {
                continue;  // a signal came
            }
            if ((ready.revents & POLLIN) != 0) {
                read_some();
            } else {
                write_some(left);
            }
        }
    }

    // Returns nothing if the worker has ended before its answer.
    std::optional<std::string> take() {
        while (m_is_alive && !has_answer()) {
            read_some();
        }
        if (!has_answer()) {
            return std::nullopt;
        }
        std::string answer = m_received.substr(sizeof(Length), answer_length());
        m_received.erase(0, sizeof(Length) + answer.size());
        return answer;
    }

private:
    void write_some(std::string_view& left) {
        const ssize_t count =
            ::send(m_connection, left.data(), left.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count > 0) {
            left.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EAGAIN && errno != EINTR) {
            m_is_alive = false;
        }
    }

    void read_some() {
        std::array<char, 65536> chunk;
        const ssize_t count = ::read(m_connection, chunk.data(), chunk.size());
        if (count > 0) {
            m_received.append(chunk.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            m_is_alive = false;
        }
    }

    Length answer_length() const {
        Length length = 0;
        std::memcpy(&length, m_received.data(), sizeof length);
        return length;
    }

    bool has_answer() const {
        return m_received.size() >= sizeof(Length) &&
               m_received.size() - sizeof(Length) >= answer_length();
    }

    pid_t m_process = -1;
    int m_connection = -1;
    bool m_is_alive = true;  // false: no more bytes will come
    std::string m_received;
};

Worker_pool::Worker_pool(std::size_t worker_count, const Work& work,
                         const std::function<void()>& prepare) {
    while (m_workers.size() < worker_count) {
        m_workers.push_back(std::make_unique<Worker>(work, prepare, m_workers));
    }
}

Worker_pool::~Worker_pool() = default;

bool Worker_pool::is_full() const {
    return m_tasks.size() == kTasksPerWorker * m_workers.size();
}

void Worker_pool::give(std::string task) {
    m_tasks.push_back(std::move(task));
    worker_of(m_taken + m_tasks.size() - 1).give(m_tasks.back());
}

Worker_pool::Done Worker_pool::take() {
    Done done = {std::move(m_tasks.front()), {}};
    m_tasks.pop_front();
    done.answer = worker_of(m_taken++).take();
    return done;
}

}  // namespace zandrel::cli
