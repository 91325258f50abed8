// Writes and reads the items of a container's file. The order of whole loads and dumps is in
// zeIO_read.cpp and zeIO_write.cpp, and the cached form in zeIO_cache.cpp.
//
// A container has one item for each object, and one for the manager. The manager's record contains
// both trees, the settings and the last object id. An example: a container has one statistical
// node, the root. Its model has object id 1 and its classifier object id 2. The file, in the order
// in which it is written:
//
//   at      bytes  content
//   0          16  header: state 1 (no index yet), no identity
//   0          16  the header again, with the identity; state 1
//   16       2672  item 00 00 00 01: object type 3, the model
//   2688      364  item 00 00 00 02: object type 2, the classifier
//   3052      832  item "__Manager__": trees, settings, last object id 2
//   3884       51  index: three keys and their offsets
//   0          16  the header again: index at 3884, state 0 (complete)
//
// The reasons for this order:
//
// - The header is complete only after the index, and the index is complete only after all items. So
//   a file whose writing was interrupted has state 1, and cannot be opened.
// - Classifiers are written by ascending object id (classifier_nodes), so that equal containers
//   give equal files.
// - A model is written before its classifier. The classifier's record is built in a SegBuf. At its
//   end, zeStat_matcher::Dump writes the model's id and calls DumpObject for the model. The model's
//   item thus reaches the file while the classifier's is still in memory.
// - The manager is last in every file that we write. A reader does not depend on that, since it
//   finds each item by its key.
//
// Reading needs another order:
//
//   1. "__Manager__", since it makes the nodes that all other records refer to by node id.
//   2. For each node with a classifier, by ascending object id, the classifier's item. The node's
//      record contains that object id; here it is 2.
//   3. While item 2 is read, zeStat_matcher::Load finds the model's id, 1, and calls LoadObject.
//
// Each record is scrambled as a whole before it becomes an item. Only the record of an item is
// scrambled: tag, key and lengths are plain, so the package is read without the scrambler. Sealing
// a finished file is a separate step (Kc_seal): it writes a fourth item over the index and a new
// index behind it.
#include "zandrel/persistence/zeIO.h"

#include <string>

#include "zandrel/foundation/charset.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/storage/HreclaimCache.h"

namespace {

constexpr unsigned int kFirstScrambledVersion = 2;

}  // namespace

zeIO::zeIO(zeManager* manager) : m_manager(manager) {}

zeIO::~zeIO() {
    CloseCache();
}

// Builds a record in memory, with converted texts if a converter is set, and writes it as an item.
// `write`: puts the record's fields into the stream that it gets.
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
    if (object->m_id != id) {  // The record belongs to another key.
        const qtString wrong_id(std::to_string(object->m_id));
        m_manager->Release(object);
        throw qtX<zeIO>(10, "Invalid object id in kc file", {wrong_id});
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
    if (m_io_mode == KcIoMode::DIRECT_IO) {
        Scramble(buffer);
        m_pack.AddAtOffset(key, buffer, 0);
    } else {
        AddToFile(key, buffer);
    }
}

void zeIO::ReadItem(const qtString& key, SegBuf& buffer) {
    if (m_io_mode == KcIoMode::DIRECT_IO) {
        m_pack.GetItem(key, buffer);
    } else {
        ZANDREL_ASSERT(!m_cache_pack.IsNull(), "!m_cache_pack.IsNull()");
        m_cache_pack->GetItem(key, buffer);
    }
    if (m_version >= kFirstScrambledVersion) {
        Scramble(buffer);
    }
}

void zeIO::Scramble(SegBuf& buffer) const {
    zandrel::detail::ScrambleRuns(buffer, m_scrambler);
}

qtString ConvertEncoding(const qtString& text, void* context) {
    auto* const converter = static_cast<KcConverter*>(context);
    ++converter->count;
    return text.empty() ? text : ConvertCharset2Charset(converter->to, text, converter->from);
}
