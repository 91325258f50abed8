// Tracing: diagnostic lines that the engine passes to a sink, if the caller has set one.
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

// Receives the traced lines. The caller derives a class from it, for example one that writes to a
// log.
class ZANDREL_EXPORT Trace_sink {
public:
    virtual ~Trace_sink();
    // `text` and `file` are valid until the call returns. Exceptions that `write` raises are
    // dropped, since a trace must not change the engine's behaviour.
    virtual void write(int level, const Trace_file& file, const char* text) = 0;
};

// Sends every trace of at most `highest_level` to `sink`, for the whole process. A null sink turns
// tracing off. At start the sink is null.
// BORROWS: `sink`, which must outlive its use.
ZANDREL_EXPORT void set_trace_sink(Trace_sink* sink, int highest_level = kTraceDebug) noexcept;

}  // namespace zandrel

// Traces a text without formatting.
ZANDREL_EXPORT void trace(const Trace_file& file, int level, const char* text) noexcept;

// Traces a text made by a printf-style format. The text is cut to 1023 bytes.
// COST: the text is not made if the level is not traced.
ZANDREL_EXPORT void tracef(const Trace_file& file, int level, const char* format, ...) noexcept
    __attribute__((format(printf, 3, 4)));

#endif  // ZANDREL_FOUNDATION_TRACE_H_
