// File_kind: recognises the files that Zandrel itself makes, by their first bytes.
#ifndef ZANDREL_TEXT_DATA_FILE_KIND_H_
#define ZANDREL_TEXT_DATA_FILE_KIND_H_

#include <istream>
#include <string>

namespace zandrel {

enum class File_kind { kOther, kContainer, kCorpus, kArchive };

// Returns kOther for standard input, and for a file that cannot be opened or is not a regular file.
// The rest of the file is not read and may be damaged.
File_kind kind_of_file(const std::string& path);
// The same for a stream, whose position does not change. The function waits for the first byte, and
// looks only at the bytes that arrived together with that byte.
File_kind kind_of_stream(std::istream& input);

// "a knowledge container", "a corpus file" or "a message archive". REQUIRES: not kOther.
std::string name_of(File_kind kind);

// Refuses a file of another kind, and says what it is: "a.arc: this is a message archive, and no
// corpus file; zandrel archive info describes it". Does nothing for `wanted` and kOther.
// RAISES: Data_error.
void refuse_other_kind(const std::string& name, const std::string& path, File_kind wanted);

// Refuses a container and an archive as data: with --skip-bad, some of their bytes could be read as
// data lines. A corpus is data, but not as standard input, since its messages are read by number.
// Waits for the first byte of standard input.
// RAISES: Data_error; Input_error.
void check_is_data_file(const std::string& path);

// The same for a file of texts to classify, for which a corpus is refused too.
// RAISES: Data_error; Input_error.
void check_is_text_file(const std::string& path);

// Refuses to replace a container, a corpus or an archive by a text.
// RAISES: Usage_error.
void check_replaceable_by_text(const std::string& path);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_FILE_KIND_H_
