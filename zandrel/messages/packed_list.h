// How the pairs of a zeMsg contain several values: as one text, the packed list. An edit and the
// conversion from and to mlMessage use the same form.
// Not installed: the library's own.
#ifndef ZANDREL_MESSAGES_PACKED_LIST_H_
#define ZANDREL_MESSAGES_PACKED_LIST_H_

#include <cstddef>
#include <vector>

#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/messages/zeMsg.h"

namespace zandrel::detail {

constexpr char kElementSeparator = ';';
constexpr std::size_t kElementsBegin = 3;  // behind the two digits of the type and the tab

// Makes a pair of one value or more. Several become a packed list: the integers 7 and 8 have the
// text "05", a tab and "7;8".
// REQUIRES: `values` is not empty.
inline zeMsg::Nvp make_nvp(const Concept& name, const std::vector<qtString>& values,
                           mlMessageConverter::NvpType type) {
    if (values.size() == 1) {
        return {name, type, values.front(), nullptr};
    }
    return {name, mlMessageConverter::kPackedList,
            mlMessageConverter::InterpretType(type) + "\t" +
                qtConcatenator::Build(values, kElementSeparator),
            nullptr};
}

// Replaces `values` by the elements of a packed list, and returns their type.
// RAISES: qtXbase "Invalid nvp value" for a list that is damaged; `values` is then empty.
inline mlMessageConverter::NvpType unpack_list(const qtString& packed,
                                               std::vector<qtString>& values) {
    values.clear();
    if (packed.size() < kElementsBegin ||
        !qtConcatenator::Disassemble(packed.substr(kElementsBegin), values, kElementSeparator)) {
        throw qtXbase("Invalid nvp value");
    }
    return mlMessageConverter::InterpretString(packed);
}

}  // namespace zandrel::detail

#endif  // ZANDREL_MESSAGES_PACKED_LIST_H_
