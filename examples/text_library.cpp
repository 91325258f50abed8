// Learns from five texts, saves the container, opens it, and labels and explains another text.
#include <iomanip>
#include <iostream>
#include <vector>

#include "zandrel/text/Classifier.h"

int main() {
    const std::vector<zandrel::Example> examples = {
        {{"delivery"}, "Where is my parcel? It has not arrived."},
        {{"delivery"}, "The parcel came to the wrong address."},
        {{"refund"}, "Please send my money back."},
        {{"refund"}, "When do I get a refund for the lamp?"},
        {{"account"}, "I cannot log in with my password."}};
    try {
        zandrel::Classifier::train(examples).save("desk.kc");

        const auto desk = zandrel::Classifier::open("desk.kc");
        std::cout << std::fixed << std::setprecision(4);
        for (const zandrel::Label& label : desk.classify("My parcel has not come!", {2})) {
            std::cout << label.name << ' ' << label.score << '\n';
        }
        const zandrel::Reasons reasons = desk.explain("My parcel has not come!");
        std::cout << "because of \"" << reasons.effects.front().concept_text << "\"\n";
        zandrel::Classifier::open("missing.kc");
    } catch (const zandrel::Error& error) {
        std::cout << name_of(error.code()) << ": " << error.what() << '\n';
    }
}
