// Several threads use classifiers at the same time. Each answer is that of one thread. A build with
// a checker of threads also finds each access that is not ordered (script/test tsan).
#include "zandrel/text/Classifier.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/text/Records.h"

#include "tests/cli/scratch_folder.h"
#include "tests/text/desk_texts.h"
#include "text/api/Container_lock.h"

namespace zandrel::tests {

namespace {

constexpr int kRounds = 12;

using Answers = std::vector<std::vector<std::string>>;

std::string shown(const Label& label) {
    std::string score(sizeof(double), '\0');
    std::copy_n(reinterpret_cast<const char*>(&label.score), sizeof(double), score.begin());
    const std::string confidence =
        label.confidence ? " " + std::to_string(*label.confidence) : std::string();
    return label.path + score + confidence;
}

std::vector<std::string> answer_to(const Classifier& classifier, const std::string& question) {
    std::vector<std::string> answer;
    for (const Label& label : classifier.classify(question, {-1})) {
        answer.push_back(shown(label));
    }
    return answer;
}

Answers answers_of(const Classifier& classifier) {
    Answers answers;
    for (const std::string& question : desk_questions()) {
        answers.push_back(answer_to(classifier, question));
    }
    return answers;
}

Classifier trained(const std::string& tree = "") {
    Train_options options;
    options.tree = tree;
    options.calibrate = true;
    return Classifier::train(desk_examples(), options);
}

// The bulk that a learner learns in a round.
std::vector<Example> bulk(int round) {
    return {desk_examples()[static_cast<std::size_t>(round) % 6]};
}

// The answers of a classifier before it learns, and after each bulk.
std::vector<Answers> states_of_learning() {
    Classifier classifier = trained();
    std::vector<Answers> states = {answers_of(classifier)};
    for (int round = 0; round < kRounds; ++round) {
        classifier.learn(bulk(round));
        states.push_back(answers_of(classifier));
    }
    return states;
}

class ClassifierThreadsTest : public testing::Test {
protected:
    void add(const std::function<void()>& work) { m_threads.emplace_back(work); }

    void join() {
        for (std::thread& thread : m_threads) {
            thread.join();
        }
        m_threads.clear();
    }

    std::atomic<int> m_failures = 0;

private:
    std::vector<std::thread> m_threads;
};

TEST_F(ClassifierThreadsTest, EightThreadsGetTheAnswersOfOneThreadWhileOneLearns) {
    const cli::Scratch_folder folder;
    const std::vector<Answers> states = states_of_learning();
    const Classifier ruled = trained(desk_tree());
    const Answers of_ruled = answers_of(ruled);
    Classifier learning = trained();
    trained(desk_tree()).save(folder.file("other.kc"));
    std::atomic<bool> is_over = false;

    for (int thread = 0; thread < 2; ++thread) {
        add([&] {  // reads a container that never changes
            for (int round = 0; round < kRounds || !is_over; ++round) {
                m_failures += answers_of(ruled) == of_ruled ? 0 : 1;
            }
        });
        add([&] {  // reads a container that learns: its state never becomes an older one
            std::size_t state = 0;
            while (!is_over) {
                for (std::size_t i = 0; i < desk_questions().size(); ++i) {
                    const auto answer = answer_to(learning, desk_questions()[i]);
                    while (state < states.size() && answer != states[state][i]) {
                        ++state;
                    }
                }
                m_failures += state < states.size() ? 0 : 1;
            }
        });
        add([&] {  // opens and closes
            for (int round = 0; round < kRounds; ++round) {
                Classifier opened = Classifier::open(folder.file("other.kc"));
                m_failures += answers_of(opened) == of_ruled ? 0 : 1;
                opened.close();
            }
        });
    }
    add([&] {  // explains both
        for (int round = 0; round < kRounds; ++round) {
            m_failures += ruled.explain("my parcel").effects.empty() ? 1 : 0;
            m_failures += learning.explain("my parcel").effects.empty() ? 1 : 0;
            m_failures += learning.labels().size() == 3 ? 0 : 1;
            Text large("my parcel");
            large.fields = {{"amount", "600.5", Field::Type::number}};
            m_failures += ruled.classify(large).front().name == "manager" ? 0 : 1;
        }
    });
    add([&] {
        for (int round = 0; round < kRounds; ++round) {
            learning.learn(bulk(round));
            learning.save(folder.file("learned.kc"));
        }
        is_over = true;
    });
    join();

    EXPECT_EQ(m_failures, 0);
    EXPECT_EQ(answers_of(learning), states.back());
    EXPECT_EQ(answers_of(Classifier::open(folder.file("learned.kc"))), states.back());
}

TEST_F(ClassifierThreadsTest, CloseWaitsForRunningCallsAndEndsTheNextOnes) {
    Classifier classifier = trained();
    const Answers expected = answers_of(classifier);
    std::atomic<int> running = 0;
    std::atomic<int> closed = 0;
    for (int thread = 0; thread < 3; ++thread) {
        add([&] {
            ++running;
            try {
                for (;;) {
                    m_failures += answers_of(classifier) == expected ? 0 : 1;
                }
            } catch (const Error& error) {
                closed += error.code() == Error_code::closed ? 1 : 0;
            }
        });
    }
    while (running < 3) {
        std::this_thread::yield();
    }
    classifier.close();
    join();
    EXPECT_EQ(m_failures, 0);
    EXPECT_EQ(closed, 3);
}

TEST_F(ClassifierThreadsTest, WriterIsNotDelayedForeverByReaders) {
    Classifier classifier = trained();
    std::atomic<bool> is_over = false;
    for (int thread = 0; thread < 3; ++thread) {
        add([&] {
            while (!is_over) {
                classifier.classify("my parcel");
            }
        });
    }
    for (int round = 0; round < 3; ++round) {
        classifier.learn(bulk(round));
    }
    is_over = true;
    join();
}

// A flag that one thread sets and another one awaits, for at most some seconds.
class Signal {
public:
    void set() { m_is_set = true; }

    bool wait() const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!m_is_set && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return m_is_set;
    }

private:
    std::atomic<bool> m_is_set = false;
};

TEST_F(ClassifierThreadsTest, ExplanationThatIsPreparedDoesNotWaitForATraining) {
    const cli::Scratch_folder folder;
    trained().save(folder.file("a.kc"));
    Open_options opening;
    opening.prepare_to_explain = true;
    const Classifier opened = Classifier::open(folder.file("a.kc"), opening);
    Train_options training;
    training.prepare_to_explain = true;
    Classifier learned = Classifier::train(desk_examples(), training);
    learned.learn(bulk(0));
    Classifier explained = trained();
    explained.explain("my parcel");
    explained.learn(bulk(0));

    Signal is_training;
    Signal is_explained;
    bool was_explained = false;
    add([&] {
        Train_options options;
        options.progress = [&](double) {  // the training has the lock of the process here
            is_training.set();
            was_explained = is_explained.wait();
            return false;
        };
        try {
            Classifier::train(desk_examples(), options);
        } catch (const Error&) {  // the callback ends the training
        }
    });
    EXPECT_TRUE(is_training.wait());
    for (const Classifier* each : {&opened, static_cast<const Classifier*>(&learned),
                                   static_cast<const Classifier*>(&explained)}) {
        EXPECT_FALSE(each->explain("my parcel").effects.empty());
    }
    is_explained.set();
    join();
    EXPECT_TRUE(was_explained);
}

TEST_F(ClassifierThreadsTest, RecordsFromASlowPipeDelayNobody) {
    const cli::Scratch_folder folder;
    const std::string pipe = folder.file("records.tsv");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    trained().save(folder.file("other.kc"));
    Classifier learning = trained();
    Signal is_reading;
    Signal is_over;
    bool was_over = false;
    add([&] {
        std::ofstream stream(pipe);
        stream << "delivery\tmy parcel" << std::endl << "refund\tmy money" << std::endl;
        was_over = is_over.wait();
        stream << "refund\tmoney, money" << std::endl;
    });
    add([&] {
        Learn_options options;
        options.progress = [&](double) {
            is_reading.set();
            return true;
        };
        Records records = Records::open(pipe);
        learning.learn(records, options);
    });
    EXPECT_TRUE(is_reading.wait());
    learning.classify("my parcel");
    Classifier::open(folder.file("other.kc")).close();
    is_over.set();
    join();
    EXPECT_TRUE(was_over);

    Classifier expected = trained();
    expected.learn(std::vector<Example>{
        {{"delivery"}, "my parcel"}, {{"refund"}, "my money"}, {{"refund"}, "money, money"}});
    EXPECT_EQ(answers_of(learning), answers_of(expected));
}

// The pipe has no end, so only the callback can end the reading.
TEST_F(ClassifierThreadsTest, ProgressEndsTheReadingOfRecords) {
    const cli::Scratch_folder folder;
    const std::string pipe = folder.file("records.tsv");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    Signal is_over;
    add([&] {
        std::ofstream stream(pipe);
        stream << "delivery\tmy parcel" << std::endl << "refund\tmy money" << std::endl;
        m_failures += is_over.wait() ? 0 : 1;
    });
    Train_options options;
    options.progress = [](double) { return false; };
    Records records = Records::open(pipe);
    try {
        Classifier::train(records, options);
        ADD_FAILURE() << "no error";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), Error_code::interrupted);
    }
    is_over.set();
    join();
    EXPECT_EQ(m_failures, 0);
}

// How often a waiting thread gets its turn before one that unlocks and locks again at once. It may
// fail a few times, since the system can stop a thread before it asks.
// `enter`: takes its turn, and sets its argument inside of it.
template <class Lock, class Enter>
int turns_of_waiting_thread(int rounds, Lock& lock, const Enter& enter) {
    int turns = 0;
    for (int round = 0; round < rounds; ++round) {
        std::atomic<bool> asks = false;
        std::atomic<bool> was_inside = false;
        lock.lock();
        std::thread waiting([&] {
            asks = true;
            enter(was_inside);
        });
        while (!asks) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        lock.unlock();
        lock.lock();
        turns += was_inside ? 1 : 0;
        lock.unlock();
        waiting.join();
    }
    return turns;
}

TEST(ContainerLockTest, ReaderIsNotOvertakenByWriterThatComesAgainAtOnce) {
    Container_lock lock;
    const int turns = turns_of_waiting_thread(11, lock, [&](std::atomic<bool>& was_inside) {
        const Container_lock::Reader reader(lock);
        was_inside = true;
    });
    EXPECT_GE(turns, 6);
}

TEST(FairMutexTest, WaitingThreadIsNotOvertakenByThreadThatLocksAgainAtOnce) {
    Fair_mutex mutex;
    const int turns = turns_of_waiting_thread(11, mutex, [&](std::atomic<bool>& was_inside) {
        const std::scoped_lock turn(mutex);
        was_inside = true;
    });
    EXPECT_GE(turns, 6);
}

// More readers than the lock has places.
TEST_F(ClassifierThreadsTest, HundredThreadsReadOneClassifier) {
    const Classifier classifier = trained();
    const std::vector<std::string> expected = answer_to(classifier, "my parcel");
    for (int thread = 0; thread < 100; ++thread) {
        add([&] {
            for (int round = 0; round < 5; ++round) {
                m_failures += answer_to(classifier, "my parcel") == expected ? 0 : 1;
            }
        });
    }
    join();
    EXPECT_EQ(m_failures, 0);
}

TEST_F(ClassifierThreadsTest, ForkedProcessClassifiesAndLearns) {
    Classifier classifier = trained(desk_tree());
    const Answers expected = answers_of(classifier);
    const pid_t child = ::fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        bool is_equal = answers_of(classifier) == expected;
        classifier.learn(std::vector<Example>{{{"refund"}, "money, money"}});
        is_equal = is_equal && answers_of(classifier) != expected;
        classifier.close();
        ::_exit(is_equal ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(answers_of(classifier), expected);
}

}  // namespace

}  // namespace zandrel::tests
