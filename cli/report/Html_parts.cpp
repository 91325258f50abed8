// The bars are SVG with coordinates from 0 to 100, since the page's security policy allows no style
// attributes.
#include "cli/report/Html_parts.h"

#include "cli/report/Html_text.h"
#include "cli/report/Report_figures.h"
#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

std::string bar_begin() {
    return R"(<svg class="bar" viewBox="0 0 100 8" preserveAspectRatio="none" aria-hidden="true">)";
}

std::string bar_part(const char* kind, double from, double width) {
    return "<rect" + html_attribute("class", kind) +
           html_attribute("x", with_decimals(100.0 * from, 1)) +
           html_attribute("width", with_decimals(100.0 * width, 1)) + R"( height="8"/>)";
}

}  // namespace

std::string html_attribute(std::string_view name, std::string_view value) {
    return " " + std::string(name) + "=\"" + html_escaped(value) + "\"";
}

std::string html_name(std::string_view name) {
    return "<q><bdi>" + html_escaped(name) + "</bdi></q>";
}

std::string number_cell(double value, const std::string& html) {
    return "<td class=\"number\"" + html_attribute("data-value", with_decimals(value, 6)) + ">" +
           html + "</td>";
}

std::string share_cell(double share, const Interval& interval) {
    const std::string low = with_decimals(100.0 * interval.low, 1);
    const std::string high = with_decimals(100.0 * interval.high, 1);
    return "<td class=\"measure\"" + html_attribute("data-value", with_decimals(share, 6)) + ">" +
           figure_text(share, Figure_form::kShare) + " <small>" + low + " to " + high + "</small>" +
           bar_begin() + bar_part("track", 0.0, 1.0) + bar_part("fill", 0.0, share) +
           "<path class=\"whisker\"" +
           html_attribute("d", "M" + low + " 4H" + high + "M" + low + " 1V7M" + high + " 1V7") +
           "/></svg></td>";
}

std::string quality_bar(double share) {
    return bar_begin() + bar_part("low", share, 1.0 - share) + bar_part("fill", 0.0, share) +
           "</svg>";
}

}  // namespace zandrel::cli
