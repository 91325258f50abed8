// zeIO: moves a knowledge container between memory and its file.
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

// Reads and writes the file of one manager, which owns it. zeManager::Read and Write are the usual
// way in.
//
// Errors: qtX<zeIO> with the codes and texts of docs/errors.md; those of devices, packages, streams
// and records pass through; an interruption raises qtX<zeWorkflow> 2.
// - A file that cannot be opened, or is no file of a container, leaves the manager as it was.
// - What fails behind that leaves it empty, as zeManager::Release does: a container that is only
//   partly there must not be taken for whole. Its settings are those from before, and it is not
//   compact. A value that no file of ours has is such a failure: 12 "Damaged item: " and the field
//   (argument: the id).
// - A failed write leaves a file that is none of a container.
// The package is closed at the end of each operation, however it ends. A form other than the plain
// one is refused with 9 "Cached form of a KC is not available" before anything is touched; a buffer
// is always in the plain form, whatever the mode says.
// Threads: one at a time in the whole process.
class ZANDREL_EXPORT zeIO {
public:
    // BORROWS: `manager`, which must outlive this.
    explicit zeIO(zeManager* manager);
    zeIO(const zeIO&) = delete;
    zeIO& operator=(const zeIO&) = delete;
    ~zeIO();

    // `mode`: not null. `progress`: may be null; BORROWS for the call.

    // Reads a container in place of what the manager holds. If its models have counted
    // messages and none contains statistics, the manager is compact, also if the file does not say
    // so.
    // With `mode->for_classifying` the seal is verified before anything is touched, if there is
    // one, and what only training needs stays as bytes: see zeStat_storage::complete.
    // REQUIRES: this is the manager's `m_io`.
    // RAISES: with that mode, also what Kc_seal::Verify raises.
    // COST: one pass over the file, two with that mode and a seal; the largest record is in memory
    // twice for a moment.
    void LoadKC(const qtString& file, KcIoMode* mode, CTProgress* progress);
    void LoadKC(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress);
    // Writes the container, or the subtree `mode->root`, in place of what is there. A null buffer
    // is made.
    // REQUIRES: this is the manager's `m_io`.
    // RAISES: 3 "Logical node is not a Classifier" (argument: its name), and qtX<zeManager> 4 for
    // trees that could not be read again, before anything is written.
    void DumpKC(const qtString& file, KcIoMode* mode, CTProgress* progress);
    void DumpKC(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress);
    // Writes the container to a new file, with its texts converted if `converter` is given, while
    // the manager stays on the old one, also if it fails.
    // RAISES: as DumpKC, with the number 4; what ConvertEncoding raises.
    void CopyKC(const qtString& file, KcIoMode* mode, KcConverter* converter, CTProgress* progress);
    // Changes whether a closed file says that its texts are Unicode. The form and the manager's
    // version become those of the file.
    void SetUnicodeFlag(const qtString& file, bool flag);

    // The bound of the classifier cache; 0 without one, when all classifiers are in memory.
    unsigned int ReadOnDemand() const;

    // Writes and reads one object's item, for the objects whose records hold others.
    // REQUIRES: the object is in memory, or the assertion "object" fires.
    // RAISES: what zeObjectFactory raises, also 10 for a record with the id of another object;
    // "Missing key in index: " for an unknown id.
    void DumpObject(const zeBase* object);
    zeBase* LoadObject(unsigned int id, zeNode* node);

    zeManager* m_manager;                        // BORROWS
    Hpack m_pack;                                // the plain file, open during a load or dump alone
    unsigned int m_io_mode = KcIoMode::AUTO_IO;  // the form in use
    unsigned int m_version = 0;                  // of the open file
    bool m_compact = false;                      // write without what only training needs
    bool m_compact_read = false;                 // what the file that was read says
    bool m_read_only = false;                    // changes do not reach the cached file
    Hio<HSegment>::Converter m_converter = nullptr;  // of all texts that are written; or null
    void* m_converter_context = nullptr;
    qtScrambler m_scrambler{qtScrambler::kSeed};
    bool m_for_classifying = false;  // a load that leaves training data as bytes is going on

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
    // Where the records of a container or subtree begin, after what must hold is verified.
    zeNode* VerifiedStart(const zeLogicalNode* root, int refusal) const;
    void ReadItem(const qtString& key, SegBuf& buffer);
    void WriteItem(const qtString& key, SegBuf& buffer);
    void Scramble(SegBuf& buffer) const;
    template <class Write>
    void WriteRecord(const qtString& key, Write&& write);
};

// Makes an object of a type, whose record the stream holds from the id on, and enters it in the
// registry. No id of the manager is used up. `node`: of the classifier to which a storage belongs;
// null for a classifier.
// RAISES: 7 "Unknown Classifier object" (argument: the type); 10 "Invalid object id in kc file" for
// an id that is 0, taken or not yet given out, 11 "Classifier without its node in kc file", also
// for a matcher in place of a storage (argument: the id); what the record raises. What fails behind
// the id leaves the object in the registry, for the manager's release.
ZANDREL_EXPORT zeBase* zeObjectFactory(unsigned int type, Hio<HSegment>& io, zeManager* manager,
                                       zeNode* node);

// The converter of zeIO::CopyKC. `context`: a KcConverter, whose count it raises. The empty text is
// returned as it is.
// RAISES: what ConvertCharset2Charset raises.
ZANDREL_EXPORT qtString ConvertEncoding(const qtString& text, void* context);

#endif  // ZANDREL_PERSISTENCE_ZEIO_H_
