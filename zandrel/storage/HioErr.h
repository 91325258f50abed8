// HioErr: the failures of file devices, qtX<HioErr>.
#ifndef ZANDREL_STORAGE_HIOERR_H_
#define ZANDREL_STORAGE_HIOERR_H_

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtX.h"

// The numbers that a qtX<HioErr> carries. Its one argument is the name of the file; the texts are
// in docs/errors.md.
class ZANDREL_EXPORT HioErr {
public:
    static constexpr int kOpenFailed = 0;
    static constexpr int kCloseFailed = 1;
    static constexpr int kBadOffset = 2;
    static constexpr int kReadFailed = 3;
    static constexpr int kWriteFailed = 4;
    static constexpr int kBadMode = 5;

    HioErr() = delete;

    // RAISES: qtX<HioErr> with this number and text.
    [[noreturn]] static void Raise(int number, const qtString& text, const qtString& file_name);
};

#endif  // ZANDREL_STORAGE_HIOERR_H_
