// Writes a container, to its file (DumpKC) or to another one (CopyKC). Both first verify that the
// result could be read again, then write the classifiers with their models, then the manager.
#include "zandrel/persistence/zeIO.h"

#include <cstdio>
#include <sys/stat.h>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/Restored.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/Kc_steps.h"

namespace {

using Nodes = hash_set<zeNode*, zePointer_hash>;

// Raises an error unless a classifier can be read again. A reader needs the node of the classifier
// and all its categories. A category that is a leaf is written wherever it is in the tree. Any
// other category must be in `written`, since only there its own classifier is written.
void require_classifier(zeNode* node, zeClassifier& classifier, const Nodes& written) {
    if (classifier.m_node != node) {
        zandrel::detail::RaiseDamagedTree("classifiers");
    }
    std::vector<zeNode*> categories;
    classifier.get_all_categories(categories);
    for (zeNode* const category : categories) {
        if (category == nullptr || category->m_node_id == 0 ||
            (category->m_classifier_type != ZE_LEAF && written.count(category) == 0)) {
            zandrel::detail::RaiseDamagedTree("categories");
        }
    }
}

Nodes nodes_from(const zeNode* top) {
    Nodes nodes;
    if (top != nullptr) {
        top->get_subtree(nodes);
    }
    return nodes;
}

// Checks the classifiers at and below `top` that are in memory.
void require_classifiers(const zeNode* top, bool is_each_in_memory) {
    const Nodes written = nodes_from(top);
    for (zeNode* const node : written) {
        if (node->m_classifier != nullptr) {
            require_classifier(node, *node->m_classifier, written);
        } else if (is_each_in_memory && node->m_classifier_id != 0) {
            zandrel::detail::RaiseDamagedTree("classifiers");
        }
    }
}

bool is_name_of(const CachePack& pack, const qtString& file) {
    struct stat opened = {};
    if (::fstat(::fileno(pack.io.device->file), &opened) != 0) {
        return file == pack.FileName();  // a stream without a descriptor
    }
    struct stat named = {};
    return ::stat(file.c_str(), &named) == 0 && named.st_dev == opened.st_dev &&
           named.st_ino == opened.st_ino;
}

constexpr int kDumpRefused = 3;
constexpr int kCopyRefused = 4;

}  // namespace

zeNode* zeIO::VerifiedStart(const zeLogicalNode* root, int refusal) const {
    zeNode* const start = root == nullptr ? m_manager->m_root : root->physical_node;
    if (root != nullptr && (start == nullptr || start->m_classifier_id == 0)) {
        const Concept& name = start == nullptr ? root->category : start->m_concept;
        throw qtX<zeIO>(refusal, "Logical node is not a Classifier", {name.text()});
    }
    RequireReadable(start);
    return start;
}

// We do not write trees that could not be read again. After FlushCache has closed a file, the
// classifiers that were not in memory can no longer be fetched, and a copy would lack them.
void zeIO::RequireReadable(const zeNode* start) const {
    zandrel::detail::RequireTrees(*m_manager);
    require_classifiers(start, m_manager->ReadOnDemand() == 0);
}

void zeIO::DumpKC(const qtString& file, KcIoMode* mode, CTProgress* progress) {
    ZANDREL_ASSERT(m_manager->m_io.get() == this, "m_manager->m_io.get() == this");
    if (mode->io_mode == KcIoMode::CACHED_IO || ReadOnDemand() != 0) {
        CopyTo(file, *mode, nullptr, kDumpRefused, progress);
        return;
    }
    zeNode* const start = VerifiedStart(mode->root, kDumpRefused);
    const zandrel::detail::Open_package open(m_pack);
    OpenWrite(file, *mode);
    DumpClassifiers(start, mode->root, progress);
    m_pack.Close();
}

void zeIO::DumpKC(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress) {
    ZANDREL_ASSERT(m_manager->m_io.get() == this, "m_manager->m_io.get() == this");
    if (ReadOnDemand() != 0) {
        throw qtX<zeManager>(3, "You may not copy a Cached KC to a buffer");
    }
    zeNode* const start = VerifiedStart(mode->root, kDumpRefused);
    m_io_mode = KcIoMode::DIRECT_IO;
    m_compact = mode->compact;
    const zandrel::detail::Open_package open(m_pack);
    m_pack.Open(buffer, 'w');
    WriteIdentity(false);
    DumpClassifiers(start, mode->root, progress);
    m_pack.Close();
}

// Writes the items in the order that zeIO.cpp describes.
void zeIO::DumpClassifiers(zeNode* start, const zeLogicalNode* root, CTProgress* progress) {
    const zandrel::detail::Progress steps(progress);
    const std::vector<zeNode*> nodes = zandrel::detail::classifier_nodes(start);
    steps.set_total(nodes.size() + 1);
    steps.check_interrupt();
    for (zeNode* const node : nodes) {
        DumpObject(m_manager->m_physical_tree->get_classifier(node));
        steps.step();
    }
    DumpManager(root);
    steps.end();
}

void zeIO::CopyKC(const qtString& file, KcIoMode* mode, KcConverter* converter,
                  CTProgress* progress) {
    mode->create = true;
    CopyTo(file, *mode, converter, kCopyRefused, progress);
}

void zeIO::CopyTo(const qtString& file, KcIoMode& mode, KcConverter* converter, int refusal,
                  CTProgress* progress) {
    zeNode* const start = VerifiedStart(mode.root, refusal);
    RequireOtherFile(file);
    const qtPtrLight<zeIO> target(new zeIO(m_manager));
    if (converter != nullptr) {
        target->m_converter = ConvertEncoding;
        target->m_converter_context = converter;
    }
    try {
        target->OpenWrite(file, mode);
        CopyItems(target, start, mode.root, refusal == kDumpRefused, progress);
    } catch (...) {
        target->AbandonCache();  // Otherwise its destructor would complete the file.
        throw;
    }
}

// The manager is on its own file to fetch a classifier, and on the target to write it: a matcher
// writes its model through the manager's m_io. A classifier that was in memory was verified before.
// `is_checked_first`: asks for an interruption also before the first classifier, as each dump does.
void zeIO::CopyItems(const qtPtrLight<zeIO>& target, zeNode* start, const zeLogicalNode* root,
                     bool is_checked_first, CTProgress* progress) {
    const qtPtrLight<zeIO> own = m_manager->m_io;
    const zandrel::detail::Restored<qtPtrLight<zeIO>> at_end(m_manager->m_io);
    const Nodes written = nodes_from(start);
    const zandrel::detail::Progress steps(progress);
    const std::vector<zeNode*> nodes = zandrel::detail::classifier_nodes(start);
    steps.set_total(nodes.size() + 1);
    if (is_checked_first) {
        steps.check_interrupt();
    }
    for (zeNode* const node : nodes) {
        m_manager->m_io = own;
        zeClassifier* const classifier = m_manager->m_physical_tree->get_classifier(node);
        if (m_manager->ReadOnDemand() != 0 && classifier != nullptr) {
            require_classifier(node, *classifier, written);
        }
        m_manager->m_io = target;
        target->DumpObject(classifier);
        steps.step();
    }
    m_manager->m_io = target;
    target->DumpManager(root);
    steps.count();
    target->FinishCopy(progress);
}

// A copy in cached form ends with the steps of FlushCache that are about the file. The manager's
// changes belong to its own file, so neither its switchers nor its record are written here.
void zeIO::FinishCopy(CTProgress* progress) {
    if (m_io_mode == KcIoMode::DIRECT_IO) {
        m_pack.Close();
    } else {
        ClearCache(progress);
        WriteCompactFlag(m_compact);
        WriteCacheIndex();
        CloseFile();
    }
    zandrel::detail::Progress(progress).end();
}

// The open file is recognised by its device and inode, since it may have been renamed meanwhile,
// and a relative name may lead to another file after a change of the folder.
void zeIO::RequireOtherFile(const qtString& file) const {
    if (!m_cache_pack.IsNull() && is_name_of(*m_cache_pack, file)) {
        throw qtX<zeIO>(13, "File is the open container: " + file, {file});
    }
}
