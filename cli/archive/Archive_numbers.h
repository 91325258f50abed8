// Archive_numbers: gives the messages of an archive low numbers before the numbers end.
#ifndef ZANDREL_CLI_ARCHIVE_ARCHIVE_NUMBERS_H_
#define ZANDREL_CLI_ARCHIVE_ARCHIVE_NUMBERS_H_

#include <string>

#include "zandrel/archive/SmlArchiveManager.h"
#include "zandrel/archive/zeSmlArchive.h"

namespace zandrel::cli {

// Numbers the messages anew in their order, if the newest number is above 0xFFFFFFE. The first one
// gets the number 1, or keeps the number 0 if it has that. Reserved messages, locks, external ids
// and the place of learning get the new numbers too. A message without an external id of its own
// has the key of its number as id, so the key of the new number becomes its id.
//
// For example, with 5 as the message that was learned last:
//
//              before                      after
//   messages   5: red, 0x10000000: blue    1: red, 2: blue
//   reserved   red: 5, blue: 0x10000000    red: 1, blue: 2
//   learned    5                           1
//
// zeSmlArchive::Renumber, which Learn and TrainKc call, then finds nothing to do. It would leave
// the old numbers in the locks and external ids, so reserved messages would be deleted as free
// ones.
// RAISES: qtX<zeSmlArchive> 4 for a message that cannot be read. The archive in memory is then
// half changed, and must not be written.
// COST: reads each message. Messages with a new number are in memory until they are written.
void give_low_numbers(zeSmlArchive& archive);

// Returns why locks or external ids cannot be those of the messages, or "". zeSmlArchive::Renumber
// leaves such a summary. An id is only compared with the number of the next message, so wrong ids
// with low numbers are not found.
// COST: a look at each reserved message and each external id, without reading messages.
std::string problem_of_numbers(const SmlArchiveManager& summary);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_ARCHIVE_ARCHIVE_NUMBERS_H_
