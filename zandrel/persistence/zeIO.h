// zeIO: writes a knowledge container to its file, and reads it.
// Format: docs/formats/kc.md
#ifndef ZANDREL_PERSISTENCE_ZEIO_H_
#define ZANDREL_PERSISTENCE_ZEIO_H_

#include "zandrel/export.h"
#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

class zeBase;
class zeManager;
struct zeLogicalNode;
struct zeNode;

// Reads and writes the file of one manager, which owns the zeIO. Applications usually call
// zeManager::Read and zeManager::Write.
//
// Errors: qtX<zeIO> with the numbers and texts of docs/errors.md. Errors of devices, packages,
// streams and records pass through. An interruption raises qtX<zeWorkflow> 2.
// - If a file cannot be opened or is not the file of a container, the manager does not change.
// - If reading fails later, the manager is empty, as after zeManager::Release, so that a part is
//   not used as the whole container. It has its earlier settings and is not compact. A value that
//   we never write also makes reading fail: 12 "Damaged item: " and the field (argument: the id).
// - If writing fails, the file is not a valid container.
// The package is closed at the end of each load, dump and copy, also after an error. A form other
// than AUTO_IO and DIRECT_IO raises 9 "Cached form of a KC is not available" before anything
// changes. A buffer always has the plain form, and the mode's form is ignored.
// Threads: one at a time in the whole process.
class ZANDREL_EXPORT zeIO {
public:
    // BORROWS: `manager`, which must outlive this.
    explicit zeIO(zeManager* manager);
    zeIO(const zeIO&) = delete;
    zeIO& operator=(const zeIO&) = delete;
    ~zeIO();

    // `mode`: not null. `progress`: may be null; BORROWS for the call.

    // Reads a container and replaces the manager's content. If some model has counted messages and
    // no model contains statistics, the manager is compact, also if the file's flag says otherwise.
    // With `mode->for_classifying`, the seal, if there is one, is verified before anything changes,
    // and the statistics that only training needs remain bytes: see zeStat_storage::complete.
    // REQUIRES: this is the manager's `m_io`.
    // RAISES: with that mode, also the errors of Kc_seal::Verify.
    // COST: one pass over the file; two with that mode and a seal. For a short time the largest
    // record is in memory twice.
    void LoadKC(const qtString& file, KcIoMode* mode, CTProgress* progress);
    void LoadKC(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress);
    // Writes the container, or the subtree `mode->root`, and replaces an existing file or the
    // content of the buffer. If `buffer` is null, a new one is stored in it.
    // REQUIRES: this is the manager's `m_io`.
    // RAISES: 3 "Logical node is not a Classifier" (argument: its name), and qtX<zeManager> 4 for
    // trees that could not be read again. Both are raised before anything is written.
    void DumpKC(const qtString& file, KcIoMode* mode, CTProgress* progress);
    void DumpKC(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress);
    // Writes the container to another file. If `converter` is not null, it converts all texts. The
    // manager's `m_io` is the same afterwards, also after an error.
    // RAISES: as DumpKC, with number 4 instead of 3; the errors of ConvertEncoding.
    void CopyKC(const qtString& file, KcIoMode* mode, KcConverter* converter, CTProgress* progress);
    // Sets or clears the Unicode flag of a closed file. The form and version of this object, and
    // the version of the manager, become the file's.
    void SetUnicodeFlag(const qtString& file, bool flag);

    // Returns the limit of the classifier cache; 0 if there is no cache, and so all classifiers are
    // in memory.
    unsigned int ReadOnDemand() const;

    // Write and read the item of one object. An object whose record refers to another object calls
    // them for that object: a statistical classifier for its model. `node`: as for zeObjectFactory.
    // REQUIRES: `object` is not null, or the assertion "object" fires.
    // RAISES: the errors of zeObjectFactory, also 10 for a record with the id of another object;
    // "Missing key in index: " for an unknown id.
    void DumpObject(const zeBase* object);
    zeBase* LoadObject(unsigned int id, zeNode* node);

    zeManager* m_manager;                        // BORROWS
    Hpack m_pack;                                // the plain file; open only during an operation
    unsigned int m_io_mode = KcIoMode::AUTO_IO;  // the form in use
    unsigned int m_version = 0;                  // of the file that was opened last
    bool m_compact = false;                      // write without statistics for training
    bool m_compact_read = false;                 // the flag of the file that was read
    bool m_read_only = false;                    // changes are not written to the cached file
    Hio<HSegment>::Converter m_converter = nullptr;  // for all texts that are written; or null
    void* m_converter_context = nullptr;
    qtScrambler m_scrambler{qtScrambler::kSeed};
    bool m_for_classifying = false;  // during a load that keeps statistics for training as bytes

private:
    void OpenRead(const qtString& file, KcIoMode& mode);
    void OpenWrite(const qtString& file, KcIoMode& mode);
    void IdentifyOpened(KcIoMode& mode);
    void VerifyMagic(bool write, bool& compact, bool& unicode, unsigned short& version);
    void LoadOpened(CTProgress* progress);
    void LoadClassifiers(CTProgress* progress);
    void LoadClassifier(zeNode* node);
    void LoadManager();
    void DumpClassifiers(zeNode* start, const zeLogicalNode* root, CTProgress* progress);
    void DumpManager(const zeLogicalNode* root);
    // Verifies that a container or subtree can be written, and returns its top node.
    zeNode* VerifiedStart(const zeLogicalNode* root, int refusal) const;
    void ReadItem(const qtString& key, SegBuf& buffer);
    void WriteItem(const qtString& key, SegBuf& buffer);
    void Scramble(SegBuf& buffer) const;
    template <class Write>
    void WriteRecord(const qtString& key, Write&& write);
};

// Makes an object of a type and enters it in the manager's registry. The stream is at the id in the
// object's record. The object gets this id, so the manager assigns no new one. `node`: for a
// storage the node of its classifier; null for a classifier.
// RAISES: 7 "Unknown Classifier object" (argument: the type); 10 "Invalid object id in kc file" for
// an id that is 0, in use, or above the manager's last id (argument: the id); 11 "Classifier
// without its node in kc file", also for a statistical classifier in place of a storage (argument:
// the id); the errors of the record. If reading fails after the id, the object remains in the
// registry, and zeManager::Release frees it.
ZANDREL_EXPORT zeBase* zeObjectFactory(unsigned int type, Hio<HSegment>& io, zeManager* manager,
                                       zeNode* node);

// The converter of zeIO::CopyKC. `context`: a KcConverter, whose count it increments. An empty text
// remains empty.
// RAISES: the errors of ConvertCharset2Charset.
ZANDREL_EXPORT qtString ConvertEncoding(const qtString& text, void* context);

#endif  // ZANDREL_PERSISTENCE_ZEIO_H_
