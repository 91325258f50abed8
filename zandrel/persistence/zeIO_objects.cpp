// Makes the objects of a container from their records. A record begins with the object type and the
// id. The type selects the class, and the table of classifier types (Classifier_type) makes the
// object and reads the rest.
#include "zandrel/persistence/zeIO.h"

#include <memory>
#include <string>
#include <utility>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Classifier_type.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace {

// Reads the rest of an object's record. If this fails, the object leaves the registry and is
// deleted, so that a second attempt to read it meets the same state.
template <class Object, class Read>
zeBase* read_rest(Object* object, zeManager* manager, Read&& read) {
    try {
        read(*object);
    } catch (...) {
        manager->Release(object);
        throw;
    }
    return object;
}

// Sets an object's manager and its id, which is read from the record, and enters it in the
// registry, which then owns it.
template <class Object>
Object* enter(std::unique_ptr<Object> object, Hio<HSegment>& io, zeManager* manager) {
    unsigned int id = 0;
    io >> id;
    // An id in use would replace another object in the registry. An id above the last one would be
    // assigned a second time later.
    if (id == 0 || id > manager->m_last_object_id || manager->m_objects.count(id) != 0) {
        throw qtX<zeIO>(10, "Invalid object id in kc file", {qtString(std::to_string(id))});
    }
    object->m_id = id;
    object->m_manager = manager;
    manager->RegisterObject(object.get());
    object->m_dirty = false;
    return object.release();
}

void read_classifier(const zandrel::detail::Classifier_type& type, zeClassifier& classifier,
                     Hio<HSegment>& io, zeManager* manager, const zeNode* node) {
    // A node is given only for a storage. If a damaged file names a statistical classifier there,
    // it would look for its own storage in turn. A long chain of them would overflow the stack.
    if (type.has_storage && node != nullptr) {
        zandrel::detail::RaiseWithoutNode(classifier.m_id);
    }
    classifier.m_node = manager->LoadCat(io, nullptr);
    if (classifier.m_node == nullptr) {
        zandrel::detail::RaiseWithoutNode(classifier.m_id);
    }
    type.load(classifier, io);
}

zeBase* load_classifier(const zandrel::detail::Classifier_type& type, Hio<HSegment>& io,
                        zeManager* manager, const zeNode* node) {
    return read_rest(enter(type.make_empty(), io, manager), manager, [&](zeClassifier& classifier) {
        read_classifier(type, classifier, io, manager, node);
    });
}

zeBase* load_storage(Hio<HSegment>& io, zeManager* manager, zeNode* node) {
    auto fresh = std::make_unique<zeStat_storage>(nullptr, manager->m_defaults);
    return read_rest(enter(std::move(fresh), io, manager), manager,
                     [&io, node](zeStat_storage& storage) { storage.Load(io, node); });
}

}  // namespace

void zandrel::detail::RaiseWithoutNode(unsigned int id) {
    throw qtX<zeIO>(11, "Classifier without its node in kc file", {qtString(std::to_string(id))});
}

zeBase* zeObjectFactory(unsigned int type, Hio<HSegment>& io, zeManager* manager, zeNode* node) {
    if (type == zandrel::kStorageObjectType) {
        return load_storage(io, manager, node);
    }
    const zandrel::detail::Classifier_type* const classifier =
        zandrel::detail::find_classifier_type(type);
    if (classifier == nullptr) {
        throw qtX<zeIO>(7, "Unknown Classifier object", {qtString(std::to_string(type))});
    }
    return load_classifier(*classifier, io, manager, node);
}
