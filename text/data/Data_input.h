// Data_input: a data file or standard input, as the caller named it.
#ifndef ZANDREL_TEXT_DATA_DATA_INPUT_H_
#define ZANDREL_TEXT_DATA_DATA_INPUT_H_

#include <fstream>
#include <istream>
#include <memory>
#include <string>
#include <vector>

#include "text/data/Packing.h"

namespace zandrel {

// "-" is standard input. A file of that name is "./-".
bool is_standard_input(const std::string& file);

// Returns the name for messages: "<stdin>" for standard input, otherwise the file.
std::string input_name(const std::string& file);

// Returns whether both names lead to the same file. False if one of the files does not exist.
bool lead_to_same_file(const std::string& left, const std::string& right);

class Data_input {
public:
    // Opens the file for reading, unless it is standard input.
    // RAISES: Input_error if it cannot be opened.
    explicit Data_input(const std::string& file);
    Data_input(const Data_input&) = delete;
    Data_input& operator=(const Data_input&) = delete;

    // Returns the stream of the bytes; of the unpacked bytes if they are compressed with gzip or
    // zstd. Waits for the first byte. Damage raises Data_error while the stream is read.
    // RAISES: Input_error; Data_error for a file whose name ends with .gz or .zst, but which is not
    // compressed so.
    std::istream& stream();

    const std::string& name() const { return m_name; }

private:
    void unpack(Packing packing);

    std::string m_name;
    Packing m_promised;    // by the name of the file
    std::ifstream m_file;  // not open for standard input
    std::istream& m_stream;
    std::unique_ptr<Unpacking_buffer> m_buffer;  // null if the bytes are not compressed
    std::unique_ptr<std::istream> m_unpacked;    // with m_buffer
};

// Standard input has an end, so a second reading would find nothing.
// RAISES: Usage_error if more than one of the files is standard input.
void check_read_once(const std::vector<std::string>& files);

// Returns whether reading the files waits for a user who types: one of them is standard input, and
// standard input is a terminal.
bool waits_for_typing(const std::vector<std::string>& files);

// Returns the note for that user. `what`: for example "texts, one on each line".
std::string typing_note(const std::string& what);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_DATA_INPUT_H_
