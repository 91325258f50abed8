#include "zandrel/messages/zeMsg.h"

const qtPtrLight<zeSml>& zeMsg::active_bag() const noexcept {
    static const qtPtrLight<zeSml> no_bag;
    return active_sml < smls.size() ? smls[active_sml] : no_bag;
}
