#include "zandrel/foundation/ml/mlLangString.h"

mlLangString mlLangString::BuildFromCString(const qtString& text) {
    return mlLangString(text);
}
