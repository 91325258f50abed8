// Counts the rows with another number of columns than the first row, and the good rows.
#include "text/data/First_row_check.h"

#include "text/errors.h"
#include "text/wording/Layout.h"

namespace zandrel {

void First_row_check::add(const Data_record& record) {
    if (record.first_row) {
        m_first_row = *record.first_row;
        ++m_others;
    }
    m_good += record.error ? 0U : 1U;
}

void First_row_check::check(const std::string& name) const {
    if (m_others > m_good) {
        throw Data_error(name, m_first_row.line,
                         "the first row has " + grouped(m_first_row.columns) +
                             (m_first_row.columns == 1 ? " column, and " : " columns, and ") +
                             grouped(m_others) +
                             (m_others == 1 ? " other row has" : " other rows have") +
                             " another number; remove the first row if it is no data, or give "
                             "--format or --header");
    }
}

}  // namespace zandrel
