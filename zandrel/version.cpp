// The text is made from the numbers when it is asked for.
#include "zandrel/version.h"

#include <cstdio>

using zandrel::kZandrelVersion;

void GetZandrelVersion(char* text) {
    std::snprintf(text, zandrel::kZandrelVersionTextSize, "%d.%d.%d.%d.%d", kZandrelVersion[0],
                  kZandrelVersion[1], kZandrelVersion[2], kZandrelVersion[3], kZandrelVersion[4]);
}

void GetZanVersion(char* text) {
    GetZandrelVersion(text);
}
