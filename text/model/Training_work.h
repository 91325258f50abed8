// Training_work: estimates the work of training a classifier, in parts. The work is measured in
// polls: at a poll, the training asks if it is to be interrupted.
#ifndef ZANDREL_TEXT_MODEL_TRAINING_WORK_H_
#define ZANDREL_TEXT_MODEL_TRAINING_WORK_H_

#include <cstddef>
#include <vector>

class zeCorpus_view;
class zeStat_storage;

namespace zandrel {

// A number of polls. The work before each poll takes about `weight` times as long as counting one
// message.
struct Work_part {
    std::size_t polls;
    double weight;
};

// The parts of one classifier's training in their order.
using Training_work = std::vector<Work_part>;

enum class Training_kind { kTrain, kBootstrap, kLearn };

// The engine reports a classifier only when its training has ended. While it trains, it asks for an
// interruption after each message that it counts or matches and after each category for which it
// selects features. So we know in advance how often it will ask. For a large batch, which is
// learned in sub-bulks, the number is only an estimate.
Training_work training_work(zeStat_storage& storage, zeCorpus_view& view, Training_kind kind);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_TRAINING_WORK_H_
