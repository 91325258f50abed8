// Trace_capture: collects the messages that the engine traces.
#ifndef ZANDREL_TESTS_SUPPORT_TRACE_CAPTURE_H_
#define ZANDREL_TESTS_SUPPORT_TRACE_CAPTURE_H_

#include <string>
#include <vector>

#include "zandrel/foundation/trace.h"

// This sink receives the messages from construction to the end of its scope. Then tracing is off.
class Trace_capture : public zandrel::Trace_sink {
public:
    struct Line {
        int level;
        std::string file;
        std::string text;
    };

    explicit Trace_capture(int highest_level = zandrel::kTraceDebug) {
        zandrel::set_trace_sink(this, highest_level);
    }

    Trace_capture(const Trace_capture&) = delete;
    Trace_capture& operator=(const Trace_capture&) = delete;

    ~Trace_capture() override { zandrel::set_trace_sink(nullptr); }

    void write(int level, const Trace_file& file, const char* text) override {
        lines.push_back({level, file.name(), text});
    }

    // Only the texts, in the order of tracing.
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const Line& line : lines) {
            all.push_back(line.text);
        }
        return all;
    }

    // True if this text was traced at this level.
    bool has(int level, const std::string& text) const {
        for (const Line& line : lines) {
            if (line.level == level && line.text == text) {
                return true;
            }
        }
        return false;
    }

    std::vector<Line> lines;
};

#endif  // ZANDREL_TESTS_SUPPORT_TRACE_CAPTURE_H_
