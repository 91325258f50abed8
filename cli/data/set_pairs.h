// set_pairs: gives a message of the engine its pairs.
#ifndef ZANDREL_CLI_DATA_SET_PAIRS_H_
#define ZANDREL_CLI_DATA_SET_PAIRS_H_

#include <vector>

#include "zandrel/foundation/qtPtr.h"

#include "cli/data/Pair.h"

class zeMsg;

namespace cli {

// Adds the pairs to the message. A pair with several values becomes a list.
void set_pairs(qtPtrLight<zeMsg>& msg, const std::vector<Pair>& pairs);

}  // namespace cli

#endif  // ZANDREL_CLI_DATA_SET_PAIRS_H_
