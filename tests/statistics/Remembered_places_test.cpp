#include "zandrel/statistics/Remembered_places.h"

#include <gtest/gtest.h>

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
