// CTProgress: the interface through which long work reports its progress and can be interrupted.
#ifndef ZANDREL_FOUNDATION_CTPROGRESS_H_
#define ZANDREL_FOUNDATION_CTPROGRESS_H_

#include "zandrel/export.h"

// The interface of the caller's progress object. The caller derives a class from CTProgress, and
// keeps the object alive during the operation. An operation that gets a null pointer reports
// nothing.
//
// This base reports nothing and never interrupts.
class ZANDREL_EXPORT CTProgress {
public:
    CTProgress() = default;
    CTProgress(const CTProgress&) = default;
    CTProgress& operator=(const CTProgress&) = default;
    virtual ~CTProgress();

    // Receives a text that names the present work.
    virtual void SetStatus(const char* status);
    // Receives the number of steps of the present phase.
    virtual void SetTotal(int total);
    // Reports that `steps` more steps are done.
    virtual void Increment(unsigned int steps);
    // Reports that the present phase is over. `completed` is false if it was broken off.
    virtual void NextPhase(bool completed);
    // Returns true if the work should stop as soon as it can. The answer may come from another
    // thread, for example by an atomic flag. The implementation has to make that safe.
    virtual bool IsInterrupted() const;
};

#endif  // ZANDREL_FOUNDATION_CTPROGRESS_H_
