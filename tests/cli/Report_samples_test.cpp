#include "cli/report/Report_samples.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using Sample_counts = std::vector<std::size_t>;

// A cell with so many texts, of which it keeps `kept`, each with 60 bytes. With the 40 bytes that
// we count beside it, a text needs 100 bytes.
Report_cell cell_of(std::size_t texts, std::size_t kept) {
    Report_cell cell;
    cell.texts = texts;
    cell.samples.resize(kept);
    for (Report_sample& sample : cell.samples) {
        sample.text = std::string(60, 'x');
    }
    return cell;
}

TEST(ReportSamplesTest, AllTextsAreChosenIfThereIsRoom) {
    EXPECT_EQ(chosen_samples({cell_of(2, 2), cell_of(9, 3)}, 500), (Sample_counts{2, 3}));
    EXPECT_EQ(chosen_samples({}, 500), Sample_counts());
}

TEST(ReportSamplesTest, LargestCellsGetTheirFirstTextsFirst) {
    EXPECT_EQ(chosen_samples({cell_of(1, 1), cell_of(3, 3), cell_of(2, 2)}, 200),
              (Sample_counts{0, 1, 1}));
}

TEST(ReportSamplesTest, EachCellGetsATextBeforeOneGetsTwo) {
    EXPECT_EQ(chosen_samples({cell_of(2, 2), cell_of(9, 9)}, 300), (Sample_counts{1, 2}));
}

TEST(ReportSamplesTest, WithoutRoomNoTextIsChosen) {
    EXPECT_EQ(chosen_samples({cell_of(2, 2)}, 99), (Sample_counts{0}));
    EXPECT_EQ(chosen_samples({cell_of(2, 2)}, 100), (Sample_counts{1}));
}

}  // namespace

}  // namespace zandrel::cli
