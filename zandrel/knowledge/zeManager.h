// zeManager: a knowledge container, and the owner of everything in it.
#ifndef ZANDREL_KNOWLEDGE_ZEMANAGER_H_
#define ZANDREL_KNOWLEDGE_ZEMANAGER_H_

#include <set>

#include "zandrel/export.h"
#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/knowledge/zeBase.h"
#include "zandrel/persistence/zeConfig.h"
#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/storage/Hio.h"

class zeClassifier;
class zeIO;
class zeLogicalTree;
class zePhysicalTree;
class zeStat_storage;
class zeWorkflow;
struct KcIoMode;
struct zeLogicalNode;
struct zeNode;

// A knowledge container: the two trees, the settings, and the registry of the objects that are in
// memory. The manager owns them all.
//
// A new manager is empty. `Release()` makes it empty again, and it may then be used again.
//
// Threads: one at a time in the whole process, however many managers there are. Two managers share
// concepts, whose counts are not atomic, so two threads with a manager each corrupt the heap. Only
// the caller's progress object may be touched by another thread, to ask for an interruption. See
// docs/embedding.md for a pattern that works.
class ZANDREL_EXPORT zeManager {
public:
    zeManager();
    zeManager(const zeManager&) = delete;
    zeManager& operator=(const zeManager&) = delete;
    // Does what `Release()` does, in whatever state the manager is.
    ~zeManager();

    // Registry of objects. zeBase enters each object that is made with this manager.
    void RegisterObject(zeBase* object);
    // Removes an object from the registry without deleting it.  REQUIRES: not null.
    void UnregisterObject(zeBase* object);
    // Removes an object from the registry and deletes it. A zeStat_matcher is deleted together with
    // its storage.
    // REQUIRES: not null.
    void Release(zeBase* object);
    // Empties the container: all objects, both trees; ids start from 1 again. Settings, version and
    // flags keep their values. Workflows and node pointers taken before may no longer be used. A
    // file in cached form is flushed and closed before. An error of this flush is traced, but not
    // raised: call zeIO::FlushCache first to get it.
    void Release();

    // The greatest number of statistical classifiers in memory at once; 0 if there is no limit and
    // all classifiers are in memory.
    unsigned int ReadOnDemand() const;

    // The root's classifier, or null.
    zeClassifier* GetRootClassifier();
    // The root's statistical model.
    // RAISES: qtX<zeManager> 1 "Root classifier is not set" or "Root classifier is not statistic".
    zeStat_storage* GetRootStorage();
    // Replaces `cats` by the names of all nodes, or of those that are scored.
    void GetAllCats(std::set<Concept>& cats, bool all);

    // Makes a classifier and sets it on the node. The node must have none.
    // In cached form it is written to the file at once.
    // RAISES: qtX<zeManager> 0 "Invalid classifier type" (argument: the type) for a type that no
    // classifier has; nothing has changed then. In cached form the errors of writing: the node
    // again has its type and flags and no classifier, but its children were removed, and a leaf is
    // now the last one in the list of its category.
    zeClassifier* AddClassifier(zeNode* node, unsigned int type);
    // Does what zePhysicalTree::delete_classifier does.
    void DelClassifier(zeNode* node);

    // Starts a new container with a statistical root of that name, which is not scored.
    // RAISES: what zeLogicalTree::AddLogicalNode raises: qtX<zeLogicalTree> 4 "More than one node
    // under root" if the manager is not empty, 11 "Missing category name" for the empty name.
    qtPtrLight<zeWorkflow> InitWorkflow(Concept& name);
    // A new workflow on this manager.
    // RAISES: qtX<zeWorkflow> 0 "Root classifier does not exist" without a root.
    qtPtrLight<zeWorkflow> GetWorkflow();

    // Files. `mode` may be null, which means a default KcIoMode. `progress` may be null.

    // Reads a container in place of this one. The previous `m_io` is replaced, even if reading
    // fails. If its file is open in cached form, it is first flushed and closed, and the manager is
    // emptied. If a write to that file has failed before, it is closed as it is.
    // RAISES: the errors of that flush, and then the file is still open; what zeIO::LoadKC raises;
    // see there for the state of the manager after a failure.
    void Read(const qtString& path, KcIoMode* mode, CTProgress* progress);
    void Read(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress);
    // Writes the container, or a subtree. The form is that of `mode`; AUTO_IO means the form in
    // which this container is open. The manager remains on its own file. If this file is open in
    // cached form, writing to its name flushes it. Any other file is replaced: if writing fails,
    // the file contains no container, neither the old nor the new one. If the old one must survive
    // a full disk, write to another name and rename the file.
    // RAISES: what zeIO::DumpKC and zeIO::CopyKC raise. In cached form also 2 "To remove Cache
    // Format, save the KC under a new name" for the plain form under the name of the open file, and
    // 3 "You may not copy a Cached KC to a buffer".
    void Write(const qtString& path, KcIoMode* mode, CTProgress* progress);
    void Write(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress);

    // Moves the trees and classifiers of `source` under a node of this container. Programs call
    // zeLogicalTree::ImportTree, which verifies the source and prepares a leaf. Classifiers move in
    // the order of their ids and get new ids. In cached form they are written at once, and at most
    // `ReadOnDemand()` of them are in memory; in a file that was opened read-only they are lost
    // when they leave memory. Settings of the source are not copied, but a model keeps its own.
    // `progress`: one step for each classifier; may be null.
    // REQUIRES: zeLogicalTree::VerifyImport accepts the source.
    // RAISES: the assertion "other_root" for null, for this manager and for a source without a
    // root, "clafer" for a target that is unknown or has no classifier above; the errors of
    // flushing the source, of reading its classifiers, and in cached form of writing them here.
    // This container then has the trees and classifiers that it had; some numbers for new ids were
    // used. The source is as before if no classifier had been moved; otherwise it is empty.
    void ImportKC(zeManager* source, zeLogicalNode* target, CTProgress* progress);

    // The record: both trees, settings and counters, but no classifier.

    // Writes the container, or with `top` the subtree of a node. No object is written.
    void Dump(Hio<HSegment>& io, const zeLogicalNode* top);
    // Reads the record in place of the present content: first all objects are deleted and both
    // trees emptied. The root of a subtree has no parent after reading, since the parent is not in
    // the record. If the lists of children and the parents disagree, the lists decide.
    // RAISES: what the stream raises; 4 "Knowledge tree is damaged" (argument: what is wrong). The
    // container is empty then, with the settings that it had.
    void Load(Hio<HSegment>& io);
    // Reads a reference to a node: its id, or null for 0 or an unknown id; in version 1 its
    // concept, see zePhysicalTree::ConvertV1. `parent`: the node whose record has the reference.
    zeNode* LoadCat(Hio<HSegment>& io, zeNode* parent);

    // Returns whether records refer to nodes by id. Records of version 1 refer to them by concept.
    bool has_node_ids() const noexcept { return m_version >= 2; }

    // Empties the container as `Release()` does, but keeps `m_io`. In cached form also clears
    // `m_modified`, since a flush would write the empty trees over those in the file.
    void ReleaseContent();

    // Calls zeInterrupts with the progress object of the current operation, if there is one.
    void check_interrupt();

    unsigned int m_last_object_id = 0;  // the object id given last
    zeNode* m_root = nullptr;           // root of the physical tree; null in an empty container
    zeConfig m_config;                  // identity, dates, settings of the archive
    zeDefaults m_defaults;              // copied by each new statistical model
    qtPtrLight<zeLogicalTree> m_logical_tree;
    qtPtrLight<zePhysicalTree> m_physical_tree;
    qtPtrLight<zeIO> m_io;         // null before reading or writing, and after Release()
    unsigned short m_version = 2;  // of the tree records
    bool m_modified = true;        // has changes that are in no file
    bool m_compact = false;        // can classify but not train
    bool m_compat55 = false;       // nodes have names of their own beside their categories
    hash_map<unsigned int, zeBase*> m_objects;  // OWNS: all objects in memory, by id
    CTProgress* m_progress = nullptr;           // BORROWS: the current operation's, or null

private:
    void ReplaceIo();
    void WriteCached(const qtString& path, KcIoMode& mode, CTProgress* progress);
    void LoadRecords(Hio<HSegment>& io);
};

// Raises qtX<zeWorkflow> 2 "Process interrupted" if the progress object asks for it.
// REQUIRES: not null.
ZANDREL_EXPORT void zeInterrupts(CTProgress* progress);

#endif  // ZANDREL_KNOWLEDGE_ZEMANAGER_H_
