// Fuzzes rules. Any text is either parsed, always to the same values, or refused with a known
// message.
//
// Each of the five lowest bits of the first byte selects a pair of the message. The second byte
// selects its bag; the other bytes are the rule. The first two bytes of most inputs in the corpus
// are "?", for all pairs, and "2", for a bag with concepts.
#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "fuzz/fuzz_target.h"

namespace {

struct Pair {
    const char* name;
    mlMessageConverter::NvpType type;
    const char* value;
};

constexpr std::array kPairs = std::to_array<Pair>({
    {"n", mlMessageConverter::kString, "-12.5e1 apples"},
    {"s", mlMessageConverter::kString, "Overdue Invoice"},
    {"empty", mlMessageConverter::kString, ""},
    {"nan", mlMessageConverter::kString, "nan"},
    {"lang", mlMessageConverter::kLangString, "en:Hello"},
});

constexpr std::array kRefusals = std::to_array<std::string_view>({
    "Missing bracket after function",
    "Invalid datatype in $key(datatype)",
    "Missing end bracket in $key(datatype)",
    "Invalid token at: ",
    "Missing delimiter at: ",
    "Missing word at: ",
    "Invalid tokens: ",
    "Empty expression",
    "Invalid number of operations",
    "Rule is nested too deeply",
    "Type mismatch, cannot cast one type to the other: ",
    "Operator with mismatched operands",
    "Invalid NVP key: ",
});

// The only key that the check of keys refuses.
constexpr std::string_view kRefusedKey = "forbidden";

void require(bool claim, const char* text) {
    if (!claim) {
        std::fprintf(stderr, "broken: %s\n", text);
        std::abort();
    }
}

void add_bag(zeMsg& msg, unsigned int choice) {
    zeSml_feeder feeder;
    switch (choice) {
        case 0:
            return;
        case 1:
            break;
        case 2:
            feeder.add_concept(Concept::insert_view("cat"), 2.0);
            feeder.add_concept(Concept::insert_view("dog"), 1.0);
            break;
        default:
            msg.active_sml = zeMsg::kSlotCount;
            break;
    }
    msg.smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
}

zeMsg make_message(unsigned int pairs, unsigned int bag) {
    zeMsg msg;
    for (std::size_t i = 0; i < kPairs.size(); ++i) {
        if ((pairs >> i & 1U) != 0) {
            msg.add_value(kPairs[i].name, kPairs[i].type, kPairs[i].value);
        }
    }
    add_bag(msg, bag % 4);
    return msg;
}

bool lets_key_pass(const char* key, char /*datatype*/) {
    return key != kRefusedKey;
}

// Returns null if the rule is refused with a message that begins in a known way. Any other
// exception is not caught, and so ends the program.
std::unique_ptr<Rule_checker> parse(const qtString& text) {
    try {
        return std::make_unique<Rule_checker>(text);
    } catch (const qtX<RuleParser>& refusal) {
        const auto begins = [&refusal](std::string_view known) {
            return refusal.message().view().starts_with(known);
        };
        require(std::any_of(kRefusals.begin(), kRefusals.end(), begins), "a refusal is known");
        require(refusal.number() == 0, "a refusal has the number 0");
        return nullptr;
    }
}

// Compares the bits, so that NaN equals itself and a lost sign of zero is found.
std::uint64_t value_of(const Rule_checker& rule, zeMsg& msg) {
    DocInfo info{&msg, 0.5};
    return std::bit_cast<std::uint64_t>(rule.Evaluate(info));
}

void check_rule(const qtString& text, zeMsg& msg) {
    const std::unique_ptr<Rule_checker> first = parse(text);
    const std::unique_ptr<Rule_checker> second = parse(text);
    require((first == nullptr) == (second == nullptr), "a text is refused always or never");
    if (first == nullptr) {
        return;
    }
    const std::uint64_t value = value_of(*first, msg);
    require(value_of(*first, msg) == value, "evaluation changes nothing");
    require(value_of(*second, msg) == value, "a text always parses to the same rule");
    require(value_of(Rule_checker(*first), msg) == value, "a copy has the same value");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    RuleParser::verification_func = lets_key_pass;
    zeMsg msg = make_message(data[0], data[1]);
    qtString text;
    for (const std::uint8_t byte : std::basic_string_view<std::uint8_t>(data + 2, size - 2)) {
        text += std::bit_cast<char>(byte);
    }
    check_rule(text, msg);
    return 0;
}
