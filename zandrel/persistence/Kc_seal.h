// Kc_seal: adds checksums to the file of a container, and verifies them.
// Format: docs/formats/kc.md
#ifndef ZANDREL_PERSISTENCE_KC_SEAL_H_
#define ZANDREL_PERSISTENCE_KC_SEAL_H_

#include "zandrel/export.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"

class Hpack;

namespace zandrel {

// A seal is one more item of the package. It contains a checksum of each other item and of the
// identity. zeManager::Write does not make a seal, and zeManager::Read verifies a seal only for
// classifying (KcIoMode::for_classifying). So a caller calls both functions:
//
//     manager.Write(name, nullptr, nullptr);
//     Kc_seal::Write(name);
//     ...
//     Kc_seal::Verify(name);
//     manager.Read(name, nullptr, nullptr);
//
// A seal finds damage, not forgery: anybody who changes a file can seal it again.
//
// Errors: qtX<Kc_seal> with the numbers below. Errors of devices and packages pass through.
// Threads: one at a time in the whole process.
class ZANDREL_EXPORT Kc_seal {
public:
    static constexpr const char* kKey = "__Seal__";

    // The numbers of a qtX<Kc_seal>.
    static constexpr int kBroken = 1;
    static constexpr int kUnknownForm = 2;

    // Seals a complete file that nobody else uses. The seal is written over the index, and a new
    // index behind it, so no unused bytes remain between them. An older seal is replaced; its bytes
    // remain in the file. If sealing fails or is interrupted, the file is as before or cannot be
    // opened.
    // REQUIRES: the loss of the file can be accepted. For example, seal a temporary file and rename
    // it afterwards.
    // RAISES: HioErr::kWriteFailed "File is not open for writing" for a file that is not a package.
    // COST: reads the file once, a piece at a time.
    static void Write(const qtString& file);
    static void Write(qtPtr<qtBuffer>& buffer);

    // Returns true for an unchanged sealed file, and false for a file without a seal or one that is
    // not a package.
    // RAISES: kBroken "Seal does not match: " and the first part that does not match:
    // "__Manager__", "object" with its id, "item" for any other key, "list of items" if an item was
    // added or removed, "header", or "seal" if the seal has another length. kUnknownForm "Unknown
    // form of seal: " and the form. The arguments of both are the file's name and the text after
    // the colon.
    // COST: as Write.
    static bool Verify(const qtString& file);
    static bool Verify(qtPtr<qtBuffer>& buffer);
    // Does the same for a package that is open for reading. The package remains open.
    static bool Verify(Hpack& pack);

    // Returns true if an open package has a seal, also if the seal does not match.
    static bool IsIn(const Hpack& pack);
};

}  // namespace zandrel

#endif  // ZANDREL_PERSISTENCE_KC_SEAL_H_
