// The text is copied as it is: a zero byte does not end it.
#include "zandrel/foundation/ml/mlLangString.h"

mlLangString mlLangString::BuildFromCString(const qtString& text) {
    return mlLangString(text);
}
