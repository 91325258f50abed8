// Compares the first eight bytes of a file, which are two numbers: the magic of a package or of a
// record file, and the id of the owner of its records.
#include "text/data/File_kind.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

#include "zandrel/archive/SmlArchiveManager.h"
#include "zandrel/messages/zeCacheCorpus.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"
#include "zandrel/storage/Hreclaim.h"

#include "text/data/Data_input.h"
#include "text/data/Packing.h"
#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

constexpr unsigned int kWideMagic = Hreclaim<Hfile64>::Format::kMagic;
constexpr unsigned int kNarrowMagic = Hreclaim<Hfile32>::Format::kMagic;

struct First_numbers {
    unsigned int magic;
    unsigned int owner;
    File_kind kind;
};

constexpr std::array<First_numbers, 5> kKinds = {{
    {Hpack::kMagic, zandrel::detail::kKcFileId, File_kind::kContainer},
    {kWideMagic, zandrel::detail::kKcFileId, File_kind::kContainer},
    {kWideMagic, zeCacheCorpus::kFileId, File_kind::kCorpus},
    {kWideMagic, zandrel::detail::kArchiveFileId, File_kind::kArchive},
    {kNarrowMagic, zandrel::detail::kArchiveFileId, File_kind::kArchive},
}};

// MakeStringKey converts a number to four bytes, the highest first.
std::string bytes_of(const First_numbers& first) {
    return Hpack::MakeStringKey(first.magic).str() + Hpack::MakeStringKey(first.owner).str();
}

struct Kind_words {
    const char* name;          // without an article; each has "a"
    const char* command;       // describes such a file
    const char* way_to_texts;  // advice for a user who wants the texts; may be empty
};

Kind_words words_of(File_kind kind) {
    switch (kind) {
        case File_kind::kCorpus:
            return {"corpus file", "zandrel corpus info",
                    "; zandrel corpus export writes its texts as JSON lines"};
        case File_kind::kArchive:
            return {"message archive", "zandrel archive info",
                    "; zandrel archive list --json writes its texts as JSON lines"};
        default:
            return {"knowledge container", "zandrel info", ""};
    }
}

// "this is a message archive, and no data file"
std::string refusal(File_kind kind, const std::string& wanted) {
    return "this is " + name_of(kind) + ", and no " + wanted;
}

// RAISES: Input_error.
File_kind kind_of_input(const std::string& path) {
    if (!is_standard_input(path)) {
        return kind_of_file(path);
    }
    errno = 0;
    const File_kind kind = kind_of_stream(std::cin);
    if (std::cin.bad()) {
        throw Input_error(input_name(path), reason_of_failure());
    }
    return kind;
}

}  // namespace

File_kind kind_of_file(const std::string& path) {
    std::error_code ignored;
    if (is_standard_input(path) || !std::filesystem::is_regular_file(path, ignored)) {
        return File_kind::kOther;
    }
    std::ifstream file(path, std::ios::binary);
    std::string start(bytes_of(kKinds.front()).size(), '\0');
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    for (const First_numbers& first : kKinds) {
        if (file && start == bytes_of(first)) {
            return first.kind;
        }
    }
    return File_kind::kOther;
}

File_kind kind_of_stream(std::istream& input) {
    if (input.peek() == std::istream::traits_type::eof()) {
        return File_kind::kOther;
    }
    for (const First_numbers& first : kKinds) {
        if (begins_with(input, bytes_of(first))) {
            return first.kind;
        }
    }
    return File_kind::kOther;
}

std::string name_of(File_kind kind) {
    return std::string("a ") + words_of(kind).name;
}

void refuse_other_kind(const std::string& name, const std::string& path, File_kind wanted) {
    const File_kind kind = kind_of_file(path);
    if (kind == wanted || kind == File_kind::kOther) {
        return;
    }
    throw Other_file(name, refusal(kind, words_of(wanted).name) + "; " + words_of(kind).command +
                               " describes it");
}

void check_is_data_file(const std::string& path) {
    const std::string name = input_name(path);
    const File_kind kind = kind_of_input(path);
    if (kind == File_kind::kContainer) {
        throw Data_error(name, refusal(kind, "data file"));
    }
    if (kind == File_kind::kArchive) {
        throw Data_error(name, refusal(kind, "data file") +
                                   "; zandrel archive train reads it, and zandrel archive list "
                                   "--json writes its messages as JSON lines");
    }
    if (kind == File_kind::kCorpus && is_standard_input(path)) {
        throw Data_error(name, "this is a corpus file, which cannot be read from standard input");
    }
}

void check_is_text_file(const std::string& path) {
    const File_kind kind = kind_of_input(path);
    if (kind == File_kind::kOther) {
        return;
    }
    throw Data_error(input_name(path),
                     refusal(kind, "file of texts") + words_of(kind).way_to_texts);
}

void check_replaceable_by_text(const std::string& path) {
    const File_kind kind = kind_of_file(path);
    if (kind != File_kind::kOther) {
        throw Usage_error(shown_file(path) + " is " + name_of(kind) +
                          "; a text does not replace it");
    }
}

}  // namespace zandrel
