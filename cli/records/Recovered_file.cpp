// The library writes the items. The file of a Replacement_file exists already, and Hreclaim::Open
// makes only files that do not exist. So we do the two steps of Hreclaim::Open here: the header at
// the start and the index at the end. Then no hole of a first index remains.
//
// To verify the file, the library opens it, which reads and checks header and index. The items are
// compared by checksums of the old and of the new data, so that no item is in memory for it.
#include "cli/records/Recovered_file.h"

#include <cerrno>
#include <map>
#include <vector>

#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/Hreclaim.h"
#include "zandrel/storage/SegBuf.h"

#include "text/errors.h"

namespace zandrel::cli {

namespace {

void read_data(File_window& file, const Scanned_item& item, SegBuf& data) {
    Hio<HSegment> io(new HSegment(data, 'w'));
    file.for_each_piece(item.data_offset(), item.data_length, [&io](std::string_view piece) {
        io.WriteBytes(piece.data(), static_cast<unsigned int>(piece.size()));
    });
    io.device->Close();
}

template <class Device>
void write_record_file(File_window& old_file, const Record_recovery& recovery,
                       const std::string& path) {
    Hreclaim<Device> file;
    file.io.device->Open(path, 'w');
    file.io << Hreclaim<Device>::Format::kMagic << 0U << 0U << file.index_offset;
    file.SetFileID(recovery.identity.id, recovery.identity.version, recovery.identity.flags);
    for (const Scanned_item& item : recovery.items) {
        SegBuf data;
        read_data(old_file, item, data);
        file.AddItem(item.key, data);
    }
    file.dirty = true;  // an index without keys has to be written too
    file.Close();
}

void write_package(File_window& old_file, const Record_recovery& recovery,
                   const std::string& path) {
    Hpack pack;
    pack.Open(path, 'w');
    pack.SetFileID(recovery.identity.id, recovery.identity.version, recovery.identity.flags);
    for (const Scanned_item& item : recovery.items) {
        SegBuf data;
        read_data(old_file, item, data);
        pack.AddAtOffset(item.key, data, 0);
    }
    pack.Close();
}

void write_file(File_window& old_file, const Record_recovery& recovery, const std::string& path) {
    switch (recovery.form) {
        case Record_form::kWide:
            write_record_file<Hfile64>(old_file, recovery, path);
            break;
        case Record_form::kNarrow:
            write_record_file<Hfile32>(old_file, recovery, path);
            break;
        case Record_form::kPackage:
            write_package(old_file, recovery, path);
            break;
    }
}

// The parts of a file that the library has read.
struct Read_file {
    Record_identity identity;
    std::map<std::string, std::uint64_t> items;
};

template <class File>
std::map<std::string, std::uint64_t> items_of(const File& file) {
    std::map<std::string, std::uint64_t> items;
    for (const auto& [key, offset] : file.index) {
        items.emplace_hint(items.end(), key.str(), static_cast<std::uint64_t>(offset));
    }
    return items;
}

template <class Device>
Read_file read_record_file_of(const std::string& path) {
    Hreclaim<Device> file;
    file.Open(path, false, true);
    return {{file.file_id, file.file_version, file.file_flags}, items_of(file)};
}

Read_file read_new_file(Record_form form, const std::string& path) {
    if (form != Record_form::kPackage) {
        return form == Record_form::kWide ? read_record_file_of<Hfile64>(path)
                                          : read_record_file_of<Hfile32>(path);
    }
    Hpack pack;
    pack.Open(path, 'r');
    Read_file read;
    bool is_bad = false;
    pack.GetFileID(read.identity.id, read.identity.version, read.identity.flags, is_bad);
    read.items = items_of(pack);
    return read;
}

bool is_equal(File_window& old_file, const Record_recovery& recovery, const std::string& path) {
    const Read_file read = read_new_file(recovery.form, path);
    if (checksum_of(read.identity) != checksum_of(recovery.identity) ||
        read.identity.flags != recovery.identity.flags ||
        read.items.size() != recovery.items.size()) {
        return false;
    }
    File_window new_file(old_file.name(), path);
    for (const Scanned_item& item : recovery.items) {
        const auto found = read.items.find(item.key);
        if (found == read.items.end()) {
            return false;
        }
        const Scanned_item copy = {item.key, found->second, item.data_length};
        const std::uint64_t data = copy.data_offset();
        if (!new_file.has(copy.offset, copy.total()) ||
            new_file.word(data - sizeof(std::uint32_t)) != item.data_length ||
            checksum_of(new_file, copy) != checksum_of(old_file, item)) {
            return false;
        }
    }
    return true;
}

}  // namespace

void write_recovered_file(File_window& old_file, const Record_recovery& recovery,
                          const std::string& path) {
    errno = 0;
    try {
        write_file(old_file, recovery, path);
        if (is_equal(old_file, recovery, path)) {
            return;
        }
    } catch (const qtxAll& error) {
        throw Output_error(old_file.name(), errno == 0 ? error.what() : reason_of_failure());
    }
    throw Output_error(old_file.name(), "the new file does not read back as it was written");
}

}  // namespace zandrel::cli
