#include "zandrel/foundation/qtPtr.h"

#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

// Only declared until the end of this file.
class Declared_only;
qtPtrLight<Declared_only> make_declared_only(int* deletions);

namespace {

// Counts its deletions in a counter of the test.
struct Base {
    explicit Base(int* counter) : deletions(counter) {}

    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;

    ~Base() { ++*deletions; }

    int* deletions;
};

// The base has no virtual destructor, so deletion through the base would skip this part.
struct Derived : Base {
    Derived(int* base_deletions, int* derived_deletions)
        : Base(base_deletions), own_deletions(derived_deletions) {}

    ~Derived() { ++*own_deletions; }

    int* own_deletions;
};

struct Second_base {
    virtual ~Second_base() = default;
    int second = 2;
};

struct First_base {
    virtual ~First_base() = default;
    int first = 1;
};

struct Of_two_bases : First_base, Second_base {};

// Contains a pointer to another Link.
struct Link {
    qtPtrLight<Link> next;
};

TEST(qtPtrLightTest, IsNullByDefault) {
    const qtPtrLight<int> pointer;

    EXPECT_TRUE(pointer.IsNull());
    EXPECT_FALSE(pointer);
    EXPECT_EQ(pointer.get(), nullptr);
    EXPECT_EQ(pointer.use_count(), 0U);
}

TEST(qtPtrLightTest, NullIsAcceptedInEveryForm) {
    const qtPtrLight<int> from_nullptr = nullptr;
    const qtPtrLight<int> from_pointer(static_cast<int*>(nullptr));
    const qtPtrLight<int>& copied = from_nullptr;
    const qtPtrLight<int> copy = copied;

    EXPECT_TRUE(from_nullptr.IsNull());
    EXPECT_TRUE(from_pointer.IsNull());
    EXPECT_EQ(from_pointer.use_count(), 0U);
    EXPECT_TRUE(copy.IsNull());
}

TEST(qtPtrLightTest, PointerIsTwoWordsWide) {
    EXPECT_EQ(sizeof(qtPtrLight<int>), 2 * sizeof(void*));
}

TEST(qtPtrLightTest, ObjectIsReturned) {
    int* const object = new int(7);
    const qtPtrLight<int> pointer(object);

    EXPECT_EQ(pointer.get(), object);
    EXPECT_EQ(*pointer, 7);
    EXPECT_FALSE(pointer.IsNull());
    EXPECT_TRUE(pointer);
}

TEST(qtPtrLightTest, MembersAreAccessible) {
    int deletions = 0;
    const qtPtrLight<Base> pointer(new Base(&deletions));

    EXPECT_EQ(pointer->deletions, &deletions);
}

TEST(qtPtrLightTest, PointersAreCounted) {
    const qtPtrLight<int> first(new int(0));
    EXPECT_EQ(first.use_count(), 1U);
    {
        const qtPtrLight<int> second = first;
        const qtPtrLight<int> third = second;
        EXPECT_EQ(first.use_count(), 3U);
        EXPECT_EQ(third.use_count(), 3U);
    }
    EXPECT_EQ(first.use_count(), 1U);
}

TEST(qtPtrLightTest, ObjectIsShared) {
    const qtPtrLight<int> first(new int(1));
    const qtPtrLight<int> second = first;

    *second = 5;

    EXPECT_EQ(*first, 5);
}

TEST(qtPtrLightTest, ObjectIsDeletedWithTheLastPointer) {
    int deletions = 0;
    {
        const qtPtrLight<Base> first(new Base(&deletions));
        { const qtPtrLight<Base> second = first; }
        EXPECT_EQ(deletions, 0);
    }
    EXPECT_EQ(deletions, 1);
}

TEST(qtPtrLightTest, AssignmentReleasesTheOldObject) {
    int old_deletions = 0;
    int new_deletions = 0;
    qtPtrLight<Base> pointer(new Base(&old_deletions));
    const qtPtrLight<Base> other(new Base(&new_deletions));

    pointer = other;

    EXPECT_EQ(old_deletions, 1);
    EXPECT_EQ(new_deletions, 0);
    EXPECT_EQ(other.use_count(), 2U);
}

TEST(qtPtrLightTest, AssigningOnePointerKeepsTheSharedObject) {
    int deletions = 0;
    qtPtrLight<Base> first(new Base(&deletions));
    const qtPtrLight<Base> second = first;

    first = nullptr;

    EXPECT_EQ(deletions, 0);
    EXPECT_EQ(second.use_count(), 1U);
}

TEST(qtPtrLightTest, SelfAssignmentKeepsTheObject) {
    int deletions = 0;
    qtPtrLight<Base> pointer(new Base(&deletions));
    qtPtrLight<Base>& same = pointer;

    pointer = same;
    EXPECT_EQ(deletions, 0);
    EXPECT_EQ(pointer.use_count(), 1U);

    pointer = std::move(same);
    EXPECT_EQ(deletions, 0);
    EXPECT_EQ(pointer.use_count(), 1U);
}

TEST(qtPtrLightTest, MoveDoesNotChangeTheCount) {
    qtPtrLight<int> source(new int(3));

    const qtPtrLight<int> target = std::move(source);

    EXPECT_EQ(*target, 3);
    EXPECT_EQ(target.use_count(), 1U);
    EXPECT_TRUE(source.IsNull());  // NOLINT(bugprone-use-after-move): its state is promised
    EXPECT_EQ(source.use_count(), 0U);
}

TEST(qtPtrLightTest, MoveAssignmentReleasesTheOldObject) {
    int old_deletions = 0;
    int new_deletions = 0;
    qtPtrLight<Base> target(new Base(&old_deletions));
    qtPtrLight<Base> source(new Base(&new_deletions));

    target = std::move(source);

    EXPECT_EQ(old_deletions, 1);
    EXPECT_EQ(new_deletions, 0);
    EXPECT_EQ(target.use_count(), 1U);
    EXPECT_TRUE(source.IsNull());  // NOLINT(bugprone-use-after-move): its state is promised
}

TEST(qtPtrLightTest, ResetReleasesTheObject) {
    int deletions = 0;
    qtPtrLight<Base> pointer(new Base(&deletions));

    pointer.reset();

    EXPECT_EQ(deletions, 1);
    EXPECT_TRUE(pointer.IsNull());
}

TEST(qtPtrLightTest, SwapExchangesObjects) {
    qtPtrLight<int> first(new int(1));
    qtPtrLight<int> second(new int(2));
    const qtPtrLight<int> also_first = first;

    first.swap(second);

    EXPECT_EQ(*first, 2);
    EXPECT_EQ(*second, 1);
    EXPECT_EQ(first.use_count(), 1U);
    EXPECT_EQ(second.use_count(), 2U);
}

TEST(qtPtrLightTest, PointersToTheSameObjectAreEqual) {
    const qtPtrLight<int> first(new int(1));
    const qtPtrLight<int> same = first;
    const qtPtrLight<int> other(new int(1));

    EXPECT_TRUE(first == same);
    EXPECT_FALSE(first != same);
    EXPECT_FALSE(first == other);
    EXPECT_TRUE(first != other);
    EXPECT_TRUE(qtPtrLight<int>() == nullptr);
    EXPECT_TRUE(first != nullptr);
}

TEST(qtPtrLightTest, PointerToBaseSharesCount) {
    int deletions = 0;
    int derived_deletions = 0;
    const qtPtrLight<Derived> derived(new Derived(&deletions, &derived_deletions));

    const qtPtrLight<Base> base = derived;

    EXPECT_EQ(base.get(), derived.get());
    EXPECT_EQ(base.use_count(), 2U);
    EXPECT_EQ(derived.use_count(), 2U);
}

TEST(qtPtrLightTest, ObjectIsDeletedAsTheTypeItWasMadeWith) {
    int deletions = 0;
    int derived_deletions = 0;
    {
        qtPtrLight<Base> base;
        base = qtPtrLight<Derived>(new Derived(&deletions, &derived_deletions));
        EXPECT_EQ(derived_deletions, 0);
    }
    EXPECT_EQ(deletions, 1);
    EXPECT_EQ(derived_deletions, 1);
}

TEST(qtPtrLightTest, ObjectIsDeletedAsDerivedIfMadeFromABarePointer) {
    int deletions = 0;
    int derived_deletions = 0;
    { const qtPtrLight<Base> base(new Derived(&deletions, &derived_deletions)); }
    EXPECT_EQ(deletions, 1);
    EXPECT_EQ(derived_deletions, 1);
}

TEST(qtPtrLightTest, SecondBaseIsFound) {
    const qtPtrLight<Of_two_bases> object(new Of_two_bases);

    const qtPtrLight<Second_base> second = object;

    EXPECT_EQ(second->second, 2);
    EXPECT_EQ(second.get(), static_cast<Second_base*>(object.get()));
}

TEST(qtPtrLightTest, NullPointerToBaseIsNull) {
    const qtPtrLight<Of_two_bases> none;

    const qtPtrLight<Second_base> second = none;

    EXPECT_TRUE(second.IsNull());
}

TEST(qtPtrLightTest, ConversionWorksOnlyWhereBarePointersConvert) {
    EXPECT_TRUE((std::is_convertible_v<qtPtrLight<Derived>, qtPtrLight<Base>>));
    EXPECT_TRUE((std::is_convertible_v<qtPtrLight<int>, qtPtrLight<const int>>));
    EXPECT_FALSE((std::is_convertible_v<qtPtrLight<Base>, qtPtrLight<Derived>>));
    EXPECT_FALSE((std::is_convertible_v<qtPtrLight<const int>, qtPtrLight<int>>));
    EXPECT_FALSE((std::is_convertible_v<qtPtrLight<int>, qtPtrLight<double>>));
    // Taking ownership of an object must always be explicit.
    EXPECT_FALSE((std::is_convertible_v<Base*, qtPtrLight<Base>>));
}

TEST(qtPtrLightTest, ChainIsDeletedWithItsFirstPointer) {
    int deletions = 0;
    std::vector<qtPtrLight<Base>> pointers;
    pointers.emplace_back(new Base(&deletions));
    pointers.resize(100, pointers.front());
    EXPECT_EQ(pointers.front().use_count(), 100U);

    pointers.clear();

    EXPECT_EQ(deletions, 1);
}

TEST(qtPtrLightTest, AssignmentFromAPointerInTheOwnObjectWorks) {
    qtPtrLight<Link> list(new Link);
    list->next = qtPtrLight<Link>(new Link);
    Link* const second = list->next.get();

    list = list->next;

    EXPECT_EQ(list.get(), second);
    EXPECT_EQ(list.use_count(), 1U);
}

TEST(qtPtrLightTest, PointerToADeclaredTypeIsCopiedAndDestroyed) {
    int deletions = 0;
    {
        qtPtrLight<Declared_only> first = make_declared_only(&deletions);
        const qtPtrLight<Declared_only> second = first;
        first.reset();
        EXPECT_EQ(second.use_count(), 1U);
        EXPECT_EQ(deletions, 0);
    }
    EXPECT_EQ(deletions, 1);
}

}  // namespace

class Declared_only {
public:
    explicit Declared_only(int* deletions) : m_deletions(deletions) {}

    Declared_only(const Declared_only&) = delete;
    Declared_only& operator=(const Declared_only&) = delete;

    ~Declared_only() { ++*m_deletions; }

private:
    int* m_deletions;
};

qtPtrLight<Declared_only> make_declared_only(int* deletions) {
    return qtPtrLight<Declared_only>(new Declared_only(deletions));
}
