// zeMsgEdit: changes many name/value pairs of a message, and sorts them once.
#ifndef ZANDREL_MESSAGES_ZEMSGEDIT_H_
#define ZANDREL_MESSAGES_ZEMSGEDIT_H_

#include <map>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/messages/zeMsg.h"

// An edit of a message's pairs. The constructor opens it, any number of changes follow, and End
// closes it. The message must live as long as the edit.
//
// While the edit is open, it finds pairs by an index of its own. New pairs are appended, and
// deleted pairs remain as tombstones of type 0. So the pairs of the message may not be in order,
// and zeMsg must not look them up. Without End the message remains in that state.
//
// A file may contain several pairs of one name. An edit sees the last one, but zeMsg the first. A
// file may also contain a tombstone. Get and Delete treat it like any other pair: Get returns 0
// with its one value, and Delete returns true. End drops it if a pair was deleted.
//
// Errors: raises qtXbase, texts in docs/errors.md; message and edit then have not changed.
// Threads: as zeMsg.
class ZANDREL_EXPORT zeMsgEdit {
public:
    // Opens an edit. Pairs in the form of earlier versions are converted, see
    // zeMsg::MakeBackwardCompatibile. That does not count as a change of the message.
    // BORROWS: the message, which must not be null and must outlive this.
    explicit zeMsgEdit(qtPtrLight<zeMsg>& message);
    zeMsgEdit(const zeMsgEdit&) = delete;
    zeMsgEdit& operator=(const zeMsgEdit&) = delete;

    // Replaces `values` by the values of the pair, and returns their type; for a packed list, the
    // type of its elements. Returns 0 with no values if there is no such pair, and 1 with no values
    // for a pair that zeMsg::MakeBackwardCompatibile leaves as type 1.
    // RAISES: qtXbase "Invalid nvp value" for a packed list that is damaged; `values` is then
    // empty.
    mlMessageConverter::NvpType Get(const Concept& name, std::vector<qtString>& values);
    // Replaces `types` by the types of all pairs that are not deleted; for a packed list, the type
    // of its elements.
    void GetTypes(std::map<Concept, mlMessageConverter::NvpType>& types) const;
    // Adds a pair or replaces the pair of this name. A single value is stored with the given type.
    // Several values make a packed list whose elements have that type.
    // RAISES: qtXbase "Invalid nvp type" for a type below 2 or above 99, and for 14, the type of
    // packed lists, which several values make; "Missing nvp value" without a value.
    void Set(const Concept& name, const std::vector<qtString>& values,
             mlMessageConverter::NvpType type);
    // Marks the pair as deleted. Returns false if there is no such pair.
    bool Delete(const Concept& name);
    // Closes the edit: drops the deleted pairs, sorts if pairs were added or deleted, and sets
    // `changed` of the message if anything changed. The object can then be used for another edit.
    // Its index is not made again: a pair that End moved is searched once, at its next use.
    void End();

private:
    // Returns the last pair of this name, or null.
    zeMsg::Nvp* Find(const Concept& name);
    // Appends a pair whose name has no index entry. If memory runs out, nothing has changed.
    void AddPair(zeMsg::Nvp&& added);

    zeMsg* m_message;                         // BORROWS
    std::map<Concept, unsigned int> m_index;  // positions in `nvps` of pairs that are not deleted
    bool m_changed = false;
    bool m_added = false;
    bool m_deleted = false;
};

#endif  // ZANDREL_MESSAGES_ZEMSGEDIT_H_
