// Tracing: diagnostic lines that the engine hands to a sink, if the caller has set one.
#ifndef ZANDREL_FOUNDATION_TRACE_H_
#define ZANDREL_FOUNDATION_TRACE_H_

#include "zandrel/export.h"

namespace zandrel {

constexpr int kTraceWarning = 4;
constexpr int kTraceDebug = 16;

}  // namespace zandrel

// Names the source file that traces; each source file that traces has one.
class ZANDREL_EXPORT Trace_file {
public:
    // BORROWS: `name`, which must outlive this.
    explicit constexpr Trace_file(const char* name) noexcept : m_name(name) {}

    const char* name() const noexcept { return m_name; }

private:
    const char* m_name;
};

namespace zandrel {

// Gets the traced lines. The caller writes one, for example to gather lines in a log.
class ZANDREL_EXPORT Trace_sink {
public:
    virtual ~Trace_sink();
    // VALID UNTIL: `text` and `file` until the call returns. A trace never changes the engine's
    // behaviour: what this raises is dropped.
    virtual void write(int level, const Trace_file& file, const char* text) = 0;
};

// Sends every trace of at most `highest_level` to `sink`, for the whole process; a null sink, as
// at start, turns tracing off.
// BORROWS: `sink`, which must outlive its use.
ZANDREL_EXPORT void set_trace_sink(Trace_sink* sink, int highest_level = kTraceDebug) noexcept;

}  // namespace zandrel

// Traces a text as it stands.
ZANDREL_EXPORT void trace(const Trace_file& file, int level, const char* text) noexcept;

// Traces a text made with a printf-style format; what goes past 1023 bytes is cut off.
// COST: one comparison while the level is not traced; the text is then not made.
ZANDREL_EXPORT void tracef(const Trace_file& file, int level, const char* format, ...) noexcept
    __attribute__((format(printf, 3, 4)));

#endif  // ZANDREL_FOUNDATION_TRACE_H_
