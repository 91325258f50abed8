// read_kb: reads the file of a knowledge base of version 5 by docs/formats/knowledge_base.md,
// without any code of the library.
#ifndef ZANDREL_TESTS_EXPORT_KB_READER_H_
#define ZANDREL_TESTS_EXPORT_KB_READER_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

struct Kb_profile {
    bool operator==(const Kb_profile& other) const = default;

    std::string name;
    int size = 0;
    int num_msgs = 0;
    double weight = 0.0;
    double M = 0.0;
    std::vector<std::pair<std::string, float>> concepts;
    std::vector<double> likelihood;
};

// The nodes are in the order of the file.
struct Kb_node {
    bool operator==(const Kb_node& other) const = default;

    std::string name;
    std::string rule;
    int profile = -1;
    std::uint32_t child_count = 0;
};

struct Kb_file {
    bool operator==(const Kb_file& other) const = default;

    std::string encoding;
    std::vector<Kb_profile> profiles;
    std::vector<Kb_node> nodes;

    // The profile of the first node of a name.
    const Kb_profile& profile_of(std::string_view name) const {
        for (const Kb_node& node : nodes) {
            if (node.name == name && node.profile >= 0) {
                return profiles.at(static_cast<std::size_t>(node.profile));
            }
        }
        throw std::out_of_range("no profile");
    }

    // All nodes, an indented line for each: "a [1] *" has a rule and a profile.
    std::string outline() const {
        std::string text;
        std::vector<std::uint32_t> left;  // of each open node, the children that are still to come
        for (const Kb_node& node : nodes) {
            text += std::string(left.size(), ' ') + node.name;
            text += node.rule.empty() ? "" : " [" + node.rule + "]";
            text += node.profile < 0 ? "\n" : " *\n";
            left.push_back(node.child_count);
            while (!left.empty() && left.back() == 0) {
                left.pop_back();
            }
            if (!left.empty()) {
                --left.back();
            }
        }
        return text;
    }
};

class Kb_reader {
public:
    explicit Kb_reader(std::string_view bytes) : m_rest(bytes) {}

    Kb_file read() {
        Kb_file file;
        EXPECT_EQ(take(4), "ZEKB");
        EXPECT_EQ(number(4), 5U);
        file.encoding = text();
        for (std::uint64_t left = number(4); left > 0; --left) {
            file.profiles.push_back(profile());
        }
        for (std::uint64_t left = 1; left > 0; --left) {
            file.nodes.push_back(node());
            left += file.nodes.back().child_count;
        }
        EXPECT_EQ(m_rest.size(), 0U) << "bytes behind the last node";
        return file;
    }

private:
    std::string_view take(std::size_t count) {
        if (count > m_rest.size()) {
            throw std::out_of_range("the file ends too early");
        }
        const std::string_view taken = m_rest.substr(0, count);
        m_rest.remove_prefix(count);
        return taken;
    }

    std::uint64_t number(std::size_t byte_count) {
        std::uint64_t value = 0;
        for (const char byte : take(byte_count)) {
            value = value << 8U | static_cast<unsigned char>(byte);
        }
        return value;
    }

    int integer() { return static_cast<int>(static_cast<std::uint32_t>(number(4))); }

    double real() { return std::bit_cast<double>(number(8)); }

    std::string text() { return std::string(take(number(4))); }

    Kb_profile profile() {
        Kb_profile read;
        read.name = text();
        read.size = integer();
        read.num_msgs = integer();
        read.weight = real();
        read.M = real();
        for (std::uint64_t left = number(4); left > 0; --left) {
            std::string concept_text = text();
            read.concepts.emplace_back(std::move(concept_text),
                                       std::bit_cast<float>(static_cast<std::uint32_t>(number(4))));
        }
        for (std::uint64_t left = number(4); left > 0; --left) {
            read.likelihood.push_back(real());
        }
        return read;
    }

    Kb_node node() {
        Kb_node read;
        read.name = text();
        read.rule = text();
        read.profile = integer();
        read.child_count = static_cast<std::uint32_t>(number(4));
        return read;
    }

    std::string_view m_rest;
};

inline Kb_file read_kb(std::string_view bytes) {
    return Kb_reader(bytes).read();
}

#endif  // ZANDREL_TESTS_EXPORT_KB_READER_H_
