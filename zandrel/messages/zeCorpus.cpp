// The defaults of the interface. The destructors are defined here, so that the type information is
// only in the library.
#include "zandrel/messages/zeCorpus.h"

zeHandle_base::~zeHandle_base() = default;
zeCorpus::~zeCorpus() = default;

qtPtrLight<zeMsg> zeCorpus::get_numbered_msg(int msg_number) {
    return get_msg(get_msg(msg_number));
}
