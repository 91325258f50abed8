// zeMemoryCorpus: a corpus in memory.
#ifndef ZANDREL_MESSAGES_ZEMEMORYCORPUS_H_
#define ZANDREL_MESSAGES_ZEMEMORYCORPUS_H_

#include <vector>

#include "zandrel/export.h"
#include "zandrel/messages/zeCorpus.h"

// Messages in a vector, shared with the caller that added them. Numbers and positions are not
// checked.
class ZANDREL_EXPORT zeMemoryCorpus : public zeCorpus {
public:
    void add_msg(qtPtrLight<zeMsg>& msg) override;
    void reserve(unsigned int msg_count) override;
    int get_num_msgs() const override;
    iMsg start_msgs() override;
    void next(iMsg& position) override;
    bool end(iMsg& position) override;
    iMsg get_msg(int msg_number) override;
    qtPtrLight<zeMsg> get_msg(const iMsg& position) const override;
    qtPtrLight<zeMsg> get_numbered_msg(int msg_number) override;

    std::vector<qtPtrLight<zeMsg>> msgs;
};

#endif  // ZANDREL_MESSAGES_ZEMEMORYCORPUS_H_
