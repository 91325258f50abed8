// First_row_check: finds a table whose first row is not like the others.
#ifndef ZANDREL_TEXT_DATA_FIRST_ROW_CHECK_H_
#define ZANDREL_TEXT_DATA_FIRST_ROW_CHECK_H_

#include <cstddef>
#include <string>

#include "text/data/Data_reader.h"

namespace zandrel {

// For files that are read as a whole while bad records are skipped. Example: a row `sport,a,b` is
// before a thousand rows of two columns. The first row has three columns, so the others are bad,
// and a model of one text would be the result.
class First_row_check {
public:
    void add(const Data_record& record);

    // Call it after the last record. `name`: of the file.
    // RAISES: Data_error if the rows with another number of columns than the first one are more
    // than the good rows.
    void check(const std::string& name) const;

private:
    First_row m_first_row = {};
    std::size_t m_others = 0;
    std::size_t m_good = 0;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_FIRST_ROW_CHECK_H_
