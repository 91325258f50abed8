// The library makes and changes the new file; we give it the name of a Replacement_file.
#include "cli/corpus/Corpus_writer.h"

#include <array>
#include <cerrno>
#include <fstream>
#include <ostream>
#include <unistd.h>

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/messages/zeCacheCorpus.h"

#include "text/errors.h"

namespace zandrel::cli {

namespace {

using zandrel::detail::Progress;

// RAISES: Input_error; qtX<zeWorkflow> 2.
void copy(const std::string& path, std::ostream& out, const Progress& steps) {
    constexpr std::size_t kPiece = std::size_t{1} << 20U;
    std::string piece(kPiece, '\0');
    std::ifstream in(path, std::ios::binary);
    while (in && out) {
        steps.check_interrupt();
        in.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        out.write(piece.data(), in.gcount());
    }
    if (!in.eof() && out) {
        throw Input_error(path, reason_of_failure());
    }
}

}  // namespace

Corpus_writer::Corpus_writer(Replacement_file& file, std::string name)
    : m_file(file), m_name(std::move(name)) {}

Corpus_writer::~Corpus_writer() {
    if (m_corpus) {
        m_corpus->cache.Abandon();  // the unfinished file is removed, so it needs no index
    }
}

template <class Work>
void Corpus_writer::write(const Work& work) {
    errno = 0;
    try {
        work();
    } catch (const qtxAll& error) {
        throw Output_error(m_name, errno == 0 ? error.what() : reason_of_failure());
    }
}

void Corpus_writer::begin() {
    write([this] {
        m_file.remake([this] {
            ::unlink(m_file.path().c_str());
            zeCacheCorpus made(qtString(m_file.path()), 'w', 0);
            made.flush();
        });
    });
    open();
}

void Corpus_writer::begin_with(const std::string& path, CTProgress* progress) {
    const Progress steps(progress);
    m_file.fill([&](std::ostream& out) { copy(path, out, steps); });
    open();
}

// Mode 'u' checks the file and keeps its flags; 'w' does neither.
void Corpus_writer::open() {
    write([this] { m_corpus = std::make_unique<zeCacheCorpus>(qtString(m_file.path()), 'u', 0); });
}

void Corpus_writer::note(const Corpus_notes& notes) {
    write([&] {
        zeCacheCorpus::GlobalInfo info;
        m_corpus->get_global_info(info);
        for (const auto& [key, text] : texts_of_notes(notes)) {
            info.texts[key] = text;
        }
        m_corpus->set_global_info(info);
    });
}

void Corpus_writer::add(qtPtrLight<zeMsg>& msg) {
    write([&] { m_corpus->add_msg(msg); });
}

std::size_t Corpus_writer::finish() {
    std::size_t count = 0;
    write([&] {
        m_corpus->flush();
        count = static_cast<std::size_t>(m_corpus->get_num_msgs());
        m_corpus->cache.file.Close();
        m_corpus.reset();
        const zeCacheCorpus written(qtString(m_file.path()), 'r', 0);
        if (static_cast<std::size_t>(written.get_num_msgs()) != count) {
            throw Output_error(m_name, "the new file is not what was written");
        }
    });
    return count;
}

}  // namespace zandrel::cli
