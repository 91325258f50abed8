#include "zandrel/statistics/Remembered_places.h"

#include <gtest/gtest.h>

using zandrel::detail::Remembered_places;

namespace {

TEST(RememberedPlacesTest, ReplayReturnsTheNotedPlacesInOrderAndThenNull) {
    Remembered_places places;
    places.record();
    places.note(7);
    places.note(Remembered_places::kUnknown);
    places.note(3);

    places.replay();

    EXPECT_EQ(places.guess(), 7U);
    EXPECT_EQ(places.guess(), Remembered_places::kUnknown);
    EXPECT_EQ(places.guess(), 3U);
    EXPECT_EQ(places.guess(), Remembered_places::kUnknown);
}

TEST(RememberedPlacesTest, NothingIsNotedBeforeRecordingAndDuringReplay) {
    Remembered_places places;
    places.note(1);
    EXPECT_EQ(places.guess(), Remembered_places::kUnknown);

    places.record();
    places.note(2);
    places.replay();
    places.note(3);

    EXPECT_EQ(places.guess(), 2U);
    EXPECT_EQ(places.guess(), Remembered_places::kUnknown);
}

TEST(RememberedPlacesTest, ReplayShowsThePlacesBehindTheNextOne) {
    Remembered_places places;
    EXPECT_FALSE(places.is_replaying());
    places.record();
    places.note(7);
    places.note(8);
    places.note(9);
    EXPECT_FALSE(places.is_replaying());
    EXPECT_EQ(places.guess_behind(0), Remembered_places::kUnknown);

    places.replay();
    places.guess();

    EXPECT_TRUE(places.is_replaying());
    EXPECT_EQ(places.guess_behind(0), 8U);
    EXPECT_EQ(places.guess_behind(1), 9U);
    EXPECT_EQ(places.guess_behind(2), Remembered_places::kUnknown);
    places.guess();
    EXPECT_EQ(places.guess(), 9U);
    EXPECT_FALSE(places.is_replaying());
}

TEST(RememberedPlacesTest, RecordingAgainForgetsTheLastSlice) {
    Remembered_places places;
    places.record();
    places.note(1);

    places.record();
    places.note(2);
    places.replay();

    EXPECT_EQ(places.guess(), 2U);
}

TEST(RememberedPlacesTest, ForgettingRemovesAllPlaces) {
    Remembered_places places;
    places.record();
    places.note(1);

    places.forget();

    EXPECT_EQ(places.guess(), Remembered_places::kUnknown);
}

}  // namespace
