// SELocalDictionary: the keys under which an mlMessage has the bags of a message.
#ifndef ZANDREL_FOUNDATION_ML_SELOCALDICTIONARY_H_
#define ZANDREL_FOUNDATION_ML_SELOCALDICTIONARY_H_

#include <array>

// All members are constants.
class SELocalDictionary {
public:
    SELocalDictionary() = delete;

    // The bags of the text, the keywords, the title and the canned text.
    static constexpr const char* kSml = "_SML";
    static constexpr const char* kSmlKeywords = "_SML_KW";
    static constexpr const char* kSmlTitle = "_SML_TITLE";
    static constexpr const char* kSmlCannedText = "_SML_CANNED_TEXT";

    // The key of each bag of a zeMsg, by slot. Its last slot is the trainer's own and has no key.
    static constexpr std::array<const char*, 4> kSlotKeys = {kSml, kSmlKeywords, kSmlTitle,
                                                             kSmlCannedText};

    // A key by which an application can mark a message without a bag. The library neither reads nor
    // writes it: such a pair is a pair like any other.
    static constexpr const char* kEmptySml = "_EmptySml";
};

#endif  // ZANDREL_FOUNDATION_ML_SELOCALDICTIONARY_H_
