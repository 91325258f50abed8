#include "cli/process/Worker_pool.h"

#include <chrono>
#include <csignal>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using Answers = std::vector<std::optional<std::string>>;

// Gives all tasks to the pool and collects all answers, as fast as the pool allows.
Answers run(Worker_pool& pool, const std::vector<std::string>& tasks) {
    Answers answers;
    for (const std::string& task : tasks) {
        if (pool.is_full()) {
            answers.push_back(pool.take().answer);
        }
        pool.give(task);
    }
    while (!pool.is_empty()) {
        answers.push_back(pool.take().answer);
    }
    return answers;
}

std::vector<std::string> numbers(int count) {
    std::vector<std::string> tasks;
    for (int i = 0; i < count; ++i) {
        tasks.push_back(std::to_string(i));
    }
    return tasks;
}

}  // namespace

TEST(WorkerPoolTest, AnswersComeInTheOrderOfTheTasks) {
    // The first of three workers is slow, so the other workers answer long before it.
    Worker_pool pool(3, [](std::string_view task) {
        if (std::stoi(std::string(task)) % 3 == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return "<" + std::string(task) + ">";
    });
    const Answers answers = run(pool, numbers(20));
    ASSERT_EQ(answers.size(), 20U);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(answers[static_cast<std::size_t>(i)], "<" + std::to_string(i) + ">");
    }
}

TEST(WorkerPoolTest, TaskIsReturnedWithItsAnswer) {
    Worker_pool pool(1, [](std::string_view task) { return std::string(task) + "!"; });
    pool.give("task");
    const Worker_pool::Done done = pool.take();
    EXPECT_EQ(done.task, "task");
    EXPECT_EQ(done.answer, "task!");
}

TEST(WorkerPoolTest, EmptyTaskMayHaveAnEmptyAnswer) {
    Worker_pool pool(1, [](std::string_view task) { return std::string(task); });
    EXPECT_EQ(run(pool, {"", ""}), (Answers{"", ""}));
}

// A pool takes up to two tasks for each worker.
TEST(WorkerPoolTest, PoolIsFullWithTwoTasksForEachWorker) {
    Worker_pool pool(2, [](std::string_view task) { return std::string(task); });
    EXPECT_TRUE(pool.is_empty());
    for (int given = 0; given < 4; ++given) {
        EXPECT_FALSE(pool.is_full());
        pool.give("x");
    }
    EXPECT_TRUE(pool.is_full());
    static_cast<void>(pool.take());
    EXPECT_FALSE(pool.is_full());
}

// Neither the tasks nor the answers fit into the buffer of the connection. The worker writes the
// first answer while the pool writes the second task.
TEST(WorkerPoolTest, LargeTasksAndAnswersDoNotBlockEachOther) {
    constexpr std::size_t kSize = 3000000;
    Worker_pool pool(1, [](std::string_view task) { return std::string(task) + "."; });
    const std::vector<std::string> tasks = {std::string(kSize, 'a'), std::string(kSize, 'b'),
                                            std::string(kSize, 'c')};
    EXPECT_EQ(run(pool, tasks), (Answers{tasks[0] + ".", tasks[1] + ".", tasks[2] + "."}));
}

TEST(WorkerPoolTest, WorkerStartsWithTheParentsMemoryAndKeepsItsChanges) {
    int calls = 10;
    Worker_pool pool(1, [&calls](std::string_view) { return std::to_string(++calls); });
    EXPECT_EQ(run(pool, numbers(3)), (Answers{"11", "12", "13"}));
    EXPECT_EQ(calls, 10);
}

TEST(WorkerPoolTest, FailedWorkHasNoAnswerAndEndsOnlyItsWorker) {
    Worker_pool pool(2, [](std::string_view task) -> std::string {
        if (task == "2") {
            throw std::runtime_error("failed");
        }
        return std::string(task);
    });
    // The first worker gets the tasks 0, 2 and 4.
    EXPECT_EQ(run(pool, numbers(6)), (Answers{"0", "1", std::nullopt, "3", std::nullopt, "5"}));
}

TEST(WorkerPoolTest, KilledWorkerGivesNoAnswer) {
    Worker_pool pool(1, [](std::string_view task) {
        if (task == "1") {
            ::raise(SIGKILL);
        }
        return std::string(task);
    });
    EXPECT_EQ(run(pool, numbers(3)), (Answers{"0", std::nullopt, std::nullopt}));
}

TEST(WorkerPoolTest, DestructionEndsBusyWorkers) {
    const auto begin = std::chrono::steady_clock::now();
    {
        Worker_pool pool(2, [](std::string_view) {
            ::sleep(600);
            return std::string();
        });
        pool.give("a");
        pool.give("b");
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
}

}  // namespace zandrel::cli
