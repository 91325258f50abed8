// Package_contents: the kinds of items in a container's file, and its seal.
// Format: docs/formats/kc.md
#ifndef ZANDREL_CLI_RECORDS_PACKAGE_CONTENTS_H_
#define ZANDREL_CLI_RECORDS_PACKAGE_CONTENTS_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "cli/records/Record_file.h"
#include "cli/records/Record_reader.h"

namespace zandrel::cli {

// The key of a classifier's item has 4 bytes. So has an id or a type in its record.
inline constexpr std::size_t kIdSize = 4;

// Returns whether only containers have an item of this key: the trees, or the seal.
bool is_key_of_container(std::string_view key);

// Returns whether the file is a container, also if the id in its header was changed: its trees or
// its seal are in the index. REQUIRES: the header and the index have been read.
bool is_container(const Record_file& file);

// Names the contents of each item, and reads the seal. Skips damaged parts.
// REQUIRES: a package or a container whose header, index and items have been read by `reader`.
Package_contents read_package_contents(const Record_file& file, Record_reader& reader);

// Verifies the seal of a container. Returns the problem in words; empty if the seal matches or
// there is no seal.
// REQUIRES: an index and items without problems.
std::string problem_of_seal(const Record_file& file);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_PACKAGE_CONTENTS_H_
