// Corpus_export: writes the texts of a corpus file as JSON lines.
#ifndef ZANDREL_CLI_CORPUS_CORPUS_EXPORT_H_
#define ZANDREL_CLI_CORPUS_CORPUS_EXPORT_H_

#include <ostream>

#include "zandrel/foundation/CTProgress.h"

#include "text/data/Stored_corpus.h"

namespace zandrel::cli {

// Writes a line for each message, in their order. An import of these lines with the analysis of the
// corpus gives the same messages.
//
//   {"text":"a goal","labels":["sport"],"pairs":{"size":7}}
//
// With titles and keywords there are also the members "title" and "keywords".
// RAISES: Data_error with the number of a message that cannot be read, that has no text, as in a
// corpus of another program, or that JSON cannot express; qtX<zeWorkflow> 2 for an interruption.
void export_texts(const Stored_corpus& corpus, CTProgress* progress, std::ostream& out);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_CORPUS_CORPUS_EXPORT_H_
