// mlMessageConverter: the types of a message's name/value pairs and their text forms. Converts
// pairs to values of an mlMessage and back.
#ifndef ZANDREL_FOUNDATION_ML_MLMESSAGECONVERTER_H_
#define ZANDREL_FOUNDATION_ML_MLMESSAGECONVERTER_H_

#include <cstdint>
#include <map>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/ml/mlLangString.h"
#include "zandrel/foundation/qtString.h"

class mlMessage;

// The types of name/value pairs and their conversions, shared by zeMsg, zeMsgEdit and mlMessage.
// All members are static.
class ZANDREL_EXPORT mlMessageConverter {
public:
    mlMessageConverter() = delete;

    // The type of a pair's value. Files contain the number, in one byte. An even number from 2 to
    // 12 is a single value, and the next odd number is a list of such values. Every value is stored
    // as a text. The engine treats only language strings and lists differently; an
    // application can choose by the other types how it reads the text. A file may contain numbers
    // that have no name here.
    enum NvpType : std::uint32_t {
        kDeleted = 0,          // a pair that an open edit has deleted
        kOldList = 1,          // a list in the form of earlier versions
        kString = 2,           // any bytes
        kStringList = 3,       //
        kInteger = 4,          // a whole number in decimal
        kIntegerList = 5,      //
        kDouble = 6,           // a floating-point number in decimal
        kDoubleList = 7,       //
        kBoolean = 8,          // "1" or "0"
        kBooleanList = 9,      //
        kDate = 10,            // a moment
        kDateList = 11,        //
        kLangString = 12,      // a text in a human language
        kLangStringList = 13,  //
        kPackedList = 14,      // the type of the elements, a tab, and the elements in one text
    };

    // The greatest type that two decimal digits can express, so that a list can have it.
    static constexpr std::uint32_t kGreatestListType = 99;

    // Returns the type as two decimal digits: "02" for kString. A number above 99 has no such form;
    // the result is "00", the form of kDeleted.
    static qtString InterpretType(NvpType type);
    // Returns the type whose two digits are at the beginning of `text`. The rest is ignored. The
    // result is kDeleted if `text` does not begin with two digits.
    static NvpType InterpretString(const qtString& text) noexcept;
    // Returns the form in which language strings are compared: the text without the white space at
    // both ends. Capital letters and inner white space stay as people wrote them.
    static qtString CanonizeLangString(const mlLangString& text);

    // Returns the name of each value of a message with the text form of its type. Does not list the
    // keys of bags.
    static std::map<qtString, qtString> GetMessageNvpTypes(const mlMessage& message);
    // Replaces `values` by the texts of a value, unchanged, and returns the value's type. If there
    // is no such value, `values` is empty and the result is kDeleted.
    static NvpType ConvertNvpToCString(const mlMessage& message, const qtString& name,
                                       std::vector<qtString>& values);
    // Adds a value or replaces the value of this name. Type and texts are kept as they are.
    // RAISES: as mlMessage::SetValue.
    static void ConvertCStringToNvp(mlMessage& message, const qtString& name,
                                    const std::vector<qtString>& values, NvpType type);
};

#endif  // ZANDREL_FOUNDATION_ML_MLMESSAGECONVERTER_H_
