// qtFile asks the system through stat() of the C library.
#include "zandrel/foundation/qtFile.h"

#include <sys/stat.h>

bool qtFile::exists(const qtString& name) {
    if (name.view().find('\0') != std::string_view::npos) {
        return false;
    }

    struct stat found {};

    return stat(name.c_str(), &found) == 0;
}
