// The sink of the process. A text is formatted only if the sink wants its level.
#include "zandrel/foundation/trace.h"

#include <cstdarg>
#include <cstdio>

namespace {

zandrel::Trace_sink* s_sink = nullptr;
int s_highest_level = 0;

bool is_traced(int level) noexcept {
    return s_sink != nullptr && level <= s_highest_level;
}

void write_to_sink(const Trace_file& file, int level, const char* text) noexcept {
    try {
        s_sink->write(level, file, text);
    } catch (...) {  // NOLINT(bugprone-empty-catch): a trace changes no behaviour
    }
}

}  // namespace

namespace zandrel {

Trace_sink::~Trace_sink() = default;

void set_trace_sink(Trace_sink* sink, int highest_level) noexcept {
    s_sink = sink;
    s_highest_level = highest_level;
}

}  // namespace zandrel

void trace(const Trace_file& file, int level, const char* text) noexcept {
    if (is_traced(level)) {
        write_to_sink(file, level, text);
    }
}

void tracef(const Trace_file& file, int level, const char* format, ...) noexcept {
    if (!is_traced(level)) {
        return;
    }
    char text[1024];
    std::va_list arguments;
    va_start(arguments, format);
    const int byte_count = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (byte_count >= 0) {
        write_to_sink(file, level, text);
    }
}
