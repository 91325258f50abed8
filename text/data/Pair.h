// Pair: a name/value pair of a message, as a data file gives it.
#ifndef ZANDREL_TEXT_DATA_PAIR_H_
#define ZANDREL_TEXT_DATA_PAIR_H_

#include <string>
#include <vector>

#include "zandrel/foundation/ml/mlMessageConverter.h"

namespace zandrel {

// Rules read the value under the name: `$size(n)` reads the pair "size".
struct Pair {
    std::string name;
    mlMessageConverter::NvpType type = mlMessageConverter::kString;
    std::vector<std::string> values = {};  // in the form that zeMsg has; several: a list
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_PAIR_H_
