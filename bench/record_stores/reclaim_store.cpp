// The record file with 64-bit offsets, used as its owners use it: each record is built in a SegBuf
// and read into a fresh one.
#include <optional>

#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hreclaim.h"

#include "bench/record_stores/Record_store.h"

namespace {

qtString key_of(std::string_view key) {
    return qtString(key);
}

class Reclaim_store final : public Record_store {
public:
    explicit Reclaim_store(const std::string& folder) : m_name(folder + "/records") {}

    void open() override { m_file.Open(m_name, true, false); }

    // Writes the index.
    void close() override { m_file.Close(); }

    void put(std::string_view key, std::string_view blob) override {
        HSegment device(m_fresh, 'w');
        device.Write(const_cast<char*>(blob.data()), static_cast<unsigned int>(blob.size()));
        m_file.AddItem(key_of(key), m_fresh);
    }

    std::string_view get(std::string_view key) override {
        m_read.emplace();
        m_file.GetItem(key_of(key), *m_read);
        require(m_read->size <= SegBuf::kSegmentSize, "a blob has more than one segment");
        return {m_read->segments.front(), m_read->size};
    }

    void erase(std::string_view key) override { m_file.DeleteItem(key_of(key)); }

    bool exists(std::string_view key) override { return m_file.Exists(key_of(key)); }

private:
    qtString m_name;
    Hreclaim<Hfile64> m_file;
    SegBuf m_fresh;
    std::optional<SegBuf> m_read;
};

}  // namespace

std::unique_ptr<Record_store> make_reclaim_store(const std::string& folder) {
    return std::make_unique<Reclaim_store>(folder);
}
