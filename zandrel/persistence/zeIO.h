// zeIO: writes a knowledge container to its file, and reads it.
// Format: docs/formats/kc.md
#ifndef ZANDREL_PERSISTENCE_ZEIO_H_
#define ZANDREL_PERSISTENCE_ZEIO_H_

#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/zeCache.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

class CachePack;
class zeBase;
class zeManager;
struct zeLogicalNode;
struct zeNode;

// Reads and writes the file of one manager, which owns the zeIO. Applications usually call
// zeManager::Read and zeManager::Write.
//
// A container has two forms. A plain file is read and written as a whole. A file in cached form is
// open as long as the manager uses it: at most `ReadOnDemand()` statistical classifiers are in
// memory, and the one that was used least recently is written, if it has changes, and released when
// another is needed. Rule classifiers are always in memory. zeIO_cache.cpp explains the cached form
// with an example.
//
// A file in cached form is changed in place. Its state bit is set before the first change and
// cleared by `FlushCache`, so that a file is refused (8) if the process ended in between.
//
// Errors: qtX<zeIO> with the numbers and texts of docs/errors.md. Errors of devices, packages,
// record files, streams and records pass through. An interruption raises qtX<zeWorkflow> 2.
// - If a file cannot be opened or is not the file of a container, the manager does not change,
//   except that a container in cached form is flushed and closed before: the manager is empty.
// - If reading fails later, the manager is empty, as after zeManager::Release, so that a part is
//   not used as the whole container. It has its earlier settings and is not compact. A value that
//   we never write also makes reading fail: 12 "Damaged item: " and the field (argument: the id).
// - If writing a new file fails, the file is not a valid container.
// - If a change of the open file in cached form fails, the file may contain a part of the change.
//   All later changes raise qtX<HioErr> kWriteFailed "Write error in file ", and the state bit
//   remains set. The container in memory can still be copied to another file.
// The package is closed at the end of each load, dump and copy, also after an error. A buffer
// always has the plain form, and the mode's form is ignored.
// Threads: one at a time in the whole process. In cached form, classifying changes the cache.
class ZANDREL_EXPORT zeIO {
public:
    // BORROWS: `manager`, which must outlive this.
    explicit zeIO(zeManager* manager);
    zeIO(const zeIO&) = delete;
    zeIO& operator=(const zeIO&) = delete;
    // Flushes and closes the file in cached form. Errors are traced, but not reported: call
    // FlushCache before to get them.
    ~zeIO();

    // `mode`: not null. `progress`: may be null; BORROWS for the call.

    // Reads a container and replaces the manager's content. If some model has counted messages and
    // no model contains statistics, the manager is compact, also if the file's flag says otherwise.
    // With `mode->for_classifying`, the seal, if there is one, is verified before anything changes,
    // and the statistics that only training needs remain bytes: see zeStat_storage::complete.
    // AUTO_IO finds out the form of the file. In cached form the file is not closed, and only the
    // trees, the settings and the rules are read now. `compact flag` is then checked when a model
    // is read, and a container that lost its flag is not recognised as compact. A file in cached
    // form of version 1 is upgraded in place first, also with `read_only`: see docs/operations.md.
    // If that fails before a write, the file is as it was; if later, no version can read it.
    // REQUIRES: this is the manager's `m_io`.
    // RAISES: with that mode, also the errors of Kc_seal::Verify. In cached form 0 "Invalid Cache
    // Size"; 8 "KB index is not synchronized (Run RebuildIndex Utility)" if changes of the file
    // were not completed. If no form fits, AUTO_IO raises the error of the plain form for a file
    // that begins as a package, and that of the cached form for any other.
    // COST: plain: one pass over the file; two with that mode and a seal. For a short time the
    // largest record is in memory twice.
    void LoadKC(const qtString& file, KcIoMode* mode, CTProgress* progress);
    void LoadKC(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress);
    // Writes the container, or the subtree `mode->root`, and replaces an existing file or the
    // content of the buffer. If `buffer` is null, a new one is stored in it. The cached form is
    // written as CopyKC does: the manager remains on its own file.
    // A compact container gives a compact file, also with `compact` false.
    // REQUIRES: this is the manager's `m_io`.
    // RAISES: 3 "Logical node is not a Classifier" (argument: its name), and qtX<zeManager> 4 for
    // trees that could not be read again, or for classifiers that can no longer be fetched since
    // their file was closed. Both are raised before anything is written, except that a classifier
    // of an open file in cached form that is not in memory is checked when it is copied.
    void DumpKC(const qtString& file, KcIoMode* mode, CTProgress* progress);
    void DumpKC(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress);
    // Writes the container to another file, in any form. If `converter` is not null, it converts
    // all texts. Also after an error the manager has its `m_io`, its modified flag and the marks of
    // its objects. Its cache may have other classifiers: evicted changes are then in its own file.
    // RAISES: as DumpKC, with number 4 instead of 3; 13 "File is the open container: " if the
    // target is the open file in cached form, also by another name (argument: the name); the errors
    // of ConvertEncoding.
    void CopyKC(const qtString& file, KcIoMode* mode, KcConverter* converter, CTProgress* progress);
    // Sets or clears the Unicode flag of a closed file in either form. Its version and its compact
    // flag remain, and so do this object and the manager.
    // RAISES: the errors of opening a file; 13 "File is the open container: " for the manager's
    // open file in cached form, also by another name (argument: the name).
    void SetUnicodeFlag(const qtString& file, bool flag);

    // Returns the limit of the classifier cache; 0 if there is no cache, and so all classifiers are
    // in memory.
    unsigned int ReadOnDemand() const { return m_cache.IsNull() ? 0 : m_cache->read_on_demand; }

    // Returns the name of the open file in cached form.
    // REQUIRES: there is one, or the assertion "!m_cache_pack.IsNull()" fires.
    const qtString& CacheFile() const;

    // Write and read the item of one object. An object whose record refers to another object calls
    // them for that object: a statistical classifier for its model. `node`: as for zeObjectFactory.
    // REQUIRES: `object` is not null, or the assertion "object" fires.
    // RAISES: the errors of zeObjectFactory, also 10 for a record with the id of another object;
    // "Missing key in index: " for an unknown id.
    // In cached form DumpObject and DeleteItem do nothing if the file was opened read-only. A
    // LoadObject that fails leaves no object behind.
    void DumpObject(const zeBase* object);
    zeBase* LoadObject(unsigned int id, zeNode* node);
    // Removes the item of an object from the open file in cached form.
    // RAISES: the assertion "m_io_mode == KcIoMode::CACHED_IO" in plain form; kWrongKey "Key does
    // not exist: ", and then the file is not changed.
    void DeleteItem(unsigned int id);

    // The cache. zePhysicalTree calls the first three functions.

    // Records a use of the node's classifier. If the cache was full, the classifier that was used
    // least recently is written, if it has changes, and released. After a failed write, a changed
    // one remains in memory instead.
    // REQUIRES: there is a cache, also for the next function.
    // RAISES: what DumpObject raises. The evicted classifier is then still in memory, but not in
    // the cache; its next use adds it again, and FlushCache writes it.
    void TouchCache(zeNode* node);
    // Makes room, and reads the classifier of a node. The caller sets it on the node.
    // RAISES: what TouchCache and LoadObject raise; 11 "Classifier without its node in kc file" if
    // the record is not that of a statistical classifier of this node; 12 "Damaged item: compact
    // flag". The node is then not in the cache.
    zeBase* LoadFromCache(zeNode* node);
    // Removes a node from the cache. Its classifier is neither written nor released.
    void RemoveFromCache(zeNode* node);
    // Writes the changed classifiers of the cache and releases all of them. If this fails or is
    // interrupted, the rest remains in memory, but not in the cache.
    void ClearCache(CTProgress* progress);
    // Brings the open file up to date: releases all statistical classifiers, writes the changed
    // ones, the changed rules, the manager's record if the manager has changes, and the index. If
    // `close` is true, closes the file too. Then the manager's statistical classifiers can no
    // longer be fetched, and the manager may only be released or read again. Does nothing in plain
    // form. A file that was opened read-only is not changed.
    // RAISES: the errors of writing; qtX<zeManager> 4 for trees that could not be read again, and
    // then nothing has been written. After an interruption the file is still open, and the call can
    // be repeated.
    void FlushCache(bool close, CTProgress* progress);
    // Raises qtX<zeManager> 4 unless the trees, and the classifiers in memory at and below `start`,
    // could be written and read again. Without a cache, each classifier must be in memory.
    void RequireReadable(const zeNode* start) const;

    zeManager* m_manager;                        // BORROWS
    Hpack m_pack;                                // the plain file; open only during an operation
    qtPtrLight<CachePack> m_cache_pack;          // the file in cached form, or null
    qtPtrLight<zeCache> m_cache;                 // null if `m_cache_pack` is null
    unsigned int m_io_mode = KcIoMode::AUTO_IO;  // the form in use
    unsigned int m_version = 0;                  // of the file that was opened last
    bool m_compact = false;                      // write without statistics for training
    bool m_compact_read = false;                 // the flag of the file that was read
    bool m_read_only = false;                    // changes are not written to the cached file
    Hio<HSegment>::Converter m_converter = nullptr;  // for all texts that are written; or null
    void* m_converter_context = nullptr;
    qtScrambler m_scrambler{qtScrambler::kSeed};
    // Loads keep statistics for training as bytes: during the load of a plain file, and until the
    // next load after one of a file in cached form.
    bool m_for_classifying = false;

private:
    friend class zeManager;

    void OpenRead(const qtString& file, KcIoMode& mode);
    void OpenPlain(const qtString& file, KcIoMode& mode);
    void OpenCached(const qtString& file, KcIoMode& mode);
    void OpenWrite(const qtString& file, KcIoMode& mode);
    void OpenWriteCached(const qtString& file, KcIoMode& mode);
    void MakeCache(const qtString& file, const KcIoMode& mode, bool create, bool read_only);
    void IdentifyPlain(KcIoMode& mode);
    void WriteIdentity(bool cached);
    void ReadIdentity(bool cached, bool& compact, bool& unicode, unsigned short& version);
    // Upgrades the open file in cached form from version 1.
    void ConvertCachedKc(KcIoMode& mode);
    std::vector<zeNode*> ReadForUpgrade();
    void UpgradeOpened(KcIoMode& mode);
    void LoadOpened(CTProgress* progress);
    template <class Load>
    void LoadOrEmpty(Load&& load);
    unsigned int ItemCount() const;
    void LoadClassifiers(CTProgress* progress);
    void LoadClassifier(zeNode* node);
    zeBase* LoadCached(zeNode* node);
    void CopyTo(const qtString& file, KcIoMode& mode, KcConverter* converter, int refusal,
                CTProgress* progress);
    void CopyItems(const qtPtrLight<zeIO>& target, zeNode* start, const zeLogicalNode* root,
                   bool is_checked_first, CTProgress* progress);
    void RequireOtherFile(const qtString& file) const;
    void FinishCopy(CTProgress* progress);
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

    // Changes of the open file in cached form.
    template <class Change>
    void ChangeFile(Change&& change);
    void AddToFile(const qtString& key, SegBuf& buffer);
    void RequireWhole() const;
    void RequireSoundItem(const qtString& key);
    void PrepareChange();
    void ReleaseUncached();
    void WriteSwitchers();
    void WriteManager();
    void WriteCompactFlag(bool is_compact);
    void WriteCacheIndex();
    // Ends the use of the open file: flushes it, and traces an error.
    void CloseCache() noexcept;
    void FlushThroughNewIo();
    // Closes the file. Everything must have been written.
    void CloseFile();
    // Closes the file without writing anything.
    void AbandonCache() noexcept;
    // Removes all nodes from the cache, since they no longer exist.
    void ForgetCache() noexcept;
    // Flushes and closes the file, and empties the manager, whose classifiers are not in memory. A
    // file whose change has failed before is closed as it is.
    // RAISES: the errors of the flush; the file is still open then.
    void LeaveCachedForm();

    bool m_keeps_version = false;  // a file of version 1 is opened as it is
    bool m_is_broken = false;      // a change of the file in cached form has failed half-way
};

// Makes an object of a type and enters it in the manager's registry. The stream is at the id in the
// object's record. The object gets this id, so the manager assigns no new one. `node`: for a
// storage the node of its classifier; null for a classifier.
// RAISES: 7 "Unknown Classifier object" (argument: the type); 10 "Invalid object id in kc file" for
// an id that is 0, in use, or above the manager's last id (argument: the id); 11 "Classifier
// without its node in kc file", also for a statistical classifier in place of a storage (argument:
// the id); the errors of the record. If reading fails, the registry is as before.
ZANDREL_EXPORT zeBase* zeObjectFactory(unsigned int type, Hio<HSegment>& io, zeManager* manager,
                                       zeNode* node);

// The converter of zeIO::CopyKC. `context`: a KcConverter, whose count it increments. An empty text
// remains empty.
// RAISES: the errors of ConvertCharset2Charset.
ZANDREL_EXPORT qtString ConvertEncoding(const qtString& text, void* context);

#endif  // ZANDREL_PERSISTENCE_ZEIO_H_
