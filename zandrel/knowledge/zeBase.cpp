// The start of an object's life and of its record: id and registry.
#include "zandrel/knowledge/zeBase.h"

#include "zandrel/knowledge/zeManager.h"

zeBase::zeBase(zeManager* manager) : m_manager(manager) {
    if (m_manager != nullptr) {
        m_id = ++m_manager->m_last_object_id;
        m_manager->RegisterObject(this);
    }
}

zeBase::~zeBase() = default;

void zeBase::Dump(Hio<HSegment>& io) const {
    io << m_id;
}
