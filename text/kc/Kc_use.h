// Kc_use: keeps a container in cached form from being changed while another process reads it.
#ifndef ZANDREL_TEXT_KC_KC_USE_H_
#define ZANDREL_TEXT_KC_KC_USE_H_

#include <string>

#include "text/kc/Descriptor.h"
#include "text/kc/Kc_lock.h"

namespace zandrel {

// A container in cached form is open while it is in use, and is changed in place. So all readers
// together, or one process that changes it, have a lock of the system (flock) on the file itself.
// A plain container needs no such lock, since its file is only replaced as a whole.
//
// Everybody who may read the file can take the lock of a reader, so a reader can keep others from
// changing the file. This cannot be avoided: the reader would get parts of two containers.
class Kc_use {
public:
    // The lock of a reader. `name`: the file as the user named it, for messages.
    // RAISES: Input_error if another process changes the file, or if the file cannot be opened.
    Kc_use(const std::string& name, const std::string& path);
    // The lock of the only user. Waits for readers as long as the lock of the container waits.
    // RAISES: Output_error if another process still reads the file then; qtX<zeWorkflow> 2.
    explicit Kc_use(const Kc_lock& lock);

    // Releases the lock before the object is destroyed.
    void end() { m_file = Descriptor(); }

private:
    Descriptor m_file;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KC_USE_H_
