// A service in small: two threads classify questions with fields while another one learns from a
// file, and then the container is saved. Failures are handled by their codes.
#include <cstddef>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "zandrel/text/Classifier.h"
#include "zandrel/text/Records.h"

namespace {

using zandrel::Classifier;
using zandrel::Error;
using zandrel::Error_code;
using zandrel::Field;
using zandrel::Label;
using zandrel::Text;

// A rule reads the field "amount"; all other texts come to the statistical node.
constexpr const char* kTree =
    "+\t[Rule]\t[NoScore]\t[]\t[desk]\t[]\n"
    "++\t[Leaf]\t[Score]\t[]\t[manager]\t[$amount(n) >= 500]\n"
    "++\t[Stat]\t[NoScore]\t[]\t[topics]\t[default]\n"
    "+++\t[Leaf]\t[Score]\t[]\t[delivery]\t[]\n"
    "+++\t[Leaf]\t[Score]\t[]\t[refund]\t[]\n";

void write_data() {
    std::ofstream("desk.tsv") << "delivery\tWhere is my parcel?\n"
                                 "delivery\tThe parcel came to the wrong address.\n"
                                 "refund\tPlease send my money back.\n"
                                 "refund\tWhen do I get a refund for the lamp?\n";
    std::ofstream("corrections.tsv") << "refund\tI paid for the lamp twice.\n"
                                        "delivery\tThe lamp is still on its way.\n";
    std::ofstream("unknown.tsv") << "praise\tThank you for the quick answer.\n";
    std::ofstream("questions.txt") << "Has my parcel been sent?\n"
                                      "I paid twice!\n";
}

// A caller can decide by the code what to do. The texts of messages may change.
void report(const Error& error) {
    switch (error.code()) {
        case Error_code::busy:
            std::cout << "try again later\n";
            break;
        case Error_code::unknown_label:
        case Error_code::wrong_data:
            std::cout << "correct " << error.file() << ", line " << error.line() << '\n';
            break;
        default:
            std::cout << name_of(error.code()) << ": " << error.what() << '\n';
    }
}

// The texts do not own their characters, so `lines` must live as long as the result.
std::vector<Text> questions_of(const std::vector<std::string>& lines) {
    std::vector<Text> questions(lines.begin(), lines.end());
    questions.back().fields = {{"amount", "750", Field::Type::number}};
    return questions;
}

void print(const std::vector<Text>& questions, const std::vector<std::vector<Label>>& answers) {
    for (std::size_t i = 0; i < questions.size(); ++i) {
        std::cout << questions[i].characters << " -> "
                  << (answers[i].empty() ? "nothing" : answers[i].front().path) << '\n';
    }
}

Classifier trained() {
    zandrel::Train_options options;
    options.tree = kTree;
    double last = 0.0;
    options.progress = [&last](double done) {
        last = done;
        return true;  // false would interrupt the training
    };
    zandrel::Records records = zandrel::Records::open("desk.tsv");
    Classifier desk = Classifier::train(records, options);
    std::cout << "trained, " << last * 100 << " %\n";
    return desk;
}

void learn(Classifier& desk, const std::string& file) {
    try {
        zandrel::Records records = zandrel::Records::open(file);
        desk.learn(records);
        desk.save("desk.kc");
    } catch (const Error& error) {
        report(error);
    }
}

std::vector<std::string> lines_of(const std::string& file) {
    std::vector<std::string> lines;
    zandrel::Records records = zandrel::Records::open(file, {"lines"});
    for (zandrel::Example record; records.next(record);) {
        lines.push_back(record.text);
    }
    return lines;
}

// No exception may leave the function of a thread.
void answer(const Classifier& desk, const std::vector<Text>& questions, std::size_t& answered) {
    try {
        for (int round = 0; round < 100; ++round) {
            answered += desk.classify(questions).size();
        }
    } catch (const Error& error) {
        report(error);
    }
}

void serve(Classifier& desk) {
    const std::vector<std::string> lines = lines_of("questions.txt");
    const std::vector<Text> questions = questions_of(lines);
    std::size_t first = 0;
    std::size_t second = 0;
    std::thread one([&] { answer(desk, questions, first); });
    std::thread two([&] { answer(desk, questions, second); });
    learn(desk, "corrections.tsv");
    one.join();
    two.join();
    std::cout << first + second << " answers\n";
    print(questions, desk.classify(questions));
}

}  // namespace

int main() {
    write_data();
    try {
        Classifier desk = trained();
        serve(desk);
        learn(desk, "unknown.tsv");

        const zandrel::Reasons reasons = desk.explain("Is it a lamp?", "desk/topics/refund");
        std::cout << reasons.path << ": " << std::fixed << std::setprecision(4) << reasons.score
                  << '\n';
        Classifier::open("desk.tsv");
    } catch (const Error& error) {
        report(error);
    }
}
