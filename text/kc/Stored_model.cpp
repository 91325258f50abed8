// Joins the two steps of reading a model: the container from its file, and the text analysis that
// the container and the command line agree on.
#include "text/kc/Stored_model.h"

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"

#include "text/errors.h"
#include "text/kc/Kc_damage.h"
#include "text/kc/Kc_file.h"

namespace zandrel {

namespace {

std::unique_ptr<Text_model> model_of(const qtPtrLight<zeManager>& manager, const std::string& path,
                                     const Given_analysis& given) {
    check_has_root(path, *manager);
    const Analysis_settings analysis = agreed_analysis(path, manager->m_config, given);
    return work_on_container(path, [&] { return std::make_unique<Text_model>(manager, analysis); });
}

}  // namespace

void check_has_root(const std::string& path, const zeManager& manager) {
    if (manager.m_root == nullptr) {
        throw Data_error(path, manager.m_logical_tree->nodes.empty()
                                   ? "the container is empty"
                                   : "the container is damaged: its root is missing");
    }
}

std::unique_ptr<Text_model> read_model(const std::string& path, const Given_analysis& given,
                                       CTProgress* progress, const Cache_bound& bound) {
    return model_of(read_kc(path, progress, bound), path, given);
}

std::unique_ptr<Text_model> read_model_to_classify(const std::string& path,
                                                   const Given_analysis& given,
                                                   CTProgress* progress, const Cache_bound& bound) {
    return model_of(read_kc_to_classify(path, progress, bound), path, given);
}

std::unique_ptr<Text_model> read_model(const Kc_lock& lock, const Given_analysis& given,
                                       CTProgress* progress, const Cache_bound& bound) {
    return model_of(read_kc(lock, progress, bound), lock.target().name(), given);
}

void check_can_learn(const std::string& path, const Text_model& model) {
    if (model.manager()->m_compact) {
        throw Data_error(path, "the container is compact and can only classify");
    }
}

}  // namespace zandrel
