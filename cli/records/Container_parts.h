// Container_parts: which items of a container belong together, for a file that was recovered.
#ifndef ZANDREL_CLI_RECORDS_CONTAINER_PARTS_H_
#define ZANDREL_CLI_RECORDS_CONTAINER_PARTS_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cli/records/File_window.h"
#include "cli/records/Record_scan.h"

namespace zandrel::cli {

struct Unused_object {
    std::string key;
    std::string words;  // to which classifier it belongs
};

struct Container_parts {
    bool has_trees = false;            // the record of the trees is there
    bool are_trees_read = false;       // and could be read
    std::vector<std::string> missing;  // objects that the trees name, in words
    // Objects that neither the trees nor a classifier of the trees names. They are of classifiers
    // that no longer exist, or that are missing.
    std::vector<Unused_object> unused;
};

// Follows the trees to the classifiers and the classifiers to their models.
// `version`: of the container.
Container_parts read_container_parts(File_window& file,
                                     const std::map<std::string, const Scanned_item*>& items,
                                     unsigned int version);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_CONTAINER_PARTS_H_
