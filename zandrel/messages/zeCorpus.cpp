#include "zandrel/messages/zeCorpus.h"

// Defined here, so that the type information stands in the library alone.
zeHandle_base::~zeHandle_base() = default;
zeCorpus::~zeCorpus() = default;

qtPtrLight<zeMsg> zeCorpus::get_numbered_msg(int msg_number) {
    return get_msg(get_msg(msg_number));
}
