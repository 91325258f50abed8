#include "zandrel/storage/HioErr.h"

void HioErr::Raise(int number, const qtString& text, const qtString& file_name) {
    throw qtX<HioErr>(number, text, {file_name});
}
