// Stored_model: reads text models from the files of knowledge containers.
#ifndef ZANDREL_TEXT_KC_STORED_MODEL_H_
#define ZANDREL_TEXT_KC_STORED_MODEL_H_

#include <memory>
#include <string>

#include "zandrel/foundation/CTProgress.h"

#include "text/kc/Cached_kc.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Kept_analysis.h"
#include "text/model/Text_model.h"

namespace zandrel {

// Reads a model. It analyses texts as agreed_analysis says.
// `progress`: may be null.
// RAISES: what read_kc and agreed_analysis raise; Data_error for an empty container.
std::unique_ptr<Text_model> read_model(const std::string& path, const Given_analysis& given,
                                       CTProgress* progress, const Cache_bound& bound = {});
// The same for a model that only classifies and explains; see read_kc_to_classify.
std::unique_ptr<Text_model> read_model_to_classify(const std::string& path,
                                                   const Given_analysis& given,
                                                   CTProgress* progress,
                                                   const Cache_bound& bound = {});
// As read_model for the container of a lock.
std::unique_ptr<Text_model> read_model(const Kc_lock& lock, const Given_analysis& given,
                                       CTProgress* progress, const Cache_bound& bound = {});

// RAISES: Data_error that names the file for a container without a tree, or without its root.
void check_has_root(const std::string& path, const zeManager& manager);

// RAISES: Data_error that names the file for a compact container, which can only classify.
void check_can_learn(const std::string& path, const Text_model& model);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_STORED_MODEL_H_
