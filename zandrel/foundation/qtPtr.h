// qtPtrLight and qtPtr: the counted pointer by which the engine shares objects.
#ifndef ZANDREL_FOUNDATION_QTPTR_H_
#define ZANDREL_FOUNDATION_QTPTR_H_

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

#include "zandrel/export.h"

namespace zandrel::detail {

// The count that all pointers to one object share.
struct Ptr_block {
    std::size_t uses;
    void (*destroy)(void* object);
    void* object;  // as the type that `destroy` knows
};

// Destroys the object and the block.
ZANDREL_EXPORT void destroy_shared(Ptr_block* block) noexcept;

}  // namespace zandrel::detail

// A counted pointer of two words: one points to the count, and one to the object. It is null by
// default. The last pointer to an object deletes the object, as the type with which the first
// pointer was made. So a pointer may be copied and destroyed where `T` is only declared, and a
// pointer to a derived class can become a pointer to its base.
//
// Threads: one at a time in the whole process, since counts are plain integers. The library itself
// copies such pointers, so two threads can change one count even if the caller copies no pointer.
template <class T>
class qtPtrLight {
public:
    qtPtrLight() noexcept = default;

    qtPtrLight(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor): the null pointer

    // OWNS: `object`, which may be null. If there is no memory for the count, the object is
    // deleted.
    // RAISES: std::bad_alloc.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    explicit qtPtrLight(U* object) {
        if (object != nullptr) {
            std::unique_ptr<U> guard(object);
            m_block = new zandrel::detail::Ptr_block{
                1, [](void* made) { delete static_cast<U*>(made); }, object};
            m_object = guard.release();
        }
    }

    qtPtrLight(const qtPtrLight& other) noexcept
        : m_block(other.m_block), m_object(other.m_object) {
        add_use();
    }

    qtPtrLight(qtPtrLight&& other) noexcept
        : m_block(std::exchange(other.m_block, nullptr)),
          m_object(std::exchange(other.m_object, nullptr)) {}

    // Implicit, like the conversion of plain pointers.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    qtPtrLight(const qtPtrLight<U>& other) noexcept  // NOLINT(google-explicit-constructor)
        : m_block(other.m_block), m_object(other.m_object) {
        add_use();
    }

    // Self-assignment is safe. The check does not see this in a template.
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
    qtPtrLight& operator=(const qtPtrLight& other) noexcept {
        qtPtrLight(other).swap(*this);
        return *this;
    }

    qtPtrLight& operator=(qtPtrLight&& other) noexcept {
        qtPtrLight(std::move(other)).swap(*this);
        return *this;
    }

    ~qtPtrLight() { drop_use(); }

    T* get() const noexcept { return m_object; }

    T& operator*() const noexcept { return *m_object; }

    T* operator->() const noexcept { return m_object; }

    bool IsNull() const noexcept { return m_object == nullptr; }

    explicit operator bool() const noexcept { return m_object != nullptr; }

    // Returns how many pointers share the object; 0 for null.
    std::size_t use_count() const noexcept { return m_block == nullptr ? 0 : m_block->uses; }

    void reset() noexcept { qtPtrLight().swap(*this); }

    void swap(qtPtrLight& other) noexcept {
        std::swap(m_block, other.m_block);
        std::swap(m_object, other.m_object);
    }

    bool operator==(const qtPtrLight& other) const noexcept { return m_object == other.m_object; }

    bool operator!=(const qtPtrLight& other) const noexcept { return m_object != other.m_object; }

private:
    template <class U>
    friend class qtPtrLight;

    void add_use() noexcept {
        if (m_block != nullptr) {
            ++m_block->uses;
        }
    }

    void drop_use() noexcept {
        if (m_block != nullptr && --m_block->uses == 0) {
            zandrel::detail::destroy_shared(m_block);
        }
    }

    zandrel::detail::Ptr_block* m_block = nullptr;
    T* m_object = nullptr;
};

// Another name of the same pointer, for objects of the foundation such as qtBuffer. In an engine
// without threads, both names can be the same type.
template <class T>
using qtPtr = qtPtrLight<T>;

#endif  // ZANDREL_FOUNDATION_QTPTR_H_
