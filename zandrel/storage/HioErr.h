// HioErr: the numbers of the errors of file devices, and the function that raises them.
#ifndef ZANDREL_STORAGE_HIOERR_H_
#define ZANDREL_STORAGE_HIOERR_H_

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtX.h"

// The numbers of a qtX<HioErr>. Its only argument is the name of the file. docs/errors.md lists the
// texts.
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
