// The base class: it reports nothing and never interrupts.
#include "zandrel/foundation/CTProgress.h"

CTProgress::~CTProgress() = default;

void CTProgress::SetStatus(const char* /*status*/) {}

void CTProgress::SetTotal(int /*total*/) {}

void CTProgress::Increment(unsigned int /*steps*/) {}

void CTProgress::NextPhase(bool /*completed*/) {}

bool CTProgress::IsInterrupted() const {
    return false;
}
