// The worst mistakes, with the effects of their words in attributes that the script turns into
// colours, and the tree as nested lists.
#include "cli/report/Html_parts.h"
#include "cli/report/Html_text.h"
#include "cli/report/Report_figures.h"
#include "cli/report/Report_sections.h"
#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

using enum Figure_form;

// Larger trees are closed below their first levels.
constexpr std::size_t kOpenNodes = 80;
// The others are in a part of the page that a click opens.
constexpr std::size_t kOpenMistakes = 10;
constexpr std::size_t kAllLevels = 1000;

// Avoids "-0.00".
std::string effect_text(double effect) {
    const std::string text = with_decimals(effect, 2);
    return text == "-0.00" ? "0.00" : text;
}

std::string piece_html(const Text_piece& piece) {
    const std::string text = html_escaped(piece.text);
    return piece.is_word
               ? "<span" + html_attribute("data-w", effect_text(piece.on_wrong)) +
                     html_attribute("data-r", effect_text(piece.on_right)) + ">" + text + "</span>"
               : text;
}

std::string concept_list(const std::string& kind, const std::string& name,
                         const std::vector<Strong_concept>& concepts) {
    if (concepts.empty()) {
        return "";
    }
    std::string list;
    for (const Strong_concept& each : concepts) {
        list += " <span class=\"concept\"><bdi>" + html_escaped(each.concept_text) +
                "</bdi> <small>+" + with_decimals(each.lead, 2) + "</small></span>";
    }
    return "<p><span class=\"key " + kind + "\" aria-hidden=\"true\"></span>For " +
           html_name(name) + ":" + list + "</p>";
}

std::string mistake_item(const Mistake& mistake, const Report_data& data) {
    const std::string& label = data.names[mistake.row];
    const std::string& answer = data.names[mistake.column];
    const Report_sample& sample = mistake.sample;
    std::string notes = "Score " + with_decimals(sample.score, 3) + ", score of the right label " +
                        with_decimals(sample.label_score, 3);
    if (sample.confidence) {
        notes += ", confidence " + figure_text(*sample.confidence, kShare);
    }
    std::string labels;
    if (!sample.labels.empty()) {
        labels = "; all labels of the text: <bdi>" + html_escaped(sample.labels) + "</bdi>";
    }
    std::string text;
    for (const Text_piece& piece : mistake.pieces) {
        text += piece_html(piece);
    }
    if (mistake.pieces.empty()) {
        text = html_escaped(sample.text);
    }
    return "<li class=\"mistake\"><h3>" + html_name(label) + " got the answer " +
           html_name(answer) + "</h3><small>" + html_escaped(notes) + labels +
           "</small><p class=\"text\" dir=\"auto\">" + text + "</p><div class=\"words\">" +
           concept_list("wrong", answer, mistake.for_wrong) +
           concept_list("right", label, mistake.for_right) + "</div></li>\n";
}

std::string node_html(const Tree_node& node) {
    const Interval interval = share_interval(node.right, node.texts);
    const double right = ratio(static_cast<double>(node.right), node.texts);
    const double branch = ratio(static_cast<double>(node.right_branch), node.texts);
    std::string figures = "no texts";
    if (node.texts > 0) {
        figures = figure_text(right, kShare) + " right (" + interval_text(interval, kShare) +
                  "), " + counted(node.texts, "text");
        if (node.has_children && node.depth > 0) {
            figures += "; " + figure_text(branch, kShare) + " in the right branch";
        }
    }
    return "<span class=\"branch\"><b><bdi>" + html_escaped(node.name) + "</bdi></b>" +
           (node.texts > 0 ? quality_bar(right) : "<span></span>") + "<small>" + figures +
           "</small></span>";
}

// Closes the lists down to a depth.
void close_lists(std::size_t& open, std::size_t depth, std::string& html) {
    for (; open > depth; --open) {
        html += "</ul></details></li>";
    }
}

// Such texts count as wrong, but no list shows them, since they have no wrong label.
std::size_t unanswered_texts(const Report_data& data) {
    std::size_t texts = 0;
    for (const Report_cell& cell : data.cells) {
        texts += cell.column == data.names.size() ? cell.texts : 0;
    }
    return texts;
}

std::string listed_mistakes(std::size_t listed, std::size_t all) {
    if (all == 1) {
        return "The only wrong answer.";
    }
    return listed == all ? "All " + grouped(all) + " wrong answers, the highest scores first."
                         : "The " + counted(listed, "wrong answer") +
                               " with the highest scores, of " + grouped(all) + ".";
}

}  // namespace

std::string mistakes_note(const Report_data& data) {
    const std::size_t unanswered = unanswered_texts(data);
    const std::string rest =
        unanswered == 0 ? "" : " " + counted(unanswered, "text") + " got no answer.";
    if (data.mistakes.empty()) {
        return (unanswered == 0 ? "There is no wrong answer." : "No text got a wrong label.") +
               rest;
    }
    return listed_mistakes(data.mistakes.size(), data.mistake_count - unanswered) + rest +
           " The number after a word or phrase is how much more it adds to the log odds of one "
           "label than to those of the other one. Long texts are cut after " +
           grouped(kLongestMistake) + " characters.";
}

std::string mistake_lists(const Report_data& data) {
    std::string html;
    for (std::size_t i = 0; i < data.mistakes.size(); ++i) {
        if (i == kOpenMistakes) {
            html += "</ol><details><summary>" +
                    counted(data.mistakes.size() - kOpenMistakes, "more mistake") +
                    "</summary><ol class=\"mistakes\"" +
                    html_attribute("start", std::to_string(kOpenMistakes + 1)) + ">";
        }
        html += mistake_item(data.mistakes[i], data);
    }
    return "<ol class=\"mistakes\">" + html + "</ol>" +
           (data.mistakes.size() > kOpenMistakes ? "</details>" : "");
}

std::string tree_note(const Report_data& data) {
    if (data.has_trees_that_differ) {
        return "Each fold has a tree of its own, so there is no tree to show.";
    }
    const std::string note =
        "The blue part of a bar is the share of right answers among the texts whose label is at "
        "the node or below it. An answer is in the right branch if it is at the node or below it.";
    return data.hidden_nodes == 0
               ? note
               : note + " " + counted(data.hidden_nodes, "node") + " of the tree are left out.";
}

std::string tree_list(const Report_data& data) {
    const std::size_t open_depth = data.tree.size() <= kOpenNodes ? kAllLevels : 1;
    std::string html;
    std::size_t open = 0;
    for (const Tree_node& node : data.tree) {
        close_lists(open, node.depth, html);
        if (node.has_children) {
            html += std::string("<li><details") + (node.depth < open_depth ? " open" : "") +
                    "><summary>" + node_html(node) + "</summary><ul>";
            ++open;
        } else {
            html += "<li>" + node_html(node) + "</li>\n";
        }
    }
    close_lists(open, 0, html);
    return html.empty() ? "" : "<ul class=\"tree\">" + html + "</ul>";
}

}  // namespace zandrel::cli
