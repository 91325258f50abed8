// Container_lock: many readers or one writer of a container, and the lock of the whole process.
#ifndef ZANDREL_TEXT_API_CONTAINER_LOCK_H_
#define ZANDREL_TEXT_API_CONTAINER_LOCK_H_

#include <array>
#include <atomic>
#include <cstddef>
#include <mutex>

namespace zandrel {

// A thread that uses the engine has this lock, unless it only reads through a frozen tree: the
// dictionary of concepts and some switches of the engine belong to the process. A thread takes it
// before the lock of a container.
inline std::mutex& engine_mutex() {
    static std::mutex mutex;
    return mutex;
}

// A lock for many readers or one writer.
//
// Each reader locks one of many places, and the writer locks all. A place has a mutex in a cache
// line of its own, and a thread begins its search for a free place always at the same one. So
// readers in two threads write to different memory, and wait for nothing. With a counter of
// readers, which all threads write, two threads lost several per cent of their time on short texts
// (zandrel_text_library_bench).
//
// A writer does not starve: it closes the door first, and new readers wait at the door.
//
// Example: R1 reads in place 0. W closes the door, and waits for place 0. R2 comes and waits at the
// door. R1 ends, W has all places, writes, frees them and opens the door. R2 reads.
class Container_lock {
public:
    static constexpr std::size_t kPlaces = 32;

    // The place of a reader, which nobody else uses meanwhile.
    class Reader {
    public:
        explicit Reader(Container_lock& lock) : m_lock(lock), m_place(lock.enter()) {}

        Reader(const Reader&) = delete;
        Reader& operator=(const Reader&) = delete;

        ~Reader() { m_lock.m_places[m_place].mutex.unlock(); }

        std::size_t place() const { return m_place; }

    private:
        Container_lock& m_lock;
        std::size_t m_place;
    };

    // For a writer: the functions that std::scoped_lock needs.

    void lock() {
        m_door.lock();
        m_is_closed = true;
        for (Place& place : m_places) {
            place.mutex.lock();
        }
    }

    void unlock() {
        for (Place& place : m_places) {
            place.mutex.unlock();
        }
        m_is_closed = false;
        m_door.unlock();
    }

private:
    static constexpr std::size_t kCacheLine = 64;

    struct alignas(kCacheLine) Place {
        std::mutex mutex;
    };

    // The same place each time for one thread.
    static std::size_t first_place() {
        static std::atomic<std::size_t> next = 0;
        thread_local const std::size_t own = next++;
        return own % kPlaces;
    }

    std::size_t enter() {
        if (m_is_closed.load()) {
            const std::scoped_lock at_door(m_door);
        }
        const std::size_t first = first_place();
        for (std::size_t i = 0; i < kPlaces; ++i) {
            const std::size_t place = (first + i) % kPlaces;
            if (m_places[place].mutex.try_lock()) {
                return place;
            }
        }
        m_places[first].mutex.lock();
        return first;
    }

    alignas(kCacheLine) std::atomic<bool> m_is_closed = false;
    std::mutex m_door;
    std::array<Place, kPlaces> m_places;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_API_CONTAINER_LOCK_H_
