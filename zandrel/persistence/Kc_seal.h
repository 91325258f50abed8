// Kc_seal: seals the file of a container, and verifies a seal.
// Format: docs/formats/kc.md
#ifndef ZANDREL_PERSISTENCE_KC_SEAL_H_
#define ZANDREL_PERSISTENCE_KC_SEAL_H_

#include "zandrel/export.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"

class Hpack;

namespace zandrel {

// A seal is one more item of the package. It has a checksum of each other item and of the identity,
// so that a verified file has the bytes that were sealed. zeManager::Write makes no seal, and
// zeManager::Read verifies it only for classifying (KcIoMode::for_classifying), so a caller asks
// for both:
//
//     manager.Write(name, nullptr, nullptr);
//     Kc_seal::Write(name);
//     ...
//     Kc_seal::Verify(name);
//     manager.Read(name, nullptr, nullptr);
//
// A seal finds damage, not forgery: anybody who changes a file can seal it again.
//
// Errors: qtX<Kc_seal> with the numbers below; those of devices and packages pass through.
// Threads: one at a time in the whole process.
class ZANDREL_EXPORT Kc_seal {
public:
    static constexpr const char* kKey = "__Seal__";

    // The numbers that a qtX<Kc_seal> carries.
    static constexpr int kBroken = 1;
    static constexpr int kUnknownForm = 2;

    // Seals a complete file that nobody else uses. The seal is written over the index, and a new
    // index behind it, so that nothing without use is left between them. An older seal is replaced;
    // its bytes stay in the file. If this fails or is broken off, the file is as before or cannot
    // be opened.
    // REQUIRES: the file can be lost, as one that is yet to be renamed can.
    // RAISES: HioErr::kWriteFailed "File is not open for writing" for what is no package.
    // COST: reads the file once, a piece at a time.
    static void Write(const qtString& file);
    static void Write(qtPtr<qtBuffer>& buffer);

    // Returns true for a file that is as it was sealed, and false for one without a seal, which
    // includes what is no package.
    // RAISES: kBroken "Seal does not match: " and the first part that it does not match:
    // "__Manager__", "object" with its id, "item" for any other key, "list of items" for an item
    // more or less, "header", or "seal" for one of another length; kUnknownForm "Unknown form of
    // seal: " and the form (arguments of both: the file's name, what follows the colon).
    // COST: as Write.
    static bool Verify(const qtString& file);
    static bool Verify(qtPtr<qtBuffer>& buffer);
    // The same for a package that is open for reading and stays so.
    static bool Verify(Hpack& pack);

    // Returns whether an open package has a seal, sound or not.
    static bool IsIn(const Hpack& pack);
};

}  // namespace zandrel

#endif  // ZANDREL_PERSISTENCE_KC_SEAL_H_
