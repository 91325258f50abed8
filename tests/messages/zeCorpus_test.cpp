#include "zandrel/messages/zeCorpus.h"

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Counts the objects of this class that exist, in a counter of the test.
class Counted {
public:
    explicit Counted(int* living) : m_living(living) { ++*m_living; }

    Counted(const Counted& other) : m_living(other.m_living) { ++*m_living; }

    Counted& operator=(const Counted&) = delete;

    ~Counted() { --*m_living; }

private:
    int* m_living;
};

TEST(zeCorpusTest, HandleContainsACopyOfItsValue) {
    std::string value = "first";

    const qtPtrLight<zeHandle_base> handle = zeCreate_h(value);
    value = "second";

    EXPECT_EQ(zeGet_v<std::string>(handle), "first");
}

TEST(zeCorpusTest, ValueOfAHandleCanBeChanged) {
    const qtPtrLight<zeHandle_base> handle = zeCreate_h(1);

    zeGet_v<int>(handle) = 2;

    EXPECT_EQ(zeGet_v<int>(handle), 2);
}

TEST(zeCorpusTest, HandleDestroysItsValue) {
    int living = 0;
    const Counted value(&living);
    {
        const qtPtrLight<zeHandle_base> handle = zeCreate_h(value);
        EXPECT_EQ(living, 2);
    }
    EXPECT_EQ(living, 1);
}

TEST(zeCorpusTest, HandleOfAnIteratorGivesTheIteratorAndItsElement) {
    std::vector<int> numbers = {10, 20, 30};
    const auto handle = zeCreate_ih<std::vector<int>>(numbers.begin());

    EXPECT_EQ(zeGet_i<std::vector<int>>(handle), numbers.begin());
    EXPECT_EQ(zeGet_iv<std::vector<int>>(handle), 10);

    ++zeGet_i<std::vector<int>>(handle);

    EXPECT_EQ(zeGet_iv<std::vector<int>>(handle), 20);
}

TEST(zeCorpusTest, ElementOfAHandleIsTheContainersOwn) {
    std::vector<int> numbers = {10, 20, 30};
    const auto handle = zeCreate_ih<std::vector<int>>(numbers.begin() + 1);

    zeGet_iv<std::vector<int>>(handle) = 7;

    EXPECT_EQ(numbers[1], 7);
}

TEST(zeCorpusTest, HandleWorksForOtherContainersToo) {
    using Names = std::map<int, std::string>;
    Names names = {{1, "one"}, {2, "two"}};
    const auto handle = zeCreate_ih<Names>(names.begin());

    ++zeGet_i<Names>(handle);

    EXPECT_EQ(zeGet_iv<Names>(handle).second, "two");
}

TEST(zeCorpusTest, CopiesOfAPositionShareTheirHandle) {
    const zeCorpus::iMsg position = {zeCreate_h(1)};
    const zeCorpus::iMsg copy = position;

    zeGet_v<int>(copy.handle) = 2;

    EXPECT_EQ(zeGet_v<int>(position.handle), 2);
    EXPECT_EQ(position.handle.use_count(), 2U);
}

TEST(zeCorpusTest, NewPositionIsEmpty) {
    EXPECT_TRUE(zeCorpus::iMsg().handle.IsNull());
}

}  // namespace
