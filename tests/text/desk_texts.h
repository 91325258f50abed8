// desk_texts: a few made-up labelled texts, and texts to classify.
#ifndef ZANDREL_TESTS_TEXT_DESK_TEXTS_H_
#define ZANDREL_TESTS_TEXT_DESK_TEXTS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "zandrel/text/Text.h"

namespace zandrel::tests {

inline std::vector<Example> desk_examples() {
    return {{{"delivery"}, "Where is my parcel? It has not arrived yet."},
            {{"delivery"}, "The parcel was delivered to the wrong house."},
            {{"delivery"}, "My parcel arrived late and the box was open."},
            {{"refund"}, "Please send my money back, the shoes do not fit."},
            {{"refund"}, "I want a refund for the broken lamp."},
            {{"refund"}, "When do I get my money back?"},
            {{"account"}, "I forgot my password and cannot log in."},
            {{"account"}, "Please delete my account and my data."},
            {{"account", "refund"}, "You took money twice from my account."}};
}

// Rules that read fields and words, two statistical classifiers, and two leaves of one label.
inline std::string desk_tree() {
    return "+\t[Rule]\t[NoScore]\t[]\t[desk]\t[]\n"
           "++\t[Leaf]\t[Score]\t[]\t[manager]\t[$amount(n) >= 500]\n"
           "++\t[Leaf]\t[Score]\t[]\t[urgent]\t[\"Urgent!\" | $tags(s) == 'urgent']\n"
           "++\t[Stat]\t[NoScore]\t[]\t[english]\t[default]\n"
           "+++\t[Leaf]\t[Score]\t[]\t[delivery]\t[]\n"
           "+++\t[Leaf]\t[Score]\t[]\t[account]\t[]\n"
           "+++\t[Stat]\t[Score]\t[]\t[money]\t[]\n"
           "++++\t[Leaf]\t[Score]\t[]\t[refund]\t[]\n"
           "++++\t[Leaf]\t[Score]\t[]\t[delivery]\t[]\n";
}

inline std::vector<std::string> desk_questions() {
    return {"",
            "my parcel has not arrived",
            "MONEY back!",
            "password, account, parcel",
            "words that nobody has learned",
            "my my my money",
            "Gr\xC3\xB6\xC3\x9F"
            "e der Schuhe",
            "lamp"};
}

}  // namespace zandrel::tests

#endif  // ZANDREL_TESTS_TEXT_DESK_TEXTS_H_
