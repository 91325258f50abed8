// Two ways to change an archive. A few messages are changed in place, since an archive can be
// large: the file is marked before the first write, so a process that is killed leaves a file that
// all commands refuse until zandrel rebuild-index has repaired it (Deferred_archive). A change of
// all messages is made in a copy.
#include "cli/archive/Archive_file.h"

#include <algorithm>
#include <array>
#include <exception>
#include <fstream>
#include <iterator>
#include <unistd.h>
#include <utility>
#include <vector>

#include "zandrel/archive/SmlArchiveManager.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/Hreclaim.h"
#include "zandrel/storage/SegBuf.h"

#include "cli/archive/Archive_numbers.h"
#include "cli/process/Interruption.h"
#include "text/analysis/Stemmer.h"
#include "text/data/File_kind.h"
#include "text/errors.h"
#include "text/kc/Cached_kc.h"
#include "text/kc/Kc_header.h"
#include "text/kc/Replacement_file.h"
#include "text/kc/unfinished_files.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr std::uint32_t kWideMagic = 0x4A5B6C81;
constexpr std::uint32_t kNarrowMagic = 0x4A5B6C80;
constexpr unsigned int kNewestVersion = SmlArchiveManager::kVersion;

std::uint32_t number_at(const std::array<unsigned char, 12>& bytes, std::size_t place,
                        std::size_t width) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < width; ++i) {
        number = number << 8U | bytes.at(place + i);
    }
    return number;
}

Archive_header required_header(const std::string& path, const std::string& name) {
    const std::optional<Archive_header> header = read_archive_header(path);
    refuse_other_kind(name, path, File_kind::kArchive);
    if (!header) {
        throw Data_error(name, "no message archive");
    }
    return *header;
}

constexpr const char* kCheckAdvice = "; zandrel check says more";
constexpr const char* kRepairAdvice = "; zandrel rebuild-index repairs it";

std::string advice_of(const qtX<zeSmlArchive>& error) {
    constexpr int kCannotRead = 4;
    constexpr int kNotSynchronized = 10;
    constexpr int kDamagedSummary = 11;
    const std::string text = shown_complaint(error.what());
    switch (error.number()) {
        case kCannotRead:
            return text + kCheckAdvice;
        case kNotSynchronized:
            return std::string("the archive was not closed") + kRepairAdvice;
        case kDamagedSummary:
            return text + kRepairAdvice;
        default:
            return text;
    }
}

// Only the parts of the file decide whether the archive can be used, as when the library opens it
// to change it.
void load_summary(AbstractHreclaim& file, SmlArchiveManager& summary) {
    if (summary.version == kNewestVersion && file.IsStale()) {
        throw qtX<zeSmlArchive>(10, "Archive index is not synchronized");
    }
    SegBuf record;
    file.GetItem(zandrel::detail::kArchiveSummaryKey, record);
    Hio<HSegment> io(new HSegment(record, 'r'));
    summary.Load(io);
}

std::string text_of(SegBuf& record) {
    Hio<HSegment> io(new HSegment(record, 'r'));
    std::string text(static_cast<std::size_t>(io.device->GetFileSize()), '\0');
    if (!text.empty()) {
        io.ReadBytes(text.data(), static_cast<unsigned int>(text.size()));
    }
    return text;
}

void write_analysis(AbstractHreclaim& file, const Analysis_settings& analysis) {
    std::string text = name_of(analysis.kind);
    if (!analysis.stem_language.empty()) {
        text += '\n' + analysis.stem_language;
    }
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    io.WriteBytes(text.data(), static_cast<unsigned int>(text.size()));
    io.device->Close();
    file.AddItem(kArchiveAnalysisKey, record);
}

std::optional<Analysis_settings> read_analysis(const std::string& name, AbstractHreclaim& file) {
    if (!file.Exists(kArchiveAnalysisKey)) {
        return std::nullopt;
    }
    SegBuf record;
    file.GetItem(kArchiveAnalysisKey, record);
    const std::string text = text_of(record);
    const std::size_t end = text.find('\n');
    const std::optional<Analysis_kind> kind = analysis_kind(text.substr(0, end));
    if (!kind) {
        throw Data_error(name,
                         "unknown text analysis \"" + shown_value(text.substr(0, end)) + "\"");
    }
    const std::string language = end == std::string::npos ? "" : text.substr(end + 1);
    const std::vector<std::string> known = stem_languages();
    if (!language.empty() && std::find(known.begin(), known.end(), language) == known.end()) {
        throw Data_error(name, "unknown language to stem \"" + shown_value(language) + "\"");
    }
    return Analysis_settings{*kind, language};
}

void copy_file(const Kc_lock& lock, const Replacement_file& to) {
    std::ifstream in(lock.target().path(), std::ios::binary);
    to.fill([&in](std::ostream& out) { out << in.rdbuf(); });
    if (in.bad() || !in.is_open()) {
        throw Input_error(lock.target().name(), reason_of_failure());
    }
}

// Opens a copy of the file, which upgrades a file of version 1, and lets it take the place.
void replace_by_copy(const Kc_lock& lock, const std::function<void(zeSmlArchive&)>& change) {
    const std::string& name = lock.target().name();
    const bool is_wide = required_header(lock.target().path(), name).is_wide;
    Replacement_file copy(lock);
    copy_file(lock, copy);
    zeSmlArchive archive;
    with_archive_errors(name, [&] {
        archive.OpenArchive(copy.path(), false, !is_wide);
        change(archive);
        archive.CloseArchive();
    });
    copy.take_place();
}

}  // namespace

std::unique_ptr<AbstractHreclaim> new_record_file(bool is_wide) {
    if (is_wide) {
        return std::make_unique<Hreclaim<Hfile64>>();
    }
    return std::make_unique<Hreclaim<Hfile32>>();
}

std::optional<Archive_header> read_archive_header(const std::string& path) {
    check_readable(path);
    std::array<unsigned char, 12> bytes = {};
    std::ifstream in(path, std::ios::binary);
    in.read(reinterpret_cast<char*>(bytes.data()), bytes.size());  // NOLINT: bytes of a file
    if (!in) {
        return std::nullopt;
    }
    const std::uint32_t magic = number_at(bytes, 0, 4);
    if ((magic != kWideMagic && magic != kNarrowMagic) ||
        number_at(bytes, 4, 4) != zandrel::detail::kArchiveFileId) {
        return std::nullopt;
    }
    return Archive_header{magic == kWideMagic, number_at(bytes, 10, 2)};
}

void raise_as_archive_read_error(const std::string& name) {
    const int reason = errno;
    if (Interruption::is_requested()) {
        throw;
    }
    try {
        throw;
    } catch (const qtX<zeSmlArchive>& error) {
        throw Data_error(name, advice_of(error));
    } catch (const qtX<HioErr>& error) {
        errno = reason;
        throw Input_error(name, reason == 0 ? error.what() : reason_of_failure());
    } catch (const qtxAssert& error) {  // summary and messages disagree
        throw Data_error(
            name, "the archive is damaged: " + shown_complaint(error.what()) + kRepairAdvice);
    } catch (const qtxAll& error) {
        throw Data_error(name,
                         "the archive is damaged: " + shown_complaint(error.what()) + kCheckAdvice);
    }
}

void raise_as_archive_write_error(const std::string& name) {
    const int reason = errno;
    try {
        throw;
    } catch (const qtX<HioErr>& error) {
        errno = reason;
        throw Output_error(name, (reason == 0 ? std::string(error.what()) : reason_of_failure()) +
                                     "; zandrel check says if the archive needs rebuild-index");
    } catch (const qtxAll&) {
        raise_as_archive_read_error(name);
    }
}

bool is_bound(const SmlArchiveManager& summary) {
    return summary.kc_id != 0 || summary.kc_time != qtTimeDate();
}

bool keep_place_of_learning(SmlArchiveManager& summary) {
    const auto next = summary.sml_dates.lower_bound(summary.last_learned_sml);
    if (summary.sml_dates.contains(summary.last_learned_sml) || next == summary.sml_dates.begin()) {
        return false;
    }
    summary.last_learned_sml = std::prev(next)->first;
    summary.modified = true;
    return true;
}

Archive_to_read::Archive_to_read(const std::string& name)
    : m_name(name),
      m_use((check_readable(name), name), name),
      m_header(required_header(name, name)) {
    errno = 0;
    try {
        m_archive.archive_file = new_record_file(m_header.is_wide);
        m_archive.archive_file->Open(name, false, true);
        m_archive.m_manager.version = static_cast<std::uint16_t>(m_header.version);
        if (m_header.version == 0 || m_header.version > kNewestVersion) {
            throw qtX<zeSmlArchive>(9, "Invalid version in archive file");
        }
        load_summary(*m_archive.archive_file, m_archive.m_manager);
    } catch (const qtxAll&) {
        raise_as_archive_read_error(name);
    }
}

void Archive_to_read::read(unsigned int number, zeMsg& msg) {
    errno = 0;
    try {
        m_archive.ReadSml(number, msg, m_header.version == kNewestVersion);
    } catch (const qtxAll&) {
        raise_as_archive_read_error(m_name);
    }
}

std::optional<Analysis_settings> Archive_to_read::analysis() {
    errno = 0;
    try {
        return read_analysis(m_name, *m_archive.archive_file);
    } catch (const qtxAll&) {
        raise_as_archive_read_error(m_name);
    }
}

Archive_to_change::Archive_to_change(const std::string& name, const Lock_wait& wait,
                                     Archive_writes writes)
    : m_lock((check_readable(name), name), wait), m_writes(writes) {
    m_use.emplace(m_lock);
    Archive_header header = required_header(m_lock.target().path(), name);
    if (header.version == 1) {
        replace_by_copy(m_lock, [](zeSmlArchive& /*archive*/) {});
        m_use.emplace(m_lock);  // the file is another one now
    }
    with_archive_errors(
        name, [&] { m_archive.OpenArchive(m_lock.target().path(), false, !header.is_wide); });
    // Reserved messages would be deleted as free ones.
    const std::string problem = problem_of_numbers(m_archive.m_manager);
    if (!problem.empty()) {
        throw Data_error(name, "the archive is damaged: " + problem + kRepairAdvice);
    }
    auto file = std::make_unique<Deferred_archive>(std::move(m_archive.archive_file),
                                                   writes == Archive_writes::kMessagesAtOnce);
    m_file = file.get();
    m_archive.archive_file = std::move(file);
}

Archive_to_change::~Archive_to_change() {
    if (m_file == nullptr || m_writes != Archive_writes::kMessagesAtOnce) {
        return;
    }
    try {
        const Held_back_signals held_back;
        m_archive.FlushArchive(true);
        m_file->write();
    } catch (...) {  // The caller reports an earlier error. The file is marked.
    }
}

std::optional<Analysis_settings> Archive_to_change::analysis() {
    return with_archive_errors(name(),
                               [&] { return read_analysis(name(), *m_archive.archive_file); });
}

void Archive_to_change::close() {
    const Held_back_signals held_back;
    with_archive_errors(name(), [&] {
        m_archive.FlushArchive(true);
        write_to_disk();
        m_file = nullptr;
        m_archive.CloseArchive();
    });
    note_change(shown_file(name()));
    end_on_disk();
}

SegBuf Archive_to_change::stored_summary() {
    SegBuf record;
    with_archive_errors(name(), [&] { m_file->read_stored_summary(record); });
    return record;
}

void Archive_to_change::write() {
    const Held_back_signals held_back;
    with_archive_errors(name(), [&] {
        m_archive.FlushArchive(true);
        write_to_disk();
    });
    end_on_disk();
}

// The bytes of the change are on the disk before the mark is removed. If that fails, the change is
// written all the same, so that the file can be used, and `end_on_disk` reports the failure.
void Archive_to_change::bring_before_unmarking() {
    try {
        bring_changes_to_disk(m_lock);
    } catch (const Output_error&) {
        m_failure = std::current_exception();
    }
}

// After a failure the system may report that everything is on the disk.
void Archive_to_change::end_on_disk() {
    if (m_failure) {
        std::rethrow_exception(std::exchange(m_failure, nullptr));
    }
    bring_changes_to_disk(m_lock);
}

void Archive_to_change::write_to_disk() {
    m_file->write([this] { bring_before_unmarking(); });
}

void Archive_to_change::write_first(SegBuf& stored,
                                    const std::function<void(SmlArchiveManager& summary)>& change) {
    SmlArchiveManager summary;
    summary.version = kNewestVersion;
    SegBuf record;
    with_archive_errors(name(), [&] {
        Hio<HSegment> in(new HSegment(stored, 'r'));
        summary.Load(in);
        change(summary);
        Hio<HSegment> out(new HSegment(record, 'w'));
        summary.Dump(out);
        out.device->Close();
    });
    write_summary(record);
}

void Archive_to_change::take_back(const SegBuf& stored) {
    m_file->drop();
    m_archive.m_manager.modified = false;
    write_summary(stored);
}

void Archive_to_change::write_summary(const SegBuf& summary) {
    const Held_back_signals held_back;
    with_archive_errors(
        name(), [&] { m_file->write_summary(summary, [this] { bring_before_unmarking(); }); });
    end_on_disk();
}

void change_copy(const std::string& name, const Lock_wait& wait,
                 const std::function<void(zeSmlArchive& archive)>& change) {
    check_readable(name);
    const Kc_lock lock(name, wait);
    const Kc_use use(lock);
    replace_by_copy(lock, change);
}

void create_archive(const New_archive& options, const Lock_wait& wait) {
    const Kc_lock lock(options.name, wait);
    if (lock.target().status()) {
        throw Usage_error(shown_file(options.name) + " exists; create makes a new file");
    }
    Replacement_file file(lock);
    zeSmlArchive archive;
    with_archive_errors(options.name, [&] {
        file.remake([&] {
            ::unlink(file.path().c_str());
            archive.OpenArchive(file.path(), true, !options.is_wide);
            // As the number of the message that was learned last, 0 means that nothing was learned.
            archive.m_manager.next_sml_id = 1;
            if (options.reserved_size) {
                archive.SetCatReservedSize(*options.reserved_size);
            }
            if (options.minimal_size) {
                archive.SetCatMinimalSize(*options.minimal_size);
            }
            if (options.age_ratio) {
                archive.SetAgeRatio(*options.age_ratio);
            }
            write_analysis(*archive.archive_file, options.analysis);
            archive.m_manager.modified = true;
            archive.CloseArchive();
        });
    });
    file.take_place();
}

Analysis_settings analysis_of_archive(const std::string& name,
                                      const std::optional<Analysis_settings>& kept,
                                      const Given_analysis& given) {
    if (!kept) {
        if (!given.kind) {
            throw Data_error(name,
                             "it does not say how its texts were analysed; --analysis names it");
        }
        return {*given.kind, given.stem_language};
    }
    if ((given.kind && *given.kind != kept->kind) ||
        (!given.stem_language.empty() && given.stem_language != kept->stem_language)) {
        throw Usage_error(shown_file(name) + " was made with --analysis " + name_of(kept->kind) +
                          (kept->stem_language.empty() ? "" : " --stem " + kept->stem_language));
    }
    return *kept;
}

}  // namespace zandrel::cli
