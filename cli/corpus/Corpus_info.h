// Corpus_info: what is in a corpus file.
#ifndef ZANDREL_CLI_CORPUS_CORPUS_INFO_H_
#define ZANDREL_CLI_CORPUS_CORPUS_INFO_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "zandrel/foundation/CTProgress.h"

#include "text/data/Stored_corpus.h"

namespace zandrel::cli {

struct Corpus_info {
    std::string file;
    std::uintmax_t bytes = 0;
    unsigned int version = 0;
    std::size_t texts = 0;
    Corpus_notes notes = {};
    std::map<std::string, std::size_t> labels = {};  // with the number of their texts
};

// Reads all messages. RAISES: what Stored_corpus raises; qtX<zeWorkflow> 2 for an interruption.
Corpus_info corpus_info(const std::string& path, CTProgress* progress);

void print_corpus_info(const Corpus_info& info, std::ostream& out);
// An object of `file`, `bytes`, `version`, `texts`, `analysis` and `stem`, null if the file does
// not say them, `titles` (true if the texts have titles and keywords), and `labels`, a list of
// objects of `label` and `texts`.
nlohmann::ordered_json corpus_info_json(const Corpus_info& info);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_CORPUS_CORPUS_INFO_H_
