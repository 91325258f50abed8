#include "tests/cli/damaged_bits.h"

#include <bit>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/KcIoMode.h"

#include "text/errors.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_tree.h"
#include "text/kc/Stored_model.h"
#include "text/model/Text_model.h"

namespace zandrel::cli {

namespace {

// Changes one bit of a file, and restores it at the end of its scope.
class Changed_bit {
public:
    Changed_bit(const std::string& path, std::size_t bit) : m_path(path), m_bit(bit) { change(); }

    Changed_bit(const Changed_bit&) = delete;
    Changed_bit& operator=(const Changed_bit&) = delete;

    ~Changed_bit() { change(); }

private:
    void change() const {
        std::fstream file(m_path, std::ios::binary | std::ios::in | std::ios::out);
        const auto position = static_cast<std::streamoff>(m_bit / 8);
        file.seekg(position);
        const int byte = file.get();
        file.seekp(position);
        file.put(static_cast<char>(byte ^ (1 << m_bit % 8)));
    }

    const std::string& m_path;
    std::size_t m_bit;
};

enum class Outcome { kRefused, kSame, kChanged };

Outcome outcome_of(const std::string& path, const std::string& sound) {
    try {
        return answers_of(path) == sound ? Outcome::kSame : Outcome::kChanged;
    } catch (const Data_error&) {
        return Outcome::kRefused;
    } catch (const Input_error&) {
        return Outcome::kRefused;
    } catch (const std::exception&) {
        return Outcome::kChanged;  // The program would report this as an internal error.
    }
}

}  // namespace

std::string answers_of(const std::string& path) {
    const std::unique_ptr<Text_model> model = read_model(path, {}, nullptr);
    std::ostringstream answers;
    for (const char* const text :
         {"goal match", "bread cheese", "bank loan", "goal bread", "team", "apple bank goal"}) {
        answers << text << ':';
        for (const Scored_label& each : model->rank(text, -1)) {
            answers << ' ' << each.label << ' ' << std::bit_cast<std::uint64_t>(each.score);
        }
        answers << '\n';
    }
    return answers.str();
}

std::ostream& operator<<(std::ostream& out, const Damaged_bits& bits) {
    out << bits.refused << " refused, " << bits.same << " the same, " << bits.changed.size()
        << " changed";
    for (std::size_t i = 0; i < bits.changed.size() && i < 10; ++i) {
        out << (i == 0 ? ": bits " : ", ") << bits.changed[i];
    }
    return out;
}

Damaged_bits damage_bits(const std::string& path, std::size_t first, std::size_t step) {
    const std::string sound = answers_of(path);
    const std::size_t bit_count = 8 * std::filesystem::file_size(path);
    Damaged_bits bits;
    for (std::size_t bit = first; bit < bit_count; bit += step) {
        const Changed_bit changed(path, bit);
        switch (outcome_of(path, sound)) {
            case Outcome::kRefused:
                ++bits.refused;
                break;
            case Outcome::kSame:
                ++bits.same;
                break;
            case Outcome::kChanged:
                bits.changed.push_back(bit);
                break;
        }
    }
    return bits;
}

void write_small_kc(const std::string& path, bool compact) {
    Model_options options;
    options.analysis = {Analysis_kind::kWords};
    options.groups.groups = {{"world", {"sport", "money"}}};
    Text_model model(options);
    std::vector<Labelled_text> texts;
    for (int i = 0; i < 4; ++i) {
        texts.push_back({{"sport"}, i % 2 == 0 ? "goal match" : "team goal"});
        texts.push_back({{"money"}, i % 2 == 0 ? "bank loan" : "loan"});
        texts.push_back({{"food"}, i % 2 == 0 ? "bread cheese" : "apple bread"});
    }
    model.train(texts);
    // With this node the number of keys in the index is odd. If its lowest bit is flipped, the
    // number is one less, and the seal's key is lost.
    Node_attributes attributes;
    attributes.type = ZE_RULE;
    add_node(*model.manager(), "root/filter", attributes);
    attributes.type = ZE_LEAF;
    attributes.rule = "1";
    add_node(*model.manager(), "root/filter/spam", attributes);
    keep_analysis(options.analysis, model.manager()->m_config);
    write_kc(path, *model.manager(), compact, nullptr);
}

void write_without_seal(const std::string& path) {
    const qtPtrLight<zeManager> manager = read_kc(path, nullptr);
    KcIoMode mode;
    mode.compact = manager->m_compact;
    manager->Write(path, &mode, nullptr);
}

}  // namespace zandrel::cli
