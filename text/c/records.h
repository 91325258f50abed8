// The objects behind zandrel_examples and zandrel_records.
#ifndef ZANDREL_TEXT_C_RECORDS_H_
#define ZANDREL_TEXT_C_RECORDS_H_

#include <utility>
#include <vector>

#include "zandrel/text/Records.h"
#include "zandrel/text/Text.h"
#include "zandrel/text/c.h"

struct zandrel_examples {
    std::vector<zandrel::Example> values;
};

struct zandrel_records {
public:
    explicit zandrel_records(zandrel::Records&& records) : m_records(std::move(records)) {}

    // The rest of the records.
    zandrel::Records& rest() { return m_records; }

    // Returns null at the end. The record is valid until the next call.
    // RAISES: Error.
    const zandrel_example* next();

private:
    zandrel::Records m_records;
    zandrel::Example m_example;
    // The memory that the last record points to.
    std::vector<zandrel_string> m_labels;
    std::vector<zandrel_field> m_fields;
    zandrel_example m_view = {};
};

#endif  // ZANDREL_TEXT_C_RECORDS_H_
