// Packs records into bytes and unpacks them. Both ends are the same program, so numbers have the
// machine's byte order.
#include "cli/classify/Answer_block.h"

#include <cstring>

namespace zandrel::cli {

namespace {

std::size_t take_number(std::string_view& bytes) {
    std::size_t number = 0;
    std::memcpy(&number, bytes.data(), sizeof number);
    bytes.remove_prefix(sizeof number);
    return number;
}

std::string_view take_text(std::string_view& bytes) {
    const std::size_t length = take_number(bytes);
    const std::string_view text = bytes.substr(0, length);
    bytes.remove_prefix(length);
    return text;
}

Pair take_pair(std::string_view& bytes) {
    Pair pair;
    pair.name = take_text(bytes);
    pair.type = static_cast<mlMessageConverter::NvpType>(take_number(bytes));
    pair.values.resize(take_number(bytes));
    for (std::string& value : pair.values) {
        value = take_text(bytes);
    }
    return pair;
}

}  // namespace

void Answer_block::add_number(std::size_t number) {
    m_bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

void Answer_block::add_text(std::string_view text) {
    add_number(text.size());
    m_bytes += text;
}

void Answer_block::add(const Question& question) {
    m_bytes += question.is_refused ? '\1' : '\0';
    add_text(question.message.text);
    add_text(question.echo);
    add_number(question.message.pairs.size());
    for (const Pair& pair : question.message.pairs) {
        add_text(pair.name);
        add_number(pair.type);
        add_number(pair.values.size());
        for (const std::string& value : pair.values) {
            add_text(value);
        }
    }
    ++m_count;
}

Question Answer_block::take_question(std::string_view& task) {
    Question question;
    question.is_refused = task.front() == '\1';
    task.remove_prefix(1);
    question.message.text = take_text(task);
    question.echo = take_text(task);
    question.message.pairs.resize(take_number(task));
    for (Pair& pair : question.message.pairs) {
        pair = take_pair(task);
    }
    return question;
}

}  // namespace zandrel::cli
