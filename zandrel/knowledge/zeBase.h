// zeBase: the base class of everything that a knowledge container stores under an object id.
#ifndef ZANDREL_KNOWLEDGE_ZEBASE_H_
#define ZANDREL_KNOWLEDGE_ZEBASE_H_

#include "zandrel/export.h"
#include "zandrel/storage/Hio.h"

class zeManager;

// Types of nodes and of their classifiers.
enum : unsigned int {
    ZE_LEAF = 0,  // a category; no classifier; registered in the finder
    ZE_RULE = 1,  // the node's classifier is a zeSwitcher
    ZE_STAT = 2,  // the node's classifier is a zeStat_matcher
};

namespace zandrel {

// The type that zeStat_storage::GetType returns. No node has this type.
constexpr unsigned int kStorageObjectType = 3;

}  // namespace zandrel

// An object with an id. With a manager it takes the manager's next id and enters the manager's
// registry, which owns it from then on: delete it by zeManager::Release, not by `delete`. Without a
// manager its maker owns it, and its id is 0.
class ZANDREL_EXPORT zeBase {
public:
    zeBase(const zeBase&) = delete;
    zeBase& operator=(const zeBase&) = delete;
    // Does not take the object out of the registry: zeManager::Release does, before it deletes.
    virtual ~zeBase();

    virtual unsigned int GetType() const = 0;
    // Writes the object's record; this base writes the id, with which every record begins.
    virtual void Dump(Hio<HSegment>& io) const;

    zeManager* m_manager;   // BORROWS: may be null
    unsigned int m_id = 0;  // 0 without a manager
    bool m_dirty = true;    // changed since it was last written

protected:
    explicit zeBase(zeManager* manager);
};

#endif  // ZANDREL_KNOWLEDGE_ZEBASE_H_
