// Bad_record: the reason why a record of a data file is bad, without file and line.
#ifndef ZANDREL_CLI_DATA_BAD_RECORD_H_
#define ZANDREL_CLI_DATA_BAD_RECORD_H_

#include <stdexcept>

namespace cli {

// The readers of data files raise it while they interpret a record, and catch it where they know
// the file and the line.
class Bad_record : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace cli

#endif  // ZANDREL_CLI_DATA_BAD_RECORD_H_
