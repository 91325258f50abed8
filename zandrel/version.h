// The version of the library: its five numbers and its text.
#ifndef ZANDREL_VERSION_H_
#define ZANDREL_VERSION_H_

#include <cstddef>

#include "zandrel/export.h"

namespace zandrel {

// The only place where the version is written. The build reads the first four numbers from this
// line (a CMake project has no fifth), so its shape must stay; the first one names the ABI.
inline constexpr int kZandrelVersion[5] = {1, 0, 0, 13, 0};

// Bytes that hold any version text: five numbers of up to eleven characters, each followed by a dot
// or the final zero.
inline constexpr std::size_t kZandrelVersionTextSize = 60;

}  // namespace zandrel

// Writes the version of the library that is loaded, "1.0.0.13.0" and a final zero, into `text`.
// It can differ from kZandrelVersion, which is the version that the caller was compiled with.
// REQUIRES: `text` has room for kZandrelVersionTextSize bytes.
ZANDREL_EXPORT void GetZandrelVersion(char* text);

// Same text; the short name that older callers use.
// REQUIRES: `text` has room for kZandrelVersionTextSize bytes.
ZANDREL_EXPORT void GetZanVersion(char* text);

#endif  // ZANDREL_VERSION_H_
