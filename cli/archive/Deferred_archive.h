// Deferred_archive: the record file of an archive whose changes reach the file together.
#ifndef ZANDREL_CLI_ARCHIVE_DEFERRED_ARCHIVE_H_
#define ZANDREL_CLI_ARCHIVE_DEFERRED_ARCHIVE_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zandrel/archive/SmlArchiveManager.h"
#include "zandrel/storage/AbstractHreclaim.h"

namespace zandrel::cli {

// While an archive is changed, its item of this key is a copy of the new summary. The item is
// deleted before the file is closed, so only a file whose process was killed has it.
inline constexpr const char* kSummaryCopyKey = "zandrel.summary";

struct Summary_copy {
    SmlArchiveManager summary;
    std::uint32_t sum_before = 0;  // of the summary that the file had
};

// Reads such a copy. Returns nothing for one that is not complete.
std::optional<Summary_copy> load_summary_copy(AbstractHreclaim& file);

// The checksum of the summary that the file has; 0 if there is none.
std::uint32_t sum_of_summary(AbstractHreclaim& file);

// An AbstractHreclaim between a zeSmlArchive and its file. Changes of items are kept in memory
// until `write`, and readers see them at once. So the program chooses the moment at which the file
// changes, for example after the new container has been written. A change that is not written
// leaves the file as it was: the destructor writes nothing.
//
// `write` first writes the new summary under another key. Then it adds messages, deletes messages,
// and writes the summary and the index. If the process is killed, the copy says which messages the
// change adds and deletes. So rebuild-index can complete the change, or take it back if not all
// messages were added (Archive_check.h).
//
// Only a change that writes other data under a key of the file cannot be taken back:
// give_low_numbers does this if an old message has a low number. There the copy is written after
// the messages, so a kill can leave a message under two numbers, but loses none.
//
// Errors: as AbstractHreclaim. After an error of a change of the file, all later changes are
// ignored, and the file remains marked.
class Deferred_archive : public AbstractHreclaim {
public:
    // `writes_messages_at_once`: only the summary is kept in memory. For many new messages.
    Deferred_archive(std::unique_ptr<AbstractHreclaim> file, bool writes_messages_at_once);

    // Writes what was changed since the last call. `bring_to_disk` is called before the index is
    // written and the mark is removed.
    void write(const std::function<void()>& bring_to_disk = [] {});
    // Writes only this summary and the index, and keeps all other changes for `write`.
    void write_summary(
        const SegBuf& summary, const std::function<void()>& bring_to_disk = [] {});
    // Forgets what was changed since the last call of `write`.
    void drop();

    // Returns whether messages wait for `write`.
    bool has_messages_to_write() const { return !m_changed.empty(); }

    // The summary as it is in the file.
    void read_stored_summary(SegBuf& summary) { m_file->GetItem(m_summary_key, summary); }

    bool Open(const qtString& name, bool create, bool read_only) override;
    // Closes the file, unless changes were not written. Then the destructor closes it.
    void Close() override;
    void GetItem(const qtString& key, SegBuf& data) override;
    void AddItem(const qtString& key, const SegBuf& data) override;
    void RenameItem(const qtString& from, const qtString& to) override;
    void DeleteItem(const qtString& key) override;
    void SetFileID(unsigned int id, unsigned short version, unsigned char flags) override;
    void GetFileID(unsigned int& id, unsigned short& version, unsigned char& flags) const override;
    void SetState(unsigned char state) override;
    void GetState(unsigned char& state) const override;
    bool Exists(const qtString& key) const override;
    // Does nothing: the index is written by `write`.
    void WriteIndex() override;
    const qtString& FileName() const override;
    qtString MakeStringKey(unsigned int number) override;
    bool IsUnicode() const override;
    unsigned int GetIndexSize() const override;
    void GetIndex(std::vector<qtString>& keys) const override;
    void MarkDeleted602Records() override;

private:
    template <class Work>
    void change_file(const Work& work);
    bool overwrites_messages() const;
    void write_messages();
    void put_copy(const SegBuf& summary);
    void put_summary(const SegBuf& summary);

    std::unique_ptr<AbstractHreclaim> m_file;
    qtString m_summary_key;
    bool m_writes_messages_at_once;
    bool m_has_failed = false;
    bool m_is_index_old = false;  // the file has changes that its index does not have
    unsigned char m_state = 0;
    std::optional<SegBuf> m_summary;                      // to write; empty: it has not changed
    std::map<qtString, std::optional<SegBuf>> m_changed;  // other items; empty: deleted
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_ARCHIVE_DEFERRED_ARCHIVE_H_
