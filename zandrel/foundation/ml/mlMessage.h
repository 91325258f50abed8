// mlMessage: a message of the calling application.
#ifndef ZANDREL_FOUNDATION_ML_MLMESSAGE_H_
#define ZANDREL_FOUNDATION_ML_MLMESSAGE_H_

#include <map>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/foundation/ml/qtSml.h"
#include "zandrel/foundation/qtString.h"

// Values with names, and bags with keys. The application fills it, and zeMsg takes it over.
//
// A value has a type and any number of texts. Both are kept as they were given: no text is read as
// a number or a date, and no value is refused because its text does not fit its type. Names, texts
// and keys may contain any bytes and may be empty.
//
// Do not use the types 0, 1 and 14 for values. They have a meaning in zeMsg: a deleted pair, an old
// list and a packed list. So such a value may come back changed or not at all.
//
// A value and a bag can have the same name. They are independent of each other.
//
// Threads: one at a time in the whole process, since bags share their concepts with all others.
class ZANDREL_EXPORT mlMessage {
public:
    struct Value {
        bool operator==(const Value& other) const = default;

        mlMessageConverter::NvpType type = mlMessageConverter::kString;
        std::vector<qtString> texts;
    };

    // Returns true if there is a value or a bag with this key.
    bool HasKey(const qtString& key) const;
    // Adds a value or replaces the value of this name.
    // RAISES: mlxNvpType for a type that a stored message could not keep: a type above 255, or
    // above mlMessageConverter::kGreatestListType if there are several texts. The message then has
    // not changed.
    void SetValue(const qtString& name, const Value& value);
    // Adds a bag or replaces the bag of this key.
    void SetBag(const qtString& key, const qtSml& bag);
    // Removes the value and the bag with this key. Returns false if there is neither.
    bool Erase(const qtString& key);

    // In text order of the names.
    const std::map<qtString, Value>& values() const noexcept { return m_values; }

    // In text order of the keys.
    const std::map<qtString, qtSml>& bags() const noexcept { return m_bags; }

    bool operator==(const mlMessage& other) const = default;

private:
    std::map<qtString, Value> m_values;
    std::map<qtString, qtSml> m_bags;
};

// Returns what the message has under a key. Only the instance for qtSml exists.
// RAISES: mlxNvpMissing if there is nothing under this key, and mlxNvpType if there is only a
// value, which is not a bag.
// VALID UNTIL: the bag is replaced or erased.
template <class T>
const T& mlMessageGet(const mlMessage& message, const qtString& key);

// Sets what the message has under a key. Only the instance for qtSml exists.
template <class T>
void mlMessageSet(mlMessage& message, const qtString& key, const T& value);

template <>
ZANDREL_EXPORT const qtSml& mlMessageGet<qtSml>(const mlMessage& message, const qtString& key);
template <>
ZANDREL_EXPORT void mlMessageSet<qtSml>(mlMessage& message, const qtString& key,
                                        const qtSml& value);

#endif  // ZANDREL_FOUNDATION_ML_MLMESSAGE_H_
