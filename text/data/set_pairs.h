// set_pairs: gives a message of the engine its pairs.
#ifndef ZANDREL_TEXT_DATA_SET_PAIRS_H_
#define ZANDREL_TEXT_DATA_SET_PAIRS_H_

#include <vector>

#include "zandrel/foundation/qtPtr.h"

#include "text/data/Pair.h"

class zeMsg;

namespace zandrel {

// Adds the pairs to the message. A pair with several values becomes a list.
void set_pairs(qtPtrLight<zeMsg>& msg, const std::vector<Pair>& pairs);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_SET_PAIRS_H_
