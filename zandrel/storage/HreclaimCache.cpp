// The parts of HreclaimCache that do not depend on the type of its objects.
#include "zandrel/storage/HreclaimCache.h"

#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/foundation/trace.h"

namespace {

const Trace_file s_trace_file("HreclaimCache.cpp");

}  // namespace

namespace zandrel::detail {

// Scrambling is an exclusive or, so the same call restores the bytes. Records of messages are
// usually shorter than one segment, so there is one run.
void ScrambleRuns(SegBuf& record, unsigned long seed) {
    if (seed == 0) {
        return;
    }
    const qtScrambler scrambler(seed);
    for (unsigned int position = 0; position < record.size;) {
        char* run = nullptr;
        unsigned int length = 0;
        record.Locate(position, record.size, run, length);
        scrambler.Scramble(run, length, qtScrambler::kOption);
        position += length;
    }
}

void TraceLostChanges(const qtString& file, const char* reason) noexcept {
    tracef(s_trace_file, kTraceWarning, "Changes of file %s were not written: %s", file.c_str(),
           reason);
}

}  // namespace zandrel::detail
