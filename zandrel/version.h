// The version of the library: its five numbers and its text.
#ifndef ZANDREL_VERSION_H_
#define ZANDREL_VERSION_H_

#include <cstddef>

#include "zandrel/export.h"

namespace zandrel {

// The version is written only here. The build reads the first four numbers from this line (a CMake
// project has no fifth), so its form must not change. The first number is the version of the ABI.
inline constexpr int kZandrelVersion[5] = {1, 0, 0, 13, 0};

// The size of any version text: five numbers of up to eleven characters, each followed by a dot or
// the final zero.
inline constexpr std::size_t kZandrelVersionTextSize = 60;

}  // namespace zandrel

// Writes the version of the library that is loaded, "1.0.0.13.0" and a final zero, into `text`.
// It can differ from kZandrelVersion, which is the version that the caller was compiled with.
// REQUIRES: `text` has room for kZandrelVersionTextSize bytes.
ZANDREL_EXPORT void GetZandrelVersion(char* text);

// Writes the same text. Older callers use this short name.
// REQUIRES: `text` has room for kZandrelVersionTextSize bytes.
ZANDREL_EXPORT void GetZanVersion(char* text);

#endif  // ZANDREL_VERSION_H_
