// Tree_file: the text form of a tree as a file of the user, with errors that name file and line.
#ifndef ZANDREL_TEXT_KC_TREE_FILE_H_
#define ZANDREL_TEXT_KC_TREE_FILE_H_

#include <cstddef>
#include <istream>
#include <ostream>
#include <string>

class zeManager;

namespace zandrel {

// Adds the nodes of a file to a container without nodes. "-" is standard input. The rule "default"
// is accepted. A byte order mark is skipped. A file that gzip or zstd has compressed is unpacked.
// docs/formats/tree.md describes the form.
// RAISES: Input_error; Data_error "FILE:LINE: message" for the first line that is refused, where
// empty lines count and CR LF is one line end; Data_error "FILE: message" for a file without nodes,
// and for damage in a compressed file. The container then has the nodes of the lines before.
void load_tree_file(const std::string& file, zeManager& manager);
// The same for a stream. `name`: of the file, for messages.
void load_tree_text(std::istream& input, const std::string& name, zeManager& manager);

// Returns the lines of a file, without empty lines and byte order mark, as a text that
// load_tree_text accepts. At most one line more than it accepts is in memory.
// RAISES: as load_tree_file.
std::string read_tree_text(const std::string& file);

// Writes the tree of a container. The caller looks at the state of `out` for errors.
void write_tree_text(const zeManager& manager, std::ostream& out);

// The number of nodes whose name, category or rule has white space other than blanks, such as a
// tab. The text form has blanks instead.
std::size_t changed_node_count(const zeManager& manager);

// Prints the number of nodes of each type: "6 nodes: 1 rule node, 2 statistical nodes, 3 leaves".
void print_node_counts(const zeManager& manager, std::ostream& out);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_TREE_FILE_H_
