// A program that uses only the installed library and nothing else of the project.
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <vector>

#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/version.h"

using zandrel::kZandrelVersion;

namespace {

int g_failures = 0;

void expect(bool holds, const char* claim) {
    if (!holds) {
        std::printf("FAILED: %s\n", claim);
        ++g_failures;
    }
}

bool loads_the_version_it_was_compiled_with() {
    std::vector<char> expected(zandrel::kZandrelVersionTextSize);
    std::vector<char> loaded(zandrel::kZandrelVersionTextSize);
    std::snprintf(expected.data(), expected.size(), "%d.%d.%d.%d.%d", kZandrelVersion[0],
                  kZandrelVersion[1], kZandrelVersion[2], kZandrelVersion[3], kZandrelVersion[4]);
    GetZandrelVersion(loaded.data());
    return std::strcmp(loaded.data(), expected.data()) == 0;
}

double value_of(const char* text, zeMsg& msg) {
    DocInfo info{&msg, 0.5};
    return Rule_checker(qtString(text)).Evaluate(info);
}

bool catches_by_the_class_that_raised() {
    try {
        Rule_checker rule(qtString("(1"));
    } catch (const qtX<RuleParser>& refusal) {
        return refusal.number() == 0;
    } catch (...) {
    }
    return false;
}

bool catches_by_the_root_of_all() {
    try {
        Rule_checker rule(qtString("(1"));
    } catch (const qtxAll& refusal) {
        return refusal.category() == qtXbase::kCategory;
    } catch (...) {
    }
    return false;
}

// An exception of the program passes through the library unchanged.
bool passes_what_a_callback_raises() {
    struct Refused {};

    RuleParser::verification_func = [](const char*, char) -> bool { throw Refused(); };
    bool is_passed = false;
    try {
        Rule_checker rule(qtString("$size(n)"));
    } catch (const Refused&) {
        is_passed = true;
    } catch (...) {
    }
    RuleParser::verification_func = nullptr;
    return is_passed;
}

// Programs that were compiled with earlier headers have these layouts in their inline code.
bool keeps_the_layouts_of_earlier_headers() {
    const void* const empty = dlsym(RTLD_DEFAULT, "_ZN7Concept7s_emptyE");

    struct Sums {
        std::vector<double> by_profile;
        double total_weight;
    };

    return empty != nullptr && Concept().identity() == empty &&
           sizeof(zeStat_matcher::Sums) == sizeof(Sums);
}

}  // namespace

int main() {
    zeMsg msg;
    expect(loads_the_version_it_was_compiled_with(), "headers and library are of one version");
    expect(value_of("2 * 3 + 1", msg) == 7.0, "the library does its work");
    expect(catches_by_the_class_that_raised(), "qtX<RuleParser> is caught across the border");
    expect(catches_by_the_root_of_all(), "qtxAll is caught across the border");
    expect(passes_what_a_callback_raises(), "the library lets foreign exceptions pass");
    expect(keeps_the_layouts_of_earlier_headers(), "programs compiled before still work");
    return g_failures == 0 ? 0 : 1;
}
