// Stored_matcher: a matcher for the model of Stored_model, its record, and a package in which the
// model is a separate object.
#ifndef ZANDREL_TESTS_STATISTICS_STORED_MATCHER_H_
#define ZANDREL_TESTS_STATISTICS_STORED_MATCHER_H_

#include <memory>
#include <string>

#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/statistics/stored_model.h"

namespace stored_matcher {

// The object loader reads these fields first: the ids of the object and of its node.
constexpr const char* kHead = "00 00 00 02 00 00 00 03 ";
// The fields after the head.
constexpr const char* kTable =
    "00 00 00 02 "                               // number of entries
    "00 00 00 01 78 00 00 00 02 "                // "x", 2 pairs
    "3f c0 00 00 00 00 00 00 "                   //   1.5 for bb
    "c0 20 00 00 00 00 00 01 "                   //   -2.5 for a
    "00 00 00 02 79 79 00 00 00 01 "             // "yy", 1 pair
    "40 60 00 00 00 00 00 01 ";                  //   3.5 for a
constexpr const char* kStorage = "00 00 00 01";  // id of the storage

// Everything that zeStat_matcher::Load reads.
inline std::string whole_matcher() {
    return from_hex(kTable) + from_hex(kStorage);
}

}  // namespace stored_matcher

// The root has the node id 3, and its matcher the object id 2.
struct Stored_matcher : Stored_model {
    // If a `package` that another Stored_matcher has written is given, it is opened for reading,
    // and the model is not loaded yet.
    explicit Stored_matcher(qtPtr<qtBuffer> package = {}) : buffer(package) {
        root = leaf("root");
        manager.m_last_object_id = 2;
        manager.m_io->m_io_mode = KcIoMode::DIRECT_IO;
        manager.m_io->m_version = 2;
        if (!buffer.IsNull()) {
            manager.Release(storage);
            storage = nullptr;
            manager.m_io->m_pack.Open(buffer, 'r');
            return;
        }
        manager.m_io->m_pack.Open(buffer, 'w');
        fill();
        storage->profile(0).m_weights = {{term("x"), 1.5F}};
        storage->profile(1).m_weights = {{term("yy"), 3.5F}, {term("x"), -2.5F}};
        manager.m_last_object_id = 1;
        matcher = new zeStat_matcher(&manager, root, *storage, false);
    }

    // The package that contains the model.
    static qtPtr<qtBuffer> package_with_model() {
        Stored_matcher writer;
        writer.manager.m_io->DumpObject(writer.storage);
        writer.manager.m_io->m_pack.Close();
        return writer.buffer;
    }

    // Reads a matcher as the object loader does after the node.
    std::unique_ptr<zeStat_matcher> read(Hio<HSegment>& io) {
        auto fresh = std::make_unique<zeStat_matcher>();
        fresh->m_manager = &manager;
        fresh->m_id = 2;
        fresh->m_node = root;
        fresh->Load(io);
        return fresh;
    }

    std::unique_ptr<zeStat_matcher> read(const std::string& bytes) {
        SegBuf record = record_of(bytes);
        Hio<HSegment> io(new HSegment(record, 'r'));
        std::unique_ptr<zeStat_matcher> matcher_read = read(io);
        EXPECT_EQ(record.offset, record.size) << "not all was read";
        return matcher_read;
    }

    qtPtr<qtBuffer> buffer;
    zeNode* root;
    zeStat_matcher* matcher = nullptr;  // null if a package was given
};

#endif  // ZANDREL_TESTS_STATISTICS_STORED_MATCHER_H_
