// Container_lock: many readers or one writer of a container, and the lock of the whole process.
#ifndef ZANDREL_TEXT_API_CONTAINER_LOCK_H_
#define ZANDREL_TEXT_API_CONTAINER_LOCK_H_

#include <mutex>
#include <shared_mutex>

namespace zandrel {

// Everything that uses the engine itself has this lock: the dictionary of concepts and some
// switches of the engine belong to the process. A thread takes it before the lock of a container.
inline std::mutex& engine_mutex() {
    static std::mutex mutex;
    return mutex;
}

// A lock for many readers or one writer. A writer does not starve: as soon as it waits, new readers
// queue behind it.
//
// Example: R1 reads, W comes and waits for R1 with the door closed, R2 comes and waits at the door.
// R1 ends, W writes and opens the door at the end, R2 reads.
//
// It has the functions that std::unique_lock and std::shared_lock need.
class Container_lock {
public:
    void lock() {
        m_door.lock();
        m_room.lock();
    }

    void unlock() {
        m_room.unlock();
        m_door.unlock();
    }

    void lock_shared() {
        const std::scoped_lock at_door(m_door);
        m_room.lock_shared();
    }

    void unlock_shared() { m_room.unlock_shared(); }

private:
    std::mutex m_door;
    std::shared_mutex m_room;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_API_CONTAINER_LOCK_H_
