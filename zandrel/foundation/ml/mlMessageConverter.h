// mlMessageConverter: the types of a message's name/value pairs, and their text forms.
#ifndef ZANDREL_FOUNDATION_ML_MLMESSAGECONVERTER_H_
#define ZANDREL_FOUNDATION_ML_MLMESSAGECONVERTER_H_

#include <cstdint>

#include "zandrel/export.h"
#include "zandrel/foundation/ml/mlLangString.h"
#include "zandrel/foundation/qtString.h"

// What the pairs of all message classes have in common. It is never made: all operations are
// static.
class ZANDREL_EXPORT mlMessageConverter {
public:
    mlMessageConverter() = delete;

    // What the value of a pair is. The numbers stand in files, one byte each. An even number from 2
    // to 12 is a single value, and the odd one behind it the list of such values. Values are texts
    // whatever their type: of these types the engine itself knows the language strings alone, and
    // the others tell an application how to read the text. A file may hold numbers that have no
    // name here.
    enum NvpType : std::uint32_t {
        kDeleted = 0,          // a pair that an open edit has deleted
        kOldList = 1,          // a list in the form of earlier versions
        kString = 2,           // bytes as they stand
        kStringList = 3,       //
        kInteger = 4,          // a whole number in decimal
        kIntegerList = 5,      //
        kDouble = 6,           // a number with a decimal point
        kDoubleList = 7,       //
        kBoolean = 8,          // "1" or "0"
        kBooleanList = 9,      //
        kDate = 10,            // a moment
        kDateList = 11,        //
        kLangString = 12,      // a text in a human language
        kLangStringList = 13,  //
        kPackedList = 14,      // the type of the elements, a tab, and the elements in one text
    };

    // The type as two decimal digits: "02" for kString. A number above 99 has no such form and
    // gives that of kDeleted.
    static qtString InterpretType(NvpType type);
    // The type whose two digits `text` begins with; what follows is not looked at. A text that does
    // not begin with two digits gives kDeleted, a type that no stored pair has.
    static NvpType InterpretString(const qtString& text) noexcept;
    // The form in which language strings are compared: without the white space at both ends, and
    // otherwise as it is, since what people wrote is theirs.
    static qtString CanonizeLangString(const mlLangString& text);
};

#endif  // ZANDREL_FOUNDATION_ML_MLMESSAGECONVERTER_H_
