// The parts of HreclaimCache that do not depend on the type of its objects.
#include "zandrel/storage/HreclaimCache.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "zandrel/foundation/trace.h"

namespace {

const Trace_file s_trace_file("HreclaimCache.cpp");

// Replaces each byte by its exclusive or with the byte of `cover`, eight bytes at a time.
void Cover(char* bytes, const char* cover, unsigned int byte_count) {
    constexpr unsigned int kWord = sizeof(std::uint64_t);
    unsigned int done = 0;
    for (; done + kWord <= byte_count; done += kWord) {
        std::uint64_t word = 0;
        std::uint64_t covering = 0;
        std::memcpy(&word, bytes + done, kWord);
        std::memcpy(&covering, cover + done, kWord);
        word ^= covering;
        std::memcpy(bytes + done, &word, kWord);
    }
    for (; done < byte_count; ++done) {
        bytes[done] = static_cast<char>(bytes[done] ^ cover[done]);
    }
}

}  // namespace

namespace zandrel::detail {

void ScrambleRuns(SegBuf& record, unsigned long seed) {
    if (seed != 0) {
        ScrambleRuns(record, qtScrambler(seed));
    }
}

// Scrambling is an exclusive or with bytes that depend only on the position in a run, so the same
// call restores the bytes. Each segment is a run. For a record of several segments we compute these
// bytes once, by scrambling zeros, and use them for all segments: a large record costs little more
// than one pass over its memory. For comparison, BM_ScramblingAlone of bench/kc_bench.cpp computes
// them anew for each run. Records of messages are usually shorter than one segment.
void ScrambleRuns(SegBuf& record, const qtScrambler& scrambler) {
    const bool has_one_run = record.size <= SegBuf::kSegmentSize;
    std::vector<char> cover(has_one_run ? 0 : SegBuf::kSegmentSize);
    scrambler.Scramble(cover.data(), cover.size(), qtScrambler::kOption);
    for (unsigned int position = 0; position < record.size;) {
        char* run = nullptr;
        unsigned int length = 0;
        record.Locate(position, record.size, run, length);
        if (has_one_run) {
            scrambler.Scramble(run, length, qtScrambler::kOption);
        } else {
            Cover(run, cover.data(), length);
        }
        position += length;
    }
}

void TraceLostChanges(const qtString& file, const char* reason) noexcept {
    tracef(s_trace_file, kTraceWarning, "Changes of file %s were not written: %s", file.c_str(),
           reason);
}

}  // namespace zandrel::detail
