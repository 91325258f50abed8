// Raises the error of file devices; the name of the file is its only argument.
#include "zandrel/storage/HioErr.h"

void HioErr::Raise(int number, const qtString& text, const qtString& file_name) {
    throw qtX<HioErr>(number, text, {file_name});
}
