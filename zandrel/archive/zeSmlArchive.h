// zeSmlArchive: a store of labelled messages from which a container is trained and learns.
#ifndef ZANDREL_ARCHIVE_ZESMLARCHIVE_H_
#define ZANDREL_ARCHIVE_ZESMLARCHIVE_H_

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "zandrel/archive/SmlArchiveManager.h"
#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtTimeDate.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/storage/AbstractHreclaim.h"

class CTProgress;
class zeCorpus;
class zeManager;
class zeWorkflow;

// A rolling archive of labelled messages in one record file. The application adds each message when
// its label is known. The archive numbers the messages, counts the categories, and reserves the
// newest messages of each category, so that a rare category does not disappear from training when
// many messages of other categories arrive. Learn and TrainKc pass the messages to a container and
// delete those that are no longer needed.
//
// The summary, `m_manager`, is in memory while the archive is open. Every change of it sets
// `modified`, except for an AddSml that cannot write its message, and FlushArchive writes it.
// Message records are written at once. The first write to the file after a flush marks it as not
// synchronized, and the flush of summary and index removes the mark. Changes of only the summary
// write nothing before the flush. So a file whose process ended in between is refused at the next
// open.
//
// Errors: qtX<zeSmlArchive>, texts in docs/errors.md. Errors of the record file, the stream and the
// training pass through. Operations that use the file raise 12 "Archive is not open" on a closed
// archive, and on one whose OpenArchive failed. After a failed write, the device ignores later
// writes, and the file remains marked.
// Threads: one at a time in the whole process. The file is not locked.
// Format: docs/formats/archive.md
class ZANDREL_EXPORT zeSmlArchive {
public:
    // How MakeTrainingCorpus weights the categories.
    enum Algorithm : unsigned int {
        kNoWeights = 0,
        kApriori = 1,    // GetAprioriWithAdjustment with `use_apriori`
        kSlide = 2,      // GetCategoryWeightsByNSlide with the number of messages of the list
        kRecursion = 3,  // GetAprioriWithAdjustment without `use_apriori`
    };

    zeSmlArchive() = default;
    zeSmlArchive(const zeSmlArchive&) = delete;
    zeSmlArchive& operator=(const zeSmlArchive&) = delete;
    // Closes the archive. An error is only traced, as a warning.
    ~zeSmlArchive();

    // The file.

    // Opens an archive and reads its summary. With `create`, makes an empty archive if the file
    // does not exist; it gets the settings that this object has: cat_reserved_size,
    // cat_minimal_size and age_ratio. An archive of version 1 is rewritten: its messages become
    // scrambled. `use_32_bit`: the width of the file's offsets, which the caller must know.
    //
    // After an error, except the first one, the summary is empty, the settings are as before, and
    // the object counts as open. CloseArchive then writes nothing; call it before you try again.
    // RAISES: 0 "Archive is already open", and then nothing has changed; 0 "File is not an Sml
    // Archive: "; 9 "Invalid version in archive file"; 10 "Archive index is not synchronized (Run
    // RebuildIndex Utility)"; as SmlArchiveManager::Load, also for bytes behind the summary; as
    // UpgradeVersion.
    void OpenArchive(const qtString& path, bool create, bool use_32_bit);
    // Writes the summary if it has changed, and then, with `write_index`, the file's index. Without
    // the index the file remains marked as not synchronized. If the summary has not changed, or the
    // archive is not open, nothing is written, not even the index.
    void FlushArchive(bool write_index);
    // Writes the summary and the index if they have changed, and closes the file. Does nothing on a
    // closed archive. The summary remains in memory. After an error the archive is still open.
    void CloseArchive();
    // Rewrites an open file of version 1 in the form of version 2; OpenArchive calls it. Does
    // nothing for version 2. The flags of the file become those that `is_unicode` says. An error
    // leaves a file of version 1 of which some messages are scrambled and no version can read it.
    // So upgrade a copy of the file, and rename the copy at the end.
    // RAISES: 4 "Can't read Sml ... from Archive".
    void UpgradeVersion();

    // Members. A message is reserved by each of its categories, until newer messages of the
    // category replace it. Only messages that no category reserves can be deleted.

    // Stores a message and returns its number. The message gets the pair "_ExternalId": the
    // external id, or the key of its number if the id is empty. If another message has the id, the
    // id refers to the new message from now on, and deleting either message removes the id.
    // REQUIRES: a message that is not null and is not in an archive yet.
    // RAISES: 2 "AddSml: Missing categories" and 3 "AddSml: Duplicate categories" (argument: the
    // external id), and 14 "No number left in archive" after the number 0xFFFFFFFE; then nothing
    // has changed. If writing fails, the summary already has the message.
    // COST: a pass over all categories, and one write.
    unsigned int AddSml(qtPtrLight<zeMsg>& msg, const qtString& external_id);
    // Does the same, but first removes the message with the external id `replaced_id`, also if it
    // is reserved. If there is none, the message is only added.
    // RAISES: also 4 for a replaced message that cannot be read; it then remains.
    unsigned int AddSml(qtPtrLight<zeMsg>& msg, const qtString& external_id,
                        const qtString& replaced_id);
    // Removes a message. A category without messages is removed too, with its estimates.
    // RAISES: 1 "Cannot delete reserved sml"; 4; the assertion "cd.category_counter >= 1" if the
    // summary lacks a category of the message, or counts fewer messages of it than the message has
    // this label. Nothing has changed then.
    void DelSml(unsigned int number);
    // Fills a message from its record.
    // RAISES: 4 "Can't read Sml ... from Archive" for every failure.
    void ReadSml(unsigned int number, zeMsg& msg, bool scrambled);
    // Writes a message as the record of a number. The summary gets no entry for a new number.
    void WriteSml(unsigned int number, zeMsg& msg, bool scrambled);

    // Releases the oldest reserved messages of a category until `keep` are reserved.
    // RAISES: the assertions "it != m_manager.locked_smls.end()" and "counter" if `locked_smls`
    // disagrees, for example after Renumber.
    void ReleaseSmls(CatData& data, unsigned int keep);
    // Releases a message from all its categories. Does nothing for one that is not reserved.
    // RAISES: 4; the assertion "it != m_manager.category_info.end()" if the summary lacks a
    // category of the message. Nothing has changed then.
    void ReleaseOneSml(unsigned int number);
    // Releases all messages of a category.
    void ReleaseOneCat(const Concept& category);

    // Settings.

    // A smaller size releases the oldest messages at once. A larger one reserves only later
    // arrivals.
    void SetCatReservedSize(unsigned int size);
    void SetCatMinimalSize(unsigned int size);
    // A ratio of at most 1 switches age weighting off.
    // RAISES: 13 "Invalid age ratio" for a ratio that is not finite as a float, for example 1e39.
    void SetAgeRatio(double ratio);

    // Selection. A list gets the numbers of messages and is cleared first. No message is read.
    // Training lists begin with all reserved messages, oldest first; free messages follow, newest
    // first. Delete lists have no reserved messages.

    // The messages after `last_learned_sml`, oldest first. All messages, if none was learned or the
    // last learned one is no longer in the archive.
    void GetLearningListByNewSmls(std::vector<unsigned int>& list) const;
    // With the free ones of the `count` newest messages.
    void GetTrainingListByCount(unsigned int count, std::vector<unsigned int>& list) const;
    // With the free ones that arrived at `date` or later. The walk from the newest message ends at
    // the first earlier one.
    void GetTrainingListByDate(qtTimeDate date, std::vector<unsigned int>& list) const;
    // With the free ones of the newest messages, `cat_minimal_size` for each category.
    void GetTrainingListByMinimalSize(std::vector<unsigned int>& list) const;
    // The free ones of the `count` oldest messages, oldest first.
    void GetDeleteListByCount(unsigned int count, std::vector<unsigned int>& list) const;
    // The free ones that arrived before `date`, oldest first. The walk from the oldest message ends
    // at the first later one.
    void GetDeleteListByDate(qtTimeDate date, std::vector<unsigned int>& list) const;
    // The free ones except for the `count` newest messages, newest first.
    void GetDeleteListByKeepingNew(unsigned int count, std::vector<unsigned int>& list) const;
    // The free ones that GetTrainingListByMinimalSize leaves out, newest first.
    void GetDeleteListByMinimalSize(std::vector<unsigned int>& list) const;

    // Weights.

    // Reads the listed messages, weights them and adds them to a corpus, oldest first. `list` is
    // sorted. A message's weight is the mean of the weights of its categories, times the geometric
    // mean of its age weights; zeSmlArchive_selection.cpp has an example. A category without an
    // entry in the summary does not count.
    // RAISES: 5 "Invalid weight algorithm", unless the list is empty; 4. The corpus then has the
    // messages that were read before.
    void MakeTrainingCorpus(std::vector<unsigned int>& list, zeCorpus& corpus, Algorithm algorithm);
    // Adds for each category the weight 1, or n / age if the category has only reserved messages
    // and the oldest one arrived more than n numbers ago.
    void GetCategoryWeightsByNSlide(std::map<Concept, double>& weights, double n) const;
    // Adds for each category its share in the stream of arrivals divided by its share in the
    // archive. A `recursion1` of 0 is replaced by the value of a new category, with a warning in
    // the trace.
    // RAISES: the assertion "cd.category_counter" for a category without messages.
    void GetAprioriWithAdjustment(std::map<Concept, double>& weights, bool use_apriori);
    // Sets the estimates of all categories from the messages that the archive has now. Without
    // messages nothing changes.
    // RAISES: the assertion "cd.category_counter" for a category without messages; some others may
    // have changed then.
    void SetInitialApriori();
    // Updates the estimates for one arrival with these categories; AddSml does it.
    void UpdateApriori(const std::set<Concept>& categories);

    // Training. Afterwards archive and container are bound to each other: both have the same id and
    // time. The container is not saved here. Until the caller has saved it, a restart finds that
    // the two do not match.
    // `check_match`: require that the container is the one that was trained last from this archive.
    // `check_new`: require as many new messages as the container's `activate_feedback`. New
    // messages are counted by number, so those that were deleted since count too. Message 0 does
    // not count, since 0 also means that nothing was learned: the first 100 messages count as 99.
    // `progress`: may be null. `flag`: skip labels that are in no tree instead of failing.

    // Lets the container learn the messages that arrived since the last training, and then deletes
    // what GetDeleteListByMinimalSize lists.
    // RAISES: 7 "Kc and SmlArchive do not match"; 8 "Not enough new smls present in archive"; 8 "No
    // new smls in archive"; as zeManager::GetWorkflow and zeWorkflow::learn.
    void Learn(qtPtrLight<zeManager>& manager, bool check_match, bool check_new,
               CTProgress* progress, bool flag);
    // Deletes what GetDeleteListByMinimalSize lists, and then trains the container with all other
    // messages, weighted by kRecursion and age. The old statistics are cleared. `rebuild`: start
    // with an empty manager, which gets a statistical root with the container's name; the match is
    // not checked.
    // RAISES: 7; 8 "Not enough new smls present in archive"; 8 "No smls to train"; as
    // zeManager::InitWorkflow, zeManager::GetWorkflow and zeWorkflow::train. The deleted messages
    // remain deleted.
    void TrainKc(qtPtrLight<zeManager>& manager, bool rebuild, bool check_match, bool check_new,
                 CTProgress* progress, bool flag);
    // Computes two percentages. `mature`: the categories that have filled their reservation.
    // `fullness`: the messages, of `category_count` times cat_minimal_size; it may pass 100.
    // `category_count`: 0 means the number of categories in the archive. Both results are 0 for an
    // archive without categories or messages.
    void CountMatureCategories(double& mature, double& fullness, unsigned int category_count) const;

    // Maintenance.

    // Renames a category in the summary and in all its messages. Returns false if there is no such
    // category.
    // RAISES: 6 "Category already exists: " (arguments: the two names), and then nothing has
    // changed. After another error some messages have the new name, and the summary the old one.
    // COST: reads the messages up to the last one of the category.
    bool RenameCategory(const Concept& old_name, const Concept& new_name);
    // Numbers the messages from 0 on, if the newest number is above 0xFFFFFFE. `locked_smls` and
    // `external_ids` keep the old numbers. Learn and TrainKc call it.
    void Renumber();
    // Replaces `categories` by those of a stored message.
    // RAISES: 4.
    void GetClassification(unsigned int number, std::vector<Concept>& categories);

    SmlArchiveManager m_manager;                     // the summary
    std::unique_ptr<AbstractHreclaim> archive_file;  // null while closed
    bool is_unicode = false;                         // the flag of the file that was opened last

private:
    void OpenFile(const qtString& path, bool create);
    void WriteNewArchive();
    void ReadArchive(const qtString& path);
    void ReadSummary();
    void LoadSummary();
    void WriteSummary();
    bool IsMarked() const;

    bool IsUsable() const { return archive_file != nullptr && !m_has_failed; }

    AbstractHreclaim& File() const;
    AbstractHreclaim& FileToChange();

    void RequireNumber() const;
    void CountArrival(const zeMsg& msg, unsigned int number);
    void ReleaseOldest(CatData& data, unsigned int keep);
    double FirstRecursion() const;
    void UpdateEstimates(const std::set<Concept>& categories);
    CatData* FindCategory(const Concept& name);
    void UncountCategory(const Concept& name);

    bool IsReserved(unsigned int number) const { return m_manager.locked_smls.contains(number); }

    std::uint64_t MinimalSize() const;
    template <class Iterator>
    void AppendFree(Iterator first, Iterator last, std::vector<unsigned int>& list) const;
    void ListForTraining(std::uint64_t count, std::vector<unsigned int>& list) const;
    void ListForDeletion(std::uint64_t kept, std::vector<unsigned int>& list) const;
    std::map<Concept, double> CategoryWeights(Algorithm algorithm, std::size_t list_size);
    qtPtrLight<zeMsg> StoredSml(unsigned int number);

    void RequireMatch(const zeManager& manager) const;
    void RequireNewSmls(const zeManager& manager) const;
    void DeleteByMinimalSize();
    void Bind(zeManager& manager);
    void FinishTraining(zeManager& manager);
    static qtPtrLight<zeWorkflow> WorkflowToTrain(zeManager& manager, bool rebuild);

    void RenameInSmls(const Concept& old_name, const Concept& new_name, unsigned int count);

    bool m_has_failed = false;  // OpenArchive failed, so the file must not be written
};

#endif  // ZANDREL_ARCHIVE_ZESMLARCHIVE_H_
