// Bad_record: the reason why a record of a data file is bad, without file and line.
#ifndef ZANDREL_TEXT_DATA_BAD_RECORD_H_
#define ZANDREL_TEXT_DATA_BAD_RECORD_H_

#include <stdexcept>

namespace zandrel {

// The readers of data files raise it while they interpret a record, and catch it where they know
// the file and the line.
class Bad_record : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_BAD_RECORD_H_
