// zeMsgEdit: the editing of many name/value pairs of a message at the cost of one sort.
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

// An edit of a message's pairs: opened by its making, any number of changes, closed by End. Who
// makes it keeps the message alive.
//
// While it is open it finds pairs by an index of its own: new pairs stand behind the others and
// deleted ones stay as tombstones, so the pairs of the message are in no order and zeMsg must not
// look them up. Without End the message stays in that state.
//
// Errors: raises qtXbase, texts in docs/errors.md; message and edit are then as they were.
// Threads: as zeMsg.
class ZANDREL_EXPORT zeMsgEdit {
public:
    // Opens an edit. Pairs in the form of earlier versions are brought to the present one, see
    // zeMsg::MakeBackwardCompatibile, which does not count as a change of the message.
    // BORROWS: the message, which must not be null and must outlive this.
    explicit zeMsgEdit(qtPtrLight<zeMsg>& message);
    zeMsgEdit(const zeMsgEdit&) = delete;
    zeMsgEdit& operator=(const zeMsgEdit&) = delete;

    // Replaces `values` by the values of the pair, and returns their type: for a list of several
    // that of its elements. Returns 0 with no values if there is no such pair, and 1 with no values
    // for a list without elements.
    // RAISES: qtXbase "Invalid nvp value" for a packed list that cannot be taken apart; `values` is
    // then empty.
    mlMessageConverter::NvpType Get(const Concept& name, std::vector<qtString>& values);
    // Replaces `types` by the types of all pairs that are not deleted, for a packed list that of
    // its elements.
    void GetTypes(std::map<Concept, mlMessageConverter::NvpType>& types) const;
    // Adds a pair or replaces the one of this name. One value is stored with the type as given;
    // several make a packed list whose elements have that type.
    // RAISES: qtXbase "Invalid nvp type" for a type below 2 or above 99 and for 14, since a packed
    // list is had by giving several values; "Missing nvp value" without a value.
    void Set(const Concept& name, const std::vector<qtString>& values,
             mlMessageConverter::NvpType type);
    // Marks the pair as deleted. Returns whether there was one.
    bool Delete(const Concept& name);
    // Closes the edit: drops the deleted pairs, sorts if pairs came or went, and tells the message
    // that it has changed if it has. Another edit may then be made with this object: its index is
    // not built anew, and a pair that End moved is sought once, at its next use.
    void End();

private:
    // The pair of this name, or null.
    zeMsg::Nvp* Find(const Concept& name);
    void DropDeleted();

    zeMsg* m_message;                         // holds no count
    std::map<Concept, unsigned int> m_index;  // positions in `nvps`, deleted pairs left out
    bool m_changed = false;
    bool m_added = false;
    bool m_deleted = false;
};

#endif  // ZANDREL_MESSAGES_ZEMSGEDIT_H_
