// Name/value pairs whose types are given as numbers, as in files.
#ifndef ZANDREL_TESTS_MESSAGES_TYPED_PAIRS_H_
#define ZANDREL_TESTS_MESSAGES_TYPED_PAIRS_H_

#include <string_view>

#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/support/bags.h"

inline mlMessageConverter::NvpType TypeOf(unsigned int number) {
    return static_cast<mlMessageConverter::NvpType>(number);
}

inline zeMsg::Nvp Pair(std::string_view name, unsigned int type, const qtString& value) {
    return {term(name), TypeOf(type), value, nullptr};
}

#endif  // ZANDREL_TESTS_MESSAGES_TYPED_PAIRS_H_
