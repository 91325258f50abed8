// Errors that may refuse a container's file. They have a header of their own because fuzz targets,
// which do not use GoogleTest, include it too.
#ifndef ZANDREL_TESTS_SUPPORT_KC_ERRORS_H_
#define ZANDREL_TESTS_SUPPORT_KC_ERRORS_H_

#include <algorithm>
#include <exception>
#include <initializer_list>
#include <string_view>

#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/SegBuf.h"

template <class Class>
bool is_qtx(const std::exception& raised, std::initializer_list<int> numbers) {
    const auto* const error = dynamic_cast<const qtX<Class>*>(&raised);
    return error != nullptr &&
           std::find(numbers.begin(), numbers.end(), error->number()) != numbers.end();
}

inline bool is_assertion(const std::exception& raised,
                         std::initializer_list<std::string_view> texts) {
    return dynamic_cast<const qtxAssert*>(&raised) != nullptr &&
           std::find(texts.begin(), texts.end(), raised.what()) != texts.end();
}

// True if a damaged file may be refused with this error.
inline bool is_error_of_load(const std::exception& raised) {
    return is_qtx<zeIO>(raised, {1, 2, 7, 10, 11, 12}) || is_qtx<Hpack>(raised, {1, 2}) ||
           is_qtx<HioErr>(raised, {HioErr::kBadOffset, HioErr::kReadFailed}) ||
           is_qtx<zeManager>(raised, {4}) || is_qtx<zeStat_storage>(raised, {0}) ||
           is_qtx<zeSwitcher>(raised, {0, 1}) || is_qtx<RuleParser>(raised, {0}) ||
           raised.what() == std::string_view(qtxSegBuf::kLocateError) ||
           is_assertion(
               raised, {"cat", "p.m_cat", "m_storage", "pp.second",
                        "sz <= Zandrel::LIKELIHOOD_SIZE", "inserted.m_classifier_type == ZE_LEAF"});
}

#endif  // ZANDREL_TESTS_SUPPORT_KC_ERRORS_H_
