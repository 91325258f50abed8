// Estimates the rest of a phase from its share: 25 % done in 10 s leave 10 s * 0.75 / 0.25 = 30 s.
#include "cli/process/Progress_bar.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "cli/process/Interruption.h"

namespace zandrel::cli {

namespace {

constexpr double kLeastSecondsBetweenDrawings = 0.1;
constexpr const char* kToStartOfBlankLine = "\r\x1b[K";

// For example "1:05" for 65 seconds.
std::string minutes_and_seconds(double seconds) {
    const long whole = std::lround(std::min(seconds, 1e6));
    const std::string rest = std::to_string(whole % 60);
    return std::to_string(whole / 60) + (rest.size() < 2 ? ":0" : ":") + rest;
}

}  // namespace

Progress_bar::Progress_bar(std::ostream* out, Clock clock)
    : m_out(out), m_clock(std::move(clock)), m_begin(m_clock()) {}

Progress_bar::~Progress_bar() {
    blank();
}

void Progress_bar::blank() {
    if (m_is_shown) {
        *m_out << kToStartOfBlankLine << std::flush;
        m_is_shown = false;
    }
}

double Progress_bar::seconds_now() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
}

void Progress_bar::begin_phase() {
    m_done = 0.0;
    m_begin = m_clock();
    draw(true);
}

void Progress_bar::SetStatus(const char* status) {
    m_status = status;
    begin_phase();
}

void Progress_bar::SetTotal(int total) {
    m_total = total;
    begin_phase();
}

void Progress_bar::Increment(unsigned int steps) {
    m_done += steps;
    draw(false);
}

void Progress_bar::NextPhase(bool /*completed*/) {
    m_total = 0.0;
    begin_phase();
}

bool Progress_bar::IsInterrupted() const {
    draw(false);
    return Interruption::is_requested();
}

std::string Progress_bar::line(double now) const {
    const double share = m_total > 0.0 ? std::min(m_done / m_total, 1.0) : 0.0;
    const double elapsed = now - m_begin;
    std::string text = m_status + "  " + std::to_string(std::lround(100 * share)) + " %  ";
    if (share > 0.0) {
        text += minutes_and_seconds(elapsed * (1 - share) / share) + " left";
    } else {
        text += minutes_and_seconds(elapsed);
    }
    return text;
}

void Progress_bar::draw(bool at_once) const {
    if (m_out == nullptr || m_status.empty()) {
        return;
    }
    const double now = m_clock();
    if (at_once || !m_is_shown || now - m_drawn >= kLeastSecondsBetweenDrawings) {
        *m_out << kToStartOfBlankLine << line(now) << std::flush;
        m_drawn = now;
        m_is_shown = true;
    }
}

}  // namespace zandrel::cli
