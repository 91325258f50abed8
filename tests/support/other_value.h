// A value of a setting that differs from a given one, whatever the setting is.
#ifndef ZANDREL_TESTS_SUPPORT_OTHER_VALUE_H_
#define ZANDREL_TESTS_SUPPORT_OTHER_VALUE_H_

#include "zandrel/statistics/Setting.h"

// For a flag the other of 0 and 1, for a number the value plus 1.
inline double other_value(const zandrel::Setting& row, double value) {
    if (row.kind == zandrel::Setting_kind::flag) {
        return value == 0.0 ? 1.0 : 0.0;
    }
    return value + 1.0;
}

#endif  // ZANDREL_TESTS_SUPPORT_OTHER_VALUE_H_
