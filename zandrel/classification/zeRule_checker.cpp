#include "zandrel/classification/zeRule_checker.h"

#include <utility>

#include "zandrel/classification/zeRule_parser.h"

Rule_checker::Rule_checker() : Rule_checker("1") {}

Rule_checker::Rule_checker(const qtString& text)
    : m_text(text), m_root(RuleParser::ExpressionToNumericMatcher(text)) {}

Rule_checker::Rule_checker(const Rule_checker& other)
    : m_text(other.m_text), m_root(other.m_root->Clone()) {}

Rule_checker& Rule_checker::operator=(const Rule_checker& other) {
    // Not even a copy of itself: that would drop the second forms.
    if (this != &other) {
        Rule_checker copy(other);
        std::swap(m_text, copy.m_text);
        std::swap(m_root, copy.m_root);
    }
    return *this;
}

void Rule_checker::SetString(const qtString& text) {
    Rule_checker parsed(text);
    std::swap(m_text, parsed.m_text);
    std::swap(m_root, parsed.m_root);
}
