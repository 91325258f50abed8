// Typed_input: gives the test's own process a text on its standard input.
#ifndef ZANDREL_TESTS_CLI_TYPED_INPUT_H_
#define ZANDREL_TESTS_CLI_TYPED_INPUT_H_

#include <iostream>
#include <sstream>
#include <streambuf>
#include <string>

namespace zandrel::cli {

// Makes std::cin read this text while the object exists. Only one object may exist at a time.
class Typed_input {
public:
    explicit Typed_input(const std::string& text) : m_text(text), m_before(std::cin.rdbuf()) {
        std::cin.rdbuf(m_text.rdbuf());  // also clears the state
    }

    Typed_input(const Typed_input&) = delete;
    Typed_input& operator=(const Typed_input&) = delete;

    ~Typed_input() { std::cin.rdbuf(m_before); }

private:
    std::istringstream m_text;
    std::streambuf* m_before;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_TESTS_CLI_TYPED_INPUT_H_
