// Writes a container, to its file (DumpKC) or to another one (CopyKC). Both first verify that the
// result could be read again, then write the classifiers with their models, then the manager.
#include "zandrel/persistence/zeIO.h"

#include <utility>
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
#include "zandrel/persistence/Kc_steps.h"

namespace {

// Raises an error unless all classifiers below `top` can be read again. A reader needs the node of
// a classifier and all its categories. A category that is a leaf is written wherever it is in the
// tree. Any other category must be below `top`, since only there its own classifier is written.
void require_classifiers(const zeNode* top) {
    hash_set<zeNode*, zePointer_hash> written;
    if (top != nullptr) {
        top->get_subtree(written);
    }
    std::vector<zeNode*> categories;
    for (const zeNode* const node : written) {
        const zeClassifier* const classifier = node->m_classifier;
        if (classifier != nullptr && classifier->m_node != node) {
            zandrel::detail::RaiseDamagedTree("classifiers");
        }
        if (classifier != nullptr) {
            node->m_classifier->get_all_categories(categories);
        }
    }
    for (zeNode* const category : categories) {
        if (category == nullptr || category->m_node_id == 0 ||
            (category->m_classifier_type != ZE_LEAF && written.count(category) == 0)) {
            zandrel::detail::RaiseDamagedTree("categories");
        }
    }
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
    // We do not write trees that could not be read again.
    zandrel::detail::RequireTrees(*m_manager);
    require_classifiers(start);
    return start;
}

void zeIO::DumpKC(const qtString& file, KcIoMode* mode, CTProgress* progress) {
    ZANDREL_ASSERT(m_manager->m_io.get() == this, "m_manager->m_io.get() == this");
    zeNode* const start = VerifiedStart(mode->root, kDumpRefused);
    const zandrel::detail::Open_package open(m_pack);
    OpenWrite(file, *mode);
    DumpClassifiers(start, mode->root, progress);
    m_pack.Close();
}

void zeIO::DumpKC(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress) {
    ZANDREL_ASSERT(m_manager->m_io.get() == this, "m_manager->m_io.get() == this");
    zeNode* const start = VerifiedStart(mode->root, kDumpRefused);
    m_io_mode = KcIoMode::DIRECT_IO;
    m_compact = mode->compact;
    bool is_unicode = false;
    unsigned short version = zandrel::detail::kKcVersion;
    const zandrel::detail::Open_package open(m_pack);
    m_pack.Open(buffer, 'w');
    VerifyMagic(true, m_compact, is_unicode, version);
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
    zeNode* const start = VerifiedStart(mode->root, kCopyRefused);
    const qtPtrLight<zeIO> own = m_manager->m_io;
    const zandrel::detail::Restored<qtPtrLight<zeIO>> at_end(m_manager->m_io);
    const qtPtrLight<zeIO> target(new zeIO(m_manager));
    if (converter != nullptr) {
        target->m_converter = ConvertEncoding;
        target->m_converter_context = converter;
    }
    mode->create = true;
    target->OpenWrite(file, *mode);
    const zandrel::detail::Progress steps(progress);
    const std::vector<zeNode*> nodes = zandrel::detail::classifier_nodes(start);
    steps.set_total(nodes.size() + 1);
    for (zeNode* const node : nodes) {
        m_manager->m_io = own;
        const zeBase* const classifier = m_manager->m_physical_tree->get_classifier(node);
        m_manager->m_io = target;  // a matcher writes its model through the manager's m_io
        target->DumpObject(classifier);
        steps.step();
    }
    m_manager->m_io = target;
    target->DumpManager(mode->root);
    steps.count();
    target->m_pack.Close();
    steps.end();
}
