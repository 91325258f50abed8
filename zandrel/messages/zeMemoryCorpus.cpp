// A position is an iterator of the vector.
#include "zandrel/messages/zeMemoryCorpus.h"

#include <cstddef>

namespace {

using Msgs = std::vector<qtPtrLight<zeMsg>>;

}  // namespace

void zeMemoryCorpus::add_msg(qtPtrLight<zeMsg>& msg) {
    msgs.push_back(msg);
}

void zeMemoryCorpus::reserve(unsigned int msg_count) {
    msgs.reserve(msg_count);
}

int zeMemoryCorpus::get_num_msgs() const {
    return static_cast<int>(msgs.size());
}

zeCorpus::iMsg zeMemoryCorpus::start_msgs() {
    return {zeCreate_ih<Msgs>(msgs.begin())};
}

void zeMemoryCorpus::next(iMsg& position) {
    ++zeGet_i<Msgs>(position.handle);
}

bool zeMemoryCorpus::end(iMsg& position) {
    return zeGet_i<Msgs>(position.handle) == msgs.end();
}

zeCorpus::iMsg zeMemoryCorpus::get_msg(int msg_number) {
    return {zeCreate_ih<Msgs>(msgs.begin() + msg_number)};
}

qtPtrLight<zeMsg> zeMemoryCorpus::get_msg(const iMsg& position) const {
    return zeGet_iv<Msgs>(position.handle);
}

qtPtrLight<zeMsg> zeMemoryCorpus::get_numbered_msg(int msg_number) {
    return msgs[static_cast<std::size_t>(msg_number)];
}
