// Fuzzes the summary of an archive. Any bytes that replace the summary of a small archive are
// either refused with a known error, and the object is empty, or the archive can be used and
// closed, and opened again.
//
// The lowest bit of the first byte makes a file of version 1, and the next one a file of 32-bit
// offsets. The other bytes are the summary. It replaces the summary of a small archive, so that the
// fuzzer need not learn the index of a file.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hreclaim.h"
#include "zandrel/storage/HreclaimCache.h"

#include "fuzz/fuzz_target.h"
#include "fuzz/memory_file.h"
#include "tests/support/kc_errors.h"

namespace {

constexpr unsigned int kMessageCount = 4;

// If a list has more numbers than this, only the first ones are used.
constexpr std::size_t kMostNumbers = 64;

const char* const kNames[] = {"red", "blue"};

void fill(SegBuf& record, std::string bytes) {
    HSegment(record, 'w').Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

qtPtrLight<zeMsg> message(unsigned int number) {
    qtPtrLight<zeMsg> msg(new zeMsg);
    msg->categories.push_back(Concept::insert_view(kNames[number % 2]));
    if (number % 3 == 0) {
        msg->categories.push_back(Concept::insert_view(kNames[(number + 1) % 2]));
    }
    msg->add_value("_ExternalId", mlMessageConverter::kString, "id");
    return msg;
}

template <class Device>
void make_file(const Memory_file& place, const std::string& summary, unsigned short version) {
    place.fill("");
    Hreclaim<Device> file;
    // The file exists, so Open would not make a new one. We make the empty record file by hand: the
    // header names an index block without keys and holes.
    using Format = typename Hreclaim<Device>::Format;
    SegBuf bytes;
    Hio<HSegment> io(new HSegment(bytes, 'w'));
    io << Format::kMagic << 0U << 0U
       << static_cast<typename Hreclaim<Device>::Offset>(Format::kHeaderSize);
    io << zandrel::detail::kIndexTag << 0U;
    for (std::size_t slot = 0; slot < zandrel::detail::kSlotCount; ++slot) {
        io << 0U;
    }
    io.device->Close();
    std::string empty(bytes.size, '\0');
    io.device->Read(empty.data(), bytes.size);
    place.fill(empty + std::string(256 - Format::kEmptyIndexSize, '\0'));

    file.Open(place.name(), false, false);
    file.SetFileID(zandrel::detail::kArchiveFileId, version, 0);
    for (unsigned int number = 0; number < kMessageCount; ++number) {
        SegBuf record;
        Hio<Generic32> message_io(new HSegment(record, 'w'));
        message(number)->Dump(message_io);
        message_io.device->Close();
        if (version > 1) {
            zandrel::detail::ScrambleRuns(record, qtScrambler::kSeed);
        }
        file.AddItem(file.MakeStringKey(number), record);
    }
    SegBuf record;
    fill(record, summary);
    file.AddItem(zandrel::detail::kArchiveSummaryKey, record);
    file.Close();
}

std::string dumped(const SmlArchiveManager& summary) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    summary.Dump(io);
    io.device->Close();
    std::string bytes(record.size, '\0');
    io.device->Read(bytes.data(), record.size);
    return bytes;
}

// A broken invariant leaves an operation half done, and AddSml does not set the modified flag then.
bool s_is_half_done = false;

// Returns whether a statement raises no error. An error must be one that a summary can cause that
// disagrees with its messages.
template <class Statement>
bool succeeds(Statement&& statement) {
    try {
        statement();
    } catch (const std::exception& raised) {
        s_is_half_done = s_is_half_done || dynamic_cast<const qtxAssert*>(&raised) != nullptr;
        require(is_qtx<zeSmlArchive>(raised, {1, 4, 6, 14}) ||
                    is_qtx<AbstractHreclaim>(raised, {2}) ||
                    is_assertion(raised, {"it != m_manager.locked_smls.end()", "counter",
                                          "it != m_manager.category_info.end()",
                                          "cd.category_counter >= 1"}),
                raised.what());
        return false;
    }
    return true;
}

// Returns false, with an empty summary, if the archive is refused.
bool opens(zeSmlArchive& archive, const Memory_file& place, bool use_32_bit) {
    try {
        archive.OpenArchive(place.name(), false, use_32_bit);
        return true;
    } catch (const std::exception& raised) {
        require(is_qtx<zeSmlArchive>(raised, {4, 11}) ||
                    raised.what() == std::string_view(qtxSegBuf::kLocateError),
                raised.what());
    }
    require(archive.m_manager.sml_dates.empty() && archive.m_manager.category_info.empty() &&
                archive.m_manager.locked_smls.empty() && !archive.m_manager.modified,
            "a refused archive is empty");
    return false;
}

void use_lists(zeSmlArchive& archive) {
    std::vector<unsigned int> list;
    archive.GetTrainingListByMinimalSize(list);
    require(
        list.size() <= archive.m_manager.sml_dates.size() + archive.m_manager.locked_smls.size(),
        "the size of a training list");
    archive.GetLearningListByNewSmls(list);
    archive.GetDeleteListByMinimalSize(list);
    require(std::is_sorted(list.rbegin(), list.rend()), "the order of a delete list");
    list.resize(std::min(list.size(), kMostNumbers));
    for (const auto algorithm :
         {zeSmlArchive::kApriori, zeSmlArchive::kSlide, zeSmlArchive::kRecursion}) {
        zeMemoryCorpus corpus;
        std::vector<unsigned int> numbers = list;
        succeeds([&] { archive.MakeTrainingCorpus(numbers, corpus, algorithm); });
    }
    double mature = 0.0;
    double fullness = 0.0;
    archive.CountMatureCategories(mature, fullness, 0);
    require(mature >= 0.0 && fullness >= 0.0, "percentages");
}

void change(zeSmlArchive& archive) {
    succeeds([&] { archive.SetInitialApriori(); });
    succeeds([&] { archive.SetAgeRatio(2.0); });
    qtPtrLight<zeMsg> added = message(3);
    succeeds([&] { archive.AddSml(added, "new", "id"); });
    for (unsigned int number = 0; number < kMessageCount; ++number) {
        succeeds([&] { archive.ReleaseOneSml(number); });
        succeeds([&] { archive.DelSml(number); });
    }
    succeeds([&] { archive.SetCatReservedSize(1); });
    succeeds([&] { archive.Renumber(); });
    succeeds(
        [&] { archive.RenameCategory(Concept::insert_view("red"), Concept::insert_view("pink")); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Memory_file place;
    if (size == 0) {
        return 0;
    }
    const auto version = static_cast<unsigned short>(2 - (data[0] & 1U));
    const bool use_32_bit = (data[0] & 2U) != 0;
    const std::string summary(data + 1, data + size);
    if (use_32_bit) {
        make_file<Hfile32>(place, summary, version);
    } else {
        make_file<Hfile64>(place, summary, version);
    }
    zeSmlArchive archive;
    if (!opens(archive, place, use_32_bit)) {
        const std::string before = place.bytes();
        archive.CloseArchive();
        require(place.bytes() == before, "a refused archive is not written");
        return 0;
    }
    s_is_half_done = false;
    use_lists(archive);
    change(archive);
    archive.FlushArchive(false);
    archive.CloseArchive();
    const std::string closed = dumped(archive.m_manager);
    archive.OpenArchive(place.name(), false, use_32_bit);
    require(s_is_half_done || dumped(archive.m_manager) == closed,
            "a second open reads the same summary");
    return 0;
}
