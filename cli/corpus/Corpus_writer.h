// Corpus_writer: writes a corpus file that takes its place when it is complete.
#ifndef ZANDREL_CLI_CORPUS_CORPUS_WRITER_H_
#define ZANDREL_CLI_CORPUS_CORPUS_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtPtr.h"

#include "text/data/Stored_corpus.h"
#include "text/kc/Replacement_file.h"

class zeCacheCorpus;
class zeMsg;

namespace zandrel::cli {

// Messages are appended to a new file, or to a copy of an old one. The library would change the old
// file in place, and after a failure in the middle nothing could read it. Readers keep the old file
// too, so they need no lock.
class Corpus_writer {
public:
    // `name`: of the corpus, for messages. BORROWS: `file`.
    Corpus_writer(Replacement_file& file, std::string name);
    Corpus_writer(const Corpus_writer&) = delete;
    Corpus_writer& operator=(const Corpus_writer&) = delete;
    ~Corpus_writer();

    // Begins with an empty corpus. RAISES: Output_error.
    void begin();
    // Begins with a copy of the corpus at `path`. If it is of version 1, the copy is upgraded.
    // REQUIRES: all messages of a corpus of version 1 can be read.
    // RAISES: Input_error, Output_error; qtX<zeWorkflow> 2 for an interruption.
    void begin_with(const std::string& path, CTProgress* progress);

    // Replaces our notes. Texts of other programs remain. RAISES: Output_error.
    void note(const Corpus_notes& notes);
    // RAISES: Output_error.
    void add(qtPtrLight<zeMsg>& msg);
    // Writes the index and reads it again. Then the file can take its place. Returns the number of
    // messages. RAISES: Output_error.
    std::size_t finish();

private:
    void open();
    template <class Work>
    void write(const Work& work);

    Replacement_file& m_file;
    std::string m_name;
    std::unique_ptr<zeCacheCorpus> m_corpus;  // null before a `begin` and after `finish`
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_CORPUS_CORPUS_WRITER_H_
