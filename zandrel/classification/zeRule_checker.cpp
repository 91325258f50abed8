// A rule is parsed and compiled when it is made. A copy clones the tree instead of parsing again,
// but needs its own code, since code points into its tree.
#include "zandrel/classification/zeRule_checker.h"

#include <utility>

#include "zandrel/classification/Rule_code.h"
#include "zandrel/classification/zeRule_parser.h"

Rule_checker::Rule_checker() : Rule_checker("1") {}

Rule_checker::Rule_checker(const qtString& text)
    : m_text(text),
      m_root(RuleParser::ExpressionToNumericMatcher(text)),
      m_code(std::make_unique<zandrel::detail::Rule_code>(*m_root)) {}

Rule_checker::Rule_checker(const Rule_checker& other)
    : m_text(other.m_text),
      m_root(other.m_root->Clone()),
      m_code(std::make_unique<zandrel::detail::Rule_code>(*m_root)) {}

Rule_checker::~Rule_checker() = default;

Rule_checker& Rule_checker::operator=(const Rule_checker& other) {
    // Assignment to itself does nothing: a copy would drop the second forms.
    if (this != &other) {
        Rule_checker copy(other);
        std::swap(m_text, copy.m_text);
        std::swap(m_root, copy.m_root);
        std::swap(m_code, copy.m_code);
    }
    return *this;
}

void Rule_checker::SetString(const qtString& text) {
    Rule_checker parsed(text);
    std::swap(m_text, parsed.m_text);
    std::swap(m_root, parsed.m_root);
    std::swap(m_code, parsed.m_code);
}

double Rule_checker::Evaluate(DocInfo& info) const {
    return m_code->evaluate(info);
}
