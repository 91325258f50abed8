// Kc_seal: adds checksums to the file of a container, and verifies them.
// Format: docs/formats/kc.md
#ifndef ZANDREL_PERSISTENCE_KC_SEAL_H_
#define ZANDREL_PERSISTENCE_KC_SEAL_H_

#include "zandrel/export.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"

class Hfile64;
class Hpack;
template <class F>
class Hreclaim;

namespace zandrel {

// A seal is one more item of the file. It contains a checksum of each other item and of the
// identity. A file of each form can be sealed: a package, and the record file of a container in
// cached form. zeManager::Write does not make a seal, and zeManager::Read verifies a seal only for
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
    static constexpr int kNotSynchronized = 3;

    // Seals a complete file of a container that nobody else uses. An older seal is replaced.
    //
    // In a package, the seal is written over the index, and a new index behind it, so no unused
    // bytes remain between them. The bytes of an older seal remain in the file. If sealing fails or
    // is interrupted, the file is as before or cannot be opened.
    // REQUIRES: the loss of a package can be accepted. For example, seal a temporary file and
    // rename it afterwards.
    //
    // In a record file, the seal is added like any other item. If sealing fails or is interrupted,
    // the file is as before, or bit 0 of its state is set. Then no item is lost, and a new index
    // can be made from the items.
    // RAISES: HioErr::kWriteFailed "File is not open for writing" for a file of neither form;
    // kNotSynchronized "Index is not synchronized: " (argument: the file's name) for a record file
    // in which this bit is set, which is not changed.
    // COST: reads the file once, a piece at a time.
    static void Write(const qtString& file);
    static void Write(qtPtr<qtBuffer>& buffer);

    // Returns true for an unchanged sealed file. Returns false for a file without a seal, and for
    // one of neither form. Also returns false for a record file in which bit 0 of the state is set:
    // its index may be stale, so we cannot know its items.
    // RAISES: kBroken "Seal does not match: " and the first part that does not match:
    // "__Manager__", "object" with its id, "item" for any other key, "list of items" if an item was
    // added or removed, "header", or "seal" if the seal has another length. kUnknownForm "Unknown
    // form of seal: " and the form. The arguments of both are the file's name and the text after
    // the colon.
    // COST: as Write.
    static bool Verify(const qtString& file);
    static bool Verify(qtPtr<qtBuffer>& buffer);
    // Does the same for a file that is open for reading. The file remains open.
    static bool Verify(Hpack& pack);
    static bool Verify(Hreclaim<Hfile64>& file);

    // Returns true if an open file has a seal, also if the seal does not match.
    static bool IsIn(const Hpack& pack);
    static bool IsIn(const Hreclaim<Hfile64>& file);
};

}  // namespace zandrel

#endif  // ZANDREL_PERSISTENCE_KC_SEAL_H_
