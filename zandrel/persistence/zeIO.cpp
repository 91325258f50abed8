// The items of a container's file, and its identity.
#include "zandrel/persistence/zeIO.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "zandrel/foundation/charset.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"

using zandrel::detail::kKcCompact;
using zandrel::detail::kKcFileId;
using zandrel::detail::kKcUnicode;

namespace {

constexpr unsigned int kFirstScrambledVersion = 2;

[[noreturn]] void refuse_cached_form() {
    throw qtX<zeIO>(9, "Cached form of a KC is not available");
}

// No other value stands for a form, so that none can be served either.
void RequirePlainForm(const KcIoMode& mode) {
    if (mode.io_mode != KcIoMode::AUTO_IO && mode.io_mode != KcIoMode::DIRECT_IO) {
        refuse_cached_form();
    }
}

// Changes bytes by an exclusive or with the bytes of `cover`, eight at a time.
void Cover(char* bytes, const char* cover, unsigned int byte_count) {
    constexpr unsigned int kWord = sizeof(std::uint64_t);
    unsigned int done = 0;
    for (; done + kWord <= byte_count; done += kWord) {
        std::uint64_t word = 0;
        std::uint64_t covering = 0;
        std::memcpy(&word, bytes + done, kWord);
        std::memcpy(&covering, cover + done, kWord);
        word ^= covering;
        std::memcpy(bytes + done, &word, kWord);
    }
    for (; done < byte_count; ++done) {
        bytes[done] = static_cast<char>(bytes[done] ^ cover[done]);
    }
}

}  // namespace

zeIO::zeIO(zeManager* manager) : m_manager(manager) {}

zeIO::~zeIO() = default;

unsigned int zeIO::ReadOnDemand() const {
    return 0;  // Without the cached form all classifiers are in memory.
}

// The same shape for all records: built in memory, and then handed to the file.
template <class Write>
void zeIO::WriteRecord(const qtString& key, Write&& write) {
    SegBuf buffer;
    Hio<HSegment> io(new HSegment(buffer, 'w'));
    io.converter = m_converter;
    io.converter_context = m_converter_context;
    write(io);
    io.device->Close();
    WriteItem(key, buffer);
}

void zeIO::DumpObject(const zeBase* object) {
    ZANDREL_ASSERT(object != nullptr, "object");
    WriteRecord(Hpack::MakeStringKey(object->m_id), [object](Hio<HSegment>& io) {
        io << object->GetType();
        object->Dump(io);
    });
}

void zeIO::DumpManager(const zeLogicalNode* root) {
    WriteRecord(zandrel::detail::kManagerKey,
                [this, root](Hio<HSegment>& io) { m_manager->Dump(io, root); });
}

zeBase* zeIO::LoadObject(unsigned int id, zeNode* node) {
    SegBuf buffer;
    ReadItem(Hpack::MakeStringKey(id), buffer);
    Hio<HSegment> io(new HSegment(buffer, 'r'));
    unsigned int type = 0;
    io >> type;
    zeBase* const object = zeObjectFactory(type, io, m_manager, node);
    if (object->m_id != id) {  // Its record is that of another key.
        throw qtX<zeIO>(10, "Invalid object id in kc file",
                        {qtString(std::to_string(object->m_id))});
    }
    io.device->Close();
    return object;
}

void zeIO::LoadManager() {
    SegBuf buffer;
    ReadItem(zandrel::detail::kManagerKey, buffer);
    Hio<HSegment> io(new HSegment(buffer, 'r'));
    m_manager->Load(io);
    m_manager->m_compact = m_compact_read;
}

void zeIO::WriteItem(const qtString& key, SegBuf& buffer) {
    Scramble(buffer);
    if (m_io_mode != KcIoMode::DIRECT_IO) {
        refuse_cached_form();
    }
    m_pack.AddAtOffset(key, buffer, 0);
}

void zeIO::ReadItem(const qtString& key, SegBuf& buffer) {
    if (m_io_mode != KcIoMode::DIRECT_IO) {
        refuse_cached_form();
    }
    m_pack.GetItem(key, buffer);
    if (m_version >= kFirstScrambledVersion) {
        Scramble(buffer);
    }
}

// Scrambling is an exclusive or with bytes that depend only on the position in a run, and each
// segment is a run. So these bytes, which zeros become, are computed once for all segments: a large
// record costs little more than a pass over its memory. BM_ScramblingAlone of bench/kc_bench.cpp
// computes them for each run.
void zeIO::Scramble(SegBuf& buffer) const {
    std::vector<char> cover(std::min(buffer.size, SegBuf::kSegmentSize));
    m_scrambler.Scramble(cover.data(), cover.size(), qtScrambler::kOption);
    for (unsigned int position = 0; position < buffer.size;) {
        char* run = nullptr;
        unsigned int length = 0;
        buffer.Locate(position, buffer.size, run, length);
        Cover(run, cover.data(), length);
        position += length;
    }
}

void zeIO::VerifyMagic(bool write, bool& compact, bool& unicode, unsigned short& version) {
    unsigned char flags = 0;
    if (write) {
        flags = static_cast<unsigned char>((unicode ? kKcUnicode : 0) | (compact ? kKcCompact : 0));
        m_pack.SetFileID(kKcFileId, version, flags);
        m_version = version;
        return;
    }
    unsigned int id = 0;
    bool is_bad = false;
    m_pack.GetFileID(id, version, flags, is_bad);
    if (is_bad || id != kKcFileId) {
        throw qtX<zeIO>(1, "Not a kc file");
    }
    if (version != 1 && version != zandrel::detail::kKcVersion) {
        throw qtX<zeIO>(2, "Invalid version in kc file", {qtString(std::to_string(version))});
    }
    m_version = version;
    compact = (flags & kKcCompact) != 0;
    m_compact_read = compact;
    unicode = (flags & kKcUnicode) != 0;
}

void zeIO::OpenRead(const qtString& file, KcIoMode& mode) {
    RequirePlainForm(mode);
    m_pack.Open(file, 'r');
    IdentifyOpened(mode);
    mode.io_mode = KcIoMode::DIRECT_IO;
    m_io_mode = KcIoMode::DIRECT_IO;
}

// Bytes that are kept are not looked at for a long time, so the seal is verified now.
void zeIO::IdentifyOpened(KcIoMode& mode) {
    if (mode.for_classifying) {
        zandrel::Kc_seal::Verify(m_pack);
    }
    VerifyMagic(false, mode.compact_read, mode.unicode, mode.version);
    m_manager->m_version = static_cast<unsigned short>(m_version);
    m_for_classifying = mode.for_classifying;
}

void zeIO::OpenWrite(const qtString& file, KcIoMode& mode) {
    RequirePlainForm(mode);
    mode.read_only = false;
    m_read_only = false;
    m_compact = mode.compact;
    mode.io_mode = KcIoMode::DIRECT_IO;
    m_io_mode = KcIoMode::DIRECT_IO;
    m_pack.Open(file, 'w');
    bool is_unicode = false;
    unsigned short version = zandrel::detail::kKcVersion;
    VerifyMagic(true, m_compact, is_unicode, version);
}

void zeIO::SetUnicodeFlag(const qtString& file, bool flag) {
    KcIoMode mode;
    mode.create = false;
    const zandrel::detail::Open_package open(m_pack);
    OpenRead(file, mode);
    m_pack.Close();
    const auto flags =
        static_cast<unsigned char>((flag ? kKcUnicode : 0) | (mode.compact_read ? kKcCompact : 0));
    m_pack.Open(file, 'u');
    m_pack.SetFileID(kKcFileId, mode.version, flags);
    m_pack.Close();
}

qtString ConvertEncoding(const qtString& text, void* context) {
    auto* const converter = static_cast<KcConverter*>(context);
    ++converter->count;
    return text.empty() ? text : ConvertCharset2Charset(converter->to, text, converter->from);
}
