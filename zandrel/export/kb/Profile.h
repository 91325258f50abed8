// Profile: one statistical category of a knowledge base of version 5.
#ifndef ZANDREL_EXPORT_KB_PROFILE_H_
#define ZANDREL_EXPORT_KB_PROFILE_H_

#include <array>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"

// A category as the older form knows it: its name, four numbers, the selected concepts with their
// final weights, and the likelihood table. It is a plain record. zeDump5::convert_profile fills it.
struct ZANDREL_EXPORT Profile {
    static constexpr int kLikelihoodSize = 30;

    // A selected concept.
    struct Weight {
        bool operator==(const Weight& other) const = default;

        qtString text;
        float value = 0.0F;
    };

    // Writes the fields in the order below.  Format: docs/formats/knowledge_base.md
    // RAISES: qtxSegBuf "SegBuf is full".
    void Write(Hio<HSegment>& io) const;

    qtString name;
    int size = 0;         // number of concepts that selection keeps at most
    int num_msgs = 0;     // number of messages of the category
    double weight = 0.0;  // sum of their weights
    double M = 0.0;       // additive term of the match formula
    std::vector<Weight> weights;
    std::array<double, kLikelihoodSize> likelihood = {};
};

#endif  // ZANDREL_EXPORT_KB_PROFILE_H_
