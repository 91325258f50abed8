// gdbm with its own choices of block size and cache, without locks and without GDBM_SYNC.
#include <cstdlib>
#include <gdbm.h>

#include "bench/record_stores/Record_store.h"

namespace {

datum datum_of(std::string_view bytes) {
    return {const_cast<char*>(bytes.data()), static_cast<int>(bytes.size())};
}

class Gdbm_store final : public Record_store {
public:
    explicit Gdbm_store(const std::string& folder) : m_name(folder + "/records") {}

    ~Gdbm_store() override {
        std::free(m_read.dptr);
        if (m_file != nullptr) {
            gdbm_close(m_file);
        }
    }

    void open() override {
        m_file = gdbm_open(m_name.c_str(), 0, GDBM_WRCREAT | GDBM_NOLOCK, 0600, nullptr);
        require(m_file != nullptr, "gdbm_open");
    }

    void close() override {
        require(gdbm_close(m_file) == 0, "gdbm_close");
        m_file = nullptr;
    }

    void put(std::string_view key, std::string_view blob) override {
        require(gdbm_store(m_file, datum_of(key), datum_of(blob), GDBM_REPLACE) == 0, "gdbm_store");
    }

    std::string_view get(std::string_view key) override {
        std::free(m_read.dptr);
        m_read = gdbm_fetch(m_file, datum_of(key));
        require(m_read.dptr != nullptr, "gdbm_fetch");
        return {m_read.dptr, static_cast<std::size_t>(m_read.dsize)};
    }

    void erase(std::string_view key) override {
        require(gdbm_delete(m_file, datum_of(key)) == 0, "gdbm_delete");
    }

    bool exists(std::string_view key) override { return gdbm_exists(m_file, datum_of(key)) != 0; }

private:
    std::string m_name;
    GDBM_FILE m_file = nullptr;
    datum m_read = {nullptr, 0};
};

}  // namespace

std::unique_ptr<Record_store> make_gdbm_store(const std::string& folder) {
    return std::make_unique<Gdbm_store>(folder);
}
