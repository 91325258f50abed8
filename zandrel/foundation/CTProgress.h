// CTProgress: through which a caller follows long work and asks for its end.
#ifndef ZANDREL_FOUNDATION_CTPROGRESS_H_
#define ZANDREL_FOUNDATION_CTPROGRESS_H_

#include "zandrel/export.h"

// The caller's progress object. The caller derives from it, makes it and keeps it alive for the
// length of the operation that it is handed to; a null pointer in its place means no reporting.
//
// This base reports nothing and never interrupts.
class ZANDREL_EXPORT CTProgress {
public:
    CTProgress() = default;
    CTProgress(const CTProgress&) = default;
    CTProgress& operator=(const CTProgress&) = default;
    virtual ~CTProgress();

    // What is being done, in words.
    virtual void SetStatus(const char* status);
    // How many steps the present phase has.
    virtual void SetTotal(int total);
    // So many of them are done.
    virtual void Increment(unsigned int steps);
    // The present phase is over; `completed` tells whether it ran to its end.
    virtual void NextPhase(bool completed);
    // Whether the operation is to stop at its next opportunity. The only operation that another
    // thread's wish may reach while the engine works: an implementation makes it safe for that.
    virtual bool IsInterrupted() const;
};

#endif  // ZANDREL_FOUNDATION_CTPROGRESS_H_
