// The text is taken as it is: no byte ends it.
#include "zandrel/foundation/ml/mlLangString.h"

mlLangString mlLangString::BuildFromCString(const qtString& text) {
    return mlLangString(text);
}
