// Random scripts of changes to a record file. Each step can be done to a file and to its model.
#ifndef ZANDREL_TESTS_STORAGE_RECORD_FILE_SCRIPT_H_
#define ZANDREL_TESTS_STORAGE_RECORD_FILE_SCRIPT_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <random>
#include <string>

#include "zandrel/storage/AbstractHreclaim.h"

#include "tests/storage/record_file_model.h"

struct Record_step {
    enum class Kind {
        kAdd,
        kDelete,
        kRename,
        kGet,
        kWriteIndex,
        kReopen,
        kSetFileId,
        kSetState,
        kRepair
    };

    Kind kind = Kind::kWriteIndex;
    std::string key = {};
    std::string to = {};    // for a rename
    std::string data = {};  // for an add
    // The owner's header fields. `number` is the file's id or the state.
    unsigned int number = 0;
    unsigned short version = 0;
    unsigned char flags = 0;
};

void PrintTo(const Record_step& step, std::ostream* out);

struct Script_shape {
    unsigned int key_count = 200;
    // The sizes of items are near the powers of two between these two.
    unsigned int least_power = 4;
    unsigned int largest_power = 12;
    unsigned int rarely_largest_power = 17;  // for one add in a hundred
    // On average, one step in so many writes the index, or reopens the file.
    unsigned int steps_per_index = 50;
    // Percentage of steps that are repairs or set the owner's header fields: id, version and flags;
    // with `has_owner_states` also the state.
    unsigned int owner_percent = 2;
    bool has_owner_states = false;  // whether the owner changes the state too
    // If an item overwrites the old one of its key, this makes the last byte of the new blob differ
    // from the byte that it overwrites. Then a torn write never looks complete.
    bool differs_in_place = false;
};

// Random steps that are possible in the model's current state.
class Script_source {
public:
    Script_source(std::uint32_t seed, const Script_shape& shape) : m_random(seed), m_shape(shape) {}

    // The next step for a file in the state of the model.
    Record_step next(const Record_file_model& model);

private:
    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(m_random() % limit); }

    Record_step add(const Record_file_model& model);
    Record_step pick_owner_step();
    std::string any_key();
    std::string known_key(const Record_file_model& model);
    std::string make_data(const Record_file_model& model, const std::string& key);

    std::mt19937 m_random;
    Script_shape m_shape;
};

// Does a step in the model.
void apply(const Record_step& step, Record_file_model& model);

// Does a step in a file. kReopen closes and opens it. Returns the data that kGet reads.
std::optional<std::string> apply(const Record_step& step, AbstractHreclaim& file);

// The data of a key.
std::string read_item(AbstractHreclaim& file, const std::string& key);

// All items of an open file.
std::map<std::string, std::string> read_all(AbstractHreclaim& file);

#endif  // ZANDREL_TESTS_STORAGE_RECORD_FILE_SCRIPT_H_
