// zeMsg: the message that the engine classifies and trains on.
#ifndef ZANDREL_MESSAGES_ZEMSG_H_
#define ZANDREL_MESSAGES_ZEMSG_H_

#include <array>
#include <cstddef>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/messages/zeSml.h"

// A message: up to five bags of concepts, the categories that label it, and what it counts for in
// training. The application fills it; it shares its bags.
class ZANDREL_EXPORT zeMsg {
public:
    static constexpr std::size_t kSlotCount = 5;

    // The bag that classification and training read, `smls[active_sml]`; null if that slot is
    // empty or does not exist.
    const qtPtrLight<zeSml>& active_bag() const noexcept;

    // Slots 0 to 3 are the bags of the text, the keywords, the title and the canned text. Slot 4
    // is the trainer's, for a bag that it derives. A slot may be null.
    std::array<qtPtrLight<zeSml>, kSlotCount> smls;
    std::vector<Concept> categories;  // the labels; empty for an unlabelled message
    unsigned int active_sml = 0;      // index into `smls`
    double weight = 1.0;              // what the message counts for in training
    bool changed = true;              // differs from its stored form
};

#endif  // ZANDREL_MESSAGES_ZEMSG_H_
