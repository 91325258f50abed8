// One edit for all pairs, since each edit sorts them.
#include "text/data/set_pairs.h"

#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeMsgEdit.h"

namespace zandrel {

void set_pairs(qtPtrLight<zeMsg>& msg, const std::vector<Pair>& pairs) {
    zeMsgEdit edit(msg);
    for (const Pair& pair : pairs) {
        const std::vector<qtString> values(pair.values.begin(), pair.values.end());
        edit.Set(Concept::insert_view(pair.name), values, pair.type);
    }
    edit.End();
}

}  // namespace zandrel
