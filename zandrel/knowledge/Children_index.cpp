// The index of a long list has two tables: from id to place, and from name to id. It contains the
// first `size` children. The next search enters the children behind them. A place from the index is
// compared with the list. If the list has another child at this place, or if the index has no place
// for an id, the list is searched from its start.
#include "zandrel/knowledge/Children_index.h"

#include <algorithm>
#include <new>
#include <vector>

namespace zandrel::detail {

namespace {

// A list of this length or shorter is searched without an index: that is as fast and needs no
// memory.
constexpr std::size_t kFewChildren = 16;

}  // namespace

std::optional<std::size_t> Children_index::find_id(const zeLogicalNode& parent, unsigned int id) {
    const Places* const places = places_of(parent);
    if (places != nullptr) {
        const auto entry = places->by_id.find(id);
        if (entry != places->by_id.end() && parent.children[entry->second] == id) {
            return entry->second;
        }
    }
    const auto found = std::find(parent.children.begin(), parent.children.end(), id);
    return found == parent.children.end()
               ? std::nullopt
               : std::optional(static_cast<std::size_t>(found - parent.children.begin()));
}

std::optional<std::size_t> Children_index::find_name(const zeLogicalNode& parent,
                                                     const Concept& name, bool may_be_renamed) {
    const Places* const places = places_of(parent);
    if (places == nullptr || may_be_renamed) {
        return search_name(parent, name);
    }
    const auto found = places->by_name.find(name);
    if (found == places->by_name.end()) {
        return std::nullopt;
    }
    const auto child = m_nodes.find(found->second);
    const auto place = places->by_id.find(found->second);
    const bool is_right = child != m_nodes.end() && child->second.name == name &&
                          place != places->by_id.end() &&
                          parent.children[place->second] == child->first;
    return is_right ? std::optional(place->second) : search_name(parent, name);
}

std::optional<std::size_t> Children_index::search_name(const zeLogicalNode& parent,
                                                       const Concept& name) const {
    for (std::size_t i = 0; i < parent.children.size(); ++i) {
        const auto child = m_nodes.find(parent.children[i]);
        if (child != m_nodes.end() && child->second.name == name) {
            return i;
        }
    }
    return std::nullopt;
}

// Returns null if the list has to be searched.
Children_index::Places* Children_index::places_of(const zeLogicalNode& parent) {
    if (parent.children.size() <= kFewChildren) {
        return nullptr;
    }
    try {
        Places& places = m_lists[parent.id];
        const std::size_t size = places.size;
        if (size > parent.children.size() ||
            (size > 0 && places.by_id.count(parent.children[size - 1]) == 0)) {
            places = Places();
        }
        take_in(parent, places);
        return places.has_child_twice ? nullptr : &places;
    } catch (const std::bad_alloc&) {
        forget(parent.id);
        return nullptr;
    }
}

void Children_index::take_in(const zeLogicalNode& parent, Places& places) const {
    for (; places.size < parent.children.size() && !places.has_child_twice; ++places.size) {
        const unsigned int id = parent.children[places.size];
        places.has_child_twice = !places.by_id.emplace(id, places.size).second;
        const auto child = m_nodes.find(id);
        if (child != m_nodes.end()) {
            enter_name(child->second.name, id, places);
        }
    }
}

void Children_index::enter_name(const Concept& name, unsigned int id, Places& places) {
    const auto [entry, is_new] = places.by_name.emplace(name, id);
    if (!is_new && entry->second != id) {
        entry->second = 0;
    }
}

void Children_index::removed(const zeLogicalNode& parent, const zeLogicalNode& child,
                             std::size_t place) {
    const auto list = m_lists.find(parent.id);
    if (list == m_lists.end()) {
        return;
    }
    Places& places = list->second;
    const bool is_last = place == parent.children.size();
    const auto moved = places.by_id.find(is_last ? child.id : parent.children[place]);
    if (places.has_child_twice || places.size != parent.children.size() + 1 ||
        moved == places.by_id.end()) {
        m_lists.erase(list);
        return;
    }
    places.size = parent.children.size();
    moved->second = place;
    places.by_id.erase(child.id);
    const auto name = places.by_name.find(child.name);
    if (name != places.by_name.end() && name->second == child.id) {
        places.by_name.erase(name);
    }
}

void Children_index::renamed(const zeLogicalNode& child, const Concept& old_name) {
    if (m_nodes.count(child.parent) == 0) {
        m_lists.clear();  // After KCE_Delete another node has the child in its list.
        return;
    }
    const auto list = m_lists.find(child.parent);
    if (list == m_lists.end()) {
        return;
    }
    Places& places = list->second;
    if (places.by_id.count(child.id) == 0) {
        return;  // The next search adds it with its new name.
    }
    try {
        const auto name = places.by_name.find(old_name);
        if (name != places.by_name.end() && name->second == child.id) {
            places.by_name.erase(name);
        }
        enter_name(child.name, child.id, places);
    } catch (const std::bad_alloc&) {
        m_lists.erase(list);
    }
}

}  // namespace zandrel::detail
