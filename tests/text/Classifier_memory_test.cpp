// Classifier without memory: each function raises Error and nothing else, and the process goes on.
#include "zandrel/text/Classifier.h"

#include <new>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/cli/scratch_folder.h"
#include "tests/support/failing_new.h"
#include "tests/text/desk_texts.h"
#include "text/api/raised_errors.h"

namespace zandrel::tests {

namespace {

enum class End { kComplete, kOutOfMemory, kOtherError, kOtherException };

template <class Work>
End end_of(const Work& work) {
    try {
        work();
    } catch (const Error& error) {
        return error.code() == Error_code::out_of_memory ? End::kOutOfMemory : End::kOtherError;
    } catch (...) {
        return End::kOtherException;
    }
    return End::kComplete;
}

// Lets each allocation of the work fail in turn.
template <class Work>
void expect_only_errors(const Work& work) {
    int failures = 0;
    for (unsigned int index = 0;; ++index) {
        End end = End::kOtherException;
        if (!fails_at(index, [&] { end = end_of(work); })) {
            EXPECT_EQ(end, End::kComplete);
            break;
        }
        ASSERT_TRUE(end == End::kComplete || end == End::kOutOfMemory) << index;
        failures += end == End::kOutOfMemory ? 1 : 0;
    }
    EXPECT_GT(failures, 0);
}

// A file that is left behind by another process has such a name, and is looked for.
TEST(ClassifierMemoryTest, SavingWithoutMemoryRaisesErrorAtEachPlace) {
    const cli::Scratch_folder folder;
    for (int i = 0; i < 5; ++i) {
        folder.write("another file with a long name " + std::to_string(i), "x");
        folder.write(".a.kc.tmp-abcde" + std::to_string(i), "x");
    }
    Classifier classifier = Classifier::train(desk_examples());
    const std::string path = folder.file("a.kc");
    expect_only_errors([&] { classifier.save(path); });
    EXPECT_EQ(Classifier::open(path).labels(), classifier.labels());
}

TEST(ClassifierMemoryTest, OpeningWithProgressWithoutMemoryRaisesErrorAtEachPlace) {
    const cli::Scratch_folder folder;
    const std::string path = folder.file("a.kc");
    Classifier::train(desk_examples()).save(path);
    Open_options options;
    const std::string captured = "so that a copy of the function needs memory";
    options.progress = [captured](double) { return !captured.empty(); };
    expect_only_errors([&] { Classifier::open(path, options); });
}

TEST(ClassifierMemoryTest, ErrorIsRaisedWithoutMemoryForItsMessage) {
    End end = End::kOtherException;
    const bool has_refused = fails_at(0, [&] {
        end = end_of([] { with_errors(Error_code::failed, [] { throw std::bad_alloc(); }); });
    });
    EXPECT_TRUE(has_refused);
    EXPECT_EQ(end, End::kOutOfMemory);
}

TEST(ClassifierMemoryTest, ClosedClassifierIsReportedWithoutMemoryForTheMessage) {
    Classifier classifier = Classifier::train(desk_examples());
    const Classifier moved = std::move(classifier);
    End end = End::kOtherException;
    // NOLINTNEXTLINE(bugprone-use-after-move)
    EXPECT_TRUE(fails_at(0, [&] { end = end_of([&] { classifier.analysis(); }); }));
    EXPECT_EQ(end, End::kOutOfMemory);
}

}  // namespace

}  // namespace zandrel::tests
