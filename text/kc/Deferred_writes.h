// Deferred_writes: keeps the changes of a container in cached form in memory until they are
// complete.
#ifndef ZANDREL_TEXT_KC_DEFERRED_WRITES_H_
#define ZANDREL_TEXT_KC_DEFERRED_WRITES_H_

#include <set>

class zeManager;

namespace zandrel {

// Keeps all changes of a container in cached form in memory until `commit`, so a refused change
// leaves the file as it was. The bound does not apply meanwhile. Does nothing for another form.
//
// With a bound of 1 it does nothing, since the engine refuses edits of two classifiers only if it
// sees this bound; verify such an edit before.
class Deferred_writes {
public:
    explicit Deferred_writes(zeManager& manager);
    Deferred_writes(const Deferred_writes&) = delete;
    Deferred_writes& operator=(const Deferred_writes&) = delete;
    // Without `commit`: the manager can only be destroyed.
    ~Deferred_writes() = default;

    // Writes the changes.
    // RAISES: qtX<HioErr>; use with_write_errors.
    void commit();

private:
    zeManager& m_manager;
    unsigned int m_bound = 0;      // of the container; 0: nothing is deferred
    std::set<unsigned int> m_ids;  // of the classifiers before the change
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_DEFERRED_WRITES_H_
